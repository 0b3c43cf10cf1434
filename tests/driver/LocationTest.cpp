// Where devices sit: sorting by it, showing it, and finding what was plugged in from outside.

#include "bootopt/DeviceLocation.h"
#include "bootopt/ExternalMedia.h"
#include "bootopt/LoadOption.h"
#include "bootopt/LoadOptionFormat.h"
#include "bootopt/LocationSort.h"
#include "bootopt/OrderVariable.h"
#include "kelm/DeviceLocationProtocol.h"
#include "sim/firmware/ImageService.h"
#include "sim/siblings/Sibling.h"
#include "tests/driver/DeviceHandles.h"
#include "tests/sim/PeWriter.h"
#include "uefi/GlobalVariable.h"
#include "uefi/SimpleFileSystem.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

namespace kelm::test {

namespace {

std::u16string Wide(std::string_view text) {
    return {text.begin(), text.end()};
}

std::string PathOfDevice(std::size_t number) {
    return fmt::format("PciRoot(0x9)/Pci(0x{:X},0x{:X})", number / 8, number % 8);
}

// Nothing but the location service and devices at these locations; "" has none.
std::string MachineAt(const std::vector<std::string>& locations) {
    sim::Json devices = sim::Json::object();
    for (std::size_t i = 0; i < locations.size(); ++i) {
        sim::Json& device = devices[fmt::format("d{}", i)];
        device = {{"kind", "pci"}, {"path", PathOfDevice(i)}};
        if (!locations[i].empty()) {
            device["location"] = locations[i];
        }
    }
    return sim::Json({{"devices", devices}}).dump();
}

// The positions of the locations in the order in which their handles come back.
std::vector<std::size_t> SortedPositions(const std::vector<std::string>& locations) {
    std::vector<std::size_t> positions;
    DeviceHandles devices;
    RunClean(MachineAt(locations), [&](sim::Platform& platform) {
        std::vector<EFI_HANDLE> handles;
        for (std::size_t i = 0; i < locations.size(); ++i) {
            handles.push_back(devices.Add(Wide(PathOfDevice(i))));
        }
        const std::vector<EFI_HANDLE> before = handles;
        ExpectNoLeak(platform, [&] {
            EXPECT_EQ(BdsSortHandlesByLocation(handles.size(), handles.data()), EFI_SUCCESS);
        });
        for (EFI_HANDLE handle : handles) {
            const auto at = std::find(before.begin(), before.end(), handle);
            positions.push_back(static_cast<std::size_t>(at - before.begin()));
        }
    });
    return positions;
}

std::vector<std::string> Sorted(const std::vector<std::string>& locations) {
    std::vector<std::string> sorted;
    for (const std::size_t position : SortedPositions(locations)) {
        sorted.push_back(locations[position]);
    }
    return sorted;
}

// Every number as wide as every other, so that plain comparison sorts them by value.
std::string SortKey(const std::string& location) {
    if (location.empty()) {
        return SortKey("Unknown");
    }
    std::string key;
    for (std::size_t i = 0; i < location.size();) {
        std::size_t end = i;
        while (end < location.size() && location[end] >= '0' && location[end] <= '9') {
            ++end;
        }
        if (end == i) {
            key += location[i++];
        } else {
            key += fmt::format("{:0>40}", location.substr(i, end - i));
            i = end;
        }
    }
    return key;
}

} // namespace

TEST(LocationSort, CountsAsAPersonDoes) {
    const std::vector<std::string> order = {
        "",
        "Embedded Host Fabric 9",
        "Embedded Host Fabric 1",
        "embedded host fabric",
        "NIC in Slot 10 Port 1",
        "NIC in Slot 2 Port 12",
        "NIC in Slot 2 Port 3",
        "NIC in Slot 2",
        "Embedded NIC 1 Port 1",
        "Integrated NIC",
        "Bay 100000000000000000000000",
        "Bay 99999999999999999999999",
        "Virtual",
        "NIC in Slot 002 Port 3",
    };
    const std::vector<std::string> sorted = {
        "Bay 99999999999999999999999",
        "Bay 100000000000000000000000",
        "Embedded NIC 1 Port 1",
        "Embedded Host Fabric 9", // one key, so as they came
        "Embedded Host Fabric 1",
        "Integrated NIC",
        "NIC in Slot 2",
        "NIC in Slot 2 Port 3",
        "NIC in Slot 002 Port 3",
        "NIC in Slot 2 Port 12",
        "NIC in Slot 10 Port 1",
        "", // "Unknown"
        "Virtual",
        "embedded host fabric",
    };
    EXPECT_EQ(Sorted(order), sorted);

    const auto compare = [](const CHAR16* a, const CHAR16* b) {
        return BdsCompareLocationText({nullptr, a}, {nullptr, b});
    };
    EXPECT_EQ(compare(nullptr, nullptr), 0);
    EXPECT_EQ(compare(nullptr, u""), 1) << "a missing text sorts last";
    EXPECT_EQ(compare(u"", nullptr), -1);
    EXPECT_EQ(compare(u"Slot 2", u"Slot 10"), -1);
    EXPECT_EQ(compare(u"Slot 12", u"Slot 3"), 1);
    EXPECT_EQ(compare(u"ax", u"ac"), 'x' - 'c');
    EXPECT_EQ(compare(u"Slot 2a", u"Slot 2"), 1);
    EXPECT_EQ(compare(u"Slot 2", u"Slot 2a"), -1);
    EXPECT_EQ(compare(u"Slot 07 B", u"Slot 7 B"), 0);
}

TEST(LocationSort, OrdersAnyTextsAndKeepsTheOrderOfEqualOnes) {
    std::mt19937 random(7);
    for (const std::size_t count : {1u, 2u, 3u, 17u, 150u}) {
        std::vector<std::string> locations(count);
        for (std::string& location : locations) {
            for (unsigned length = random() % 6; length > 0; --length) {
                location += "0019aU: "[random() % 8];
            }
        }
        locations[0] = "not all are unknown";
        std::vector<std::size_t> expected(count);
        for (std::size_t i = 0; i < count; ++i) {
            expected[i] = i;
        }
        std::stable_sort(expected.begin(), expected.end(), [&](std::size_t a, std::size_t b) {
            return SortKey(locations[a]) < SortKey(locations[b]);
        });
        EXPECT_EQ(SortedPositions(locations), expected) << count;
    }
}

TEST(LocationSort, LeavesTheArrayWhenItFails) {
    DeviceHandles devices;
    RunClean(MachineAt({"Slot 2", "Slot 1", "Slot 3"}), [&](sim::Platform& platform) {
        EFI_HANDLE bare = nullptr;
        static constexpr EFI_GUID kTag = {1, 2, 3, {}};
        static_cast<void>(gBS->InstallMultipleProtocolInterfaces(&bare, &kTag, nullptr, nullptr));
        const EFI_HANDLE second = devices.Add(Wide(PathOfDevice(0)));
        const EFI_HANDLE first = devices.Add(Wide(PathOfDevice(1)));
        const EFI_HANDLE third = devices.Add(Wide(PathOfDevice(2)));
        const EFI_HANDLE unknown = devices.Add(u"PciRoot(0x9)/Pci(0x1E,0x0)");
        const auto check = [&](std::vector<EFI_HANDLE> handles, EFI_STATUS status) {
            const std::vector<EFI_HANDLE> before = handles;
            ExpectNoLeak(platform, [&] {
                EXPECT_EQ(BdsSortHandlesByLocation(handles.size(), handles.data()), status);
            });
            EXPECT_EQ(handles, before);
        };
        check({}, EFI_NOT_FOUND);
        check({unknown, unknown}, EFI_NOT_FOUND);
        check({second, first, bare, third}, EFI_NOT_FOUND);

        // Whichever allocation fails, nothing is lost; the location service's own count, too.
        for (unsigned nth = 1; nth <= 12; ++nth) {
            std::vector<EFI_HANDLE> handles = {second, first, third};
            const std::multiset<EFI_HANDLE> before(handles.begin(), handles.end());
            ExpectNoLeak(platform, [&] {
                platform.arena->SetFailure({.nth = nth});
                const EFI_STATUS status = BdsSortHandlesByLocation(handles.size(), handles.data());
                platform.arena->SetFailure({});
                EXPECT_EQ(status, nth == 1 ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS);
                if (EFI_ERROR(status)) {
                    EXPECT_EQ(handles, (std::vector<EFI_HANDLE>{second, first, third}));
                }
            });
            EXPECT_EQ(std::multiset<EFI_HANDLE>(handles.begin(), handles.end()), before);
        }
    });
}

TEST(DeviceLocation, StartsTheServiceAndSaysWhenThereIsNone) {
    RunClean("{}", [](sim::Platform& platform) {
        EXPECT_EQ(BdsInitDeviceLocations(), EFI_SUCCESS);
        EXPECT_EQ(BdsRegisterDeviceLocationEvent(), EFI_SUCCESS);
        const auto& book = platform.Get<sim::CallBook>();
        EXPECT_EQ(book.Count("KelmDeviceLocationProtocol.InitializeDeviceLocations"), 1u);
        EXPECT_EQ(book.Count("KelmDeviceLocationProtocol.RegisterDeviceLocationEvent"), 1u);
    });
    sim::Trace trace;
    RunClean(R"({"missing": ["KelmDeviceLocationProtocol"]})",
             [](sim::Platform&) {
                 EXPECT_EQ(BdsInitDeviceLocations(), EFI_NOT_FOUND);
                 EXPECT_EQ(BdsRegisterDeviceLocationEvent(), EFI_NOT_FOUND);
                 EFI_HANDLE handle = gImageHandle;
                 EXPECT_EQ(BdsSortHandlesByLocation(1, &handle), EFI_NOT_FOUND);
             },
             &trace);
    ASSERT_EQ(trace.EventsOf("debug").size(), 1u);
    EXPECT_EQ(trace.EventsOf("debug")[0].at("text"),
              "Error !!! Unable to locate Kelm Device Location Protocol. Status=Not Found\n");
    EXPECT_EQ(trace.EventsOf("debug")[0].at("level"), 0x80000000u);
}

TEST(DeviceLocation, DescribesBootOptions) {
    struct Row {
        const char16_t* path; // null: no path
        UINT32 attributes;
        const char16_t* description;
        const char16_t* shown; // null: nothing
    };
    static constexpr char16_t kSlot[] = u"PciRoot(0x9)/Pci(0x0,0x0)";
    static constexpr char16_t kVirtual[] = u"PciRoot(0x9)/Pci(0x0,0x1)";
    static constexpr char16_t kNowhere[] = u"PciRoot(0x9)/Pci(0x1E,0x0)";
    constexpr UINT32 kEnumerated = 0x80000001;
    constexpr Row kRows[] = {
        {kSlot, kEnumerated, u"Debian", u"NIC in Slot 2: Debian"},
        {kSlot, kEnumerated, u"Debian  ", u"NIC in Slot 2: Debian"},
        {kSlot, kEnumerated, u"", u"NIC in Slot 2"},
        {kSlot, kEnumerated, nullptr, u"NIC in Slot 2"},
        {kSlot, 1, u"Virtual Disk", u"NIC in Slot 2: Virtual Disk"},
        {kVirtual, kEnumerated, u"Virtual Disk 1", u"Front vIRTUAL dISK 1  "},
        {kVirtual, 0x7FFFFFFF, u"Virtual Disk 1", u"Front vIRTUAL dISK 1  : Virtual Disk 1"},
        {kVirtual, kEnumerated, nullptr, u"Front vIRTUAL dISK 1  "},
        {kNowhere, kEnumerated, u"Virtual Disk 1 ", u"Virtual Disk 1"},
        {nullptr, 1, u"Debian", u"Debian"},
        {kNowhere, 1, nullptr, nullptr},
        {nullptr, 1, u"", nullptr},
    };
    const std::string machine = MachineAt({"NIC in Slot 2", "Front vIRTUAL dISK 1  "});
    const auto shown = [](const Row& row) {
        PathBytes path = row.path == nullptr ? PathBytes() : PathOf(row.path);
        return BdsGetLocationDescription(row.path == nullptr ? nullptr : AsPath(path),
                                         row.attributes, row.description);
    };
    RunClean(machine, [&](sim::Platform& platform) {
        for (const Row& row : kRows) {
            ExpectNoLeak(platform, [&] {
                const PoolPtr<CHAR16> text = shown(row);
                ASSERT_EQ(static_cast<bool>(text), row.shown != nullptr) << (&row - kRows);
                if (text) {
                    EXPECT_EQ(std::u16string(text.get()), row.shown) << (&row - kRows);
                }
            });
        }
    });
    RunClean(R"({"missing": ["KelmDeviceLocationProtocol"]})", [&](sim::Platform&) {
        const PoolPtr<CHAR16> text = shown(kRows[0]);
        ASSERT_TRUE(text);
        EXPECT_EQ(std::u16string(text.get()), u"Debian") << "the description alone";
    });
}

namespace {

// A service that hands out texts and then fails, or succeeds with empty ones.
EFI_STATUS gAnswer;
const char16_t* gWords;

EFI_STATUS EFIAPI HandOut(KelmDeviceLocationProtocol*, const EFI_DEVICE_PATH_PROTOCOL*,
                          const CHAR8*, CHAR16** location, CHAR16** fqdd, CHAR16** shortName) {
    for (CHAR16** out : {location, fqdd, shortName}) {
        if (out != nullptr) {
            *out = AllocateCopyPool(8, const_cast<CHAR16*>(gWords)).release();
        }
    }
    return gAnswer;
}

} // namespace

TEST(DeviceLocation, FreesWhatAFailingServiceHasHandedOut) {
    KelmDeviceLocationProtocol service{};
    service.GetDeviceLocation = HandOut;
    DeviceHandles devices;
    RunClean(R"({"missing": ["KelmDeviceLocationProtocol"]})", [&](sim::Platform& platform) {
        EFI_HANDLE own = nullptr;
        static_cast<void>(gBS->InstallMultipleProtocolInterfaces(
            &own, &gKelmDeviceLocationProtocolGuid, &service, nullptr));
        EFI_HANDLE handle = devices.Add(u"PciRoot(0x9)/Pci(0x1E,0x0)");
        for (const auto& [status, text] : std::map<EFI_STATUS, const char16_t*>{
                 {EFI_DEVICE_ERROR, u"abc"}, {EFI_SUCCESS, u"\0\0\0"}}) {
            gAnswer = status;
            gWords = text;
            ExpectNoLeak(platform, [&] {
                EXPECT_EQ(BdsSortHandlesByLocation(1, &handle), EFI_NOT_FOUND);
                PathBytes path = PathOf(u"PciRoot(0x0)");
                PoolPtr<CHAR16> location;
                PoolPtr<CHAR16> fqdd;
                EXPECT_EQ(BdsGetDeviceLocation(AsPath(path), &location, &fqdd), status);
                EXPECT_FALSE(location);
                EXPECT_FALSE(fqdd);
                EXPECT_FALSE(BdsGetLocationDescription(AsPath(path), 1, nullptr));
            });
        }
    });
}

namespace {

// A disk inside, one behind the chassis, a virtual one and one in front, options 1 to 4.
constexpr char kMedia[] = R"json({"devices": {
    "inside": {"kind": "pci", "path": "PciRoot(0x9)/Pci(0x9,0x0)", "fqdd": "Disk.Bay.1-1"},
    "back": {"kind": "pci", "path": "PciRoot(0x9)/Pci(0x9,0x1)", "fqdd": "Disk.USBBack.1-1"},
    "virtual": {"kind": "pci", "path": "PciRoot(0x9)/Pci(0x9,0x2)",
                "fqdd": "Optical.NimborVirtual.1-1"},
    "front": {"kind": "pci", "path": "PciRoot(0x9)/Pci(0x9,0x3)", "fqdd": "Disk.USBFront.1-1"}}})json";

const std::u16string kMediaPath = u"PciRoot(0x9)/Pci(0x9,0x";
const std::u16string kFile = u"/\\EFI\\BOOT\\BOOTX64.EFI";
const std::u16string kPartition = u"/HD(1,MBR,0x12345678,0x800,0x1000)";

std::u16string TextOf(const EFI_DEVICE_PATH_PROTOCOL* path) {
    char16_t text[256];
    return DevicePathToText(path, 1024, text) ? text : u"";
}

// What can be loaded from where, and what was.
struct Loading {
    std::set<std::u16string> direct{}; // paths that load as they are
    std::set<std::u16string> files{};
    std::set<std::u16string> refused{}; // paths whose images the platform does not trust
    std::vector<std::u16string> loaded{};
};

// A file system whose files nobody can read: what loads is up to the test.
EFI_STATUS EFIAPI OpenNothing(EFI_SIMPLE_FILE_SYSTEM_PROTOCOL*, EFI_FILE_PROTOCOL**) {
    return EFI_NOT_FOUND;
}

// Options 1 to 4 with the medium of that position; option 9 has no variable.
void WriteOptions(const std::vector<UINT16>& order) {
    for (UINT16 number = 1; number <= 4; ++number) {
        PathBytes path = PathOf(kMediaPath + char16_t(u'0' + number - 1) + u")");
        BootOptionRecord record{};
        record.DevicePath = AsPath(path);
        record.Attribute = LOAD_OPTION_ACTIVE;
        EXPECT_EQ(BdsWriteBootOption(number, &record), EFI_SUCCESS);
    }
    EXPECT_EQ(BdsWriteOrder(kBootOrderName, &gEfiGlobalVariableGuid, order), EFI_SUCCESS);
}

// The number of the option that is found, 0 for none.
UINT16 FindMedium(sim::Platform& platform, Loading& loading) {
    const std::vector<UINT8> image = simtest::PeWriter().Write();
    platform.images->AddFileSource([&](EFI_DEVICE_PATH_PROTOCOL* path, bool bootPolicy,
                                       std::vector<UINT8>& bytes, EFI_HANDLE*) {
        const std::u16string text = TextOf(path);
        if (!(bootPolicy ? loading.direct : loading.files).contains(text)) {
            return EFI_NOT_FOUND;
        }
        loading.loaded.push_back(text);
        bytes = image;
        return EFI_SUCCESS;
    });
    platform.images->SetPolicy([&](const EFI_DEVICE_PATH_PROTOCOL* path) {
        return loading.refused.contains(TextOf(path)) ? EFI_SECURITY_VIOLATION : EFI_SUCCESS;
    });
    const std::size_t images = platform.images->Count();
    UINT16 number = 0;
    ExpectNoLeak(platform, [&] {
        const OwnedBootOption option(BdsFindFirstExternalMediaOption());
        number = option ? option->BootCurrent : UINT16(0);
    });
    EXPECT_EQ(platform.images->Count(), images) << "an image was left";
    return number;
}

} // namespace

TEST(ExternalMedia, IsTheFirstOptionFromOutsideThatBoots) {
    const std::u16string inside = kMediaPath + u"0)";
    const std::u16string back = kMediaPath + u"1)";
    const std::u16string virtualDisk = kMediaPath + u"2)";
    const std::u16string front = kMediaPath + u"3)";
    DeviceHandles devices;
    EFI_SIMPLE_FILE_SYSTEM_PROTOCOL fileSystem = {0, OpenNothing};
    struct Row {
        const char* what;
        Loading loading;
        std::vector<UINT16> order;
        UINT16 found;
        std::vector<std::u16string> loaded;
    };
    const Row rows[] = {
        {"the file on a partition of it",
         {.direct = {inside, front}, .files = {virtualDisk + kPartition + kFile}},
         {9, 1, 2, 3, 4},
         3,
         {virtualDisk + kPartition + kFile}},
        {"by itself", {.direct = {inside, front}, .files = {back + kFile}}, {4, 2}, 4, {front}},
        {"nothing boots", {.direct = {inside}, .files = {}}, {1, 2, 3, 4}, 0, {}},
        {"the platform does not trust it",
         {.direct = {back, virtualDisk, front},
          .files = {virtualDisk + kPartition + kFile},
          .refused = {back, virtualDisk, virtualDisk + kPartition + kFile}},
         {2, 3, 4},
         4,
         {back, virtualDisk, virtualDisk + kPartition + kFile, front}},
    };
    for (const Row& row : rows) {
        RunClean(kMedia, [&](sim::Platform& platform) {
            devices.Add(inside + kPartition, &gEfiSimpleFileSystemProtocolGuid, &fileSystem);
            devices.Add(virtualDisk + kPartition, &gEfiSimpleFileSystemProtocolGuid, &fileSystem);
            WriteOptions(row.order);
            Loading loading = row.loading;
            EXPECT_EQ(FindMedium(platform, loading), row.found) << row.what;
            EXPECT_EQ(loading.loaded, row.loaded) << row.what;
        });
    }
    RunClean(kMedia, [&](sim::Platform& platform) {
        Loading loading{.direct = {front}};
        EXPECT_EQ(FindMedium(platform, loading), 0) << "no BootOrder";
    });
    RunClean(R"({"missing": ["KelmDeviceLocationProtocol"]})", [&](sim::Platform& platform) {
        WriteOptions({4});
        Loading loading{.direct = {front}};
        EXPECT_EQ(FindMedium(platform, loading), 0) << "no locations";
    });
}

} // namespace kelm::test
