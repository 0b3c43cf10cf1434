// The order variables as one operation sees them: each is read when it is first asked for and not
// again. Writes and deletions go through to the variable at once.
//
// A cache lives for one operation and no longer: others write orders too.
#pragma once

#include "bootopt/OrderVariable.h"
#include "kelm/Variables.h"
#include "uefi/Base.h"

#include <array>
#include <span>

namespace kelm {

class OrderCache {
public:
    OrderCache() = default;
    OrderCache(const OrderCache&) = delete;
    OrderCache& operator=(const OrderCache&) = delete;

    // A copy of the order. Statuses as BdsReadOrder.
    EFI_STATUS Read(const CHAR16* name, const EFI_GUID* guid, OptionOrder& order);
    EFI_STATUS Read(const KelmVariable& variable, OptionOrder& order) {
        return Read(variable.name, variable.guid, order);
    }
    // As BdsWriteOrder.
    EFI_STATUS Write(const CHAR16* name, const EFI_GUID* guid, std::span<const UINT16> numbers);
    EFI_STATUS Write(const KelmVariable& variable, std::span<const UINT16> numbers) {
        return Write(variable.name, variable.guid, numbers);
    }
    // Statuses as BdsDeleteVariable.
    EFI_STATUS Delete(const CHAR16* name, const EFI_GUID* guid);
    EFI_STATUS Delete(const KelmVariable& variable) { return Delete(variable.name, variable.guid); }

private:
    struct Entry {
        const CHAR16* name = nullptr; // of a constant; null: free
        OptionOrder order;
        bool known = false; // whether `order` is what the variable holds
    };

    // Null: all entries are taken by other names.
    Entry* Reach(const CHAR16* name);
    void Keep(const CHAR16* name, std::span<const UINT16> numbers);

    // BootOrder, the orders of both modes and the three default orders.
    std::array<Entry, 6> entries_;
};

} // namespace kelm
