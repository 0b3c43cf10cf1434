// EFI_ISCSI_INITIATOR_NAME_PROTOCOL: the system's iSCSI qualified name (UEFI 2.10, section 16.2).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiIScsiInitiatorNameProtocolGuid = {
    0x59324945, 0xEC44, 0x4C0D, {0xB1, 0xCD, 0x9D, 0xB1, 0x39, 0xDF, 0x07, 0x0C}};

// A name is ASCII, null-terminated, at most 224 bytes with its null; BufferSize is in bytes.
struct EFI_ISCSI_INITIATOR_NAME_PROTOCOL {
    EFI_STATUS(EFIAPI* Get)
    (EFI_ISCSI_INITIATOR_NAME_PROTOCOL* This, UINTN* BufferSize, void* Buffer);
    EFI_STATUS(EFIAPI* Set)
    (EFI_ISCSI_INITIATOR_NAME_PROTOCOL* This, UINTN* BufferSize, void* Buffer);
};
static_assert(sizeof(EFI_ISCSI_INITIATOR_NAME_PROTOCOL) == 16);

template <>
struct ProtocolGuid<EFI_ISCSI_INITIATOR_NAME_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiIScsiInitiatorNameProtocolGuid;
};
