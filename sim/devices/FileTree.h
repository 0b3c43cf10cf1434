// The files of a simulated file system, as the machine file lists them ("files") or as a directory
// of the host holds them ("directory"). All are read before power-on; none change in a boot.
#pragma once

#include "sim/devices/Device.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// One file or directory. Names compare without regard to case (A to Z).
struct FileNode {
    std::u16string name; // empty for the root
    bool directory = true;
    std::vector<std::uint8_t> content;
    FileNode* parent = nullptr;                      // nullptr for the root
    std::vector<std::unique_ptr<FileNode>> children; // by name

    const FileNode* Child(std::u16string_view wanted) const;
    std::u16string Path() const; // "\" for the root
};

class FileTree final : public DeviceObject {
public:
    // The bytes that all files of one tree may have.
    static constexpr std::uint64_t kMostBytes = 64u << 20;

    // Reads "directory" and then "files" of the section at `place`. Throws MachineFileError: a
    // name that no file can have, a file named twice, a host file that cannot be read, too much.
    FileTree(const MachineDescription& machine, const std::string& place);

    const FileNode& Root() const { return root_; }
    std::uint64_t Bytes() const { return bytes_; }
    // UEFI file names: "\" separates and, in front, stands for the root; "." and ".." are
    // understood. Relative names begin at `from`, or in the directory of a file. nullptr when there
    // is no such file.
    const FileNode* Find(const FileNode& from, std::u16string_view name) const;

private:
    void ReadFiles(const std::string& place);
    void ReadDirectory(const std::filesystem::path& path, FileNode& node, const std::string& place);
    FileNode& Insert(FileNode& directory, std::u16string name, bool isDirectory,
                     const std::string& place);
    void SetContent(FileNode& file, std::vector<std::uint8_t> content, const std::string& place);

    const MachineDescription& machine_;
    std::filesystem::path hostRoot_; // of "directory", without symbolic links
    FileNode root_;
    std::uint64_t bytes_ = 0;
};

// Whether a section has "files" or "directory".
bool DescribesFiles(const MachineDescription& machine, const std::string& place);

// The bytes that a "fileContent" object at `place` stands for: its text (UTF-8 as it is), hex, host
// file, or payload. Throws MachineFileError, also for more than `most` bytes.
std::vector<std::uint8_t> ReadFileContent(const MachineDescription& machine,
                                          const std::string& place,
                                          std::uint64_t most = FileTree::kMostBytes);

} // namespace sim
