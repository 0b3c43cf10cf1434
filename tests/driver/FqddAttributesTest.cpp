// Boot orders, deletions and states that remote management asks for by device.

#include "bootopt/FqddAttributes.h"
#include "bootopt/BootEnableLists.h"
#include "bootopt/BootOrder.h"
#include "bootopt/FqddMatch.h"
#include "core/DriverState.h"
#include "kelm/AttributeNames.h"
#include "kelm/Variables.h"
#include "library/firmware/Services.h"
#include "sim/firmware/Faults.h"
#include "sim/siblings/AttributeService.h"
#include "tests/driver/OptionBytes.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <random>

namespace kelm::test {

namespace {

using Texts = std::vector<std::string>;

// Option n lies on device n; the option behind the last device lies on one without an FQDD.
const Texts kFqdds = {"RAID.Integrated.1-1", "RAID.Slot.1-1",    "RAID.Slot.2-1",
                      "PCIeSSD.Slot.2-1",    "PCIeSSD.Slot.2-2", "NIC.Integrated.1-1-1"};
constexpr UINT16 kNameless = 6;

std::string PathOfDevice(std::size_t n) {
    return fmt::format("PciRoot(0x0)/Pci(0x{:X},0x{:X})", 1 + n / 8, n % 8);
}

std::string MachineOf(const Texts& fqdds) {
    std::string devices;
    for (std::size_t n = 0; n < fqdds.size(); ++n) {
        devices += fmt::format(
            R"({}"d{}": {{"kind": "pci", "path": "{}", "location": "Device {}", "fqdd": "{}"}})",
            n == 0 ? "" : ", ", n, PathOfDevice(n), n, fqdds[n]);
    }
    return fmt::format(R"({{"devices": {{{}}}}})", devices);
}

std::u16string Wide(std::string_view text) {
    return {text.begin(), text.end()};
}

void SetBytes(const std::string& name, const Bytes& value) {
    ASSERT_TRUE(sim::Platform::Current().Get<sim::AttributeService>().Change(Wide(name), value));
}

void Set(const std::string& name, std::string_view text) {
    Bytes bytes;
    for (const char c : text) {
        Put(bytes, static_cast<unsigned char>(c), 2);
    }
    Put(bytes, 0, 2);
    SetBytes(name, bytes);
}

void SetAll(const std::string& stem, const Texts& lists) {
    for (std::size_t i = 0; i < lists.size(); ++i) {
        Set(fmt::format("{}{}", stem, i + 1), lists[i]);
    }
}

std::string Value(const std::string& name) {
    const auto text = sim::Platform::Current().Get<sim::AttributeService>().Text(Wide(name));
    return text ? std::string(text->begin(), text->end()) : "<no text>";
}

int Flag(const std::string& name) {
    const auto value = sim::Platform::Current().Get<sim::AttributeService>().Find(Wide(name));
    return value && value->size() == 1 ? (*value)[0] : -1;
}

void WriteOption(UINT16 number, bool active = true) {
    const std::u16string name = Wide(fmt::format("Boot{:04X}", number));
    const std::u16string path = Wide(PathOfDevice(number));
    Store(sim::Platform::Current(), name.c_str(),
          OptionBytes(active ? 1 : 0, u"Option", PathOf(path), {number < 9 ? Bytes{7} : Bytes{}}));
}

void WriteOrder(const Numbers& order) {
    Store(sim::Platform::Current(), kBootOrderName, AsBytes(order));
}

Numbers Order(const char16_t* name = kBootOrderName,
              const EFI_GUID& guid = gEfiGlobalVariableGuid) {
    const Bytes bytes = Stored(sim::Platform::Current(), name, guid).value_or(Bytes());
    Numbers order;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        order.push_back(UINT16(bytes[i] | bytes[i + 1] << 8));
    }
    return order;
}

Numbers Order(const KelmVariable& variable) {
    return Order(variable.name, *variable.guid);
}

// One letter for each option: "+" active, "-" not, "." missing.
std::string States(UINT16 count = kNameless + 1) {
    std::string states;
    for (UINT16 number = 0; number < count; ++number) {
        const auto bytes =
            Stored(sim::Platform::Current(), Wide(fmt::format("Boot{:04X}", number)).c_str());
        states += !bytes ? '.' : ((*bytes)[0] & 1) != 0 ? '+' : '-';
    }
    return states;
}

// Options 0 to count-1 in this order, all active.
void WriteOptions(std::size_t count = kNameless + 1) {
    Numbers order;
    for (std::size_t n = 0; n < count; ++n) {
        WriteOption(UINT16(n));
        order.push_back(UINT16(n));
    }
    WriteOrder(order);
}

// An enumeration of boot options, as far as the settings need it.
void Enumerate() {
    BdsBootOrderSanityCheck();
    EXPECT_EQ(BdsSyncBootOrder(), EFI_SUCCESS);
    Store(sim::Platform::Current(), kVariableDefaultUefiBootOrder.name,
          AsBytes({6, 4, 2, 0, 1, 3, 5}), *kVariableDefaultUefiBootOrder.guid);
    static_cast<void>(BdsSetBootOrderFromModeOrder());
}

void Apply() {
    static_cast<void>(BdsApplyBootSeqDefault());
    static_cast<void>(BdsProcessFqddBootOrderAttributes());
    static_cast<void>(BdsProcessInternalFqddOrderAttributes());
}

void Pass() {
    Enumerate();
    Apply();
}

// All that a pass may change.
Texts Everything() {
    Texts all = {fmt::format("{}", fmt::join(Order(), " ")),
                 fmt::format("{}", fmt::join(Order(kVariableUefiBootOrder), " ")), States(),
                 Value("IntrnlSetBootSeqDefault")};
    for (const char* name :
         {"SetBootOrderEn", "SetBootOrderEn2", "SetBootOrderDis", "SetBootOrderDis2"}) {
        all.push_back(Value(name));
    }
    for (unsigned i = 1; i <= 16; ++i) {
        all.push_back(Value(fmt::format("SetBootOrderFqdd{}", i)));
        all.push_back(Value(fmt::format("IntrnlSetUefiBootOrderFqdd{}", 1 + i % 8)));
    }
    all.push_back(fmt::format("{} {}", Flag("BootOrderEnChanged"), Flag("BootOrderDisChanged")));
    return all;
}

// The order that lists give: each option goes to the last list that names it and either was the
// first to do so or is more specific than that one.
Numbers Ordered(const Numbers& order, const Texts& lists) {
    const auto rank = [&](UINT16 number) {
        std::size_t first = lists.size();
        std::size_t last = lists.size();
        for (std::size_t i = 0; i < lists.size(); ++i) {
            if (number >= kFqdds.size() || !IsFqddMatching(Wide(lists[i]), Wide(kFqdds[number]))) {
                continue;
            }
            first = std::min(first, i);
            if (first == i ||
                BdsIsFqddMoreSpecific(Wide(lists[i]).c_str(), Wide(lists[first]).c_str())) {
                last = i;
            }
        }
        return last;
    };
    Numbers sorted = order;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [&](UINT16 a, UINT16 b) { return rank(a) < rank(b); });
    return sorted;
}

void RunWithDevices(const std::function<void(sim::Platform&)>& body) {
    RunClean(MachineOf(kFqdds), [&](sim::Platform& platform) {
        WriteOptions();
        body(platform);
    });
}

} // namespace

TEST(FqddOrders, PutWhatIsNamedFirstOnce) {
    const struct {
        Texts lists;
        Numbers order;
    } rows[] = {
        {{"PCIeSSD.Slot.2-1", "RAID.Integrated.1-1"}, {3, 0, 1, 2, 4, 5, 6}},
        {{"PCIeSSD.*.*", "NIC.*.*", "PCIeSSD.Slot.2-1"}, {4, 5, 3, 0, 1, 2, 6}},
        {{"PCIeSSD.Slot.2-1", "NIC.*.*", "PCIeSSD.*.*"}, {3, 5, 4, 0, 1, 2, 6}},
        {{"", "RAID..1", "NIC.Integrated.1"}, {5, 0, 1, 2, 3, 4, 6}},
        // Cut in the middle; what is left is as good as any.
        {{"NIC.*.*" + std::string(300, ' '), "PCIeSSD.*.*" + std::string(300, 'x')},
         {5, 0, 1, 2, 3, 4, 6}},
    };
    RunWithDevices([&](sim::Platform&) {
        for (const auto& row : rows) {
            WriteOrder({0, 1, 2, 3, 4, 5, 6});
            SetAll("SetBootOrderFqdd", row.lists);
            for (int pass = 0; pass < 2; ++pass) {
                Pass();
                EXPECT_EQ(Order(), row.order) << row.lists.back();
                EXPECT_EQ(Order(kVariableUefiBootOrder), row.order);
                EXPECT_EQ(Value("SetBootOrderFqdd1") + Value("SetBootOrderFqdd2") +
                              Value("SetBootOrderFqdd3"),
                          "");
            }
        }
    });
}

TEST(FqddOrders, AgreeWithTheRankOfEachDevice) {
    const Texts kLists = {"RAID.*.*",    "RAID.Slot.*",      "*.Slot.2",  "RAID.Slot.1-1", "*.*.*",
                          "PCIeSSD.*.*", "PCIeSSD.Slot.2-2", "*.*.*-1",   "NIC.*.*",       "",
                          "*.*.1",       "A.B.C:RAID.*.*",   "RAID..bad", "AHCI.*.*"};
    std::mt19937 random(7);
    RunWithDevices([&](sim::Platform&) {
        for (int round = 0; round < 60; ++round) {
            Numbers order = {0, 1, 2, 3, 4, 5, 6};
            std::shuffle(order.begin(), order.end(), random);
            Texts lists(round % 2 == 0 ? 8 : 16);
            for (std::string& list : lists) {
                list = kLists[random() % kLists.size()];
            }
            WriteOrder(order);
            // All three kinds of settings obey the same rule.
            if (round % 2 == 0) {
                SetAll("IntrnlSetUefiBootOrderFqdd", lists);
                EXPECT_EQ(BdsIsUefiOrderRequested(), lists != Texts(8));
            } else {
                SetAll("SetBootOrderFqdd", lists);
            }
            SetAll("DefaultBootOrderFqdd", Texts(16));
            SetAll("DefaultBootOrderFqdd", lists);
            Texts valid = lists;
            std::erase(valid, "RAID..bad");
            Pass();
            SCOPED_TRACE(fmt::format("{} by {}", fmt::join(order, " "), fmt::join(lists, " ")));
            EXPECT_EQ(Order(), Ordered(order, valid));
            EXPECT_EQ(Order(kVariableUefiBootOrder), Ordered(order, valid));
            EXPECT_EQ(Order(kVariableDefaultUefiBootOrder), Ordered(order, valid));
            EXPECT_FALSE(BdsIsUefiOrderRequested());
            EXPECT_FALSE(BdsIsLegacyOrderRequested());
            EXPECT_EQ(Value("SetBootOrderFqdd16") + Value("IntrnlSetUefiBootOrderFqdd1"), "");
            EXPECT_EQ(Value("DefaultBootOrderFqdd1"), lists[0]) << "not for one time";
        }
    });
}

TEST(FqddBlackList, DeletesTheDevicesOptionsInEveryPass) {
    RunWithDevices([](sim::Platform&) {
        SetAll("BootOrderBlackListFqdd", {"RAID.Slot.2-1", "RAID..1", "PCIeSSD.*.*"});
        for (int pass = 0; pass < 2; ++pass) {
            WriteOptions(); // an enumeration finds the devices again
            Pass();
            EXPECT_EQ(Order(), (Numbers{0, 1, 5, 6}));
            EXPECT_EQ(Order(kVariableUefiBootOrder), Order());
            EXPECT_EQ(Order(kVariableDefaultUefiBootOrder).size(), 4u);
            EXPECT_EQ(States(), "++...++");
            EXPECT_EQ(Value("BootOrderBlackListFqdd3"), "PCIeSSD.*.*");
        }
        SetAll("BootOrderBlackListFqdd", {"*.*.*"});
        WriteOption(kNameless);
        WriteOrder({0, 1, 5});
        Pass();
        EXPECT_FALSE(Stored(sim::Platform::Current(), kBootOrderName)) << "nothing is left";
    });
}

TEST(BootSequenceDefault, IsCopiedOnce) {
    RunWithDevices([](sim::Platform& platform) {
        const auto setDefault = [&](const Numbers& order) {
            Store(platform, kVariableDefaultUefiBootOrder.name, AsBytes(order),
                  *kVariableDefaultUefiBootOrder.guid);
        };
        const struct {
            const char* value;
            Numbers order;
        } rows[] = {
            {"None", {0, 1, 2}}, {"Bios", {0, 1, 2}}, {"uefi", {0, 1, 2}},
            {"", {0, 1, 2}},     {"Uefi", {2, 0, 1}}, {"Both", {2, 0, 1}},
        };
        for (const auto& row : rows) {
            WriteOrder({0, 1, 2});
            EXPECT_EQ(BdsSyncBootOrder(), EFI_SUCCESS);
            setDefault({2, 0, 1});
            Set("IntrnlSetBootSeqDefault", row.value);
            EXPECT_EQ(BdsApplyBootSeqDefault(), EFI_SUCCESS) << row.value;
            EXPECT_EQ(Order(), row.order) << row.value;
            EXPECT_EQ(Order(kVariableUefiBootOrder), row.order) << row.value;
            EXPECT_EQ(Value("IntrnlSetBootSeqDefault"), "None") << row.value;
        }
        platform.faults->Add({.call = "KelmAttributeProtocol.GetValue", .nth = 1}, true);
        Set("IntrnlSetBootSeqDefault", "Uefi");
        EXPECT_EQ(BdsApplyBootSeqDefault(), EFI_NOT_FOUND);
        EXPECT_EQ(Value("IntrnlSetBootSeqDefault"), "None");
    });
}

TEST(BootEnable, GivesEachOptionTheStateOfTheMostSpecificItem) {
    const struct {
        const char* what;
        Texts lists; // SetBootOrderEn, En2, Dis, Dis2
        int enabledFlag;
        int disabledFlag;
        const char* before;
        const char* after;
    } rows[] = {
        {"specific off", {"RAID.*.*", "", "RAID.Integrated.1-1", ""}, 1, 1, "+-----+", "-++---+"},
        {"specific on", {"RAID.Integrated.1-1", "", "RAID.*.*", ""}, 1, 1, "-++++--", "+--++--"},
        {"flag of one", {"RAID.*.*", "", "RAID.Integrated.1-1", ""}, 1, 0, "-------", "+++----"},
        {"flag of none", {"RAID.*.*", "", "NIC.*.*", ""}, 0, 0, "---++++", "---++++"},
        {"other flag", {"RAID.*.*", "", "NIC.*.*", ""}, 2, -1, "---++++", "---++++"},
        {"same shape", {"RAID.Slot.1-1,RAID.Slot.2-1", "", "", ""}, 1, 1, "-------", "-++----"},
        {"companions",
         {" RAID.Slot.1-1 ", "NIC.*.*", "", "PCIeSSD.*.*,"},
         1,
         1,
         "---++--",
         "-+---+-"},
        {"in both", {"RAID.*.*", "", "RAID.*.*", ""}, 1, 1, "-------", "+++----"},
        {"invalid", {"RAID.*.*", "", "NIC.*.*,RAID..1", ""}, 1, 1, "---++++", "---++++"},
        {"empty item", {"RAID.*.*,,NIC.*.*", "", "", ""}, 1, 0, "-------", "-------"},
        {"long item",
         {"RAID.*." + std::string(150, 'x'), "NIC.*.*", "", ""},
         1,
         0,
         "-------",
         "-----+-"},
        {"too long",
         {"NIC.*.*," + std::string(600, ' ') + "RAID.*.*", "RAID.*.*", "", ""},
         1,
         0,
         "-------",
         "-----+-"},
    };
    RunWithDevices([&](sim::Platform& platform) {
        for (const auto& row : rows) {
            SCOPED_TRACE(row.what);
            for (UINT16 number = 0; number <= kNameless; ++number) {
                WriteOption(number, row.before[number] == '+');
            }
            const Numbers order = {6, 5, 4, 3, 2, 1, 0};
            WriteOrder(order);
            Set("SetBootOrderEn", row.lists[0]);
            Set("SetBootOrderEn2", row.lists[1]);
            Set("SetBootOrderDis", row.lists[2]);
            Set("SetBootOrderDis2", row.lists[3]);
            const auto setFlag = [](const char* name, int flag) {
                SetBytes(name, flag < 0 ? Bytes{1, 1} : Bytes{std::uint8_t(flag)});
            };
            setFlag("BootOrderEnChanged", row.enabledFlag);
            setFlag("BootOrderDisChanged", row.disabledFlag);
            const auto live = platform.arena->LiveBlocks().size();
            Pass();
            EXPECT_EQ(platform.arena->LiveBlocks().size(), live);
            EXPECT_EQ(States(), row.after);
            EXPECT_EQ(Order(), order);
            EXPECT_EQ(Flag("BootOrderEnChanged"), 0);
            EXPECT_EQ(Flag("BootOrderDisChanged"), 0);
            Texts enabled;
            Texts disabled;
            for (std::size_t n = kFqdds.size(); n-- > 0;) {
                (row.after[n] == '+' ? enabled : disabled).push_back(kFqdds[n]);
            }
            EXPECT_EQ(Value("SetBootOrderEn"), fmt::format("{}", fmt::join(enabled, ",")));
            EXPECT_EQ(Value("SetBootOrderDis"), fmt::format("{}", fmt::join(disabled, ",")));
            EXPECT_EQ(Value("SetBootOrderEn2") + Value("SetBootOrderDis2"), "");
        }
    });
}

TEST(BootEnable, ListsFillTwoSettingsAndStop) {
    Texts fqdds;
    for (unsigned n = 0; n < 40; ++n) {
        fqdds.push_back(fmt::format("RAID.Integrated.1-{:02}", n)); // 20 characters
    }
    const auto joined = [&](std::size_t from, std::size_t to) {
        return fmt::format("{}", fmt::join(fqdds.begin() + from, fqdds.begin() + to, ","));
    };
    RunClean(MachineOf(fqdds), [&](sim::Platform&) {
        WriteOptions(15);
        Pass();
        EXPECT_EQ(Value("SetBootOrderEn"), joined(0, 12));
        EXPECT_EQ(Value("SetBootOrderEn2"), joined(12, 15));
        WriteOptions(40);
        Pass();
        EXPECT_EQ(Value("SetBootOrderEn"), joined(0, 12));
        EXPECT_EQ(Value("SetBootOrderEn2"), joined(12, 24));
        EXPECT_EQ(Value("SetBootOrderDis") + Value("SetBootOrderDis2"), "");
        // Without an order there is nothing to tell.
        WriteOrder({});
        EXPECT_EQ(BdsProcessFqddBootOrderAttributes(), EFI_LOAD_ERROR);
        EXPECT_EQ(Value("SetBootOrderEn"), joined(0, 12));
    });
}

namespace {

struct Request {
    const char* what;
    void (*make)();
};

constexpr Request kRequests[] = {
    {"orders and states",
     [] {
         SetAll("SetBootOrderFqdd", {"PCIeSSD.*.*", "NIC.*.*", "RAID.Slot.2-1", "RAID.Slot.1"});
         SetAll("BootOrderBlackListFqdd", {"RAID.Slot.1-1"});
         Set("SetBootOrderEn", "RAID.Integrated.1-1");
         Set("SetBootOrderDis", "RAID.*.*,NIC.*.*");
         SetBytes("BootOrderEnChanged", {1});
         SetBytes("BootOrderDisChanged", {1});
     }},
    {"internal orders",
     [] {
         SetAll("IntrnlSetUefiBootOrderFqdd", {"NIC.*.*", "PCIeSSD.Slot.2-2", "RAID.*.*"});
         Set("SetBootOrderDis", "RAID.*.*");
         Set("SetBootOrderEn", "RAID.Slot.1-1");
         SetBytes("BootOrderDisChanged", {1});
     }},
    {"default sequence", [] { Set("IntrnlSetBootSeqDefault", "Uefi"); }},
};

// Boots with a body in the driver's place that keep one variable store.
class Bench {
public:
    Bench() : boot_(MachineOf(kFqdds)) {
        boot_.server.driver.nativeEntry = &Entry;
        boot_.AtTheEnd([](sim::Platform&) { mAfter = Everything(); });
    }
    // What is there when the body has ended, or the power has failed in it.
    Texts Boot(const std::function<void(sim::Platform&)>& body) {
        mBody = &body;
        boot_.PowerOn();
        return mAfter;
    }
    bool PowerFailed() const { return !boot_.Events("power-failure").empty(); }

private:
    static EFI_STATUS EFIAPI Entry(EFI_HANDLE image, EFI_SYSTEM_TABLE* table) {
        ResetDriverState();
        RunLibraryConstructors(image, table);
        (*mBody)(sim::Platform::Current());
        return EFI_ABORTED;
    }

    static inline const std::function<void(sim::Platform&)>* mBody = nullptr;
    static inline Texts mAfter;

    DriverBoot boot_;
};

} // namespace

TEST(FqddRequests, SurviveAPowerFailureBetweenAnyTwoWrites) {
    for (const Request& request : kRequests) {
        const auto first = [&](sim::Platform&) {
            WriteOptions();
            request.make();
            Pass();
        };
        const auto next = [](sim::Platform&) { Pass(); };
        Bench uncut;
        uncut.Boot(first);
        const Texts expected = uncut.Boot(next);
        for (const char* call : {"SetVariable", "KelmAttributeProtocol.SetValue"}) {
            for (unsigned nth = 1;; ++nth) {
                SCOPED_TRACE(fmt::format("{}, {} {}", request.what, call, nth));
                Bench bench;
                bench.Boot([&](sim::Platform& platform) {
                    WriteOptions();
                    request.make();
                    platform.faults->Add({.call = call, .nth = nth, .powerCut = true}, true);
                    Pass();
                });
                if (!bench.PowerFailed()) {
                    EXPECT_GT(nth, 4u);
                    break;
                }
                bench.Boot(next);
                EXPECT_EQ(bench.Boot(next), expected);
            }
        }
    }
}

TEST(FqddRequests, SurviveAFailedAllocation) {
    RunWithDevices([](sim::Platform& platform) {
        const auto prepare = [&](const Request& request) {
            SetAll("BootOrderBlackListFqdd", {""});
            WriteOptions();
            request.make();
        };
        for (const Request& request : kRequests) {
            prepare(request);
            Pass();
            Pass();
            const Texts expected = Everything();
            // The same work is done for every option, so that every third allocation tells all.
            for (unsigned nth = 1;; nth += 3) {
                SCOPED_TRACE(fmt::format("{}, allocation {}", request.what, nth));
                prepare(request);
                Enumerate();
                const auto live = platform.arena->LiveBlocks().size();
                const auto before = platform.arena->NextSequence();
                platform.arena->SetFailure({.nth = nth});
                Apply();
                platform.arena->SetFailure({});
                const auto after = platform.arena->NextSequence();
                EXPECT_EQ(platform.arena->LiveBlocks().size(), live);
                if (after - before < nth - 1) { // the failed one has no number
                    break;
                }
                Pass();
                Pass();
                EXPECT_EQ(Everything(), expected);
            }
        }
    });
}

TEST(FqddRequests, MayHoldAnything) {
    std::mt19937 random(3);
    RunWithDevices([&](sim::Platform& platform) {
        const auto bytes = [&](std::size_t most) {
            Bytes value(random() % most);
            const unsigned kind = random() % 3;
            for (std::uint8_t& byte : value) {
                byte = kind == 0 ? std::uint8_t(random()) : kind == 1 ? '.' : '*';
            }
            return value;
        };
        for (int round = 0; round < 20; ++round) {
            WriteOptions();
            for (const char* stem :
                 {"SetBootOrderFqdd", "DefaultBootOrderFqdd", "SetLegacyHddOrderFqdd",
                  "IntrnlSetUefiBootOrderFqdd", "IntrnlSetLegacyHddOrderFqdd"}) {
                for (unsigned i = 1; i <= 4; ++i) {
                    SetBytes(fmt::format("{}{}", stem, i), bytes(2000));
                }
            }
            for (const char* name : {"IntrnlSetBootSeqDefault", "SetBootOrderEn", "SetBootOrderEn2",
                                     "SetBootOrderDis", "SetBootOrderDis2"}) {
                SetBytes(name, bytes(5000));
            }
            SetBytes("BootOrderEnChanged", {1});
            SetBytes("BootOrderDisChanged", {1});
            Bytes order = AsBytes({3, 3, 0, 77});
            order.push_back(1); // half a number
            Store(platform, kBootOrderName, order);
            Pass();
            EXPECT_EQ(Order(), (Numbers{3, 0})) << "each once";
            EXPECT_EQ(Value("SetBootOrderEn"), "PCIeSSD.Slot.2-1,RAID.Integrated.1-1");
        }
    });
}

} // namespace kelm::test
