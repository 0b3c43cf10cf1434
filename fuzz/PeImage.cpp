// Bytes from outside as an executable image: what is taken for good lies within the bytes and
// within the image, wherever it is put, and what is refused leaves nothing behind.

#include "sim/firmware/PeImage.h"

#include "fuzz/Require.h"

#include <cstring>
#include <vector>

using fuzz::Require;
using sim::PeHeader;
using sim::PeImage;
using sim::PeImageRegion;
using sim::PeResult;
using sim::PeSection;

namespace {

// Far larger than what an input fills; a header may claim more than there is.
constexpr UINT32 kLargestMapped = 1u << 20;

void CheckSections(const std::vector<UINT8>& bytes, const PeHeader& header) {
    bool entryInCode = false;
    for (const PeSection& section : header.sections) {
        Require(section.dataSize <= section.virtualSize);
        Require(UINT64{section.dataOffset} + section.dataSize <= bytes.size());
        Require(section.virtualSize == 0 ||
                UINT64{section.virtualAddress} + section.virtualSize <= header.imageSize);
        entryInCode =
            entryInCode || (section.executable && header.entryPoint >= section.virtualAddress &&
                            header.entryPoint - section.virtualAddress < section.virtualSize);
    }
    Require(entryInCode);
    Require(header.headerSize <= bytes.size() && header.headerSize <= header.imageSize);
}

void CheckImage(const PeImage& image, UINT64 address) {
    Require(reinterpret_cast<UINT64>(image.Base()) == address);
    Require(image.Contains(image.EntryPoint()));
    UINT8 sum = 0;
    for (UINT64 page = 0; page < image.Size(); page += 0x1000) {
        sum = UINT8(sum + static_cast<const volatile UINT8*>(image.Base())[page]);
    }
    static_cast<void>(sum); // every page could be read
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, std::size_t size) {
    const std::vector<UINT8> bytes(data, data + size); // exactly as large, for the sanitizer
    PeHeader header;
    const PeResult read = sim::ReadPeHeader(bytes, header);
    if (read == PeResult::Ok) {
        CheckSections(bytes, header);
    }
    if (header.imageSize > kLargestMapped) {
        return 0;
    }

    PeImageRegion region;
    std::unique_ptr<PeImage> image;
    const PeResult result = PeImage::Load(bytes, region, image);
    Require((image != nullptr) == (result == PeResult::Ok));
    Require((sim::PeStatus(result) == EFI_SUCCESS) == (result == PeResult::Ok));
    if (image == nullptr) {
        // The whole region is free.
        Require(region.Allocate(PeImageRegion::kDefaultSize) == PeImageRegion::kDefaultBase);
        return 0;
    }
    Require(read == PeResult::Ok && sim::CheckPeTarget(header) == PeResult::Ok);
    const bool stripped = (header.characteristics & 1) != 0;
    CheckImage(*image, stripped ? header.imageBase : PeImageRegion::kDefaultBase);
    if (stripped) {
        return 0;
    }
    // What can be relocated at one place can at another, and the one beside it stays as it is.
    std::unique_ptr<PeImage> second;
    const PeResult again = PeImage::Load(bytes, region, second);
    if (again == PeResult::Ok) {
        CheckImage(*second, PeImageRegion::kDefaultBase + image->Size());
    }
    return 0;
}
