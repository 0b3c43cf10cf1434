// EFI_DISK_INFO_PROTOCOL: identify and inquiry data of a disk (PI 1.8, volume 5).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiDiskInfoProtocolGuid = {
    0xD432A67F, 0x14DC, 0x484B, {0xB3, 0xBB, 0x3F, 0x02, 0x91, 0x84, 0x93, 0x27}};

// Values of EFI_DISK_INFO_PROTOCOL::Interface.
inline constexpr EFI_GUID gEfiDiskInfoIdeInterfaceGuid = {
    0x5E948FE3, 0x26D3, 0x42B5, {0xAF, 0x17, 0x61, 0x02, 0x87, 0x18, 0x8D, 0xEC}};
inline constexpr EFI_GUID gEfiDiskInfoScsiInterfaceGuid = {
    0x08F74BAA, 0xEA36, 0x41D9, {0x95, 0x21, 0x21, 0xA7, 0x0F, 0x87, 0x80, 0xBC}};
inline constexpr EFI_GUID gEfiDiskInfoUsbInterfaceGuid = {
    0xCB871572, 0xC11A, 0x47B5, {0xB4, 0x92, 0x67, 0x5E, 0xAF, 0xA7, 0x77, 0x27}};
inline constexpr EFI_GUID gEfiDiskInfoAhciInterfaceGuid = {
    0x9E498932, 0x4ABC, 0x45AF, {0xA3, 0x4D, 0x02, 0x47, 0x78, 0x7B, 0xE7, 0xC6}};
inline constexpr EFI_GUID gEfiDiskInfoNvmeInterfaceGuid = {
    0x3AB14680, 0x5D3F, 0x4A4D, {0xBC, 0xDC, 0xCC, 0x38, 0x00, 0x18, 0xC7, 0xF7}};
inline constexpr EFI_GUID gEfiDiskInfoUfsInterfaceGuid = {
    0x4B3029CC, 0x6B98, 0x47FB, {0xBC, 0x96, 0x76, 0xDC, 0xB8, 0x04, 0x41, 0xF0}};
inline constexpr EFI_GUID gEfiDiskInfoSdMmcInterfaceGuid = {
    0x8DEEC992, 0xD39C, 0x4A5C, {0xAB, 0x6B, 0x98, 0x6E, 0x14, 0x24, 0x2B, 0x9D}};

struct EFI_DISK_INFO_PROTOCOL {
    EFI_GUID Interface;
    EFI_STATUS(EFIAPI* Inquiry)
    (EFI_DISK_INFO_PROTOCOL* This, void* InquiryData, UINT32* InquiryDataSize);
    EFI_STATUS(EFIAPI* Identify)
    (EFI_DISK_INFO_PROTOCOL* This, void* IdentifyData, UINT32* IdentifyDataSize);
    EFI_STATUS(EFIAPI* SenseData)
    (EFI_DISK_INFO_PROTOCOL* This, void* SenseData, UINT32* SenseDataSize, UINT8* SenseDataNumber);
    // For IDE: channel and device. For AHCI: port and port multiplier port.
    EFI_STATUS(EFIAPI* WhichIde)
    (EFI_DISK_INFO_PROTOCOL* This, UINT32* IdeChannel, UINT32* IdeDevice);
};
static_assert(sizeof(EFI_DISK_INFO_PROTOCOL) == 48);

template <>
struct ProtocolGuid<EFI_DISK_INFO_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiDiskInfoProtocolGuid;
};
