#include "bootopt/FqddMatch.h"

#include "bootopt/BracketValue.h"
#include "bootopt/DeviceLocation.h"
#include "bootopt/OptionCache.h"
#include "kelm/DeviceLocationProtocol.h"
#include "legacy/BbsTable.h"
#include "library/firmware/DevicePathPool.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"

#include <cstring>

namespace kelm {

namespace {

// The path of the device that a BBS table entry describes. `entry` lies anywhere.
EFI_STATUS GetPathOfBbsEntry(const void* entry, PoolPtr<EFI_DEVICE_PATH_PROTOCOL>& path) {
    BBS_TABLE copy;
    std::memcpy(&copy, entry, sizeof(copy));
    const EFI_STATUS status = BdsGetBbsEntryDevicePath(&copy, path.out());
    return EFI_ERROR(status) || !path ? EFI_NOT_FOUND : EFI_SUCCESS;
}

EFI_STATUS GetPathOfOption(OptionCache& options, UINT16 number,
                           PoolPtr<EFI_DEVICE_PATH_PROTOCOL>& path) {
    if (options.Status(number) == EFI_OUT_OF_RESOURCES) {
        return EFI_OUT_OF_RESOURCES;
    }
    const CachedOption* option = options.Find(number);
    if (option == nullptr) {
        return EFI_NOT_FOUND;
    }
    if (IsNode(option->path(), kDevicePathTypeBbs, kBbsSubTypeBbs)) {
        return option->view.optionalData.size() < sizeof(BBS_TABLE)
                   ? EFI_NOT_FOUND
                   : GetPathOfBbsEntry(option->view.optionalData.data(), path);
    }
    path = DuplicateDevicePath(option->path());
    return path ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS GetPathOfBbsIndex(UINT16 index, PoolPtr<EFI_DEVICE_PATH_PROTOCOL>& path) {
    auto* legacyBios = FindProtocol<EFI_LEGACY_BIOS_PROTOCOL>();
    if (legacyBios == nullptr) {
        return EFI_NOT_FOUND;
    }
    UINT16 diskCount = 0;
    HDD_INFO* disks = nullptr;
    UINT16 count = 0;
    BBS_TABLE* table = nullptr;
    const EFI_STATUS status =
        legacyBios->GetBbsInfo(legacyBios, &diskCount, &disks, &count, &table);
    if (EFI_ERROR(status)) {
        return EFI_NOT_FOUND;
    }
    if (index >= count || table == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return GetPathOfBbsEntry(table + index, path);
}

EFI_STATUS AppendBrackets(const EFI_DEVICE_PATH_PROTOCOL* path, PoolPtr<CHAR16>& text) {
    CHAR16* grown = text.release();
    EFI_STATUS status = EFI_SUCCESS;
    const PoolPtr<CHAR16> pathText =
        DevicePathText(path, {.displayOnly = true, .allowShortcuts = true});
    if (pathText) {
        status = BdsAppendBracketValue(&grown, kBracketBootPath, pathText.get());
    }
    if (!EFI_ERROR(status)) {
        status = BdsAppendBracketValue(&grown, kBracketFailoverCapable, u"true");
    }
    text.reset(grown);
    return status;
}

} // namespace

EFI_STATUS BdsGetOptionFqddText(UINT16 number, UINTN mode, CHAR16** text) {
    OptionCache options;
    return BdsGetCachedOptionFqddText(options, number, mode, text);
}

EFI_STATUS BdsGetCachedOptionFqddText(OptionCache& options, UINT16 number, UINTN mode,
                                      CHAR16** text) {
    *text = nullptr;
    KelmDeviceLocationProtocol* service = nullptr;
    if (EFI_ERROR(BdsLocateDeviceLocation(service))) {
        return EFI_NOT_FOUND;
    }
    if (mode < kFqddOfOption || mode > kFqddOfBbsPlain) {
        return EFI_INVALID_PARAMETER;
    }
    const bool isOption = mode == kFqddOfOption || mode == kFqddOfOptionPlain;
    const bool wantsBrackets = mode == kFqddOfOption || mode == kFqddOfBbs;
    PoolPtr<EFI_DEVICE_PATH_PROTOCOL> path;
    EFI_STATUS status =
        isOption ? GetPathOfOption(options, number, path) : GetPathOfBbsIndex(number, path);
    if (EFI_ERROR(status)) {
        return status;
    }
    PoolPtr<CHAR16> location;
    PoolPtr<CHAR16> fqdd;
    status = BdsGetDeviceLocation(path.get(), &location, &fqdd);
    if (EFI_ERROR(status) || !fqdd) {
        return status == EFI_OUT_OF_RESOURCES ? status : EFI_NOT_FOUND;
    }
    if (wantsBrackets) {
        status = AppendBrackets(path.get(), fqdd);
        if (EFI_ERROR(status)) {
            return status;
        }
    }
    *text = fqdd.release();
    return EFI_SUCCESS;
}

bool BdsIsOptionMatchingFqdd(const CHAR16* pattern, UINT16 number, UINTN mode) {
    PoolPtr<CHAR16> text;
    return !EFI_ERROR(BdsGetOptionFqddText(number, mode, text.out())) &&
           IsFqddMatching(Ucs2View(pattern), Ucs2View(text.get()));
}

bool BdsIsFqddListValid(const CHAR16* text) {
    const bool valid = IsFqddListWellFormed(Ucs2View(text));
    if (!valid) {
        DebugPrint(kDebugErrorVerbose, "Invalid FQDD:%s\n", text);
    }
    return valid;
}

} // namespace kelm
