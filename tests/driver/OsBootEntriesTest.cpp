// Operating systems at their places in the boot order, over several power-ons with one store.

#include "bootopt/OsBootEntries.h"
#include "bootopt/BootOrder.h"
#include "bootopt/EnumerateBootOptions.h"
#include "bootopt/LoadOptionFormat.h"
#include "platform/Connect.h"
#include "tests/driver/OptionMachine.h"
#include "tests/driver/OrderBench.h"

#include <algorithm>

namespace kelm::test {

namespace {

constexpr UINT32 kFixed = kLoadOptionOsPositionFixed;
constexpr UINT32 kPending = kLoadOptionOsPositionPending;
constexpr char kRaid[] = "RAID.Integrated.1-1"; // the default machine's disk
constexpr char kSecond[] = "RAID.Slot.3-1";
constexpr char16_t kSecondPartition[] =
    u"HD(1,GPT,11111111-2222-3333-4444-555555555555,0x800,0x100000)";
constexpr char16_t kLoader[] = u"/\\EFI\\kelm-os\\loader.efi";

// With a second managed disk, and placeholders allowed.
constexpr char kMachine[] = R"json({
  "attributes": {"HddPlaceholder": "Enabled"},
  "devices": {"system-disk": {}, "second": {
    "kind": "virtual-disk", "path": "PciRoot(0x2)/Pci(0x2,0x0)/Pci(0x0,0x0)/Scsi(0xEE,0x0)",
    "location": "RAID Controller in Slot 3", "fqdd": "RAID.Slot.3-1",
    "block": {"blocks": 4194304},
    "partitions": [{"number": 1, "signature": "11111111-2222-3333-4444-555555555555",
                    "start": 2048, "blocks": 1048576}]}}})json";

// An operating system's option, or one of a device without a disk.
Bytes OsOption(std::u16string_view partition, UINT32 attributes = LOAD_OPTION_ACTIVE) {
    return OptionBytes(attributes, u"My system", PathOf(std::u16string(partition) + kLoader));
}
Bytes OtherOption(UINT16 number, UINT32 attributes = LOAD_OPTION_ACTIVE) {
    return OptionBytes(attributes, Wide(fmt::format("Option {}", number)),
                       PathOf(Wide(fmt::format("PciRoot(0x0)/Pci(0x{:X},0x0)", number))));
}

Bytes EntryBytes(UINT16 position, std::string_view fqdd, std::size_t nuls = 1) {
    Bytes bytes;
    Put(bytes, position, 2);
    for (const char c : fqdd) {
        Put(bytes, static_cast<unsigned char>(c), 2);
    }
    bytes.resize(bytes.size() + 2 * nuls);
    return bytes;
}

void SetEntry(unsigned number, const Bytes& bytes) {
    sim::Platform& platform = sim::Platform::Current();
    ASSERT_EQ(platform.variables->Write(kVariableOsBootEntryNames[number - 1],
                                        gKelmSystemVariableGuid, 7, bytes.data(), bytes.size()),
              EFI_SUCCESS);
}

// "2 RAID.Integrated.1-1" for each entry that there is, "-" for others.
Texts Entries() {
    Texts texts;
    for (const CHAR16* name : kVariableOsBootEntryNames) {
        const auto bytes = Stored(sim::Platform::Current(), name, gKelmSystemVariableGuid);
        if (!bytes) {
            texts.push_back("-");
            continue;
        }
        const Numbers units = AsNumbers(*bytes);
        std::string text = units.empty() ? "?" : fmt::format("{} ", units[0]);
        for (std::size_t i = 1; i < units.size() && units[i] != 0; ++i) {
            text += char(units[i]);
        }
        texts.push_back(text);
    }
    return texts;
}

UINT32 AttributesOf(UINT16 number) {
    const auto view = ParseLoadOption(AllOptions().at(number));
    return view ? view->attributes : ~0u;
}

void SetOption(UINT16 number, const Bytes& bytes) {
    Store(sim::Platform::Current(), OptionName(number).c_str(), bytes);
}

// Options 1 and up on other devices behind the first of the order, number 0.
void SetOrderOf(const Bytes& first, UINT16 count) {
    Numbers order;
    for (UINT16 number = 0; number < count; ++number) {
        SetOption(number, number == 0 ? first : OtherOption(number));
        order.push_back(number);
    }
    SetOrder(kBootOrderName, order);
}

// What an enumeration does about operating systems.
void Pass(sim::Platform&) {
    EXPECT_EQ(BdsPositionOsBootManager(), EFI_SUCCESS);
    EXPECT_EQ(BdsUpdateOsBootEntries(), EFI_SUCCESS);
}

// The order, the entries and the options' attributes.
Texts Everything() {
    Texts texts = Entries();
    texts.push_back(fmt::format("{}", fmt::join(Order(), " ")));
    for (const auto& [number, bytes] : AllOptions()) {
        texts.push_back(fmt::format("{} {:X}", number, AttributesOf(number)));
    }
    return texts;
}

} // namespace

TEST(OsBootEntries, FirstOptionIsPlacedWhereItsDiskStoodOnce) {
    constexpr char16_t kUnknown[] = u"HD(1,GPT,99999999-2222-3333-4444-555555555555,0x800,0x1000)";
    const struct {
        const char* what;
        Bytes option;
        Texts entries; // "" for none
        Numbers after;
        UINT32 attributes;
    } rows[] = {
        {"placed", OsOption(kPartition), {"", "2"}, {1, 2, 0, 3}, 1 | kFixed},
        {"to the front", OsOption(kPartition), {"0"}, {0, 1, 2, 3}, 1 | kFixed},
        {"last but one", OsOption(kPartition), {"", "", "2"}, {1, 2, 0, 3}, 1 | kFixed},
        {"to the end", OsOption(kPartition), {"3"}, {0, 1, 2, 3}, 1 | kFixed},
        {"too far", OsOption(kPartition), {"65535"}, {0, 1, 2, 3}, 1 | kFixed},
        {"unknown disk", OsOption(kSecondPartition), {"2"}, {0, 1, 2, 3}, 1 | kFixed},
        {"no entry", OsOption(kPartition), {}, {0, 1, 2, 3}, 1 | kFixed},
        {"placed before", OsOption(kPartition, kFixed), {"2"}, {0, 1, 2, 3}, kFixed},
        {"on its way", OsOption(kPartition, kFixed | kPending), {"2"}, {1, 2, 0, 3}, kFixed},
        {"enumerated",
         OsOption(kPartition, kLoadOptionEnumerated),
         {"2"},
         {0, 1, 2, 3},
         kLoadOptionEnumerated},
        {"no such partition", OsOption(kUnknown), {"2"}, {0, 1, 2, 3}, 1},
        {"another disk", OtherOption(9), {"2"}, {0, 1, 2, 3}, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        sim::Trace trace;
        RunClean(
            kMachine,
            [&](sim::Platform& platform) {
                SetOrderOf(row.option, 4);
                for (unsigned i = 0; i < row.entries.size(); ++i) {
                    if (!row.entries[i].empty()) {
                        SetEntry(i + 1, EntryBytes(UINT16(std::stoi(row.entries[i])), kRaid));
                    }
                }
                EXPECT_EQ(BdsPositionOsBootManager(), EFI_SUCCESS);
                EXPECT_EQ(Order(), row.after);
                EXPECT_EQ(AttributesOf(0), row.attributes);
                // Everything is connected now, so that nothing but leaks is left behind.
                ExpectNoLeak(platform, [] { EXPECT_EQ(BdsPositionOsBootManager(), EFI_SUCCESS); });
                EXPECT_EQ(Order(), row.after);
            },
            &trace);
        const Texts log = TextsOf(trace, 0x40);
        const auto logged = [&](std::string_view line) { return std::ranges::count(log, line); };
        const bool marked =
            (row.attributes & kFixed) != 0 && std::string(row.what) != "placed before";
        EXPECT_EQ(logged("Windows Boot Manage found at first priority.\n"), marked ? 1 : 0);
        EXPECT_EQ(logged("WBM found[0], move to index 2.\n"), row.after[0] != 0 ? 1 : 0);
    }
}

TEST(OsBootEntries, FollowTheOptionsOverSeveralPowerOns) {
    Bench bench(kMachine, [] { return Entries(); });
    // Two systems are installed, one after the other.
    EXPECT_EQ(bench.Boot([](sim::Platform& platform) {
        SetOrderOf(OsOption(kPartition), 4);
        Pass(platform);
    }),
              (Texts{"0 RAID.Integrated.1-1", "-", "-"}));
    EXPECT_EQ(bench.Boot([](sim::Platform& platform) {
        SetOption(8, OsOption(kSecondPartition));
        SetOrder(kBootOrderName, {8, 0, 1, 2, 3});
        Pass(platform);
        EXPECT_EQ(Order(), (Numbers{8, 0, 1, 2, 3}));
    }),
              (Texts{"1 RAID.Integrated.1-1", "0 RAID.Slot.3-1", "-"}));
    // The user wants them elsewhere.
    EXPECT_EQ(bench.Boot([](sim::Platform& platform) {
        SetOrder(kBootOrderName, {1, 2, 0, 8, 3});
        Pass(platform);
    }),
              (Texts{"2 RAID.Integrated.1-1", "3 RAID.Slot.3-1", "-"}));
    // Both are installed again, under new numbers.
    EXPECT_EQ(bench.Boot([](sim::Platform& platform) {
        SetOption(9, OsOption(kPartition));
        SetOrder(kBootOrderName, {9, 1, 2, 8, 3});
        Pass(platform);
        EXPECT_EQ(Order(), (Numbers{1, 2, 9, 8, 3}));
        EXPECT_EQ(AttributesOf(9), 1 | kFixed);
    }),
              (Texts{"2 RAID.Integrated.1-1", "3 RAID.Slot.3-1", "-"}));
    EXPECT_EQ(bench.Boot([](sim::Platform& platform) {
        SetOption(8, OsOption(kSecondPartition));
        SetOrder(kBootOrderName, {8, 1, 2, 9, 3});
        Pass(platform);
        EXPECT_EQ(Order(), (Numbers{1, 2, 9, 8, 3}));
    }),
              (Texts{"2 RAID.Integrated.1-1", "3 RAID.Slot.3-1", "-"}));
    // Once placed, an option stays where the user puts it; one of them is removed.
    EXPECT_EQ(bench.Boot([](sim::Platform& platform) {
        SetOrder(kBootOrderName, {9, 1, 2});
        Pass(platform);
        EXPECT_EQ(Order(), (Numbers{9, 1, 2}));
    }),
              (Texts{"0 RAID.Integrated.1-1", "-", "-"}));
    EXPECT_EQ(bench.Boot([](sim::Platform&) {
        SetOrder(kBootOrderName, {});
        EXPECT_EQ(BdsUpdateOsBootEntries(), EFI_LOAD_ERROR);
    }),
              (Texts{"0 RAID.Integrated.1-1", "-", "-"}));
}

TEST(OsBootEntries, AreAddedFollowedAndRemovedWithTheirLines) {
    const struct {
        const char* what;
        std::vector<Bytes> entries; // empty: there is none
        Texts after;
        Texts log;
    } rows[] = {
        {"two new",
         {},
         {"1 RAID.Integrated.1-1", "2 RAID.Slot.3-1", "-"},
         {"Add OS BootEntry1:Priority:1, FQDD:RAID.Integrated.1-1 ",
          "Add OS BootEntry2:Priority:2, FQDD:RAID.Slot.3-1 "}},
        {"one followed, one new, one gone",
         {EntryBytes(5, "RAID.Slot.9-1"), {}, EntryBytes(0x1A, kRaid)},
         {"-", "2 RAID.Slot.3-1", "1 RAID.Integrated.1-1"},
         {"OS BootEntry3:Priority:1, FQDD:RAID.Integrated.1-1 ",
          "Add OS BootEntry2:Priority:2, FQDD:RAID.Slot.3-1 ",
          "Remove OsBootEntry01:Priority:5, FQDD:RAID.Slot.9-1 "}},
        {"all taken",
         {EntryBytes(1, kRaid), EntryBytes(5, "A"), EntryBytes(0x1A, "B")},
         {"1 RAID.Integrated.1-1", "-", "-"},
         {"OS BootEntry1:Priority:1, FQDD:RAID.Integrated.1-1 ",
          "No Available OS boot entry variables for FQDD:RAID.Slot.3-1 ",
          "Remove OsBootEntry02:Priority:5, FQDD:A ", "Remove OsBootEntry03:Priority:1A, FQDD:B "}},
        {"of any content",
         {{7}, {1, 0, 'x'}, EntryBytes(1, kRaid, 0)},
         {"-", "-", "1 RAID.Integrated.1-1"},
         {"OS BootEntry3:Priority:1, FQDD:RAID.Integrated.1-1 ",
          "No Available OS boot entry variables for FQDD:RAID.Slot.3-1 ",
          "Remove OsBootEntry01:Priority:0, FQDD: ", "Remove OsBootEntry02:Priority:1, FQDD: "}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        sim::Trace trace;
        RunClean(
            kMachine,
            [&](sim::Platform& platform) {
                SetOption(0, OtherOption(0, kFixed)); // without an FQDD
                SetOption(1, OsOption(kPartition, kFixed));
                SetOption(2, OsOption(kSecondPartition, kFixed | kPending));
                SetOption(3, OsOption(kSecondPartition));
                SetOrder(kBootOrderName, {0, 1, 2, 3, 4});
                for (unsigned i = 0; i < row.entries.size(); ++i) {
                    if (!row.entries[i].empty()) {
                        SetEntry(i + 1, row.entries[i]);
                    }
                }
                EXPECT_EQ(BdsUpdateOsBootEntries(), EFI_SUCCESS);
                EXPECT_EQ(Entries(), row.after);
                EXPECT_EQ(AttributesOf(2), kFixed);
                ExpectNoLeak(platform, [] { EXPECT_EQ(BdsUpdateOsBootEntries(), EFI_SUCCESS); });
            },
            &trace);
        Texts log = TextsOf(trace, 0x40);
        std::erase_if(log, [](const std::string& line) {
            return line.find("BootEntry") == line.npos && line.find("boot entry") == line.npos;
        });
        ASSERT_GE(log.size(), row.log.size());
        log.resize(row.log.size());
        EXPECT_EQ(log, row.log);
    }
}

TEST(OsBootEntries, PlacesSurviveAPowerFailureAtAnyWrite) {
    const auto install = [](sim::Platform&) {
        SetOrderOf(OsOption(kPartition), 5);
        SetOption(4, OsOption(kSecondPartition, kFixed));
        SetEntry(1, EntryBytes(3, kSecond));
        SetEntry(2, EntryBytes(2, kRaid));
        SetEntry(3, EntryBytes(9, "RAID.Slot.9-1"));
    };
    EXPECT_GE(CutAtEveryWrite(kMachine, Everything, install, Pass), 6u)
        << "on its way, order, placed; one entry removed, two changed";
    // The whole operation, which also finds devices.
    const unsigned writes = CutAtEveryWrite(
        kMachine,
        [] {
            Texts texts = Entries();
            texts.push_back(fmt::format("{} {:X}", Order().at(2), AttributesOf(0)));
            return texts;
        },
        [](sim::Platform&) {
            SetOrderOf(OsOption(kSecondPartition), 4);
            SetEntry(1, EntryBytes(5, "RAID.Slot.9-1"));
            SetEntry(2, EntryBytes(2, kSecond));
        },
        [](sim::Platform&) {
            BdsConnectAllDriversToAllControllers();
            EXPECT_EQ(EnumerateBootOptions(), EFI_SUCCESS);
            EXPECT_EQ(Order().at(2), 0);
            EXPECT_EQ(Entries(), (Texts{"-", "2 RAID.Slot.3-1", "-"}));
        });
    EXPECT_GT(writes, 10u);
}

TEST(OsBootEntries, PlaceIsKeptWhileTheOrderCannotBeWritten) {
    RunClean(kMachine, [](sim::Platform& platform) {
        SetOrderOf(OsOption(kPartition), 4);
        SetEntry(1, EntryBytes(2, kRaid));
        EXPECT_EQ(BdsPositionOsBootManager(), EFI_SUCCESS); // where the disk is, is remembered now
        SetOrderOf(OsOption(kPartition), 4);
        platform.faults->Add({.call = "SetVariable", .nth = 2}, true);
        EXPECT_EQ(BdsPositionOsBootManager(), EFI_DEVICE_ERROR);
        EXPECT_EQ(BdsUpdateOsBootEntries(), EFI_SUCCESS);
        EXPECT_EQ(Order(), (Numbers{0, 1, 2, 3}));
        EXPECT_EQ(Entries()[0], "2 RAID.Integrated.1-1");
        Pass(platform);
        EXPECT_EQ(Order(), (Numbers{1, 2, 0, 3}));
        EXPECT_EQ(AttributesOf(0), 1 | kFixed);
    });
}

} // namespace kelm::test
