#include "boot/Launcher.h"

#include "boot/BootReports.h"
#include "boot/ImageRun.h"
#include "boot/PreBoot.h"
#include "boot/RemovableMedia.h"
#include "boot/UsbShortForm.h"
#include "bootopt/ExternalMedia.h"
#include "bootopt/GenericUsb.h"
#include "bootopt/ShortFormPath.h"
#include "bootopt/VariableHelpers.h"
#include "core/DriverState.h"
#include "core/Progress.h"
#include "kelm/PlatformTpmProtocol.h"
#include "kelm/Variables.h"
#include "library/firmware/DevicePathPool.h"
#include "library/firmware/Measurement.h"
#include "library/firmware/Protocol.h"
#include "network/BootDevicePlaceholders.h"
#include "network/NetBootPath.h"
#include "platform/NetworkPermission.h"
#include "uefi/GlobalVariable.h"

namespace kelm {

namespace {

constexpr UINTN kOneSecond = 1'000'000; // microseconds

// The path that is loaded: the option's own, or one that was made for this attempt.
struct PathToLoad {
    const EFI_DEVICE_PATH_PROTOCOL* path = nullptr;
    PoolPtr<EFI_DEVICE_PATH_PROTOCOL> made; // owns `path` when it is not the option's
    UINT64 expandedHardDrivePath = 0;       // its address, for the variable of that purpose

    void Replace(PoolPtr<EFI_DEVICE_PATH_PROTOCOL> replacement) {
        made = std::move(replacement);
        path = made.get();
    }
};

void ReplaceGenericUsb(BootOptionRecord** option) {
    if (!DevicePathsEqual((*option)->DevicePath, BdsGenericUsbBootPath())) {
        return;
    }
    BootOptionRecord* found = BdsFindFirstExternalMediaOption();
    if (found != nullptr) {
        BdsFreeBootOption(*option);
        *option = found;
    }
}

EFI_STATUS ResolveNetworkPlaceholder(PathToLoad& target) {
    if (!BdsIsNetworkPlaceholder(target.path)) {
        return EFI_SUCCESS;
    }
    if (IsPxeIscsiVlanConflict(target.path)) {
        return kStatusPxeVlanConflict;
    }
    auto bootPath = BdsGetUefiNetworkDeviceNetBootDevicePath(target.path);
    if (!bootPath) {
        return EFI_NOT_FOUND;
    }
    target.Replace(std::move(bootPath));
    return EFI_SUCCESS;
}

void ExpandShortForm(PathToLoad& target) {
    if (IsNode(target.path, kDevicePathTypeMedia, kMediaSubTypeHardDrive)) {
        if (auto full = BdsExpandHddShortFormPath(target.path)) {
            target.Replace(std::move(full));
            target.expandedHardDrivePath = reinterpret_cast<UINT64>(target.path);
        }
        return;
    }
    if (auto full = BdsExpandUsbShortFormPath(target.path)) {
        target.Replace(std::move(full));
    }
}

void Announce(const BootOptionRecord& option, const PathToLoad& target) {
    if (option.Description != nullptr) {
        DebugPrint(kDebugBdsInfoLoad, "Booting %S\n", option.Description);
    } else {
        DebugPrint(kDebugBdsInfoLoad, "Booting from unknown device path\n");
    }
    BdsReportBootStart(option.DevicePath, option.Attribute, option.Description);
    static_cast<void>(gBS->Stall(kOneSecond));
    if (auto* tpm = FindService<KelmPlatformTpmProtocol>()) {
        static_cast<void>(tpm->MeasureBootPath(tpm, target.path));
    }
}

void WriteAttemptVariables(const BootOptionRecord& option, const PathToLoad& target) {
    UINT16 number = option.BootCurrent;
    if (number != kNoBootCurrent) {
        static_cast<void>(gRT->SetVariable(const_cast<CHAR16*>(kBootCurrentName),
                                           &gEfiGlobalVariableGuid, kVariableBootRuntime,
                                           sizeof(number), &number));
    }
    UINT64 address = target.expandedHardDrivePath;
    const KelmVariable& variable = kVariableBootDevicePath;
    static_cast<void>(gRT->SetVariable(const_cast<CHAR16*>(variable.name), variable.guid,
                                       variable.attributes, sizeof(address), &address));
}

void DeleteAttemptVariables() {
    static_cast<void>(BdsDeleteVariable(kBootCurrentName, &gEfiGlobalVariableGuid));
    static_cast<void>(
        BdsDeleteVariable(kVariableBootDevicePath.name, kVariableBootDevicePath.guid));
}

void LogPath(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const PoolPtr<CHAR16> text = DevicePathText(path);
    DebugPrint(kDebugBdsInfo, "Attempting to boot from %s\n", text.get());
}

void ReportLoad() {
    BdsReportProgress(kProgressLoadBootImage);
}

// The image that the path names, or else that of the removable medium.
EFI_STATUS LoadImageOf(const EFI_DEVICE_PATH_PROTOCOL* path, EFI_HANDLE* image) {
    ReportLoad();
    const EFI_STATUS status = BdsLoadBootImage(path, image);
    return EFI_ERROR(status) ? BdsLoadRemovableMediaImage(path, image, status, ReportLoad) : status;
}

EFI_STATUS Attempt(const BootOptionRecord& option, UINTN* exitDataSize, CHAR16** exitData) {
    if (DevicePathSize(option.DevicePath) == 0) {
        return EFI_INVALID_PARAMETER; // null, or broken on the way
    }
    PathToLoad target;
    target.path = option.DevicePath;
    EFI_STATUS status = ResolveNetworkPlaceholder(target);
    if (EFI_ERROR(status)) {
        return status;
    }
    ExpandShortForm(target);
    Announce(option, target);
    WriteAttemptVariables(option, target);
    LogPath(target.path);
    EndMeasurement("POST Video Duration", "Video");
    BdsAllowNetworkConnection();
    EFI_HANDLE image = nullptr;
    status = LoadImageOf(target.path, &image);
    return EFI_ERROR(status) ? status : BdsRunBootImage(image, option, exitDataSize, exitData);
}

// An option that stands in no variable, described by the text of its path.
BootOptionRecord* MakeTransientOption(const EFI_DEVICE_PATH_PROTOCOL* path) {
    PoolPtr<BootOptionRecord> record = AllocateZeroPool<BootOptionRecord>();
    PoolPtr<EFI_DEVICE_PATH_PROTOCOL> pathCopy = DuplicateDevicePath(path);
    PoolPtr<CHAR16> description = DevicePathText(path);
    if (!record || !pathCopy || !description) {
        return nullptr;
    }
    record->Signature = kBootOptionSignature;
    record->DevicePath = pathCopy.release();
    record->Description = description.release();
    record->BootCurrent = kNoBootCurrent;
    return record.release();
}

} // namespace

EFI_STATUS BdsLaunchBootOption(BootOptionRecord** option, void* reserved, UINTN* exitDataSize,
                               CHAR16** exitData) {
    *exitDataSize = 0;
    *exitData = nullptr;
    if (option == nullptr || *option == nullptr || reserved != nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    BdsPrepareBootAttempt();
    ReplaceGenericUsb(option);
    const EFI_STATUS status = Attempt(**option, exitDataSize, exitData);
    DeleteAttemptVariables();
    gDriver.launch.bootAttempted = true;
    return status;
}

EFI_STATUS BdsLaunch(OwnedBootOption& option) {
    UINTN exitDataSize = 0;
    PoolPtr<CHAR16> exitData;
    return BdsLaunchBootOption(option.address(), nullptr, &exitDataSize, exitData.out());
}

EFI_STATUS BdsLaunchAndReport(OwnedBootOption& option) {
    const EFI_STATUS status = BdsLaunch(option);
    BdsReportBootResult(*option.get(), status);
    return status;
}

EFI_STATUS BdsBootByOptionNumber(UINT16 optionNumber, UINT16) {
    OwnedBootOption option(BdsReadBootOption(optionNumber));
    return option ? BdsLaunchAndReport(option) : EFI_INVALID_PARAMETER;
}

EFI_STATUS BdsBootByDevicePath(const EFI_DEVICE_PATH_PROTOCOL* path) {
    if (DevicePathSize(path) == 0) {
        return EFI_INVALID_PARAMETER;
    }
    OwnedBootOption option(MakeTransientOption(path));
    return option ? BdsLaunchAndReport(option) : EFI_OUT_OF_RESOURCES;
}

} // namespace kelm
