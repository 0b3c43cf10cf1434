#include "bootopt/BootOrder.h"
#include "bootopt/NumberSet.h"
#include "bootopt/OptionCache.h"
#include "bootopt/OrderVariable.h"
#include "kelm/DebugLevels.h"
#include "kelm/Variables.h"
#include "library/firmware/Debug.h"
#include "library/pure/Ucs2.h"
#include "uefi/GlobalVariable.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace kelm {

namespace {

constexpr UINTN kFirstNameRoom = 200; // bytes

// Whether what an order names is known: one that is there and cannot be read may name anything.
bool IsKnown(EFI_STATUS readStatus) {
    return !EFI_ERROR(readStatus) || readStatus == EFI_NOT_FOUND;
}

// Keeps the numbers for which keep(number) is true, and returns them.
template <class Keep>
std::span<UINT16> Retain(std::span<UINT16> numbers, Keep keep) {
    UINTN kept = 0;
    for (const UINT16 number : numbers) {
        if (keep(number)) {
            numbers[kept++] = number;
        }
    }
    return numbers.first(kept);
}

// Deletes options that are equal to one before them, and returns the others.
std::span<UINT16> DeleteEqualOptions(OptionCache& options, std::span<UINT16> numbers) {
    UINTN checked = 0;
    return Retain(numbers, [&](UINT16 number) {
        const CachedOption* option = options.Find(number);
        const bool isRepeated =
            option != nullptr &&
            std::ranges::any_of(numbers.first(checked), [&](UINT16 earlierNumber) {
                const CachedOption* earlier = options.Find(earlierNumber);
                return earlier != nullptr && BdsAreOptionsEqual(*earlier, *option);
            });
        if (isRepeated) {
            static_cast<void>(options.Delete(number));
        } else {
            ++checked;
        }
        return !isRepeated;
    });
}

// The number of a variable named like a boot option.
std::optional<UINT16> OptionNumberOf(std::u16string_view name) {
    constexpr std::u16string_view kPrefix = kBootOptionPrefix;
    if (name.size() != kPrefix.size() + 4 || !name.starts_with(kPrefix)) {
        return std::nullopt;
    }
    UINT16 number = 0;
    for (const CHAR16 digit : name.substr(kPrefix.size())) {
        if (!IsHexDigit(digit) || digit != ToUpperAscii(digit)) {
            return std::nullopt;
        }
        number = static_cast<UINT16>(number << 4 | HexDigitValue(digit));
    }
    return number;
}

// The numbers of all Boot#### variables. With any error some may be missing from the set.
EFI_STATUS CollectOptionNumbers(NumberSet& numbers) {
    UINTN room = kFirstNameRoom;
    PoolPtr<CHAR16> name = AllocateZeroPool<CHAR16>(room / sizeof(CHAR16));
    EFI_GUID guid{};
    while (name) {
        UINTN size = room;
        const EFI_STATUS status = gRT->GetNextVariableName(&size, name.get(), &guid);
        if (status == EFI_BUFFER_TOO_SMALL && size > room) {
            // The name that it holds is where the walk goes on.
            const UINTN characters = (size + 1) / sizeof(CHAR16);
            PoolPtr<CHAR16> grown = AllocateZeroPool<CHAR16>(characters);
            if (grown) {
                std::memcpy(grown.get(), name.get(), room);
            }
            name = std::move(grown);
            room = characters * sizeof(CHAR16);
            continue;
        }
        if (EFI_ERROR(status)) {
            return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
        }
        // Another vendor may call a variable as it likes.
        if (guid == gEfiGlobalVariableGuid) {
            if (const auto number = OptionNumberOf(
                    Ucs2View(std::span<const CHAR16>(name.get(), room / sizeof(CHAR16))))) {
                numbers.Insert(*number);
            }
        }
    }
    return EFI_OUT_OF_RESOURCES;
}

void DeleteOrphans(OptionCache& options, const NumberSet& named) {
    NumberSet existing;
    if (!existing || EFI_ERROR(CollectOptionNumbers(existing))) {
        return;
    }
    existing.ForEach([&](UINT16 number) {
        if (!named.Contains(number)) {
            static_cast<void>(options.Delete(number));
        }
    });
}

void DropUefiOptions(OptionCache& options, std::span<UINT16> legacyOrder) {
    const std::span<UINT16> kept = Retain(legacyOrder, [&](UINT16 number) {
        const CachedOption* option = options.Find(number);
        const bool isUefi = option != nullptr && option->IsEnumerated() && !option->IsLegacy();
        if (isUefi) {
            DebugPrint(kDebugError, "BDS: Sanity check.boot option %x in LegacyBootOrder.\n",
                       number);
        }
        return !isUefi;
    });
    if (kept.size() != legacyOrder.size()) {
        static_cast<void>(
            BdsWriteOrder(kVariableLegacyBootOrder.name, kVariableLegacyBootOrder.guid, kept));
    }
}

} // namespace

void BdsBootOrderSanityCheck() {
    OptionCache options;
    OptionOrder boot;
    OptionOrder legacy;
    OptionOrder uefi;
    const EFI_STATUS bootStatus = BdsReadOrder(kBootOrderName, &gEfiGlobalVariableGuid, boot);
    const EFI_STATUS legacyStatus =
        BdsReadOrder(kVariableLegacyBootOrder.name, kVariableLegacyBootOrder.guid, legacy);
    const EFI_STATUS uefiStatus =
        BdsReadOrder(kVariableUefiBootOrder.name, kVariableUefiBootOrder.guid, uefi);
    NumberSet named;
    if (named && IsKnown(bootStatus)) {
        const std::span<UINT16> existing = Retain(boot.numbers(), [&](UINT16 number) {
            return named.Insert(number) && !options.IsMissing(number);
        });
        // A failure leaves an order that names what is gone; the next check finds it again.
        static_cast<void>(BdsWriteOrder(kBootOrderName, &gEfiGlobalVariableGuid,
                                        DeleteEqualOptions(options, existing)));
        if (IsKnown(legacyStatus) && IsKnown(uefiStatus)) {
            named.Insert(legacy.numbers());
            named.Insert(uefi.numbers());
            DeleteOrphans(options, named);
        }
    }
    DropUefiOptions(options, legacy.numbers());
}

} // namespace kelm
