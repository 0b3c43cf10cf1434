#include "post/DriverRepair.h"

#include "console/Print.h"
#include "core/Reset.h"
#include "library/firmware/Protocol.h"
#include "uefi/DriverHealth.h"

#include <optional>

namespace kelm {

namespace {

constexpr CHAR16 kConfigurationRequired[] =
    u"\r\nOne or more devices must be configured before they can be used. "
    u"Enter System Setup (BIOS) to configure them.\n\r";
// A driver that is never content would keep the boot for ever.
constexpr UINTN kMaxRounds = 64;

struct Requests {
    bool again = false; // something was done: ask once more
    bool configuration = false;
    bool reboot = false;
};

using DriverHealth = EFI_DRIVER_HEALTH_PROTOCOL;

// The health that a driver reports; nothing when it does not manage the controller.
std::optional<EFI_DRIVER_HEALTH_STATUS> HealthOf(DriverHealth& driver, EFI_HANDLE controller,
                                                 EFI_HANDLE child) {
    EFI_DRIVER_HEALTH_STATUS health = EfiDriverHealthStatusHealthy;
    PoolPtr<EFI_DRIVER_HEALTH_HII_MESSAGE> messages; // shown already
    EFI_HII_HANDLE form = nullptr;
    if (EFI_ERROR(
            driver.GetHealthStatus(&driver, controller, child, &health, messages.out(), &form))) {
        return std::nullopt;
    }
    return health;
}

// Does what a driver asks for. True when that has changed which handles there are.
bool Treat(DriverHealth& driver, EFI_HANDLE controller, EFI_HANDLE child,
           EFI_DRIVER_HEALTH_STATUS health, Requests& requests) {
    switch (health) {
    case EfiDriverHealthStatusRepairRequired:
        if (!EFI_ERROR(driver.Repair(&driver, controller, child, nullptr))) {
            requests.again = true;
        }
        return false;
    case EfiDriverHealthStatusReconnectRequired:
        static_cast<void>(gBS->DisconnectController(controller, nullptr, nullptr));
        static_cast<void>(gBS->ConnectController(controller, nullptr, nullptr, TRUE));
        requests.again = true;
        return true;
    case EfiDriverHealthStatusConfigurationRequired:
        requests.configuration = true;
        return false;
    case EfiDriverHealthStatusRebootRequired:
        requests.reboot = true;
        return false;
    default:
        return false;
    }
}

// The same for what was opened on one protocol of a controller on behalf of its children.
bool TreatChildrenOf(DriverHealth& driver, EFI_HANDLE controller, const EFI_GUID* protocol,
                     Requests& requests) {
    PoolPtr<EFI_OPEN_PROTOCOL_INFORMATION_ENTRY> openers;
    UINTN count = 0;
    if (EFI_ERROR(gBS->OpenProtocolInformation(controller, protocol, openers.out(), &count))) {
        return false;
    }
    for (UINTN i = 0; i < count; ++i) {
        const auto& opener = openers[i];
        if ((opener.Attributes & EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER) == 0) {
            continue;
        }
        const auto health = HealthOf(driver, controller, opener.ControllerHandle);
        if (health && Treat(driver, controller, opener.ControllerHandle, *health, requests)) {
            return true;
        }
    }
    return false;
}

bool TreatChildren(DriverHealth& driver, EFI_HANDLE controller, Requests& requests) {
    PoolPtr<EFI_GUID*> protocols;
    UINTN count = 0;
    if (EFI_ERROR(gBS->ProtocolsPerHandle(controller, protocols.out(), &count))) {
        return false;
    }
    for (UINTN i = 0; i < count; ++i) {
        if (TreatChildrenOf(driver, controller, protocols[i], requests)) {
            return true;
        }
    }
    return false;
}

// All controllers of one driver, up to the first that was reconnected.
void TreatControllers(DriverHealth& driver, Requests& requests) {
    HandleBuffer controllers;
    if (EFI_ERROR(controllers.LocateAll())) {
        return;
    }
    for (const EFI_HANDLE controller : controllers.handles()) {
        const auto health = HealthOf(driver, controller, nullptr);
        if (!health) {
            continue;
        }
        if (Treat(driver, controller, nullptr, *health, requests) ||
            TreatChildren(driver, controller, requests)) {
            return;
        }
    }
}

// One round over all drivers. Those that are content with all their controllers are not asked for
// each of them.
Requests TreatAll(std::span<const EFI_HANDLE> drivers) {
    Requests requests;
    for (const EFI_HANDLE handle : drivers) {
        auto* driver = ProtocolOnHandle<DriverHealth>(handle); // may have gone with its driver
        const auto health = driver == nullptr ? std::optional<EFI_DRIVER_HEALTH_STATUS>()
                                              : HealthOf(*driver, nullptr, nullptr);
        if (health && *health != EfiDriverHealthStatusHealthy) {
            TreatControllers(*driver, requests);
        }
    }
    return requests;
}

} // namespace

void BdsRepairAllControllers(std::span<const EFI_HANDLE> drivers) {
    Requests requests;
    for (UINTN round = 0; round < kMaxRounds; ++round) {
        requests = TreatAll(drivers);
        if (!requests.again) {
            break;
        }
    }
    if (requests.configuration) {
        PrintString(kConfigurationRequired);
    }
    if (requests.reboot) {
        BdsWaitAndReset();
    }
}

} // namespace kelm
