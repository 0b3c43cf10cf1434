// The variables that hold an order of boot options, such as BootOrder: arrays of UINT16 option
// numbers. An odd last byte belongs to no number and is not looked at.
//
// An edit of a variable ends in one write, so that a failure leaves either the old order or the new
// one. An order that is there and cannot be read is never taken for an empty one.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"

#include <span>

namespace kelm {

// An order that has this many entries takes no more.
inline constexpr UINTN kMaxOrderEntries = 255;

// An order as it was read.
class OptionOrder {
public:
    OptionOrder() = default;
    OptionOrder(PoolPtr<UINT16> numbers, UINTN count)
        : numbers_(std::move(numbers)), count_(count) {}

    std::span<UINT16> numbers() { return {numbers_.get(), count_}; }
    std::span<const UINT16> numbers() const { return {numbers_.get(), count_}; }
    bool Contains(UINT16 optionNumber) const;
    // The numbers' memory, for who goes on with it.
    PoolPtr<UINT16> Release() && {
        count_ = 0;
        return std::move(numbers_);
    }

private:
    PoolPtr<UINT16> numbers_;
    UINTN count_ = 0;
};

// EFI_NOT_FOUND: the variable is missing or empty. EFI_OUT_OF_RESOURCES. Otherwise the status of
// GetVariable.
EFI_STATUS BdsReadOrder(const CHAR16* name, const EFI_GUID* guid, OptionOrder& order);
// Writes an order with attributes 7 in the EFI global namespace and 3 in any other, whatever
// attributes it had; no numbers delete it. The status of SetVariable.
EFI_STATUS BdsWriteOrder(const CHAR16* name, const EFI_GUID* guid, std::span<const UINT16> numbers);

// Puts a number that is not in the order at its end; a missing order is made. EFI_SUCCESS: it is
// there. EFI_OUT_OF_RESOURCES: the order holds kMaxOrderEntries (whether or not the number is among
// them), or memory is out. Otherwise the status of GetVariable or SetVariable.
EFI_STATUS BdsAppendToOrder(const CHAR16* name, const EFI_GUID* guid, UINT16 optionNumber);
// Rewrites the order with every occurrence of the number first; an order without it is written as
// it was. EFI_NOT_FOUND: the variable is missing or empty. EFI_OUT_OF_RESOURCES. Otherwise the
// status of GetVariable or SetVariable.
EFI_STATUS BdsMoveToFrontOfOrder(const CHAR16* name, const EFI_GUID* guid, UINT16 optionNumber);

// The same in memory; all others keep their order.
void BdsMoveOptionToFront(UINT16 optionNumber, std::span<UINT16> order);

// In memory too; `*size` is in bytes and comes back as the size of what is left.
// The entries behind move up, and the room that is freed is zeroed.

// Removes every occurrence of the number.
void BdsRemoveOptionFromOrder(UINT16 optionNumber, UINT16* order, UINTN* size);
// Deletes Boot#### and removes the first occurrence of the number, also when the deletion fails.
// Returns the status of the deletion, EFI_NOT_FOUND when there was no such option.
EFI_STATUS BdsDeleteOptionAndRemoveFromOrder(UINT16 optionNumber, UINT16* order, UINTN* size);

} // namespace kelm
