#include "bootopt/UefiOptions.h"

#include "bootopt/PathPrefixes.h"
#include "bootopt/ShortFormPath.h"
#include "kelm/AttributeNames.h"
#include "kelm/Variables.h"
#include "services/Attributes.h"

#include <algorithm>
#include <utility>

namespace kelm {

namespace {

EnumerationSettings ReadSettings() {
    return {
        .hddPlaceholder = BdsAttributeIsEnabled(kAttributeHddPlaceholder),
        .hddPlaceholderOnTop =
            BdsCompareSecondaryAttribute(kAttributeHddPlaceholderTopOfBootOrder, kAttributeEnabled),
        .fixedDiskOnly = BdsAttributeIsEnabled(kAttributeFixedDiskOnly),
        .genericUsbDisabled = BdsCompareAttribute(kAttributeGenericUsbBoot, kAttributeDisabled),
    };
}

} // namespace

UefiOptions::UefiOptions(OptionCache& cache) : settings(ReadSettings()), cache_(cache) {
    OptionOrder order;
    status_ = cache.orders().Read(kVariableUefiBootOrder, order);
    count_ = room_ = order.numbers().size();
    numbers_ = std::move(order).Release();
}

UefiOptions::~UefiOptions() {
    expansions_.ForEach([](Expansion& expansion) { FreePool(expansion.path); });
}

EFI_STATUS UefiOptions::Append(UINT16 number) {
    const std::span<const UINT16> old = numbers();
    if (old.size() >= kMaxOrderEntries) {
        return EFI_OUT_OF_RESOURCES;
    }
    if (std::ranges::find(old, number) != old.end()) {
        return EFI_SUCCESS;
    }
    if (count_ == room_) {
        PoolPtr<UINT16> grown = AllocatePool<UINT16>(kMaxOrderEntries);
        if (!grown) {
            return EFI_OUT_OF_RESOURCES;
        }
        std::ranges::copy(old, grown.get());
        numbers_ = std::move(grown);
        room_ = kMaxOrderEntries;
    }
    numbers_[count_++] = number;
    hashes_.reset();
    return EFI_SUCCESS;
}

void UefiOptions::MoveToFront(UINT16 number) {
    BdsMoveOptionToFront(number, std::span(numbers_.get(), count_));
    hashes_.reset();
}

EFI_STATUS UefiOptions::Write() {
    if (EFI_ERROR(status_) && status_ != EFI_NOT_FOUND) {
        return status_;
    }
    return cache_.orders().Write(kVariableUefiBootOrder, numbers());
}

UINT32 UefiOptions::PathHash(std::span<const UINT8> path) {
    const UINT32 hash = HashPathBytes(path);
    return hash == kUnreadable ? ~kUnreadable : hash;
}

std::span<const UINT32> UefiOptions::PathHashes() {
    if (!hashes_ || hashedAtEdit_ != cache_.edits()) {
        hashedAtEdit_ = cache_.edits();
        hashes_ = count_ == 0 ? PoolPtr<UINT32>() : AllocatePool<UINT32>(count_);
        for (UINTN i = 0; hashes_ && i < count_; ++i) {
            const CachedOption* option = cache_.Find(numbers_[i]);
            hashes_[i] = option == nullptr ? kUnreadable : PathHash(option->view.devicePath);
        }
    }
    return {hashes_.get(), hashes_ ? count_ : 0};
}

const EFI_DEVICE_PATH_PROTOCOL* UefiOptions::FullPath(UINT16 number) {
    const CachedOption* option = cache_.Find(number);
    if (option == nullptr ||
        !IsNode(option->path(), kDevicePathTypeMedia, kMediaSubTypeHardDrive)) {
        return option == nullptr ? nullptr : option->path();
    }
    Expansion* expansion = expansions_.Reach(number);
    if (expansion == nullptr) {
        return option->path();
    }
    if (!expansion->known) {
        expansion->path = BdsExpandHddShortFormPath(option->path()).release();
        expansion->known = true;
    }
    return expansion->path == nullptr ? option->path() : expansion->path;
}

} // namespace kelm
