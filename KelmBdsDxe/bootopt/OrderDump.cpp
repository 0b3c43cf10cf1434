#include "bootopt/BootOrder.h"
#include "bootopt/DeviceLocation.h"
#include "bootopt/LegacyOptionKind.h"
#include "bootopt/LegacyOptionServices.h"
#include "bootopt/OptionCache.h"
#include "bootopt/OrderVariable.h"
#include "kelm/DebugLevels.h"
#include "kelm/DeviceLocationProtocol.h"
#include "kelm/Variables.h"
#include "legacy/BbsTable.h"
#include "legacy/LegacyOption.h"
#include "library/firmware/Debug.h"
#include "library/pure/Ucs2.h"

#include <cstring>

namespace kelm {

namespace {

constexpr CHAR16 kNoLocation[] = u"<No DLP Location Text Found>";

// The location of the device of a BBS table entry, which lies anywhere.
PoolPtr<CHAR16> LocationOfLegacyDevice(const void* entry) {
    BBS_TABLE copy;
    std::memcpy(&copy, entry, sizeof(copy));
    PoolPtr<EFI_DEVICE_PATH_PROTOCOL> path;
    if (EFI_ERROR(BdsGetBbsEntryDevicePath(&copy, path.out()))) {
        return {};
    }
    return BdsGetDeviceLocationText(path.get());
}

PoolPtr<CHAR16> LocationOf(const CachedOption& option) {
    if (!IsNode(option.path(), kDevicePathTypeBbs, kBbsSubTypeBbs)) {
        return BdsGetDeviceLocationText(option.path());
    }
    const std::span<const UINT8> devices = option.view.optionalData;
    return devices.size() < sizeof(BBS_TABLE) ? PoolPtr<CHAR16>()
                                              : LocationOfLegacyDevice(devices.data());
}

const CHAR16* TextOr(const PoolPtr<CHAR16>& text, const CHAR16* otherwise) {
    return text ? text.get() : otherwise;
}

void DumpLegacyHardDisks(const CHAR16* orderName, const EFI_GUID* guid) {
    DebugPrint(kDebugBdsInfo, "BDS: HardDisk C: list:\n");
    UINT16 option = 0;
    PoolPtr<UINT16> indexes;
    UINTN count = 0;
    if (EFI_ERROR(BdsFindFirstLegacyHddOption(orderName, guid, &option)) ||
        EFI_ERROR(BdsGetLegacyOptionDevices(option, indexes.out(), &count))) {
        return;
    }
    for (UINTN i = 0; i < count; ++i) {
        PoolPtr<void> entry;
        PoolPtr<CHAR16> description;
        PoolPtr<CHAR16> location;
        if (!EFI_ERROR(GetLegacyDeviceEntry(indexes[i], entry.out()))) {
            location = LocationOfLegacyDevice(entry.get());
        }
        static_cast<void>(GetLegacyDeviceDescription(indexes[i], description.out()));
        DebugPrint(kDebugBdsInfo, "BDS: HardDisk[%d]=%s: %s\n", i, TextOr(location, kNoLocation),
                   TextOr(description, u""));
    }
}

} // namespace

void BdsDumpBootOrder(const CHAR16* name, const EFI_GUID* guid) {
    KelmDeviceLocationProtocol* service = nullptr;
    if (EFI_ERROR(BdsLocateDeviceLocation(service))) {
        DebugPrint(kDebugErrorInfo, "BDS: DLP not found\n");
    }
    if (!DebugLevelEnabled(kDebugBdsInfo)) {
        return; // it is all for the log
    }
    OptionCache options;
    OptionOrder order;
    static_cast<void>(BdsReadOrder(name, guid, order));
    DebugPrint(kDebugBdsInfo, "BDS: BootOrder Variable (%s): ", name);
    for (const UINT16 number : order.numbers()) {
        DebugPrint(kDebugBdsInfo, " %x,", number);
    }
    DebugPrint(kDebugBdsInfo, "\n");
    UINTN index = 0;
    for (const UINT16 number : order.numbers()) {
        const CachedOption* option = options.Find(number);
        const PoolPtr<CHAR16> location =
            option != nullptr ? LocationOf(*option) : PoolPtr<CHAR16>();
        DebugPrint(kDebugBdsInfo, "BDS: [%d] %s=%s: %s\n", index++,
                   MakeBootOptionName(number).data(), TextOr(location, kNoLocation),
                   option != nullptr ? option->description() : u"");
    }
    if (Ucs2View(name) == kVariableLegacyBootOrder.name) {
        DumpLegacyHardDisks(name, guid);
    }
}

} // namespace kelm
