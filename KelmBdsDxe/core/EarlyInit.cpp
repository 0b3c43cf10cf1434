#include "core/EarlyInit.h"

#include "bootopt/GenericUsb.h"
#include "core/BdsInterface.h"
#include "core/BootMode.h"
#include "core/DriverState.h"
#include "core/FirmwareIdentity.h"
#include "core/FontVolume.h"
#include "core/PlatformPolicy.h"
#include "core/ReadOnlyVariables.h"
#include "kelm/CpldRegisters.h"
#include "kelm/EventGroups.h"
#include "kelm/HobGuids.h"
#include "kelm/PcdTokens.h"
#include "kelm/PostMessages.h"
#include "kelm/Variables.h"
#include "library/firmware/Debug.h"
#include "library/firmware/Event.h"
#include "library/firmware/Hob.h"
#include "library/firmware/Pcd.h"
#include "library/firmware/Protocol.h"
#include "network/BootDevicePlaceholders.h"
#include "platform/Cpld.h"
#include "post/Languages.h"
#include "post/PasswordEntry.h"
#include "post/PostMessages.h"
#include "strings/Strings.h"
#include "uefi/GlobalVariable.h"

namespace kelm {

namespace {

constexpr UINT32 kBootOptionSupportValue = EFI_BOOT_OPTION_SUPPORT_SYSPREP;
static_assert(kBootOptionSupportValue == 0x10);

void ReadNullPageDetection() {
    gDriver.boot.nullPageDetection = 0;
    const auto data = FindGuidHob(gKelmNullPageDetectionHobGuid);
    if (data && !data->empty()) {
        gDriver.boot.nullPageDetection = data->front();
    }
}

void AcknowledgeRemoteNvramClear() {
    UINT8 requests = 0;
    if (!EFI_ERROR(BdsReadCpldRegister(kCpldRegisterRequests, &requests))) {
        const UINT8 acknowledged = requests & static_cast<UINT8>(~kCpldRemoteNvramClear);
        if (EFI_ERROR(BdsWriteCpldRegister(kCpldRegisterRequests, acknowledged))) {
            DebugPrint(kDebugError, "Warning: CPLD_REMOTE_NVRAM_CLR_OFFSET."
                                    "REMOTE_NVRAM_CLR_REQUEST_MASK can't be cleared.\n");
        }
    }
    static_cast<void>(PcdSetBool(kPcdRemoteNvramClear, false));
}

void CallPlatformPolicy() {
    if (KelmPlatformPolicyProtocol* policy = BdsPlatformPolicy()) {
        static_cast<void>(policy->EarlyInit(policy));
    }
}

void SettleBootMode() {
    static_cast<void>(BdsGetBootMode());
    if (gDriver.boot.bootMode == kBootModeBios) {
        DebugPrint(kDebugBdsInfo, "BDS: BootMode = BIOS\n");
        static_cast<void>(RegisterPostMessage(kPostMessageBiosBootMode));
    } else {
        DebugPrint(kDebugBdsInfo, "BDS: BootMode = UEFI\n");
    }
}

void EFIAPI OnExitBoot(EFI_EVENT, void*) {
    DebugPrint(kDebugBds, "BDS: Exit Boot Handler is called.\n");
}

void EFIAPI OnReadyToBoot(EFI_EVENT, void*) {
    DebugPrint(kDebugBds, "BDS: Ready To Boot Handler is called.\n");
}

// The events stay open until boot services end, so they belong to the driver's state.
EFI_STATUS WatchEndOfBoot() {
    const EFI_STATUS status =
        gBS->CreateEventEx(EVT_NOTIFY_SIGNAL, TPL_NOTIFY, OnExitBoot, nullptr,
                           &gKelmExitBootServicesGroupGuid, &gDriver.core.exitBootEvent);
    if (EFI_ERROR(status)) {
        return status;
    }
    return gBS->CreateEventEx(EVT_NOTIFY_SIGNAL, TPL_NOTIFY, OnReadyToBoot, nullptr,
                              &gEfiEventReadyToBootGuid, &gDriver.core.readyToBootEvent);
}

template <class Value>
void WriteVariable(const CHAR16* name, const EFI_GUID& guid, UINT32 attributes, Value value) {
    static_cast<void>(
        gRT->SetVariable(const_cast<CHAR16*>(name), &guid, attributes, sizeof(value), &value));
}

void ForbidNetworkConnections() {
    const KelmVariable& variable = kVariableAllowNetworkConnection;
    WriteVariable(variable.name, *variable.guid, variable.attributes, UINT8{0});
}

void WriteBootVariables() {
    WriteVariable(kTimeoutName, gEfiGlobalVariableGuid,
                  EFI_VARIABLE_NON_VOLATILE | EFI_VARIABLE_BOOTSERVICE_ACCESS |
                      EFI_VARIABLE_RUNTIME_ACCESS,
                  UINT16{0});
    // Locked by now on platforms that enforce the lock; the write is for those that do not.
    WriteVariable(kBootOptionSupportName, gEfiGlobalVariableGuid,
                  EFI_VARIABLE_BOOTSERVICE_ACCESS | EFI_VARIABLE_RUNTIME_ACCESS,
                  kBootOptionSupportValue);
}

} // namespace

void BdsEarlyInit() {
    ReadNullPageDetection();
    AcknowledgeRemoteNvramClear();
    CallPlatformPolicy();
    static_cast<void>(BdsInitLanguages(true));
    static_cast<void>(BdsRegisterStrings());
    BdsSetFirmwareIdentity();
    static_cast<void>(BdsLoadFontFv());
    BdsInstallInterface();
    SettleBootMode();
    static_cast<void>(BdsPasswordEntryEnd());
    static_cast<void>(WatchEndOfBoot());
    ForbidNetworkConnections();
    BdsLockReadOnlyVariables();
    WriteBootVariables();
    BdsInstallNetworkBootDevices();
    BdsInstallGenericUsbBootDevice();
}

} // namespace kelm
