#include "bootopt/EnumerateBootOptions.h"

#include "boot/ControllerBoot.h"
#include "bootopt/BootOrder.h"
#include "bootopt/DefaultUefiOrder.h"
#include "bootopt/FqddAttributes.h"
#include "bootopt/OsBootEntries.h"
#include "bootopt/RedundantOs.h"
#include "bootopt/UefiEnumeration.h"
#include "bootopt/VariableHelpers.h"
#include "core/DriverState.h"
#include "core/HookPoints.h"
#include "kelm/AttributeNames.h"
#include "kelm/DebugLevels.h"
#include "kelm/HookPoints.h"
#include "kelm/Variables.h"
#include "legacy/LegacyEnumeration.h"
#include "library/firmware/Debug.h"
#include "network/IscsiConnect.h"
#include "network/NicList.h"
#include "network/NvmeofConnect.h"
#include "services/Attributes.h"
#include "uefi/GlobalVariable.h"

#include <optional>

namespace kelm {

namespace {

// A boot that only applies a configuration has no use for boot options, with two exceptions: jobs
// that need them, and a provisioning tool that asks for them.
bool IsWithoutOptions(const BootState& boot) {
    return boot.configurationBoot && boot.bootTask != BootTask::Aci &&
           boot.bootTask != BootTask::SmaJob && !boot.forgelineSsmEnumerate;
}

// The first byte of a variable.
std::optional<UINT8> ReadByte(const KelmVariable& variable) {
    UINTN size = 0;
    const PoolPtr<UINT8> data = BdsReadVariable(variable.name, variable.guid, &size);
    return data ? std::optional(data[0]) : std::nullopt;
}

void Delete(const KelmVariable& variable) {
    static_cast<void>(BdsDeleteVariable(variable.name, variable.guid));
}

void RefreshNetworkDevices() {
    static_cast<void>(BdsCreateNicList());
    static_cast<void>(BdsUpdateNetworkDeviceAttributes());
    if (ReadByte(kVariableOneShotBootMenuRefresh) == 1) {
        DebugPrint(kDebugBdsInfo, "BDS: Pressed refreshing in One-Shot UEFI Boot Menu.\n");
        DebugPrint(kDebugBds, "BDS: BdsIscsiConnect - %r\n", BdsIscsiConnect());
        DebugPrint(kDebugBds, "BDS: BdsNvmeofConnect - %r\n", BdsNvmeofConnect());
        Delete(kVariableOneShotBootMenuRefresh);
    }
    if (const std::optional<UINT8> changed = ReadByte(kVariableHiiNetworkReconnect)) {
        if ((*changed & kNetworkReconnectIscsi) != 0) {
            DebugPrint(kDebugBdsInfo,
                       "BDS: iSCSI Network Settings were changed in Setup and reconnected - %r\n",
                       BdsIscsiConnect());
        }
        if ((*changed & kNetworkReconnectNvmeof) != 0) {
            DebugPrint(kDebugBdsInfo,
                       "BDS: NVMeOF Network Settings were changed in Setup and reconnect - %r\n",
                       BdsNvmeofConnect());
        }
        Delete(kVariableHiiNetworkReconnect);
    }
}

void EnumerateDevices(const BootState& boot, bool uefi) {
    const bool configuresController =
        boot.bootTask == BootTask::SmaJob && (boot.smaJobType & SmaJobTypeConfiguration) != 0;
    if ((!uefi || BdsIsLegacyOrderRequested()) && !configuresController) {
        static_cast<void>(BdsEnumerateLegacyBootOptions());
    }
    if (uefi || BdsIsUefiOrderRequested()) {
        static_cast<void>(BdsEnumerateUefiBootOptions());
        static_cast<void>(BdsBuildDefaultUefiBootOrder());
    }
}

bool BootsRedundantOs() {
    return !BdsCompareAttribute(kAttributeRedundantOsLocation, kAttributeNone) &&
           BdsCompareAttribute(kAttributeRedundantOsState, kAttributeVisible) &&
           BdsAttributeIsEnabled(kAttributeRedundantOsBoot);
}

void ApplySettings(const BootState& boot) {
    static_cast<void>(BdsApplyBootSeqDefault());
    if (boot.bootTask == BootTask::ControllerBoot) {
        static_cast<void>(BdsApplyPersistentControllerBootRequest());
    }
    static_cast<void>(BdsProcessFqddBootOrderAttributes());
    static_cast<void>(BdsProcessInternalFqddOrderAttributes());
    static_cast<void>(BdsApplyBootOrderDefaults());
}

void ShowBootOrder(UINT64 level, const CHAR8* title) {
    DebugPrint(level, title);
    BdsDumpBootOrder(kBootOrderName, &gEfiGlobalVariableGuid);
}

// Everything between the two hook points. The status of the sync.
EFI_STATUS UpdateOptions(const BootState& boot) {
    const bool uefi = boot.bootMode == kBootModeUefi;
    if (uefi) {
        RefreshNetworkDevices();
    }
    ShowBootOrder(kDebugError, "BDS: BootOrder before sanity check:\n");
    BdsBootOrderSanityCheck();
    const bool placesOs = uefi && BdsAttributeIsEnabled(kAttributeHddPlaceholder);
    if (placesOs) {
        static_cast<void>(BdsPositionOsBootManager());
    }
    const EFI_STATUS status = BdsSyncBootOrder();
    if (EFI_ERROR(status)) {
        return status;
    }
    EnumerateDevices(boot, uefi);
    if (BootsRedundantOs()) {
        static_cast<void>(BdsReorderRedundantOs());
    }
    static_cast<void>(BdsSetBootOrderFromModeOrder());
    ShowBootOrder(
        kDebugInfo,
        "BDS: BootOrder Variables after enumeration (before apply attributes/defaults):\n");
    if (placesOs) {
        static_cast<void>(BdsUpdateOsBootEntries());
    }
    ApplySettings(boot);
    ShowBootOrder(kDebugInfo, "BDS: BootOrder Variables after apply attributes/defaults:\n");
    return status;
}

} // namespace

EFI_STATUS EnumerateBootOptions() {
    const BootState& boot = gDriver.boot;
    if (IsWithoutOptions(boot)) {
        return EFI_SUCCESS;
    }
    DebugPrint(kDebugBdsInfo, "BDS: Enumerate Boot Options\n");
    BdsSignalHookPoint(gKelmHookBeforeEnumerateBootOptionsGuid);
    const EFI_STATUS status = UpdateOptions(boot);
    BdsSignalHookPoint(gKelmHookAfterEnumerateBootOptionsGuid);
    return status;
}

} // namespace kelm
