#include "sim/firmware/PeImage.h"

#include <sys/mman.h>

#include <cstring>
#include <utility>

namespace sim {

namespace {

constexpr UINT64 kPageSize = 0x1000;
constexpr UINT16 kRelocationsStripped = 0x0001;
constexpr UINT32 kRelocationBlockHeader = 8;
constexpr UINT16 kRelocationNone = 0;
constexpr UINT16 kRelocationDir64 = 10;

UINT64 WholePages(UINT64 size) {
    return (size + kPageSize - 1) / kPageSize * kPageSize;
}

PeResult ReadForThisMachine(std::span<const UINT8> bytes, PeHeader& header) {
    const PeResult result = ReadPeHeader(bytes, header);
    return result != PeResult::Ok ? result : CheckPeTarget(header);
}

} // namespace

PeImageRegion::PeImageRegion(UINT64 base, UINT64 size) : base_(base), size_(size) {}

UINT64 PeImageRegion::Allocate(UINT64 size) {
    UINT64 candidate = base_;
    for (const auto& [start, length] : taken_) {
        if (start - candidate >= WholePages(size))
            break;
        candidate = start + length;
    }
    return AllocateAt(candidate, size) ? candidate : 0;
}

bool PeImageRegion::AllocateAt(UINT64 address, UINT64 size) {
    size = WholePages(size);
    if (address % kPageSize != 0 || address < base_ || size == 0 || size > size_ ||
        address - base_ > size_ - size)
        return false;
    const auto next = taken_.lower_bound(address);
    if (next != taken_.end() && next->first - address < size)
        return false;
    if (next != taken_.begin()) {
        const auto& [start, length] = *std::prev(next);
        if (address - start < length)
            return false;
    }
    taken_[address] = size;
    return true;
}

void PeImageRegion::Free(UINT64 address) {
    taken_.erase(address);
}

PeResult PeImage::Load(std::span<const UINT8> bytes, PeImageRegion& region,
                       std::unique_ptr<PeImage>& image) {
    PeHeader header;
    if (PeResult result = ReadForThisMachine(bytes, header); result != PeResult::Ok)
        return result;
    UINT64 address;
    if ((header.characteristics & kRelocationsStripped) != 0) {
        address = header.imageBase;
        if (!region.AllocateAt(address, header.imageSize))
            return PeResult::RelocationStripped;
    } else {
        address = region.Allocate(header.imageSize);
        if (address == 0)
            return PeResult::NoMemory;
    }
    return Map(bytes, std::move(header), region, address, image);
}

PeResult PeImage::LoadAt(std::span<const UINT8> bytes, PeImageRegion& region, UINT64 address,
                         std::unique_ptr<PeImage>& image) {
    PeHeader header;
    if (PeResult result = ReadForThisMachine(bytes, header); result != PeResult::Ok)
        return result;
    if ((header.characteristics & kRelocationsStripped) != 0 && address != header.imageBase)
        return PeResult::RelocationStripped;
    if (!region.AllocateAt(address, header.imageSize))
        return PeResult::NoMemory;
    return Map(bytes, std::move(header), region, address, image);
}

// The range is already taken in `region`: from here on it is given back on every failure.
PeResult PeImage::Map(std::span<const UINT8> bytes, PeHeader header, PeImageRegion& region,
                      UINT64 address, std::unique_ptr<PeImage>& image) {
    const UINT64 size = WholePages(header.imageSize);
    void* const wanted = reinterpret_cast<void*>(address);
    void* const mapped = mmap(wanted, size, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    if (mapped != wanted) {
        if (mapped != MAP_FAILED)
            munmap(mapped, size);
        region.Free(address);
        return PeResult::NoMemory;
    }
    std::unique_ptr<PeImage> fresh(
        new PeImage(std::move(header), region, static_cast<UINT8*>(mapped), size));
    fresh->CopySections(bytes);
    if (PeResult result = fresh->Relocate(); result != PeResult::Ok)
        return result;
    if (!fresh->Protect())
        return PeResult::NoMemory;
    image = std::move(fresh);
    return PeResult::Ok;
}

PeImage::PeImage(PeHeader header, PeImageRegion& region, UINT8* base, UINT64 size)
    : header_(std::move(header)), region_(region), base_(base), size_(size) {}

PeImage::~PeImage() {
    munmap(base_, size_);
    region_.Free(reinterpret_cast<UINT64>(base_));
}

bool PeImage::Contains(const void* address) const {
    return address >= base_ && address < base_ + size_;
}

void PeImage::CopySections(std::span<const UINT8> bytes) {
    std::memcpy(base_, bytes.data(), header_.headerSize);
    for (const PeSection& section : header_.sections)
        if (section.dataSize != 0)
            std::memcpy(base_ + section.virtualAddress, bytes.data() + section.dataOffset,
                        section.dataSize);
}

// Works on the copy, which a relocation may itself change: everything is checked as it is read.
PeResult PeImage::Relocate() {
    const UINT64 delta = reinterpret_cast<UINT64>(base_) - header_.imageBase;
    UINT32 at = header_.relocationOffset;
    const UINT32 end = at + header_.relocationSize;
    while (end - at >= kRelocationBlockHeader) {
        UINT32 page;
        UINT32 blockSize;
        std::memcpy(&page, base_ + at, sizeof(page));
        std::memcpy(&blockSize, base_ + at + 4, sizeof(blockSize));
        if (page == 0 && blockSize == 0)
            break; // padding
        if (blockSize < kRelocationBlockHeader || blockSize > end - at)
            return PeResult::BadRelocation;
        for (UINT32 entry = kRelocationBlockHeader; entry + 2 <= blockSize; entry += 2) {
            UINT16 relocation;
            std::memcpy(&relocation, base_ + at + entry, sizeof(relocation));
            const UINT16 kind = relocation >> 12;
            if (kind == kRelocationNone)
                continue;
            const UINT64 target = UINT64{page} + (relocation & 0xFFF);
            UINT64 value;
            if (kind != kRelocationDir64 || target + sizeof(value) > header_.imageSize)
                return PeResult::BadRelocation;
            std::memcpy(&value, base_ + target, sizeof(value));
            value += delta;
            std::memcpy(base_ + target, &value, sizeof(value));
        }
        at += blockSize;
    }
    return PeResult::Ok;
}

// Pages that sections share (alignments below a page) allow what any of them does.
bool PeImage::Protect() {
    std::vector<int> pages(size_ / kPageSize, PROT_READ);
    for (const PeSection& section : header_.sections) {
        if (section.virtualSize == 0)
            continue;
        const int protection =
            (section.writable ? PROT_WRITE : 0) | (section.executable ? PROT_EXEC : 0);
        const UINT64 last = section.virtualAddress + UINT64{section.virtualSize} - 1;
        for (UINT64 page = section.virtualAddress / kPageSize; page <= last / kPageSize; ++page)
            pages[page] |= protection;
    }
    for (std::size_t first = 0; first < pages.size();) {
        std::size_t next = first + 1;
        while (next < pages.size() && pages[next] == pages[first])
            ++next;
        if (mprotect(base_ + first * kPageSize, (next - first) * kPageSize, pages[first]) != 0)
            return false;
        first = next;
    }
    return true;
}

} // namespace sim
