#include "sim/firmware/PeImage.h"

#include "tests/sim/PeWriter.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <random>

namespace {

using namespace sim;
using simtest::PeWriter;

PeResult Load(const std::vector<UINT8>& bytes, PeImageRegion& region,
              std::unique_ptr<PeImage>& image) {
    // A copy of exactly this size on the heap, gone right after: a read beyond it is noticed.
    const std::vector<UINT8> exact(bytes.begin(), bytes.end());
    return PeImage::Load(exact, region, image);
}

// The kernel refuses to copy to where this process may not write.
bool Writable(void* address) {
    const int zero = open("/dev/zero", O_RDONLY);
    const UINT8 before = *static_cast<UINT8*>(address);
    const bool writable = read(zero, address, 1) == 1;
    close(zero);
    if (writable)
        *static_cast<UINT8*>(address) = before;
    return writable;
}

UINT32 Call(const PeImage& image) {
    return reinterpret_cast<UINT32(EFIAPI*)()>(image.EntryPoint())();
}

TEST(PeImage, LoadsRelocatesAndProtectsAnImageThatThenRuns) {
    PeImageRegion region;
    std::unique_ptr<PeImage> first;
    std::unique_ptr<PeImage> second;
    ASSERT_EQ(Load(PeWriter().Write(), region, first), PeResult::Ok);
    ASSERT_EQ(Load(PeWriter{.subsystem = 11}.Write(), region, second), PeResult::Ok);

    EXPECT_EQ(first->Base(), reinterpret_cast<void*>(PeImageRegion::kDefaultBase));
    EXPECT_EQ(second->Base(), static_cast<UINT8*>(first->Base()) + PeWriter::kImageSize);
    EXPECT_EQ(second->Header().subsystem, kPeSubsystemEfiBootServiceDriver);
    EXPECT_TRUE(first->Contains(first->EntryPoint()));
    EXPECT_FALSE(second->Contains(first->EntryPoint()));

    // The entry follows the relocated pointer.
    EXPECT_EQ(Call(*first), PeWriter::kAnswer);
    EXPECT_EQ(Call(*second), PeWriter::kAnswer);

    auto* const base = static_cast<UINT8*>(first->Base());
    EXPECT_FALSE(Writable(base));
    EXPECT_FALSE(Writable(base + PeWriter::kCode));
    EXPECT_TRUE(Writable(base + PeWriter::kData));
    EXPECT_EQ(base[PeWriter::kData + 0xFFF], 0) << "what the file does not have is zero";

    // An unloaded image's place is the next one's.
    first.reset();
    std::unique_ptr<PeImage> third;
    ASSERT_EQ(Load(PeWriter().Write(), region, third), PeResult::Ok);
    EXPECT_EQ(third->Base(), base);
}

TEST(PeImage, KeepsAnImageWithoutRelocationsWhereItWasLinked) {
    PeImageRegion region;
    PeWriter writer;
    writer.characteristics |= 1;
    writer.imageBase = PeImageRegion::kDefaultBase + 0x100000;
    std::unique_ptr<PeImage> image;
    std::unique_ptr<PeImage> again;
    ASSERT_EQ(Load(writer.Write(), region, image), PeResult::Ok);
    EXPECT_EQ(reinterpret_cast<UINT64>(image->Base()), writer.imageBase);
    EXPECT_EQ(Call(*image), PeWriter::kAnswer);
    EXPECT_EQ(Load(writer.Write(), region, again), PeResult::RelocationStripped);
    EXPECT_EQ(again, nullptr);
    // Beside it, at a chosen place, and not over it.
    const std::vector<UINT8> movable = PeWriter().Write();
    EXPECT_EQ(PeImage::LoadAt(movable, region, writer.imageBase + 0x3000, again),
              PeResult::NoMemory);
    ASSERT_EQ(PeImage::LoadAt(movable, region, writer.imageBase + 0x4000, again), PeResult::Ok);
    EXPECT_EQ(Call(*again), PeWriter::kAnswer);
}

struct Corruption {
    const char* what;
    UINT32 offset;
    unsigned width;
    UINT64 value;
    PeResult result;
    EFI_STATUS status;
};

constexpr UINT32 kOptional = PeWriter::kOptional;
constexpr UINT32 kText = PeWriter::kSections;
constexpr UINT32 kDataSection = PeWriter::kSections + 40;
constexpr UINT32 kRelocationEntry = kOptional + 112 + 5 * 8;
constexpr UINT32 kBlock = PeWriter::kRelocationsInFile;

constexpr Corruption kCorruptions[] = {
    {"no MZ", 0, 1, 'X', PeResult::NotAnImage, EFI_UNSUPPORTED},
    {"no PE", PeWriter::kNewHeader, 1, 'X', PeResult::NotAnImage, EFI_UNSUPPORTED},
    {"header far away", 0x3C, 4, 0xFFFFFFF0, PeResult::Truncated, EFI_LOAD_ERROR},
    {"32 bits", kOptional, 2, 0x10B, PeResult::WrongFormat, EFI_UNSUPPORTED},
    {"other machine", PeWriter::kCoff, 2, 0xAA64, PeResult::WrongMachine, EFI_UNSUPPORTED},
    {"a desktop program", kOptional + 68, 2, 2, PeResult::WrongSubsystem, EFI_UNSUPPORTED},
    {"short optional header", PeWriter::kCoff + 16, 2, 20, PeResult::BadHeader, EFI_LOAD_ERROR},
    {"no sections", PeWriter::kCoff + 2, 2, 0, PeResult::BadHeader, EFI_LOAD_ERROR},
    {"65535 sections", PeWriter::kCoff + 2, 2, 0xFFFF, PeResult::BadHeader, EFI_LOAD_ERROR},
    {"odd alignment", kOptional + 32, 4, 0x1001, PeResult::BadHeader, EFI_LOAD_ERROR},
    {"huge image", kOptional + 56, 4, 0xFFFFF000, PeResult::TooLarge, EFI_OUT_OF_RESOURCES},
    {"headers larger than the file", kOptional + 60, 4, 0x900, PeResult::Truncated, EFI_LOAD_ERROR},
    {"headers cut", kOptional + 60, 4, 0x100, PeResult::BadHeader, EFI_LOAD_ERROR},
    {"many directories", kOptional + 108, 4, 0x20000000, PeResult::BadHeader, EFI_LOAD_ERROR},
    {"entry in data", kOptional + 16, 4, PeWriter::kData, PeResult::BadEntryPoint, EFI_LOAD_ERROR},
    {"entry in the headers", kOptional + 16, 4, 0, PeResult::BadEntryPoint, EFI_LOAD_ERROR},
    {"section over the headers", kText + 12, 4, 0x10, PeResult::BadSection, EFI_LOAD_ERROR},
    {"section outside", kDataSection + 12, 4, 0xFFFFF000, PeResult::BadSection, EFI_LOAD_ERROR},
    {"section too long", kDataSection + 8, 4, 0xFFFFFFFF, PeResult::BadSection, EFI_LOAD_ERROR},
    {"section a byte too long", kDataSection + 48, 4, 0x1001, PeResult::BadSection, EFI_LOAD_ERROR},
    {"overlapping sections", kDataSection + 12, 4, 0x1008, PeResult::BadSection, EFI_LOAD_ERROR},
    {"data outside the file", kDataSection + 20, 4, 0x700, PeResult::Truncated, EFI_LOAD_ERROR},
    {"relocations outside", kRelocationEntry, 4, 0x3FF8, PeResult::BadRelocation, EFI_LOAD_ERROR},
    {"block of no size", kBlock + 4, 4, 0, PeResult::BadRelocation, EFI_LOAD_ERROR},
    {"block too long", kBlock + 4, 4, 0xFFFFFFF0, PeResult::BadRelocation, EFI_LOAD_ERROR},
    {"target outside", kBlock, 4, 0xFFFFFFF0, PeResult::BadRelocation, EFI_LOAD_ERROR},
    {"target across the end", kBlock + 8, 2, 0xAFF9, PeResult::BadRelocation, EFI_LOAD_ERROR},
    {"unknown kind", kBlock + 8, 2, 0x5000, PeResult::BadRelocation, EFI_LOAD_ERROR},
};

TEST(PeImage, TellsEveryCorruptionAndLeavesNothingBehind) {
    PeImageRegion region;
    for (const Corruption& corruption : kCorruptions) {
        std::vector<UINT8> bytes = PeWriter().Write();
        // The last relocation target that fits, so that the row needs to move it only by one.
        if (std::string_view(corruption.what) == "target across the end")
            PeWriter::Put<UINT32>(bytes, kBlock, PeWriter::kRelocations);
        std::memcpy(bytes.data() + corruption.offset, &corruption.value, corruption.width);
        std::unique_ptr<PeImage> image;
        const PeResult result = Load(bytes, region, image);
        EXPECT_EQ(result, corruption.result) << corruption.what << ": " << PeResultText(result);
        EXPECT_EQ(PeStatus(result), corruption.status) << corruption.what;
        EXPECT_EQ(image, nullptr);
    }
    std::unique_ptr<PeImage> image;
    ASSERT_EQ(Load(PeWriter().Write(), region, image), PeResult::Ok);
    EXPECT_EQ(reinterpret_cast<UINT64>(image->Base()), PeImageRegion::kDefaultBase);

    // Who only asks learns the machine also of an image that cannot be started here.
    PeHeader header;
    EXPECT_EQ(ReadPeHeader(PeWriter{.machine = kPeMachineAArch64}.Write(), header), PeResult::Ok);
    EXPECT_EQ(header.machine, kPeMachineAArch64);
    EXPECT_EQ(header.sections[2].virtualAddress, PeWriter::kRelocations);
}

TEST(PeImage, SurvivesEveryTruncationAndManyMutations) {
    PeImageRegion region;
    const std::vector<UINT8> good = PeWriter().Write();
    std::unique_ptr<PeImage> image;
    // The last section's padding may be missing, nothing else.
    const std::size_t needed = PeWriter::kRelocationsInFile + 12;
    for (std::size_t size = 0; size < good.size(); ++size) {
        const std::vector<UINT8> cut(good.begin(), good.begin() + static_cast<long>(size));
        EXPECT_EQ(Load(cut, region, image) == PeResult::Ok, size >= needed) << size;
        image.reset();
    }
    std::mt19937 random(1);
    unsigned loaded = 0;
    for (int round = 0; round < 8000; ++round) {
        std::vector<UINT8> bytes = good;
        for (unsigned flips = 1 + random() % 4; flips > 0; --flips) {
            // Headers and relocations, where it matters.
            const std::size_t at = random() % 2 != 0 ? random() % 0x200 : kBlock + random() % 12;
            constexpr UINT8 kValues[] = {0x00, 0x01, 0x7F, 0x80, 0xFF};
            bytes[at] = random() % 2 != 0 ? kValues[random() % 5] : static_cast<UINT8>(random());
        }
        loaded += Load(bytes, region, image) == PeResult::Ok;
        image.reset();
    }
    EXPECT_GT(loaded, 500u);
    EXPECT_LT(loaded, 7500u);
}

} // namespace
