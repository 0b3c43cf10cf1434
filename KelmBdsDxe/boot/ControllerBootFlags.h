// The boot flags of the management controller (IPMI system boot options, parameter 5): what the
// controller asks of this boot.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Boot device selectors of the flags; the instance tells apart what one selector stands for.
inline constexpr UINT8 kBootSelectorDiagnostics = 4;
inline constexpr UINT8 kBootSelectorSetup = 6;
inline constexpr UINT8 kSetupInstanceSetup = 0;
inline constexpr UINT8 kSetupInstanceBootManager = 1;
inline constexpr UINT8 kSetupInstanceForgeline = 2;
inline constexpr UINT8 kSetupInstanceDevicePath = 3;

struct ControllerBootRequest {
    UINT8 selector = 0;
    UINT8 instance = 0;
};
// What is asked for; zeros unless the flags were read and are valid.
ControllerBootRequest BdsGetControllerBootRequest();
// Whether the flags were read, are valid and name a boot device.
bool BdsIsControllerBootOverride();
// Whether they ask for console redirection on or off; false unless they were read and are valid.
bool BdsIsRedirectionEnableRequested();
bool BdsIsRedirectionSuppressRequested();
// Shows the request on the splash screen.
void BdsShowControllerBootRequest();

// Each withdraws one kind of request, here and at the controller, once it has been carried out.
EFI_STATUS BdsClearControllerSetupRequest();
EFI_STATUS BdsClearControllerForgelineRequest();
EFI_STATUS BdsClearControllerPxeRequest();

// Reads them once a boot.
EFI_STATUS BdsReadControllerBootFlags();
// Clears them at the controller.
EFI_STATUS BdsClearControllerBootFlags();

} // namespace kelm
