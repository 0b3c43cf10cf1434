// Short hard-drive paths made full, and the cache of where their partitions were found.

#include "bootopt/ShortFormPath.h"
#include "kelm/Variables.h"
#include "library/pure/DevicePath.h"
#include "sim/firmware/VariableService.h"
#include "tests/driver/DeviceHandles.h"
#include "uefi/BlockIo.h"

#include <fmt/format.h>

#include <algorithm>

namespace kelm::test {

namespace {

using Texts = std::vector<std::u16string>;

std::u16string Wide(std::string_view text) {
    return {text.begin(), text.end()};
}

// The node of a partition, and its full path on a disk at that port.
std::u16string Node(unsigned signature, unsigned partition = 1) {
    return Wide(fmt::format("HD({},GPT,{:08X}-0001-0002-0003-040506070809,0x800,0x64000)",
                            partition, signature));
}
std::u16string Disk(unsigned port) {
    return Wide(fmt::format("PciRoot(0x7)/Pci(0x11,0x5)/Sata(0x{:X},0xFFFF,0x0)/", port));
}
std::u16string Full(unsigned number) {
    return Disk(number) + Node(number);
}
const std::u16string kFile = u"/\\EFI\\x.efi";

// Instances in this order.
PathBytes CacheOf(const Texts& instances) {
    std::u16string text;
    for (const std::u16string& instance : instances) {
        text += (text.empty() ? u"" : u",") + instance;
    }
    PathBytes bytes(4096);
    const DevicePathParse parse = DevicePathFromText(text, bytes);
    EXPECT_EQ(parse.status, EFI_SUCCESS);
    bytes.resize(parse.size);
    return bytes;
}

Texts FirstTwelve() {
    Texts texts;
    for (unsigned number = 0; number < 12; ++number) {
        texts.push_back(Full(number));
    }
    return texts;
}

void Store(sim::Platform& platform, const PathBytes& content) {
    EXPECT_EQ(platform.variables->Write(u"HDDP", gKelmHddPathCacheVariableGuid, 7, content.data(),
                                        content.size()),
              EFI_SUCCESS);
}

PathBytes Stored(sim::Platform& platform) {
    const auto* variable = platform.variables->Find(u"HDDP", gKelmHddPathCacheVariableGuid);
    if (variable == nullptr) {
        return {};
    }
    EXPECT_EQ(variable->attributes, 7u);
    return variable->data;
}

// The full path of a short one as text; "" for none.
std::u16string Expand(std::u16string_view shortText) {
    PathBytes path = PathOf(shortText);
    // Exactly as large as it is, where reading on is noticed.
    const PoolPtr<UINT8> tight = AllocateCopyPool(path.size(), path.data());
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> full =
        BdsExpandHddShortFormPath(reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(tight.get()));
    char16_t text[512] = {};
    if (full) {
        static_cast<void>(DevicePathToText(full.get(), 1024, text));
    }
    return text;
}

// A machine without devices of its own, and how often it wrote the cache.
std::size_t RunBare(const std::function<void(sim::Platform&)>& body,
                    std::string_view machine = R"({"extends": "empty"})") {
    sim::Trace trace;
    RunClean(machine, body, &trace);
    std::size_t writes = 0;
    for (const sim::Json& event : trace.EventsOf("variable")) {
        writes += event.at("name") == "HDDP" ? 1 : 0;
    }
    return writes;
}

} // namespace

TEST(ShortFormPath, IsFoundInTheCacheAndMovesToItsFront) {
    DeviceHandles devices;
    const std::size_t writes = RunBare([&](sim::Platform& platform) {
        devices.Add(Full(5));
        devices.Add(Full(6)); // no block device: only the cache leads to it
        Store(platform, CacheOf(FirstTwelve()));
        ExpectNoLeak(platform, [&] { EXPECT_EQ(Expand(Node(5) + kFile), Full(5) + kFile); });
        Texts moved = FirstTwelve();
        std::rotate(moved.begin(), moved.begin() + 5, moved.begin() + 6);
        EXPECT_EQ(Stored(platform), CacheOf(moved));

        EXPECT_EQ(Expand(Node(5)), Full(5)) << "now the first";
        EXPECT_EQ(Stored(platform), CacheOf(moved));
    });
    EXPECT_EQ(writes, 1u);
}

TEST(ShortFormPath, PassesOverWhatTheCacheRemembersWronglyAndCutsTheTwelfth) {
    DeviceHandles devices;
    const std::size_t writes = RunBare([&](sim::Platform& platform) {
        devices.Add(Disk(98), &gEfiBlockIoProtocolGuid);
        devices.Add(Full(3), &gEfiBlockIoProtocolGuid);
        // The disk of partition 4 now sits at another port.
        devices.Add(Disk(99) + Node(4), &gEfiBlockIoProtocolGuid);
        devices.Add(Disk(97) + Node(4), &gEfiBlockIoProtocolGuid); // its copy comes second
        Store(platform, CacheOf(FirstTwelve()));
        EXPECT_EQ(Expand(Node(4, 9) + kFile), Disk(99) + Node(4) + kFile)
            << "the signature counts, not the number";
        Texts expected = FirstTwelve();
        expected.insert(expected.begin(), Disk(99) + Node(4));
        expected.pop_back();
        EXPECT_EQ(Stored(platform), CacheOf(expected));

        EXPECT_EQ(Expand(Node(77)), u"") << "no such partition";
        EXPECT_EQ(Stored(platform), CacheOf(expected));
    });
    EXPECT_EQ(writes, 1u);
}

TEST(ShortFormPath, TakesOnlyPartitionsWithTheSameSignature) {
    DeviceHandles devices;
    const std::size_t writes = RunBare([&](sim::Platform& platform) {
        const std::u16string mbr = u"HD(2,MBR,0x12345678,0x800,0x1000)";
        // A signature of sixteen bytes that begins with those four.
        devices.Add(Disk(1) + u"HD(2,GPT,12345678-0000-0000-0000-000000000000,0x800,0x1000)",
                    &gEfiBlockIoProtocolGuid);
        devices.Add(Disk(2) + u"HD(2,0,0,0x800,0x1000)", &gEfiBlockIoProtocolGuid);
        devices.Add(Disk(3) + mbr + kFile, &gEfiBlockIoProtocolGuid); // does not end in it
        EXPECT_EQ(Expand(mbr + kFile), u"");
        EXPECT_EQ(Expand(u"HD(2,0,0,0x800,0x1000)"), u"") << "no signature";
        devices.Add(Disk(4) + mbr, &gEfiBlockIoProtocolGuid);
        EXPECT_EQ(Expand(mbr + kFile), Disk(4) + mbr + kFile);
        EXPECT_EQ(Stored(platform), CacheOf({Disk(4) + mbr}));

        EXPECT_EQ(Expand(Disk(4) + mbr), u"") << "no short form";
        EXPECT_FALSE(BdsExpandHddShortFormPath(nullptr));
    });
    EXPECT_EQ(writes, 1u);
}

TEST(ShortFormPath, TakesBrokenContentForAnEmptyCache) {
    const PathBytes good = CacheOf({Full(1), Full(2)});
    std::vector<PathBytes> contents;
    for (std::size_t size = 1; size < good.size(); size += 3) {
        contents.emplace_back(good.begin(), good.begin() + static_cast<long>(size));
    }
    for (const UINT8 length : {0, 3, 255}) {
        contents.push_back(good);
        contents.back()[2] = length;
    }
    contents.push_back({0x7F, 0xFF, 4, 0});                   // no instance
    contents.push_back({0x7F, 0x01, 4, 0, 0x7F, 0xFF, 4, 0}); // two without a node
    contents.push_back({0x7F, 0x02, 4, 0, 0x7F, 0xFF, 4, 0}); // an end of no kind

    DeviceHandles devices;
    const std::size_t writes = RunBare([&](sim::Platform& platform) {
        for (const PathBytes& content : contents) {
            Store(platform, content);
            EXPECT_EQ(Expand(Node(3)), u"");
            EXPECT_EQ(Stored(platform), content) << "nothing to write";
        }
        devices.Add(Full(3), &gEfiBlockIoProtocolGuid);
        for (const PathBytes& content : contents) {
            Store(platform, content);
            EXPECT_EQ(Expand(Node(3)), Full(3));
            EXPECT_EQ(Stored(platform), CacheOf({Full(3)})) << (&content - contents.data());
        }

        // Not broken: what stands behind a path is none of it, and an instance may be anything.
        PathBytes content = good;
        content.push_back(0xEE);
        Store(platform, content);
        EXPECT_EQ(Expand(Node(3)), Full(3));
        EXPECT_EQ(Stored(platform), CacheOf({Full(3), Full(1), Full(2)}));
        Store(platform, {4, 1, 4, 0, 0x7F, 0xFF, 4, 0}); // a partition without fields
        EXPECT_EQ(Expand(Node(3)), Full(3));
        EXPECT_EQ(Stored(platform).size(), PathOf(Full(3)).size() + 8);
    });
    EXPECT_EQ(writes, contents.size() + 2);
}

TEST(ShortFormPath, LosesNoPathAndNoCacheWhenSomethingFails) {
    DeviceHandles devices;
    Texts moved = FirstTwelve();
    std::rotate(moved.begin(), moved.begin() + 5, moved.begin() + 6);
    unsigned failures = 0;
    for (unsigned nth = 1; nth <= 12; ++nth) {
        RunBare([&](sim::Platform& platform) {
            devices.Add(Full(5), &gEfiBlockIoProtocolGuid);
            Store(platform, CacheOf(FirstTwelve()));
            PathBytes path = PathOf(Node(5));
            ExpectNoLeak(platform, [&] {
                platform.arena->SetFailure({.nth = nth});
                const auto full = BdsExpandHddShortFormPath(AsPath(path));
                platform.arena->SetFailure({});
                failures += full ? 0 : 1;
                PathBytes expected = PathOf(Full(5));
                EXPECT_TRUE(!full || DevicePathsEqual(full.get(), AsPath(expected)));
            });
            // When the old cache could not be read, a new one begins with what was found.
            const PathBytes stored = Stored(platform);
            EXPECT_TRUE(stored == CacheOf(FirstTwelve()) || stored == CacheOf(moved) ||
                        stored == CacheOf({Full(5)}))
                << nth;
        });
    }
    EXPECT_GE(failures, 1u);

    RunBare(
        [&](sim::Platform& platform) {
            devices.Add(Full(5), &gEfiBlockIoProtocolGuid);
            EXPECT_EQ(Expand(Node(5)), Full(5)) << "the cache could not be written";
            EXPECT_TRUE(Stored(platform).empty());
        },
        R"({"extends": "empty",
            "faults": [{"call": "SetVariable", "nth": 1, "status": "EFI_DEVICE_ERROR"}]})");
}

} // namespace kelm::test
