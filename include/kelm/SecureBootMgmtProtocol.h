// Secure-boot configuration that the management controller has asked for: whether something waits,
// and its execution.
#pragma once

#include "uefi/Base.h"

// {A85BEDA6-FF05-4C45-A94F-FE4B996EE505}
inline constexpr EFI_GUID gKelmNimborSecureBootMgmtProtocolGuid = {
    0xA85BEDA6, 0xFF05, 0x4C45, {0xA9, 0x4F, 0xFE, 0x4B, 0x99, 0x6E, 0xE5, 0x05}};

struct NimborSecureBootMgmtProtocol {
    // TRUE when a configuration task waits.
    BOOLEAN(EFIAPI* GetPendingTask)(NimborSecureBootMgmtProtocol* This);
    // Carries the task out; called in every boot with what GetPendingTask said.
    EFI_STATUS(EFIAPI* ProcessTask)(NimborSecureBootMgmtProtocol* This, BOOLEAN pending);
};
static_assert(sizeof(NimborSecureBootMgmtProtocol) == 2 * sizeof(void*));

template <>
struct ProtocolGuid<NimborSecureBootMgmtProtocol> {
    static constexpr const EFI_GUID& value = gKelmNimborSecureBootMgmtProtocolGuid;
};
