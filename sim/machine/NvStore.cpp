#include "sim/machine/NvStore.h"

#include "library/pure/GuidText.h"
#include "sim/machine/Utf8.h"
#include "uefi/RuntimeServices.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace sim {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kAttributesSize = 4;
constexpr std::uintmax_t kMaxFileSize = 1024 * 1024;
constexpr std::size_t kHeaderSize = 60; // what a variable takes besides its name and data
// Hidden, so that nobody takes a half-written file for a variable.
constexpr std::string_view kTemporaryPrefix = ".kelm-new-";
constexpr char kTemporaryFile[] = ".kelm-new-variable";

struct Escape {
    std::string_view code;
    char16_t character;
};
constexpr Escape kEscapes[] = {{"%2F", u'/'}, {"%00", u'\0'}, {"%2E", u'.'}, {"%25", u'%'}};

std::string GuidKey(const EFI_GUID& guid) {
    char text[kelm::kGuidTextLength + 1];
    kelm::GuidToText(guid, text);
    return text;
}

struct ByNameThenGuid {
    bool operator()(const StoredVariable& a,
                    const std::pair<std::u16string_view, EFI_GUID>& b) const {
        const int names = std::u16string_view(a.name).compare(b.first);
        if (names != 0 || a.guid == b.second) {
            return names < 0;
        }
        return GuidKey(a.guid) < GuidKey(b.second);
    }
};

std::string ErrnoText() {
    return std::strerror(errno);
}

// Attributes and data as they stand in a file.
std::vector<char> FileContent(const StoredVariable& variable) {
    std::vector<char> content;
    for (std::size_t i = 0; i < kAttributesSize; i++) {
        content.push_back(char(variable.attributes >> (8 * i)));
    }
    content.insert(content.end(), variable.data.begin(), variable.data.end());
    return content;
}

} // namespace

NvStore::NvStore(fs::path directory, std::ostream& diagnostics)
    : directory_(std::move(directory)), diagnostics_(&diagnostics) {
    std::error_code error;
    fs::create_directories(*directory_, error);
    if (error || !fs::is_directory(*directory_, error)) {
        throw std::runtime_error(fmt::format("{}: cannot be used as a directory of variables: {}",
                                             directory_->string(),
                                             error ? error.message() : "not a directory"));
    }
    Load();
}

void NvStore::Load() {
    std::error_code error;
    std::vector<std::string> names;
    for (fs::directory_iterator entry(*directory_, error), end; !error && entry != end;
         entry.increment(error)) {
        std::string name = entry->path().filename().string();
        if (name.starts_with(kTemporaryPrefix)) {
            std::error_code ignored; // left over from a tool that died; harmless if it stays
            fs::remove(entry->path(), ignored);
        } else if (!name.starts_with('.') &&
                   (!entry->is_directory(error) || ParseVariableFileName(name))) {
            names.push_back(std::move(name));
        }
        error.clear();
    }
    if (error) {
        throw std::runtime_error(
            fmt::format("{}: cannot be read: {}", directory_->string(), error.message()));
    }
    // Directories list in any order; what is reported should not.
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        const auto ignore = [&](std::string_view reason) {
            *diagnostics_ << fmt::format("{}: ignored: {}\n", (*directory_ / name).string(),
                                         reason);
        };
        const auto key = ParseVariableFileName(name);
        if (!key) {
            ignore("the name is not Name-GUID");
            continue;
        }
        // Looked at before it is opened: opening a pipe would wait for its other end.
        const fs::path path = *directory_ / name;
        if (!fs::is_regular_file(path, error)) {
            ignore("not a regular file");
            continue;
        }
        if (const std::uintmax_t size = fs::file_size(path, error); error || size > kMaxFileSize) {
            ignore(error ? "cannot be read" : "longer than 1 MiB");
            continue;
        }
        std::ifstream stream(path, std::ios::binary);
        const std::vector<char> content{std::istreambuf_iterator<char>(stream), {}};
        if (!stream || stream.bad()) {
            ignore("cannot be read");
            continue;
        }
        if (content.size() < kAttributesSize) {
            ignore("shorter than the four bytes of attributes");
            continue;
        }
        StoredVariable variable = {key->first, key->second, 0, {}};
        for (std::size_t i = 0; i < kAttributesSize; i++) {
            variable.attributes |= std::uint32_t(std::uint8_t(content[i])) << (8 * i);
        }
        if ((variable.attributes & EFI_VARIABLE_NON_VOLATILE) == 0) {
            continue;
        }
        variable.data.assign(content.begin() + kAttributesSize, content.end());
        const auto at = LowerBound(variable.name, variable.guid);
        if (at != variables_.end() && at->name == variable.name && at->guid == variable.guid) {
            ignore("another file holds the same variable");
            continue;
        }
        files_[{variable.name, GuidKey(variable.guid)}] = name;
        variables_.insert(at, std::move(variable));
    }
}

std::vector<StoredVariable>::iterator NvStore::LowerBound(std::u16string_view name,
                                                          const EFI_GUID& guid) {
    return std::lower_bound(variables_.begin(), variables_.end(), std::pair(name, guid),
                            ByNameThenGuid());
}

const StoredVariable* NvStore::Find(std::u16string_view name, const EFI_GUID& guid) const {
    const auto at = std::lower_bound(variables_.begin(), variables_.end(), std::pair(name, guid),
                                     ByNameThenGuid());
    const bool found = at != variables_.end() && at->name == name && at->guid == guid;
    return found ? &*at : nullptr;
}

std::string NvStore::FileOf(std::u16string_view name, const EFI_GUID& guid) const {
    const auto known = files_.find({std::u16string(name), GuidKey(guid)});
    return known != files_.end() ? known->second : VariableFileName(name, guid);
}

bool NvStore::WriteFile(const StoredVariable& variable) {
    const fs::path target = *directory_ / FileOf(variable.name, variable.guid);
    const fs::path temporary = *directory_ / kTemporaryFile;
    const std::vector<char> content = FileContent(variable);
    std::ofstream stream(temporary, std::ios::binary | std::ios::trunc);
    stream.write(content.data(), std::streamsize(content.size()));
    stream.close();
    if (stream && std::rename(temporary.c_str(), target.c_str()) == 0) {
        return true;
    }
    *diagnostics_ << fmt::format("{}: not written: {}\n", target.string(), ErrnoText());
    std::remove(temporary.c_str());
    return false;
}

bool NvStore::Set(const StoredVariable& variable) noexcept {
    const auto at = LowerBound(variable.name, variable.guid);
    const bool exists =
        at != variables_.end() && at->name == variable.name && at->guid == variable.guid;
    if (exists && at->attributes == variable.attributes && at->data == variable.data) {
        return true;
    }
    if (directory_ && !WriteFile(variable)) {
        return false;
    }
    if (exists) {
        *at = variable;
    } else {
        variables_.insert(at, variable);
    }
    return true;
}

bool NvStore::Erase(std::u16string_view name, const EFI_GUID& guid) noexcept {
    const auto at = LowerBound(name, guid);
    if (at == variables_.end() || at->name != name || !(at->guid == guid)) {
        return true;
    }
    if (directory_) {
        const fs::path file = *directory_ / FileOf(name, guid);
        if (std::remove(file.c_str()) != 0 && errno != ENOENT) {
            *diagnostics_ << fmt::format("{}: not removed: {}\n", file.string(), ErrnoText());
            return false;
        }
        files_.erase({std::u16string(name), GuidKey(guid)});
    }
    variables_.erase(at);
    return true;
}

std::size_t NvStore::UsedBytes() const {
    std::size_t bytes = 0;
    for (const StoredVariable& variable : variables_) {
        bytes += kHeaderSize + (variable.name.size() + 1) * sizeof(char16_t) + variable.data.size();
    }
    return bytes;
}

std::string VariableFileName(std::u16string_view name, const EFI_GUID& guid) {
    std::string file;
    for (std::size_t i = 0; i < name.size(); i++) {
        std::string_view code;
        if (name[i] == u'/' || name[i] == u'\0' || (name[i] == u'.' && i == 0)) {
            code =
                std::find_if(std::begin(kEscapes), std::end(kEscapes), [&](const Escape& escape) {
                    return escape.character == name[i];
                })->code;
        } else if (name[i] == u'%') {
            // Only where it would be read back as an escape.
            for (const Escape& escape : kEscapes) {
                if (name.size() - i >= 3 && char(name[i + 1]) == escape.code[1] &&
                    name[i + 1] < 0x80 && char(name[i + 2]) == escape.code[2] &&
                    name[i + 2] < 0x80) {
                    code = "%25";
                }
            }
        }
        if (code.empty()) {
            utf8::Append(file, name[i]);
        } else {
            file += code;
        }
    }
    file += '-';
    for (char c : GuidKey(guid)) {
        file += kelm::ToLowerAscii(c);
    }
    return file;
}

std::optional<std::pair<std::u16string, EFI_GUID>> ParseVariableFileName(std::string_view file) {
    // At least one character of a name, the dash, the GUID.
    if (file.size() < kelm::kGuidTextLength + 2 ||
        file[file.size() - kelm::kGuidTextLength - 1] != '-') {
        return std::nullopt;
    }
    const auto guid = kelm::GuidFromText(file.substr(file.size() - kelm::kGuidTextLength));
    std::string_view rest = file.substr(0, file.size() - kelm::kGuidTextLength - 1);
    if (!guid) {
        return std::nullopt;
    }
    std::u16string name;
    while (!rest.empty()) {
        const auto escape =
            std::find_if(std::begin(kEscapes), std::end(kEscapes),
                         [&](const Escape& candidate) { return rest.starts_with(candidate.code); });
        if (escape != std::end(kEscapes)) {
            name += escape->character;
            rest.remove_prefix(escape->code.size());
            continue;
        }
        const auto character = utf8::Next(rest);
        if (!character || *character > 0xFFFF) {
            return std::nullopt;
        }
        name += char16_t(*character);
    }
    return std::pair(name, *guid);
}

} // namespace sim
