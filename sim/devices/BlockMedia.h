// What lies in a storage device: so many blocks, which the machine file describes with "block".
//
// The content of a medium is made from its description and never stored whole: the blocks of the
// partition table or boot catalog, zeros everywhere else, and what was written in this boot.
#pragma once

#include "sim/devices/Device.h"

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace sim {

class Platform;

// Bytes from the beginning of a block on, by the number of that block; whole blocks.
using BlockContent = std::map<std::uint64_t, std::vector<std::uint8_t>>;

struct MediaGeometry {
    std::uint64_t blocks = 0;
    std::uint32_t blockSize = 0; // bytes
    bool removable = false;
    bool readOnly = false;
    bool present = true;             // whether there is a medium in the device
    EFI_STATUS status = EFI_SUCCESS; // what reads answer
    bool partition = false;          // a part of another medium
    std::uint64_t Bytes() const { return blocks * blockSize; }
    bool Readable() const { return present && !EFI_ERROR(status); }
};

class BlockMedia : public DeviceObject {
public:
    explicit BlockMedia(const MediaGeometry& shape) : geometry(shape) {}

    // Whole blocks within the medium; the caller has checked that.
    virtual EFI_STATUS Read(std::uint64_t block, std::span<std::uint8_t> out) = 0;
    virtual EFI_STATUS Write(std::uint64_t block, std::span<const std::uint8_t> bytes) = 0;

    const MediaGeometry geometry;
    std::string product; // ASCII name that the device reports of itself
};

// A medium of its own.
class DiskMedia final : public BlockMedia {
public:
    DiskMedia(const MediaGeometry& shape, const BlockContent& content);
    EFI_STATUS Read(std::uint64_t block, std::span<std::uint8_t> out) override;
    EFI_STATUS Write(std::uint64_t block, std::span<const std::uint8_t> bytes) override;

    // What was written in this boot, block by block.
    const BlockContent& Written() const { return written_; }

private:
    BlockContent content_; // single blocks
    BlockContent written_;
};

// Consecutive blocks of another medium.
class SliceMedia final : public BlockMedia {
public:
    SliceMedia(BlockMedia& whole, std::uint64_t start, std::uint64_t blocks);
    EFI_STATUS Read(std::uint64_t block, std::span<std::uint8_t> out) override;
    EFI_STATUS Write(std::uint64_t block, std::span<const std::uint8_t> bytes) override;

private:
    BlockMedia& whole_;
    const std::uint64_t start_;
};

// Memory of the arena. EFI_DEVICE_ERROR when it is not, or no longer, allocated.
class MemoryMedia final : public BlockMedia {
public:
    // `start` lies there at power-on.
    MemoryMedia(Platform& owner, const MediaGeometry& shape, std::uint64_t base,
                BlockContent start = {})
        : BlockMedia(shape), address(base), content(std::move(start)), platform_(owner) {}
    EFI_STATUS Read(std::uint64_t block, std::span<std::uint8_t> out) override;
    EFI_STATUS Write(std::uint64_t block, std::span<const std::uint8_t> bytes) override;

    const std::uint64_t address;
    const BlockContent content;

private:
    std::uint8_t* At(std::uint64_t block, std::size_t size) const;
    Platform& platform_;
};

// The "block" of a device of that kind, with the defaults of the kind. Throws MachineFileError.
MediaGeometry ReadGeometry(const MachineDescription& machine, const std::string& place,
                           std::string_view kind);

} // namespace sim
