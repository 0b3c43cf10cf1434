// Reads and checks the headers of a PE image: see PeImage.h.
#include "sim/firmware/PeImage.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace sim {

namespace {

constexpr UINT64 kDosHeaderSize = 64;
constexpr UINT64 kDosNewHeader = 0x3C;
constexpr UINT64 kCoffHeader = 4; // after the signature
constexpr UINT64 kOptionalHeader = kCoffHeader + 20;
constexpr UINT64 kSubsystemEnd = 70; // in the optional header, the same in PE32 and PE32+
constexpr UINT64 kDirectories = 112;
constexpr UINT64 kDirectorySize = 8;
constexpr UINT32 kRelocationDirectory = 5;
constexpr UINT64 kSectionHeaderSize = 40;
constexpr UINT16 kMaxSections = 96;
constexpr UINT16 kMagicPe32Plus = 0x20B;
constexpr UINT32 kSectionExecute = 0x20000000u;
constexpr UINT32 kSectionRead = 0x40000000u;
constexpr UINT32 kSectionWrite = 0x80000000u;

// Little-endian values at checked offsets: the caller has asked Has() about the record they are in.
class Bytes {
public:
    explicit Bytes(std::span<const UINT8> bytes) : bytes_(bytes) {}
    bool Has(UINT64 offset, UINT64 size) const {
        return offset <= bytes_.size() && size <= bytes_.size() - offset;
    }
    template <class Value>
    Value At(UINT64 offset) const {
        Value value = 0;
        if (Has(offset, sizeof(value)))
            std::memcpy(&value, bytes_.data() + offset, sizeof(value));
        return value;
    }
    const UINT8* Data(UINT64 offset) const { return bytes_.data() + offset; }

private:
    std::span<const UINT8> bytes_;
};

// Where the optional header and the section table are.
struct Layout {
    UINT64 optionalHeader = 0;
    UINT64 optionalSize = 0;
    UINT64 sectionTable = 0;
    UINT16 sectionCount = 0;
};

PeResult ReadIdentity(const Bytes& bytes, PeHeader& header, Layout& layout) {
    if (!bytes.Has(0, 2) || std::memcmp(bytes.Data(0), "MZ", 2) != 0)
        return PeResult::NotAnImage;
    if (!bytes.Has(0, kDosHeaderSize))
        return PeResult::Truncated;
    const UINT64 signature = bytes.At<UINT32>(kDosNewHeader);
    if (!bytes.Has(signature, kOptionalHeader))
        return PeResult::Truncated;
    if (std::memcmp(bytes.Data(signature), "PE\0\0", 4) != 0)
        return PeResult::NotAnImage;
    const UINT64 coff = signature + kCoffHeader;
    header.machine = bytes.At<UINT16>(coff);
    header.characteristics = bytes.At<UINT16>(coff + 18);
    layout.sectionCount = bytes.At<UINT16>(coff + 2);
    layout.optionalHeader = signature + kOptionalHeader;
    layout.optionalSize = bytes.At<UINT16>(coff + 16);
    layout.sectionTable = layout.optionalHeader + layout.optionalSize;
    if (layout.optionalSize < kSubsystemEnd)
        return PeResult::BadHeader;
    if (!bytes.Has(layout.optionalHeader, layout.optionalSize))
        return PeResult::Truncated;
    header.subsystem = bytes.At<UINT16>(layout.optionalHeader + 68);
    if (bytes.At<UINT16>(layout.optionalHeader) != kMagicPe32Plus)
        return PeResult::WrongFormat;
    return layout.optionalSize < kDirectories ? PeResult::BadHeader : PeResult::Ok;
}

PeResult ReadSizes(const Bytes& bytes, PeHeader& header, const Layout& layout) {
    const UINT64 optional = layout.optionalHeader;
    header.entryPoint = bytes.At<UINT32>(optional + 16);
    header.imageBase = bytes.At<UINT64>(optional + 24);
    header.sectionAlignment = bytes.At<UINT32>(optional + 32);
    header.imageSize = bytes.At<UINT32>(optional + 56);
    header.headerSize = bytes.At<UINT32>(optional + 60);
    const UINT64 tableEnd = layout.sectionTable + layout.sectionCount * kSectionHeaderSize;
    if (layout.sectionCount == 0 || layout.sectionCount > kMaxSections)
        return PeResult::BadHeader;
    if (!std::has_single_bit(header.sectionAlignment))
        return PeResult::BadHeader;
    if (header.imageSize > kMaxImageSize)
        return PeResult::TooLarge;
    if (!bytes.Has(0, tableEnd) || !bytes.Has(0, header.headerSize))
        return PeResult::Truncated;
    if (header.headerSize < tableEnd || header.headerSize > header.imageSize)
        return PeResult::BadHeader;

    const UINT32 directories = bytes.At<UINT32>(optional + 108);
    if (directories > (layout.optionalSize - kDirectories) / kDirectorySize)
        return PeResult::BadHeader;
    if (directories > kRelocationDirectory) {
        const UINT64 entry = optional + kDirectories + kRelocationDirectory * kDirectorySize;
        header.relocationOffset = bytes.At<UINT32>(entry);
        header.relocationSize = bytes.At<UINT32>(entry + 4);
        if (header.relocationSize == 0)
            header.relocationOffset = 0;
        if (UINT64{header.relocationOffset} + header.relocationSize > header.imageSize)
            return PeResult::BadRelocation;
    }
    return PeResult::Ok;
}

PeResult ReadSection(const Bytes& bytes, UINT64 at, const PeHeader& header, PeSection& section) {
    std::memcpy(section.name, bytes.Data(at), 8);
    section.name[8] = '\0';
    const UINT32 memorySize = bytes.At<UINT32>(at + 8);
    const UINT32 rawSize = bytes.At<UINT32>(at + 16);
    const UINT32 flags = bytes.At<UINT32>(at + 36);
    section.virtualAddress = bytes.At<UINT32>(at + 12);
    section.dataOffset = bytes.At<UINT32>(at + 20);
    // Raw data is padded to the file's alignment: what exceeds the size in memory is not loaded.
    section.virtualSize = memorySize != 0 ? memorySize : rawSize;
    section.dataSize = section.dataOffset != 0 ? std::min(rawSize, section.virtualSize) : 0;
    section.readable = (flags & kSectionRead) != 0;
    section.writable = (flags & kSectionWrite) != 0;
    section.executable = (flags & kSectionExecute) != 0;
    if (!bytes.Has(section.dataOffset, section.dataSize))
        return PeResult::Truncated;
    const bool inside = section.virtualAddress >= header.headerSize &&
                        UINT64{section.virtualAddress} + section.virtualSize <= header.imageSize;
    return inside || section.virtualSize == 0 ? PeResult::Ok : PeResult::BadSection;
}

bool SectionsOverlap(std::vector<PeSection> sections) {
    std::erase_if(sections, [](const PeSection& s) { return s.virtualSize == 0; });
    std::sort(sections.begin(), sections.end(), [](const PeSection& a, const PeSection& b) {
        return a.virtualAddress < b.virtualAddress;
    });
    for (std::size_t i = 1; i < sections.size(); ++i)
        if (sections[i - 1].virtualAddress + sections[i - 1].virtualSize >
            sections[i].virtualAddress)
            return true;
    return false;
}

bool EntryIsCode(const PeHeader& header) {
    return std::any_of(header.sections.begin(), header.sections.end(), [&](const PeSection& s) {
        return s.executable && header.entryPoint >= s.virtualAddress &&
               header.entryPoint - s.virtualAddress < s.virtualSize;
    });
}

struct ResultRow {
    PeResult result;
    EFI_STATUS status;
    const char* text;
};

constexpr ResultRow kResults[] = {
    {PeResult::Ok, EFI_SUCCESS, "good"},
    {PeResult::NotAnImage, EFI_UNSUPPORTED, "not a PE image"},
    {PeResult::WrongFormat, EFI_UNSUPPORTED, "not a PE32+ image"},
    {PeResult::WrongMachine, EFI_UNSUPPORTED, "an image for another processor"},
    {PeResult::WrongSubsystem, EFI_UNSUPPORTED, "not a UEFI application or driver"},
    {PeResult::Truncated, EFI_LOAD_ERROR, "truncated"},
    {PeResult::BadHeader, EFI_LOAD_ERROR, "contradicting headers"},
    {PeResult::BadSection, EFI_LOAD_ERROR, "a section outside of the image or over another"},
    {PeResult::BadEntryPoint, EFI_LOAD_ERROR, "an entry point outside of its code"},
    {PeResult::BadRelocation, EFI_LOAD_ERROR, "a bad relocation"},
    {PeResult::RelocationStripped, EFI_LOAD_ERROR, "bound to an address that is not available"},
    {PeResult::TooLarge, EFI_OUT_OF_RESOURCES, "too large"},
    {PeResult::NoMemory, EFI_OUT_OF_RESOURCES, "no address range for the image"},
};

const ResultRow& Row(PeResult result) {
    return *std::find_if(std::begin(kResults), std::end(kResults),
                         [&](const ResultRow& row) { return row.result == result; });
}

} // namespace

EFI_STATUS PeStatus(PeResult result) {
    return Row(result).status;
}

const char* PeResultText(PeResult result) {
    return Row(result).text;
}

PeResult ReadPeHeader(std::span<const UINT8> image, PeHeader& header) {
    const Bytes bytes(image);
    Layout layout;
    header = {};
    if (PeResult result = ReadIdentity(bytes, header, layout); result != PeResult::Ok)
        return result;
    if (PeResult result = ReadSizes(bytes, header, layout); result != PeResult::Ok)
        return result;
    header.sections.resize(layout.sectionCount);
    UINT64 at = layout.sectionTable;
    for (PeSection& section : header.sections) {
        if (PeResult result = ReadSection(bytes, at, header, section); result != PeResult::Ok)
            return result;
        at += kSectionHeaderSize;
    }
    if (SectionsOverlap(header.sections))
        return PeResult::BadSection;
    return EntryIsCode(header) ? PeResult::Ok : PeResult::BadEntryPoint;
}

PeResult CheckPeTarget(const PeHeader& header) {
    if (header.machine != kPeMachineX64)
        return PeResult::WrongMachine;
    const bool known = header.subsystem >= kPeSubsystemEfiApplication &&
                       header.subsystem <= kPeSubsystemEfiRuntimeDriver;
    return known ? PeResult::Ok : PeResult::WrongSubsystem;
}

} // namespace sim
