#include "bootopt/OrderCache.h"

#include "bootopt/VariableHelpers.h"
#include "library/pure/Ucs2.h"

namespace kelm {

namespace {

EFI_STATUS Copy(std::span<const UINT16> numbers, OptionOrder& order) {
    order = OptionOrder();
    if (numbers.empty()) {
        return EFI_NOT_FOUND;
    }
    PoolPtr<UINT16> copy = AllocateCopyPool(numbers.size_bytes(), numbers.data());
    if (!copy) {
        return EFI_OUT_OF_RESOURCES;
    }
    order = OptionOrder(std::move(copy), numbers.size());
    return EFI_SUCCESS;
}

} // namespace

OrderCache::Entry* OrderCache::Reach(const CHAR16* name) {
    for (Entry& entry : entries_) {
        if (entry.name == nullptr) {
            entry.name = name;
        }
        if (Ucs2View(entry.name) == Ucs2View(name)) {
            return &entry;
        }
    }
    return nullptr;
}

// Without memory to keep an order, it is read again when it is asked for.
void OrderCache::Keep(const CHAR16* name, std::span<const UINT16> numbers) {
    if (Entry* entry = Reach(name)) {
        entry->known = Copy(numbers, entry->order) != EFI_OUT_OF_RESOURCES;
    }
}

EFI_STATUS OrderCache::Read(const CHAR16* name, const EFI_GUID* guid, OptionOrder& order) {
    const Entry* entry = Reach(name);
    if (entry != nullptr && entry->known) {
        return Copy(entry->order.numbers(), order);
    }
    const EFI_STATUS status = BdsReadOrder(name, guid, order);
    if (!EFI_ERROR(status) || status == EFI_NOT_FOUND) {
        Keep(name, order.numbers());
    }
    return status;
}

EFI_STATUS OrderCache::Write(const CHAR16* name, const EFI_GUID* guid,
                             std::span<const UINT16> numbers) {
    const EFI_STATUS status = BdsWriteOrder(name, guid, numbers);
    if (!EFI_ERROR(status)) {
        Keep(name, numbers);
    }
    return status;
}

EFI_STATUS OrderCache::Delete(const CHAR16* name, const EFI_GUID* guid) {
    const EFI_STATUS status = BdsDeleteVariable(name, guid);
    if (!EFI_ERROR(status) || status == EFI_NOT_FOUND) {
        Keep(name, {});
    }
    return status;
}

} // namespace kelm
