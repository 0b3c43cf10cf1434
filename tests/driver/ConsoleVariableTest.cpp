// The console variables: edited, connected, and what reads them when they hold anything at all.

#include "console/ConsoleVariable.h"

#include "console/FtdiConsole.h"
#include "library/firmware/Protocol.h"
#include "tests/driver/ConsoleTest.h"

namespace kelm::test {

namespace {

// Paths without devices, short enough for tables.
constexpr char16_t kA[] = u"PciRoot(0x9)/Pci(0x1,0x0)";
constexpr char16_t kB[] = u"PciRoot(0x9)/Pci(0x2,0x0)";
constexpr char16_t kC[] = u"PciRoot(0x9)/Pci(0x3,0x0)";

const std::u16string kBelowA = std::u16string(kA) + u"/Uart(115200,8,N,1)/VenVt100()";

} // namespace

TEST(ConsoleVariable, AddsLastReplacesPartialMatchesAndKeepsExactCopiesInPlace) {
    struct Row {
        std::u16string before;
        std::u16string add;
        std::u16string remove;
        std::u16string after;
    };
    const Row rows[] = {
        {u"", kA, u"", kA},
        {kB, kA, u"", Joined({kB, kA})},
        {Joined({kA, kB}), kA, u"", Joined({kA, kB})},
        {Joined({kBelowA, kB}), kA, u"", Joined({kB, kA})},
        {Joined({kA, kB}), kBelowA, u"", Joined({kB, kBelowA})},
        {Joined({kA, kBelowA, kB}), kA, u"", Joined({kA, kBelowA, kB})},
        {Joined({kA, kB, kC}), u"", kB, Joined({kA, kC})},
        {Joined({kA, kBelowA, kB}), u"", kA, kB},
        {Joined({kA, kB, kBelowA}), u"", kBelowA, kB},
        {Joined({kA, kB}), u"", kC, Joined({kA, kB})},
        {kA, u"", kA, u""},
        {u"", u"", kA, u""},
        {Joined({kA, kB}), kC, kA, Joined({kB, kC})},
        {Joined({kA, kB}), kA, kA, Joined({kB, kA})},
        {kA, Joined({kB, kC}), u"", Joined({kA, kB, kC})},
        {Joined({kC, kA, kB}), Joined({kB, kC}), u"", Joined({kC, kA, kB})},
        {Joined({kA, kB, kC}), u"", Joined({kC, kA}), kB},
    };
    for (const Row& row : rows) {
        sim::Trace trace;
        Check(
            "{}",
            [&](sim::Platform& platform) {
                Store(platform, u"ConOut", row.before);
                const std::u16string before = Stored(platform, u"ConOut");
                EXPECT_EQ(BdsUpdateConsoleVariable(kConOutName, Path(row.add).get(),
                                                   Path(row.remove).get()),
                          EFI_SUCCESS);
                // Compared as the text that its bytes give.
                const std::u16string after = Stored(platform, u"ConOut");
                Store(platform, u"Expected", row.after);
                EXPECT_TRUE(after == Stored(platform, u"Expected")) << &row - rows;
                EXPECT_EQ(trace.EventsOf("variable").size(), after == before ? 0u : 1u)
                    << "only changes are written";
                if (!after.empty()) {
                    EXPECT_EQ(Find(platform, u"ConOut")->attributes, kNonVolatile);
                }
            },
            &trace);
    }
}

TEST(ConsoleVariable, NothingToDoIsUnsupportedAndWritesNothing) {
    sim::Trace trace;
    Check(
        "{}",
        [](sim::Platform& platform) {
            Store(platform, u"ConIn", Joined({kA, kB}));
            Path a(kA);
            EXPECT_EQ(BdsUpdateConsoleVariable(kConInName, nullptr, nullptr), EFI_UNSUPPORTED);
            EXPECT_EQ(BdsUpdateConsoleVariable(kConInName, a.get(), a.get()), EFI_UNSUPPORTED);
            EXPECT_EQ(BdsUpdateConsoleVariable(nullptr, a.get(), nullptr), EFI_INVALID_PARAMETER);
            // An empty path would match every console, a broken one cannot be walked.
            EFI_DEVICE_PATH_PROTOCOL empty = kEndEntireNode;
            EXPECT_EQ(BdsUpdateConsoleVariable(kConInName, nullptr, &empty), EFI_UNSUPPORTED);
            Path broken(Joined({kA, kB}));
            NextNode(NextNode(NextNode(broken.get())))->Length[0] = 2;
            EXPECT_EQ(BdsUpdateConsoleVariable(kConInName, broken.get(), nullptr), EFI_UNSUPPORTED);
            EXPECT_EQ(Stored(platform, u"ConIn").size(), Joined({kA, kB}).size());
        },
        &trace);
    EXPECT_TRUE(trace.EventsOf("variable").empty());
    const Texts lines = DebugLines(trace, kDebugBdsInfo);
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[0], " BdsUpdateConsoleVariable(ConIn) appends PciRoot(0x9)/Pci(0x1,0x0)\n");
    EXPECT_EQ(lines[1], " BdsUpdateConsoleVariable(ConIn) removes PciRoot(0x9)/Pci(0x1,0x0)\n");
}

TEST(ConsoleVariable, ListsOfDevicesAreVolatile) {
    Check("{}", [](sim::Platform& platform) {
        for (const auto& [name, attributes] :
             {std::pair{u"ConInDev", 6u}, {u"ConIn", 7u}, {u"XDev", 6u}, {u"Dev", 7u}}) {
            EXPECT_EQ(BdsUpdateConsoleVariable(name, Path(kA).get(), nullptr), EFI_SUCCESS);
            ASSERT_NE(Find(platform, name), nullptr);
            EXPECT_EQ(Find(platform, name)->attributes, attributes);
        }
    });
}

TEST(ConsoleVariable, AnyBytesReadAsAPathOrAsNothing) {
    const Bytes good = PathBytes(Joined({kA, kBelowA}));
    std::vector<Bytes> broken;
    for (std::size_t size = 1; size < good.size(); ++size) {
        broken.emplace_back(good.begin(), good.begin() + std::ptrdiff_t(size));
    }
    for (std::size_t at = 0; at < good.size(); ++at) {
        for (const UINT8 value : {0x00, 0x03, 0x7F, 0xFF}) {
            broken.push_back(good);
            broken.back()[at] = value;
        }
    }
    const Bytes fresh = PathBytes(kC);
    Check("{}", [&](sim::Platform& platform) {
        for (const Bytes& data : broken) {
            const bool valid = DevicePathSizeOf(data) != 0;
            Store(platform, u"ConOut", data);
            EXPECT_EQ(bool(ReadConsoleVariable(kConOutName)), valid);
            static_cast<void>(GetSerialConDevPath(kConOutName));
            BdsDumpConsoleVariable(kConOutName);
            FtdiUsbSerialRemovePreviousDevicePathInConVar(kConOutName);
            EXPECT_EQ(BdsUpdateConsoleVariable(kConOutName, Path(kC).get(), nullptr), EFI_SUCCESS);
            const Bytes& after = Find(platform, u"ConOut")->data;
            EXPECT_EQ(DevicePathSizeOf(after), after.size());
            EXPECT_TRUE(valid || after == fresh);
            Store(platform, u"ConOut", data);
            const EFI_STATUS status = BdsConnectConsoleVariable(kConOutName);
            EXPECT_TRUE(EFI_ERROR(status));
            EXPECT_TRUE(valid || status == EFI_UNSUPPORTED);
        }
    });
}

TEST(ConsoleVariable, StaysAsItIsWhenItCannotBeReadOrMemoryIsOut) {
    Check(
        R"j({"faults": [{"call": "GetVariable", "status": "EFI_DEVICE_ERROR", "onward": true}]})j",
        [](sim::Platform& platform) {
            Store(platform, u"ConOut", kA);
            EXPECT_EQ(BdsUpdateConsoleVariable(kConOutName, Path(kB).get(), nullptr),
                      EFI_DEVICE_ERROR);
            EXPECT_EQ(BdsConnectConsoleVariable(kConOutName), EFI_UNSUPPORTED);
            EXPECT_EQ(Stored(platform, u"ConOut"), kA);
        });
    Check("{}", [](sim::Platform& platform) {
        EFI_STATUS status = EFI_OUT_OF_RESOURCES;
        for (unsigned nth = 1; EFI_ERROR(status); ++nth) {
            ASSERT_LT(nth, 10u);
            Store(platform, u"ConOut", kA);
            platform.arena->SetFailure({.nth = nth});
            status = BdsUpdateConsoleVariable(kConOutName, Path(kB).get(), nullptr);
            platform.arena->SetFailure({});
            EXPECT_EQ(Stored(platform, u"ConOut").size(),
                      EFI_ERROR(status) ? std::u16string_view(kA).size() : Joined({kA, kB}).size());
        }
    });
}

TEST(ConsoleVariable, ConnectingRemovesWhatCannotBeConnected) {
    sim::Trace trace;
    Check(
        kTwoOutputs,
        [](sim::Platform& platform) {
            EXPECT_EQ(BdsConnectConsoleVariable(kConOutName), EFI_UNSUPPORTED);
            Store(platform, u"ConOut", kA);
            EXPECT_EQ(BdsConnectConsoleVariable(kConOutName), EFI_NOT_FOUND);
            EXPECT_EQ(Find(platform, u"ConOut"), nullptr);
            const EFI_DEVICE_PATH_PROTOCOL end = kEndEntireNode;
            const auto* endBytes = reinterpret_cast<const UINT8*>(&end);
            Store(platform, u"ErrOut", Bytes(endBytes, endBytes + sizeof(end)));
            EXPECT_EQ(BdsConnectConsoleVariable(kErrOutName), EFI_UNSUPPORTED);
        },
        &trace);
    EXPECT_EQ(ConnectingLines(trace),
              (Texts{" Connecting console varirable - ConOut: PciRoot(0x9)/Pci(0x1,0x0)\n"}));

    const sim::BootResult result = RunInFirmware(kTwoOutputs, [](sim::Platform& platform) {
        Store(platform, u"ConOut", Joined({kOutput, kA, kSecondOutput}));
        EXPECT_EQ(BdsConnectConsoleVariable(kConOutName), EFI_SUCCESS);
        EXPECT_EQ(Stored(platform, u"ConOut"), Joined({kOutput, kSecondOutput}));
    });
    EXPECT_EQ(result.violations, Texts{});
}

TEST(ConsoleVariable, UsbShortFormsAreTriedOnEveryKindOfHostControllerAndKept) {
    sim::Trace trace;
    constexpr char16_t kKeyboard[] = u"UsbClass(0xFFFF,0xFFFF,0x3,0x1,0x1)";
    const sim::BootResult result = RunInFirmware(
        R"j({"devices": {
            "ohci": {"path": "PciRoot(0x7)/Pci(0x1,0x0)", "kind": "usb-controller",
                     "pci": {"class": "0C 03 10"}},
            "uhci": {"path": "PciRoot(0x7)/Pci(0x2,0x0)", "kind": "usb-controller",
                     "pci": {"class": "0C 03 00"}},
            "ehci": {"path": "PciRoot(0x7)/Pci(0x3,0x0)", "kind": "usb-controller",
                     "pci": {"class": "0C 03 20"}},
            "xhci": {"path": "PciRoot(0x7)/Pci(0x4,0x0)", "kind": "usb-controller",
                     "pci": {"class": "0C 03 30"}},
            "disk": {"path": "PciRoot(0x7)/Pci(0x5,0x0)/Sata(0x0,0xFFFF,0x0)",
                     "kind": "sata-disk"}}})j",
        [&](sim::Platform& platform) {
            Path root(u"PciRoot(0x7)");
            EFI_DEVICE_PATH_PROTOCOL* rest = root.get();
            EFI_HANDLE handle = nullptr;
            ASSERT_EQ(gBS->LocateDevicePath(&gEfiDevicePathProtocolGuid, &rest, &handle),
                      EFI_SUCCESS);
            gBS->ConnectController(handle, nullptr, nullptr, FALSE);
            Store(platform, u"ConIn", kKeyboard);
            static_cast<void>(BdsConnectConsoleVariable(kConInName));
            EXPECT_NE(Find(platform, u"ConIn"), nullptr) << "kept, whatever came of it";
        },
        &trace);
    EXPECT_EQ(result.violations, Texts{});
    Texts functions;
    for (const sim::Json& event : trace.EventsOf("connect")) {
        const std::string path = event.value("path", "");
        if (path.starts_with("PciRoot(0x7)/")) {
            EXPECT_EQ(event.at("recursive"), false);
            functions.push_back(path.substr(13));
        }
    }
    EXPECT_EQ(functions, (Texts{"Pci(0x4,0x0)", "Pci(0x3,0x0)", "Pci(0x2,0x0)", "Pci(0x1,0x0)"}));

    Check("{}", [&](sim::Platform& platform) {
        Store(platform, u"ConIn", Joined({u"UsbWwid(0x46D,0xC31C,0x0,\"7\")", kKeyboard}));
        const std::u16string before = Stored(platform, u"ConIn");
        EXPECT_EQ(BdsConnectConsoleVariable(kConInName), EFI_NOT_FOUND) << "no such controller";
        EXPECT_EQ(Stored(platform, u"ConIn"), before);
    });
}

} // namespace kelm::test
