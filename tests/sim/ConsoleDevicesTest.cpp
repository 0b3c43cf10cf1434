// Consoles made of devices: what connecting a path does to the system table, what each output
// shows, and what goes out of a serial port. The body does what a boot manager does: it writes the
// console variables and connects the devices that they list.

#include "uefi/ConsoleDevices.h"
#include "kelm/PlatformConsoleProtocol.h"
#include "kelm/Variables.h"
#include "library/pure/Crc32.h"
#include "library/pure/DevicePath.h"
#include "library/pure/DevicePathText.h"
#include "sim/devices/Devices.h"
#include "sim/devices/SerialPort.h"
#include "sim/devices/VideoOutput.h"
#include "sim/firmware/ConsoleSplitter.h"
#include "sim/firmware/Keyboard.h"
#include "sim/firmware/Screen.h"
#include "tests/sim/TestMachine.h"
#include "uefi/GlobalVariable.h"
#include "uefi/RuntimeServices.h"

#include <array>

namespace simtest {
namespace {

constexpr const char16_t* kVideo = u"PciRoot(0x0)/Pci(0x2,0x0)/AcpiAdr(0x80010100)";
constexpr const char16_t* kSecondVideo = u"PciRoot(0x0)/Pci(0x3,0x0)/AcpiAdr(0x80010100)";
constexpr const char16_t* kPcAnsi =
    u"PciRoot(0x0)/Pci(0x1F,0x0)/Serial(0x0)/Uart(115200,8,N,1)/VenPcAnsi()";
constexpr const char16_t* kVt100 =
    u"PciRoot(0x0)/Pci(0x1F,0x0)/Serial(0x1)/Uart(115200,8,N,1)/VenVt100()";
constexpr const char16_t* kKeyboard = u"PciRoot(0x0)/Pci(0x14,0x0)/USB(0x1,0x0)";

constexpr const char* kDevices = R"json("devices": {
    "video": {"kind": "video", "path": "PciRoot(0x0)/Pci(0x2,0x0)/AcpiAdr(0x80010100)"},
    "second": {"kind": "video", "path": "PciRoot(0x0)/Pci(0x3,0x0)/AcpiAdr(0x80010100)",
               "video": {"edid": "", "modes": [[1920, 1200]]}},
    "com1": {"kind": "serial", "path": "PciRoot(0x0)/Pci(0x1F,0x0)/Serial(0x0)",
             "serial": {"terminal": true}},
    "com2": {"kind": "serial", "path": "PciRoot(0x0)/Pci(0x1F,0x0)/Serial(0x1)"},
    "keyboard": {"kind": "usb-keyboard", "path": "PciRoot(0x0)/Pci(0x14,0x0)/USB(0x1,0x0)",
                 "usb": {"vendor": "0x1234", "product": "0x5678", "serialNumber": "KB-0042"}}})json";

using Lines = std::vector<std::string>;

class ConsoleDevices : public TestMachine {
protected:
    ConsoleDevices() : TestMachine(kDevices) {}

    // A device path in the room of the machine, so that it lives as long as the boot.
    static EFI_DEVICE_PATH_PROTOCOL* Path(std::u16string_view text) {
        std::array<UINT8, 512> bytes;
        const auto parsed = kelm::DevicePathFromText(text, bytes);
        EXPECT_EQ(parsed.status, EFI_SUCCESS);
        return static_cast<EFI_DEVICE_PATH_PROTOCOL*>(
            Machine().CopyToPool(bytes.data(), parsed.size, "test"));
    }

    // Instances are separated by commas.
    static void SetConsole(const CHAR16* variable, std::u16string_view paths) {
        EFI_DEVICE_PATH_PROTOCOL* path = Path(paths);
        EXPECT_EQ(
            rs->SetVariable(variable, &gEfiGlobalVariableGuid, 7, kelm::DevicePathSize(path), path),
            EFI_SUCCESS);
    }

    // Connects driver after driver along a path.
    static EFI_STATUS Connect(std::u16string_view text) {
        EFI_DEVICE_PATH_PROTOCOL* const path = Path(text);
        EFI_HANDLE last = nullptr;
        for (;;) {
            EFI_DEVICE_PATH_PROTOCOL* remaining = path;
            EFI_HANDLE handle = nullptr;
            const EFI_STATUS status =
                bs->LocateDevicePath(&gEfiDevicePathProtocolGuid, &remaining, &handle);
            if (EFI_ERROR(status) || (handle == last && !kelm::IsEndNode(remaining))) {
                return EFI_NOT_FOUND;
            }
            bs->ConnectController(handle, nullptr, remaining, FALSE);
            if (kelm::IsEndNode(remaining)) {
                return EFI_SUCCESS;
            }
            last = handle;
        }
    }

    static EFI_HANDLE HandleOf(const char* device) {
        return Machine().Get<Devices>().Find(device)->handle;
    }
    static bool Has(const char* device, const EFI_GUID& protocol) {
        return Machine().handles->Has(HandleOf(device), protocol);
    }
    static void Print(const CHAR16* text) { st->ConOut->OutputString(st->ConOut, text); }

    static Lines NamesOfOutputs() {
        Lines names;
        for (const auto& output : Machine().splitter->Outputs()) {
            names.push_back(output.device);
        }
        return names;
    }
    static Lines ShownAt(std::string_view device) {
        for (const auto& output : Machine().splitter->Outputs()) {
            if (output.device == device) {
                return output.screen->Lines();
            }
        }
        return {"no such output"};
    }

    // The checksum fits what the system table holds now.
    static void ExpectRightChecksum() {
        EFI_SYSTEM_TABLE copy = *st;
        copy.Hdr.CRC32 = 0;
        EXPECT_EQ(st->Hdr.CRC32, kelm::Crc32(&copy, copy.Hdr.HeaderSize));
    }
};

TEST_F(ConsoleDevices, TheSystemTableNamesAConsoleFromItsFirstDeviceOn) {
    const BootResult result = Boot([] {
        EXPECT_EQ(st->ConIn, nullptr);
        EXPECT_EQ(st->ConOut, nullptr);
        EXPECT_EQ(st->StdErr, nullptr);
        EXPECT_EQ(st->ConsoleOutHandle, nullptr);
        ExpectRightChecksum();

        // Nobody lists the video output: it shows text and is no console.
        EXPECT_EQ(Connect(kVideo), EFI_SUCCESS);
        EXPECT_TRUE(Has("video", gEfiSimpleTextOutProtocolGuid));
        EXPECT_EQ(st->ConOut, nullptr);

        // Listed among others, and connected again.
        SetConsole(u"ConOut", std::u16string(u"PciRoot(0x9),") + kVideo);
        SetConsole(u"ErrOut", kSecondVideo);
        EXPECT_EQ(Connect(kVideo), EFI_SUCCESS);
        ASSERT_NE(st->ConOut, nullptr);
        EXPECT_TRUE(Has("video", gEfiConsoleOutDeviceGuid));
        EXPECT_FALSE(Has("video", gEfiStandardErrorDeviceGuid));
        void* onHandle = nullptr;
        EXPECT_EQ(
            bs->HandleProtocol(st->ConsoleOutHandle, &gEfiSimpleTextOutProtocolGuid, &onHandle),
            EFI_SUCCESS);
        EXPECT_EQ(onHandle, st->ConOut);
        EXPECT_EQ(st->StdErr, nullptr);
        ExpectRightChecksum();
        Print(u"ready\r\n");
        EXPECT_EQ(ShownAt("video"), Lines{"ready"});

        EXPECT_EQ(Connect(kSecondVideo), EFI_SUCCESS);
        ASSERT_NE(st->StdErr, nullptr);
        EXPECT_NE(st->StdErr, st->ConOut);
        ExpectRightChecksum();
        st->StdErr->OutputString(st->StdErr, u"wrong");
        EXPECT_EQ(ShownAt("second"), Lines{"wrong"});
        EXPECT_EQ(ShownAt("video"), Lines{"ready"});
    });
    EXPECT_EQ(result.screen, Lines{"ready"});
    ASSERT_EQ(result.outputs.size(), 2u);
    EXPECT_EQ(result.outputs[1].device, "second");
    EXPECT_EQ(result.outputs[1].lines, Lines{"wrong"});
    EXPECT_EQ(violations, Lines{});
}

TEST_F(ConsoleDevices, OutputsComeAndGoWhileTheConsoleStays) {
    Boot([] {
        Devices& devices = Machine().Get<Devices>();
        SetConsole(u"ConOut", std::u16string(kVideo) + u"," + kSecondVideo);
        Connect(kVideo);
        EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* const out = st->ConOut;
        Print(u"one\r\n");
        out->SetAttribute(out, EFI_TEXT_ATTR(EFI_YELLOW, EFI_BLUE));
        out->EnableCursor(out, FALSE);

        // The second one begins blank, where the first one is.
        Connect(kSecondVideo);
        EXPECT_EQ(NamesOfOutputs(), (Lines{"video", "second"}));
        Print(u"two");
        EXPECT_EQ(ShownAt("video"), (Lines{"one", "two"}));
        EXPECT_EQ(ShownAt("second"), (Lines{"", "two"}));
        const TextScreen& second = *Machine().splitter->Outputs()[1].screen;
        EXPECT_EQ(second.At(0, 1).attribute, 0x1E);
        EXPECT_EQ(second.At(5, 5).attribute, 0x1E);
        EXPECT_EQ(second.Record().CursorVisible, FALSE);

        devices.Pull(*devices.Find("video"));
        EXPECT_EQ(NamesOfOutputs(), Lines{"second"});
        Print(u"!");
        EXPECT_EQ(ShownAt("second"), (Lines{"", "two!"}));
        EXPECT_EQ(st->ConOut, out);

        devices.Pull(*devices.Find("second"));
        EXPECT_EQ(st->ConOut, out);
        EXPECT_EQ(out->OutputString(out, u"unseen"), EFI_SUCCESS);
        EXPECT_EQ(Machine().screen->Lines(), (Lines{"one", "two!"}));
        ExpectRightChecksum();
    });
    EXPECT_EQ(Traced("screen"),
              (Lines{R"({"text":"one\r\n"})", R"({"text":"two"})", R"({"text":"!"})"}));
    EXPECT_EQ(Traced("console"), (Lines{R"({"op":"attach","for":"out","device":"video"})",
                                        R"({"op":"attach","for":"out","device":"second"})",
                                        R"({"op":"detach","for":"out","device":"video"})",
                                        R"({"op":"detach","for":"out","device":"second"})"}));
    EXPECT_EQ(violations, Lines{});
}

TEST_F(ConsoleDevices, AFailingOutputIsToldAndKeepsNoOtherFromShowing) {
    Describe(std::string(kDevices) + R"(, "faults": [{"call": "GraphicsConsole.OutputString",
                                                     "nth": 1}])");
    Boot([] {
        SetConsole(u"ConOut", std::u16string(kVideo) + u"," + kSecondVideo);
        Connect(kVideo);
        Connect(kSecondVideo);
        EXPECT_EQ(st->ConOut->OutputString(st->ConOut, u"text"), EFI_DEVICE_ERROR);
        EXPECT_EQ(ShownAt("video"), Lines{});
        EXPECT_EQ(ShownAt("second"), Lines{"text"});
        // A device that was disconnected answers no more; a call of it is a violation.
        auto* text = static_cast<EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL*>(
            Machine().handles->Find(HandleOf("second"), gEfiSimpleTextOutProtocolGuid));
        EXPECT_EQ(bs->DisconnectController(HandleOf("second"), nullptr, nullptr), EFI_SUCCESS);
        EXPECT_EQ(NamesOfOutputs(), Lines{"video"});
        text->ClearScreen(text);
    });
    EXPECT_EQ(violations.size(), 1u);
}

// What went out of a port since the last call.
class SerialOutput {
public:
    explicit SerialOutput(const char* device)
        : port_(*Platform::Current().Get<Devices>().Find(device)->Find<SerialPort>()) {}
    std::string Next() {
        const std::string bytes = port_.Written().substr(seen_);
        seen_ = port_.Written().size();
        return bytes;
    }

private:
    const SerialPort& port_;
    std::size_t seen_ = 0;
};

TEST_F(ConsoleDevices, TerminalsShowTheConsoleWithTheBytesOfTheirKind) {
    Describe(std::string(kDevices) + R"json(, "console": {"columns": 132, "rows": 43})json");
    Boot([] {
        SetConsole(u"ConOut", std::u16string(kVideo) + u"," + kPcAnsi + u"," + kVt100);
        SetConsole(u"ConIn", kPcAnsi);
        Connect(kVideo);
        EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL& out = *st->ConOut;
        EXPECT_EQ(out.Mode->MaxMode, 4);
        EXPECT_EQ(Machine().screen->Columns(), 132u);

        // A terminal has no such mode: the console goes on in one that both have.
        EXPECT_EQ(Connect(kPcAnsi), EFI_SUCCESS);
        EXPECT_EQ(out.Mode->MaxMode, 3);
        EXPECT_EQ(Machine().screen->Columns(), 80u);
        EXPECT_NE(st->ConIn, nullptr);
        EXPECT_EQ(Connect(kVt100), EFI_SUCCESS);
        EXPECT_EQ(NamesOfOutputs(), (Lines{"video", "com1", "com2"}));

        SerialOutput ansi("com1");
        SerialOutput vt100("com2");
        EXPECT_TRUE(ansi.Next().starts_with("\x1b[=3h\x1b[2J"));
        vt100.Next();
        out.SetAttribute(&out, EFI_TEXT_ATTR(EFI_YELLOW, EFI_BLUE));
        EXPECT_EQ(ansi.Next(), "\x1b[0;1;33;44m");
        out.ClearScreen(&out);
        EXPECT_EQ(ansi.Next(), "\x1b[2J\x1b[01;01H");
        out.SetCursorPosition(&out, 9, 4);
        EXPECT_EQ(ansi.Next(), "\x1b[05;10H");
        out.EnableCursor(&out, FALSE);
        EXPECT_EQ(ansi.Next(), "");
        EXPECT_TRUE(vt100.Next().ends_with("\x1b[?25l"));

        EXPECT_EQ(out.OutputString(&out, u"\u2554\u2190\r\n"), EFI_SUCCESS);
        EXPECT_EQ(ansi.Next(), "\xC9<\r\n");
        EXPECT_EQ(vt100.Next(), "/<\r\n");
        EXPECT_EQ(out.TestString(&out, u"\u2554"), EFI_SUCCESS);
        EXPECT_EQ(out.TestString(&out, u"\u4E2D"), EFI_UNSUPPORTED);
        EXPECT_EQ(out.OutputString(&out, u"\u4E2D"), EFI_WARN_UNKNOWN_GLYPH);
        EXPECT_EQ(ansi.Next(), "?");
        EXPECT_EQ(ShownAt("com2"), (Lines{"", "", "", "", "         /<", "?"}));
        EXPECT_EQ(ShownAt("video"), (Lines{"", "", "", "", "         \u2554\u2190", "\u4E2D"}));
        out.Reset(&out, FALSE);
        EXPECT_EQ(ansi.Next(), "\x1b[0;37;40m\x1b[=3h\x1b[2J\x1b[01;01H");
        EXPECT_EQ(ShownAt("com2"), Lines{});

        // The port is taken: a terminal of another kind does not come.
        EXPECT_EQ(Connect(u"PciRoot(0x0)/Pci(0x1F,0x0)/Serial(0x0)/Uart(115200,8,N,1)/VenVt100()"),
                  EFI_NOT_FOUND);
        EXPECT_EQ(NamesOfOutputs(), (Lines{"video", "com1", "com2"}));

        Machine().Get<Devices>().Pull(*Machine().Get<Devices>().Find("com1"));
        EXPECT_EQ(NamesOfOutputs(), (Lines{"video", "com2"}));
        Print(u"on");
        EXPECT_EQ(ShownAt("com2"), Lines{"on"});
    });
    EXPECT_EQ(violations, Lines{});
}

TEST_F(ConsoleDevices, ATerminalThatIsAttachedIsDetectedWhenItsPortIsConnected) {
    Boot([] {
        const auto detected = [] {
            const StoredVariable* variable =
                Machine().variables->Find(u"TerminalDetect", gKelmBdsVariableGuid);
            return variable != nullptr && variable->attributes == EFI_VARIABLE_BOOTSERVICE_ACCESS &&
                   variable->data == std::vector<std::uint8_t>{1};
        };
        EXPECT_EQ(Connect(kVt100), EFI_SUCCESS); // nobody sits there
        EXPECT_FALSE(detected());
        EXPECT_EQ(Connect(u"PciRoot(0x0)/Pci(0x1F,0x0)/Serial(0x0)/Uart(115200,8,N,1)"),
                  EFI_SUCCESS);
        EXPECT_FALSE(detected()) << "the path ends before the terminal";
        // Connected all the way without a path: the terminal is of the usual kind.
        bs->ConnectController(HandleOf("com1"), nullptr, nullptr, TRUE);
        EXPECT_TRUE(detected());
        EFI_DEVICE_PATH_PROTOCOL* path = Path(kPcAnsi);
        EFI_HANDLE handle = nullptr;
        EXPECT_EQ(bs->LocateDevicePath(&gEfiSimpleTextOutProtocolGuid, &path, &handle),
                  EFI_SUCCESS);
        EXPECT_TRUE(kelm::IsEndNode(path));
        EXPECT_EQ(st->ConOut, nullptr);
    });
    EXPECT_EQ(violations, Lines{});
}

TEST_F(ConsoleDevices, AKeyboardIsAConsoleByItsPathOrAShortForm) {
    struct Row {
        const char16_t* listed;
        bool fits;
    };
    static constexpr Row kRows[] = {
        {kKeyboard, true},
        {u"UsbClass(0xFFFF,0xFFFF,0x3,0x1,0x1)", true},
        {u"UsbClass(0x1234,0xFFFF,0xFF,0xFF,0xFF)", true},
        {u"UsbClass(0x1235,0xFFFF,0xFF,0xFF,0xFF)", false},
        {u"UsbClass(0xFFFF,0xFFFF,0x8,0xFF,0xFF)", false},
        {u"UsbWwid(0x1234,0x5678,0x0,0042)", true},
        {u"UsbWwid(0x1234,0x5678,0x0,0043)", false},
        {u"PciRoot(0x0)/Pci(0x14,0x0)/USB(0x2,0x0)", false},
    };
    for (const Row& row : kRows) {
        Boot([&] {
            SetConsole(u"ConIn", row.listed);
            Connect(kKeyboard);
            EXPECT_EQ(Has("keyboard", gEfiSimpleTextInProtocolGuid), true);
            EXPECT_EQ(Has("keyboard", gEfiConsoleInDeviceGuid), row.fits);
            EXPECT_EQ(st->ConIn != nullptr, row.fits);
            ExpectRightChecksum();
            EXPECT_EQ(Machine().splitter->Inputs().size(), row.fits ? 1u : 0u);
        });
        EXPECT_EQ(violations, Lines{});
    }
}

TEST_F(ConsoleDevices, KeysReachConInWhileItsKeyboardComesAndGoes) {
    Describe(std::string(kDevices) + R"json(, "keys": [{"at": 1000, "key": "a"},
                                                       {"at": 2000, "key": "b"}])json");
    Boot([] {
        SetConsole(u"ConIn", kKeyboard);
        Connect(kKeyboard);
        ASSERT_NE(st->ConIn, nullptr);
        EFI_SIMPLE_TEXT_INPUT_PROTOCOL& in = *st->ConIn;
        void* extended = nullptr;
        EXPECT_EQ(
            bs->HandleProtocol(st->ConsoleInHandle, &gEfiSimpleTextInputExProtocolGuid, &extended),
            EFI_SUCCESS);
        UINTN index = 0;
        EFI_INPUT_KEY key{};
        EXPECT_EQ(bs->WaitForEvent(1, &in.WaitForKey, &index), EFI_SUCCESS);
        EXPECT_EQ(in.ReadKeyStroke(&in, &key), EFI_SUCCESS);
        EXPECT_EQ(key.UnicodeChar, u'a');

        Machine().Get<Devices>().Pull(*Machine().Get<Devices>().Find("keyboard"));
        EXPECT_TRUE(Machine().splitter->Inputs().empty());
        EXPECT_EQ(st->ConIn, &in);
        EXPECT_EQ(bs->WaitForEvent(1, &in.WaitForKey, &index), EFI_SUCCESS);
        EXPECT_EQ(in.ReadKeyStroke(&in, &key), EFI_SUCCESS);
        EXPECT_EQ(key.UnicodeChar, u'b');
    });
    EXPECT_EQ(violations, Lines{});
}

TEST_F(ConsoleDevices, VideoOutputsSwitchModesMovePixelsAndTellTheirDisplay) {
    Boot([] {
        Connect(kVideo);
        Connect(kSecondVideo);
        auto* gop = static_cast<EFI_GRAPHICS_OUTPUT_PROTOCOL*>(
            Machine().handles->Find(HandleOf("video"), gEfiGraphicsOutputProtocolGuid));
        ASSERT_NE(gop, nullptr);
        ASSERT_EQ(gop->Mode->MaxMode, 3u);
        UINTN size = 0;
        EFI_GRAPHICS_OUTPUT_MODE_INFORMATION* info = nullptr;
        EXPECT_EQ(gop->QueryMode(gop, 3, &size, &info), EFI_INVALID_PARAMETER);
        EXPECT_EQ(gop->QueryMode(gop, 2, &size, &info), EFI_SUCCESS);
        EXPECT_EQ(size, sizeof *info);
        EXPECT_EQ(info->HorizontalResolution, 1024u);
        EXPECT_EQ(info->VerticalResolution, 768u);
        EXPECT_EQ(bs->FreePool(info), EFI_SUCCESS);
        EXPECT_EQ(gop->SetMode(gop, 3), EFI_UNSUPPORTED);
        EXPECT_EQ(gop->SetMode(gop, 2), EFI_SUCCESS);
        EXPECT_EQ(gop->Mode->Mode, 2u);
        EXPECT_EQ(gop->Mode->FrameBufferSize, 1024u * 768u * 4u);

        // A red square, taken down-right over itself, and back into a part of a buffer.
        EFI_GRAPHICS_OUTPUT_BLT_PIXEL red = {0, 0, 255, 0};
        std::array<EFI_GRAPHICS_OUTPUT_BLT_PIXEL, 16> buffer{};
        EXPECT_EQ(gop->Blt(gop, &red, EfiBltVideoFill, 0, 0, 1023, 0, 2, 1, 0),
                  EFI_INVALID_PARAMETER);
        EXPECT_EQ(gop->Blt(gop, &red, EfiBltVideoFill, 0, 0, 10, 20, 2, 2, 0), EFI_SUCCESS);
        EXPECT_EQ(gop->Blt(gop, nullptr, EfiBltVideoToVideo, 10, 20, 11, 21, 3, 3, 0), EFI_SUCCESS);
        const VideoOutput& video = *Machine().Get<Devices>().Find("video")->Find<VideoOutput>();
        EXPECT_EQ(video.At(10, 20).Red, 255);
        EXPECT_EQ(video.At(12, 22).Red, 255);
        EXPECT_EQ(video.At(13, 23).Red, 0);
        EXPECT_EQ(gop->Blt(gop, buffer.data(), EfiBltVideoToBltBuffer, 12, 22, 1, 1, 2, 2,
                           4 * sizeof(red)),
                  EFI_SUCCESS);
        EXPECT_EQ(buffer[1 * 4 + 1].Red, 255);
        EXPECT_EQ(buffer[1 * 4 + 2].Red, 0);
        EXPECT_EQ(buffer[0].Red, 0);

        const auto edidOf = [](const char* device, const EFI_GUID& protocol) {
            auto* edid = static_cast<EFI_EDID_DISCOVERED_PROTOCOL*>(
                Machine().handles->Find(HandleOf(device), protocol));
            EXPECT_NE(edid, nullptr);
            return std::vector<UINT8>(edid->Edid, edid->Edid + edid->SizeOfEdid);
        };
        const auto edid = edidOf("video", gEfiEdidDiscoveredProtocolGuid);
        ASSERT_EQ(edid.size(), kEdidBlockSize);
        EXPECT_EQ(edid, edidOf("video", gEfiEdidActiveProtocolGuid));
        UINT8 sum = 0;
        for (const UINT8 byte : edid) {
            sum = UINT8(sum + byte);
        }
        EXPECT_EQ(sum, 0);
        EXPECT_EQ(edid[56] | (edid[58] & 0xF0) << 4, 1024); // of the preferred timing
        EXPECT_EQ(edid[59] | (edid[61] & 0xF0) << 4, 768);
        EXPECT_TRUE(edidOf("second", gEfiEdidDiscoveredProtocolGuid).empty());
    });
    EXPECT_EQ(violations, Lines{});
}

TEST_F(ConsoleDevices, ThePlatformNamesItsConsolesAndWhatComesFirst) {
    PowerOn(R"json("consoles": [{"path": "PciRoot(0x0)/Pci(0x2,0x0)", "for": ["out", "error"]},
                        {"path": "UsbClass(0xFFFF,0xFFFF,0x3,0x1,0x1)", "for": ["in"]}],
           "connectSequence": ["PciRoot(0x2)"])json",
            [](Platform& platform) {
                auto* protocol = Find<KelmPlatformConsoleProtocol>(platform);
                ASSERT_NE(protocol, nullptr);
                PlatformConsoleEntry* table = nullptr;
                EXPECT_EQ(protocol->GetPlatformConsole(protocol, &table), EFI_SUCCESS);
                EXPECT_EQ(table[0].ConnectType, kConsoleOut | kConsoleStdErr);
                EXPECT_EQ(table[1].ConnectType, kConsoleIn);
                EXPECT_TRUE(kelm::DevicePathsEqual(table[0].DevicePath,
                                                   Path(u"PciRoot(0x0)/Pci(0x2,0x0)")));
                EXPECT_EQ(table[2].DevicePath, nullptr);
                EFI_DEVICE_PATH_PROTOCOL** sequence = nullptr;
                EXPECT_EQ(protocol->GetPlatformConnectSequence(protocol, &sequence), EFI_SUCCESS);
                EXPECT_TRUE(kelm::DevicePathsEqual(sequence[0], Path(u"PciRoot(0x2)")));
                EXPECT_EQ(sequence[1], nullptr);
                EXPECT_EQ(st->ConOut, nullptr) << "the devices have to be connected";
            });
    PowerOn("", [](Platform& platform) {
        EXPECT_EQ(Find<KelmPlatformConsoleProtocol>(platform), nullptr);
        ASSERT_NE(st->ConOut, nullptr) << "the console is built in";
        EXPECT_EQ(st->ConOut, st->StdErr);
        EXPECT_NE(st->ConIn, nullptr);
        ExpectRightChecksum();
    });
}

} // namespace
} // namespace simtest
