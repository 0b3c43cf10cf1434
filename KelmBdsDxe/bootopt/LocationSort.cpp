#include "bootopt/LocationSort.h"

#include "bootopt/DeviceLocation.h"
#include "kelm/DeviceLocationProtocol.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"
#include "uefi/DevicePath.h"

#include <span>
#include <utility>

namespace kelm {

namespace {

constexpr CHAR16 kUnknown[] = u"Unknown";
constexpr std::u16string_view kHostFabric = u"Embedded Host Fabric";
constexpr CHAR16 kHostFabricKey[] = u"Embedded zzzz Fabric";

// Cuts the number off that the text begins with: its digits without leading zeros, so that a number
// of any length can be compared.
std::u16string_view TakeNumber(std::u16string_view& text) {
    size_t digits = 0;
    while (digits < text.size() && IsDigit(text[digits])) {
        ++digits;
    }
    std::u16string_view number = text.substr(0, digits);
    text.remove_prefix(digits);
    while (!number.empty() && number.front() == u'0') {
        number.remove_prefix(1);
    }
    return number;
}

int CompareNumbers(std::u16string_view a, std::u16string_view b) {
    const int order = a.size() != b.size() ? (a.size() > b.size() ? 1 : -1) : Ucs2Compare(a, b);
    return order == 0 ? 0 : (order > 0 ? 1 : -1);
}

struct Entry {
    LocatedHandle located;
    UINTN position; // in the array before the sort
    CHAR16* ownText;
};

bool SortsBefore(const Entry& a, const Entry& b) {
    const INTN order = BdsCompareLocationText(a.located, b.located);
    return order != 0 ? order < 0 : a.position < b.position;
}

// Moves what sorts before one of the entries in front of it, and returns where that one stands.
UINTN Partition(std::span<Entry> entries) {
    Entry& pivot = entries.back();
    std::swap(entries[entries.size() / 2], pivot);
    UINTN before = 0;
    for (Entry& entry : entries.first(entries.size() - 1)) {
        if (SortsBefore(entry, pivot)) {
            std::swap(entry, entries[before++]);
        }
    }
    std::swap(entries[before], pivot);
    return before;
}

// Calls itself for the smaller side only: the depth is at most the logarithm of the number of
// entries.
void QuickSort(std::span<Entry> entries) {
    while (entries.size() > 1) {
        const UINTN middle = Partition(entries);
        std::span<Entry> smaller = entries.first(middle);
        std::span<Entry> larger = entries.subspan(middle + 1);
        if (smaller.size() > larger.size()) {
            std::swap(smaller, larger);
        }
        QuickSort(smaller);
        entries = larger;
    }
}

class Entries {
public:
    explicit Entries(UINTN count) : entries_(AllocateZeroPool<Entry>(count)), count_(count) {}
    Entries(const Entries&) = delete;
    Entries& operator=(const Entries&) = delete;
    ~Entries() {
        for (const Entry& entry : all()) {
            FreePool(entry.ownText);
        }
    }

    explicit operator bool() const { return static_cast<bool>(entries_); }
    std::span<Entry> all() const { return {entries_.get(), entries_ ? count_ : 0}; }

private:
    PoolPtr<Entry> entries_;
    UINTN count_;
};

// True when the device has a location.
bool FillIn(Entry& entry, const EFI_DEVICE_PATH_PROTOCOL* path) {
    PoolPtr<CHAR16> location;
    PoolPtr<CHAR16> fqdd;
    PoolPtr<CHAR16> shortName;
    static_cast<void>(BdsGetDeviceLocation(path, &location, &fqdd, &shortName));
    if (!location) {
        entry.located.text = kUnknown;
        return false;
    }
    if (Ucs2View(location.get()).starts_with(kHostFabric)) {
        entry.located.text = kHostFabricKey;
        return true;
    }
    entry.ownText = location.release();
    entry.located.text = entry.ownText;
    return true;
}

} // namespace

INTN BdsCompareLocationText(const LocatedHandle& a, const LocatedHandle& b) {
    if (a.text == nullptr || b.text == nullptr) {
        return a.text != nullptr ? -1 : (b.text != nullptr ? 1 : 0);
    }
    std::u16string_view left = Ucs2View(a.text);
    std::u16string_view right = Ucs2View(b.text);
    while (!left.empty() && !right.empty()) {
        if (IsDigit(left.front()) && IsDigit(right.front())) {
            const std::u16string_view leftNumber = TakeNumber(left);
            const int order = CompareNumbers(leftNumber, TakeNumber(right));
            if (order != 0) {
                return order;
            }
            continue;
        }
        if (left.front() != right.front()) {
            return INTN(left.front()) - INTN(right.front());
        }
        left.remove_prefix(1);
        right.remove_prefix(1);
    }
    return left.empty() ? (right.empty() ? 0 : -1) : 1;
}

EFI_STATUS BdsSortHandlesByLocation(UINTN count, EFI_HANDLE* handles) {
    KelmDeviceLocationProtocol* service = nullptr;
    if (EFI_ERROR(BdsLocateDeviceLocation(service))) {
        return EFI_NOT_FOUND;
    }
    const Entries entries(count);
    if (!entries) {
        return EFI_OUT_OF_RESOURCES;
    }
    UINTN located = 0;
    for (UINTN i = 0; i < count; ++i) {
        const auto* path = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handles[i]);
        if (path == nullptr) {
            return EFI_NOT_FOUND;
        }
        Entry& entry = entries.all()[i];
        entry = {.located = {handles[i], nullptr}, .position = i, .ownText = nullptr};
        located += FillIn(entry, path) ? 1 : 0;
    }
    if (located == 0) {
        return EFI_NOT_FOUND;
    }
    QuickSort(entries.all());
    for (UINTN i = 0; i < count; ++i) {
        handles[i] = entries.all()[i].located.handle;
    }
    return EFI_SUCCESS;
}

} // namespace kelm
