// Boot options made for the devices of a machine, and taken away with them.

#include "bootopt/AutoOption.h"
#include "bootopt/CandidateHandles.h"
#include "bootopt/DefaultUefiOrder.h"
#include "bootopt/GenericUsb.h"
#include "bootopt/StaleOptions.h"
#include "bootopt/UsbStorage.h"
#include "bootopt/VariableHelpers.h"
#include "library/firmware/Protocol.h"
#include "network/BootDevicePlaceholders.h"
#include "tests/driver/EnumeratedOptions.h"
#include "tests/sim/PeWriter.h"
#include "uefi/BlockIo.h"
#include "uefi/DriverBinding.h"
#include "uefi/FirmwareVolume2.h"
#include "uefi/SimpleFileSystem.h"

#include <algorithm>
#include <map>

namespace kelm::test {

namespace {

std::u16string UsbPath(unsigned port) {
    return Wide(fmt::format("PciRoot(0x0)/Pci(0x14,0x0)/USB(0x{:X},0x0)", port));
}

// A USB device, with more keys behind those that it has to have.
std::string UsbDevice(unsigned port, std::string_view kind, std::string_view rest = "") {
    return fmt::format(R"("usb{}": {{"kind": "{}", "path": "{}"{}}})", port, kind,
                       Narrow(UsbPath(port)), rest);
}

// A program of a type that does not boot here, as the content of a file.
std::string ProgramOf(UINT16 machine, UINT16 subsystem) {
    const auto bytes = simtest::PeWriter{.machine = machine, .subsystem = subsystem}.Write();
    return fmt::format(R"("files": {{"\\EFI\\BOOT\\BOOTX64.EFI": {{"hex": "{:02X}"}}}})",
                       fmt::join(bytes, ""));
}

// Block devices that nobody reads, on handles of their own.
class BlockDevices {
public:
    EFI_HANDLE Add(std::u16string_view path, UINT32 blockSize, bool removable = true) {
        Device& device = devices_.emplace_back();
        device.medium.BlockSize = blockSize;
        device.medium.RemovableMedia = removable;
        device.protocol.Media = &device.medium;
        return handles.Add(path, &gEfiBlockIoProtocolGuid, &device.protocol);
    }

    DeviceHandles handles;

private:
    struct Device {
        EFI_BLOCK_IO_MEDIA medium{};
        EFI_BLOCK_IO_PROTOCOL protocol{};
    };
    std::deque<Device> devices_;
};

// A driver that has names for some controllers.
std::map<EFI_HANDLE, std::u16string> gNames;

EFI_STATUS EFIAPI NameOf(EFI_COMPONENT_NAME2_PROTOCOL*, EFI_HANDLE controller, EFI_HANDLE child,
                         const CHAR8*, CHAR16** name) {
    const auto found = gNames.find(controller);
    if (child != nullptr || found == gNames.end()) {
        return EFI_UNSUPPORTED;
    }
    *name = found->second.data();
    return EFI_SUCCESS;
}

EFI_COMPONENT_NAME2_PROTOCOL gNamer = {
    .GetDriverName = nullptr, .GetControllerName = NameOf, .SupportedLanguages = "fr-FR;en-US"};

EFI_HANDLE HandleOf(std::u16string_view text) {
    PathBytes path = PathOf(text);
    EFI_DEVICE_PATH_PROTOCOL* rest = AsPath(path);
    EFI_HANDLE handle = nullptr;
    EXPECT_EQ(gBS->LocateDevicePath(&gEfiDevicePathProtocolGuid, &rest, &handle), EFI_SUCCESS);
    EXPECT_TRUE(IsEndEntire(rest)) << Narrow(text);
    return handle;
}

EFI_HANDLE HandleWithoutPath() {
    EFI_HANDLE handle = nullptr;
    EXPECT_EQ(gBS->InstallMultipleProtocolInterfaces(&handle, &gEfiFirmwareVolume2ProtocolGuid,
                                                     nullptr, nullptr),
              EFI_SUCCESS);
    return handle;
}

constexpr char kUsbController[] =
    R"j("usb": {"kind": "usb-controller", "path": "PciRoot(0x0)/Pci(0x14,0x0)"})j";
constexpr char16_t kOptical[] = u"PciRoot(0x0)/Pci(0x11,0x5)/Sata(0x0,0xFFFF,0x0)";
constexpr char16_t kSataDisk[] = u"PciRoot(0x0)/Pci(0x11,0x5)/Sata(0x1,0xFFFF,0x0)";

// The disk in the second SATA port, with this medium.
std::string SataDisk(std::string_view medium) {
    return fmt::format(R"("disk": {{"kind": "sata-disk", "path": "{}", {}}})", Narrow(kSataDisk),
                       medium);
}
std::u16string Partition(unsigned number) {
    return Wide(fmt::format("HD({},GPT,0000000{}-0001-0002-0003-040506070809,0x{:X},0x1000)",
                            number, number, number * 0x1000));
}
std::u16string OnDisk(unsigned partition) {
    return std::u16string(kSataDisk) + u"/" + Partition(partition);
}
// Partitions as above, numbered from 1.
std::string Partitions(const Texts& files) {
    Texts texts;
    for (unsigned number = 1; number <= files.size(); ++number) {
        texts.push_back(fmt::format(
            R"({{"signature": "0000000{}-0001-0002-0003-040506070809", "start": {},
                 "blocks": 4096, {}}})",
            number, number * 0x1000, files[number - 1]));
    }
    return fmt::format(R"("partitions": [{}])", fmt::join(texts, ", "));
}

} // namespace

TEST(Enumeration, DescribesTheDevicesOfEveryKindInTheOrderOfTheKinds) {
    const std::string machine =
        MachineOf(Texts{kUsbController, UsbDevice(1, "usb-disk"),
                        UsbDevice(2, "usb-disk", R"(, "usb": {"productName": "Key 3000"})"),
                        UsbDevice(3, "usb-disk", R"(, "usb": {"productName": "MASTER"})"),
                        UsbDevice(4, "usb-optical", R"(, "usb": {"productName": "Virtual Media"})"),
                        UsbDevice(5, "usb-optical"), UsbDevice(6, "usb-floppy"),
                        UsbDevice(7, "usb-disk", R"(, "usb": {"inquiryStatus": "EFI_TIMEOUT"})"),
                        fmt::format(R"("optical": {{"kind": "sata-optical", "path": "{}"}})",
                                    Narrow(kOptical)),
                        SataDisk(Partitions({kLoader, kOtherFiles, R"("number": 3)"})),
                        R"j("bare": {"kind": "sata-disk",
                               "path": "PciRoot(0x0)/Pci(0x11,0x5)/Sata(0x2,0xFFFF,0x0)"})j"},
                  R"("GenericUsbBoot": "Enabled")");
    BlockDevices devices;
    sim::Trace trace;
    RunClean(
        machine,
        [&](sim::Platform& platform) {
            ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
            BdsInstallGenericUsbBootDevice();
            // Without a disk: the file system of the first partition under another path.
            devices.handles.Add(
                u"PciRoot(0x5)/Pci(0x1,0x0)", &gEfiSimpleFileSystemProtocolGuid,
                ProtocolOnHandle<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL>(HandleOf(OnDisk(1))));
            const std::u16string at = u"PciRoot(0x5)/Pci(0x2,0x0)/";
            devices.Add(at + u"Scsi(0x1,0x0)", 512);
            devices.Add(at + u"Ata(Primary,Master,0x0)", 512); // a tape
            devices.Add(at + u"Ata(Primary,Slave,0x0)", 2048);
            devices.Add(at + u"Ata(Secondary,Master,0x0)", 1024);
            devices.Add(at + u"VenMsg(3F1A0D52-6C1B-4E4B-8A9D-2B1C7E5F9A31)", 512); // no option
            devices.Add(at + u"I2O(0x1)", 512);
            devices.Add(at + u"I2O(0x2)", 512);
            devices.Add(at + u"Scsi(0x2,0x0)", 512);
            devices.Add(at + u"Scsi(0x3,0x0)", 512, false); // fixed, without a file system
            devices.Add(u"PciRoot(0x5)/Floppy(0x1)", 512);
            devices.Add(u"PciRoot(0x5)/Floppy(0x0)", 512);

            gNames[HandleOf(kOptical)] = u"DVD writer";
            gNames[HandleOf(u"PciRoot(0x5)/Floppy(0x0)")].assign(300, u'x');
            Serve(gNamer);
            ExpectNoLeak(platform, [] {
                EXPECT_EQ(
                    Enumerate(),
                    (Texts{"0000 EFI Floppy 1", "0001 " + std::string(255, 'x'),
                           "0002 EFI USB Device 1", "0003 EFI DVD/CDROM 1", "0004 Tape Backup Unit",
                           "0005 EFI DVD/CDROM 2", "0006 EFI Misc Device", "0007 EFI USB Device 2",
                           "0008 EFI Fixed Disk Boot Device 1", "0009 EFI USB Device 3",
                           "000A Key 3000", "000B USB Placeholder", "000C EFI USB Device 5",
                           "000D EFI SCSI Device 1", "000E EFI Misc Device 1",
                           "000F EFI Misc Device 2", "0010 EFI SCSI Device 2",
                           "0011 EFI Non-Block Boot Device 1"}));
            });
            const auto options = AllOptions();
            EXPECT_EQ(options.at(8),
                      OptionBytes(kEnumerated, u"EFI Fixed Disk Boot Device 1", PathOf(OnDisk(1))));
            EXPECT_EQ(options.at(0xB), OptionBytes(kEnumerated, u"USB Placeholder",
                                                   BytesOfPath(BdsGenericUsbBootPath())));
            EXPECT_EQ(platform.variables->Find(u"Boot0000", gEfiGlobalVariableGuid)->attributes,
                      7u);

            // Once more, with the same devices.
            const std::size_t events = trace.EventsOf("variable").size();
            const Texts before = Listed();
            EXPECT_EQ(Enumerate(), before);
            EXPECT_EQ(trace.EventsOf("variable").size(), events) << "nothing is written";

            UINTN count = 9;
            EFI_HANDLE* none = nullptr;
            EXPECT_EQ(BdsGetBootCandidateHandles(2, &count, &none), EFI_INVALID_PARAMETER);
            EXPECT_EQ(count, 0u);
        },
        &trace);

    const Texts lines = TextsOf(trace, 0x400);
    EXPECT_EQ(
        std::count(lines.begin(), lines.end(), "BdsEnumerateUefiBootOptions - Handling index: 0\n"),
        2);
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         fmt::format("  Check FileSystems:{}\n", Narrow(OnDisk(1)))),
              2);
    const Texts info = TextsOf(trace, 0x440);
    EXPECT_EQ(std::count(info.begin(), info.end(), "Buffer: EFI DVD/CDROM 1\n"), 2);
    EXPECT_EQ(std::count(info.begin(), info.end(), "Buffer: EFI DVD/CDROM 1, BootVar= 3\n"), 1);
}

TEST(Enumeration, FindsNothingToDoOnAMachineWithoutDevices) {
    RunWithoutLeak([](sim::Platform& platform) {
        OptionCache cache;
        UefiOptions options(cache);
        EXPECT_EQ(BdsDeleteInvalidUefiBootOptions(options, DeviceNames()), EFI_NOT_FOUND);
        Store(platform, u"DefaultUefiBootOrder", AsBytes({1, 2}), gKelmSystemVariableGuid);
        EXPECT_EQ(BdsBuildDefaultUefiBootOrder(), EFI_SUCCESS);
        EXPECT_FALSE(Stored(platform, u"DefaultUefiBootOrder", gKelmSystemVariableGuid));
    });
    RunClean(R"({"extends": "empty"})", [](sim::Platform&) {
        EXPECT_EQ(Enumerate(), Texts());
        UINTN count = 9;
        EFI_HANDLE* handles = nullptr;
        EXPECT_EQ(BdsGetBootCandidateHandles(kUefiBootCandidates, &count, &handles), EFI_SUCCESS);
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(handles, nullptr);
    });
}

TEST(UsbStorage, KindIsTakenFromTheFqddOrElseFromTheDevice) {
    const struct {
        const char* kind;
        const char* rest;
        UsbStorageKind expected;
    } rows[] = {
        {"usb-disk", R"(, "fqdd": "Floppy.NimborVirtual.1-1")", UsbStorageKind::Floppy},
        {"usb-disk", R"(, "fqdd": "Optical.NimborVirtual.1-1")", UsbStorageKind::Optical},
        {"usb-optical", R"(, "fqdd": "Disk.NimborVirtual.1-1")", UsbStorageKind::Disk},
        {"usb-optical", R"(, "fqdd": "Disk.USBFront.1-1")", UsbStorageKind::Optical},
        {"usb-floppy", "", UsbStorageKind::Floppy},
        {"usb-disk", "", UsbStorageKind::Disk},
        {"usb-disk", R"(, "usb": {"inquiry": "0E 80"})", UsbStorageKind::Optical},
        {"usb-disk", R"(, "usb": {"inquiryStatus": "EFI_DEVICE_ERROR"})", UsbStorageKind::None},
        {"usb-keyboard", "", UsbStorageKind::None},
    };
    Texts devices = {kUsbController};
    unsigned port = 0;
    for (const auto& row : rows) {
        devices.push_back(UsbDevice(++port, row.kind, row.rest));
    }
    RunClean(MachineOf(devices), [&](sim::Platform& platform) {
        ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
        for (unsigned i = 1; const auto& row : rows) {
            PathBytes path = PathOf(UsbPath(i++));
            EXPECT_EQ(BdsGetUsbStorageKind(AsPath(path)), row.expected) << i - 1;
        }
        EXPECT_EQ(BdsGetUsbStorageKind(nullptr), UsbStorageKind::None);
        PathBytes gone = PathOf(u"PciRoot(0x0)/Pci(0x15,0x0)/USB(0x1,0x0)");
        EXPECT_EQ(BdsGetUsbStorageKind(AsPath(gone)), UsbStorageKind::None);

        // It is asked five times.
        PathBytes disk = PathOf(UsbPath(6));
        for (const unsigned failures : {4u, 5u}) {
            for (unsigned nth = 1; nth <= failures; ++nth) {
                platform.faults->Add({.call = "UsbIo.UsbBulkTransfer", .nth = nth}, true);
            }
            EXPECT_EQ(BdsGetUsbStorageKind(AsPath(disk)),
                      failures == 4 ? UsbStorageKind::Disk : UsbStorageKind::None);
        }
    });

    for (const char16_t* name : {u"MAS", u"masked", u"FORGELINEDRIVE 2", u"forgelinedrive",
                                 u"SECUPD", u"secupd1", u"Virtual Media"}) {
        EXPECT_TRUE(BdsIsExcludedUsbDevice(name));
    }
    for (const char16_t* name :
         {u"", u"Mas", u"A MAS", u"ForgelineDrive", u"SECUP", u"virtual Media"}) {
        EXPECT_FALSE(BdsIsExcludedUsbDevice(name));
    }
}

TEST(Enumeration, RewritesADescriptionAndNeverTheOptionOfAnother) {
    RunWithoutLeak([](sim::Platform& platform) {
        constexpr UINT32 kDisabled = kEnumerated & ~UINT32(LOAD_OPTION_ACTIVE);
        AddOption(0, kOperatingSystems, u"Mine", kOptical);
        AddOption(2, kDisabled, u"EFI USB Device 1", UsbPath(1));
        AddOption(4, kEnumerated, u"EFI USB Device 1", UsbPath(2));
        Store(platform, u"Boot0001", {1, 2, 3}); // taken, and not listed
        Numbers order = Order(kUefiOrder);
        order.insert(order.begin(), {0x55, 0x56}); // missing and malformed ones are passed over
        SetOrder(kUefiOrder, order);
        Store(platform, u"Boot0056", {1, 2, 3});
        const auto before = AllOptions();

        OptionCache cache;
        UefiOptions options(cache);
        const auto create = [&](std::u16string_view path, const char16_t* description) {
            PathBytes bytes = PathOf(path);
            UINT16 number = 0xEEEE;
            const EFI_STATUS status =
                BdsCreateUefiBootOption(options, AsPath(bytes), description, &number);
            return std::pair(status, number);
        };
        EXPECT_EQ(create(kOptical, u"EFI DVD/CDROM 1").first, EFI_ALREADY_STARTED);
        EXPECT_EQ(create(UsbPath(1), u"EFI USB Device 1").first, EFI_ALREADY_STARTED);
        EXPECT_EQ(AllOptions(), before);
        EXPECT_EQ(create(UsbPath(1), u"EFI USB Device 12").first, EFI_ALREADY_STARTED);
        EXPECT_EQ(create(UsbPath(3), u"EFI USB Device 1"), std::pair(EFI_SUCCESS, UINT16(3)));

        auto expected = before;
        expected[2] = OptionBytes(kDisabled, u"EFI USB Device 12", PathOf(UsbPath(1)));
        expected[3] = OptionBytes(kEnumerated, u"EFI USB Device 1", PathOf(UsbPath(3)));
        EXPECT_EQ(AllOptions(), expected);
        EXPECT_EQ(Order(kUefiOrder), order) << "it goes into no order";

        platform.faults->Add({.call = "SetVariable", .status = EFI_OUT_OF_RESOURCES}, true);
        EXPECT_EQ(create(UsbPath(4), u"EFI USB Device 2").first, EFI_OUT_OF_RESOURCES);
        EXPECT_EQ(AllOptions(), expected);

        // By path: up to what cannot be read, and never another's.
        const auto remove = [&](std::u16string_view path) {
            PathBytes bytes = PathOf(path);
            OptionCache freshCache;
            UefiOptions fresh(freshCache);
            return BdsDeleteBootOptionForDevicePath(fresh, AsPath(bytes));
        };
        EXPECT_EQ(remove(UsbPath(1)), EFI_OUT_OF_RESOURCES);
        SetOrder(kUefiOrder, {0, 2, 4});
        EXPECT_EQ(remove(UsbPath(3)), EFI_NOT_FOUND) << "it is not listed";
        EXPECT_EQ(remove(UsbPath(2)), EFI_SUCCESS);
        EXPECT_EQ(remove(kOptical), EFI_NOT_FOUND);
        expected.erase(4);
        EXPECT_EQ(AllOptions(), expected);
        EXPECT_EQ(Order(kUefiOrder), (Numbers{0, 2}));
        SetOrder(kUefiOrder, {});
        static_cast<void>(BdsDeleteVariable(kUefiOrder, &gKelmSystemVariableGuid));
        EXPECT_EQ(remove(UsbPath(1)), EFI_NOT_FOUND);
    });
}

TEST(Enumeration, DeletesTheOptionsOfPartitionsThatCannotBootAnyMore) {
    constexpr UINT16 kIa32 = 0x14C;
    constexpr UINT16 kX64 = 0x8664;
    constexpr UINT16 kApplication = 10;
    constexpr UINT16 kBootServiceDriver = 11;
    const Texts media = {
        kOtherFiles,
        ProgramOf(kIa32, kApplication),
        ProgramOf(kX64, kBootServiceDriver),
        R"("files": {"\\EFI\\BOOT\\BOOTX64.EFI": {"text": "MZ is no program."}})",
        R"("files": {"\\EFI\\BOOT\\BOOTX64.EFI\\file": {"text": "A directory."}})",
        ProgramOf(kX64, kApplication),
        kOtherFiles,
    };
    RunClean(MachineOf({SataDisk(Partitions(media))}), [&](sim::Platform& platform) {
        ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
        AddOption(0, kOperatingSystems, u"An OS", OnDisk(7));
        for (UINT16 number = 1; number <= 7; ++number) {
            AddOption(number, kEnumerated, u"EFI Fixed Disk Boot Device 1", OnDisk(number));
        }
        ExpectNoLeak(platform, [] {
            EXPECT_EQ(Enumerate(), (Texts{"0000* An OS", "0006 EFI Fixed Disk Boot Device 1"}));
        });
        EXPECT_EQ(AllOptions().size(), 2u);
    });
}

TEST(Enumeration, StaleOptionsAreTakenOutOfTheOrder) {
    const std::string machine =
        MachineOf(Texts{kUsbController, UsbDevice(1, "usb-disk"),
                        UsbDevice(2, "usb-disk", R"(, "usb": {"productName": "Key 3000"})"),
                        UsbDevice(3, "usb-disk", R"(, "usb": {"productName": "SECUPD"})"),
                        fmt::format(R"("optical": {{"kind": "sata-optical", "path": "{}"}})",
                                    Narrow(kOptical)),
                        SataDisk(Partitions({kLoader}))},
                  R"("PxeDev1EnDis": "Disabled")");
    const std::u16string gone = u"PciRoot(0x6)/Pci(0x1,0x0)/Sata(0x0,0xFFFF,0x0)";
    const std::u16string fileSystem = u"PciRoot(0x5)/Pci(0x1,0x0)";
    const struct {
        UINT32 attributes;
        const char16_t* description;
        std::u16string path;
        bool stays;
    } rows[] = {
        {kOperatingSystems, u"OS", gone, true},
        {kEnumerated, u"EFI Fixed Disk Boot Device 1", gone, false},
        {kEnumerated, u"Loader", gone + u"/\\EFI\\loader.efi", true},
        {kEnumerated, u"EFI Fixed Disk Boot Device 77", OnDisk(1), true},
        {kEnumerated, u"Fixed Disk", OnDisk(1), false},
        {kEnumerated, u"EFI Fixed Disk Boot Device 1", OnDisk(9), false}, // behind the disk
        {kEnumerated, u"EFI USB Device 9", UsbPath(1), true},
        {kEnumerated, u"Key 3000", UsbPath(1), false},
        {kEnumerated, u"Key 3000", UsbPath(2), true},
        {kEnumerated, u"Key 3000 XL", UsbPath(2), false},
        {kEnumerated, u"EFI USB Device 1", UsbPath(2), false},
        {kEnumerated, u"SECUPD", UsbPath(3), false},
        {kEnumerated, u"EFI DVD/CDROM 4", kOptical, true},
        {kEnumerated, u"DVD writer", kOptical, false},
        {kEnumerated, u"As it likes", fileSystem, true},
        {kEnumerated, u"PXE 1", u"VenHw(3A191845-5F86-4E78-8FCE-C4CFF59F9DAA)", false},
        {kEnumerated, u"USB Placeholder", u"VenHw(0C8CB6CC-13AE-45F4-BBCD-6A25E98AC250)", true},
    };
    DeviceHandles handles;
    RunClean(machine, [&](sim::Platform& platform) {
        ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
        BdsInstallNetworkBootDevices();
        handles.Add(fileSystem, &gEfiSimpleFileSystemProtocolGuid);
        gNames = {{HandleOf(kOptical), u"DVD writer"}};
        Serve(gNamer);

        Numbers expected;
        UINT16 number = 0;
        for (const auto& row : rows) {
            AddOption(number, row.attributes, row.description, row.path);
            if (row.stays) {
                expected.push_back(number);
            }
            ++number;
        }
        // Malformed, whoever wrote them: too short, a path longer than the option, one without an
        // end, and a description that runs into the path.
        const Bytes path = PathOf(gone);
        Bytes endless(path.begin(), path.end() - 4);
        Bytes untitled = OptionBytes(kOperatingSystems, u"OS", path);
        untitled.resize(4 + 2 + 6 + 2);
        Numbers order = Order(kUefiOrder);
        for (const Bytes& malformed :
             {Bytes(11, 1), OptionBytes(1, u"OS", path, {}, UINT16(path.size() + 1)),
              OptionBytes(1, u"OS", endless), untitled}) {
            Store(platform, OptionName(number).c_str(), malformed);
            order.push_back(number++);
        }
        SetOrder(kUefiOrder, order);

        const auto all = AllOptions();
        const auto deleteStale = [&] {
            OptionCache cache;
            UefiOptions options(cache);
            return BdsDeleteInvalidUefiBootOptions(options, DeviceNames());
        };
        // With one that is missing nothing is touched.
        order.push_back(0x99);
        SetOrder(kUefiOrder, order);
        EXPECT_EQ(deleteStale(), EFI_OUT_OF_RESOURCES);
        EXPECT_EQ(AllOptions(), all);
        EXPECT_EQ(Order(kUefiOrder), order);
        order.pop_back();
        SetOrder(kUefiOrder, order);

        ExpectNoLeak(platform, [&] { EXPECT_EQ(deleteStale(), EFI_SUCCESS); });
        EXPECT_EQ(Order(kUefiOrder), expected);
        EXPECT_EQ(AllOptions().size(), expected.size());

        // The generic USB device leaves its entry behind.
        const UINT16 generic = expected.back();
        SetSetting("GenericUsbBoot", "Disabled");
        EXPECT_EQ(deleteStale(), EFI_SUCCESS);
        EXPECT_EQ(Order(kUefiOrder), expected);
        EXPECT_FALSE(AllOptions().contains(generic));
    });
}

TEST(Enumeration, TheShellHasAnOptionUnlessItMustNot) {
    constexpr char16_t kShell[] =
        u"Fv(A3F1C9B2-6D47-4E58-9A10-5B7C2E8D4F61)/FvFile(C57AD6B7-0515-40A8-9D21-551652854E37)";
    DeviceHandles handles;
    RunClean(R"({"extends": "empty"})", [&](sim::Platform& platform) {
        EFI_HANDLE volume = handles.Add(u"Fv(A3F1C9B2-6D47-4E58-9A10-5B7C2E8D4F61)",
                                        &gEfiFirmwareVolume2ProtocolGuid);
        UINT16 number = 0;
        {
            OptionCache cache;
            UefiOptions options(cache);
            EXPECT_EQ(BdsCreateSystemUefiShellOption(options, volume, &number), EFI_SUCCESS);
            EXPECT_EQ(AllOptions().at(number),
                      OptionBytes(kEnumerated, u"System UEFI Shell", PathOf(kShell)));
            const auto* published =
                platform.variables->Find(u"SystemUefiShellDevicePath", gKelmBdsVariableGuid);
            ASSERT_NE(published, nullptr);
            EXPECT_EQ(published->attributes, 2u);
            EXPECT_EQ(published->data, PathOf(kShell));
        }
        SetOrder(kUefiOrder, {number});
        for (const UINT8 allowed : {1, 0}) {
            Store(platform, u"SystemUefiShell", {allowed}, gKelmBdsVariableGuid);
            OptionCache cache;
            UefiOptions options(cache);
            EXPECT_EQ(BdsCreateSystemUefiShellOption(options, volume, &number),
                      allowed ? EFI_ALREADY_STARTED : EFI_NOT_FOUND);
            EXPECT_EQ(Order(kUefiOrder).size(), allowed);
            EXPECT_EQ(AllOptions().size(), allowed);
        }
        OptionCache cache;
        UefiOptions options(cache);
        EXPECT_EQ(BdsCreateSystemUefiShellOption(options, HandleWithoutPath(), &number),
                  EFI_NOT_FOUND);
    });
}

TEST(Enumeration, NewOptionsAreOrderedBySettingsAndPlaces) {
    const Texts devices = {
        kUsbController,
        UsbDevice(1, "usb-disk", R"(, "location": "Disk connected to front USB 1",
                                       "fqdd": "Disk.USBFront.1-1")"),
        UsbDevice(2, "usb-disk",
                  R"(, "location": "Disk connected to back USB 1", "fqdd": "Disk.USBBack.1-1")"),
        UsbDevice(3, "usb-disk",
                  R"(, "location": "Internal USB 1", "fqdd": "Disk.USBInternal.1-1")"),
        UsbDevice(4, "usb-optical", R"(, "location": "Optical at the front")"),
        fmt::format(R"("optical": {{"kind": "sata-optical", "path": "{}",
                                    "fqdd": "Optical.SATAEmbedded.A-1"}})",
                    Narrow(kOptical)),
    };
    const std::string lists = R"("DefaultBootOrderFqdd1": "no list",
        "DefaultBootOrderFqdd2": "Disk.USBInternal.1-1",
        "DefaultBootOrderFqdd16": "Optical.SATAEmbedded.A-1")";
    const struct {
        const char* what;
        std::string settings;
        unsigned policy;
        Texts expected;
    } rows[] = {
        {"by kind",
         "",
         0,
         {"0001 EFI DVD/CDROM 1", "0002 EFI USB Device 1", "0003 EFI USB Device 2",
          "0004 EFI USB Device 3", "0005 EFI USB Device 4"}},
        {"by lists",
         lists,
         0,
         {"0005 EFI USB Device 4", "0001 EFI DVD/CDROM 1", "0002 EFI USB Device 1",
          "0003 EFI USB Device 2", "0004 EFI USB Device 3"}},
        {"front and back first",
         lists,
         1,
         {"0004 EFI USB Device 3", "0003 EFI USB Device 2", "0000* OS", "0005 EFI USB Device 4",
          "0001 EFI DVD/CDROM 1", "0002 EFI USB Device 1"}},
        {"another answer",
         "",
         2,
         {"0001 EFI DVD/CDROM 1", "0002 EFI USB Device 1", "0003 EFI USB Device 2",
          "0004 EFI USB Device 3", "0005 EFI USB Device 4"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        RunClean(MachineOf(devices, row.settings,
                           fmt::format(R"(, "policies": {{"17": {}}})", row.policy)),
                 [&](sim::Platform& platform) {
                     ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
                     AddOption(0, kOperatingSystems, u"OS", u"PciRoot(0x6)");
                     Texts expected = row.expected;
                     if (row.policy != 1) {
                         expected.insert(expected.begin(), "0000* OS");
                     }
                     ExpectNoLeak(platform, [&] { EXPECT_EQ(Enumerate(), expected); });
                 });
    }
}

TEST(Enumeration, AFullOrderTakesNoMore) {
    RunClean(MachineOf({kUsbController, UsbDevice(1, "usb-disk"), UsbDevice(2, "usb-disk")}),
             [](sim::Platform& platform) {
                 ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
                 Numbers order;
                 for (UINT16 number = 0x100; order.size() < 254; ++number) {
                     Store(platform, OptionName(number).c_str(),
                           OptionBytes(kOperatingSystems, u"OS", PathOf(u"PciRoot(0x6)")));
                     order.push_back(number);
                 }
                 SetOrder(kUefiOrder, order);
                 EXPECT_EQ(BdsEnumerateUefiBootOptions(), EFI_OUT_OF_RESOURCES);
                 order.push_back(0);
                 EXPECT_EQ(Order(kUefiOrder), order);
                 EXPECT_EQ(AllOptions().at(1),
                           OptionBytes(kEnumerated, u"EFI USB Device 2", PathOf(UsbPath(2))));
             });
}

TEST(Enumeration, TheDefaultOrderGoesByDeviceAndThenByTheOrderThatIs) {
    const std::string machine = MachineOf(Texts{
        kUsbController, UsbDevice(1, "usb-disk", R"(, "usb": {"vendor": "0x1234", "product": "0x9",
                                                              "serialNumber": "SN-1"})"),
        UsbDevice(2, "usb-disk"), UsbDevice(3, "usb-optical"),
        fmt::format(R"("optical": {{"kind": "sata-optical", "path": "{}"}})", Narrow(kOptical)),
        SataDisk(Partitions({kOtherFiles, kOtherFiles}))});
    RunClean(machine, [&](sim::Platform& platform) {
        ASSERT_EQ(BdsConnectAll(), EFI_SUCCESS);
        const std::u16string prefix = u"PciRoot(0x0)/Pci(0x14,0x0)/";
        const struct {
            const char16_t* description;
            std::u16string path;
        } options[] = {
            {u"nowhere", u"PciRoot(0x6)/Pci(0x1,0x0)"},                      // 0
            {u"by serial number", u"UsbWwid(0x1234,0x9,0x0,\"SN-1\")"},      // 1
            {u"another serial number", u"UsbWwid(0x1234,0x9,0x0,\"SN-2\")"}, // 2
            {u"any storage behind that controller",                          // 3
             prefix + u"UsbClass(0xFFFF,0xFFFF,0x8,0x6,0x50)"},
            {u"storage elsewhere", u"PciRoot(0x6)/UsbClass(0xFFFF,0xFFFF,0x8,0x6,0x50)"}, // 4
            {u"second partition", Partition(2) + u"/\\EFI\\os.efi"},                      // 5
            {u"first partition, in full", OnDisk(1) + u"/\\EFI\\os.efi"},                 // 6
            {u"missing partition", Partition(9)},                                         // 7
            {u"second key", UsbPath(2)},                                                  // 8
            {u"optical", kOptical},                                                       // 9
        };
        for (UINT16 number = 0; const auto& option : options) {
            AddOption(number++, kOperatingSystems, option.description, option.path);
        }
        Numbers order = Order(kUefiOrder);
        order.push_back(9);    // twice
        order.push_back(0x77); // without an option
        SetOrder(kUefiOrder, order);
        ExpectNoLeak(platform, [] { EXPECT_EQ(BdsBuildDefaultUefiBootOrder(), EFI_SUCCESS); });
        // Optical drives (the class fits the USB one), partitions, USB disks, and the rest.
        EXPECT_EQ(Order(u"DefaultUefiBootOrder"), (Numbers{9, 3, 6, 5, 1, 8, 0, 2, 4, 7, 0x77}));
        EXPECT_EQ(
            platform.variables->Find(u"DefaultUefiBootOrder", gKelmSystemVariableGuid)->attributes,
            3u);
        EXPECT_EQ(Order(kUefiOrder), order);

        platform.faults->Add({.call = "SetVariable", .status = EFI_DEVICE_ERROR}, true);
        SetOrder(kUefiOrder, {8});
        EXPECT_EQ(BdsBuildDefaultUefiBootOrder(), EFI_DEVICE_ERROR);
    });
}

} // namespace kelm::test
