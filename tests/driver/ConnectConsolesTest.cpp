// The sequence that brings the consoles up, the standard-error device and FTDI adapters.

#include "console/ConnectConsoles.h"

#include "console/ConsoleVariable.h"
#include "console/FtdiConsole.h"
#include "core/DriverState.h"
#include "kelm/FileGuids.h"
#include "kelm/Variables.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Crc32.h"
#include "sim/firmware/HandleDatabase.h"
#include "tests/driver/ConsoleTest.h"
#include "uefi/SerialIo.h"
#include "uefi/SimpleTextOutput.h"

#include <algorithm>

namespace kelm::test {

TEST(ConnectConsoles, FillsTheVariablesFromThePlatformsTableAndConnectsThem) {
    for (const std::size_t stdErrSize : {0u, 8u, 9u}) {
        sim::Trace trace;
        const sim::BootResult result = RunInFirmware(
            kTwoOutputs,
            [&](sim::Platform& platform) {
                const UINT64 zeros[2] = {};
                if (stdErrSize != 0) {
                    platform.variables->Write(u"KelmStdErr", gKelmStdErrVariableGuid, 3, zeros,
                                              stdErrSize);
                }
                gDriver.console.errOutFirst = true; // of an earlier run
                EXPECT_EQ(BdsConnectConsoles(), EFI_SUCCESS);
                EXPECT_EQ(gDriver.console.errOutFirst, stdErrSize == 8);
                EXPECT_EQ(Stored(platform, u"ConOut"), kOutput);
                EXPECT_EQ(Stored(platform, u"ErrOut"), kOutput);
                EXPECT_EQ(Find(platform, u"ConIn"), nullptr) << "it could not be connected";
                const auto* detect =
                    platform.variables->Find(u"TerminalDetect", gKelmBdsVariableGuid);
                ASSERT_NE(detect, nullptr);
                EXPECT_EQ(detect->data, Bytes{0});
                EXPECT_EQ(detect->attributes, 2u);
            },
            &trace);
        EXPECT_EQ(result.violations, Texts{});
        const std::string line = " Connecting console varirable - ";
        const std::string output = ": PciRoot(0x7)/Pci(0x1,0x0)/AcpiAdr(0x80010100)\n";
        const std::string missing = ": PciRoot(0x9)/Pci(0x3,0x0)\n";
        Texts expected = {line + "ConOut" + output, line + "ConOut" + missing,
                          line + "ConIn" + missing};
        if (stdErrSize == 8) {
            expected.insert(expected.begin(), line + "ErrOut" + output);
        }
        EXPECT_EQ(ConnectingLines(trace), expected);
    }
}

namespace {

unsigned gSignals = 0;

void EFIAPI CountSignal(EFI_EVENT, void*) {
    ++gSignals;
}

} // namespace

TEST(ConnectConsoles, ABiosBootWithoutEmbeddedVideoDropsTheOutputs) {
    for (const auto& [mode, video, kept] : {std::tuple{kBootModeBios, "00", false},
                                            {kBootModeBios, "01", true},
                                            {kBootModeUefi, "00", true}}) {
        sim::Trace trace;

        gSignals = 0;
        RunInFirmware(
            R"j({"attributes": {"CurrentEmbVideoState": {"hex": ")j" + std::string(video) +
                R"j("}}, "missing": ["KelmPlatformConsoleProtocol"]})j",
            [&, bootMode = mode, stays = kept](sim::Platform& platform) {
                for (const char16_t* name : {u"ConOut", u"ErrOut", u"ConIn"}) {
                    Store(platform, name, u"UsbClass(0xFFFF,0xFFFF,0x3,0x1,0x1)");
                }
                EFI_EVENT listener = nullptr;
                const EFI_GUID group = {
                    0x21A862E4, 0x5DE5, 0x4D7E, {0xA2, 0x78, 0x6A, 0x38, 0x10, 0x28, 0x53, 0xBB}};
                gBS->CreateEventEx(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, CountSignal, nullptr, &group,
                                   &listener);
                gDriver.boot.bootMode = bootMode;
                EXPECT_EQ(BdsConnectConsoles(), EFI_SUCCESS);
                EXPECT_EQ(Find(platform, u"ConOut") != nullptr, stays);
                EXPECT_EQ(Find(platform, u"ErrOut") != nullptr, stays);
                EXPECT_NE(Find(platform, u"ConIn"), nullptr);
                gBS->CloseEvent(listener);
            },
            &trace);
        EXPECT_EQ(gSignals, mode == kBootModeBios ? 1u : 0u);
        const Texts lines = DebugLines(trace, kDebugInfo);
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "Deleting ConOut and ErrOut variables.\n"),
                  kept ? 0 : 1);
    }
}

TEST(ConnectConsoles, StandardErrorIsNeverMissing) {
    RunInFirmware("{}", [](sim::Platform&) {
        gST->StdErr = nullptr;
        gST->StandardErrorHandle = nullptr;
        EXPECT_EQ(BdsConnectAllConsoleVariables(), EFI_SUCCESS);

        EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* out = gST->StdErr;
        ASSERT_NE(out, nullptr);
        EXPECT_EQ(ProtocolOnHandle<EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL>(gST->StandardErrorHandle), out);
        UINTN size = 0;
        EXPECT_EQ(out->Reset(out, FALSE), EFI_SUCCESS);
        EXPECT_EQ(out->OutputString(out, u"x"), EFI_SUCCESS);
        EXPECT_EQ(out->TestString(out, u"x"), EFI_SUCCESS);
        EXPECT_EQ(out->QueryMode(out, 0, &size, &size), EFI_UNSUPPORTED);
        EXPECT_EQ(out->SetMode(out, 0), EFI_UNSUPPORTED);
        EXPECT_EQ(out->SetAttribute(out, 7), EFI_SUCCESS);
        EXPECT_EQ(out->ClearScreen(out), EFI_UNSUPPORTED);
        EXPECT_EQ(out->SetCursorPosition(out, 0, 0), EFI_UNSUPPORTED);
        EXPECT_EQ(out->EnableCursor(out, TRUE), EFI_UNSUPPORTED);
        ASSERT_NE(out->Mode, nullptr);
        const EFI_SIMPLE_TEXT_OUTPUT_MODE& mode = *out->Mode;
        EXPECT_EQ(mode.MaxMode | mode.Mode | mode.Attribute | mode.CursorColumn | mode.CursorRow |
                      mode.CursorVisible,
                  0);

        EFI_SYSTEM_TABLE copy = *gST;
        copy.Hdr.CRC32 = 0;
        EXPECT_EQ(gST->Hdr.CRC32, Crc32(&copy, copy.Hdr.HeaderSize));
        // The one that is there is not replaced.
        EXPECT_EQ(BdsConnectAllConsoleVariables(), EFI_SUCCESS);
        EXPECT_EQ(gST->StdErr, out);
    });
}

namespace {

constexpr char kFtdiMachine[] = R"j({"pcds": {
    "3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000029": {"type": "bool", "value": true}},
    "missing": ["KelmPlatformConsoleProtocol"]})j";

constexpr char16_t kVideo[] = u"PciRoot(0x9)/Pci(0x1C,0x5)/AcpiAdr(0x80010100)";
constexpr char16_t kCom1[] =
    u"PciRoot(0x9)/Pci(0x1F,0x0)/Serial(0x0)/Uart(115200,8,N,1)/VenVt100()";
constexpr char16_t kCom2[] =
    u"PciRoot(0x9)/Pci(0x1F,0x0)/Serial(0x1)/Uart(115200,8,N,1)/VenVt100()";
constexpr char16_t kAdapter[] = u"PciRoot(0x9)/Pci(0x14,0x0)/USB(0x3,0x0)/Uart(9600,8,N,1)";
constexpr char16_t kFtdi[] = u"PciRoot(0x9)/Pci(0x14,0x0)/USB(0x3,0x0)/Uart(9600,8,N,1)/VenVt100()";

std::u16string Canonical(sim::Platform& platform, std::u16string_view text) {
    Store(platform, u"Expected", text);
    return Stored(platform, u"Expected");
}

} // namespace

TEST(FtdiConsole, ComesBeforeTheFirstTwoSerialPorts) {
    struct Row {
        std::u16string before;
        std::u16string after;
    };
    const Row rows[] = {
        {Joined({kVideo, kCom1}), Joined({kVideo, kFtdi, kCom1})},
        {Joined({kVideo, kCom1, kCom2}), Joined({kVideo, kFtdi, kCom1, kCom2})},
        {Joined({kCom1, kVideo}), Joined({kVideo, kFtdi, kCom1})},
        {kVideo, Joined({kVideo, kFtdi})},
        {u"", kFtdi},
    };
    for (const Row& row : rows) {
        Check(kFtdiMachine, [&](sim::Platform& platform) {
            Store(platform, u"ConOut", row.before);
            Path ftdi(kFtdi);
            for (int run = 0; run < 2; ++run) { // every installation of a text output is a run
                FtdiUsbSerialSetConVarPriority(ftdi.get());
                EXPECT_TRUE(Stored(platform, u"ConOut") == Canonical(platform, row.after))
                    << &row - rows << " " << run;
            }
            EXPECT_EQ(Stored(platform, u"ErrOut"), Stored(platform, u"ConIn"));
        });
    }
    // Where adapters are no consoles, the first of the two is simply found there.
    sim::Trace trace;
    Check(
        "{}",
        [](sim::Platform& platform) {
            Store(platform, u"ConOut", Joined({kVideo, kFtdi, kCom1}));
            const std::u16string before = Stored(platform, u"ConOut");
            FtdiUsbSerialSetConVarPriority(Path(kFtdi).get());
            EXPECT_EQ(Stored(platform, u"ConOut"), before);
        },
        &trace);
    EXPECT_EQ(DebugLines(trace, kDebugBds).back(),
              "FTDI con dev is already in ConVar with 1st priority UART device and return doing "
              "nothing\n");
}

TEST(FtdiConsole, SerialConsolesBehindUsbAreToldApart) {
    Check(kFtdiMachine, [](sim::Platform& platform) {
        EXPECT_EQ(GetSerialConDevPath(kConOutName).get(), nullptr);
        Store(platform, u"ConOut", Joined({kVideo, kFtdi, kCom2, kCom1}));
        EXPECT_TRUE(DevicePathsEqual(GetSerialConDevPath(kConOutName).get(), Path(kCom2).get()));
        // A node in the first place does not count.
        EXPECT_FALSE(IsSerialConsolePath(Path(u"Uart(9600,8,N,1)/VenVt100()").get()));
        EXPECT_FALSE(
            IsUsbSerialConsolePath(Path(u"USB(0x3,0x0)/Uart(9600,8,N,1)/VenVt100()").get()));

        FtdiUsbSerialRemovePreviousDevicePathInConVar(kConOutName);
        EXPECT_TRUE(Stored(platform, u"ConOut") ==
                    Canonical(platform, Joined({kVideo, kCom2, kCom1})));
    });
    Check("{}", [](sim::Platform& platform) {
        Store(platform, u"ConOut", Joined({kVideo, kFtdi, kCom1}));
        EXPECT_TRUE(DevicePathsEqual(GetSerialConDevPath(kConOutName).get(), Path(kFtdi).get()));
    });
}

TEST(FtdiConsole, IsPlacedWheneverATextOutputAppears) {
    sim::Trace trace;
    const sim::BootResult result = RunInFirmware(
        kFtdiMachine,
        [](sim::Platform& platform) {
            static EFI_SERIAL_IO_PROTOCOL old;
            static EFI_SERIAL_IO_PROTOCOL untyped;
            static EFI_SERIAL_IO_PROTOCOL adapter;
            old = untyped = adapter = {};
            old.Revision = EFI_SERIAL_IO_PROTOCOL_REVISION;
            untyped.Revision = adapter.Revision = EFI_SERIAL_IO_PROTOCOL_REVISION1p1;
            old.DeviceTypeGuid = adapter.DeviceTypeGuid = &gFtdiUsbSerialDeviceTypeGuid;
            static Path paths[] = {Path(kCom1), Path(kCom2), Path(kAdapter)};
            EFI_SERIAL_IO_PROTOCOL* const ports[] = {&old, &untyped, &adapter};
            for (std::size_t i = 0; i < std::size(ports); ++i) {
                EXPECT_EQ(GetFtdiUsbSerialDevicePath(), nullptr);
                EFI_HANDLE handle = nullptr;
                gBS->InstallMultipleProtocolInterfaces(&handle, &gEfiDevicePathProtocolGuid,
                                                       paths[i].get(), &gEfiSerialIoProtocolGuid,
                                                       ports[i], nullptr);
            }
            EXPECT_EQ(GetFtdiUsbSerialDevicePath(), paths[2].get());

            for (const CHAR16* name : {kConInName, kConOutName, kErrOutName}) {
                Store(platform, name, Joined({u"UsbClass(0xFFFF,0xFFFF,0x3,0x1,0x1)", kFtdi}));
            }
            EXPECT_EQ(BdsConnectConsoles(), EFI_SUCCESS);
            const std::u16string others = Stored(platform, u"ConOut");
            EXPECT_EQ(others.find(u"Uart"), std::u16string::npos) << "left by an earlier boot";

            // Redirection is off: the terminal goes wherever it stands.
            for (const CHAR16* name : {kConInName, kConOutName, kErrOutName}) {
                Store(platform, name, Joined({u"UsbClass(0xFFFF,0xFFFF,0x3,0x1,0x1)", kFtdi}));
            }
            static EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL output;
            EFI_HANDLE handle = nullptr;
            gBS->InstallMultipleProtocolInterfaces(&handle, &gEfiSimpleTextOutProtocolGuid, &output,
                                                   nullptr);
            for (const CHAR16* name : {kConInName, kConOutName, kErrOutName}) {
                EXPECT_EQ(Stored(platform, name), others);
            }
        },
        &trace);
    EXPECT_EQ(result.violations, Texts{});
    const Texts lines = DebugLines(trace, kDebugBdsInfo);
    for (const char* line :
         {"[FTDI Usb-to-Serial] FTDI USB-to-Serial Feature is enabled.\n",
          " Found and removing FTDI previous Con Var- ErrOut\n",
          "Register protocol callback - FtdiUsbSerialConDevPathCallback() on SimpleTextOut "
          "Success\n",
          "[FTDI Usb-to-Serial]: Forward connect USB controller.\n",
          "FtdiUsbSerialConDevPathCallback Start\n", "FtdiUsbSerialConDevPathCallback End\n"}) {
        EXPECT_GE(std::count(lines.begin(), lines.end(), line), 1) << line;
    }
}

} // namespace kelm::test
