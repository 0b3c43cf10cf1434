#include "bootopt/AutoOption.h"

#include "bootopt/HddPlaceholder.h"
#include "kelm/FileGuids.h"
#include "kelm/Variables.h"
#include "library/firmware/DevicePathPool.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"

#include <cstring>

namespace kelm {

namespace {

constexpr UINT32 kAutoOptionAttributes = kLoadOptionEnumerated | LOAD_OPTION_ACTIVE;
constexpr CHAR16 kShellDescription[] = u"System UEFI Shell";

bool HasPath(const CachedOption& option, std::span<const UINT8> path) {
    return option.view.devicePath.size() == path.size() &&
           std::memcmp(option.view.devicePath.data(), path.data(), path.size()) == 0;
}

EFI_STATUS Delete(UefiOptions& options, UINTN index) {
    const EFI_STATUS status = options.cache().Delete(options.numbers()[index]);
    options.Retain([&](UINTN i) { return i != index; });
    const EFI_STATUS written = options.Write();
    return EFI_ERROR(status) ? status : written;
}

enum class Placeholders { Keep, Delete };

EFI_STATUS DeleteFirst(UefiOptions& options, const EFI_DEVICE_PATH_PROTOCOL* path,
                       Placeholders placeholders) {
    const std::span<const UINT8> pathBytes = DevicePathBytes(path);
    const UINT32 hash = UefiOptions::PathHash(pathBytes);
    const std::span<const UINT32> hashes = options.PathHashes();
    for (UINTN i = 0; i < hashes.size(); ++i) {
        if (hashes[i] == UefiOptions::kUnreadable) {
            return EFI_OUT_OF_RESOURCES;
        }
        if (hashes[i] != hash) {
            continue;
        }
        const UINT16 number = options.numbers()[i];
        const CachedOption* option = options.cache().Find(number);
        const bool spared = placeholders == Placeholders::Keep &&
                            BdsIsHddPlaceholderOption(options.cache(), number);
        if (option != nullptr && option->IsEnumerated() && HasPath(*option, pathBytes) && !spared) {
            return Delete(options, i);
        }
    }
    return hashes.size() == options.numbers().size() ? EFI_NOT_FOUND : EFI_OUT_OF_RESOURCES;
}

bool IsShellForbidden() {
    UINT8 allowed = 0;
    UINTN size = sizeof(allowed);
    return !EFI_ERROR(gRT->GetVariable(const_cast<CHAR16*>(kVariableShellAllowed.name),
                                       kVariableShellAllowed.guid, nullptr, &size, &allowed)) &&
           allowed == 0;
}

} // namespace

EFI_STATUS BdsCreateUefiBootOption(UefiOptions& options, const EFI_DEVICE_PATH_PROTOCOL* path,
                                   const CHAR16* description, UINT16* number) {
    const std::span<const UINT8> pathBytes = DevicePathBytes(path);
    if (pathBytes.empty()) {
        return EFI_INVALID_PARAMETER;
    }
    OptionCache& cache = options.cache();
    const CachedOption* same = nullptr;
    for (const UINT16 listed : options.numbers()) {
        const CachedOption* option = cache.Find(listed);
        if (option != nullptr && HasPath(*option, pathBytes)) {
            same = option;
            break;
        }
    }
    if (same != nullptr &&
        (!same->IsEnumerated() || same->view.description.Equals(Ucs2View(description)))) {
        return EFI_ALREADY_STARTED;
    }
    UINT16 chosen = 0;
    EFI_STATUS status = EFI_SUCCESS;
    if (same != nullptr) {
        chosen = same->number;
    } else {
        status = cache.FindFreeNumber(&chosen);
    }
    if (!EFI_ERROR(status)) {
        // An option that was disabled stays so when its device changes its name.
        status = cache.Write(
            chosen, {.attributes = same != nullptr ? same->view.attributes : kAutoOptionAttributes,
                     .description = Ucs2View(description),
                     .filePathList = pathBytes,
                     .optionalData = {}});
    }
    if (EFI_ERROR(status)) {
        return status;
    }
    *number = chosen;
    return same != nullptr ? EFI_ALREADY_STARTED : EFI_SUCCESS;
}

EFI_STATUS BdsCreateBootOptionForHandle(UefiOptions& options, EFI_HANDLE handle,
                                        const CHAR16* description, UINT16* number) {
    const auto* path = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handle);
    if (path == nullptr) {
        return EFI_NOT_FOUND;
    }
    UINT16 created = 0;
    const EFI_STATUS status = BdsCreateUefiBootOption(options, path, description, &created);
    DebugPrint(kDebugBdsInfo, "Buffer: %S, BootVar=%2x\n", description, created);
    if (!EFI_ERROR(status)) {
        *number = created;
    }
    return status;
}

EFI_STATUS BdsDeleteBootOptionForDevicePath(UefiOptions& options,
                                            const EFI_DEVICE_PATH_PROTOCOL* path) {
    return DeleteFirst(options, path, Placeholders::Delete);
}

EFI_STATUS BdsDeleteBootOptionForHandle(UefiOptions& options, EFI_HANDLE handle) {
    const auto* path = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handle);
    if (path == nullptr) {
        return EFI_NOT_FOUND;
    }
    return DeleteFirst(options, path,
                       options.settings.hddPlaceholder ? Placeholders::Keep : Placeholders::Delete);
}

PoolPtr<EFI_DEVICE_PATH_PROTOCOL> BdsShellPathOf(EFI_HANDLE volume) {
    struct [[gnu::packed]] {
        MEDIA_FW_VOL_FILEPATH_DEVICE_PATH file;
        EFI_DEVICE_PATH_PROTOCOL end;
    } shell;
    SetNodeHeader(&shell.file.Header, kDevicePathTypeMedia, kMediaSubTypeFirmwareFile,
                  sizeof(shell.file));
    shell.file.FvFileName = gKelmUefiShellFileGuid;
    shell.end = kEndEntireNode;
    const auto* path = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(volume);
    return path == nullptr ? PoolPtr<EFI_DEVICE_PATH_PROTOCOL>()
                           : AppendDevicePaths(path, &shell.file.Header);
}

EFI_STATUS BdsCreateSystemUefiShellOption(UefiOptions& options, EFI_HANDLE volume, UINT16* number) {
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> path = BdsShellPathOf(volume);
    if (!path) {
        return EFI_NOT_FOUND;
    }
    const KelmVariable& published = kVariableShellDevicePath;
    static_cast<void>(gRT->SetVariable(const_cast<CHAR16*>(published.name), published.guid,
                                       published.attributes, DevicePathSize(path.get()),
                                       path.get()));
    if (IsShellForbidden()) {
        static_cast<void>(BdsDeleteBootOptionForDevicePath(options, path.get()));
        return EFI_NOT_FOUND;
    }
    return BdsCreateUefiBootOption(options, path.get(), kShellDescription, number);
}

} // namespace kelm
