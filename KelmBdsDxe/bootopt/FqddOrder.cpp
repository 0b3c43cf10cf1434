#include "bootopt/FqddOrder.h"

#include "library/pure/Ucs2.h"

#include <algorithm>

namespace kelm {

FqddOrderedList::~FqddOrderedList() {
    while (placers_ != nullptr) {
        Placer* placer = std::exchange(placers_, placers_->next);
        placer->list.reset();
        FreePool(placer);
    }
}

EFI_STATUS FqddOrderedList::MakeRoom(UINTN count) {
    if (room_ != 0 || count == 0) {
        return EFI_SUCCESS;
    }
    numbers_ = AllocatePool<UINT16>(count);
    placedBy_ = AllocatePool<const CHAR16*>(count);
    if (!numbers_ || !placedBy_) {
        return EFI_OUT_OF_RESOURCES;
    }
    room_ = count;
    return EFI_SUCCESS;
}

UINTN FqddOrderedList::Find(UINT16 number) const {
    const std::span<const UINT16> list = numbers();
    return static_cast<UINTN>(std::find(list.begin(), list.end(), number) - list.begin());
}

void FqddOrderedList::Append(UINT16 number, const CHAR16* placer) {
    if (count_ < room_) {
        numbers_[count_] = number;
        placedBy_[count_] = placer;
        ++count_;
    }
}

void FqddOrderedList::MoveToEnd(UINTN index) {
    std::rotate(numbers_.get() + index, numbers_.get() + index + 1, numbers_.get() + count_);
    std::rotate(placedBy_.get() + index, placedBy_.get() + index + 1, placedBy_.get() + count_);
}

EFI_STATUS FqddOrderedList::OrderBy(const CHAR16* list, std::span<const UINT16> source,
                                    FqddTexts& texts) {
    EFI_STATUS status = MakeRoom(source.size());
    if (!EFI_ERROR(status)) {
        status = texts.Load(source);
    }
    if (EFI_ERROR(status)) {
        return status;
    }
    PoolPtr<Placer> placer = AllocateZeroPool<Placer>();
    PoolPtr<CHAR16> copy = AllocateCopyPool(Ucs2Size(list), list);
    if (!placer || !copy) {
        return EFI_OUT_OF_RESOURCES;
    }
    const CHAR16* const placedBy = copy.get();
    placer->next = placers_;
    placer->list = std::move(copy);
    placers_ = placer.release();

    for (const UINT16 number : source) {
        if (!texts.IsMatching(list, number)) {
            continue;
        }
        const UINTN index = Find(number);
        if (index == count_) {
            Append(number, placedBy);
        } else if (BdsIsFqddMoreSpecific(list, placedBy_[index])) {
            MoveToEnd(index);
        }
    }
    return EFI_SUCCESS;
}

EFI_STATUS FqddOrderedList::AppendRemaining(std::span<const UINT16> source) {
    const EFI_STATUS status = MakeRoom(source.size());
    if (EFI_ERROR(status)) {
        return status;
    }
    for (const UINT16 number : source) {
        if (Find(number) == count_) {
            Append(number, nullptr);
        }
    }
    return EFI_SUCCESS;
}

EFI_STATUS BdsOrderByFqddList(const CHAR16* list, std::span<const UINT16> source,
                              FqddOrderedList& ordered, UINTN mode) {
    OptionCache options;
    FqddTexts texts(options, mode);
    return ordered.OrderBy(list, source, texts);
}

EFI_STATUS BdsAppendRemainingToOrder(std::span<const UINT16> source, FqddOrderedList& ordered) {
    return ordered.AppendRemaining(source);
}

} // namespace kelm
