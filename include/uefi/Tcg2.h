// EFI_TCG2_PROTOCOL: the trusted platform module (TCG EFI Protocol Specification, family 2.0).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiTcg2ProtocolGuid = {
    0x607F766C, 0x7455, 0x42BE, {0x93, 0x0B, 0xE4, 0xD7, 0x6D, 0xB2, 0x72, 0x0F}};

struct EFI_TCG2_VERSION {
    UINT8 Major;
    UINT8 Minor;
};
static_assert(sizeof(EFI_TCG2_VERSION) == 2);

struct EFI_TCG2_BOOT_SERVICE_CAPABILITY {
    UINT8 Size;
    EFI_TCG2_VERSION StructureVersion;
    EFI_TCG2_VERSION ProtocolVersion;
    UINT32 HashAlgorithmBitmap;
    UINT32 SupportedEventLogs;
    BOOLEAN TPMPresentFlag;
    UINT16 MaxCommandSize;
    UINT16 MaxResponseSize;
    UINT32 ManufacturerID;
    UINT32 NumberOfPCRBanks;
    UINT32 ActivePcrBanks;
};
static_assert(sizeof(EFI_TCG2_BOOT_SERVICE_CAPABILITY) == 36);

struct [[gnu::packed]] EFI_TCG2_EVENT_HEADER {
    UINT32 HeaderSize;
    UINT16 HeaderVersion;
    UINT32 PCRIndex;
    UINT32 EventType;
};
static_assert(sizeof(EFI_TCG2_EVENT_HEADER) == 14);

// The event data follows.
struct [[gnu::packed]] EFI_TCG2_EVENT {
    UINT32 Size; // of the record, event data included
    EFI_TCG2_EVENT_HEADER Header;
};
static_assert(sizeof(EFI_TCG2_EVENT) == 18);

struct EFI_TCG2_PROTOCOL {
    EFI_STATUS(EFIAPI* GetCapability)
    (EFI_TCG2_PROTOCOL* This, EFI_TCG2_BOOT_SERVICE_CAPABILITY* ProtocolCapability);
    EFI_STATUS(EFIAPI* GetEventLog)
    (EFI_TCG2_PROTOCOL* This, UINT32 EventLogFormat, EFI_PHYSICAL_ADDRESS* EventLogLocation,
     EFI_PHYSICAL_ADDRESS* EventLogLastEntry, BOOLEAN* EventLogTruncated);
    EFI_STATUS(EFIAPI* HashLogExtendEvent)
    (EFI_TCG2_PROTOCOL* This, UINT64 Flags, EFI_PHYSICAL_ADDRESS DataToHash, UINT64 DataToHashLen,
     EFI_TCG2_EVENT* EfiTcgEvent);
    EFI_STATUS(EFIAPI* SubmitCommand)
    (EFI_TCG2_PROTOCOL* This, UINT32 InputParameterBlockSize, UINT8* InputParameterBlock,
     UINT32 OutputParameterBlockSize, UINT8* OutputParameterBlock);
    EFI_STATUS(EFIAPI* GetActivePcrBanks)(EFI_TCG2_PROTOCOL* This, UINT32* ActivePcrBanks);
    EFI_STATUS(EFIAPI* SetActivePcrBanks)(EFI_TCG2_PROTOCOL* This, UINT32 ActivePcrBanks);
    EFI_STATUS(EFIAPI* GetResultOfSetActivePcrBanks)
    (EFI_TCG2_PROTOCOL* This, UINT32* OperationPresent, UINT32* Response);
};
static_assert(sizeof(EFI_TCG2_PROTOCOL) == 56);

template <>
struct ProtocolGuid<EFI_TCG2_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiTcg2ProtocolGuid;
};
