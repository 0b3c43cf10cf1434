// Boot options over several boots of one server, while devices come and go, operating systems are
// installed, administrators edit and remote management asks for something else.

#include "sim/firmware/Sanitizer.h"
#include "tests/Paths.h"
#include "tests/driver/EnumerationRack.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/wait.h>

namespace kelm::test {

namespace {

using Texts = std::vector<std::string>;

// What the default machine has.
constexpr char kFixed[] = "EFI Fixed Disk Boot Device 1";
constexpr char kOptical[] = "EFI DVD/CDROM 1";
constexpr char kFront[] = "EFI USB Device 1";
constexpr char kBack[] = "EFI USB Device 2";
const Texts kDefaultOrder = {kFixed, kOptical, kFront, kBack};

constexpr char kSystem[] = "Kelm OS";
constexpr char16_t kSystemPath[] =
    u"HD(1,GPT,6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6,0x800,0x100000)/\\EFI\\kelm-os\\loader.efi";
// The disk of the default machine with the system of that path, and nothing to fall back to.
constexpr char kOnlySystem[] = R"("system-disk": {"partitions": [
    {"number": 1, "signature": "6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6", "start": 2048,
     "blocks": 1048576, "files": {"\\EFI\\kelm-os\\loader.efi": {"payload": "os-loader"}}}]})";
// Another disk in its place, with files and without a system.
constexpr char kWaitingDisk[] = R"json({"devices": {
    "system-disk": null,
    "data-disk": {"kind": "virtual-disk", "fqdd": "RAID.Integrated.1-1",
                  "path": "PciRoot(0x2)/Pci(0x2,0x0)/Pci(0x0,0x0)/Scsi(0xF0,0x0)",
                  "files": {"\\readme.txt": {"text": "Nothing to boot."}}}}})json";
constexpr char kNewDisk[] = R"({"devices": {"nvme2": {"partitions": [
    {"files": {"\\EFI\\BOOT\\BOOTX64.EFI": {"payload": "os-loader"}}}]}}})";

void StoreSetting(EnumerationRack& rack, std::string_view name, std::string_view value) {
    rack.Change(fmt::format(R"({{"attributes": {{"{}": {}}}}})", name, value));
}

} // namespace

TEST(EnumerationScenarios, EveryKindOfDeviceHasItsOptionInTheOrderOfTheKinds) {
    EnumerationRack rack;
    rack.Use(sim::LoadMachine(std::string(paths::kRepository) + "/machines/all-devices.json"));
    rack.PowerOnWell();
    const Texts first = {
        // Named by the settings of the default order.
        "EFI Fixed Disk Boot Device 2", "EFI Fixed Disk Boot Device 3", "EFI DVD/CDROM 1",
        // Floppy drives, optical drives and tapes.
        "EFI Floppy 1", "EFI USB Device 1", "Virtual Floppy Drive", "EFI DVD/CDROM 2",
        "Tape Backup Unit", "EFI Misc Device", "Kelm Portable DVD",
        // Fixed disks, USB disks, and what stands for any of these.
        "EFI Fixed Disk Boot Device 1", "Kelm Flash 64", "EFI USB Device 5", "EFI USB Device 6",
        "USB Placeholder",
        // Removable devices of other kinds, and files without a disk.
        "EFI USB Device 7", "EFI SCSI Device 1", "Kelm Cartridge 2", "EFI Misc Device 1",
        "EFI Non-Block Boot Device 1"};
    EXPECT_EQ(rack.Order(), first);
    for (const StoredOption& option : OptionsIn(rack.store())) {
        EXPECT_EQ(option.attributes, 0x80000001u) << option;
    }
    std::map<std::string, std::string> paths;
    for (const StoredOption& option : OptionsIn(rack.store())) {
        paths[option.description] = option.path;
    }
    EXPECT_EQ(paths["EFI Floppy 1"], "PciRoot(0x0)/Pci(0x1F,0x0)/Floppy(0x0)");
    EXPECT_EQ(paths["EFI Fixed Disk Boot Device 2"],
              "PciRoot(0x2)/Pci(0x2,0x0)/Pci(0x0,0x0)/Scsi(0xEF,0x0)/"
              "HD(1,GPT,6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6,0x800,0x100000)");
    EXPECT_EQ(paths["EFI USB Device 7"], "PciRoot(0x0)/Pci(0x14,0x0)/USB(0x7,0x0)");
    EXPECT_EQ(paths["EFI Non-Block Boot Device 1"], "VenHw(5B0E2C77-4D19-4A63-8F0E-7C5A2B916D38)");

    const auto content = ContentOf(rack.store());
    rack.PowerOnWell();
    EXPECT_EQ(ContentOf(rack.store()), content);

    // Disks that wait for an operating system are behind everything else when they come later.
    StoreSetting(rack, "HddPlaceholder", R"("Enabled")");
    rack.PowerOnWell();
    Texts withPlaceholders = first;
    withPlaceholders.insert(withPlaceholders.end(),
                            {"EFI RAID Disk PlaceHolder - Disk 240", "EFI RAID Disk PlaceHolder 0",
                             "EFI RAID Disk PlaceHolder 1"});
    EXPECT_EQ(rack.Order(), withPlaceholders);
    // Only those behind a boot storage card are such disks when their controller is AHCI.
    for (const StoredOption& option : OptionsIn(rack.store())) {
        EXPECT_EQ(option.path.find("13-00-00-00"), std::string::npos) << option;
    }

    StoreSetting(rack, "GenericUsbBoot", R"("Disabled")");
    rack.PowerOn(); // the order may still name it
    rack.PowerOnWell();
    std::erase(withPlaceholders, "USB Placeholder");
    EXPECT_EQ(rack.Order(), withPlaceholders);
}

TEST(EnumerationScenarios, DevicesComeAndGoAndTheOthersKeepTheirPlaces) {
    EnumerationRack rack;
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), kDefaultOrder);
    rack.Reorder({kBack, kOptical, kFixed, kFront});
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kBack, kOptical, kFixed, kFront}));

    rack.Change(kNewDisk);
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(),
              (Texts{kBack, kOptical, kFixed, kFront, "EFI Fixed Disk Boot Device 2"}));
    EXPECT_EQ(Descriptions(rack.store(), &kVariableDefaultUefiBootOrder),
              (Texts{kFixed, kOptical, "EFI Fixed Disk Boot Device 2", kFront, kBack}));

    // Of two drives without a name the remaining one is the first from now on.
    rack.Change(R"({"devices": {"usb-front": null}})");
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kFront, kOptical, kFixed, "EFI Fixed Disk Boot Device 2"}));

    // A drive that now tells its name is another one; a disk whose loader has gone is none at all.
    rack.Change(R"({"devices": {"usb-back": {"usb": {"productName": "Kelm Key"}},
                                "nvme2": {"partitions": []}}})");
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kOptical, kFixed, "Kelm Key"}));
}

TEST(EnumerationScenarios, WhatAnOperatingSystemWroteStaysUntilItGoesItself) {
    EnumerationRack rack;
    rack.PowerOnWell();
    InstallOption(rack.store(), 0x0100, u"Kelm OS", kSystemPath, Place::First);
    InstallOption(rack.store(), 0x0101, u"Tool", u"PciRoot(0x7)/Pci(0x1,0x0)", Place::Last);
    rack.PowerOnWell();
    const Texts order = {kSystem, kFixed, kOptical, kFront, kBack, "Tool"};
    EXPECT_EQ(rack.Order(), order);

    rack.Change(R"({"devices": {"system-disk": null}})");
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kSystem, kOptical, kFront, kBack, "Tool"}));
    EXPECT_EQ(OptionIn(rack.store(), 0x0100).path, sim::ToUtf8(kSystemPath));

    Numbers numbers = NumbersIn(rack.store());
    numbers.erase(numbers.begin());
    StoreOrder(rack.store(), numbers);
    rack.PowerOn(); // the system's own copy of the order still holds the option
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kOptical, kFront, kBack, "Tool"}));
    EXPECT_EQ(OptionIn(rack.store(), 0x0100), kNoSuchOption);
}

TEST(EnumerationScenarios, AnOrderIsCleanedOfRepeatsOfEqualOptionsAndOfOrphans) {
    constexpr char16_t kPath[] = u"PciRoot(0x7)/Pci(0x9,0x0)";
    constexpr EFI_GUID kForeign = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};
    EnumerationRack rack;
    StoreOption(rack.store(), 0x0001, u"One", kPath);
    StoreOption(rack.store(), 0x0002, u"Two", kPath);
    StoreOption(rack.store(), 0x0004, u"One", kPath);
    StoreOption(rack.store(), 0x0007, u"Orphan", kPath);
    ASSERT_TRUE(rack.store().Set({u"Boot0099", kForeign, 7, {1, 2, 3}}));
    StoreOrder(rack.store(), {0x0001, 0x0002, 0x0001, 0x0003, 0x0004});
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{"One", "Two", kFixed, kOptical, kFront, kBack}));
    EXPECT_EQ(AllOptionNumbers(rack.store()).size(), 6u);
    EXPECT_NE(rack.store().Find(u"Boot0099", kForeign), nullptr);
}

TEST(EnumerationScenarios, AMissingOrderIsAFullReset) {
    EnumerationRack rack;
    rack.PowerOnWell();
    rack.Reorder({kBack, kFront, kOptical, kFixed});
    InstallOption(rack.store(), 0x0100, u"Kelm OS", kSystemPath, Place::First);
    rack.PowerOnWell();
    ASSERT_TRUE(rack.store().Erase(u"BootOrder", gEfiGlobalVariableGuid));
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), kDefaultOrder);
}

TEST(EnumerationScenarios, ControlledOrMixedOrdersAreNotTakenFromTheOperatingSystem) {
    EnumerationRack controlled(R"({"attributes": {"UefiVariableAccess": "Controlled"}})");
    controlled.PowerOnWell();
    controlled.Reorder({kBack, kFront, kOptical, kFixed});
    InstallOption(controlled.store(), 0x0100, u"Kelm OS", kSystemPath, Place::First);
    controlled.PowerOnWell();
    EXPECT_EQ(controlled.Order(), (Texts{kFixed, kOptical, kFront, kBack, kSystem}));

    EnumerationRack mixed;
    mixed.PowerOnWell();
    mixed.Reorder({kBack, kFront, kOptical, kFixed});
    StoreOption(mixed.store(), 0x0020, u"Hard drive C:", u"PciRoot(0x7)/Pci(0x9,0x0)",
                LOAD_OPTION_ACTIVE | kLoadOptionLegacy);
    ASSERT_TRUE(mixed.store().Set(
        {kVariableLegacyBootOrder.name, *kVariableLegacyBootOrder.guid, 3, {0x20, 0x00}}));
    Numbers numbers = NumbersIn(mixed.store());
    numbers.push_back(0x0020);
    StoreOrder(mixed.store(), numbers);
    mixed.PowerOnWell();
    EXPECT_EQ(mixed.Order(), kDefaultOrder);
    EXPECT_EQ(Descriptions(mixed.store(), &kVariableLegacyBootOrder), (Texts{"Hard drive C:"}));
}

// ---- Disks that wait for an operating system, and systems that are there already

TEST(EnumerationScenarios, AnOperatingSystemTakesThePlaceThatWasHeldForIt) {
    constexpr char kPlaceholder[] = "EFI RAID Disk PlaceHolder - Disk 240";
    EnumerationRack rack(R"({"attributes": {"HddPlaceholder": "Enabled"}})");
    rack.Change(kWaitingDisk);
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kPlaceholder, kOptical, kFront, kBack}));
    rack.Reorder({kOptical, kPlaceholder, kFront, kBack});
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kOptical, kPlaceholder, kFront, kBack}));

    rack.Change(R"({"devices": {"data-disk": {"files": null, "partitions": [
        {"number": 1, "signature": "6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6", "start": 2048,
         "blocks": 200000, "files": {"\\EFI\\kelm-os\\loader.efi": {"payload": "os-loader"}}}]}}})");
    InstallOption(rack.store(), 0x0100, u"Kelm OS",
                  u"HD(1,GPT,6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6,0x800,0x30D40)/"
                  u"\\EFI\\kelm-os\\loader.efi",
                  Place::Last);
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kOptical, kSystem, kFront, kBack}));
    const auto content = ContentOf(rack.store());
    rack.PowerOnWell();
    EXPECT_EQ(ContentOf(rack.store()), content);

    EnumerationRack onTop;
    onTop.Change(R"({
        "attributes": {"HddPlaceholder": "Enabled", "HddPlaceholderTopOfBootOrder": "Enabled",
                       "DefaultBootOrderFqdd1": ""}})");
    onTop.Change(kWaitingDisk);
    onTop.PowerOnWell();
    EXPECT_EQ(onTop.Order(), (Texts{kPlaceholder, kOptical, kFront, kBack}));
}

TEST(EnumerationScenarios, AnInstallerThatPutsItselfFirstFindsItsSystemAtItsOldPlaceOnce) {
    EnumerationRack rack(fmt::format(
        R"({{"attributes": {{"HddPlaceholder": "Enabled"}}, "devices": {{{}}}}})", kOnlySystem));
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kOptical, kFront, kBack}));
    Bytes entry;
    Put(entry, 2, 2);
    for (const char16_t character : std::u16string(u"RAID.Integrated.1-1")) {
        Put(entry, character, 2);
    }
    Put(entry, 0, 2);
    const EFI_GUID& guid = *kVariableUefiBootOrder.guid;
    ASSERT_TRUE(rack.store().Set(
        {kVariableOsBootEntryNames[0], guid, kVariableOsBootEntryAttributes, entry}));
    InstallOption(rack.store(), 0x0100, u"Kelm OS", kSystemPath, Place::First);
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kOptical, kFront, kSystem, kBack}));
    EXPECT_EQ(OptionIn(rack.store(), 0x0100).attributes,
              LOAD_OPTION_ACTIVE | kLoadOptionOsPositionFixed);

    // Whoever puts it first again means it.
    rack.Reorder({kSystem, kOptical, kFront, kBack});
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kSystem, kOptical, kFront, kBack}));
    const sim::StoredVariable* recorded = rack.store().Find(kVariableOsBootEntryNames[0], guid);
    ASSERT_NE(recorded, nullptr);
    EXPECT_EQ(recorded->data[0], 0);
}

TEST(EnumerationScenarios, AWindowsToGoEntryStandsForTheDiskThatItIsOn) {
    constexpr char kToGo[] = "USB Entry for Windows To Go";
    EnumerationRack rack(R"({
        "attributes": {"Fixed_Disk_Only": "Enabled"},
        "devices": {
            "usb-back": null,
            "usb-front": {"block": {"removable": false}, "partitions": [
                {"files": {"\\EFI\\BOOT\\BOOTX64.EFI": {"payload": "os-loader"}}}]}}})");
    rack.PowerOnWell();
    const Texts before = rack.Order();
    EXPECT_EQ(before.size(), 3u);
    InstallOption(rack.store(), 0x0100, u"USB Entry for Windows To Go",
                  u"UsbClass(0x4B4C,0x1,0x8,0x6,0x50)", Place::Last);
    rack.PowerOnWell();
    Texts after;
    for (const StoredOption& option : OptionsIn(rack.store())) {
        EXPECT_EQ(option.path.find("USB(0x1,0x0)/HD("), std::string::npos) << option;
        after.push_back(option.description);
    }
    EXPECT_EQ(after.size(), 3u);
    EXPECT_EQ(after.back(), kToGo);
    const auto content = ContentOf(rack.store());
    rack.PowerOnWell();
    EXPECT_EQ(ContentOf(rack.store()), content);
}

// ---- What settings ask for

TEST(EnumerationScenarios, SettingsOrderDisableAndForbidDevicesWhenTheyAreAsked) {
    EnumerationRack rack;
    rack.PowerOnWell();

    StoreSetting(rack, "SetBootOrderFqdd1", R"("Disk.USBBack.1-1")");
    StoreSetting(rack, "SetBootOrderFqdd2", R"("Optical.SATAEmbedded.A-1")");
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kBack, kOptical, kFixed, kFront}));
    rack.Reorder({kFront, kBack, kOptical, kFixed});
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kFront, kBack, kOptical, kFixed})) << "asked only once";

    StoreSetting(rack, "ApplyBootOrderDefaults", R"({"hex": "01"})");
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), kDefaultOrder);
    rack.Reorder({kFront, kBack, kOptical, kFixed});
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kFront, kBack, kOptical, kFixed})) << "applied only once";

    StoreSetting(rack, "SetBootOrderDis", R"("Disk.USBFront.1-1")");
    StoreSetting(rack, "BootOrderDisChanged", R"({"hex": "01"})");
    rack.PowerOnWell();
    EXPECT_EQ(OptionIn(rack.store(), rack.NumberOf(kFront)).attributes, 0x80000000u);
    EXPECT_EQ(OptionIn(rack.store(), rack.NumberOf(kBack)).attributes, 0x80000001u);
    const auto content = ContentOf(rack.store());
    rack.PowerOnWell();
    EXPECT_EQ(ContentOf(rack.store()), content);

    StoreSetting(rack, "BootOrderBlackListFqdd1", R"("Optical.SATAEmbedded.A-1")");
    rack.PowerOnWell();
    EXPECT_EQ(rack.Order(), (Texts{kFront, kBack, kFixed}));
}

TEST(EnumerationScenarios, SomeDevicesComeFirstWhenTheyAreNew) {
    EnumerationRack frontAndBack(R"({"policies": {"17": 1}})");
    frontAndBack.PowerOnWell();
    EXPECT_EQ(frontAndBack.Order(), (Texts{kBack, kFront, kFixed, kOptical}));
    frontAndBack.Reorder(kDefaultOrder);
    frontAndBack.PowerOnWell();
    EXPECT_EQ(frontAndBack.Order(), kDefaultOrder);

    EnumerationRack redundant(R"({
        "attributes": {"RedundantOsLocation": "InternalSd", "RedundantOsBoot": "Enabled"},
        "devices": {"usb-back": {"fqdd": "Disk.SDInternal.1-1"}}})");
    redundant.PowerOnWell();
    EXPECT_EQ(redundant.Order(), (Texts{kBack, kFixed, kOptical, kFront}));
}

// ---- Many boots, and the administrator's tool between two of them

// The sanitizer makes a boot a hundred times as slow.
constexpr unsigned kBoots = sim::kAddressSanitizer ? 10 : 1000;

TEST(EnumerationScenarios, AThousandBootsOfTheSameServerLeaveTheSameStore) {
    EnumerationRack rack;
    InstallOption(rack.store(), 0x0100, u"Kelm OS", kSystemPath, Place::First);
    rack.PowerOnWell();
    rack.PowerOnWell();
    const auto content = EverythingIn(rack.store());
    for (unsigned boot = 3; boot <= kBoots; ++boot) {
        rack.PowerOn();
        ASSERT_EQ(EverythingIn(rack.store()), content) << "boot " << boot;
    }
}

class AdministratorsEdits : public testing::Test {
protected:
    void SetUp() override {
        if (std::system("command -v efibootmgr >/dev/null") != 0) {
            GTEST_SKIP() << "efibootmgr is not installed";
        }
        std::filesystem::remove_all(folder_);
        rack_.store() = sim::NvStore(folder_ / "store", diagnostics_);
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    // A boot from the files as they are now.
    void Boot() {
        rack_.store() = sim::NvStore(folder_ / "store", diagnostics_);
        rack_.PowerOnWell();
        EXPECT_EQ(diagnostics_.str(), "");
    }
    // What the tool prints; it has to succeed.
    std::string Run(const std::string& arguments) {
        const std::string out = (folder_ / "out").string();
        const std::string command =
            fmt::format("LC_ALL=C.UTF-8 EFIVARFS_PATH='{}/' efibootmgr {} >'{}' 2>&1",
                        (folder_ / "store").string(), arguments, out);
        const int status = std::system(command.c_str());
        std::ifstream stream(out, std::ios::binary);
        const std::string text(std::istreambuf_iterator<char>(stream), {});
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << arguments << ": " << text;
        return text;
    }

    const std::filesystem::path folder_ =
        std::filesystem::path(testing::TempDir()) / "administrators-edits";
    std::ostringstream diagnostics_;
    EnumerationRack rack_;
};

TEST_F(AdministratorsEdits, AreHonouredByTheNextBoot) {
    Boot();
    EXPECT_EQ(rack_.Order(), kDefaultOrder);
    const std::string listing = Run("-v");
    for (const std::string& description : kDefaultOrder) {
        EXPECT_NE(listing.find("* " + description + "\t"), std::string::npos) << listing;
    }
    const Numbers numbers = NumbersIn(rack_.store());
    ASSERT_EQ(numbers.size(), 4u);
    Run(fmt::format("-o {:04X},{:04X},{:04X},{:04X}", numbers[3], numbers[1], numbers[2],
                    numbers[0]));
    Run(fmt::format("-A -b {:04X}", numbers[3]));
    Run(fmt::format("-n {:04X}", numbers[0]));
    Boot();
    EXPECT_EQ(rack_.Order(), (Texts{kBack, kOptical, kFront, kFixed}));
    EXPECT_EQ(OptionIn(rack_.store(), numbers[3]).attributes, 0x80000000u);
    EXPECT_EQ(rack_.store().Find(u"BootNext", gEfiGlobalVariableGuid), nullptr);
    std::string booted;
    for (const sim::Json& event : rack_.boot.Events("variable")) {
        if (event.at("name") == "BootCurrent" && event.at("op") == "set" && booted.empty()) {
            booted = event.at("data");
        }
    }
    EXPECT_EQ(booted, fmt::format("{:02X}{:02X}", numbers[0] & 0xFF, numbers[0] >> 8));
}

} // namespace kelm::test
