// The non-volatile variable store: what survives a reset and a power cycle.
//
// It lives in memory, or in a directory in the layout that Linux shows under efivars: for each
// variable a file "Name-guid" (the GUID in lower case) that holds the attributes, four bytes
// little-endian, and the data. Ordinary tools can read and edit such a directory, and a directory
// copied from a real machine can be booted.
//
// Only variables with the non-volatile attribute are kept; a file whose attributes lack it (a
// copied BootCurrent, say) is passed over in silence. What cannot be a variable is ignored and
// reported once on the diagnostics stream: a file that is shorter than four bytes, longer than one
// mebibyte or not named "Name-GUID", and anything of such a name that is neither a regular file nor
// a link to one. Other sub-directories and hidden files are ignored without a report. All of these
// stay as they are until a variable of that name is written.
//
// File names are the variable's name unit by unit in UTF-8. What a file name cannot carry is
// escaped:
// "/" as %2F, NUL as %00, a leading "." as %2E, and a "%" that would begin one of these (or %25) as
// %25. Any other "%" stands for itself.
#pragma once

#include "uefi/Base.h"

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

struct StoredVariable {
    std::u16string name;
    EFI_GUID guid{};
    std::uint32_t attributes = 0;
    std::vector<std::uint8_t> data;
};

class NvStore {
public:
    // A store in memory.
    NvStore() = default;
    // A store in a directory, which is created when it is missing. Reads everything now. Throws
    // std::runtime_error when the path is not a directory that can be read.
    explicit NvStore(std::filesystem::path directory, std::ostream& diagnostics = std::cerr);

    // The variable, or nullptr. Valid until the next Set or Erase.
    const StoredVariable* Find(std::u16string_view name, const EFI_GUID& guid) const;
    // Creates or replaces a variable, on disk first and at once; a power cut leaves the old or the
    // new file. A variable that is already as asked for is not written. False, after a line on the
    // diagnostics stream, when the file could not be written; the store is unchanged then.
    // Never throws: it is called from the driver's stack.
    bool Set(const StoredVariable& variable) noexcept;
    // Removes a variable; removing one that is not there succeeds. False as for Set.
    bool Erase(std::u16string_view name, const EFI_GUID& guid) noexcept;

    // All variables, sorted by name (by UCS-2 unit), then GUID (as text).
    const std::vector<StoredVariable>& All() const { return variables_; }
    // Bytes that the variables take: name with its NUL, data and a header of 60 bytes each.
    std::size_t UsedBytes() const;

private:
    void Load();
    std::vector<StoredVariable>::iterator LowerBound(std::u16string_view name,
                                                     const EFI_GUID& guid);
    std::string FileOf(std::u16string_view name, const EFI_GUID& guid) const;
    bool WriteFile(const StoredVariable& variable);

    std::optional<std::filesystem::path> directory_;
    std::ostream* diagnostics_ = &std::cerr;
    std::vector<StoredVariable> variables_;
    // Names of the files that were read, by name and GUID text: a copied file may spell its GUID in
    // upper case, and is kept under its name.
    std::map<std::pair<std::u16string, std::string>, std::string> files_;
};

// The file name of a variable, and back; nothing when a name is not of the form "Name-GUID".
std::string VariableFileName(std::u16string_view name, const EFI_GUID& guid);
std::optional<std::pair<std::u16string, EFI_GUID>> ParseVariableFileName(std::string_view fileName);

} // namespace sim
