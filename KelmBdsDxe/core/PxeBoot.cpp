// Booting from the network at the press of F12.

#include "boot/BootReports.h"
#include "boot/Launcher.h"
#include "bootopt/DeviceLocation.h"
#include "bootopt/LegacyOptionKind.h"
#include "bootopt/OrderVariable.h"
#include "core/DriverState.h"
#include "core/UserEntries.h"
#include "library/firmware/DevicePathPool.h"
#include "library/pure/DevicePath.h"
#include "library/pure/Ucs2.h"
#include "network/BootDevicePlaceholders.h"
#include "uefi/GlobalVariable.h"

#include <cstring>
#include <limits>
#include <span>

namespace kelm {

namespace {

constexpr CHAR16 kPxe[] = u"PXE"; // location texts of PXE devices begin with it

bool IsActive(const BootOptionRecord& option) {
    return (option.Attribute & LOAD_OPTION_ACTIVE) != 0;
}

bool IsPxeDevice(const BootOptionRecord& option) {
    if (!IsActive(option) || DevicePathSize(option.DevicePath) == 0 ||
        !BdsIsNetworkPlaceholder(option.DevicePath)) {
        return false;
    }
    const PoolPtr<CHAR16> location = BdsGetDeviceLocationText(option.DevicePath);
    return Ucs2View(location.get()).starts_with(kPxe);
}

// The report of a failure leaves a result for the next prompt. It is dropped here: the user has
// seen the report, and the default boot follows.
void LaunchAndForget(OwnedBootOption& option) {
    if (EFI_ERROR(BdsLaunchAndReport(option))) {
        gDriver.launch.lastBootResult = kLastBootNothing;
    }
}

// Whether there was a device to launch.
bool LaunchPxeDevices(std::span<const UINT16> numbers) {
    bool found = false;
    for (const UINT16 number : numbers) {
        OwnedBootOption option(BdsReadBootOption(number));
        if (option && IsPxeDevice(*option.get())) {
            found = true;
            LaunchAndForget(option);
        }
    }
    return found;
}

bool IsLegacyNetworkOption(UINT16 number, const BootOptionRecord& option) {
    UINT16 type = 0;
    return IsActive(option) && !EFI_ERROR(BdsGetLegacyOptionType(number, &type)) &&
           type == BBS_TYPE_BEV;
}

// Puts the device records of `from` behind those of `to`, if there is room for them.
void AppendDevices(BootOptionRecord& to, const BootOptionRecord& from) {
    if (from.LoadOptionsSize == 0 ||
        from.LoadOptionsSize > std::numeric_limits<UINT32>::max() - to.LoadOptionsSize) {
        return;
    }
    const UINT32 size = to.LoadOptionsSize + from.LoadOptionsSize;
    PoolPtr<UINT8> all = AllocatePool<UINT8>(size);
    if (!all) {
        return;
    }
    if (to.LoadOptionsSize != 0) {
        std::memcpy(all.get(), to.LoadOptions, to.LoadOptionsSize);
    }
    std::memcpy(all.get() + to.LoadOptionsSize, from.LoadOptions, from.LoadOptionsSize);
    FreePool(to.LoadOptions);
    to.LoadOptions = all.release();
    to.LoadOptionsSize = size;
}

// One option that holds the devices of all legacy network options, described as "PXE"; null when
// there are none, or memory is out.
BootOptionRecord* CollectLegacyNetworkOptions(std::span<const UINT16> numbers) {
    OwnedBootOption all;
    for (const UINT16 number : numbers) {
        OwnedBootOption option(BdsReadBootOption(number));
        if (!option || !IsLegacyNetworkOption(number, *option.get())) {
            continue;
        }
        if (all) {
            AppendDevices(*all.get(), *option.get());
            continue;
        }
        PoolPtr<CHAR16> description = AllocateCopyPool(sizeof(kPxe), kPxe);
        if (!description) {
            return nullptr;
        }
        *all.address() = option.release();
        FreePool(all->Description);
        all->Description = description.release();
    }
    return all.release();
}

bool LaunchLegacyNetworkOptions(std::span<const UINT16> numbers) {
    OwnedBootOption all(CollectLegacyNetworkOptions(numbers));
    if (all) {
        LaunchAndForget(all);
    }
    return static_cast<bool>(all);
}

} // namespace

void BdsBootPxe() {
    OptionOrder order;
    static_cast<void>(BdsReadOrder(kBootOrderName, &gEfiGlobalVariableGuid, order));
    const std::span<const UINT16> numbers = std::as_const(order).numbers();
    const bool found = gDriver.boot.bootMode == kBootModeUefi ? LaunchPxeDevices(numbers)
                                                              : LaunchLegacyNetworkOptions(numbers);
    if (!found) {
        gDriver.launch.lastBootResult = kLastBootNoPxeDevice;
    }
}

} // namespace kelm
