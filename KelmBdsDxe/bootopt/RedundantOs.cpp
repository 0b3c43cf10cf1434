#include "bootopt/RedundantOs.h"

#include "bootopt/BootOrder.h"
#include "bootopt/FqddMatch.h"
#include "bootopt/OptionCache.h"
#include "bootopt/OrderVariable.h"
#include "kelm/AttributeNames.h"
#include "kelm/DebugLevels.h"
#include "kelm/HobGuids.h"
#include "kelm/Variables.h"
#include "library/firmware/Debug.h"
#include "library/firmware/Hob.h"
#include "library/pure/Ucs2.h"
#include "services/Attributes.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kelm {

namespace {

using FqddTextsOfLocation = std::array<std::u16string_view, 4>; // empty ones do not count

constexpr FqddTextsOfLocation kBootStorageCard = {u"MOTA.Integrated", u"MOTA.SL",
                                                  u"AHCI.Integrated", u"AHCI.SL"};

constexpr struct {
    std::u16string_view location;
    FqddTextsOfLocation fqdds;
    bool onInternalSlots = false; // which the board may not have
} kNamedLocations[] = {
    {.location = u"InternalSd", .fqdds = {u"SDInternal"}},
    {.location = u"InternalUsb", .fqdds = {u"USBInternal", u"SDInternal"}},
    {.location = u"InternalSdNonRips", .fqdds = {u"USBInternal", u"SDInternal"}},
    {.location = u"IntegratedM2MOTA", .fqdds = kBootStorageCard},
    {.location = u"IntegratedM2Slot0",
     .fqdds = {u"PCIeSSD.Integrated.1-0"},
     .onInternalSlots = true},
    {.location = u"IntegratedM2Slot1",
     .fqdds = {u"PCIeSSD.Integrated.1-1"},
     .onInternalSlots = true},
};

// Where a number or letter stands in the name of a slot ("Slot12") or port ("PortA").
constexpr size_t kDesignator = 4;

// The device of the redundant operating system, by texts of which its FQDD contains one.
class RedundantOsDevice {
public:
    explicit RedundantOsDevice(std::u16string_view location) {
        for (const auto& named : kNamedLocations) {
            if (named.location == location) {
                if (!named.onInternalSlots || FindGuidHob(gKelmInternalM2SlotsHobGuid)) {
                    fqdds_ = named.fqdds;
                }
                return;
            }
        }
        if (Ucs2Find(location, u"Port") == kNotFound) {
            fqdds_ = kBootStorageCard;
            Build(u"Slot.", location, 2);
        } else if (BdsCompareAttribute(kAttributeEmbSata, kAttributeEmbSataAhci)) {
            Build(u"SATAEmbedded.", location, 1);
        } else if (BdsCompareAttribute(kAttributeEmbSata, kAttributeEmbSataRaid)) {
            fqdds_ = {u"RAID.Embedded"};
        }
    }

    bool IsAt(std::u16string_view fqdd) const {
        const auto contains = [&](std::u16string_view text) {
            return !text.empty() && Ucs2Find(fqdd, text) != kNotFound;
        };
        return std::ranges::any_of(fqdds_, contains) || contains(Ucs2View(std::span(built_)));
    }

private:
    // A location that is too short to designate a slot or port names none.
    void Build(std::u16string_view stem, std::u16string_view location, size_t characters) {
        if (location.size() > kDesignator) {
            static_cast<void>(Ucs2Copy(built_, stem));
            static_cast<void>(Ucs2Append(built_, location.substr(kDesignator, characters)));
        }
    }

    FqddTextsOfLocation fqdds_{};
    std::array<CHAR16, 20> built_{};
};

} // namespace

EFI_STATUS BdsReorderRedundantOs() {
    DebugPrint(kDebugInfo, "BDS: ReorderBootListRedundantOsRecovery\n");
    const KelmVariable& variable = BdsModeOrder();
    PoolPtr<CHAR16> location;
    OptionOrder order;
    EFI_STATUS status = BdsGetAttributeString(kAttributeRedundantOsLocation, location.out());
    if (!EFI_ERROR(status)) {
        status = BdsReadOrder(variable.name, variable.guid, order);
    }
    if (EFI_ERROR(status)) {
        return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
    }
    const std::span<UINT16> numbers = order.numbers();
    const PoolPtr<UINT16> copy = AllocateCopyPool(numbers.size_bytes(), numbers.data());
    if (!copy) {
        return EFI_OUT_OF_RESOURCES;
    }
    const RedundantOsDevice device(Ucs2View(location.get()));
    OptionCache options;
    bool moved = false;
    for (UINTN i = 0; i < numbers.size(); ++i) {
        PoolPtr<CHAR16> fqdd;
        if (EFI_ERROR(
                BdsGetCachedOptionFqddText(options, copy[i], kFqddOfOptionPlain, fqdd.out())) ||
            !device.IsAt(Ucs2View(fqdd.get()))) {
            continue;
        }
        const auto found = std::ranges::find(numbers, copy[i]);
        std::rotate(numbers.begin(), found, found + 1);
        moved = true;
        DebugPrint(kDebugInfo, "BDS: Moved BootOrder Index: %d to front of boot list\n", i);
    }
    return moved ? BdsWriteOrder(variable.name, variable.guid, numbers) : EFI_SUCCESS;
}

} // namespace kelm
