// EFI_SMM_COMMUNICATION_PROTOCOL: a message to a handler in system management mode, named MM
// communication in later editions (PI 1.8, volume 4, section 5.7).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiSmmCommunicationProtocolGuid = {
    0xC68ED8E2, 0x9DC6, 0x4CBD, {0x9D, 0x94, 0xDB, 0x65, 0xAC, 0xC5, 0xC3, 0x32}};

// The message follows directly, at kSmmCommunicateHeaderSize.
struct EFI_SMM_COMMUNICATE_HEADER {
    EFI_GUID HeaderGuid; // names the handler
    UINTN MessageLength; // of the message only, in bytes
};
static_assert(sizeof(EFI_SMM_COMMUNICATE_HEADER) == 24);
inline constexpr UINTN kSmmCommunicateHeaderSize = sizeof(EFI_SMM_COMMUNICATE_HEADER);

using EFI_MM_COMMUNICATE_HEADER = EFI_SMM_COMMUNICATE_HEADER;

struct EFI_SMM_COMMUNICATION_PROTOCOL {
    // CommBuffer is a physical address as well, and holds header and message; CommSize is the size
    // of the buffer, header included.
    EFI_STATUS(EFIAPI* Communicate)
    (const EFI_SMM_COMMUNICATION_PROTOCOL* This, void* CommBuffer, UINTN* CommSize);
};
static_assert(sizeof(EFI_SMM_COMMUNICATION_PROTOCOL) == 8);

using EFI_MM_COMMUNICATION_PROTOCOL = EFI_SMM_COMMUNICATION_PROTOCOL;

template <>
struct ProtocolGuid<EFI_SMM_COMMUNICATION_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiSmmCommunicationProtocolGuid;
};
