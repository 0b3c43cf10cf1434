#include "sim/devices/BlockMedia.h"

#include "sim/firmware/Platform.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

constexpr std::uint64_t kDefaultBlocks = 262144;
constexpr std::uint64_t kFloppyBlocks = 2880;
constexpr std::uint64_t kRamDiskBlocks = 32768;
constexpr std::uint32_t kDiskBlockSize = 512;
constexpr std::uint32_t kOpticalBlockSize = 2048;
// Sizes in bytes then fit 63 bits.
constexpr std::uint64_t kMostBlocks = std::uint64_t{1} << 50;

MediaGeometry SliceOf(const MediaGeometry& whole, std::uint64_t blocks) {
    MediaGeometry slice = whole;
    slice.blocks = blocks;
    slice.partition = true;
    return slice;
}

} // namespace

DiskMedia::DiskMedia(const MediaGeometry& shape, const BlockContent& content) : BlockMedia(shape) {
    for (const auto& [first, bytes] : content) {
        for (std::size_t at = 0; at < bytes.size(); at += shape.blockSize) {
            const auto begin = bytes.begin() + std::ptrdiff_t(at);
            content_[first + at / shape.blockSize].assign(begin, begin + shape.blockSize);
        }
    }
}

EFI_STATUS DiskMedia::Read(std::uint64_t block, std::span<std::uint8_t> out) {
    if (EFI_ERROR(geometry.status)) {
        return geometry.status;
    }
    for (; !out.empty(); out = out.subspan(geometry.blockSize), block++) {
        const BlockContent& from = written_.contains(block) ? written_ : content_;
        if (auto found = from.find(block); found != from.end()) {
            std::copy(found->second.begin(), found->second.end(), out.begin());
        } else {
            std::fill_n(out.begin(), geometry.blockSize, std::uint8_t{0});
        }
    }
    return EFI_SUCCESS;
}

EFI_STATUS DiskMedia::Write(std::uint64_t block, std::span<const std::uint8_t> bytes) {
    for (; !bytes.empty(); bytes = bytes.subspan(geometry.blockSize), block++) {
        written_[block].assign(bytes.begin(), bytes.begin() + geometry.blockSize);
    }
    return EFI_SUCCESS;
}

SliceMedia::SliceMedia(BlockMedia& whole, std::uint64_t start, std::uint64_t blocks)
    : BlockMedia(SliceOf(whole.geometry, blocks)), whole_(whole), start_(start) {
    product = whole.product;
}

EFI_STATUS SliceMedia::Read(std::uint64_t block, std::span<std::uint8_t> out) {
    return whole_.Read(start_ + block, out);
}

EFI_STATUS SliceMedia::Write(std::uint64_t block, std::span<const std::uint8_t> bytes) {
    return whole_.Write(start_ + block, bytes);
}

std::uint8_t* MemoryMedia::At(std::uint64_t block, std::size_t size) const {
    const std::uint64_t start = address + block * geometry.blockSize;
    const auto holder = platform_.arena->FindBlock(start);
    const bool whole =
        holder && start >= holder->address && holder->address + holder->size - start >= size;
    return whole ? reinterpret_cast<std::uint8_t*>(start) : nullptr;
}

EFI_STATUS MemoryMedia::Read(std::uint64_t block, std::span<std::uint8_t> out) {
    if (EFI_ERROR(geometry.status)) {
        return geometry.status;
    }
    const std::uint8_t* from = At(block, out.size());
    if (from == nullptr) {
        return EFI_DEVICE_ERROR;
    }
    std::memcpy(out.data(), from, out.size());
    return EFI_SUCCESS;
}

EFI_STATUS MemoryMedia::Write(std::uint64_t block, std::span<const std::uint8_t> bytes) {
    std::uint8_t* to = At(block, bytes.size());
    if (to == nullptr) {
        return EFI_DEVICE_ERROR;
    }
    std::memcpy(to, bytes.data(), bytes.size());
    return EFI_SUCCESS;
}

MediaGeometry ReadGeometry(const MachineDescription& machine, const std::string& place,
                           std::string_view kind) {
    const bool optical = kind.ends_with("-optical");
    const bool floppy = kind.ends_with("floppy");
    const bool removable = optical || floppy || kind == "usb-disk" || kind == "atapi-tape";
    const std::uint64_t blocks = floppy               ? kFloppyBlocks
                                 : kind == "ram-disk" ? kRamDiskBlocks
                                                      : kDefaultBlocks;
    const std::string block = place + "/block";
    MediaGeometry geometry;
    geometry.blocks = NumberAt(machine, block + "/blocks", blocks, kMostBlocks);
    geometry.blockSize = std::uint32_t(
        NumberAt(machine, block + "/blockSize", optical ? kOpticalBlockSize : kDiskBlockSize));
    geometry.removable = FlagAt(machine, block + "/removable", removable);
    geometry.readOnly = FlagAt(machine, block + "/readOnly", optical);
    geometry.present = FlagAt(machine, block + "/present", true);
    geometry.status = StatusAt(machine, block + "/status", EFI_SUCCESS);
    if (geometry.blocks == 0) {
        throw MachineFileError(machine.file, block + "/blocks", "a medium has blocks");
    }
    return geometry;
}

} // namespace sim
