// Reads HII package lists: the packages of a list and the strings of its string packages, as UEFI
// 2.10, chapter 33 lays them out. Knows nothing of the platform.
#pragma once

#include "uefi/Base.h"
#include "uefi/HiiPackage.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

struct HiiStringPackage {
    std::string language; // as written, "en-US"
    std::map<EFI_STRING_ID, std::u16string> strings;
};

struct HiiPackageList {
    EFI_GUID guid{};
    std::vector<UINT8> types; // of all packages, in order, without the end package
    std::vector<HiiStringPackage> strings;

    bool HasType(UINT8 type) const;
    // The string in a language (letter case does not matter), or nullptr.
    const std::u16string* FindString(std::string_view language, EFI_STRING_ID id) const;
    bool HasString(EFI_STRING_ID id) const;
};

// Reads the list at the beginning of `bytes`. Nothing when a length does not fit, the end package
// is missing or not the last, or a string package has a block that is cut off, unknown or refers to
// no string. Compressed (SCSU) strings and fonts are not supported and count as unknown.
std::optional<HiiPackageList> ParseHiiPackageList(std::span<const UINT8> bytes);

// A list with one string package: the language's own name as string 1, then these from 2 on.
std::vector<UINT8> MakeHiiStringList(const EFI_GUID& guid, std::string_view language,
                                     const std::vector<std::u16string>& strings);

// The length that a list claims to have; nothing when not even its header is there.
std::optional<UINT32> HiiPackageListLength(std::span<const UINT8> bytes);

} // namespace sim
