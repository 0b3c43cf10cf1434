#include "sim/firmware/Arena.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>

namespace {

using namespace sim;

// What code without a sanitizer does to memory: the shipped image, for one.
__attribute__((no_sanitize("address"), noinline)) void Write(UINT64 address, UINT8 value) {
    *reinterpret_cast<volatile UINT8*>(address) = value;
}
__attribute__((no_sanitize("address"), noinline)) UINT8 Read(UINT64 address) {
    return *reinterpret_cast<volatile UINT8*>(address);
}

UINT64 Address(const void* pointer) {
    return reinterpret_cast<UINT64>(pointer);
}

class AnArena : public testing::Test {
protected:
    AnArena() {
        arena.SetFaultHandler([this](const ArenaFault& fault) { faults.push_back(fault); });
    }
    UINT64 Pool(UINT64 size, ArenaOwner owner = "test",
                EFI_MEMORY_TYPE type = EfiBootServicesData) {
        void* buffer = nullptr;
        EXPECT_EQ(arena.AllocatePool(type, size, &buffer, owner), EFI_SUCCESS);
        return Address(buffer);
    }
    EFI_STATUS Free(UINT64 address) { return arena.FreePool(reinterpret_cast<void*>(address)); }
    UINT64 Pages(UINT64 count, EFI_ALLOCATE_TYPE kind = AllocateAnyPages, UINT64 address = 0,
                 EFI_MEMORY_TYPE type = EfiLoaderData) {
        EXPECT_EQ(arena.AllocatePages(kind, type, count, &address), EFI_SUCCESS);
        return address;
    }

    Arena arena;
    std::vector<ArenaFault> faults;
};

// A boot's worth of allocations against a model that knows nothing of chunks and classes.
TEST_F(AnArena, ServesEveryBootTheSameAddressesWithoutOverlapOrLoss) {
    struct Block {
        UINT64 address;
        UINT64 size;
        UINT8 stamp;
        bool pages;
    };
    std::vector<UINT64> boots[2];
    for (std::vector<UINT64>& addresses : boots) {
        std::mt19937 random(7);
        std::vector<Block> model;
        UINT64 liveBytes = 0;
        UINT64 peak = 0;
        for (int step = 0; step < 20000; ++step) {
            if (model.empty() || random() % 5 < 3) {
                UINT64 size = random() % (random() % 50 == 0 ? 100000 : 600);
                const bool pages = random() % 20 == 0;
                size = pages ? (1 + size / 0x1000) * 0x1000 : size;
                const UINT64 address = pages ? Pages(size / 0x1000) : Pool(size);
                EXPECT_EQ(address % (pages ? 4096 : 16), 0u);
                for (UINT64 at : {address, address + size / 2, address + size - 1})
                    if (size != 0) {
                        EXPECT_EQ(Read(at), Arena::kFill) << "fresh memory";
                    }
                const UINT8 stamp = static_cast<UINT8>(random());
                if (size != 0)
                    std::memset(reinterpret_cast<void*>(address), stamp, size);
                model.push_back({address, size, stamp, pages});
                addresses.push_back(address);
                liveBytes += size;
                peak = std::max(peak, liveBytes);
            } else {
                std::swap(model[random() % model.size()], model.back());
                const Block block = model.back();
                model.pop_back();
                const auto* bytes = reinterpret_cast<const UINT8*>(block.address);
                ASSERT_TRUE(std::all_of(bytes, bytes + block.size,
                                        [&](UINT8 byte) { return byte == block.stamp; }));
                ASSERT_EQ(block.pages ? arena.FreePages(block.address, block.size / 0x1000)
                                      : Free(block.address),
                          EFI_SUCCESS);
                if (block.size != 0) {
                    EXPECT_EQ(Read(block.address), Arena::kFill) << "freed memory";
                }
                liveBytes -= block.size;
            }
        }
        EXPECT_EQ(arena.CheckAll(), 0u);
        EXPECT_TRUE(faults.empty()) << faults[0].text;
        EXPECT_EQ(arena.Statistics().liveBytes, liveBytes);
        EXPECT_EQ(arena.Statistics().peakBytes, peak);
        EXPECT_EQ(arena.LiveBlocks().size(), model.size());
        EXPECT_EQ(arena.Statistics().liveBlocks, model.size());
        arena.Reset();
    }
    EXPECT_EQ(boots[0], boots[1]);
    EXPECT_TRUE(arena.LiveBlocks().empty());
}

TEST_F(AnArena, ReportsEachMisuseOnceWithTheBlockConcerned) {
    const auto expectOnly = [&](ArenaFaultKind kind, UINT64 address, UINT64 block,
                                const char* what) {
        ASSERT_EQ(faults.size(), 1u) << what;
        EXPECT_EQ(faults[0].kind, kind) << what;
        EXPECT_EQ(faults[0].address, address) << what;
        ASSERT_EQ(faults[0].block.has_value(), block != 0) << what;
        if (block != 0) {
            EXPECT_EQ(faults[0].block->address, block) << what;
        }
        faults.clear();
    };
    for (UINT64 size : {1u, 13u, 16u, 24u, 500u, 20000u}) {
        const UINT64 block = Pool(size, "driver");
        EXPECT_EQ(Free(block), EFI_SUCCESS);
        EXPECT_EQ(Free(block), EFI_INVALID_PARAMETER);
        expectOnly(ArenaFaultKind::DoubleFree, block, block, "double free");

        const UINT64 over = Pool(size);
        Write(over + size, 0);
        EXPECT_EQ(arena.CheckAll(), 1u);
        EXPECT_EQ(arena.CheckAll(), 0u);
        EXPECT_EQ(Free(over), EFI_SUCCESS);
        expectOnly(ArenaFaultKind::Overrun, over + size, over, "one byte too many");

        const UINT64 under = Pool(size);
        Write(under - 3, 0);
        EXPECT_EQ(Free(under), EFI_SUCCESS);
        expectOnly(ArenaFaultKind::Underrun, under - 3, under, "before the block");
    }
    const UINT64 late = Pool(40, "driver");
    EXPECT_EQ(Free(late), EFI_SUCCESS);
    EXPECT_NE(Pool(40), late) << "a freed block rests";
    Write(late + 39, 1);
    EXPECT_EQ(arena.CheckAll(), 1u);
    EXPECT_EQ(
        faults.at(0).text,
        "pool block 19 at 0x" +
            [&] {
                char text[20];
                std::snprintf(text, sizeof(text), "%lX", static_cast<unsigned long>(late));
                return std::string(text);
            }() +
            " (40 bytes, type 4, of driver) was written after it was "
            "freed (at 0x" +
            [&] {
                char text[20];
                std::snprintf(text, sizeof(text), "%lX", static_cast<unsigned long>(late + 39));
                return std::string(text);
            }() +
            ")");
    expectOnly(ArenaFaultKind::WriteAfterFree, late + 39, late, "after free");

    const UINT64 block = Pool(100);
    EXPECT_EQ(Free(block + 16), EFI_INVALID_PARAMETER);
    expectOnly(ArenaFaultKind::WrongFree, block + 16, block, "inside a block");
    EXPECT_EQ(Free(0), EFI_INVALID_PARAMETER);
    expectOnly(ArenaFaultKind::WrongFree, 0, 0, "null");
    const UINT64 pages = Pages(2);
    EXPECT_EQ(Free(pages), EFI_INVALID_PARAMETER);
    expectOnly(ArenaFaultKind::WrongFree, pages, pages, "pages as pool");
    EXPECT_EQ(arena.FreePages(pages, 3), EFI_NOT_FOUND);
    expectOnly(ArenaFaultKind::WrongFree, pages, pages, "too many pages");
    EXPECT_EQ(arena.FreePages(block & ~0xFFFull, 1), EFI_NOT_FOUND);
    faults.clear();
    EXPECT_EQ(arena.FreePages(pages, 2), EFI_SUCCESS);
    EXPECT_EQ(arena.FreePages(pages, 2), EFI_NOT_FOUND);
    expectOnly(ArenaFaultKind::DoubleFree, pages, pages, "pages twice");
}

TEST_F(AnArena, PlacesPagesAsAskedAndDescribesThemInTheMemoryMap) {
    constexpr UINT64 kBase = Arena::kDefaultBase;
    const UINT64 first = Pages(4);
    EXPECT_EQ(first, kBase);
    const UINT64 fixed = Pages(2, AllocateAddress, kBase + 0x10000, EfiRuntimeServicesData);
    EXPECT_EQ(fixed, kBase + 0x10000);
    EXPECT_EQ(Pages(1, AllocateMaxAddress, kBase + 0x4FFF), kBase + 0x4000);
    EXPECT_EQ(Pages(16), kBase + 0x12000) << "the first hole is too small";

    UINT64 address = kBase + 0x4FFF;
    EXPECT_EQ(arena.AllocatePages(AllocateMaxAddress, EfiLoaderData, 1, &address),
              EFI_OUT_OF_RESOURCES);
    address = kBase + 0x5FFF; // begins in time, but does not end in time
    EXPECT_EQ(arena.AllocatePages(AllocateMaxAddress, EfiLoaderData, 2, &address),
              EFI_OUT_OF_RESOURCES);
    address = kBase + 0xF000;
    EXPECT_EQ(arena.AllocatePages(AllocateAddress, EfiLoaderData, 2, &address), EFI_NOT_FOUND);
    address = 0x1000;
    EXPECT_EQ(arena.AllocatePages(AllocateAddress, EfiLoaderData, 1, &address), EFI_NOT_FOUND);
    EXPECT_EQ(arena.AllocatePages(AllocateAnyPages, EfiLoaderData, ~UINT64{0} / 0x1000, &address),
              EFI_OUT_OF_RESOURCES);
    EXPECT_EQ(address, 0x1000u) << "a failure leaves the output alone";
    for (EFI_MEMORY_TYPE bad : {EfiConventionalMemory, EfiMaxMemoryType, EfiPersistentMemory}) {
        void* buffer;
        EXPECT_EQ(arena.AllocatePages(AllocateAnyPages, bad, 1, &address), EFI_INVALID_PARAMETER);
        EXPECT_EQ(arena.AllocatePool(bad, 1, &buffer), EFI_INVALID_PARAMETER);
    }

    const UINT64 keyBefore = arena.MapKey();
    EXPECT_EQ(arena.FreePages(first + 0x1000, 2), EFI_SUCCESS); // out of the middle
    EXPECT_NE(arena.MapKey(), keyBefore);
    EXPECT_EQ(arena.FindBlock(first + 0x3123)->address, first + 0x3000);
    EXPECT_FALSE(arena.FindBlock(first + 0x1123));
    EXPECT_EQ(Pages(2), first + 0x1000);
    EXPECT_EQ(arena.FreePages(first + 0x1000, 2), EFI_SUCCESS);

    struct Row {
        UINT64 start;
        UINT64 pages;
        UINT32 type;
        bool runtime;
    };
    constexpr Row kExpected[] = {
        {kBase, 1, EfiLoaderData, false},
        {kBase + 0x1000, 2, EfiConventionalMemory, false},
        {kBase + 0x3000, 2, EfiLoaderData, false},
        {kBase + 0x5000, 11, EfiConventionalMemory, false},
        {kBase + 0x10000, 2, EfiRuntimeServicesData, true},
        {kBase + 0x12000, 16, EfiLoaderData, false},
        {kBase + 0x22000, Arena::kDefaultSize / 0x1000 - 0x22, EfiConventionalMemory, false},
    };
    const auto map = arena.MemoryMap();
    ASSERT_EQ(map.size(), std::size(kExpected));
    for (std::size_t i = 0; i < map.size(); ++i) {
        EXPECT_EQ(map[i].PhysicalStart, kExpected[i].start);
        EXPECT_EQ(map[i].NumberOfPages, kExpected[i].pages) << i;
        EXPECT_EQ(map[i].Type, kExpected[i].type) << i;
        EXPECT_EQ((map[i].Attribute & EFI_MEMORY_RUNTIME) != 0, kExpected[i].runtime) << i;
    }
    EXPECT_TRUE(faults.empty());
}

TEST_F(AnArena, RefusesMemoryOnDemandAndListsWhatIsLeft) {
    // An operation of three allocations that cleans up after itself, but for one branch.
    const auto operation = [&](bool leaky) {
        void* a = nullptr;
        void* b = nullptr;
        UINT64 pages = 0;
        EFI_STATUS status = arena.AllocatePool(EfiBootServicesData, 10, &a, "driver");
        if (status != EFI_SUCCESS)
            return status;
        Free(Pool(5, "platform")); // not counted
        status = arena.AllocatePages(AllocateAnyPages, EfiBootServicesData, 1, &pages, "driver");
        if (status == EFI_SUCCESS) {
            status = arena.AllocatePool(EfiBootServicesData, 20, &b, "driver");
            if (status == EFI_SUCCESS)
                arena.FreePool(b);
            if (!leaky)
                arena.FreePages(pages, 1);
        }
        arena.FreePool(a);
        return status;
    };
    for (UINT64 nth = 1; nth <= 4; ++nth) {
        arena.SetFailure({.nth = nth, .owner = "driver"});
        const UINT64 since = arena.NextSequence();
        EXPECT_EQ(operation(false), nth <= 3 ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS) << nth;
        EXPECT_TRUE(arena.LiveBlocks(since).empty()) << nth;
    }
    EXPECT_EQ(arena.Statistics().failures, 3u);
    arena.SetFailure({.nth = 2, .andAllAfter = true});
    Pool(1);
    void* none = nullptr;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(arena.AllocatePool(EfiBootServicesData, 1, &none), EFI_OUT_OF_RESOURCES);
    EXPECT_EQ(none, nullptr);
    arena.SetFailure({});

    const UINT64 since = arena.NextSequence();
    operation(true);
    const auto left = arena.LiveBlocks(since);
    ASSERT_EQ(left.size(), 1u);
    EXPECT_TRUE(left[0].pages);
    EXPECT_EQ(left[0].owner, "driver");

    arena.SetLimit(arena.Statistics().liveBytes + 1000);
    EXPECT_EQ(arena.AllocatePool(EfiBootServicesData, 1001, &none), EFI_OUT_OF_RESOURCES);
    EXPECT_EQ(arena.AllocatePool(EfiBootServicesData, 1000, &none), EFI_SUCCESS);
    arena.SetLimit(0);
    EXPECT_EQ(arena.AllocatePool(EfiBootServicesData, ~UINT64{0}, &none), EFI_OUT_OF_RESOURCES);
    EXPECT_THROW(Arena second, std::runtime_error) << "one at a time";
}

} // namespace
