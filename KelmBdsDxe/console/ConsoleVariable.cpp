#include "console/ConsoleVariable.h"

#include "bootopt/VariableHelpers.h"
#include "console/ConsoleInstances.h"
#include "kelm/DebugLevels.h"
#include "kelm/PcdTokens.h"
#include "kelm/Variables.h"
#include "library/firmware/Debug.h"
#include "library/firmware/Pcd.h"
#include "library/pure/Ucs2.h"
#include "platform/Connect.h"
#include "uefi/GlobalVariable.h"
#include "uefi/PciIo.h"

#include <algorithm>

namespace kelm {

namespace {

// The order in which USB host controllers are asked for a device that is named without its place.
constexpr UINT8 kHostControllerTypes[] = {PCI_IF_XHCI, PCI_IF_EHCI, PCI_IF_UHCI, PCI_IF_OHCI};

UINT32 AttributesOf(const CHAR16* name) {
    constexpr std::u16string_view kDeviceList = u"Dev";
    const std::u16string_view text = Ucs2View(name);
    return text.size() > kDeviceList.size() && text.ends_with(kDeviceList)
               ? kVariableBootRuntime
               : kVariableNonVolatileRuntime;
}

bool HasNodes(const EFI_DEVICE_PATH_PROTOCOL* path) {
    return DevicePathSize(path) > kNodeHeaderSize;
}

// Null for a path that is broken or that names nothing.
const EFI_DEVICE_PATH_PROTOCOL* Usable(const EFI_DEVICE_PATH_PROTOCOL* path) {
    return HasNodes(path) ? path : nullptr;
}

const EFI_DEVICE_PATH_PROTOCOL* CheckedPath(std::span<const UINT8> data) {
    return DevicePathSizeOf(data) == 0
               ? nullptr
               : reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(data.data());
}

void Write(const CHAR16* name, std::span<const UINT8> before, std::span<const UINT8> after) {
    if (std::equal(before.begin(), before.end(), after.begin(), after.end())) {
        return;
    }
    // What cannot be written stays as it was; the consoles of this boot do not depend on it.
    static_cast<void>(gRT->SetVariable(const_cast<CHAR16*>(name), &gEfiGlobalVariableGuid,
                                       AttributesOf(name), after.size(),
                                       const_cast<UINT8*>(after.data())));
}

void LogChange(const char* line, const CHAR16* name, const EFI_DEVICE_PATH_PROTOCOL* path) {
    if (path != nullptr) {
        DebugPrint(kDebugBdsInfo, line, name, DevicePathText(path).get());
    }
}

bool IsUsbShortForm(const EFI_DEVICE_PATH_PROTOCOL* path) {
    return IsNode(path, kDevicePathTypeMessaging, kMessagingSubTypeUsbClass) ||
           IsNode(path, kDevicePathTypeMessaging, kMessagingSubTypeUsbWwid);
}

bool ConnectUsbShortForm(const EFI_DEVICE_PATH_PROTOCOL* path) {
    bool connected = false;
    for (const UINT8 type : kHostControllerTypes) {
        connected = !EFI_ERROR(BdsConnectUsbShortFormPath(path, type)) || connected;
    }
    return connected;
}

// True when the console is there.
bool ConnectInstance(const CHAR16* name, const EFI_DEVICE_PATH_PROTOCOL* instance) {
    DebugPrint(kDebugBds, " Connecting console varirable - %s: %s\n", name,
               DevicePathText(instance).get());
    if (IsUsbShortForm(instance)) {
        return ConnectUsbShortForm(instance);
    }
    if (EFI_ERROR(BdsConnectDevicePath(instance))) {
        static_cast<void>(BdsUpdateConsoleVariable(name, nullptr, instance));
        return false;
    }
    return true;
}

bool HasNodeBehindFirst(const EFI_DEVICE_PATH_PROTOCOL* path, UINT8 subType) {
    return path != nullptr && !IsEndNode(path) &&
           FindNode(NextNode(path), kDevicePathTypeMessaging, subType) != nullptr;
}

} // namespace

PoolPtr<EFI_DEVICE_PATH_PROTOCOL> ReadConsoleVariable(const CHAR16* name) {
    UINTN size = 0;
    const PoolPtr<UINT8> data = BdsReadVariable(name, &gEfiGlobalVariableGuid, &size);
    return DuplicateDevicePath(CheckedPath({data.get(), size}));
}

EFI_STATUS BdsUpdateConsoleVariable(const CHAR16* name, const EFI_DEVICE_PATH_PROTOCOL* add,
                                    const EFI_DEVICE_PATH_PROTOCOL* remove) {
    if (name == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    LogChange(" BdsUpdateConsoleVariable(%s) appends %s\n", name, add);
    LogChange(" BdsUpdateConsoleVariable(%s) removes %s\n", name, remove);
    add = Usable(add);
    remove = Usable(remove);
    if (add == remove) {
        return EFI_UNSUPPORTED;
    }
    PoolPtr<UINT8> data;
    UINTN size = 0;
    const EFI_STATUS status = BdsReadVariable(name, &gEfiGlobalVariableGuid, data, &size);
    if (EFI_ERROR(status) && status != EFI_NOT_FOUND) {
        return status;
    }
    const std::span<const UINT8> before(data.get(), size);
    ConsoleInstances consoles;
    if (!consoles.Take(CheckedPath(before), DevicePathSize(add))) {
        return EFI_OUT_OF_RESOURCES;
    }
    for (auto* cursor = remove; const auto instance = NextInstance(cursor);) {
        consoles.RemoveMatching(*instance);
    }
    for (auto* cursor = add; const auto instance = NextInstance(cursor);) {
        consoles.Place(*instance);
    }
    Write(name, before, consoles.Bytes());
    return EFI_SUCCESS;
}

EFI_STATUS BdsConnectConsoleVariable(const CHAR16* name) {
    DebugPrint(kDebugBds, "BdsConnectConsoleVariable Start : %s\n", name);
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> consoles = ReadConsoleVariable(name);
    bool any = false;
    bool present = false;
    for (auto* cursor = consoles.get(); auto* instance = CutInstance(cursor);) {
        if (HasNodes(instance)) {
            any = true;
            present = ConnectInstance(name, instance) || present;
        }
    }
    if (!any) {
        return EFI_UNSUPPORTED;
    }
    return present ? EFI_SUCCESS : EFI_NOT_FOUND;
}

void BdsDumpConsoleVariable(const CHAR16* name) {
    DebugPrint(kDebugBds, "BdsDumpConsoleVariable Start : %s\n", name);
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> consoles = ReadConsoleVariable(name);
    UINTN index = 0;
    for (auto* cursor = consoles.get(); const auto* instance = CutInstance(cursor);) {
        DebugPrint(kDebugBds, "  %s[%d] : %s\n", name, index++, DevicePathText(instance).get());
    }
}

PoolPtr<EFI_DEVICE_PATH_PROTOCOL> GetSerialConDevPath(const CHAR16* name) {
    const bool skipsUsb = PcdGetBool(kPcdFtdiUsbSerialConsoleSupport);
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> consoles = ReadConsoleVariable(name);
    for (auto* cursor = consoles.get(); const auto* instance = CutInstance(cursor);) {
        if (IsSerialConsolePath(instance) && !(skipsUsb && IsUsbSerialConsolePath(instance))) {
            return DuplicateDevicePath(instance);
        }
    }
    return {};
}

bool IsSerialConsolePath(const EFI_DEVICE_PATH_PROTOCOL* instance) {
    return HasNodeBehindFirst(instance, kMessagingSubTypeUart);
}

bool IsUsbSerialConsolePath(const EFI_DEVICE_PATH_PROTOCOL* instance) {
    return IsSerialConsolePath(instance) && HasNodeBehindFirst(instance, kMessagingSubTypeUsb);
}

} // namespace kelm
