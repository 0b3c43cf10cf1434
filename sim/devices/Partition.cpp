#include "sim/devices/Partition.h"

#include "library/pure/Bytes.h"
#include "library/pure/Crc32.h"
#include "library/pure/Ucs2.h"
#include "sim/devices/FileTree.h"
#include "sim/siblings/MachineReader.h"
#include "uefi/DevicePath.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <set>

namespace sim {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t kMiB = 1 << 20;
constexpr std::uint64_t kDefaultPartition = 32 * kMiB;
constexpr std::size_t kGptEntries = 128;
constexpr std::size_t kGptEntrySize = 128;
constexpr std::size_t kGptHeaderSize = 92;
constexpr std::uint32_t kMbrEntries = 4;
constexpr std::size_t kMbrSize = 512;

constexpr EFI_GUID kSystemPartition = {
    0xC12A7328, 0xF81F, 0x11D2, {0xBA, 0x4B, 0x00, 0xA0, 0xC9, 0x3E, 0xC9, 0x3B}};
constexpr EFI_GUID kBasicData = {
    0xEBD0A0A2, 0xB9E5, 0x4433, {0x87, 0xC0, 0x68, 0xB6, 0xB7, 0x26, 0x99, 0xC7}};
constexpr std::uint8_t kMbrTypeProtective = 0xEE;
constexpr std::uint8_t kMbrTypeSystem = 0xEF;
constexpr std::uint8_t kMbrTypeData = 0x83;

std::uint64_t GptEntryBlocks(const MediaGeometry& disk) {
    return kGptEntries * kGptEntrySize / disk.blockSize;
}
// The blocks that partitions may take.
std::uint64_t FirstUsable(bool gpt, const MediaGeometry& disk) {
    return gpt ? 2 + GptEntryBlocks(disk) : 1;
}
std::uint64_t EndOfUsable(bool gpt, const MediaGeometry& disk) {
    return gpt ? disk.blocks - 1 - GptEntryBlocks(disk)
               : std::min<std::uint64_t>(disk.blocks, 0xFFFFFFFF);
}

std::uint64_t Fnv1a(std::string_view text, std::uint64_t hash) {
    for (const char c : text) {
        hash = (hash ^ std::uint8_t(c)) * 0x100000001B3u;
    }
    return hash;
}

// ---- Reading

class Reader {
public:
    Reader(const MachineDescription& description, const std::string& where, const std::string& name,
           const MediaGeometry& shape)
        : machine_(description), place_(where), diskName_(name), disk_(shape) {}

    PartitionTable Read() {
        const std::size_t count = machine_.At(place_).size();
        table_.gpt = machine_.At(place_ + "/0/scheme") != "mbr";
        table_.diskGuid = GuidFromName(diskName_);
        table_.mbrSignature = table_.diskGuid.Data1;
        if (disk_.blocks < 2 * FirstUsable(table_.gpt, disk_)) {
            Fail(place_, "the disk is too small for a partition table");
        }
        for (std::size_t i = 0; i < count; i++) {
            ReadEntry(place_ + "/" + std::to_string(i));
        }
        return std::move(table_);
    }

private:
    [[noreturn]] void Fail(const std::string& where, const std::string& reason) const {
        throw MachineFileError(machine_.file, where, reason);
    }

    void ReadEntry(const std::string& at) {
        if (const Json& scheme = machine_.At(at + "/scheme");
            !scheme.is_null() && (scheme == "gpt") != table_.gpt) {
            Fail(at + "/scheme", "all partitions of a disk have the same scheme");
        }
        PartitionTable::Entry entry;
        entry.place = at;
        entry.files = DescribesFiles(machine_, at);
        entry.number = std::uint32_t(
            NumberAt(machine_, at + "/number", table_.entries.size() + 1, kGptEntries));
        if (!numbers_.insert(entry.number).second) {
            Fail(at, fmt::format("partition {} is there already", entry.number));
        }
        if (!table_.gpt && entry.number > kMbrEntries) {
            Fail(at, fmt::format("a master boot record has {} partitions", kMbrEntries));
        }
        Place(entry, at);
        Sign(entry, at + "/signature");
        table_.entries.push_back(std::move(entry));
    }

    void Place(PartitionTable::Entry& entry, const std::string& at) {
        const std::uint64_t first = FirstUsable(table_.gpt, disk_);
        const std::uint64_t end = EndOfUsable(table_.gpt, disk_);
        const std::uint64_t unit = kMiB / disk_.blockSize;
        const std::uint64_t next = std::max(nextStart_, first);
        entry.start = NumberAt(machine_, at + "/start", (next + unit - 1) / unit * unit);
        if (entry.start < first || entry.start >= end) {
            Fail(at, fmt::format("begins at block {}; partitions lie in blocks {} to {}",
                                 entry.start, first, end - 1));
        }
        const std::uint64_t left = end - entry.start;
        entry.blocks =
            NumberAt(machine_, at + "/blocks", std::min(kDefaultPartition / disk_.blockSize, left));
        if (entry.blocks == 0 || entry.blocks > left) {
            Fail(at, fmt::format("has {} blocks; there are 1 to {}", entry.blocks, left));
        }
        for (const auto& other : table_.entries) {
            if (entry.start < other.start + other.blocks &&
                other.start < entry.start + entry.blocks) {
                Fail(at, fmt::format("overlaps partition {}", other.number));
            }
        }
        nextStart_ = entry.start + entry.blocks;
    }

    void Sign(PartitionTable::Entry& entry, const std::string& at) {
        const Json& signature = machine_.At(at);
        if (table_.gpt) {
            entry.signature = signature.is_null()
                                  ? GuidFromName(fmt::format("{}#{}", diskName_, entry.number))
                                  : ReadGuid(machine_, signature, at);
            return;
        }
        if (signature.is_null()) {
            return;
        }
        const std::string text = signature.get<std::string>();
        const auto number = kelm::ParseHex(std::string_view(text));
        if (text.size() != 8 || !number) {
            Fail(at, "the signature of a master boot record is 8 hexadecimal digits");
        }
        if (signed_ && *number != table_.mbrSignature) {
            Fail(at, "a master boot record has one signature for all partitions");
        }
        signed_ = true;
        table_.mbrSignature = std::uint32_t(*number);
    }

    const MachineDescription& machine_;
    const std::string& place_;
    const std::string& diskName_;
    const MediaGeometry& disk_;
    PartitionTable table_;
    std::set<std::uint32_t> numbers_;
    std::uint64_t nextStart_ = 0;
    bool signed_ = false; // the file gives a signature
};

// ---- Content

// One of the four partitions of a master boot record.
struct MbrSlot {
    std::uint8_t type = 0;
    std::uint64_t start = 0;
    std::uint64_t blocks = 0;
};

Bytes BootRecord(std::uint32_t signature, const std::array<MbrSlot, kMbrEntries>& slots,
                 std::size_t blockSize) {
    constexpr std::uint8_t kNoChs[] = {0xFE, 0xFF, 0xFF};
    Bytes record(blockSize);
    kelm::ByteWriter writer(record);
    writer.WriteZeros(440); // code
    writer.WriteU32(signature);
    writer.WriteU16(0);
    for (const MbrSlot& slot : slots) {
        if (slot.type == 0) {
            writer.WriteZeros(16);
            continue;
        }
        writer.WriteU8(0);
        writer.WriteBytes(kNoChs);
        writer.WriteU8(slot.type);
        writer.WriteBytes(kNoChs);
        writer.WriteU32(std::uint32_t(slot.start));
        writer.WriteU32(std::uint32_t(std::min<std::uint64_t>(slot.blocks, 0xFFFFFFFF)));
    }
    writer.WriteU16(0xAA55);
    static_assert(440 + 4 + 2 + kMbrEntries * 16 + 2 == kMbrSize);
    return record;
}

Bytes GptArray(const PartitionTable& table) {
    Bytes array(kGptEntries * kGptEntrySize);
    for (const auto& entry : table.entries) {
        const std::span<UINT8> bytes(array);
        kelm::ByteWriter writer(bytes.subspan((entry.number - 1) * kGptEntrySize, kGptEntrySize));
        writer.WriteGuid(entry.files ? kSystemPartition : kBasicData);
        writer.WriteGuid(entry.signature);
        writer.WriteU64(entry.start);
        writer.WriteU64(entry.start + entry.blocks - 1);
        writer.WriteU64(0); // attributes
        writer.WriteUcs2(entry.files ? u"EFI System Partition" : u"Data");
    }
    return array;
}

Bytes GptHeader(const PartitionTable& table, const MediaGeometry& disk, std::uint32_t arrayCrc,
                bool backup) {
    const std::uint64_t last = disk.blocks - 1;
    const auto write = [&](std::span<UINT8> out, std::uint32_t crc) {
        kelm::ByteWriter writer(out);
        writer.WriteAscii("EFI PART");
        writer.WriteU32(0x00010000);
        writer.WriteU32(kGptHeaderSize);
        writer.WriteU32(crc);
        writer.WriteU32(0);
        writer.WriteU64(backup ? last : 1);
        writer.WriteU64(backup ? 1 : last);
        writer.WriteU64(FirstUsable(true, disk));
        writer.WriteU64(EndOfUsable(true, disk) - 1);
        writer.WriteGuid(table.diskGuid);
        writer.WriteU64(backup ? EndOfUsable(true, disk) : 2); // of the array
        writer.WriteU32(kGptEntries);
        writer.WriteU32(kGptEntrySize);
        writer.WriteU32(arrayCrc);
    };
    Bytes header(disk.blockSize);
    write(header, 0);
    write(header, kelm::Crc32(std::span<const UINT8>(header).first(kGptHeaderSize)));
    return header;
}

} // namespace

EFI_GUID GuidFromName(const std::string& name) {
    const std::uint64_t words[] = {Fnv1a(name, 0xCBF29CE484222325u),
                                   Fnv1a(name + "/", 0x84222325CBF29CE4u)};
    EFI_GUID guid;
    std::memcpy(&guid, words, sizeof guid);
    guid.Data3 = UINT16((guid.Data3 & 0x0FFF) | 0x4000); // version 4
    guid.Data4[0] = UINT8((guid.Data4[0] & 0x3F) | 0x80);
    return guid;
}

PartitionTable ReadPartitions(const MachineDescription& machine, const std::string& place,
                              const std::string& diskName, const MediaGeometry& disk) {
    return Reader(machine, place, diskName, disk).Read();
}

BlockContent TableContent(const PartitionTable& table, const MediaGeometry& disk) {
    BlockContent content;
    std::array<MbrSlot, kMbrEntries> slots;
    if (!table.gpt) {
        for (const auto& entry : table.entries) {
            slots[entry.number - 1] = {entry.files ? kMbrTypeSystem : kMbrTypeData, entry.start,
                                       entry.blocks};
        }
        content[0] = BootRecord(table.mbrSignature, slots, disk.blockSize);
        return content;
    }
    slots[0] = {kMbrTypeProtective, 1, disk.blocks - 1};
    content[0] = BootRecord(0, slots, disk.blockSize);
    const Bytes array = GptArray(table);
    const std::uint32_t crc = kelm::Crc32(array);
    content[1] = GptHeader(table, disk, crc, false);
    content[2] = array;
    content[EndOfUsable(true, disk)] = array;
    content[disk.blocks - 1] = GptHeader(table, disk, crc, true);
    return content;
}

std::vector<std::uint8_t> PartitionNode(const PartitionTable& table,
                                        const PartitionTable::Entry& entry) {
    Bytes node(sizeof(HARDDRIVE_DEVICE_PATH));
    kelm::ByteWriter writer(node);
    writer.WriteU8(kDevicePathTypeMedia);
    writer.WriteU8(kMediaSubTypeHardDrive);
    writer.WriteU16(UINT16(node.size()));
    writer.WriteU32(entry.number);
    writer.WriteU64(entry.start);
    writer.WriteU64(entry.blocks);
    if (table.gpt) {
        writer.WriteGuid(entry.signature);
        writer.WriteU8(MBR_TYPE_EFI_PARTITION_TABLE_HEADER);
        writer.WriteU8(SIGNATURE_TYPE_GUID);
    } else {
        writer.WriteU32(table.mbrSignature);
        writer.WriteZeros(12);
        writer.WriteU8(MBR_TYPE_PCAT);
        writer.WriteU8(SIGNATURE_TYPE_MBR);
    }
    return node;
}

BlockContent CatalogContent(std::uint64_t start, std::uint64_t blocks) {
    constexpr std::size_t kBlock = 2048;
    constexpr std::uint64_t kPrimary = 16;
    constexpr std::uint32_t kCatalog = 19;
    const auto descriptor = [](std::uint8_t type) {
        Bytes block(kBlock);
        kelm::ByteWriter writer(block);
        writer.WriteU8(type);
        writer.WriteAscii("CD001");
        writer.WriteU8(1);
        return block;
    };
    BlockContent content;
    content[kPrimary] = descriptor(1);
    Bytes boot = descriptor(0);
    const std::span<UINT8> bytes(boot);
    kelm::ByteWriter(bytes.subspan(7)).WriteAscii("EL TORITO SPECIFICATION");
    kelm::ByteWriter(bytes.subspan(0x47)).WriteU32(kCatalog);
    content[kPrimary + 1] = boot;
    content[kPrimary + 2] = descriptor(255);

    constexpr std::uint8_t kEfi = 0xEF;
    Bytes catalog(kBlock);
    kelm::ByteWriter writer(catalog);
    writer.WriteU8(1); // validation entry
    writer.WriteU8(kEfi);
    writer.WriteZeros(26);
    writer.WriteU16(UINT16(0 - (0x0001 + (kEfi << 8) + 0xAA55))); // the words add up to 0
    writer.WriteU16(0xAA55);
    writer.WriteU8(0x88); // initial entry: bootable, no emulation
    writer.WriteZeros(5);
    writer.WriteU16(UINT16(std::min<std::uint64_t>(blocks * (kBlock / 512), 0xFFFF)));
    writer.WriteU32(std::uint32_t(start));
    content[kCatalog] = catalog;
    return content;
}

std::vector<std::uint8_t> BootImageNode(std::uint64_t start, std::uint64_t blocks) {
    Bytes node(sizeof(CDROM_DEVICE_PATH));
    kelm::ByteWriter writer(node);
    writer.WriteU8(kDevicePathTypeMedia);
    writer.WriteU8(kMediaSubTypeCdRom);
    writer.WriteU16(UINT16(node.size()));
    writer.WriteU32(0);
    writer.WriteU64(start);
    writer.WriteU64(blocks);
    return node;
}

} // namespace sim
