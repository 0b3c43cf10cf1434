#include "bootopt/OrderVariable.h"

#include "bootopt/LoadOptionFormat.h"
#include "bootopt/VariableHelpers.h"
#include "kelm/Variables.h"
#include "uefi/GlobalVariable.h"

#include <algorithm>
#include <array>

namespace kelm {

namespace {

enum class Occurrences { First, Every };

void RemoveFromOrder(UINT16 optionNumber, UINT16* order, UINTN* size, Occurrences occurrences) {
    const std::span<UINT16> numbers(order, *size / sizeof(UINT16));
    UINTN kept = 0;
    bool looking = true;
    for (const UINT16 number : numbers) {
        if (looking && number == optionNumber) {
            looking = occurrences == Occurrences::Every;
            continue;
        }
        numbers[kept++] = number;
    }
    std::fill(numbers.begin() + kept, numbers.end(), UINT16(0));
    *size = kept * sizeof(UINT16);
}

bool HasOtherAttributes(const CHAR16* name, const EFI_GUID* guid, UINT32 attributes) {
    UINT32 stored = 0;
    UINT8 room = 0;
    UINTN size = sizeof(room);
    const EFI_STATUS status = gRT->GetVariable(name, guid, &stored, &size, &room);
    return (!EFI_ERROR(status) || status == EFI_BUFFER_TOO_SMALL) && stored != attributes;
}

} // namespace

bool OptionOrder::Contains(UINT16 optionNumber) const {
    return std::find(numbers().begin(), numbers().end(), optionNumber) != numbers().end();
}

EFI_STATUS BdsReadOrder(const CHAR16* name, const EFI_GUID* guid, OptionOrder& order) {
    order = OptionOrder();
    PoolPtr<UINT8> data;
    UINTN size = 0;
    const EFI_STATUS status = BdsReadVariable(name, guid, data, &size);
    if (EFI_ERROR(status)) {
        return status;
    }
    if (size < sizeof(UINT16)) {
        return EFI_NOT_FOUND;
    }
    // Pool memory is aligned for every type.
    order = OptionOrder(PoolPtr<UINT16>(reinterpret_cast<UINT16*>(data.release())),
                        size / sizeof(UINT16));
    return EFI_SUCCESS;
}

EFI_STATUS BdsWriteOrder(const CHAR16* name, const EFI_GUID* guid,
                         std::span<const UINT16> numbers) {
    if (numbers.empty()) {
        return BdsDeleteVariable(name, guid);
    }
    const UINT32 attributes =
        *guid == gEfiGlobalVariableGuid ? kVariableNonVolatileRuntime : kVariableNonVolatileBoot;
    const auto write = [&] {
        return gRT->SetVariable(name, guid, attributes, numbers.size_bytes(), numbers.data());
    };
    EFI_STATUS status = write();
    // One that somebody wrote with other attributes has to go first. All others are overwritten, so
    // that there is an order whenever the power fails.
    if (status == EFI_INVALID_PARAMETER && HasOtherAttributes(name, guid, attributes) &&
        !EFI_ERROR(BdsDeleteVariable(name, guid))) {
        status = write();
    }
    return status;
}

EFI_STATUS BdsAppendToOrder(const CHAR16* name, const EFI_GUID* guid, UINT16 optionNumber) {
    OptionOrder order;
    const EFI_STATUS status = BdsReadOrder(name, guid, order);
    if (EFI_ERROR(status) && status != EFI_NOT_FOUND) {
        return status;
    }
    const std::span<const UINT16> old = order.numbers();
    if (old.size() >= kMaxOrderEntries) {
        return EFI_OUT_OF_RESOURCES;
    }
    if (order.Contains(optionNumber)) {
        return EFI_SUCCESS;
    }
    std::array<UINT16, kMaxOrderEntries> grown;
    *std::copy(old.begin(), old.end(), grown.begin()) = optionNumber;
    return BdsWriteOrder(name, guid, std::span(grown).first(old.size() + 1));
}

EFI_STATUS BdsMoveToFrontOfOrder(const CHAR16* name, const EFI_GUID* guid, UINT16 optionNumber) {
    OptionOrder order;
    const EFI_STATUS status = BdsReadOrder(name, guid, order);
    if (EFI_ERROR(status)) {
        return status;
    }
    BdsMoveOptionToFront(optionNumber, order.numbers());
    return BdsWriteOrder(name, guid, order.numbers());
}

void BdsMoveOptionToFront(UINT16 optionNumber, std::span<UINT16> order) {
    UINTN unfilled = order.size();
    for (UINTN i = order.size(); i-- > 0;) {
        if (order[i] != optionNumber) {
            order[--unfilled] = order[i];
        }
    }
    std::fill_n(order.begin(), unfilled, optionNumber);
}

void BdsRemoveOptionFromOrder(UINT16 optionNumber, UINT16* order, UINTN* size) {
    RemoveFromOrder(optionNumber, order, size, Occurrences::Every);
}

EFI_STATUS BdsDeleteOptionAndRemoveFromOrder(UINT16 optionNumber, UINT16* order, UINTN* size) {
    const EFI_STATUS status =
        BdsDeleteVariable(MakeBootOptionName(optionNumber).data(), &gEfiGlobalVariableGuid);
    RemoveFromOrder(optionNumber, order, size, Occurrences::First);
    return status;
}

} // namespace kelm
