#include "sim/siblings/HiiDatabase.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace sim {

namespace {

// Of all lists that siblings add.
constexpr EFI_GUID kSiblingListGuid = {
    0x3C1A7E52, 0x9B64, 0x4D0F, {0xA8, 0x13, 0x57, 0xC2, 0x6E, 0x90, 0xB4, 0x2D}};
constexpr UINT32 kMaxListSize = 16 * 1024 * 1024;

// Hands `bytes` out by the usual rule: *size is the room, then what is needed.
EFI_STATUS HandOut(std::span<const UINT8> bytes, UINTN* size, void* buffer) {
    const UINTN room = *size;
    *size = bytes.size();
    if (room < bytes.size()) {
        return EFI_BUFFER_TOO_SMALL;
    }
    if (buffer == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    std::copy(bytes.begin(), bytes.end(), static_cast<UINT8*>(buffer));
    return EFI_SUCCESS;
}

template <class T>
std::span<const UINT8> BytesOf(const T* data, std::size_t count) {
    return {reinterpret_cast<const UINT8*>(data), count * sizeof(T)};
}

} // namespace

void HiiDatabase::Install() {
    using Database = EFI_HII_DATABASE_PROTOCOL;
    using Strings = EFI_HII_STRING_PROTOCOL;
    database_.Serve<"NewPackageList", &HiiDatabase::NewPackageList>(&Database::NewPackageList)
        .Serve<"RemovePackageList", &HiiDatabase::RemovePackageList>(&Database::RemovePackageList)
        .Serve<"UpdatePackageList", &HiiDatabase::UpdatePackageList>(&Database::UpdatePackageList)
        .Serve<"ListPackageLists", &HiiDatabase::ListPackageLists>(&Database::ListPackageLists)
        .Serve<"ExportPackageLists", &HiiDatabase::ExportPackageLists>(
            &Database::ExportPackageLists)
        .Serve<"RegisterPackageNotify", EFI_UNSUPPORTED>(&Database::RegisterPackageNotify)
        .Serve<"UnregisterPackageNotify", EFI_NOT_FOUND>(&Database::UnregisterPackageNotify)
        .Serve<"FindKeyboardLayouts", EFI_NOT_FOUND>(&Database::FindKeyboardLayouts)
        .Serve<"GetKeyboardLayout", EFI_NOT_FOUND>(&Database::GetKeyboardLayout)
        .Serve<"SetKeyboardLayout", EFI_NOT_FOUND>(&Database::SetKeyboardLayout)
        .Serve<"GetPackageListHandle", &HiiDatabase::GetPackageListHandle>(
            &Database::GetPackageListHandle);
    strings_.Serve<"NewString", EFI_UNSUPPORTED>(&Strings::NewString)
        .Serve<"GetString", &HiiDatabase::GetString>(&Strings::GetString)
        .Serve<"SetString", EFI_UNSUPPORTED>(&Strings::SetString)
        .Serve<"GetLanguages", &HiiDatabase::GetLanguages>(&Strings::GetLanguages)
        .Serve<"GetSecondaryLanguages", EFI_NOT_FOUND>(&Strings::GetSecondaryLanguages);
    InstallTable(database_);
    InstallTable(strings_);
}

const HiiPackageList* HiiDatabase::FindList(const EFI_GUID& guid) const {
    auto found = std::find_if(entries_.begin(), entries_.end(),
                              [&](const Entry& entry) { return entry.list.guid == guid; });
    return found == entries_.end() ? nullptr : &found->list;
}

EFI_HII_HANDLE HiiDatabase::AddStrings(std::string_view language,
                                       const std::vector<std::u16string>& strings) {
    Entry entry{};
    entry.bytes = MakeHiiStringList(kSiblingListGuid, language, strings);
    entry.list = ParseHiiPackageList(entry.bytes).value();
    entry.handle = reinterpret_cast<EFI_HII_HANDLE>(++lastHandle_);
    entries_.push_back(std::move(entry));
    return entries_.back().handle;
}

HiiDatabase::Entry* HiiDatabase::Find(EFI_HII_HANDLE handle) {
    auto found = std::find_if(entries_.begin(), entries_.end(),
                              [&](const Entry& entry) { return entry.handle == handle; });
    return found == entries_.end() ? nullptr : &*found;
}

// A list in pool is not read beyond its block, whatever length it claims.
bool HiiDatabase::ReadList(const EFI_HII_PACKAGE_LIST_HEADER* list, Entry& entry) {
    if (list == nullptr) {
        return false;
    }
    const auto* start = reinterpret_cast<const UINT8*>(list);
    const auto address = reinterpret_cast<UINT64>(list);
    const auto block = platform.arena->FindBlock(address);
    const UINT64 room = block ? block->address + block->size - address : kMaxListSize;
    const auto length =
        HiiPackageListLength({start, std::min<UINT64>(room, sizeof(EFI_HII_PACKAGE_LIST_HEADER))});
    if (!length || *length > std::min<UINT64>(room, kMaxListSize)) {
        return false;
    }
    auto parsed = ParseHiiPackageList({start, *length});
    if (!parsed) {
        return false;
    }
    entry.list = std::move(*parsed);
    entry.bytes.assign(start, start + *length);
    return true;
}

EFI_STATUS HiiDatabase::NewPackageList(const EFI_HII_PACKAGE_LIST_HEADER* list, EFI_HANDLE driver,
                                       EFI_HII_HANDLE* handle) {
    Entry entry{};
    if (handle == nullptr || !ReadList(list, entry)) {
        return EFI_INVALID_PARAMETER;
    }
    entry.handle = reinterpret_cast<EFI_HII_HANDLE>(++lastHandle_);
    entry.driver = driver;
    *handle = entry.handle;
    entries_.push_back(std::move(entry));
    return EFI_SUCCESS;
}

EFI_STATUS HiiDatabase::RemovePackageList(EFI_HII_HANDLE handle) {
    return std::erase_if(entries_, [&](const Entry& entry) { return entry.handle == handle; }) != 0
               ? EFI_SUCCESS
               : EFI_NOT_FOUND;
}

// Replaces the whole list: the lists of our drivers consist of strings only.
EFI_STATUS HiiDatabase::UpdatePackageList(EFI_HII_HANDLE handle,
                                          const EFI_HII_PACKAGE_LIST_HEADER* list) {
    Entry* entry = Find(handle);
    if (entry == nullptr) {
        return EFI_NOT_FOUND;
    }
    return ReadList(list, *entry) ? EFI_SUCCESS : EFI_INVALID_PARAMETER;
}

EFI_STATUS HiiDatabase::ListPackageLists(UINT8 type, const EFI_GUID* guid, UINTN* size,
                                         EFI_HII_HANDLE* handles) {
    // A GUID belongs to the GUID package type and to no other; none of those are kept apart.
    if (size == nullptr || (type == EFI_HII_PACKAGE_TYPE_GUID) != (guid != nullptr)) {
        return EFI_INVALID_PARAMETER;
    }
    std::vector<EFI_HII_HANDLE> found;
    for (const Entry& entry : entries_) {
        if (type == EFI_HII_PACKAGE_TYPE_ALL || entry.list.HasType(type)) {
            found.push_back(entry.handle);
        }
    }
    if (found.empty()) {
        *size = 0;
        return EFI_NOT_FOUND;
    }
    return HandOut(BytesOf(found.data(), found.size()), size, handles);
}

EFI_STATUS HiiDatabase::ExportPackageLists(EFI_HII_HANDLE handle, UINTN* size,
                                           EFI_HII_PACKAGE_LIST_HEADER* buffer) {
    if (size == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    std::vector<UINT8> bytes; // a null handle exports all lists, one behind the other
    for (const Entry& entry : entries_) {
        if (handle == nullptr || entry.handle == handle) {
            bytes.insert(bytes.end(), entry.bytes.begin(), entry.bytes.end());
        }
    }
    return bytes.empty() ? EFI_NOT_FOUND : HandOut(bytes, size, buffer);
}

EFI_STATUS HiiDatabase::GetPackageListHandle(EFI_HII_HANDLE handle, EFI_HANDLE* driver) {
    const Entry* entry = Find(handle);
    if (entry == nullptr || driver == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *driver = entry->driver;
    return EFI_SUCCESS;
}

EFI_STATUS HiiDatabase::GetString(const CHAR8* language, EFI_HII_HANDLE handle, EFI_STRING_ID id,
                                  CHAR16* string, UINTN* size, EFI_FONT_INFO** font) {
    if (language == nullptr || handle == nullptr || size == nullptr ||
        (string == nullptr && *size != 0)) {
        return EFI_INVALID_PARAMETER;
    }
    const Entry* entry = Find(handle);
    if (entry == nullptr || !entry->list.HasString(id)) {
        return EFI_NOT_FOUND;
    }
    const std::u16string* text = entry->list.FindString(language, id);
    if (text == nullptr) {
        return EFI_INVALID_LANGUAGE;
    }
    if (font != nullptr) {
        *font = nullptr;
    }
    return HandOut(BytesOf(text->c_str(), text->size() + 1), size, string);
}

EFI_STATUS HiiDatabase::GetLanguages(EFI_HII_HANDLE handle, CHAR8* languages, UINTN* size) {
    if (handle == nullptr || size == nullptr || (languages == nullptr && *size != 0)) {
        return EFI_INVALID_PARAMETER;
    }
    const Entry* entry = Find(handle);
    if (entry == nullptr) {
        return EFI_NOT_FOUND;
    }
    std::string text;
    for (const HiiStringPackage& package : entry->list.strings) {
        text += (text.empty() ? "" : ";") + package.language;
    }
    return HandOut(BytesOf(text.c_str(), text.size() + 1), size, languages);
}

} // namespace sim
