#include "bootopt/UefiOptions.h"

#include "bootopt/OrderVariable.h"
#include "bootopt/ShortFormPath.h"
#include "bootopt/VariableHelpers.h"
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
        .hddPlaceholderOnTop = BdsAttributeIsEnabled(kAttributeHddPlaceholderTopOfBootOrder),
        .fixedDiskOnly = BdsAttributeIsEnabled(kAttributeFixedDiskOnly),
        .genericUsbDisabled = BdsCompareAttribute(kAttributeGenericUsbBoot, kAttributeDisabled),
    };
}

} // namespace

UefiOptions::UefiOptions() : settings(ReadSettings()) {
    PoolPtr<UINT8> data;
    UINTN size = 0;
    status_ =
        BdsReadVariable(kVariableUefiBootOrder.name, kVariableUefiBootOrder.guid, data, &size);
    if (EFI_ERROR(status_)) {
        return;
    }
    count_ = room_ = size / sizeof(UINT16);
    if (count_ == 0) {
        status_ = EFI_NOT_FOUND;
        return;
    }
    // Pool memory is aligned for every type.
    numbers_.reset(reinterpret_cast<UINT16*>(data.release()));
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
    return EFI_SUCCESS;
}

void UefiOptions::MoveToFront(UINT16 number) {
    const std::span<UINT16> order = numbers();
    const auto found = std::ranges::find(order, number);
    if (found != order.end()) {
        std::rotate(order.begin(), found, found + 1);
    }
}

EFI_STATUS UefiOptions::Write() {
    if (EFI_ERROR(status_) && status_ != EFI_NOT_FOUND) {
        return status_;
    }
    return BdsWriteOrder(kVariableUefiBootOrder.name, kVariableUefiBootOrder.guid, numbers());
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
