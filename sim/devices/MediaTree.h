// Makes the storage of the machine file part of the tree of devices, before power-on: each device
// of a kind that carries media gets its BlockMedia, its partitions or boot image become devices
// below it, and what has files gets its FileTree.
//
// A RAM disk of the machine file ("ram-disk") is described by the path of what it was loaded
// through, without the RAM disk node: the device with that node, which is the one that gets a
// handle, is added below it. Its memory is given from the end of the arena downwards, so that its
// address is known before power-on. A path that ends in a RAM disk node fixes the address instead.
#pragma once

#include "sim/devices/Devices.h"

#include <vector>

namespace sim {

// Reads "block", "partitions", "bootImage", "files" and "directory" of all devices. Throws
// MachineFileError.
void DescribeMedia(Devices& devices);

// The devices of one kind below a device that a start with this remaining path brings: all of them
// without one, none when it is at its end, otherwise the one that it begins with.
std::vector<Device*> AskedChildren(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining,
                                   bool (*isOne)(const Device& child));
// Whether one of them could come and is not there.
bool AnyAbsent(const std::vector<Device*>& children);

// Blocks of a RAM disk are of this size.
inline constexpr std::uint32_t kRamDiskBlockSize = 512;
// The RAM disk node for memory at an address.
std::vector<std::uint8_t> RamDiskNode(std::uint64_t address, std::uint64_t size,
                                      const EFI_GUID& type);

inline constexpr const char* kKindPartition = "partition";
inline constexpr const char* kKindBootImage = "boot-image";
// Files on a handle without block I/O, there from power-on.
inline constexpr const char* kKindFileSystem = "file-system";

} // namespace sim
