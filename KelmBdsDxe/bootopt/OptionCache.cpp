#include "bootopt/OptionCache.h"

#include "bootopt/LoadOption.h"
#include "bootopt/VariableHelpers.h"
#include "kelm/Variables.h"
#include "uefi/GlobalVariable.h"

#include <algorithm>

namespace kelm {

OptionCache::~OptionCache() {
    entries_.ForEach([](Entry& entry) { Forget(entry, State::Unknown); });
}

void OptionCache::Forget(Entry& entry, State state) {
    FreePool(std::exchange(entry.bytes, nullptr));
    FreePool(std::exchange(entry.option, nullptr));
    entry.size = 0;
    entry.state = state;
}

EFI_STATUS OptionCache::Keep(Entry& entry, UINT16 number, PoolPtr<UINT8> bytes, UINTN size) {
    PoolPtr<CachedOption> option;
    if (const auto view = ParseLoadOption({bytes.get(), size})) {
        option = AllocatePool<CachedOption>();
        if (!option) {
            Forget(entry, State::Unknown);
            return EFI_OUT_OF_RESOURCES;
        }
        *option = {*view, number};
    }
    Forget(entry, State::Read);
    entry.bytes = bytes.release();
    entry.option = option.release();
    entry.size = size;
    return EFI_SUCCESS;
}

OptionCache::Entry* OptionCache::Load(UINT16 number) {
    Entry* entry = entries_.Reach(number);
    if (entry == nullptr || (entry->state != State::Unknown && entry->state != State::Present)) {
        return entry;
    }
    PoolPtr<UINT8> bytes;
    UINTN size = 0;
    EFI_STATUS status =
        BdsReadVariable(MakeBootOptionName(number).data(), &gEfiGlobalVariableGuid, bytes, &size);
    if (!EFI_ERROR(status)) {
        status = Keep(*entry, number, std::move(bytes), size);
    }
    if (status == EFI_NOT_FOUND) {
        entry->state = State::Missing;
    } else if (status == EFI_OUT_OF_RESOURCES) {
        return nullptr; // asked again, it may do better
    } else if (EFI_ERROR(status)) {
        entry->state = State::Failed;
        entry->status = status;
    }
    return entry;
}

const CachedOption* OptionCache::Find(UINT16 number) {
    const Entry* entry = Load(number);
    return entry == nullptr ? nullptr : entry->option;
}

EFI_STATUS OptionCache::Status(UINT16 number) {
    const Entry* entry = Load(number);
    if (entry == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    switch (entry->state) {
    case State::Missing:
        return EFI_NOT_FOUND;
    case State::Failed:
        return entry->status;
    default:
        return EFI_SUCCESS;
    }
}

std::span<const UINT8> OptionCache::Bytes(UINT16 number) {
    const Entry* entry = Load(number);
    return entry == nullptr ? std::span<const UINT8>() : std::span(entry->bytes, entry->size);
}

EFI_STATUS OptionCache::WriteBytes(UINT16 number, PoolPtr<UINT8> bytes, UINTN size) {
    Entry* entry = entries_.Reach(number);
    if (entry == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    ++edits_;
    const EFI_STATUS status =
        gRT->SetVariable(MakeBootOptionName(number).data(), &gEfiGlobalVariableGuid,
                         kVariableNonVolatileRuntime, size, bytes.get());
    if (!EFI_ERROR(status)) {
        // Without memory to keep it, it is read again when it is asked for.
        static_cast<void>(Keep(*entry, number, std::move(bytes), size));
    }
    return status;
}

EFI_STATUS OptionCache::Write(UINT16 number, const LoadOptionParts& parts) {
    const size_t size = FormatLoadOption({}, parts);
    if (size == 0) {
        return EFI_INVALID_PARAMETER;
    }
    PoolPtr<UINT8> bytes = AllocatePool<UINT8>(size);
    if (!bytes) {
        return EFI_OUT_OF_RESOURCES;
    }
    FormatLoadOption({bytes.get(), size}, parts);
    return WriteBytes(number, std::move(bytes), size);
}

EFI_STATUS OptionCache::SetAttributes(UINT16 number, UINT32 attributes) {
    const Entry* entry = Load(number);
    if (entry == nullptr || entry->option == nullptr) {
        return EFI_NOT_FOUND;
    }
    const UINTN size = entry->size;
    PoolPtr<UINT8> bytes = AllocateCopyPool(size, entry->bytes);
    if (!bytes) {
        return EFI_OUT_OF_RESOURCES;
    }
    ByteWriter({bytes.get(), size}).WriteU32(attributes);
    return WriteBytes(number, std::move(bytes), size);
}

EFI_STATUS OptionCache::Delete(UINT16 number) {
    Entry* entry = entries_.Reach(number);
    if (entry != nullptr && entry->state == State::Missing) {
        return EFI_NOT_FOUND;
    }
    ++edits_;
    const EFI_STATUS status =
        BdsDeleteVariable(MakeBootOptionName(number).data(), &gEfiGlobalVariableGuid);
    if (entry != nullptr && (!EFI_ERROR(status) || status == EFI_NOT_FOUND)) {
        Forget(*entry, State::Missing);
    }
    if (!EFI_ERROR(status)) {
        freeFrom_ = std::min<UINT32>(freeFrom_, number);
    }
    return status;
}

EFI_STATUS OptionCache::FindFreeNumber(UINT16* number) {
    for (; freeFrom_ <= kLastOptionNumber; ++freeFrom_) {
        const UINT16 candidate = static_cast<UINT16>(freeFrom_);
        Entry* entry = entries_.Reach(candidate);
        if (entry == nullptr) {
            return EFI_OUT_OF_RESOURCES;
        }
        if (entry->state == State::Unknown) {
            entry->state =
                BdsVariableExists(MakeBootOptionName(candidate).data(), &gEfiGlobalVariableGuid)
                    ? State::Present
                    : State::Missing;
        }
        if (entry->state == State::Missing) {
            *number = candidate;
            return EFI_SUCCESS;
        }
    }
    return EFI_NOT_FOUND;
}

bool BdsAreOptionsEqual(const CachedOption& first, const CachedOption& second) {
    const std::span<const UINT8> path = first.view.devicePath;
    return std::ranges::equal(first.view.description.Bytes(), second.view.description.Bytes()) &&
           path.size() <= second.view.filePathList.size() &&
           std::ranges::equal(path, second.view.filePathList.first(path.size())) &&
           std::ranges::equal(first.view.optionalData, second.view.optionalData);
}

} // namespace kelm
