// The console of the machine as a driver meets it: text that wraps and scrolls, and keys that
// arrive while the driver polls, waits or has asked to be notified.

#include "sim/firmware/Clock.h"
#include "sim/firmware/EventService.h"
#include "sim/firmware/Keyboard.h"
#include "sim/firmware/Screen.h"
#include "sim/firmware/Server.h"

#include <functional>
#include <gtest/gtest.h>

namespace sim {
namespace {

// Runs `work` as the driver of a machine with nothing but its built-in console and these sections.
// It returns, so the boot ends as halted.
class Console : public testing::Test {
protected:
    using Work = std::function<void(EFI_SYSTEM_TABLE&)>;

    BootResult Boot(std::string_view machine, Work work) {
        sWork = std::move(work);
        DriverImage driver;
        driver.nativeEntry = [](EFI_HANDLE, EFI_SYSTEM_TABLE* table) EFIAPI -> EFI_STATUS {
            sWork(*table);
            return EFI_SUCCESS;
        };
        Json sections = Json::parse(machine);
        sections["extends"] = "empty";
        Server server(ParseMachine(sections.dump()), NvStore(), driver, trace_);
        return server.PowerOn();
    }
    std::vector<std::string> TextsOf(std::string_view event, const char* field) {
        std::vector<std::string> texts;
        for (const Json& line : trace_.EventsOf(event)) {
            texts.push_back(line[field].get<std::string>());
        }
        return texts;
    }

    Trace trace_;

private:
    static inline Work sWork;
};

using Lines = std::vector<std::string>;

TEST_F(Console, TextWrapsScrollsAndKeepsItsColours) {
    const BootResult result = Boot("{}", [](EFI_SYSTEM_TABLE& table) {
        EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL& out = *table.ConOut;
        const Screen& screen = *Platform::Current().screen;
        UINTN columns = 0;
        UINTN rows = 0;
        EXPECT_EQ(out.QueryMode(&out, 1, &columns, &rows), EFI_SUCCESS);
        EXPECT_EQ(columns, 80u);
        EXPECT_EQ(rows, 50u);
        EXPECT_EQ(out.QueryMode(&out, UINTN(out.Mode->MaxMode), &columns, &rows), EFI_UNSUPPORTED);
        EXPECT_EQ(out.SetMode(&out, 99), EFI_UNSUPPORTED);
        out.SetMode(&out, 0);

        out.OutputString(&out, u"one\ntwo\rTWO\b!\r\n");
        EXPECT_EQ(screen.Lines(), (Lines{"one", "TW!two"}));
        out.ClearScreen(&out);
        out.OutputString(&out, u"one\r\ntwo");
        EXPECT_EQ(out.Mode->CursorColumn, 3);
        EXPECT_EQ(out.Mode->CursorRow, 1);

        EXPECT_EQ(out.SetAttribute(&out, 0x80), EFI_UNSUPPORTED);
        out.SetAttribute(&out, EFI_TEXT_ATTR(EFI_WHITE, EFI_BLUE));
        EXPECT_EQ(out.SetCursorPosition(&out, 80, 0), EFI_UNSUPPORTED);
        out.SetCursorPosition(&out, 78, 23);
        out.OutputString(&out, u"abc\u2554\xE000");
        EXPECT_EQ(screen.At(79, 23).character, u'b');
        EXPECT_EQ(screen.At(0, 24).attribute, 0x1F);
        EXPECT_EQ(screen.At(0, 0).attribute, 0x07);
        EXPECT_EQ(out.OutputString(&out, u"\xE000"), EFI_WARN_UNKNOWN_GLYPH);
        EXPECT_EQ(out.TestString(&out, u"\xE000"), EFI_UNSUPPORTED);
        EXPECT_EQ(out.TestString(&out, u"\u2554\r\n"), EFI_SUCCESS);

        // The last cell of the screen scrolls it.
        out.SetCursorPosition(&out, 79, 24);
        out.OutputString(&out, u"z");
        EXPECT_EQ(out.Mode->CursorRow, 24);
        EXPECT_EQ(screen.At(79, 23).character, u'z');
        EXPECT_EQ(screen.Lines()[0], "two");
        EXPECT_EQ(screen.ScrolledOff(), Lines{"one"});
    });
    ASSERT_EQ(result.screen.size(), 24u);
    EXPECT_EQ(result.screen[0], "two");
    EXPECT_EQ(result.screen[23].substr(0, 4), "c\u2554");
}

TEST_F(Console, ScreenEventsTellEveryChangeOnce) {
    Boot(R"({"console": {"columns": 132, "rows": 43}})", [](EFI_SYSTEM_TABLE& table) {
        EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL& out = *table.ConOut;
        EXPECT_EQ(out.Mode->MaxMode, 4);
        EXPECT_EQ(out.Mode->Mode, 3);
        out.SetAttribute(&out, 0x07); // as it is
        out.SetAttribute(&out, 0x0F);
        out.EnableCursor(&out, TRUE); // as it is
        out.EnableCursor(&out, FALSE);
        out.SetCursorPosition(&out, 131, 42);
        out.OutputString(&out, u"x");
        out.Reset(&out, FALSE);
    });
    std::vector<std::string> seen;
    for (const Json& event : trace_.Events()) {
        if (event["event"].get<std::string>().starts_with("screen")) {
            Json fields = event;
            fields.erase("t");
            seen.push_back(TraceLine(fields));
        }
    }
    EXPECT_EQ(seen, (Lines{R"({"event":"screen-attribute","value":15})",
                           R"({"event":"screen-cursor","column":0,"row":0,"visible":false})",
                           R"({"event":"screen-cursor","column":131,"row":42,"visible":false})",
                           R"({"event":"screen","text":"x"})",
                           R"({"event":"screen-attribute","value":7})",
                           R"({"event":"screen-mode","mode":0,"columns":80,"rows":25})",
                           R"({"event":"screen-clear"})"}));
}

TEST_F(Console, KeysArriveWhileTheDriverPollsOrWaits) {
    Boot(R"({"keys": [{"at": 40, "key": "F2"}, {"at": 40, "key": "Ctrl+c"},
                      {"at": 2000, "key": "Enter"}, {"at": 3000, "key": "Shift+a"}]})",
         [](EFI_SYSTEM_TABLE& table) {
             EFI_SIMPLE_TEXT_INPUT_PROTOCOL& in = *table.ConIn;
             Clock& clock = *Platform::Current().clock;
             EFI_INPUT_KEY key = {};
             const std::uint64_t start = clock.Now();
             unsigned polls = 0;
             while (in.ReadKeyStroke(&in, &key) == EFI_NOT_READY && polls < 1000) {
                 polls++;
             }
             EXPECT_EQ(key.ScanCode, SCAN_F2);
             // A millisecond for each poll that found nothing.
             EXPECT_EQ(clock.Now(), start + polls * 1000);
             EXPECT_GE(clock.Now(), 40'000u);
             EXPECT_EQ(in.ReadKeyStroke(&in, &key), EFI_SUCCESS);
             EXPECT_EQ(key.UnicodeChar, 3); // the simple protocol knows control characters

             UINTN index = 9;
             EXPECT_EQ(table.BootServices->WaitForEvent(1, &in.WaitForKey, &index), EFI_SUCCESS);
             EXPECT_EQ(index, 0u);
             EXPECT_EQ(clock.Now(), 2'000'000u);
             EXPECT_EQ(in.ReadKeyStroke(&in, &key), EFI_SUCCESS);
             EXPECT_EQ(key.UnicodeChar, CHAR_CARRIAGE_RETURN);
             table.BootServices->WaitForEvent(1, &in.WaitForKey, &index);
             EXPECT_EQ(in.Reset(&in, FALSE), EFI_SUCCESS); // drops what was typed
             EXPECT_EQ(in.ReadKeyStroke(&in, &key), EFI_NOT_READY);
         });
    EXPECT_EQ(TextsOf("key", "key"), (Lines{"F2", "Ctrl+c", "Enter", "Shift+a"}));
}

TEST_F(Console, NotificationsRunForTheirKeyAndState) {
    static std::string sCalls; // what the notifications saw, in order
    sCalls.clear();
    const auto note = [](EFI_KEY_DATA* key) EFIAPI -> EFI_STATUS {
        EXPECT_EQ(Platform::Current().events->Tpl(), TPL_CALLBACK);
        sCalls += char(key->Key.UnicodeChar);
        return EFI_SUCCESS;
    };
    Boot(
        R"({"keys": [{"at": 100, "key": "x"}, {"at": 200, "key": "Ctrl+x"}, {"at": 300, "key": "y"},
                      {"at": 400, "key": "x"}]})",
        [&](EFI_SYSTEM_TABLE& table) {
            Keyboard& keyboard = *Platform::Current().keyboard;
            EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL& in = *keyboard.ProtocolEx();
            EFI_KEY_DATA any = {{SCAN_NULL, u'x'}, {0, 0}};
            EFI_KEY_DATA control = {{SCAN_NULL, u'x'},
                                    {EFI_SHIFT_STATE_VALID | EFI_LEFT_CONTROL_PRESSED, 0}};
            void* first = nullptr;
            void* second = nullptr;
            EXPECT_EQ(in.RegisterKeyNotify(&in, &any, note, &first), EFI_SUCCESS);
            EXPECT_EQ(in.RegisterKeyNotify(&in, &control, note, &second), EFI_SUCCESS);
            EXPECT_EQ(in.RegisterKeyNotify(&in, &any, nullptr, &first), EFI_INVALID_PARAMETER);

            table.BootServices->Stall(150'000);
            EXPECT_EQ(sCalls, "x");
            // Not while the level is at theirs or above; then for every key that came.
            const EFI_TPL old = table.BootServices->RaiseTPL(TPL_NOTIFY);
            table.BootServices->Stall(100'000);
            EXPECT_EQ(sCalls, "x");
            table.BootServices->RestoreTPL(old);
            EXPECT_EQ(sCalls, "xxx");

            EXPECT_EQ(in.UnregisterKeyNotify(&in, first), EFI_SUCCESS);
            EXPECT_EQ(in.UnregisterKeyNotify(&in, first), EFI_INVALID_PARAMETER);
            table.BootServices->Stall(300'000);
            EXPECT_EQ(sCalls, "xxx");
            EXPECT_EQ(keyboard.NotificationCount(), 1u);

            // Notified keys are read like any other, with their states.
            EFI_KEY_TOGGLE_STATE numLock = EFI_TOGGLE_STATE_VALID | EFI_NUM_LOCK_ACTIVE;
            EFI_KEY_TOGGLE_STATE invalid = EFI_NUM_LOCK_ACTIVE;
            EXPECT_EQ(in.SetState(&in, &invalid), EFI_UNSUPPORTED);
            EXPECT_EQ(in.SetState(&in, &numLock), EFI_SUCCESS);
            EFI_KEY_DATA data = {};
            EXPECT_EQ(keyboard.Waiting(), 4u);
            EXPECT_EQ(in.ReadKeyStrokeEx(&in, &data), EFI_SUCCESS);
            EXPECT_EQ(in.ReadKeyStrokeEx(&in, &data), EFI_SUCCESS);
            EXPECT_EQ(data.Key.UnicodeChar, u'x');
            EXPECT_EQ(data.KeyState.KeyShiftState,
                      EFI_SHIFT_STATE_VALID | EFI_LEFT_CONTROL_PRESSED);
            in.ReadKeyStrokeEx(&in, &data);
            in.ReadKeyStrokeEx(&in, &data);
            EXPECT_EQ(in.ReadKeyStrokeEx(&in, &data), EFI_NOT_READY);
            EXPECT_EQ(data.KeyState.KeyToggleState, numLock);
        });
}

TEST(KeyNames, SayWhatAKeyboardReports) {
    struct Row {
        const char* name;
        UINT16 scanCode;
        CHAR16 character;
        UINT32 shift;
    };
    constexpr Row kRows[] = {
        {"F1", SCAN_F1, 0, 0},
        {"f12", SCAN_F12, 0, 0},
        {"F13", SCAN_F13, 0, 0},
        {"F24", SCAN_F24, 0, 0},
        {"esc", SCAN_ESC, 0, 0},
        {"PAUSE", SCAN_PAUSE, 0, 0},
        {"PageDown", SCAN_PAGE_DOWN, 0, 0},
        {"Tab", 0, u'\t', 0},
        {"Space", 0, u' ', 0},
        {"a", 0, u'a', 0},
        {"Shift+a", 0, u'A', 0},
        {"+", 0, u'+', 0},
        {"Ctrl++", 0, u'+', EFI_LEFT_CONTROL_PRESSED},
        {"Comma", 0, u',', 0},
        {"\u00e4", 0, u'\u00e4', 0},
        {"shift+F11", SCAN_F11, 0, EFI_LEFT_SHIFT_PRESSED},
        {"Alt+Ctrl+Delete", SCAN_DELETE, 0, EFI_LEFT_CONTROL_PRESSED | EFI_LEFT_ALT_PRESSED},
    };
    for (const Row& row : kRows) {
        const auto key = KeyFromName(row.name);
        ASSERT_TRUE(key) << row.name;
        EXPECT_EQ(key->Key.ScanCode, row.scanCode) << row.name;
        EXPECT_EQ(key->Key.UnicodeChar, row.character) << row.name;
        EXPECT_EQ(key->KeyState.KeyShiftState, EFI_SHIFT_STATE_VALID | row.shift) << row.name;
    }
    for (const char* bad : {"", "F0", "F01", "F25", "Ctrl+", "ab", "Ctrl+Ctrl+a", "\xFF", "\x01"}) {
        EXPECT_FALSE(KeyFromName(bad)) << bad;
    }

    const Json expected = {{{"at", 1500}, {"key", "F2"}},
                           {{"at", 1500}, {"key", "Comma"}},
                           {{"at", 2000}, {"key", "Enter"}}};
    EXPECT_EQ(ParseKeyList("F2@1500,Comma,Enter@2000"), expected);
    EXPECT_EQ(ParseKeyList(""), Json::array());
    for (const char* bad : {"F2@", "F2@soon", "@5", "F2@1,,F3", "F2@99999999999"}) {
        EXPECT_THROW(ParseKeyList(bad), MachineFileError) << bad;
    }
}

} // namespace
} // namespace sim
