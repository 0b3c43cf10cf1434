// Controllers connected by the driver on machines whose devices, late drivers and put-off images
// the machine file describes.

#include "platform/Connect.h"

#include "library/firmware/Protocol.h"
#include "library/firmware/Stopwatch.h"
#include "library/pure/DevicePath.h"
#include "library/pure/DevicePathText.h"
#include "platform/DeferredImages.h"
#include "platform/RamDisk.h"
#include "platform/SpecialPciDevices.h"
#include "tests/driver/DriverBoot.h"
#include "tests/sim/PeWriter.h"
#include "uefi/LoadedImage.h"
#include "uefi/RamDisk.h"
#include "uefi/Timestamp.h"
#include "uefi/Usb2HostController.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace kelm::test {

namespace {

using Texts = std::vector<std::string>;

// A device path out of its text.
class Path {
public:
    explicit Path(std::u16string_view text) {
        const DevicePathParse parse = DevicePathFromText(text, bytes_);
        EXPECT_EQ(parse.status, EFI_SUCCESS);
    }
    EFI_DEVICE_PATH_PROTOCOL* get() {
        return reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(bytes_.data());
    }

private:
    std::array<UINT8, 1024> bytes_{};
};

Texts DebugLines(const sim::Trace& trace, UINT64 level) {
    Texts lines;
    for (const sim::Json& event : trace.EventsOf("debug")) {
        if (event.at("level") == level) {
            lines.push_back(event.at("text"));
        }
    }
    return lines;
}

std::ptrdiff_t Count(const Texts& lines, std::string_view line) {
    return std::count(lines.begin(), lines.end(), line);
}

// The handles below the eighth root bridge that the driver had connected, in order; "+" when
// recursively.
Texts Connected(const sim::Trace& trace) {
    Texts paths;
    for (const sim::Json& event : trace.EventsOf("connect")) {
        const std::string path = event.value("path", "");
        if (path.starts_with("PciRoot(0x7)")) {
            paths.push_back(path.substr(12) + (event.at("recursive") == true ? "+" : ""));
        }
    }
    return paths;
}

// Runs `body` and expects that it misuses nothing.
void Check(std::string_view machine, const std::function<void(sim::Platform&)>& body,
           sim::Trace* trace = nullptr) {
    const sim::BootResult result = RunInFirmware(machine, body, trace);
    EXPECT_EQ(result.violations, Texts{});
}

bool IsThere(std::u16string_view text) {
    Path path(text);
    EFI_DEVICE_PATH_PROTOCOL* rest = path.get();
    EFI_HANDLE handle = nullptr;
    return !EFI_ERROR(gBS->LocateDevicePath(&gEfiDevicePathProtocolGuid, &rest, &handle)) &&
           IsEndEntire(rest);
}

constexpr char16_t kDisk[] = u"PciRoot(0x7)/Pci(0x5,0x0)/Sata(0x0,0xFFFF,0x0)";

// A disk whose controller has its driver with the second dispatch.
constexpr char kLateController[] = R"j({
    "devices": {
        "controller": {"path": "PciRoot(0x7)/Pci(0x5,0x0)", "kind": "sata-controller",
                       "driver": "Sata"},
        "disk": {"path": "PciRoot(0x7)/Pci(0x5,0x0)/Sata(0x0,0xFFFF,0x0)", "kind": "sata-disk"}},
    "drivers": {"Sata": {"dispatch": 2}}})j";

} // namespace

TEST(Connect, PciEnumerationConnectsRootBridgesAndTheOneSpecialDevice) {
    sim::Trace trace;
    Check(R"j({"devices": {
        "fabric": {"path": "PciRoot(0x7)/Pci(0x1,0x0)", "kind": "pci",
                   "pci": {"vendor": "0x8086", "device": "0x24F0", "class": "02 08 00",
                           "subsystemVendor": "0x1028", "subsystem": "0x0A"}},
        "otherClass": {"path": "PciRoot(0x7)/Pci(0x2,0x0)", "kind": "pci",
                        "pci": {"vendor": "0x8086", "device": "0x24F0", "class": "02 00 00"}},
        "otherDevice": {"path": "PciRoot(0x7)/Pci(0x3,0x0)", "kind": "pci",
                         "pci": {"vendor": "0x8086", "device": "0x24F1", "class": "02 08 00"}},
        "mute": {"path": "PciRoot(0x7)/Pci(0x4,0x0)", "kind": "pci",
                 "pci": {"vendor": "0x8086", "device": "0x24F0", "class": "02 08 00",
                         "readStatus": "EFI_DEVICE_ERROR"}}}})j",
          [](sim::Platform&) {
              BdsConnectPciRootBridges();
              BdsConnectSpecialPciDevices();
          },
          &trace);
    EXPECT_EQ(Connected(trace), (Texts{"", "/Pci(0x1,0x0)"}));

    const Texts lines = DebugLines(trace, kDebugBdsInfo);
    EXPECT_EQ(Count(lines, "BdsConnectSpecialPciDevices Entry\n"), 1);
    const auto special = std::find(lines.begin(), lines.end(),
                                   "  Initialize special PCI device (0x8086/0x24F0) (0x02/0x08)\n");
    ASSERT_TRUE(special - lines.begin() >= 8 && special != lines.end());
    EXPECT_EQ(
        Texts(special - 7, special),
        (Texts{"   VID   0x8086\n", "   DID   0x24F0\n", "   Svid  0x1028\n", "   Sdid  0x000A\n",
               "   ClassCode    0x02\n", "   SubClassCode 0x08\n", "\n"}));
    EXPECT_EQ(Count(lines, *special), 1);
    EXPECT_EQ(Count(lines, "   VID   0x8086\n"), 3) << "the mute one is passed over";
}

TEST(Connect, GoesAlongAPathAndAsksTheDispatcherWhereItEnds) {
    sim::Trace trace;
    Check(
        kLateController,
        [](sim::Platform&) {
            Path disk(kDisk);
            EXPECT_EQ(BdsConnectDevicePath(disk.get()), EFI_NOT_FOUND);
            EXPECT_FALSE(IsThere(kDisk));
            EXPECT_EQ(BdsConnectDevicePath(disk.get()), EFI_SUCCESS) << "with the new driver";
            EXPECT_TRUE(IsThere(kDisk));
        },
        &trace);
    EXPECT_EQ(Connected(trace),
              (Texts{"", "/Pci(0x5,0x0)", // until its driver is missing
                     "/Pci(0x5,0x0)", "/Pci(0x5,0x0)", "/Pci(0x5,0x0)/Sata(0x0,0xFFFF,0x0)"}));
}

TEST(Connect, TakesEveryInstanceOfAPathAndTellsOfTheLast) {
    constexpr char16_t kMissing[] = u"PciRoot(0x7)/Pci(0x6,0x0)/Sata(0x0,0xFFFF,0x0)";
    const std::u16string present(kDisk);
    for (const bool recursive : {false, true}) {
        const auto connect = recursive ? BdsConnectDevicePathRecursive : BdsConnectDevicePath;
        sim::Trace trace;
        Check(R"j({"devices": {
                  "disk": {"path": "PciRoot(0x7)/Pci(0x5,0x0)/Sata(0x0,0xFFFF,0x0)",
                           "kind": "sata-disk"}}})j",
              [&](sim::Platform& platform) {
                  const auto blocks = platform.arena->LiveBlocks().size();
                  EXPECT_EQ(connect(Path(u"").get()), EFI_NOT_FOUND);
                  EXPECT_EQ(platform.arena->LiveBlocks().size(), blocks);
                  EXPECT_EQ(connect(Path(present + u"," + kMissing).get()), EFI_NOT_FOUND);
                  EXPECT_TRUE(IsThere(kDisk));
                  EXPECT_EQ(connect(Path(kMissing + (u"," + present)).get()), EFI_SUCCESS);
                  EXPECT_EQ(connect(nullptr), EFI_SUCCESS);

                  Path broken(kDisk);
                  NextNode(broken.get())->Length[0] = 3;
                  EXPECT_EQ(connect(broken.get()), EFI_INVALID_PARAMETER);
                  platform.arena->SetFailure({.nth = 1});
                  EXPECT_EQ(connect(Path(kDisk).get()), EFI_OUT_OF_RESOURCES);
                  platform.arena->SetFailure({});
              },
              &trace);
        for (const std::string& path : Connected(trace)) {
            EXPECT_EQ(path.ends_with('+'), recursive);
        }
    }
}

namespace {

UINT64 gTicks = 0;

UINT64 EFIAPI NextTicks() {
    return gTicks += 3;
}
EFI_STATUS EFIAPI CounterProperties(EFI_TIMESTAMP_PROPERTIES* properties) {
    *properties = {.Frequency = 2'000'000, .EndValue = 999};
    return EFI_SUCCESS;
}

void InstallCounter(EFI_TIMESTAMP_PROTOCOL& counter) {
    counter = {.GetTimestamp = NextTicks, .GetProperties = CounterProperties};
    EFI_HANDLE handle = nullptr;
    ASSERT_EQ(gBS->InstallMultipleProtocolInterfaces(&handle, &gEfiTimestampProtocolGuid, &counter,
                                                     nullptr),
              EFI_SUCCESS);
}

} // namespace

TEST(Connect, ConnectAllGoesOnAsLongAsDriversAppear) {
    sim::Trace trace;
    Check(R"j({
        "devices": {
            "first": {"path": "PciRoot(0x7)/Pci(0x4,0x0)/Sata(0x0,0xFFFF,0x0)",
                      "kind": "sata-disk"},
            "controller": {"path": "PciRoot(0x7)/Pci(0x5,0x0)", "kind": "sata-controller",
                           "driver": "Second"},
            "disk": {"path": "PciRoot(0x7)/Pci(0x5,0x0)/Sata(0x0,0xFFFF,0x0)",
                     "kind": "sata-disk"},
            "late": {"path": "PciRoot(0x7)/Pci(0x6,0x0)", "kind": "sata-controller",
                     "driver": "Third"},
            "lateDisk": {"path": "PciRoot(0x7)/Pci(0x6,0x0)/Sata(0x0,0xFFFF,0x0)",
                          "kind": "sata-disk"}},
        "drivers": {"Second": {"dispatch": 2}, "Third": {"dispatch": 3}},
        "connectSequence": ["PciRoot(0x7)/Pci(0x4,0x0)"]})j",
          [](sim::Platform&) {
              static EFI_TIMESTAMP_PROTOCOL counter;
              gTicks = 0;
              InstallCounter(counter);
              // An image with a path is no controller.
              static UINT64 image = 0;
              Path path(u"PciRoot(0x7)/Pci(0x1F,0x0)");
              EFI_HANDLE handle = nullptr;
              gBS->InstallMultipleProtocolInterfaces(&handle, &gEfiDevicePathProtocolGuid,
                                                     path.get(), &gEfiLoadedImageProtocolGuid,
                                                     &image, nullptr);
              EXPECT_EQ(BdsConnectAll(), EFI_SUCCESS);
              EXPECT_TRUE(IsThere(kDisk));
              EXPECT_TRUE(IsThere(u"PciRoot(0x7)/Pci(0x6,0x0)/Sata(0x0,0xFFFF,0x0)"));
          },
          &trace);
    const Texts connected = Connected(trace);
    ASSERT_GE(connected.size(), 3u);
    EXPECT_EQ(Texts(connected.begin(), connected.begin() + 3), (Texts{"", "/Pci(0x4,0x0)", "+"}))
        << "the platform's sequence first";
    EXPECT_EQ(Count(connected, "/Pci(0x1F,0x0)+"), 0);
    EXPECT_EQ(Count(connected, "+"), 3) << "two drivers, and the pass that finds nothing";

    Texts lines = DebugLines(trace, kDebugBdsInfo);
    std::erase_if(
        lines, [](const std::string& line) { return line.find("Connect") == std::string::npos; });
    const std::string before = "Before BdsConnectAllEfiExceptImageHandle\n";
    const std::string dispatch = "After BdsConnectAllEfi - additional dispatch starts\n";
    const std::string loaded = "After BdsConnectAllEfi Dispatch Status = 0\n";
    EXPECT_EQ(lines, (Texts{"BDS: BdsConnectAll - Start\n",
                            "BdsConnectAllDriversToAllControllers Entry --->\n", before, dispatch,
                            loaded, before, dispatch, loaded, before, dispatch,
                            "After BdsConnectAllEfi Dispatch Status = E\n",
                            "BdsConnectAllDriversToAllControllers Exit. Elapsed 1500\n",
                            "BDS: BdsConnectAll - End\n"}));
}

TEST(Connect, ElapsedTimeSurvivesARollOverAndAMissingCounter) {
    Check("{}", [](sim::Platform&) {
        EXPECT_EQ(Stopwatch().Nanoseconds(), 0u);
        static EFI_TIMESTAMP_PROTOCOL counter;
        InstallCounter(counter);
        gTicks = 994; // the next two: 997, and 1000, which is 0
        const Stopwatch stopwatch;
        gTicks = UINT64(0) - 3;
        EXPECT_EQ(stopwatch.Nanoseconds(), 3u * 500);
        gTicks = 5'000'000'000'000'000'000; // whole seconds do not overflow
        const Stopwatch longer;
        gTicks += 4'000'000 - 3;
        EXPECT_EQ(longer.Nanoseconds(), 2'000'000'000u);
    });
}

TEST(Connect, UsbHostControllersAreConnectedNewerOnesFirst) {
    sim::Trace trace;
    Check(
        "{}",
        [](sim::Platform&) {
            static UINT64 interface = 0;
            static Path older(u"PciRoot(0x7)/Pci(0x1,0x0)");
            static Path newer(u"PciRoot(0x7)/Pci(0x2,0x0)");
            for (auto [path, guid] : {std::pair{&older, &gEfiUsbHcProtocolGuid},
                                      std::pair{&newer, &gEfiUsb2HcProtocolGuid}}) {
                EFI_HANDLE handle = nullptr;
                gBS->InstallMultipleProtocolInterfaces(&handle, &gEfiDevicePathProtocolGuid,
                                                       path->get(), guid, &interface, nullptr);
            }
            BdsConnectUsbHostControllers();
        },
        &trace);
    EXPECT_EQ(Connected(trace), (Texts{"/Pci(0x2,0x0)+", "/Pci(0x1,0x0)+"}));
}

TEST(DeferredImages, AreStartedAndCounted) {
    const auto pe = simtest::PeWriter().Write();
    const std::string content =
        fmt::format(R"("content": {{"hex": "{:02X}"}})", fmt::join(pe, " "));
    const auto image = [&](unsigned number, std::string_view status) {
        return fmt::format(R"j({{"path": "PciRoot(0x7)/Pci(0x{:X},0x0)/Offset(0x0,0xFFF)",
                                {}, "loadStatus": "{}"}})j",
                           number, content, status);
    };
    struct Row {
        Texts loadStatus;
        EFI_STATUS status;
        std::string counts;
        Texts operations;
    };
    const Row rows[] = {
        {{}, EFI_NOT_FOUND, "", {}},
        {{"EFI_SECURITY_VIOLATION", "EFI_LOAD_ERROR"},
         EFI_ACCESS_DENIED,
         "ImageCount = 2, LoadCount = 0",
         {"load EFI_SECURITY_VIOLATION", "unload EFI_SUCCESS", "load EFI_LOAD_ERROR"}},
        {{"EFI_SECURITY_VIOLATION", "EFI_SUCCESS"},
         EFI_SUCCESS,
         "ImageCount = 2, LoadCount = 1",
         {"load EFI_SECURITY_VIOLATION", "unload EFI_SUCCESS", "load EFI_SUCCESS", "start",
          "return"}},
    };
    for (const Row& row : rows) {
        Texts images;
        for (const std::string& status : row.loadStatus) {
            images.push_back(image(unsigned(images.size()) + 1, status));
        }
        sim::Trace trace;
        Check(
            fmt::format(R"j({{"deferredImages": [{}]}})j", fmt::join(images, ", ")),
            [&](sim::Platform&) {
                EXPECT_EQ(BdsEfiBootManagerDispatchDeferredImages(), row.status);
            },
            &trace);
        const Texts lines = DebugLines(trace, kDebugBdsInfo);
        EXPECT_EQ(lines.front(), "BdsEfiBootManagerDispatchDeferredImages Entry\n");
        EXPECT_EQ(lines.back(),
                  row.counts.empty()
                      ? lines.front()
                      : "BdsEfiBootManagerDispatchDeferredImages Exit, " + row.counts + " \n");
        Texts operations;
        for (const sim::Json& event : trace.EventsOf("image")) {
            if (!event.value("path", "").starts_with("PciRoot(0x7)")) {
                continue; // the body's own
            }
            std::string text = event.at("op");
            if (text == "load" || text == "unload") {
                text += " " + event.at("status").get<std::string>();
            }
            operations.push_back(text);
        }
        EXPECT_EQ(operations, row.operations);
    }
}

TEST(RamDisk, IsTakenAwayWithItsMemory) {
    constexpr char kCleaned[] =
        "Successfully clean the memory, ACPI NFIT and SSDT tables of Ramdisk.\n";
    sim::Trace trace;
    Check(
        "{}",
        [](sim::Platform&) {
            auto* service = FindProtocol<EFI_RAM_DISK_PROTOCOL>();
            ASSERT_NE(service, nullptr);
            constexpr UINT64 kSize = 64 * 4096;
            Pages pages(kSize / 4096, EfiReservedMemoryType);
            PoolPtr<UINT8> pool = AllocatePool<UINT8>(kSize);
            for (const UINT64 start : {pages.address(), UINT64(pool.get())}) {
                EFI_DEVICE_PATH_PROTOCOL* path = nullptr;
                ASSERT_EQ(service->Register(start, kSize, &gEfiVirtualDiskGuid, nullptr, &path),
                          EFI_SUCCESS);
                const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> owned(path);
                EXPECT_EQ(BdsCleanRamDisk(path), EFI_SUCCESS);
                EXPECT_TRUE(EFI_ERROR(BdsCleanRamDisk(path))) << "it is gone";
            }
            // Freed: freeing them again would be a violation.
            static_cast<void>(pages.release());
            static_cast<void>(pool.release());
        },
        &trace);
    EXPECT_EQ(Count(DebugLines(trace, kDebugBdsInfo), kCleaned), 2);

    sim::Trace without;
    Check(R"j({"missing": ["RamDisk"]})j",
          [](sim::Platform&) { EXPECT_EQ(BdsCleanRamDisk(Path(kDisk).get()), EFI_NOT_FOUND); },
          &without);
    EXPECT_EQ(DebugLines(without, kDebugBdsInfo),
              (Texts{"Couldn't find the RAM Disk protocol - Not Found\n"}));
}

} // namespace kelm::test
