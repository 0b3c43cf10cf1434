// Placeholders for managed disks, from their first enumeration to the operating system that takes
// their place, and options that would boot what another option boots already.

#include "bootopt/DuplicateOption.h"
#include "bootopt/HddPlaceholder.h"
#include "library/firmware/Protocol.h"
#include "tests/driver/EnumeratedOptions.h"
#include "uefi/BlockIo.h"
#include "uefi/SimpleFileSystem.h"

#include <algorithm>

namespace kelm::test {

namespace {

constexpr char16_t kVirtualDisk[] = u"PciRoot(0x2)/Pci(0x2,0x0)/Pci(0x0,0x0)/Scsi(0xEF,0x0)";
constexpr char16_t kSecondDisk[] = u"PciRoot(0x2)/Pci(0x2,0x0)/Pci(0x0,0x0)/Scsi(0xEE,0x0)";
constexpr char16_t kNvme[] =
    u"PciRoot(0x4)/Pci(0x2,0x0)/Pci(0x0,0x0)/NVMe(0x1,01-00-00-00-01-EE-25-38)";
constexpr char16_t kElsewhere[] = u"PciRoot(0x6)/Pci(0x1,0x0)";
constexpr char16_t kFile[] = u"/\\EFI\\os.efi";

std::string Device(std::string_view id, std::string_view kind, std::u16string_view path,
                   std::string_view rest = "") {
    return fmt::format(R"("{}": {{"kind": "{}", "path": "{}"{}{}}})", id, kind, Narrow(path),
                       rest.empty() ? "" : ", ", rest);
}

std::u16string Partition(unsigned number) {
    return Wide(fmt::format("HD({},GPT,0000000{}-0001-0002-0003-040506070809,0x{:X},0x1000)",
                            number, number, number * 0x1000));
}
std::u16string On(std::u16string_view disk, unsigned partition) {
    return std::u16string(disk) + u"/" + Partition(partition);
}
// The partitions `first` and the following ones, with these files.
std::string Partitions(unsigned first, const Texts& files) {
    Texts texts;
    for (unsigned number = first; const std::string& content : files) {
        texts.push_back(fmt::format(
            R"({{"number": {}, "signature": "0000000{}-0001-0002-0003-040506070809", "start": {},
                 "blocks": 4096, {}}})",
            number, number, number * 0x1000, content));
        ++number;
    }
    return fmt::format(R"("partitions": [{}])", fmt::join(texts, ", "));
}

constexpr char kOfRaid[] = R"("fqdd": "RAID.Integrated.1-1", )";
std::string VirtualDisk(std::string_view medium) {
    return Device("virtual", "virtual-disk", kVirtualDisk, kOfRaid + std::string(medium));
}
std::string SecondDisk(std::string_view medium) {
    return Device("second", "virtual-disk", kSecondDisk, kOfRaid + std::string(medium));
}

constexpr char kEnabled[] = R"("HddPlaceholder": "Enabled")";
constexpr char16_t kScsiName[] = u"EFI RAID Disk PlaceHolder - Disk 239";

bool IsStored(const char16_t* name) {
    return Stored(sim::Platform::Current(), name, gKelmSystemVariableGuid).has_value();
}

bool Contains(const Texts& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

} // namespace

TEST(Placeholder, NumbersBeginAtZeroAndPassOverItAfterwards) {
    sim::Trace trace;
    RunClean(
        R"({"extends": "empty"})",
        [](sim::Platform& platform) {
            for (unsigned call = 0; call < 258; ++call) {
                const unsigned expected = call < 256 ? call : call - 255;
                ASSERT_EQ(BdsGetPlaceholderNumber(), expected);
                ASSERT_EQ(Stored(platform, u"PlaceHolderNum", gKelmSystemVariableGuid),
                          Bytes{UINT8(expected)});
            }
            EXPECT_EQ(
                platform.variables->Find(u"PlaceHolderNum", gKelmSystemVariableGuid)->attributes,
                3u);
            BdsForgetPlaceholderNumber();
            platform.faults->Add({.call = "SetVariable", .status = EFI_DEVICE_ERROR}, true);
            EXPECT_EQ(BdsGetPlaceholderNumber(), 0);
            EXPECT_EQ(BdsGetPlaceholderNumber(), 0) << "it was not stored";
            EXPECT_EQ(BdsGetPlaceholderNumber(), 1);
        },
        &trace);
    EXPECT_EQ(std::ranges::count(TextsOf(trace, 0x80000000),
                                 "Get PlaceHolderNum Variable, Status:Device Error\n"),
              1);
}

TEST(Placeholder, DisksAreKnownByTheirFqddAndTheirCard) {
    const struct {
        const char* fqdd;
        UINT32 identity; // of the PCI function: vendor, device
        bool expected;
    } rows[] = {
        {"RAID.Integrated.1-1", 0, true},
        {"RAID.Slot.3-1", 0, true},
        {"RAID.SL.3-1", 0, true},
        {"RAID.Mezzanine.1-1", 0, true},
        {"RAID.Embedded.1-1", 0, false},
        {"Disk.RAID.Slot.1", 0, false},
        {"raid.slot.1", 0, false},
        {"AHCI.Slot.2-1", 0x1B4B9230, true},
        {"AHCI.SL.2-1", 0x1B4B2241, true},
        {"MOTA.Slot.2-1", 0x1B4B2241, true},
        {"AHCI.Slot.2-1", 0x1B4B9231, false},
        {"AHCI.Slot.2-1", 0x92301B4B, false},
        {"MOTA.Slot.2-1", 0x80862241, false},
        {"AHCI.Embedded.1", 0x1B4B9230, false},
    };
    Texts devices;
    const auto cardOf = [](unsigned number) {
        return Wide(fmt::format("PciRoot(0x3)/Pci(0x{:X},0x0)", number));
    };
    const auto diskOf = [&](unsigned number) { return cardOf(number) + u"/Sata(0x0,0xFFFF,0x0)"; };
    for (unsigned number = 1; const auto& row : rows) {
        std::string identity;
        if (row.identity != 0) {
            identity = fmt::format(R"("pci": {{"vendor": {}, "device": {}, "class": "01 06 01"}})",
                                   row.identity >> 16, row.identity & 0xFFFF);
        }
        devices.push_back(
            Device(fmt::format("card{}", number), "sata-controller", cardOf(number), identity));
        devices.push_back(Device(fmt::format("disk{}", number), "sata-disk", diskOf(number),
                                 fmt::format(R"("fqdd": "{}")", row.fqdd)));
        ++number;
    }
    sim::Trace trace;
    RunClean(
        MachineOf(devices),
        [&](sim::Platform& platform) {
            ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
            ExpectNoLeak(platform, [&] {
                for (unsigned number = 1; const auto& row : rows) {
                    PathBytes path = PathOf(diskOf(number));
                    EXPECT_EQ(BdsIsPlaceholderDisk(AsPath(path)), row.expected) << number;
                    ++number;
                }
            });
            PathBytes unknown = PathOf(kElsewhere); // it has no FQDD
            EXPECT_FALSE(BdsIsPlaceholderDisk(AsPath(unknown)));
        },
        &trace);
    const Texts lines = TextsOf(trace, 0x40);
    EXPECT_TRUE(Contains(lines, "[IsKelmMotaCardVidDid]: Found VID/DID: 0x1B4B/0x9230.\n"));
    EXPECT_TRUE(Contains(lines, "[IsHdd PlaceHolder?]RAID.SL.3-1:TRUE\n"));
    EXPECT_TRUE(Contains(lines, "[IsHdd PlaceHolder?]AHCI.Embedded.1:FALSE\n"));
}

TEST(Placeholder, HoldsThePlaceOfADiskUntilAnOperatingSystemComes) {
    const Texts devices = {
        VirtualDisk(kOtherFiles),
        Device("nvme", "nvme", kNvme, R"("fqdd": "RAID.Slot.3-1", )" + std::string(kOtherFiles)),
        // Managed by nobody, or without a file system.
        Device("plain", "sata-disk", u"PciRoot(0x0)/Pci(0x11,0x5)/Sata(0x0,0xFFFF,0x0)",
               kOtherFiles),
        Device("bare", "virtual-disk", kSecondDisk, R"("fqdd": "RAID.Integrated.1-1")")};
    sim::Trace trace;
    RunClean(
        MachineOf(devices, kEnabled),
        [](sim::Platform& platform) {
            ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
            AddOption(0, kOperatingSystems, u"OS", kElsewhere);
            const Texts held = {"0000* OS", "0001 EFI RAID Disk PlaceHolder - Disk 239",
                                "0002 EFI RAID Disk PlaceHolder 0"};
            ExpectNoLeak(platform, [&] { EXPECT_EQ(Enumerate(), held); });
            EXPECT_EQ(AllOptions().at(1),
                      OptionBytes(kEnumerated, kScsiName, PathOf(kVirtualDisk)));
            EXPECT_TRUE(IsStored(u"PlaceHolderNum"));
            EXPECT_EQ(Enumerate(), held);
            EXPECT_FALSE(IsStored(u"PlaceHolderNum")) << "there is an option of another";

            AddOption(5, kOperatingSystems, u"On NVMe", std::u16string(kNvme) + kFile);
            AddOption(6, kOperatingSystems, u"On RAID", std::u16string(kVirtualDisk) + kFile);
            AddOption(7, kOperatingSystems, u"Last", kElsewhere);
            const Texts replaced = {"0000* OS", "0006* On RAID", "0005* On NVMe", "0007* Last"};
            ExpectNoLeak(platform, [&] { EXPECT_EQ(Enumerate(), replaced); });
            EXPECT_EQ(AllOptions().size(), replaced.size());
            EXPECT_EQ(Enumerate(), replaced);

            // One leaves again; then nobody wants placeholders any more.
            SetOrder(kUefiOrder, {0, 6, 7});
            EXPECT_EQ(Enumerate(), (Texts{"0000* OS", "0006* On RAID", "0007* Last",
                                          "0001 EFI RAID Disk PlaceHolder 0"}));
            SetSetting("HddPlaceholder", "Disabled");
            EXPECT_EQ(Enumerate(), (Texts{"0000* OS", "0006* On RAID", "0007* Last"}));
        },
        &trace);
    const Texts lines = TextsOf(trace, 0x40);
    for (const std::string& line :
         {fmt::format("0:DevicePath:PciRoot(0x0)/Pci(0x11,0x5)/Sata(0x0,0xFFFF,0x0)\n"),
          std::string("   type:312\n"), std::string("   type:302\n"), std::string("   type:3FF\n"),
          std::string("  Created Placeholder EFI RAID Disk PlaceHolder - Disk 239\n"),
          std::string("[ChildInBootOption]Found:FALSE,Match:0,Self:TRUE \n"),
          std::string("[ChildInBootOption]Found:TRUE,Match:4,Self:FALSE \n")}) {
        EXPECT_TRUE(Contains(lines, line)) << line;
    }
}

TEST(Placeholder, GivesItsSlotToTheOptionThatItsDiskGets) {
    sim::Trace trace;
    RunClean(
        MachineOf(
            {VirtualDisk(Partitions(1, {kOtherFiles, kLoader, kLoader})), SecondDisk(kOtherFiles)},
            kEnabled),
        [](sim::Platform& platform) {
            ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
            AddOption(0, kOperatingSystems, u"OS", kElsewhere);
            AddOption(1, kEnumerated, kScsiName, kVirtualDisk);
            AddOption(2, kOperatingSystems, u"Whole disk", kVirtualDisk);
            AddOption(3, kEnumerated, u"EFI RAID Disk PlaceHolder - Disk 238", kSecondDisk);
            ExpectNoLeak(platform, [] {
                // While a disk gets an option the others go without a placeholder.
                EXPECT_EQ(Enumerate(),
                          (Texts{"0000* OS", "0004 EFI Fixed Disk Boot Device 1",
                                 "0002* Whole disk", "0001 EFI Fixed Disk Boot Device 2"}));
            });
            EXPECT_EQ(Enumerate(), (Texts{"0000* OS", "0004 EFI Fixed Disk Boot Device 1",
                                          "0002* Whole disk", "0001 EFI Fixed Disk Boot Device 2",
                                          "0003 EFI RAID Disk PlaceHolder - Disk 238"}));
        },
        &trace);
    const Texts lines = TextsOf(trace, 0x40);
    EXPECT_TRUE(Contains(lines, "Replace PlaceHolder :Boot0001\n"));
    EXPECT_TRUE(
        Contains(lines, fmt::format("Remove PlaceHolder for device:{}\n", Narrow(kSecondDisk))));
}

TEST(Placeholder, GivesItsSlotToAShortPathAndOnlyOnce) {
    RunClean(MachineOf({VirtualDisk(Partitions(1, {kOtherFiles}))}, kEnabled),
             [](sim::Platform& platform) {
                 ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
                 AddOption(1, kEnumerated, kScsiName, kVirtualDisk);
                 AddOption(0, kOperatingSystems, u"Other", kElsewhere);
                 AddOption(2, kEnumerated, u"EFI Fixed Disk Boot Device 1", On(kVirtualDisk, 1));
                 AddOption(4, kOperatingSystems, u"New OS", Partition(1) + kFile);
                 ExpectNoLeak(platform, [] {
                     EXPECT_EQ(Enumerate(), (Texts{"0004* New OS", "0000* Other"}));
                 });
                 EXPECT_EQ(AllOptions().size(), 2u);
             });
}

TEST(Placeholder, IsKnownByItsNameAndItsMaker) {
    RunWithoutLeak([](sim::Platform&) {
        AddOption(1, kEnumerated, u"EFI Fixed Disk Boot Device 1", kVirtualDisk);
        AddOption(2, kOperatingSystems, kScsiName, kVirtualDisk);
        OptionCache cache;
        UefiOptions options(cache);
        PathBytes path = PathOf(On(kVirtualDisk, 1));
        EXPECT_FALSE(BdsReplacePlaceholder(options, AsPath(path), UINT16(7)));
        EXPECT_EQ(AllOptions().size(), 2u);
        EXPECT_EQ(Order(kUefiOrder), (Numbers{1, 2}));
    });
}

TEST(Placeholder, OfADiskWithAnyOtherKindOfPathIsReplacedAsWell) {
    constexpr char16_t kSasDisk[] = u"VenHw(5C1E6A2B-7A60-4D2D-9C39-8F3A3E0D1B77)/I2O(0x1)";
    DeviceHandles handles;
    EFI_BLOCK_IO_MEDIA medium{};
    EFI_BLOCK_IO_PROTOCOL blockIo{};
    blockIo.Media = &medium;
    RunClean(
        MachineOf({Device("managed", "boot-device", u"VenHw(5C1E6A2B-7A60-4D2D-9C39-8F3A3E0D1B77)",
                          R"("fqdd": "RAID.Mezzanine.1-1")"),
                   VirtualDisk(kOtherFiles)},
                  kEnabled),
        [&](sim::Platform&) {
            ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
            PathBytes path = PathOf(kVirtualDisk);
            EFI_DEVICE_PATH_PROTOCOL* rest = AsPath(path);
            EFI_HANDLE handle = nullptr;
            ASSERT_EQ(gBS->LocateDevicePath(&gEfiSimpleFileSystemProtocolGuid, &rest, &handle),
                      EFI_SUCCESS);
            auto* files = ProtocolOnHandle<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL>(handle);
            handle = handles.Add(kSasDisk, &gEfiBlockIoProtocolGuid, &blockIo);
            ASSERT_EQ(gBS->InstallMultipleProtocolInterfaces(
                          &handle, &gEfiSimpleFileSystemProtocolGuid, files, nullptr),
                      EFI_SUCCESS);

            EXPECT_EQ(Enumerate(), (Texts{"0000 EFI RAID Disk PlaceHolder - Disk 239",
                                          "0001 EFI RAID Disk PlaceHolder 0"}));
            SetOrder(kUefiOrder, {1, 0});
            AddOption(2, kOperatingSystems, u"OS", std::u16string(kSasDisk) + kFile);
            EXPECT_EQ(Enumerate(),
                      (Texts{"0002* OS", "0000 EFI RAID Disk PlaceHolder - Disk 239"}));
        });
}

TEST(Placeholder, StandsInFrontWhenTheSecondaryReaderSaysSo) {
    for (const bool reader : {true, false}) {
        SCOPED_TRACE(reader);
        sim::Trace trace;
        RunClean(
            MachineOf({VirtualDisk(kOtherFiles), SecondDisk(kOtherFiles)},
                      std::string(kEnabled) + R"(, "HddPlaceholderTopOfBootOrder": "Enabled")",
                      reader ? "" : R"(, "missing": ["KelmSecondaryAttributeReader"])"),
            [&](sim::Platform& platform) {
                ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
                AddOption(7, kOperatingSystems, u"OS", kElsewhere);
                ExpectNoLeak(platform, [&] {
                    const Texts options = Enumerate();
                    ASSERT_EQ(options.size(), 3u);
                    // The later one ends up ahead.
                    const std::size_t first = reader ? 0 : 1;
                    const char* const begins[] = {reader ? "0001 EFI RAID Disk PlaceHolder"
                                                         : "0000 EFI RAID Disk PlaceHolder",
                                                  reader ? "0000 EFI RAID Disk PlaceHolder"
                                                         : "0001 EFI RAID Disk PlaceHolder"};
                    EXPECT_TRUE(options[first].starts_with(begins[0])) << options[first];
                    EXPECT_TRUE(options[first + 1].starts_with(begins[1])) << options[first + 1];
                });
            },
            &trace);
        EXPECT_EQ(std::ranges::count(TextsOf(trace, 0x40),
                                     "Moving HDD PlaceHolder to top of bootOrder\n"),
                  reader ? 2 : 0);
    }
}

TEST(Placeholder, ThereAreNoneWithoutTheLocationService) {
    RunClean(MachineOf({VirtualDisk(kOtherFiles)}, kEnabled,
                       R"(, "missing": ["KelmDeviceLocationProtocol"])"),
             [](sim::Platform&) {
                 ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
                 EXPECT_EQ(Enumerate(), Texts());
             });
}

TEST(Duplicate, AnOperatingSystemsOptionTakesThePlaceOfTheFixedDisk) {
    constexpr char kFixedOnly[] = R"("Fixed_Disk_Only": "Enabled")";
    const std::string both = fmt::format("{}, {}", kFixedOnly, kEnabled);
    const struct {
        std::string settings;
        Texts first; // after an enumeration
        Texts second;
    } rows[] = {
        {"",
         {"0001 EFI Fixed Disk Boot Device 1", "0002 EFI Fixed Disk Boot Device 2", "0003* Other",
          "0004* OS 1", "0005* OS 2", "0000 EFI Fixed Disk Boot Device 3"},
         {"0001 EFI Fixed Disk Boot Device 1", "0002 EFI Fixed Disk Boot Device 2", "0003* Other",
          "0004* OS 1", "0005* OS 2", "0000 EFI Fixed Disk Boot Device 3"}},
        // One in each enumeration.
        {kFixedOnly,
         {"0002 EFI Fixed Disk Boot Device 2", "0003* Other", "0004* OS 1", "0005* OS 2",
          "0000 EFI Fixed Disk Boot Device 3"},
         {"0003* Other", "0004* OS 1", "0005* OS 2", "0000 EFI Fixed Disk Boot Device 3"}},
        {both,
         {"0004* OS 1", "0002 EFI Fixed Disk Boot Device 2", "0003* Other", "0005* OS 2",
          "0000 EFI Fixed Disk Boot Device 3"},
         {"0004* OS 1", "0005* OS 2", "0003* Other", "0000 EFI Fixed Disk Boot Device 3"}},
    };
    constexpr char16_t kDisk[] = u"PciRoot(0x0)/Pci(0x11,0x5)/Sata(0x0,0xFFFF,0x0)";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.settings);
        sim::Trace trace;
        RunClean(
            MachineOf(
                {Device("disk", "sata-disk", kDisk, Partitions(1, {kLoader, kLoader, kLoader}))},
                row.settings),
            [&](sim::Platform& platform) {
                ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
                AddOption(1, kEnumerated, u"EFI Fixed Disk Boot Device 1", On(kDisk, 1));
                AddOption(2, kEnumerated, u"EFI Fixed Disk Boot Device 2", On(kDisk, 2));
                AddOption(3, kOperatingSystems, u"Other", kElsewhere);
                AddOption(4, kOperatingSystems, u"OS 1", Partition(1) + kFile);
                AddOption(5, kOperatingSystems, u"OS 2", On(kDisk, 2) + kFile);
                ExpectNoLeak(platform, [&] { EXPECT_EQ(Enumerate(), row.first); });
                ExpectNoLeak(platform, [&] { EXPECT_EQ(Enumerate(), row.second); });
            },
            &trace);
        EXPECT_EQ(Contains(TextsOf(trace, 0x440), "HDD: EFI Fixed Disk Boot Device 1 Duplicate.\n"),
                  !row.settings.empty());
        EXPECT_EQ(Contains(TextsOf(trace, 0x40),
                           "[HDD Duplicate]:EFI Fixed Disk Boot Device 1,Duplicate with Index:3\n"),
                  !row.settings.empty());
    }
}

TEST(Duplicate, WindowsToGoAndManagedDisksHaveOneOption) {
    constexpr char16_t kStick[] = u"PciRoot(0x0)/Pci(0x14,0x0)/USB(0x1,0x0)";
    constexpr char16_t kWindowsToGo[] = u"USB Entry for Windows To Go";
    const std::string machine =
        MachineOf({Device("usb", "usb-controller", u"PciRoot(0x0)/Pci(0x14,0x0)"),
                   Device("stick", "usb-disk", kStick,
                          R"("usb": {"vendor": "0x1234", "product": "0x9", "serialNumber": "SN-1"},
                   "block": {"removable": false}, )" +
                              Partitions(1, {kLoader})),
                   VirtualDisk(Partitions(2, {kLoader, kLoader}))},
                  R"("Fixed_Disk_Only": "Enabled", "HddPlaceholder": "Disabled")");
    sim::Trace trace;
    RunClean(
        machine,
        [&](sim::Platform&) {
            ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
            AddOption(0, kOperatingSystems, kWindowsToGo, u"UsbWwid(0x1234,0x9,0x0,\"SN-1\")");
            const Texts others = {"0000* USB Entry for Windows To Go",
                                  "0001 EFI Fixed Disk Boot Device 2",
                                  "0002 EFI Fixed Disk Boot Device 3"};
            EXPECT_EQ(Enumerate(), others);
            // An option from before has its place taken by the entry.
            AddOption(3, kEnumerated, u"EFI USB Device 1", On(kStick, 1));
            SetOrder(kUefiOrder, {3, 1, 0, 2});
            EXPECT_EQ(Enumerate(), others);

            // Other devices, other descriptions and full paths are no such entries.
            for (const auto& [description, path] :
                 {std::pair(u"USB Entry for Windows To Go", u"UsbWwid(0x1234,0x9,0x0,\"X\")"),
                  std::pair(u"USB Entry for Windows", u"UsbWwid(0x1234,0x9,0x0,\"SN-1\")"),
                  std::pair(u"USB Entry for Windows To Go", kStick)}) {
                Store(sim::Platform::Current(), u"Boot0000",
                      OptionBytes(kOperatingSystems, description, PathOf(path)));
                SetOrder(kUefiOrder, {0, 1, 2});
                EXPECT_EQ(Enumerate().size(), 4u);
                EXPECT_EQ(Listed().back(), "0003 EFI Fixed Disk Boot Device 1");
                Store(sim::Platform::Current(), u"Boot0003", {});
            }
        },
        &trace);
    EXPECT_TRUE(
        Contains(TextsOf(trace, 0x40), "W2G found! USB: EFI Fixed Disk Boot Device 1 Duplicate\n"));

    // With placeholders one operating system speaks for all managed disks.
    for (const bool enumerated : {false, true}) {
        RunClean(machine, [&](sim::Platform&) {
            SetSetting("HddPlaceholder", "Enabled");
            ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
            AddOption(0, enumerated ? kEnumerated : kOperatingSystems, u"OS",
                      On(kVirtualDisk, 3) + kFile);
            const Texts options = Enumerate();
            EXPECT_EQ(options.size(), enumerated ? 3u : 2u);
            EXPECT_EQ(options[1], "0001 EFI Fixed Disk Boot Device 1");
        });
    }
}

} // namespace kelm::test
