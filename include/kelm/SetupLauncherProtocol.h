// Runs the setup browser.
#pragma once

#include "uefi/Base.h"

// {EDA3C2A0-85A5-4234-A85B-DC7F4260ED56}
inline constexpr EFI_GUID gKelmSetupLauncherProtocolGuid = {
    0xEDA3C2A0, 0x85A5, 0x4234, {0xA8, 0x5B, 0xDC, 0x7F, 0x42, 0x60, 0xED, 0x56}};

inline constexpr UINTN kSetupLaunchSystemSetup = 4;

struct KelmSetupLauncherProtocol {
    void* Reserved0;
    // Shows the chosen menu and returns when the user leaves it. *result is what the browser asks
    // of the caller; BDS does not look at it. Does not take the protocol itself.
    EFI_STATUS(EFIAPI* Launch)(UINTN menu, UINTN* result);
};
static_assert(sizeof(KelmSetupLauncherProtocol) == 2 * sizeof(void*));

template <>
struct ProtocolGuid<KelmSetupLauncherProtocol> {
    static constexpr const EFI_GUID& value = gKelmSetupLauncherProtocolGuid;
};
