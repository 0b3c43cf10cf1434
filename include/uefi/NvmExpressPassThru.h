// EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL: commands to an NVM Express controller (UEFI 2.10,
// section 13.15).
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

inline constexpr EFI_GUID gEfiNvmExpressPassThruProtocolGuid = {
    0x52C78312, 0x8EDC, 0x4233, {0x98, 0xF2, 0x1A, 0x1A, 0xA5, 0xE3, 0x88, 0xA5}};

inline constexpr UINT32 EFI_NVM_EXPRESS_PASS_THRU_ATTRIBUTES_PHYSICAL = 0x0001;
inline constexpr UINT32 EFI_NVM_EXPRESS_PASS_THRU_ATTRIBUTES_LOGICAL = 0x0002;
inline constexpr UINT32 EFI_NVM_EXPRESS_PASS_THRU_ATTRIBUTES_NONBLOCKIO = 0x0004;
inline constexpr UINT32 EFI_NVM_EXPRESS_PASS_THRU_ATTRIBUTES_CMD_SET_NVM = 0x0008;

struct EFI_NVM_EXPRESS_PASS_THRU_MODE {
    UINT32 Attributes;
    UINT32 IoAlign;
    UINT32 NvmeVersion;
};
static_assert(sizeof(EFI_NVM_EXPRESS_PASS_THRU_MODE) == 12);

// EFI_NVM_EXPRESS_COMMAND::Flags: which command words are valid.
inline constexpr UINT8 CDW2_VALID = 0x01;
inline constexpr UINT8 CDW3_VALID = 0x02;
inline constexpr UINT8 CDW10_VALID = 0x04;
inline constexpr UINT8 CDW11_VALID = 0x08;
inline constexpr UINT8 CDW12_VALID = 0x10;
inline constexpr UINT8 CDW13_VALID = 0x20;
inline constexpr UINT8 CDW14_VALID = 0x40;
inline constexpr UINT8 CDW15_VALID = 0x80;

struct NVME_CDW0 {
    UINT32 Opcode : 8;
    UINT32 FusedOperation : 2;
    UINT32 Reserved : 22;
};
static_assert(sizeof(NVME_CDW0) == 4);

struct EFI_NVM_EXPRESS_COMMAND {
    NVME_CDW0 Cdw0;
    UINT8 Flags;
    UINT32 Nsid;
    UINT32 Cdw2;
    UINT32 Cdw3;
    UINT32 Cdw10;
    UINT32 Cdw11;
    UINT32 Cdw12;
    UINT32 Cdw13;
    UINT32 Cdw14;
    UINT32 Cdw15;
};
static_assert(sizeof(EFI_NVM_EXPRESS_COMMAND) == 44);

struct EFI_NVM_EXPRESS_COMPLETION {
    UINT32 DW0;
    UINT32 DW1;
    UINT32 DW2;
    UINT32 DW3;
};
static_assert(sizeof(EFI_NVM_EXPRESS_COMPLETION) == 16);

inline constexpr UINT8 NVME_ADMIN_QUEUE = 0x00;
inline constexpr UINT8 NVME_IO_QUEUE = 0x01;

struct EFI_NVM_EXPRESS_PASS_THRU_COMMAND_PACKET {
    UINT64 CommandTimeout; // 100 ns; 0 waits for ever
    void* TransferBuffer;
    UINT32 TransferLength;
    void* MetadataBuffer;
    UINT32 MetadataLength;
    UINT8 QueueType;
    EFI_NVM_EXPRESS_COMMAND* NvmeCmd;
    EFI_NVM_EXPRESS_COMPLETION* NvmeCompletion;
};
static_assert(sizeof(EFI_NVM_EXPRESS_PASS_THRU_COMMAND_PACKET) == 56);

struct EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL {
    EFI_NVM_EXPRESS_PASS_THRU_MODE* Mode;
    EFI_STATUS(EFIAPI* PassThru)
    (EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL* This, UINT32 NamespaceId,
     EFI_NVM_EXPRESS_PASS_THRU_COMMAND_PACKET* Packet, EFI_EVENT Event);
    // Starts at 0xFFFFFFFF; EFI_NOT_FOUND past the last namespace.
    EFI_STATUS(EFIAPI* GetNextNamespace)
    (EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL* This, UINT32* NamespaceId);
    EFI_STATUS(EFIAPI* BuildDevicePath)
    (EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL* This, UINT32 NamespaceId,
     EFI_DEVICE_PATH_PROTOCOL** DevicePath);
    EFI_STATUS(EFIAPI* GetNamespace)
    (EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL* This, EFI_DEVICE_PATH_PROTOCOL* DevicePath,
     UINT32* NamespaceId);
};
static_assert(sizeof(EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL) == 40);

template <>
struct ProtocolGuid<EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiNvmExpressPassThruProtocolGuid;
};
