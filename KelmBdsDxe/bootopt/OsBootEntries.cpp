#include "bootopt/OsBootEntries.h"

#include "bootopt/DeviceLocation.h"
#include "bootopt/HddPlaceholder.h"
#include "bootopt/LastError.h"
#include "bootopt/OptionCache.h"
#include "bootopt/OrderVariable.h"
#include "bootopt/ShortFormPath.h"
#include "bootopt/VariableHelpers.h"
#include "kelm/DebugLevels.h"
#include "kelm/Variables.h"
#include "library/firmware/Debug.h"
#include "library/pure/Bytes.h"
#include "library/pure/Ucs2.h"
#include "uefi/GlobalVariable.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kelm {

namespace {

// One of the variables. Its content may be anything.
class OsBootEntry {
public:
    explicit OsBootEntry(const CHAR16* name) : name_(name) {
        status_ = BdsReadVariable(name, &gKelmSystemVariableGuid, bytes_, &size_);
    }

    const CHAR16* name() const { return name_; }
    bool IsAbsent() const { return status_ == EFI_NOT_FOUND; }
    // False for one that is there and could not be read.
    bool IsRead() const { return !EFI_ERROR(status_); }
    UINT16 position() const {
        return ByteReader(std::span<const UINT8>(bytes_.get(), size_)).ReadU16();
    }
    std::u16string_view fqdd() const {
        if (size_ < sizeof(UINT16)) {
            return {};
        }
        // Pool memory is aligned for every type.
        const auto* text = reinterpret_cast<const CHAR16*>(bytes_.get() + sizeof(UINT16));
        return Ucs2View(std::span(text, (size_ - sizeof(UINT16)) / sizeof(CHAR16)));
    }

    EFI_STATUS Write(UINT16 position, std::u16string_view fqdd) {
        const UINTN size = sizeof(position) + (fqdd.size() + 1) * sizeof(CHAR16);
        PoolPtr<UINT8> bytes = AllocateZeroPool<UINT8>(size);
        if (!bytes) {
            return EFI_OUT_OF_RESOURCES;
        }
        ByteWriter({bytes.get(), size}).WriteU16(position);
        std::memcpy(bytes.get() + sizeof(position), fqdd.data(), fqdd.size() * sizeof(CHAR16));
        const EFI_STATUS status = gRT->SetVariable(
            name_, &gKelmSystemVariableGuid, kVariableOsBootEntryAttributes, size, bytes.get());
        if (!EFI_ERROR(status)) {
            bytes_ = std::move(bytes);
            size_ = size;
            status_ = EFI_SUCCESS;
        }
        return status;
    }
    EFI_STATUS Delete() const { return BdsDeleteVariable(name_, &gKelmSystemVariableGuid); }

    bool current = false; // a disk has been found for it

private:
    const CHAR16* name_;
    PoolPtr<UINT8> bytes_;
    UINTN size_ = 0;
    EFI_STATUS status_;
};

struct OsBootEntries {
    std::array<OsBootEntry, 3> all{OsBootEntry(kVariableOsBootEntryNames[0]),
                                   OsBootEntry(kVariableOsBootEntryNames[1]),
                                   OsBootEntry(kVariableOsBootEntryNames[2])};

    bool AreKnown() const {
        return std::ranges::all_of(
            all, [](const OsBootEntry& entry) { return entry.IsRead() || entry.IsAbsent(); });
    }
    // The first one for the disk; null: there is none.
    OsBootEntry* Find(std::u16string_view fqdd) {
        const auto found = std::ranges::find_if(
            all, [&](const OsBootEntry& entry) { return entry.IsRead() && entry.fqdd() == fqdd; });
        return found == all.end() ? nullptr : &*found;
    }
    OsBootEntry* FindAbsent() {
        const auto found = std::ranges::find_if(all, &OsBootEntry::IsAbsent);
        return found == all.end() ? nullptr : &*found;
    }
    // From 1, as the log counts them.
    UINTN NumberOf(const OsBootEntry& entry) const {
        return static_cast<UINTN>(&entry - all.data()) + 1;
    }
};

// The FQDD of the disk that a path leads to; null when it has none. *status tells whether memory
// was out.
PoolPtr<CHAR16> FqddOfDisk(const EFI_DEVICE_PATH_PROTOCOL* path, EFI_STATUS* status) {
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> full = BdsExpandHddShortFormPath(path);
    PoolPtr<CHAR16> fqdd;
    *status = BdsGetDeviceLocation(full ? full.get() : path, nullptr, &fqdd);
    return fqdd;
}

bool Has(const CachedOption& option, UINT32 mark) {
    return (option.view.attributes & mark) != 0;
}

// An operating system's option that has not been placed, or not to the end.
bool IsToBePlaced(const CachedOption& option) {
    return !option.IsEnumerated() &&
           (!Has(option, kLoadOptionOsPositionFixed) || Has(option, kLoadOptionOsPositionPending));
}

// Marks the option and moves it from the front to its place. The option and BootOrder are two
// variables: between their writes the option says that it is on its way, and a boot that finds it
// so takes the work up again.
EFI_STATUS Place(OptionCache& options, std::span<UINT16> order, UINT32 attributes, UINTN place) {
    const UINT16 number = order.front();
    EFI_STATUS status = options.SetAttributes(number, attributes | kLoadOptionOsPositionPending);
    if (EFI_ERROR(status)) {
        return status;
    }
    std::rotate(order.begin(), order.begin() + 1, order.begin() + place + 1);
    DebugPrint(kDebugInfo, "WBM found[%x], move to index %d.\n", number, place);
    status = BdsWriteOrder(kBootOrderName, &gEfiGlobalVariableGuid, order);
    return EFI_ERROR(status) ? status : options.SetAttributes(number, attributes);
}

} // namespace

EFI_STATUS BdsPositionOsBootManager() {
    OsBootEntries entries;
    if (!entries.AreKnown()) {
        return EFI_DEVICE_ERROR; // the place is not known
    }
    OptionOrder order;
    const EFI_STATUS status = BdsReadOrder(kBootOrderName, &gEfiGlobalVariableGuid, order);
    if (EFI_ERROR(status)) {
        return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
    }
    OptionCache options;
    const std::span<UINT16> numbers = order.numbers();
    const CachedOption* option = options.Find(numbers.front());
    if (option == nullptr || !IsToBePlaced(*option)) {
        return EFI_SUCCESS;
    }
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> full = BdsExpandHddShortFormPath(option->path());
    if (!full || !BdsIsPlaceholderDisk(full.get())) {
        return EFI_SUCCESS;
    }
    DebugPrint(kDebugInfo, "Windows Boot Manage found at first priority.\n");
    const UINT32 attributes =
        (option->view.attributes & ~kLoadOptionOsPositionPending) | kLoadOptionOsPositionFixed;
    PoolPtr<CHAR16> fqdd;
    const EFI_STATUS found = BdsGetDeviceLocation(full.get(), nullptr, &fqdd);
    if (EFI_ERROR(found)) {
        return found;
    }
    const OsBootEntry* entry = entries.Find(Ucs2View(fqdd.get()));
    return entry != nullptr && entry->position() + UINTN(1) < numbers.size()
               ? Place(options, numbers, attributes, entry->position())
               : options.SetAttributes(numbers.front(), attributes);
}

EFI_STATUS BdsUpdateOsBootEntries() {
    OsBootEntries entries;
    OptionOrder order;
    if (EFI_ERROR(BdsReadOrder(kBootOrderName, &gEfiGlobalVariableGuid, order))) {
        return EFI_LOAD_ERROR;
    }
    OptionCache options;
    LastError error;
    bool allKnown = true;
    for (UINTN i = 0; i < order.numbers().size(); ++i) {
        const UINT16 number = order.numbers()[i];
        const UINT16 position = static_cast<UINT16>(i);
        const EFI_STATUS readStatus = options.Status(number);
        const CachedOption* option = options.Find(number);
        if (option == nullptr) {
            // A malformed one is marked as nothing.
            allKnown = allKnown && (!EFI_ERROR(readStatus) || readStatus == EFI_NOT_FOUND);
            continue;
        }
        if (!Has(*option, kLoadOptionOsPositionFixed)) {
            continue;
        }
        EFI_STATUS status = EFI_SUCCESS;
        const PoolPtr<CHAR16> text = FqddOfDisk(option->path(), &status);
        allKnown = allKnown && status != EFI_OUT_OF_RESOURCES;
        if (!text) {
            continue;
        }
        const std::u16string_view fqdd = Ucs2View(text.get());
        OsBootEntry* entry = entries.Find(fqdd);
        const bool pending = Has(*option, kLoadOptionOsPositionPending);
        if (pending && i == 0) {
            // Not moved yet, so this is not its place.
            if (entry != nullptr) {
                entry->current = true;
            }
            continue;
        }
        if (pending) {
            error.Note(options.SetAttributes(number, option->view.attributes &
                                                         ~kLoadOptionOsPositionPending));
        }
        if (entry != nullptr) {
            entry->current = true;
            DebugPrint(kDebugInfo, "OS BootEntry%d:Priority:%x, FQDD:%s ", entries.NumberOf(*entry),
                       position, fqdd);
            if (entry->position() != position) {
                error.Note(entry->Write(position, fqdd));
            }
        } else if (OsBootEntry* absent = entries.FindAbsent()) {
            absent->current = true;
            DebugPrint(kDebugInfo, "Add OS BootEntry%d:Priority:%x, FQDD:%s ",
                       entries.NumberOf(*absent), position, fqdd);
            error.Note(absent->Write(position, fqdd));
        } else {
            DebugPrint(kDebugInfo, "No Available OS boot entry variables for FQDD:%s ", fqdd);
        }
    }
    for (const OsBootEntry& entry : entries.all) {
        // An option that could not be read may be the one that an entry is about.
        if (allKnown && entry.IsRead() && !entry.current) {
            DebugPrint(kDebugInfo, "Remove %s:Priority:%x, FQDD:%s ", entry.name(),
                       entry.position(), entry.fqdd());
            error.Note(entry.Delete());
        }
    }
    return error.status();
}

} // namespace kelm
