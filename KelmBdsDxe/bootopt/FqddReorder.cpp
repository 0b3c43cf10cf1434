#include "bootopt/FqddReorder.h"

#include "bootopt/FqddOrder.h"
#include "bootopt/LegacyOptionKind.h"
#include "bootopt/LegacyOptionServices.h"
#include "kelm/DebugLevels.h"
#include "legacy/LegacyOption.h"
#include "library/firmware/Debug.h"
#include "uefi/GlobalVariable.h"

namespace kelm {

namespace {

// The numbers of the source in their new order.
EFI_STATUS BuildOrder(std::span<const UINT16> source, const FqddSettings& settings,
                      FqddTexts& texts, FqddOrderedList& ordered) {
    const EFI_STATUS status = settings.ForEachList(
        [&](const CHAR16* list) { return ordered.OrderBy(list, source, texts); });
    return EFI_ERROR(status) ? status : ordered.AppendRemaining(source);
}

// The first legacy hard-disk option of an order, and the BBS indexes of the devices in it.
class LegacyHdds {
public:
    LegacyHdds(const CHAR16* orderName, const EFI_GUID* guid)
        : status_(BdsFindFirstLegacyHddOption(orderName, guid, &option_)),
          exists_(!EFI_ERROR(status_)) {
        if (exists_) {
            status_ = BdsGetLegacyOptionDevices(option_, indexes_.out(), &count_);
        }
        if (EFI_ERROR(status_) || !indexes_) {
            count_ = 0;
        }
    }

    bool exists() const { return exists_; }
    EFI_STATUS status() const { return status_; }
    std::span<UINT16> indexes() const { return {indexes_.get(), count_}; }
    EFI_STATUS Set(std::span<const UINT16> indexes) const {
        return SetLegacyOptionDeviceOrder(option_, indexes.data(), indexes.size());
    }

private:
    UINT16 option_ = 0;
    PoolPtr<UINT16> indexes_;
    UINTN count_ = 0;
    EFI_STATUS status_;
    bool exists_;
};

} // namespace

EFI_STATUS BdsReorderByFqdds(const CHAR16* orderName, const EFI_GUID* guid,
                             const FqddSettings& settings, FqddTexts& texts) {
    if (!settings.AreKnown()) {
        return settings.status();
    }
    OptionOrder order;
    OrderCache& orders = texts.options().orders();
    EFI_STATUS status = orders.Read(orderName, guid, order);
    if (EFI_ERROR(status)) {
        return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
    }
    FqddOrderedList ordered;
    status = BuildOrder(order.numbers(), settings, texts, ordered);
    return EFI_ERROR(status) ? status : orders.Write(orderName, guid, ordered.numbers());
}

EFI_STATUS BdsReorderLegacyHdds(const CHAR16* orderName, const EFI_GUID* guid,
                                const FqddSettings& settings) {
    if (!settings.AreKnown() || !settings.HasLists()) {
        return settings.AreKnown() ? EFI_SUCCESS : settings.status();
    }
    const LegacyHdds disks(orderName, guid);
    if (!disks.exists() || EFI_ERROR(disks.status())) {
        return disks.exists() ? disks.status() : EFI_SUCCESS;
    }
    OptionCache options;
    FqddTexts texts(options, kFqddOfBbs);
    FqddOrderedList ordered;
    const EFI_STATUS status = BuildOrder(disks.indexes(), settings, texts, ordered);
    return EFI_ERROR(status) ? status : disks.Set(ordered.numbers());
}

EFI_STATUS BdsRemoveFqddFromBcvList(const FqddSettings& settings) {
    if (!settings.HasLists()) {
        return EFI_SUCCESS;
    }
    const LegacyHdds disks(kBootOrderName, &gEfiGlobalVariableGuid);
    const std::span<UINT16> indexes = disks.indexes();
    DebugPrint(kDebugInfo, "[%a]:: retrive DevCount=%d, status=%r.\n", __func__, indexes.size(),
               disks.status());
    if (EFI_ERROR(disks.status())) {
        return disks.exists() ? disks.status() : EFI_SUCCESS;
    }
    OptionCache options;
    FqddTexts texts(options, kFqddOfBbs);
    const auto isNamed = [&](UINT16 index) {
        return EFI_ERROR(settings.ForEachList([&](const CHAR16* list) {
            return texts.IsMatching(list, index) ? EFI_ABORTED : EFI_SUCCESS;
        }));
    };
    UINTN kept = 0;
    for (const UINT16 index : indexes) {
        if (!isNamed(index)) {
            indexes[kept++] = index;
        }
    }
    return kept == indexes.size() ? EFI_SUCCESS : disks.Set(indexes.first(kept));
}

} // namespace kelm
