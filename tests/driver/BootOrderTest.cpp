// Boot orders kept consistent: the sanity check, the sync with the order of the boot mode,
// defaults, the log, the redundant operating system, and all of it in one operation.

#include "bootopt/BootOrder.h"
#include "bootopt/EnumerateBootOptions.h"
#include "bootopt/LoadOptionFormat.h"
#include "bootopt/OrderVariable.h"
#include "bootopt/RedundantOs.h"
#include "kelm/HookPoints.h"
#include "tests/driver/OptionMachine.h"
#include "tests/driver/OrderBench.h"

#include <algorithm>
#include <set>

namespace kelm::test {

namespace {

constexpr char16_t kUefi[] = u"UefiBootOrder";
constexpr char16_t kLegacy[] = u"LegacyBootOrder";
constexpr char16_t kDefaultUefi[] = u"DefaultUefiBootOrder";

// An option on a device of its own; options with the same letter are equal.
Bytes OptionOf(char letter, UINT32 attributes = LOAD_OPTION_ACTIVE) {
    return OptionBytes(attributes, std::u16string(u"Option ") + char16_t(letter),
                       PathOf(Wide(fmt::format("PciRoot(0x0)/Pci(0x{:X},0x0)", letter - 'A' + 1))),
                       {1, 2, 3});
}

void SetOption(UINT16 number, const Bytes& bytes) {
    Store(sim::Platform::Current(), OptionName(number).c_str(), bytes);
}

void SetOptions(const std::map<UINT16, char>& letters) {
    for (const auto& [number, letter] : letters) {
        SetOption(number, OptionOf(letter));
    }
}

Numbers NumbersOfAllOptions() {
    Numbers numbers;
    for (const auto& [number, bytes] : AllOptions()) {
        numbers.push_back(number);
    }
    return numbers;
}

// The orders as descriptions of their options, the boot order first; numbers may differ.
Texts DescribedOrders() {
    Texts texts;
    const auto options = AllOptions();
    for (const char16_t* name : {static_cast<const char16_t*>(kBootOrderName), kUefi}) {
        std::string text;
        for (const UINT16 number : Order(name)) {
            const auto view =
                options.contains(number) ? ParseLoadOption(options.at(number)) : std::nullopt;
            std::u16string description(view ? view->description.size() : 0, u' ');
            for (std::size_t i = 0; i < description.size(); ++i) {
                description[i] = view->description[i];
            }
            text += std::string(description.begin(), description.end()) + "; ";
        }
        texts.push_back(text);
    }
    return texts;
}

// A machine with nothing but these devices: device n at PciRoot(0x9)/Pci(n,0x0).
std::string MachineOf(const Texts& fqdds, std::string_view more = "") {
    std::string devices;
    for (std::size_t n = 0; n < fqdds.size(); ++n) {
        devices += fmt::format(
            R"json({}"d{}": {{"kind": "pci", "path": "PciRoot(0x9)/Pci(0x{:X},0x0)", )json"
            R"json("location": "Place {}", "fqdd": "{}"}})json",
            n == 0 ? "" : ", ", n, n, n, fqdds[n]);
    }
    return fmt::format(R"({{"devices": {{{}}}{}}})", devices, more);
}

Bytes OptionOnDevice(std::size_t n) {
    return OptionBytes(1, Wide(fmt::format("On {}", n)),
                       PathOf(Wide(fmt::format("PciRoot(0x9)/Pci(0x{:X},0x0)", n))));
}

} // namespace

TEST(BootOrder, LosesRepeatedMissingAndEqualOptionsAndWhatNoOrderNames) {
    const struct {
        const char* what;
        Numbers order;
        std::map<UINT16, char> options;
        Numbers after;
        Numbers optionsAfter;
    } rows[] = {
        {"nothing", {}, {}, {}, {}},
        {"repeated and missing", {1, 2, 1, 3}, {{1, 'A'}, {2, 'B'}}, {1, 2}, {1, 2}},
        {"named by no order", {1}, {{1, 'A'}, {7, 'B'}, {0xAB, 'C'}}, {1}, {1}},
        {"equal", {3, 1, 2, 4}, {{1, 'A'}, {2, 'B'}, {3, 'A'}, {4, 'B'}}, {3, 2}, {2, 3}},
        {"all missing", {4, 5}, {}, {}, {}},
        {"no order", {}, {{1, 'A'}}, {}, {}},
    };
    for (const auto& row : rows) {
        for (const bool otherOrders : {false, true}) {
            SCOPED_TRACE(fmt::format("{}, {}", row.what, otherOrders));
            RunWithoutLeak([&](sim::Platform&) {
                SetOrder(kBootOrderName, row.order);
                SetOptions(row.options);
                Numbers options = row.optionsAfter;
                if (otherOrders) {
                    SetOrder(kUefi, {0x20});
                    SetOrder(kLegacy, {0x21});
                    SetOptions({{0x20, 'A'}, {0x21, 'A'}});
                    options.insert(options.end(), {0x20, 0x21});
                }
                BdsBootOrderSanityCheck();
                EXPECT_EQ(Order(), row.after);
                EXPECT_EQ(NumbersOfAllOptions(), options);
                EXPECT_EQ(Stored(sim::Platform::Current(), kBootOrderName).has_value(),
                          !row.after.empty());
            });
        }
    }
}

TEST(BootOrder, TellsEqualOptionsFromSimilarOnesAndSparesWhatItCannotTell) {
    const Bytes path = PathOf(u"PciRoot(0x0)/Pci(0x1,0x0)");
    const Bytes first = OptionBytes(1, u"Disk", path, {1, 2});
    const std::pair<Bytes, bool> options[] = {
        {first, true},
        {OptionBytes(0, u"Disk", path, {1, 2}), false}, // attributes do not count
        {OptionBytes(1, u"Disc", path, {1, 2}), true},
        {OptionBytes(1, u"Disk ", path, {1, 2}), true},
        {OptionBytes(1, u"Disk", PathOf(u"PciRoot(0x0)"), {1, 2}), true},
        {OptionBytes(1, u"Disk", PathOf(u"PciRoot(0x0)/Pci(0x1,0x1)"), {1, 2}), true},
        {OptionBytes(1, u"Disk", path, {1, 3}), true},
        {OptionBytes(1, u"Disk", path, {1}), true},
        {OptionBytes(1, u"Disk", path), true},
        {{1}, true}, // no options at all, but there
        {{1}, true},
        {OptionBytes(1, u"Disk", path, {1, 2}, UINT16(0xFFFF)), true},
    };
    RunWithoutLeak([&](sim::Platform& platform) {
        Numbers order;
        Numbers expected;
        for (const auto& [bytes, stays] : options) {
            const UINT16 number = UINT16(order.size());
            SetOption(number, bytes);
            order.push_back(number);
            if (stays) {
                expected.push_back(number);
            }
        }
        SetOrder(kBootOrderName, order);
        // Names that are no option's, and one so long that the walk needs more room.
        const std::u16string longName(300, u'n');
        const std::pair<std::u16string, EFI_GUID> others[] = {
            {u"Boot00ab", gEfiGlobalVariableGuid}, {u"Boot00AB0", gEfiGlobalVariableGuid},
            {u"Boot00A", gEfiGlobalVariableGuid},  {u"Boot0x1A", gEfiGlobalVariableGuid},
            {u"boot00AB", gEfiGlobalVariableGuid}, {u"Boot00AB", gKelmSystemVariableGuid},
            {longName, gEfiGlobalVariableGuid},
        };
        for (const auto& [name, guid] : others) {
            Store(platform, name.c_str(), {1}, guid);
        }
        SetOptions({{0xAC, 'Z'}, {0xFF, 'Y'}});
        BdsBootOrderSanityCheck();
        EXPECT_EQ(Order(), expected);
        EXPECT_EQ(NumbersOfAllOptions(), expected);
        for (const auto& [name, guid] : others) {
            EXPECT_TRUE(Stored(platform, name.c_str(), guid));
        }
    });
}

TEST(BootOrder, LegacyOrderLosesUefiOptions) {
    sim::Trace trace;
    RunClean(
        "{}",
        [&](sim::Platform&) {
            SetOption(1, OptionOf('A', kLoadOptionEnumerated));
            SetOption(2, OptionOf('B', kLoadOptionEnumerated | kLoadOptionLegacy));
            SetOption(3, OptionOf('C', 1));
            SetOption(0x1B, OptionOf('D', kLoadOptionEnumerated | 1));
            SetOrder(kLegacy, {1, 9, 2, 3, 0x1B});
            BdsBootOrderSanityCheck();
            EXPECT_EQ(Order(kLegacy), (Numbers{9, 2, 3}));
            EXPECT_EQ(NumbersOfAllOptions(), (Numbers{1, 2, 3, 0x1B}));
        },
        &trace);
    EXPECT_EQ(TextsOf(trace, 0x80000000),
              (Texts{"BDS: Sanity check.boot option 1 in LegacyBootOrder.\n",
                     "BDS: Sanity check.boot option 1B in LegacyBootOrder.\n"}));
}

TEST(BootOrder, IsSyncedWithTheOrderOfItsKind) {
    constexpr char kMixed[] = "BDS: Sync BootOrder.Mixed BootOptions mode.\n";
    constexpr UINT32 kL = kLoadOptionLegacy;
    const std::map<UINT16, Bytes> options = {{1, OptionOf('A')},     {2, OptionOf('B')},
                                             {3, OptionOf('C')},     {4, OptionOf('A')},
                                             {5, {1, 2, 3}}, // no option
                                             {8, OptionOf('L', kL)}, {9, OptionOf('M', kL)}};
    Numbers full;
    for (UINT16 number = 0x100; number < 0x1FE; ++number) {
        full.push_back(number);
    }
    Numbers fullAfter = full;
    fullAfter.push_back(2);
    const struct {
        const char* what;
        Numbers boot, uefi, legacy;
        bool controlled;
        Numbers uefiAfter, legacyAfter;
        bool mixed;
        std::set<UINT16> gone = {};
    } rows[] = {
        {"UEFI", {2, 1, 7}, {1, 3}, {8}, false, {2, 1, 7}, {8}, false},
        {"legacy", {9, 8}, {1, 3}, {8}, false, {1, 3}, {9, 8}, false},
        {"unreadable", {5}, {1}, {}, false, {5}, {}, false},
        {"mixed", {8, 2, 4, 7, 5}, {1, 3}, {8}, false, {1, 3, 2, 5}, {8}, true},
        {"mixed, nothing new", {1, 8}, {4}, {}, false, {4}, {}, true},
        {"mixed, no order yet", {1, 8, 4, 2}, {}, {9}, false, {1, 2}, {9}, true},
        {"controlled", {2, 1}, {1, 3}, {}, true, {1, 3, 2}, {}, true},
        {"controlled, an option gone", {2, 1}, {7, 1, 6, 3}, {}, true, {1, 3, 2}, {}, true},
        {"controlled, one place left", {2, 3}, full, {}, true, fullAfter, {}, true},
        {"controlled, full", {3}, fullAfter, {}, true, fullAfter, {}, true},
        {"reset", {}, {1, 3, 1}, {8}, false, {}, {}, false, {1, 3, 8}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        sim::Trace trace;
        RunClean(
            "{}",
            [&](sim::Platform& platform) {
                for (const auto& [number, bytes] : options) {
                    SetOption(number, bytes);
                }
                for (const UINT16 number : row.uefi) {
                    if (number >= full.front()) {
                        SetOption(number, {1, 2, 3}); // like nothing else
                    }
                }
                SetOrder(kBootOrderName, row.boot);
                SetOrder(kUefi, row.uefi);
                SetOrder(kLegacy, row.legacy);
                if (row.controlled) {
                    SetSetting("UefiVariableAccess", "Controlled");
                }
                ExpectNoLeak(platform, [] { EXPECT_EQ(BdsSyncBootOrder(), EFI_SUCCESS); });
                EXPECT_EQ(Order(kUefi), row.uefiAfter);
                EXPECT_EQ(Order(kLegacy), row.legacyAfter);
                EXPECT_EQ(Order(), row.boot);
                for (const auto& [number, bytes] : options) {
                    EXPECT_EQ(AllOptions().contains(number), !row.gone.contains(number)) << number;
                }
            },
            &trace);
        EXPECT_EQ(TextsOf(trace, 0x40), row.mixed ? Texts{kMixed} : Texts{});
    }
}

TEST(BootOrder, OrderOfOtherAttributesIsReplacedWhenOptionsAreAppended) {
    RunInFirmware("{}", [](sim::Platform& platform) {
        SetOptions({{1, 'A'}, {2, 'B'}});
        const Bytes foreign = AsBytes({2});
        ASSERT_EQ(platform.variables->Write(kBootOrderName, gEfiGlobalVariableGuid, 3,
                                            foreign.data(), foreign.size()),
                  EFI_SUCCESS);
        EXPECT_EQ(BdsAppendToOrder(kBootOrderName, &gEfiGlobalVariableGuid, 1), EFI_SUCCESS);
        EXPECT_EQ(Order(kBootOrderName), (Numbers{2, 1}));
        EXPECT_EQ(platform.variables->Find(kBootOrderName, gEfiGlobalVariableGuid)->attributes, 7u);
        // One that is refused for another reason stays.
        platform.faults->Add({.call = "SetVariable", .status = EFI_INVALID_PARAMETER}, true);
        EXPECT_EQ(BdsAppendToOrder(kBootOrderName, &gEfiGlobalVariableGuid, 3),
                  EFI_INVALID_PARAMETER);
        EXPECT_EQ(Order(kBootOrderName), (Numbers{2, 1}));

        // Without any number it goes, too.
        ASSERT_EQ(platform.variables->Write(kBootOrderName, gEfiGlobalVariableGuid, 7, nullptr, 0),
                  EFI_SUCCESS);
        ASSERT_EQ(platform.variables->Write(kBootOrderName, gEfiGlobalVariableGuid, 3,
                                            foreign.data(), foreign.size()),
                  EFI_SUCCESS);
        EXPECT_EQ(BdsWriteOrder(kBootOrderName, &gEfiGlobalVariableGuid, {}), EFI_SUCCESS);
        EXPECT_EQ(platform.variables->Find(kBootOrderName, gEfiGlobalVariableGuid), nullptr);

        SetOrder(kBootOrderName, {2});
        SetSetting("UefiVariableAccess", "Controlled");
        const Bytes old = AsBytes({1});
        ASSERT_EQ(
            platform.variables->Write(kUefi, gKelmSystemVariableGuid, 7, old.data(), old.size()),
            EFI_SUCCESS);
        EXPECT_EQ(BdsSyncBootOrder(), EFI_SUCCESS);
        EXPECT_EQ(Order(kUefi), (Numbers{1, 2}));
        EXPECT_EQ(platform.variables->Find(kUefi, gKelmSystemVariableGuid)->attributes, 3u);
    });
}

TEST(BootOrder, NothingIsLostWhenACallFails) {
    const auto pass = [] {
        BdsBootOrderSanityCheck();
        const EFI_STATUS status = BdsSyncBootOrder();
        return EFI_ERROR(status) ? status : BdsSetBootOrderFromModeOrder();
    };
    // Whether there was such a call to fail.
    const auto faultyPass = [&](sim::Platform& platform, const char* call, unsigned nth,
                                bool controlled) {
        SetOptions({{1, 'A'}, {2, 'B'}, {3, 'C'}, {5, 'E'}});
        SetOrder(kBootOrderName, {3, 1, 2});
        SetOrder(kUefi, {2});
        SetOrder(kLegacy, {5});
        if (controlled) { // options of the system's own order stay in it
            SetOptions({{4, 'D'}});
            SetOrder(kBootOrderName, {3, 1});
            SetOrder(kUefi, {2, 4});
        }
        const auto options = AllOptions();
        const bool allocates = std::string_view(call) == "AllocatePool";
        const auto calls = platform.faults->Calls(call);
        platform.faults->Add({.call = call,
                              .nth = nth,
                              .status = allocates ? EFI_OUT_OF_RESOURCES : EFI_DEVICE_ERROR},
                             true);
        static_cast<void>(pass());
        if (platform.faults->Calls(call) - calls < nth) {
            return false;
        }
        EXPECT_EQ(pass(), EFI_SUCCESS);
        EXPECT_EQ(AllOptions(), options);
        Numbers order = Order();
        std::ranges::sort(order);
        EXPECT_EQ(order, controlled ? (Numbers{1, 2, 3, 4}) : (Numbers{1, 2, 3}));
        return true;
    };
    for (const bool controlled : {false, true}) {
        for (const char* call : {"GetVariable", "AllocatePool", "GetNextVariableName",
                                 "SetVariable", "KelmAttributeProtocol.GetValue"}) {
            RunWithoutLeak([&](sim::Platform& platform) {
                SetSetting("UefiVariableAccess", controlled ? "Controlled" : "Standard");
                unsigned nth = 1;
                do {
                    SCOPED_TRACE(fmt::format("{} {}, controlled {}", call, nth, controlled));
                    if (!faultyPass(platform, call, nth, controlled)) {
                        break;
                    }
                } while (++nth < 1000);
                EXPECT_GT(nth, 1u) << call;
            });
        }
    }
}

TEST(BootOrder, FollowsTheOrderOfTheModeAndTheDefaultsThatASettingAsksFor) {
    RunWithoutLeak([](sim::Platform& platform) {
        const auto ask = [&](UINT8 value) {
            ASSERT_TRUE(
                platform.Get<sim::AttributeService>().Change(u"ApplyBootOrderDefaults", {value}));
        };
        SetOptions({{1, 'A'}, {2, 'B'}});
        SetOrder(kBootOrderName, {1});
        SetOrder(kUefi, {2, 1});
        EXPECT_EQ(BdsSetBootOrderFromModeOrder(), EFI_SUCCESS);
        EXPECT_EQ(Order(), (Numbers{2, 1}));

        ask(1);
        EXPECT_EQ(BdsApplyBootOrderDefaults(), EFI_SUCCESS) << "there are none yet";
        EXPECT_EQ(Order(), (Numbers{2, 1}));
        SetOrder(kDefaultUefi, {1, 2});
        EXPECT_EQ(BdsApplyBootOrderDefaults(), EFI_SUCCESS);
        EXPECT_EQ(Order(), (Numbers{2, 1})) << "it asks once";
        ask(5);
        EXPECT_EQ(BdsApplyBootOrderDefaults(), EFI_SUCCESS);
        EXPECT_EQ(Order(), (Numbers{1, 2}));
        EXPECT_EQ(Order(kUefi), (Numbers{1, 2}));
        EXPECT_EQ(platform.Get<sim::AttributeService>().Find(u"ApplyBootOrderDefaults"), Bytes{0});

        SetOrder(kLegacy, {2});
        gDriver.boot.bootMode = kBootModeBios;
        EXPECT_EQ(BdsSetBootOrderFromModeOrder(), EFI_SUCCESS);
        EXPECT_EQ(Order(), (Numbers{2}));
        SetOrder(kLegacy, {});
        EXPECT_EQ(BdsSetBootOrderFromModeOrder(), EFI_SUCCESS);
        EXPECT_FALSE(Stored(platform, kBootOrderName));
        EXPECT_EQ(BdsSetBootOrderFromModeOrder(), EFI_SUCCESS);
    });
}

TEST(BootOrder, IsShownInTheLog) {
    const Texts options = {"BDS: BootOrder Variable (BootOrder): ",
                           " 1B,",
                           " 2,",
                           " 0,",
                           "\n",
                           "BDS: [0] Boot001B=Place 0: On 0\n",
                           "BDS: [1] Boot0002=<No DLP Location Text Found>: On 7\n",
                           "BDS: [2] Boot0000=<No DLP Location Text Found>: \n"};
    for (const bool located : {true, false}) {
        sim::Trace trace;
        RunClean(
            MachineOf({"A.B.C"}, located ? "" : R"(, "missing": ["KelmDeviceLocationProtocol"])"),
            [](sim::Platform& platform) {
                SetOption(0x1B, OptionOnDevice(0));
                SetOption(2, OptionOnDevice(7));
                SetOrder(kBootOrderName, {0x1B, 2, 0});
                ExpectNoLeak(platform,
                             [] { BdsDumpBootOrder(kBootOrderName, &gEfiGlobalVariableGuid); });
                BdsDumpBootOrder(kLegacy, &gKelmSystemVariableGuid);
            },
            &trace);
        Texts expected = options;
        if (!located) {
            expected[5] = "BDS: [0] Boot001B=<No DLP Location Text Found>: On 0\n";
        }
        expected.insert(expected.end(), {"BDS: BootOrder Variable (LegacyBootOrder): ", "\n",
                                         "BDS: HardDisk C: list:\n"});
        EXPECT_EQ(TextsOf(trace, 0x440), expected);
        EXPECT_EQ(TextsOf(trace, 0x80000040), located ? Texts{} : Texts(2, "BDS: DLP not found\n"));
    }
}

TEST(RedundantOs, ComesFirstWhereverItsSettingSays) {
    const Texts fqdds = {
        "NIC.Integrated.1-1-1",   // 0
        "Disk.SDInternal.1-1",    // 1
        "Disk.USBInternal.1-1",   // 2
        "MOTA.Integrated.1-1",    // 3
        "AHCI.SL.3-1",            // 4
        "PCIeSSD.Integrated.1-0", // 5
        "PCIeSSD.Integrated.1-1", // 6
        "RAID.Slot.3-1",          // 7
        "PCIeSSD.Slot.12-1",      // 8
        "Disk.SATAEmbedded.C-1",  // 9
        "RAID.Embedded.1-1",      // A
    };
    constexpr char kSlots[] =
        R"(, "hobs": [{"guid": "C3FD9399-0E95-4277-4B93-F8054B642412", "hex": ""}])";
    const struct {
        const char* location;
        const char* embSata;
        bool slots;
        Numbers moved; // last found first
    } rows[] = {
        {"InternalSd", "", false, {1}},
        {"InternalUsb", "", false, {2, 1}},
        {"InternalSdNonRips", "", false, {2, 1}},
        {"IntegratedM2MOTA", "", false, {4, 3}},
        {"IntegratedM2Slot0", "", true, {5}},
        {"IntegratedM2Slot1", "", true, {6}},
        {"IntegratedM2Slot1", "", false, {}},
        {"Slot3", "", false, {7, 4, 3}},
        {"Slot12", "", false, {8, 4, 3}},
        {"Slot124", "", false, {8, 4, 3}},
        {"Slo", "", false, {4, 3}},
        {"PortC", "AhciMode", false, {9}},
        {"PortC", "RaidMode", false, {0xA}},
        {"PortC", "Off", false, {}},
        {"Port", "AhciMode", false, {}},
        {"", "", false, {4, 3}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(fmt::format("{} {} {}", row.location, row.embSata, row.slots));
        sim::Trace trace;
        RunClean(
            MachineOf(fqdds, row.slots ? kSlots : ""),
            [&](sim::Platform& platform) {
                Numbers rest;
                for (std::size_t n = 0; n < fqdds.size(); ++n) {
                    SetOption(UINT16(n), OptionOnDevice(n));
                    rest.push_back(UINT16(n));
                }
                SetOrder(kUefi, rest);
                SetSetting("RedundantOsLocation", row.location);
                SetSetting("EmbSata", row.embSata);
                ExpectNoLeak(platform, [] { EXPECT_EQ(BdsReorderRedundantOs(), EFI_SUCCESS); });
                Numbers expected = row.moved;
                std::ranges::copy_if(rest, std::back_inserter(expected), [&](UINT16 number) {
                    return std::ranges::find(row.moved, number) == row.moved.end();
                });
                EXPECT_EQ(Order(kUefi), expected);
            },
            &trace);
        Texts log = {"BDS: ReorderBootListRedundantOsRecovery\n"};
        for (auto number = row.moved.rbegin(); number != row.moved.rend(); ++number) {
            log.push_back(
                fmt::format("BDS: Moved BootOrder Index: {} to front of boot list\n", *number));
        }
        EXPECT_EQ(TextsOf(trace, 0x40), log);
    }
}

TEST(EnumerateBootOptions, KeepsAnOperatingSystemsOptionAndShowsItsSteps) {
    DriverBoot boot(fmt::format(
        R"({{"devices": {{"usb-front": {{}}, "optical": {{}}}}, "variables": {{{}}},
             "attributes": {{"ApplyBootOrderDefaults": {{"hex": "00"}}}}}})",
        OptionVariables({{std::u16string(kPartition) + u"/\\EFI\\gone.efi", u"My system"}})));
    const Texts steps = {
        "BDS: Enumerate Boot Options\n",
        "BDS: BootOrder before sanity check:\n",
        "BDS: BootOrder Variables after enumeration (before apply attributes/defaults):\n",
        "BDS: BootOrder Variables after apply attributes/defaults:\n",
    };
    Numbers first;
    for (unsigned power = 0; power < 2; ++power) {
        boot.AtTheEnd([&](sim::Platform&) {
            EXPECT_EQ(Order().at(0), 0);
            EXPECT_EQ(Order(), Order(kUefi));
            EXPECT_GT(Order().size(), 1u) << "devices have their options";
            EXPECT_EQ(AllOptions().size(), Order().size());
            EXPECT_TRUE(power == 0 || Order() == first);
            first = Order();
        });
        boot.PowerOn();
        Texts seen;
        for (const std::string& line : boot.DebugLines()) {
            if (std::ranges::find(steps, line) != steps.end() && seen.size() < steps.size()) {
                seen.push_back(line);
            }
        }
        EXPECT_EQ(seen, steps);
    }
}

TEST(EnumerateBootOptions, RunsWhenTheBootNeedsOptionsAndReconnectsTheNetworkWhenAsked) {
    const struct {
        bool configuration;
        BootTask task;
        bool forgeline;
        bool runs;
    } rows[] = {
        {false, BootTask::Normal, false, true},
        {true, BootTask::ResetToDefaults, false, false},
        {true, BootTask::SystemConfiguration, false, false},
        {true, BootTask::SystemConfiguration, true, true},
        {true, BootTask::Aci, false, true},
        {true, BootTask::SmaJob, false, true},
    };
    for (const auto& row : rows) {
        sim::Trace trace;
        RunClean(
            "{}",
            [&](sim::Platform& platform) {
                gDriver.boot.configurationBoot = row.configuration;
                gDriver.boot.bootTask = row.task;
                gDriver.boot.forgelineSsmEnumerate = row.forgeline;
                const auto put = [&](const KelmVariable& variable, UINT8 value) {
                    ASSERT_EQ(platform.variables->Write(variable.name, *variable.guid,
                                                        variable.attributes, &value, 1),
                              EFI_SUCCESS);
                };
                put(kVariableOneShotBootMenuRefresh, 1);
                put(kVariableHiiNetworkReconnect, 3);
                EXPECT_EQ(EnumerateBootOptions(), EFI_SUCCESS);
                for (const KelmVariable& variable :
                     {kVariableOneShotBootMenuRefresh, kVariableHiiNetworkReconnect}) {
                    EXPECT_EQ(Stored(platform, variable.name, *variable.guid).has_value(),
                              !row.runs);
                }
            },
            &trace);
        std::size_t lines = 0;
        for (const auto& [begin, level] :
             {std::pair{"BDS: Enumerate Boot Options\n", 0x440u},
              {"BDS: Pressed refreshing in One-Shot UEFI Boot Menu.\n", 0x440u},
              {"BDS: BdsIscsiConnect - ", 0x400u},
              {"BDS: BdsNvmeofConnect - ", 0x400u},
              {"BDS: iSCSI Network Settings were changed in Setup and reconnected - ", 0x440u},
              {"BDS: NVMeOF Network Settings were changed in Setup and reconnect - ", 0x440u}}) {
            lines += std::size_t(
                std::ranges::count_if(TextsOf(trace, level), [&](const std::string& text) {
                    return text.starts_with(begin);
                }));
        }
        EXPECT_EQ(lines, row.runs ? 6u : 0u);
    }
}

TEST(EnumerateBootOptions, FailedSyncEndsItWithBothHooksSignalled) {
    RunClean("{}", [](sim::Platform& platform) {
        SetOptions({{1, 'A'}});
        SetOrder(kBootOrderName, {1});
        unsigned before = 0;
        unsigned after = 0;
        const auto watch = [](const EFI_GUID& hook, unsigned& count) {
            EFI_EVENT event = nullptr;
            void* registration = nullptr;
            EXPECT_EQ(gBS->CreateEvent(
                          EVT_NOTIFY_SIGNAL, TPL_CALLBACK,
                          [](EFI_EVENT, void* context)
                              EFIAPI { ++*static_cast<unsigned*>(context); },
                          &count, &event),
                      EFI_SUCCESS);
            EXPECT_EQ(gBS->RegisterProtocolNotify(&hook, event, &registration), EFI_SUCCESS);
        };
        watch(gKelmHookBeforeEnumerateBootOptionsGuid, before);
        watch(gKelmHookAfterEnumerateBootOptionsGuid, after);
        // The sanity check's write, then the sync's.
        platform.faults->Add({.call = "SetVariable", .nth = 1, .onward = true}, true);
        EXPECT_EQ(EnumerateBootOptions(), EFI_DEVICE_ERROR);
        EXPECT_EQ(before, 1u);
        EXPECT_EQ(after, 1u);
        EXPECT_EQ(Order(), (Numbers{1}));
    });
}

TEST(EnumerateBootOptions, EndsAtTheSameOrderAfterAPowerFailureAtAnyWrite) {
    for (const bool controlled : {false, true}) {
        const unsigned writes = CutAtEveryWrite(
            "{}", DescribedOrders,
            [&](sim::Platform& platform) {
                SetOptions({{1, 'A'}, {2, 'B'}, {3, 'A'}, {7, 'C'}});
                SetOrder(kBootOrderName, {2, 1, 3, 2, 9});
                SetSetting("UefiVariableAccess", controlled ? "Controlled" : "Standard");
                ASSERT_TRUE(
                    platform.Get<sim::AttributeService>().Change(u"ApplyBootOrderDefaults", {1}));
            },
            [](sim::Platform&) {
                EXPECT_EQ(EnumerateBootOptions(), EFI_SUCCESS);
                const Texts described = DescribedOrders();
                EXPECT_NE(described[0].find("Option A; "), std::string::npos);
                EXPECT_NE(described[0].find("Option B; "), std::string::npos);
            });
        EXPECT_GT(writes, 6u);
    }
}

} // namespace kelm::test
