// check-image --subsystem NAME [--forbid TEXT] IMAGE [OBJECT...]
//
// Says what would keep a firmware image from loading or working although it linked: the wrong kind
// of image, no relocations, imports, thread-local storage, a section both writable and executable,
// or constructors that the compiler left for a start-up routine that firmware does not have. The
// objects are looked at too, because the linker drops the lists of constructors. TEXT is something
// that must not stand in the image, such as the folder it was built in.
//
// Exit status 0 when there is nothing to say, 1 otherwise, with a line for each finding.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::uint16_t kMachineX64 = 0x8664;
constexpr std::uint16_t kMagicPe32Plus = 0x20b;
constexpr std::size_t kFileHeaderSize = 20;
constexpr std::size_t kSectionHeaderSize = 40;
constexpr std::size_t kSymbolSize = 18;
constexpr std::size_t kDirectoriesOffset = 112; // in the optional header
constexpr unsigned kImportDirectory = 1;
constexpr unsigned kRelocationDirectory = 5;
constexpr unsigned kTlsDirectory = 9;
constexpr unsigned kDir64 = 10;
constexpr unsigned kRelocationsStripped = 1; // characteristic
constexpr std::uint32_t kExecutable = 0x20000000;
constexpr std::uint32_t kWritable = 0x80000000;

struct Section {
    std::string name;
    std::uint32_t address = 0;
    std::uint32_t size = 0;
    std::uint32_t fileOffset = 0;
    std::uint32_t fileSize = 0;
    std::uint32_t flags = 0;
};

class File {
public:
    explicit File(const std::string& path) : path_(path) {
        std::ifstream stream(path, std::ios::binary);
        if (!stream) {
            Complain("cannot be read");
        }
        bytes_.assign(std::istreambuf_iterator<char>(stream), {});
    }

    void Complain(const std::string& finding) {
        std::fprintf(stderr, "%s: %s\n", path_.c_str(), finding.c_str());
        isGood_ = false;
    }

    bool IsGood() const { return isGood_; }
    const std::string& Bytes() const { return bytes_; }

    // A little-endian number; zero past the end, which no check takes for a good value.
    template <class Number>
    Number Read(std::size_t offset) const {
        Number value = 0;
        for (std::size_t i = 0; i < sizeof(Number) && offset + i < bytes_.size(); ++i) {
            value = static_cast<Number>(
                value | Number{static_cast<unsigned char>(bytes_[offset + i])} << (8 * i));
        }
        return value;
    }

    // The sections behind the file header at `header`. Long names are in the string table that
    // follows the symbols.
    std::vector<Section> Sections(std::size_t header) const {
        std::vector<Section> sections;
        const auto count = Read<std::uint16_t>(header + 2);
        const std::size_t strings =
            Read<std::uint32_t>(header + 8) + kSymbolSize * Read<std::uint32_t>(header + 12);
        std::size_t at = header + kFileHeaderSize + Read<std::uint16_t>(header + 16);
        for (unsigned i = 0; i < count; ++i, at += kSectionHeaderSize) {
            Section section;
            section.name = Text(at, 8);
            if (section.name.starts_with('/')) {
                section.name = Text(strings + std::strtoul(&section.name[1], nullptr, 10), 4096);
            }
            section.size = Read<std::uint32_t>(at + 8);
            section.address = Read<std::uint32_t>(at + 12);
            section.fileSize = Read<std::uint32_t>(at + 16);
            section.fileOffset = Read<std::uint32_t>(at + 20);
            section.flags = Read<std::uint32_t>(at + 36);
            sections.push_back(section);
        }
        return sections;
    }

private:
    std::string Text(std::size_t offset, std::size_t longest) const {
        std::string text;
        while (text.size() < longest && offset < bytes_.size() && bytes_[offset] != '\0') {
            text += bytes_[offset++];
        }
        return text;
    }

    std::string path_;
    std::string bytes_;
    bool isGood_ = true;
};

void CheckSectionNames(File& file, const std::vector<Section>& sections) {
    for (const Section& section : sections) {
        for (const char* prefix : {".ctors", ".dtors", ".CRT$", ".init_array", ".fini_array"}) {
            if (section.name.starts_with(prefix) && (section.size != 0 || section.fileSize != 0)) {
                file.Complain("has a global constructor or destructor (section " + section.name +
                              "), which would never run");
            }
        }
        if (section.name.starts_with(".tls")) {
            file.Complain("has thread-local variables (section " + section.name + ")");
        }
    }
}

bool CheckObject(const std::string& path) {
    File file(path);
    if (file.Read<std::uint16_t>(0) != kMachineX64) {
        file.Complain("is no x86-64 object");
    } else {
        CheckSectionNames(file, file.Sections(0));
    }
    return file.IsGood();
}

// How many 64-bit addresses the relocation table adjusts; none if it is damaged.
unsigned CountRelocations(const File& file, const std::vector<Section>& sections,
                          std::uint32_t address, std::uint32_t size) {
    for (const Section& section : sections) {
        if (address < section.address || address - section.address + size > section.fileSize) {
            continue;
        }
        unsigned count = 0;
        std::size_t block = section.fileOffset + (address - section.address);
        const std::size_t end = block + size;
        while (block + 8 <= end) {
            const auto blockSize = file.Read<std::uint32_t>(block + 4);
            if (blockSize < 8 || block + blockSize > end) {
                return 0;
            }
            for (std::size_t entry = block + 8; entry < block + blockSize; entry += 2) {
                count += file.Read<std::uint16_t>(entry) >> 12 == kDir64;
            }
            block += blockSize;
        }
        return count;
    }
    return 0;
}

bool CheckImage(const std::string& path, unsigned subsystem, std::string_view forbidden) {
    File file(path);
    const std::size_t signature = file.Read<std::uint32_t>(0x3c);
    const std::size_t header = signature + 4;
    const std::size_t optional = header + kFileHeaderSize;
    if (file.Read<std::uint16_t>(0) != 0x5a4d || file.Read<std::uint32_t>(signature) != 0x4550 ||
        file.Read<std::uint16_t>(optional) != kMagicPe32Plus) {
        file.Complain("is no PE32+ image");
        return false;
    }
    if (file.Read<std::uint16_t>(header) != kMachineX64) {
        file.Complain("is not for x86-64");
    }
    if (file.Read<std::uint16_t>(optional + 68) != subsystem) {
        file.Complain("has subsystem " + std::to_string(file.Read<std::uint16_t>(optional + 68)) +
                      ", not " + std::to_string(subsystem));
    }
    if (file.Read<std::uint32_t>(optional + 16) == 0) {
        file.Complain("has no entry point");
    }

    const std::vector<Section> sections = file.Sections(header);
    CheckSectionNames(file, sections);
    for (const Section& section : sections) {
        if ((section.flags & kExecutable) != 0 && (section.flags & kWritable) != 0) {
            file.Complain("has a section that is writable and executable: " + section.name);
        }
    }
    auto directory = [&](unsigned number, unsigned field) {
        return file.Read<std::uint32_t>(optional + kDirectoriesOffset + 8 * number + 4 * field);
    };
    if (directory(kImportDirectory, 1) != 0) {
        file.Complain("imports functions");
    }
    if (directory(kTlsDirectory, 1) != 0) {
        file.Complain("has thread-local storage");
    }
    // An image without a single absolute address has an empty table.
    const bool stripped = (file.Read<std::uint16_t>(header + 18) & kRelocationsStripped) != 0;
    const std::uint32_t tableSize = directory(kRelocationDirectory, 1);
    const unsigned relocations =
        CountRelocations(file, sections, directory(kRelocationDirectory, 0), tableSize);
    if (stripped || (tableSize != 0 && relocations == 0)) {
        file.Complain("has no relocations, so it can only run where it was linked for");
    }
    if (!forbidden.empty() && file.Bytes().find(forbidden) != std::string::npos) {
        file.Complain("contains \"" + std::string(forbidden) + "\"");
    }
    if (file.IsGood()) {
        std::printf("%s: %zu bytes, %zu sections, %u relocations\n", path.c_str(),
                    file.Bytes().size(), sections.size(), relocations);
    }
    return file.IsGood();
}

std::optional<unsigned> SubsystemNumber(std::string_view name) {
    if (name == "application") {
        return 10;
    }
    if (name == "boot_service_driver") {
        return 11;
    }
    return std::nullopt;
}

} // namespace

int main(int count, char** arguments) {
    std::optional<unsigned> subsystem;
    std::string_view forbidden;
    std::vector<std::string> files;
    for (int i = 1; i < count; ++i) {
        const std::string_view argument = arguments[i];
        if (argument == "--subsystem" && i + 1 < count) {
            subsystem = SubsystemNumber(arguments[++i]);
        } else if (argument == "--forbid" && i + 1 < count) {
            forbidden = arguments[++i];
        } else {
            files.emplace_back(argument);
        }
    }
    if (!subsystem || files.empty()) {
        std::fputs("usage: check-image --subsystem application|boot_service_driver "
                   "[--forbid TEXT] IMAGE [OBJECT...]\n",
                   stderr);
        return 1;
    }
    bool isGood = CheckImage(files[0], *subsystem, forbidden);
    for (std::size_t i = 1; i < files.size(); ++i) {
        isGood = CheckObject(files[i]) && isGood;
    }
    return isGood ? 0 : 1;
}
