#include "boot/OneTimeBoot.h"

#include "boot/BootNext.h"
#include "boot/BootReports.h"
#include "boot/ControllerBoot.h"
#include "boot/ControllerBootFlags.h"
#include "boot/Launcher.h"
#include "bootopt/BracketValue.h"
#include "bootopt/DeviceLocation.h"
#include "bootopt/FqddMatch.h"
#include "bootopt/LegacyOptionKind.h"
#include "bootopt/OrderVariable.h"
#include "bootopt/VariableHelpers.h"
#include "core/BootTask.h"
#include "core/DriverState.h"
#include "kelm/AttributeNames.h"
#include "kelm/BiosBootInterfaceProtocol.h"
#include "kelm/DeviceLocationProtocol.h"
#include "kelm/ManufacturingModeProtocol.h"
#include "kelm/Variables.h"
#include "legacy/LegacyOption.h"
#include "library/firmware/DevicePathPool.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"
#include "services/Attributes.h"
#include "strings/Strings.h"
#include "uefi/GlobalVariable.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

namespace kelm {

namespace {

constexpr std::u16string_view kHardDriveGroup = u"Hard drive C:";
constexpr std::u16string_view kFirstSubIndex = u"-1";

// What setup asked for.
struct Request {
    PoolPtr<CHAR16> fqdd;     // of the device, with a sub-index
    PoolPtr<CHAR16> bootPath; // text of the device path that was meant; null when any will do
    std::optional<UINT16> hardDriveGroup; // the option that stands for the group of hard disks
};

bool FitsBootMode(const CHAR16* mode) {
    if (gDriver.boot.bootMode == kBootModeUefi) {
        return Ucs2View(mode) == kAttributeOneTimeUefiBootSeq;
    }
    return Ucs2View(mode) == kAttributeOneTimeBootSeq || Ucs2View(mode) == kAttributeOneTimeHddSeq;
}

// A text variable whose terminator may be missing and whose size may be odd, as a text.
EFI_STATUS ReadTextVariable(const KelmVariable& variable, PoolPtr<CHAR16>& text) {
    UINTN size = 0;
    PoolPtr<UINT8> data;
    const EFI_STATUS status = BdsReadVariable(variable.name, variable.guid, data, &size);
    if (EFI_ERROR(status)) {
        return status;
    }
    const UINTN length = size / sizeof(CHAR16);
    text = AllocateZeroPool<CHAR16>(length + 1);
    if (!text) {
        return EFI_OUT_OF_RESOURCES;
    }
    std::memcpy(text.get(), data.get(), length * sizeof(CHAR16));
    return EFI_SUCCESS;
}

// The text up to its first bracket attribute, with "-1" behind it when it has no sub-index.
PoolPtr<CHAR16> WantedFqdd(const CHAR16* text) {
    std::u16string_view fqdd = Ucs2View(text);
    fqdd = fqdd.substr(0, fqdd.find(u'['));
    const bool whole = fqdd.find(u'-') != fqdd.npos;
    const std::u16string_view subIndex = whole ? std::u16string_view() : kFirstSubIndex;
    PoolPtr<CHAR16> wanted = AllocateZeroPool<CHAR16>(fqdd.size() + subIndex.size() + 1);
    if (wanted) {
        CHAR16* end = std::copy(fqdd.begin(), fqdd.end(), wanted.get());
        std::copy(subIndex.begin(), subIndex.end(), end);
    }
    return wanted;
}

bool IsHardDriveGroup(KelmDeviceLocationProtocol& locations, const CHAR16* fqdd) {
    PoolPtr<CHAR16> name;
    PoolPtr<CHAR16> detail;
    return !EFI_ERROR(locations.GetBootDescription(&locations, fqdd, kStringLanguage, name.out(),
                                                   detail.out())) &&
           name && Ucs2View(name.get()) == kHardDriveGroup;
}

EFI_STATUS ReadRequest(KelmDeviceLocationProtocol& locations, const CHAR16* mode,
                       Request& request) {
    const bool hddSequence = Ucs2View(mode) == kAttributeOneTimeHddSeq;
    PoolPtr<CHAR16> text;
    const EFI_STATUS status = ReadTextVariable(
        hddSequence ? kVariableOneTimeHddBootDevice : kVariableOneTimeBootDevice, text);
    if (EFI_ERROR(status)) {
        return status;
    }
    request.fqdd = WantedFqdd(text.get());
    if (!request.fqdd) {
        return EFI_OUT_OF_RESOURCES;
    }
    if (Ucs2View(mode) == kAttributeOneTimeBootSeq &&
        IsHardDriveGroup(locations, request.fqdd.get())) {
        OptionOrder order;
        if (EFI_ERROR(BdsReadOrder(kBootOrderName, &gEfiGlobalVariableGuid, order)) ||
            order.numbers().empty()) {
            return EFI_NOT_FOUND;
        }
        request.hardDriveGroup = order.numbers()[0];
    }
    // Without memory for the path another device of the same FQDD would be taken for it.
    return BdsGetBracketValue(text.get(), kBracketBootPath, request.bootPath.out()) ==
                   EFI_OUT_OF_RESOURCES
               ? EFI_OUT_OF_RESOURCES
               : EFI_SUCCESS;
}

// UEFI: whether the option's device has the FQDD, and its path the text, that the request names.
bool IsRequested(const BootOptionRecord& option, const Request& request) {
    PoolPtr<CHAR16> fqdd;
    if (EFI_ERROR(BdsGetDeviceLocation(option.DevicePath, nullptr, &fqdd)) || !fqdd ||
        Ucs2View(fqdd.get()) != Ucs2View(request.fqdd.get())) {
        return false;
    }
    if (!request.bootPath) {
        return true;
    }
    const PoolPtr<CHAR16> path =
        DevicePathText(option.DevicePath, {.displayOnly = true, .allowShortcuts = true});
    return path && Ucs2View(path.get()) == Ucs2View(request.bootPath.get());
}

// BIOS: the same for the devices of a legacy option. `deviceIndex` tells which of them.
bool IsLegacyRequested(const BootOptionRecord& option, const Request& request,
                       UINT16& deviceIndex) {
    deviceIndex = 0;
    if (option.BootCurrent == request.hardDriveGroup) {
        return true;
    }
    PoolPtr<UINT16> indexes;
    UINTN count = 0;
    if (!BdsIsLegacyOption(option.BootCurrent) ||
        EFI_ERROR(BdsGetLegacyOptionDevices(option.BootCurrent, indexes.out(), &count))) {
        return false;
    }
    for (UINTN i = 0; i < count; i++) {
        PoolPtr<CHAR16> fqdd;
        if (!EFI_ERROR(BdsGetOptionFqddText(indexes[i], kFqddOfBbsPlain, fqdd.out())) && fqdd &&
            Ucs2View(fqdd.get()) == Ucs2View(request.fqdd.get())) {
            deviceIndex = UINT16(i);
            return true;
        }
    }
    return false;
}

// An option list that is freed with its owner.
struct OptionList {
    OptionList() { BdsInitOptionList(&head); }
    OptionList(const OptionList&) = delete;
    OptionList& operator=(const OptionList&) = delete;
    ~OptionList() { BdsFreeOptionList(&head); }
    KelmListEntry head;
};

void BootRequested(const Request& request) {
    std::optional<UINT16> number;
    UINT16 deviceIndex = 0;
    {
        OptionList options;
        static_cast<void>(BdsBuildOptionListFromBootOrder(&options.head));
        for (KelmListEntry* link = options.head.ForwardLink; link != &options.head;
             link = link->ForwardLink) {
            const BootOptionRecord& option = *BdsOptionOfLink(link);
            if (gDriver.boot.bootMode == kBootModeUefi
                    ? IsRequested(option, request)
                    : IsLegacyRequested(option, request, deviceIndex)) {
                number = option.BootCurrent;
                break;
            }
        }
    }
    if (number) {
        DebugPrint(kDebugBdsInfo, "BDS: HII 1-time boot attributes\n");
        static_cast<void>(BdsBootByOptionNumber(*number, deviceIndex));
    }
}

bool Attempted() {
    return gDriver.launch.bootAttempted;
}

} // namespace

EFI_STATUS BdsGetOneTimeBootMode(PoolPtr<CHAR16>& mode) {
    return BdsGetAttributeString(kAttributeOneTimeBootMode, mode.out());
}

EFI_STATUS BdsSetOneTimeBootMode(const CHAR16* mode) {
    return BdsSetAttributeString(kAttributeOneTimeBootMode, mode);
}

EFI_STATUS BdsProcessHiiOneTimeBoot() {
    PoolPtr<CHAR16> mode;
    const bool readable = !EFI_ERROR(BdsGetOneTimeBootMode(mode)) && mode;
    static_cast<void>(BdsSetOneTimeBootMode(kAttributeDisabled));
    if (!readable) {
        return EFI_NOT_FOUND;
    }
    if (Ucs2View(mode.get()) == kAttributeDisabled) {
        return EFI_SUCCESS;
    }
    KelmDeviceLocationProtocol* locations = nullptr;
    EFI_STATUS status = BdsLocateDeviceLocation(locations);
    if (EFI_ERROR(status)) {
        return status;
    }
    if (!FitsBootMode(mode.get())) {
        return EFI_UNSUPPORTED;
    }
    Request request;
    status = ReadRequest(*locations, mode.get(), request);
    if (EFI_ERROR(status)) {
        return status;
    }
    BootRequested(request);
    return EFI_SUCCESS;
}

EFI_STATUS BdsBootViaBiosBootInterface() {
    KelmBiosBootInterfaceProtocol* tool = nullptr;
    EFI_STATUS status = LocateProtocol(tool);
    if (EFI_ERROR(status)) {
        return status;
    }
    const KelmVariable& variable = kVariableBootNextDevicePath;
    UINTN size = 0;
    PoolPtr<UINT8> data = BdsReadVariable(variable.name, variable.guid, &size);
    if (!data) {
        return EFI_SUCCESS;
    }
    status = BdsDeleteVariable(variable.name, variable.guid);
    if (EFI_ERROR(status)) {
        return status;
    }
    auto* path = reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(data.get());
    if (!IsDevicePathValid(path, size)) {
        return EFI_INVALID_PARAMETER;
    }
    DebugPrint(kDebugBdsInfo, "BDS: Boot via BIOS interface\n");
    return gDriver.boot.bootMode == kBootModeUefi ? tool->BootUefi(tool, path)
                                                  : tool->BootLegacy(tool, path);
}

void BdsProcessOneTimeBoot() {
    if (!Attempted()) {
        const EFI_STATUS status = BdsProcessHiiOneTimeBoot();
        DebugPrint(kDebugBds, "BDS: BdsProcessHiiOneTimeBoot - %r\n", status);
    } else {
        static_cast<void>(BdsSetOneTimeBootMode(kAttributeDisabled));
    }
    if (!Attempted()) {
        const EFI_STATUS status = BdsBootViaBiosBootInterface();
        DebugPrint(kDebugBds, "BDS: BdsBootViaBiosBootInterface - %r\n", status);
    }
    if (gDriver.boot.bootTask == BootTask::ControllerBoot) {
        static_cast<void>(BdsReadControllerBootFlags());
        BdsSetBootTaskText("");
        if (!Attempted()) {
            const EFI_STATUS status = BdsBootIpmiBootOption();
            DebugPrint(kDebugBds, "BDS: BdsBootIpmiBootOption - %r\n", status);
            gDriver.launch.lastBootResult = kLastBootNothing;
        }
    }
    if (!Attempted()) {
        const EFI_STATUS status = BdsBootNext();
        DebugPrint(kDebugBds, "BDS: BdsBootNext - %r\n", status);
    } else {
        BdsDeleteBootNext();
    }
}

void BdsMfgModeSetPxe() {
    if (auto* service = FindProtocol<KelmManufacturingModeProtocol>()) {
        DebugPrint(kDebugBdsInfo, "[BDS] MFG Mode Set PXE\n");
        static_cast<void>(service->SetPxe(service));
    }
}

} // namespace kelm
