// What divides a medium: a GUID partition table (UEFI 2.10, section 5.3), a master boot record
// (section 5.2), or the boot catalog of an optical disc (El Torito).
//
// A medium of the machine file carries one of "partitions", "bootImage" and "files" (or
// "directory"), or nothing. Its parts become devices below it before power-on.
#pragma once

#include "sim/devices/BlockMedia.h"
#include "uefi/Base.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace sim {

struct PartitionTable {
    struct Entry {
        std::uint32_t number = 0; // from 1
        std::uint64_t start = 0;  // in blocks
        std::uint64_t blocks = 0;
        EFI_GUID signature{}; // of a GUID partition table
        bool files = false;   // whether there is a file system on it
        std::string place;    // JSON pointer
    };
    bool gpt = true;
    EFI_GUID diskGuid{};            // of a GUID partition table
    std::uint32_t mbrSignature = 0; // of a master boot record
    std::vector<Entry> entries;     // as the machine file orders them
};

// Reads the array of partitions at `place`. What the file leaves out follows from the disk's name
// and from the partition before: it begins where that one ends, at a whole MiB, and takes up to 32
// MiB. Throws MachineFileError: partitions that overlap, do not fit, repeat a number or mix
// schemes.
PartitionTable ReadPartitions(const MachineDescription& machine, const std::string& place,
                              const std::string& diskName, const MediaGeometry& disk);

// The blocks of the table.
BlockContent TableContent(const PartitionTable& table, const MediaGeometry& disk);

// The hard drive node of one partition.
std::vector<std::uint8_t> PartitionNode(const PartitionTable& table,
                                        const PartitionTable::Entry& entry);

// The volume descriptors and boot catalog of a disc whose boot image lies in these blocks.
BlockContent CatalogContent(std::uint64_t start, std::uint64_t blocks);
inline constexpr std::uint64_t kBootImageStart = 20; // in blocks of the disc
std::vector<std::uint8_t> BootImageNode(std::uint64_t start, std::uint64_t blocks);

// A GUID made from a text: always the same one.
EFI_GUID GuidFromName(const std::string& name);

} // namespace sim
