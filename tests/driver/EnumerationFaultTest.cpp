// What disturbs an enumeration: the power that fails, a store that is full, memory that is out.

#include "bootopt/EnumerateBootOptions.h"
#include "library/firmware/Services.h"
#include "services/Attributes.h"
#include "sim/firmware/Arena.h"
#include "sim/firmware/Faults.h"
#include "sim/firmware/Sanitizer.h"
#include "tests/driver/EnumerationRack.h"

namespace kelm::test {

namespace {

constexpr char kPhaseBefore[] = "[BDS] Hotkey Stop";
constexpr char kPhase[] = "[BDS] Enum Boot Options";

constexpr UINT16 kSystemNumber = 0x0100;
constexpr UINT16 kToolNumber = 0x0101;

// Options that no enumeration made.
std::vector<StoredOption> Foreign(const sim::NvStore& store) {
    std::vector<StoredOption> options;
    for (const UINT16 number : AllOptionNumbers(store)) {
        options.push_back(OptionIn(store, number));
    }
    std::erase_if(options, [](const StoredOption& option) {
        return option.IsEnumerated() || option == kNoSuchOption;
    });
    std::ranges::sort(options);
    return options;
}

// The default server after two boots, with what an operating system and a tool have written: the
// state from which a disturbed boot begins.
void Settle(EnumerationRack& rack) {
    static_cast<void>(rack.PowerOn());
    InstallOption(rack.store(), kSystemNumber, u"Kelm OS",
                  u"HD(1,GPT,6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6,0x800,0x100000)/"
                  u"\\EFI\\kelm-os\\loader.efi",
                  Place::First);
    InstallOption(rack.store(), kToolNumber, u"Tool", u"PciRoot(0x7)/Pci(0x1,0x0)", Place::Last);
    static_cast<void>(rack.PowerOn());
}

struct Event {
    const char* name;
    const char* changes;   // of the machine, between the settled state and the disturbed boot
    bool reverses = false; // the administrator turns the order round as well
    bool mayStay = false;  // an option that is made anew may get its number and its place again
};

// With every kind of change that an enumeration writes.
const Event kEvents[] = {
    {"DeviceAdded", R"({"devices": {"nvme2": {"partitions": [
        {"files": {"\\EFI\\BOOT\\BOOTX64.EFI": {"payload": "os-loader"}}}]}}})"},
    {"DeviceRemoved", R"({"devices": {"usb-front": null, "optical": null}})"},
    {"NameChanged", R"({"devices": {"usb-back": {"usb": {"productName": "Kelm Key"}}}})", false,
     true},
    {"DefaultsApplied", R"({"attributes": {"ApplyBootOrderDefaults": {"hex": "01"}}})", true},
    {"SettingsApplied", R"({"attributes": {
        "SetBootOrderFqdd1": "Disk.USBBack.1-1", "SetBootOrderFqdd2": "Optical.SATAEmbedded.A-1",
        "SetBootOrderDis": "Disk.USBFront.1-1", "BootOrderDisChanged": {"hex": "01"}}})"},
    {"DeviceForbidden", R"({"attributes": {"BootOrderBlackListFqdd1": "Disk.USBFront.1-1"}})"},
    {"FirstBoot", R"({})"},
};

struct Start {
    sim::MachineDescription machine;
    sim::NvStore store;
    std::vector<StoredOption> foreign;
    sim::Json settings; // that changed with the event
};

Start StartOf(const Event& event) {
    EnumerationRack rack;
    if (std::string_view(event.name) != "FirstBoot") {
        Settle(rack);
    } else {
        // An operating system came with the disk.
        InstallOption(rack.store(), kSystemNumber, u"Kelm OS", u"PciRoot(0x7)/Pci(0x1,0x0)",
                      Place::First);
    }
    if (event.reverses) {
        Numbers numbers = NumbersIn(rack.store());
        std::ranges::reverse(numbers);
        StoreOrder(rack.store(), numbers);
    }
    rack.Change(event.changes);
    return {rack.boot.server.machine, rack.store(), Foreign(rack.store()),
            sim::Json::parse(event.changes).value("attributes", sim::Json::object())};
}

// A boot from there, with a fault that counts from the beginning of the enumeration.
void BootWith(EnumerationRack& rack, const Start& start, const sim::Fault& fault) {
    rack.boot.server.machine = start.machine;
    rack.store() = start.store;
    rack.boot.AfterPhase(kPhaseBefore,
                         [fault] { sim::Platform::Current().faults->Add(fault, true); });
    static_cast<void>(rack.PowerOn());
    rack.boot.ForgetChanges();
}

// What an undisturbed boot makes of it.
std::vector<StoredOption> Undisturbed(const Start& start) {
    EnumerationRack rack;
    rack.boot.server.machine = start.machine;
    rack.store() = start.store;
    rack.PowerOnWell();
    EXPECT_EQ(Foreign(rack.store()), start.foreign);
    return OptionsIn(rack.store());
}

// ---- Memory

// The sanitizer makes everything ten times as slow.
constexpr unsigned kStride = sim::kAddressSanitizer ? 10 : 1;
constexpr unsigned kBatch = 50; // allocations that fail in one boot

// Lets one allocation of pool fail while it lives.
class PoolShortage {
public:
    explicit PoolShortage(unsigned nth) : allocate_(gBS->AllocatePool), nth_(nth) {
        mShortage = this;
        gBS->AllocatePool = &Allocate;
    }
    ~PoolShortage() { gBS->AllocatePool = allocate_; }
    PoolShortage(const PoolShortage&) = delete;
    PoolShortage& operator=(const PoolShortage&) = delete;
    unsigned calls() const { return calls_; }

private:
    static EFI_STATUS EFIAPI Allocate(EFI_MEMORY_TYPE type, UINTN size, void** buffer) {
        return ++mShortage->calls_ == mShortage->nth_ ? EFI_OUT_OF_RESOURCES
                                                      : mShortage->allocate_(type, size, buffer);
    }

    static inline PoolShortage* mShortage = nullptr;
    decltype(gBS->AllocatePool) allocate_;
    unsigned nth_;
    unsigned calls_ = 0;
};

// An enumeration from the start, in a boot that has come as far, with the n-th allocation failing
// (0: none). Returns the number of allocations.
unsigned EnumerateAgain(sim::Platform& platform, const Start& start, unsigned failing) {
    for (const auto& [name, value] : start.settings.items()) {
        const std::u16string wide(name.begin(), name.end());
        if (value.is_string()) {
            const auto text = value.get<std::string>();
            static_cast<void>(BdsSetAttributeString(
                wide.c_str(), std::u16string(text.begin(), text.end()).c_str()));
        } else if (value.value("hex", "").size() == 2) {
            static_cast<void>(BdsSetAttributeByte(
                wide.c_str(), UINT8(std::stoul(value["hex"].get<std::string>(), nullptr, 16))));
        }
    }
    platform.store = start.store;
    const PoolShortage shortage(failing);
    static_cast<void>(EnumerateBootOptions());
    return shortage.calls();
}

// Calls body(platform) where the boot would enumerate.
void InEnumeration(const Start& start, const std::function<void(sim::Platform&)>& body) {
    EnumerationRack rack;
    rack.boot.server.machine = start.machine;
    sim::ApplySetting(rack.boot.server.machine, "/debug/mask=0");
    rack.store() = start.store;
    bool ran = false;
    rack.boot.AfterPhase(kPhaseBefore, [&] {
        ran = true;
        body(sim::Platform::Current());
    });
    static_cast<void>(rack.PowerOn());
    EXPECT_TRUE(ran);
}

class DisturbedEnumeration : public testing::TestWithParam<Event> {};

std::string NameOf(const testing::TestParamInfo<Event>& info) {
    return info.param.name;
}

} // namespace

TEST_P(DisturbedEnumeration, EndsAsIfNothingHadBeenAfterAPowerCutAtAnyWrite) {
    const Start start = StartOf(GetParam());
    std::vector<StoredOption> expected = Undisturbed(start);
    unsigned cuts = 0;
    for (unsigned nth = 1;; ++nth) {
        SCOPED_TRACE(fmt::format("write {}", nth));
        EnumerationRack rack;
        bool enumerated = false;
        rack.boot.AfterPhase(kPhase, [&] { enumerated = true; });
        BootWith(rack, start, {.call = "SetVariable", .nth = nth, .powerCut = true});
        if (enumerated) {
            break; // the enumeration has no such write any more
        }
        ++cuts;
        EXPECT_EQ(Foreign(rack.store()), start.foreign);
        rack.PowerOnAgain();
        EXPECT_EQ(Foreign(rack.store()), start.foreign);
        std::vector<StoredOption> options = OptionsIn(rack.store());
        if (GetParam().mayStay) {
            std::ranges::sort(options);
            std::ranges::sort(expected);
        }
        EXPECT_EQ(options, expected);
    }
    EXPECT_GE(cuts, 2u);
}

TEST_P(DisturbedEnumeration, LosesNothingWhenTheStoreTakesNoMore) {
    const Start start = StartOf(GetParam());
    const std::vector<StoredOption> expected = Undisturbed(start);
    for (const unsigned nth : {1u, 2u, 3u, 5u, 8u}) {
        SCOPED_TRACE(fmt::format("from write {} on", nth));
        EnumerationRack rack;
        BootWith(
            rack, start,
            {.call = "SetVariable", .nth = nth, .status = EFI_OUT_OF_RESOURCES, .onward = true});
        EXPECT_EQ(Foreign(rack.store()), start.foreign);
        rack.PowerOnAgain();
        EXPECT_EQ(Foreign(rack.store()), start.foreign);
        // What was asked for once may have been forgotten; what is there is not.
        EXPECT_EQ(OptionsIn(rack.store()).size(), expected.size());
    }
}

TEST_P(DisturbedEnumeration, LosesAndLeaksNothingWhicheverAllocationFails) {
    const Start start = StartOf(GetParam());
    const std::size_t options = Undisturbed(start).size();
    unsigned count = 0;
    std::size_t keptByAll = 0;
    InEnumeration(start, [&](sim::Platform& platform) {
        EnumerateAgain(platform, start, 0); // what is kept from then on is kept
        const std::size_t live = platform.arena->LiveBlocks().size();
        count = EnumerateAgain(platform, start, 0);
        keptByAll = platform.arena->LiveBlocks().size() - live;
    });
    ASSERT_GT(count, 10u);
    for (unsigned batch = 1; batch <= count; batch += kBatch * kStride) {
        InEnumeration(start, [&](sim::Platform& platform) {
            EnumerateAgain(platform, start, 0);
            for (unsigned nth = batch; nth <= count && nth < batch + kBatch * kStride;
                 nth += kStride) {
                SCOPED_TRACE(fmt::format("allocation {} of {}", nth, count));
                const std::size_t live = platform.arena->LiveBlocks().size();
                EnumerateAgain(platform, start, nth);
                EXPECT_LE(platform.arena->LiveBlocks().size(), live + keptByAll);
                EXPECT_EQ(Foreign(platform.store), start.foreign);
                // The boots after it.
                static_cast<void>(EnumerateBootOptions());
                static_cast<void>(EnumerateBootOptions());
                EXPECT_EQ(Foreign(platform.store), start.foreign);
                EXPECT_EQ(OptionsIn(platform.store).size(), options);
            }
        });
    }
}

INSTANTIATE_TEST_SUITE_P(Events, DisturbedEnumeration, testing::ValuesIn(kEvents), NameOf);

// A store too small for all options, of every size between none and all.
TEST(FullStore, TakesTheOptionsThatItHasRoomForAndLaterTheOthers) {
    EnumerationRack large;
    InstallOption(large.store(), kSystemNumber, u"Kelm OS", u"PciRoot(0x7)/Pci(0x1,0x0)",
                  Place::First);
    const sim::NvStore before = large.store();
    large.PowerOnWell();
    const std::vector<StoredOption> all = OptionsIn(large.store());
    const std::size_t needed = large.store().UsedBytes();
    for (std::size_t missing = 50; missing < 1000; missing += 150) {
        SCOPED_TRACE(fmt::format("{} bytes missing", missing));
        EnumerationRack small;
        small.store() = before;
        small.Change(fmt::format(R"({{"limits": {{"storeBytes": {}}}}})", needed - missing));
        static_cast<void>(small.PowerOn());
        EXPECT_EQ(Foreign(small.store()).size(), 1u);
        small.Change(R"({"limits": {"storeBytes": 262144}})");
        small.PowerOnAgain();
        EXPECT_EQ(OptionsIn(small.store()), all);
    }
}

} // namespace kelm::test
