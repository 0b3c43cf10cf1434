#include "sim/devices/MediaTree.h"

#include "library/pure/Bytes.h"
#include "library/pure/DevicePath.h"
#include "sim/devices/BlockDevice.h"
#include "sim/devices/BlockMedia.h"
#include "sim/devices/FileTree.h"
#include "sim/devices/Partition.h"
#include "sim/firmware/Platform.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>
#include <fmt/format.h>

namespace sim {

namespace {

constexpr std::uint64_t kDefaultPoolBytes = 256u << 20;
constexpr std::uint64_t kFloppyImageBytes = 1440u << 10;

const MEDIA_RAM_DISK_DEVICE_PATH* RamDiskOf(const Device& device) {
    return kelm::NodeAs<MEDIA_RAM_DISK_DEVICE_PATH>(device.LastNode(), kDevicePathTypeMedia,
                                                    kMediaSubTypeRamDisk);
}

class MediaReader {
public:
    explicit MediaReader(Devices& owner)
        : devices_(owner), platform_(owner.platform), machine_(owner.platform.machine) {}

    void ReadAll() {
        std::vector<Device*> described;
        for (const auto& device : devices_.All()) {
            if (!device->id.empty()) {
                described.push_back(device.get());
            }
        }
        ramDiskEnd_ = platform_.arena->Base() + platform_.arena->Size();
        for (const Device* device : described) {
            if (const auto* node = RamDiskOf(*device); node != nullptr) {
                ramDiskEnd_ = std::min<std::uint64_t>(ramDiskEnd_, node->StartingAddr);
            }
        }
        for (Device* device : described) {
            if (CarriesMedia(device->kind)) {
                Read(*device);
            } else if (device->kind == kKindFileSystem) {
                ReadFileSystem(*device);
            } else {
                RefuseKeys(*device);
            }
        }
    }

private:
    [[noreturn]] void Fail(const std::string& place, const std::string& reason) const {
        throw MachineFileError(machine_.file, place, reason);
    }

    void RefuseKeys(const Device& device, bool files = false) const {
        for (const char* key : {"block", "partitions", "bootImage", "files", "directory"}) {
            if (files &&
                (key == std::string_view("files") || key == std::string_view("directory"))) {
                continue;
            }
            if (!machine_.At(PlaceOf(device.place, key)).is_null()) {
                Fail(PlaceOf(device.place, key), "a device of this kind carries no medium");
            }
        }
    }

    // Files that no medium carries.
    void ReadFileSystem(Device& device) {
        if (device.parent != nullptr) {
            Fail(device.place + "/path", "no driver brings a file system of this kind: its path "
                                         "begins with no root bridge");
        }
        RefuseKeys(device, true);
        device.Keep<FileTree>(machine_, device.place);
    }

    void Read(Device& device) {
        const bool files = DescribesFiles(machine_, device.place);
        const std::string partitions = device.place + "/partitions";
        const std::string bootImage = device.place + "/bootImage";
        const bool divided = !machine_.At(partitions).empty();
        const bool boots = !machine_.At(bootImage).is_null();
        if (int(files) + int(divided) + int(boots) > 1) {
            Fail(device.place, "a medium carries one of \"partitions\", \"bootImage\" and "
                               "\"files\" or \"directory\"");
        }
        const MediaGeometry shape = Shape(device);
        if (divided) {
            const PartitionTable table = ReadPartitions(machine_, partitions, device.Name(), shape);
            Device& whole = AddMedia(device, shape, TableContent(table, shape));
            for (const auto& entry : table.entries) {
                AddPart(whole, PartitionNode(table, entry), kKindPartition, entry.place,
                        entry.start, entry.blocks);
            }
        } else if (boots) {
            ReadBootImage(device, shape, bootImage);
        } else {
            Device& whole = AddMedia(device, shape, {});
            if (files) {
                whole.Keep<FileTree>(machine_, device.place);
            }
        }
    }

    void ReadBootImage(Device& device, const MediaGeometry& shape, const std::string& place) {
        if (shape.blockSize != kDiscBlockSize) {
            Fail(place, "a boot image lies on a medium with blocks of 2048 bytes");
        }
        auto files = std::make_unique<FileTree>(machine_, place);
        const std::uint64_t blocks =
            (kFloppyImageBytes + files->Bytes() + kDiscBlockSize - 1) / kDiscBlockSize;
        if (shape.blocks < kBootImageStart + blocks) {
            Fail(place, fmt::format("the boot image needs a medium of {} blocks",
                                    kBootImageStart + blocks));
        }
        Device& whole = AddMedia(device, shape, CatalogContent(kBootImageStart, blocks));
        AddPart(whole, BootImageNode(kBootImageStart, blocks), kKindBootImage, place,
                kBootImageStart, blocks);
    }

    void AddPart(Device& whole, std::span<const std::uint8_t> node, const char* kind,
                 const std::string& place, std::uint64_t start, std::uint64_t blocks) {
        Device& part = devices_.Add(&whole, node, kind, place);
        part.Keep<SliceMedia>(*whole.Find<BlockMedia>(), start, blocks);
        if (DescribesFiles(machine_, place)) {
            part.Keep<FileTree>(machine_, place);
        }
    }

    // The device that carries the medium: for a RAM disk the one with the node.
    Device& AddMedia(Device& device, const MediaGeometry& shape, BlockContent content) {
        Device* holder = &device;
        BlockMedia* media = nullptr;
        if (device.kind == "ram-disk") {
            const std::uint64_t address = RamDiskAddress(device, shape);
            if (RamDiskOf(device) == nullptr) {
                holder =
                    &devices_.Add(&device, RamDiskNode(address, shape.Bytes(), gEfiVirtualDiskGuid),
                                  device.kind, device.place);
            }
            media = &holder->Keep<MemoryMedia>(platform_, shape, address, std::move(content));
        } else {
            media = &holder->Keep<DiskMedia>(shape, content);
        }
        media->product = Product(device);
        return *holder;
    }

    std::string Product(const Device& device) const {
        const Json& description = machine_.At(device.place + "/description");
        std::string text = description.is_string()             ? description.get<std::string>()
                           : device.kind.ends_with("-optical") ? "Optical Drive"
                           : device.kind.ends_with("floppy")   ? "Floppy Drive"
                           : device.kind.ends_with("-tape")    ? "Tape Drive"
                                                               : "Disk";
        std::erase_if(text, [](char c) { return c < ' ' || c > '~'; });
        return text;
    }

    // ---- RAM disks

    MediaGeometry Shape(const Device& device) {
        MediaGeometry shape = ReadGeometry(machine_, device.place, device.kind);
        if (device.kind != "ram-disk") {
            return shape;
        }
        const std::string place = device.place + "/block";
        if (shape.blockSize != kRamDiskBlockSize) {
            Fail(place, fmt::format("a RAM disk has blocks of {} bytes", kRamDiskBlockSize));
        }
        if (const auto* node = RamDiskOf(device); node != nullptr) {
            const std::uint64_t size = node->EndingAddr - node->StartingAddr + 1;
            const bool given = !machine_.At(place + "/blocks").is_null();
            if (node->EndingAddr < node->StartingAddr || size % kRamDiskBlockSize != 0 ||
                (given && size != shape.Bytes())) {
                Fail(device.place + "/path", "the RAM disk node does not fit its blocks");
            }
            shape.blocks = size / kRamDiskBlockSize;
        }
        ramDiskBytes_ += shape.Bytes();
        if (ramDiskBytes_ > platform_.LimitOf("poolBytes", kDefaultPoolBytes) / 2 ||
            shape.blocks > ramDiskBytes_) {
            Fail(place, "RAM disks take at most half of the memory that \"poolBytes\" allows");
        }
        return shape;
    }

    std::uint64_t RamDiskAddress(const Device& device, const MediaGeometry& shape) {
        const std::uint64_t size =
            (shape.Bytes() + Arena::kPageSize - 1) / Arena::kPageSize * Arena::kPageSize;
        std::uint64_t start = 0;
        if (const auto* node = RamDiskOf(device); node != nullptr) {
            start = node->StartingAddr;
            const bool overlaps = std::any_of(taken_.begin(), taken_.end(), [&](const auto& other) {
                return start < other.second && other.first < start + size;
            });
            if (start % Arena::kPageSize != 0 || !platform_.arena->Contains(start) ||
                !platform_.arena->Contains(start + size - 1) || overlaps) {
                Fail(device.place + "/path",
                     fmt::format("the memory of a RAM disk begins at a page from 0x{:X} on and is "
                                 "its own",
                                 platform_.arena->Base()));
            }
        } else {
            ramDiskEnd_ = ramDiskEnd_ / Arena::kPageSize * Arena::kPageSize - size;
            start = ramDiskEnd_;
        }
        taken_.emplace_back(start, start + size);
        return start;
    }

    static constexpr std::uint32_t kDiscBlockSize = 2048;

    Devices& devices_;
    Platform& platform_;
    const MachineDescription& machine_;
    std::uint64_t ramDiskEnd_ = 0; // the next one without an address ends here
    std::uint64_t ramDiskBytes_ = 0;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> taken_; // start and end
};

} // namespace

void DescribeMedia(Devices& devices) {
    MediaReader(devices).ReadAll();
}

std::vector<Device*> AskedChildren(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining,
                                   bool (*isOne)(const Device& child)) {
    const auto asked = kelm::DevicePathBytes(remaining);
    const std::size_t own = device.path.size() - kelm::kNodeHeaderSize;
    std::vector<Device*> children;
    for (Device* child : device.children) {
        // The nodes of the child that its parent has not.
        const auto nodes = std::span<const std::uint8_t>(child->path)
                               .subspan(own, child->path.size() - device.path.size());
        const bool wanted =
            remaining == nullptr ||
            (nodes.size() < asked.size() && std::equal(nodes.begin(), nodes.end(), asked.begin()));
        if (wanted && isOne(*child)) {
            children.push_back(child);
        }
    }
    return children;
}

bool AnyAbsent(const std::vector<Device*>& children) {
    return std::any_of(children.begin(), children.end(), [](const Device* child) {
        return child->handle == nullptr && !child->gone;
    });
}

std::vector<std::uint8_t> RamDiskNode(std::uint64_t address, std::uint64_t size,
                                      const EFI_GUID& type) {
    std::vector<std::uint8_t> node(sizeof(MEDIA_RAM_DISK_DEVICE_PATH));
    kelm::ByteWriter writer(node);
    writer.WriteU8(kDevicePathTypeMedia);
    writer.WriteU8(kMediaSubTypeRamDisk);
    writer.WriteU16(UINT16(node.size()));
    writer.WriteU64(address);
    writer.WriteU64(address + size - 1);
    writer.WriteGuid(type);
    writer.WriteU16(0);
    return node;
}

} // namespace sim
