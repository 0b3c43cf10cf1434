#include "sim/devices/FileTree.h"

#include "library/pure/Ucs2.h"
#include "sim/machine/Embedded.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>

namespace sim {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestName = 255; // characters of one step

bool Before(const std::unique_ptr<FileNode>& node, std::u16string_view name) {
    return kelm::Ucs2CompareNoCase(node->name, name) < 0;
}

// Takes the next step off a path; empty steps are passed over, and nothing is left behind the last.
std::u16string_view NextStep(std::u16string_view& path) {
    path.remove_prefix(std::min(path.find_first_not_of(u'\\'), path.size()));
    const std::u16string_view step = path.substr(0, path.find(u'\\'));
    path.remove_prefix(step.size());
    return step;
}

fs::path HostPath(const MachineDescription& machine, const std::string& name) {
    return fs::path(machine.file).parent_path() / name; // an absolute name stands for itself
}

[[noreturn]] void TooLarge(const MachineDescription& machine, const std::string& place,
                           std::uint64_t most) {
    throw MachineFileError(machine.file, place, fmt::format("more than {} bytes", most));
}

std::vector<std::uint8_t> ReadHostFile(const MachineDescription& machine, const fs::path& path,
                                       const std::string& place, std::uint64_t most) {
    const auto fail = [&](const std::string& reason) {
        throw MachineFileError(machine.file, place, path.string() + ": " + reason);
    };
    std::error_code error;
    if (fs::exists(path, error) && !fs::is_regular_file(path, error)) {
        fail("is not a file");
    }
    errno = 0;
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        fail(std::strerror(errno));
    }
    const std::uint64_t size = fs::file_size(path, error);
    if (error) {
        fail(error.message());
    }
    if (size > most) {
        TooLarge(machine, place, most);
    }
    std::vector<std::uint8_t> bytes(size);
    if (size != 0 && !stream.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(size))) {
        fail("cannot be read");
    }
    return bytes;
}

std::vector<std::uint8_t> PayloadBytes(const MachineDescription& machine, const std::string& name,
                                       const std::string& place) {
    std::string names;
    for (const EmbeddedFile& payload : kPayloads) {
        if (payload.name == name) {
            return {payload.bytes.begin(), payload.bytes.end()};
        }
        names += (names.empty() ? "" : ", ") + std::string(payload.name);
    }
    throw MachineFileError(machine.file, place,
                           fmt::format("there is no payload \"{}\", but: {}", name, names));
}

} // namespace

// ---- Nodes

const FileNode* FileNode::Child(std::u16string_view wanted) const {
    const auto found = std::lower_bound(children.begin(), children.end(), wanted, Before);
    return found != children.end() && kelm::Ucs2EqualNoCase((*found)->name, wanted) ? found->get()
                                                                                    : nullptr;
}

std::u16string FileNode::Path() const {
    if (parent == nullptr) {
        return u"\\";
    }
    return (parent->parent == nullptr ? std::u16string() : parent->Path()) + u'\\' + name;
}

const FileNode* FileTree::Find(const FileNode& from, std::u16string_view name) const {
    const FileNode* node = from.directory ? &from : from.parent;
    if (name.starts_with(u'\\')) {
        node = &root_;
    }
    for (auto step = NextStep(name); !step.empty() && node != nullptr; step = NextStep(name)) {
        if (!node->directory) {
            return nullptr;
        }
        if (step == u"..") {
            node = node->parent; // above the root is nothing
        } else if (step != u".") {
            node = node->Child(step);
        }
    }
    return node;
}

// ---- Reading

FileTree::FileTree(const MachineDescription& machine, const std::string& place)
    : machine_(machine) {
    const std::string directory = place + "/directory";
    if (const Json& name = machine.At(directory); !name.is_null()) {
        const fs::path path = HostPath(machine, name.get<std::string>());
        std::error_code error;
        if (!fs::is_directory(path, error)) {
            throw MachineFileError(machine.file, directory, path.string() + ": is no directory");
        }
        hostRoot_ = fs::canonical(path, error);
        ReadDirectory(path, root_, directory);
    }
    ReadFiles(place + "/files");
}

// A file or directory of that name; an existing directory when one is wanted.
FileNode& FileTree::Insert(FileNode& directory, std::u16string name, bool isDirectory,
                           const std::string& place) {
    const auto fail = [&](const std::string& reason) {
        throw MachineFileError(machine_.file, place, "\"" + ToUtf8(name) + "\" " + reason);
    };
    const bool bad =
        name == u"." || name == u".." || name.size() > kLongestName ||
        std::any_of(name.begin(), name.end(), [](char16_t character) {
            return character < 0x20 ||
                   std::u16string_view(u"\"*/:<>?\\|").find(character) != std::u16string_view::npos;
        });
    if (bad) {
        fail("is no name of a file; \\ separates the steps of a path");
    }
    auto at = std::lower_bound(directory.children.begin(), directory.children.end(),
                               std::u16string_view(name), Before);
    if (at != directory.children.end() && kelm::Ucs2EqualNoCase((*at)->name, name)) {
        if (!isDirectory || !(*at)->directory) {
            fail("is there already");
        }
        return **at;
    }
    auto node = std::make_unique<FileNode>();
    node->name = std::move(name);
    node->directory = isDirectory;
    node->parent = &directory;
    return **directory.children.insert(at, std::move(node));
}

void FileTree::SetContent(FileNode& file, std::vector<std::uint8_t> content,
                          const std::string& place) {
    bytes_ += content.size();
    if (bytes_ > kMostBytes) {
        TooLarge(machine_, place, kMostBytes);
    }
    file.content = std::move(content);
}

void FileTree::ReadFiles(const std::string& place) {
    for (const auto& [key, value] : machine_.At(place).items()) {
        const std::string at = PlaceOf(place, key);
        const std::u16string path = ReadText(machine_, Json(key), at);
        std::u16string_view rest = path;
        FileNode* node = &root_;
        std::u16string_view step = NextStep(rest);
        if (step.empty()) {
            throw MachineFileError(machine_.file, at, "a file has a name");
        }
        for (auto next = NextStep(rest); !next.empty(); next = NextStep(rest)) {
            node = &Insert(*node, std::u16string(step), true, at);
            step = next;
        }
        FileNode& file = Insert(*node, std::u16string(step), false, at);
        SetContent(file, ReadFileContent(machine_, at), at);
    }
}

// Symbolic links are followed to files within the directory only.
void FileTree::ReadDirectory(const fs::path& path, FileNode& node, const std::string& place) {
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator at(path, error), end; !error && at != end; at.increment(error)) {
        entries.push_back(at->path());
    }
    if (error) {
        throw MachineFileError(machine_.file, place, path.string() + ": " + error.message());
    }
    std::sort(entries.begin(), entries.end());
    for (const fs::path& entry : entries) {
        const fs::file_status status = fs::symlink_status(entry, error);
        const bool link = fs::is_symlink(status);
        if (link) {
            const fs::path target = fs::canonical(entry, error).lexically_relative(hostRoot_);
            if (error || target.empty() || *target.begin() == "..") {
                continue;
            }
        }
        const bool directory = fs::is_directory(status);
        if (!directory && !fs::is_regular_file(entry, error)) {
            continue;
        }
        FileNode& child = Insert(node, ReadText(machine_, Json(entry.filename().string()), place),
                                 directory, place);
        if (directory) {
            ReadDirectory(entry, child, place);
        } else {
            SetContent(child, ReadHostFile(machine_, entry, place, kMostBytes - bytes_), place);
        }
    }
}

bool DescribesFiles(const MachineDescription& machine, const std::string& place) {
    return !machine.At(place + "/files").is_null() || !machine.At(place + "/directory").is_null();
}

std::vector<std::uint8_t> ReadFileContent(const MachineDescription& machine,
                                          const std::string& place, std::uint64_t most) {
    if (const Json& host = machine.At(place + "/host"); !host.is_null()) {
        return ReadHostFile(machine, HostPath(machine, host.get<std::string>()), place + "/host",
                            most);
    }
    std::vector<std::uint8_t> bytes;
    if (const Json& payload = machine.At(place + "/payload"); !payload.is_null()) {
        bytes = PayloadBytes(machine, payload.get<std::string>(), place + "/payload");
    } else if (const Json& text = machine.At(place + "/text"); !text.is_null()) {
        const std::string utf8 = text.get<std::string>();
        bytes.assign(utf8.begin(), utf8.end());
    } else if (const Json& hex = machine.At(place + "/hex"); !hex.is_null()) {
        bytes = ReadHex(machine, hex, place + "/hex");
    }
    if (bytes.size() > most) {
        TooLarge(machine, place, most);
    }
    return bytes;
}

} // namespace sim
