// Names of files and packages in the firmware, and of device types that firmware drivers publish.
#pragma once

#include "uefi/Base.h"

// The built-in UEFI shell, as a file in a firmware volume.
// {C57AD6B7-0515-40A8-9D21-551652854E37}
inline constexpr EFI_GUID gKelmUefiShellFileGuid = {
    0xC57AD6B7, 0x0515, 0x40A8, {0x9D, 0x21, 0x55, 0x16, 0x52, 0x85, 0x4E, 0x37}};
// The storage file of the ACPI tables, one raw section a table.
// {7E374E25-8E01-4FEE-87F2-390C23C606CD}
inline constexpr EFI_GUID gKelmAcpiTableStorageFileGuid = {
    0x7E374E25, 0x8E01, 0x4FEE, {0x87, 0xF2, 0x39, 0x0C, 0x23, 0xC6, 0x06, 0xCD}};
// The HII package list of the BDS driver's strings.
// {7C210524-CF97-4E57-8619-742BA25684A3}
inline constexpr EFI_GUID gKelmBdsStringPackageGuid = {
    0x7C210524, 0xCF97, 0x4E57, {0x86, 0x19, 0x74, 0x2B, 0xA2, 0x56, 0x84, 0xA3}};
// Serial I/O device type of FTDI USB-to-serial adapters.
// {A8154B55-2021-4D40-AE81-2E23A02DCC46}
inline constexpr EFI_GUID gFtdiUsbSerialDeviceTypeGuid = {
    0xA8154B55, 0x2021, 0x4D40, {0xAE, 0x81, 0x2E, 0x23, 0xA0, 0x2D, 0xCC, 0x46}};

// The font volume in flash.
inline constexpr UINT64 kFontVolumeAddress = 0xFE0C0000;
inline constexpr UINTN kFontVolumeSize = 0x140000;
