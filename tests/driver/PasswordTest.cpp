// The password prompts: what is asked, what is typed, when the machine stops, and what is left of a
// password in memory.

#include "core/DriverState.h"
#include "kelm/PasswordProtocol.h"
#include "kelm/PostMessages.h"
#include "kelm/Variables.h"
#include "post/PasswordInput.h"
#include "post/Passwords.h"
#include "sim/firmware/Screen.h"
#include "sim/firmware/VariableService.h"
#include "sim/siblings/Passwords.h"
#include "sim/siblings/PostMessages.h"
#include "tests/driver/DriverBoot.h"
#include "uefi/SimpleTextOutput.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace kelm::test {

namespace {

constexpr char kSystem[] = R"("system": "Zq9%Kx")";
constexpr char kSetup[] = R"("setup": "Wj4#Vb")";

// A machine whose passwords these are. Each character of `typed` is a key; < is Backspace, ^ is
// Left, ! is Enter and ~ is F5. One every 100 milliseconds from `start` on.
std::string Machine(std::string_view passwords, std::string_view typed, unsigned start = 1000,
                    std::string_view rest = "") {
    std::string keys;
    unsigned at = start;
    for (const char c : typed) {
        const std::string name = c == '<'   ? "Backspace"
                                 : c == '^' ? "Left"
                                 : c == '!' ? "Enter"
                                 : c == '~' ? "F5"
                                            : std::string(1, c);
        keys += fmt::format(R"({}{{"at": {}, "key": "{}"}})", keys.empty() ? "" : ", ", at, name);
        at += 100;
    }
    return fmt::format(R"({{"passwords": {{{}}}, "keys": [{}]{}}})", passwords, keys, rest);
}

// Over the empty machine, whose console is built in.
std::string Bare(std::string_view passwords, std::string_view typed) {
    return Machine(passwords, typed, 1000, R"(, "extends": "empty")");
}

std::string Written(const sim::Trace& trace) {
    std::string text;
    for (const sim::Json& event : trace.EventsOf("screen")) {
        text += event.at("text").get<std::string>();
    }
    return text;
}

unsigned Count(const std::string& text, std::string_view part) {
    unsigned count = 0;
    for (auto at = text.find(part); at != text.npos; at = text.find(part, at + part.size())) {
        count++;
    }
    return count;
}

std::vector<std::string> ServiceCalls(const sim::Trace& trace) {
    std::vector<std::string> calls;
    for (const sim::Json& event : trace.EventsOf("protocol-call")) {
        if (event.at("protocol") == "KelmPasswordProtocol") {
            calls.push_back(event.at("member"));
        }
    }
    return calls;
}

struct Outcome {
    sim::BootResult result;
    std::string written;
    std::vector<std::string> calls;
};

Outcome Observe(const std::string& machine, const std::function<void(sim::Platform&)>& body) {
    sim::Trace trace;
    const sim::BootResult result = RunInFirmware(
        machine,
        [&](sim::Platform& platform) {
            const auto blocks = platform.arena->LiveBlocks().size();
            body(platform);
            EXPECT_EQ(platform.arena->LiveBlocks().size(), blocks);
        },
        &trace);
    EXPECT_EQ(result.violations, std::vector<std::string>{});
    return {result, Written(trace), ServiceCalls(trace)};
}

constexpr char kHaltedText[] =
    "*** Maximum number of password attempts exceeded. System halted. ***";

// Whether any three characters in a row of a typed text stand somewhere in these bytes.
bool HoldsTyped(const void* data, std::size_t size, std::u16string_view typed) {
    const auto* begin = static_cast<const UINT8*>(data);
    for (std::size_t i = 0; i + 3 <= typed.size(); ++i) {
        const auto* piece = reinterpret_cast<const UINT8*>(typed.data() + i);
        if (std::search(begin, begin + size, piece, piece + 3 * sizeof(char16_t)) != begin + size) {
            return true;
        }
    }
    return false;
}

bool HoldsTyped(const sim::ArenaBlock& block, std::u16string_view typed) {
    return HoldsTyped(reinterpret_cast<const void*>(block.address), block.size, typed);
}

} // namespace

TEST(Passwords, KeysBecomeText) {
    const struct {
        const char* typed;
        std::u16string_view text;
        const char* echo;
    } cases[] = {
        {"!", u"", "\r\n"},
        {"ab!", u"ab", "**\r\n"},
        {"<^a<b!", u"b", "*\b \b*\r\n"}, // nothing to take back at first
        {"abc<<^<x!", u"x", "***\b \b\b \b\b \b*\r\n"},
        {"abcdef!", u"abcdef", "******\r\n"},           // the longest
        {"abcdefgh!", u"abcdef", "******\r\n"},         // longer
        {"abcdefgh<i!", u"abcdei", "******\b \b*\r\n"}, // what was too long was never there
        {"a~b ~!", u"ab ", "***\r\n"},                  // F5 is no character
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.typed);
        const Outcome outcome = Observe(Bare("", row.typed), [&](sim::Platform&) {
            std::array<CHAR16, 8> text;
            text.fill(u'?');
            BdsReadPassword(6, text.data());
            EXPECT_EQ(std::u16string_view(text.data()), row.text);
            EXPECT_EQ(text[7], u'?');
        });
        EXPECT_EQ(outcome.written, row.echo);
    }
}

TEST(Passwords, SetupPasswordIsAskedUntilRightGivenUpOrWrongThreeTimes) {
    const std::string prompt = "Enter Setup Password: ";
    const std::string invalid = "\n*** Password Invalid. ***\r\n";
    const std::string retry = "\nPress <Y> to retry or any other key to continue.\r\n";
    const struct {
        const char* what;
        const char* typed;
        EFI_STATUS status;
        std::string written;
        bool halts = false;
    } cases[] = {
        {"right", "Wj4#Vb!", EFI_SUCCESS, prompt + "******\r\n"},
        {"corrected while typing", "Wj5<4#Vb!", EFI_SUCCESS, prompt + "***\b \b****\r\n"},
        {"given up", "x!n", EFI_ABORTED, prompt + "*\r\n" + invalid + retry},
        {"right the second time", "!yWj4#Vb!", EFI_SUCCESS,
         prompt + "\r\n" + invalid + retry + prompt + "******\r\n"},
        {"wrong three times", "a!Yb!yc!", EFI_SUCCESS,
         prompt + "*\r\n" + invalid + retry + prompt + "*\r\n" + invalid + retry + prompt +
             "*\r\n" + invalid + "\nNumber of unsuccessful password attempts: 3 \r\n" + kHaltedText,
         true},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        bool returned = false;
        const Outcome outcome = Observe(Bare(kSetup, row.typed), [&](sim::Platform& platform) {
            EXPECT_EQ(BdsCheckAdminPassword(), row.status);
            returned = true;
            EXPECT_EQ(platform.Get<sim::Passwords>().openEntries, 0);
        });
        EXPECT_EQ(outcome.written, row.written);
        EXPECT_EQ(returned, !row.halts);
        EXPECT_EQ(outcome.result.reason == sim::EndReason::Halted &&
                      outcome.result.detail == "the processor was halted with interrupts off",
                  row.halts)
            << outcome.result.detail;
    }
}

TEST(Passwords, NobodyIsAskedWithoutNeed) {
    using Calls = std::vector<std::string>;
    const struct {
        const char* what;
        std::string machine;
        EFI_STATUS status;
        Calls calls;
    } cases[] = {
        {"no service",
         R"({"extends": "empty", "missing": ["KelmPasswordProtocol"]})",
         EFI_SUCCESS,
         {}},
        {"no password",
         Bare("", ""),
         EFI_SUCCESS,
         {"GetProperties", "GetProperties", "SetNoPasswordState"}},
        {"accepted before",
         Bare(R"("setup": "x", "accepted": true)", ""),
         EFI_SUCCESS,
         {"GetProperties", "GetProperties", "GetEntryMode", "PasswordEntryBegin",
          "GetValidationState", "PasswordEntryEnd"}},
        {"accepted before, and the service does not care",
         Bare(R"("setup": "x", "accepted": true, "entryMode": 1)", ""),
         EFI_SUCCESS,
         {"GetProperties", "GetProperties", "GetEntryMode", "GetValidationState"}},
        {"a service that fails, and is asked anew",
         R"({"extends": "empty", "passwords": {"system": "x", "setup": "x"}, "faults": [
             {"call": "KelmPasswordProtocol.GetProperties", "nth": 1, "onward": true,
              "status": "EFI_DEVICE_ERROR"}]})",
         EFI_SUCCESS,
         {"GetProperties", "GetProperties"}},
        {"no memory",
         R"({"extends": "empty", "passwords": {"system": "x", "setup": "x"}, "faults": [
             {"call": "AllocatePool", "nth": 1, "onward": true,
              "status": "EFI_OUT_OF_RESOURCES"}]})",
         EFI_OUT_OF_RESOURCES,
         {"GetProperties", "GetProperties"}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        const Outcome outcome = Observe(row.machine, [&](sim::Platform&) {
            BdsCheckSystemPassword();
            EXPECT_EQ(BdsCheckAdminPassword(), row.status);
            const bool failing = std::string_view(row.what).starts_with("a service that fails");
            const bool none = row.calls.empty();
            EXPECT_EQ(gDriver.post.passwords == nullptr, failing || none);
        });
        EXPECT_EQ(outcome.written, "");
        EXPECT_EQ(outcome.calls, row.calls);
    }
}

TEST(Passwords, AcceptedOnceHoldsForTheBoot) {
    const Outcome outcome = Observe(Bare(kSetup, "Wj4#Vb!"), [](sim::Platform&) {
        EXPECT_EQ(BdsCheckAdminPassword(), EFI_SUCCESS);
        EXPECT_EQ(BdsCheckAdminPassword(), EFI_SUCCESS);
    });
    EXPECT_EQ(Count(outcome.written, "Enter Setup Password: "), 1u);
}

TEST(Passwords, SystemPasswordGuardsTheBootAndLeavesTheScreenAsItWas) {
    DriverBoot boot(Machine(kSystem, "abc!", 20000));
    const sim::BootResult waiting = boot.PowerOn();
    EXPECT_TRUE(EndedAtThePrompt(waiting));
    EXPECT_EQ(waiting.screen.at(0), "Enter Password:") << "asked again on a cleared screen";
    EXPECT_FALSE(boot.Logged("[BDS] Default Boot\n", 0x440));

    DriverBoot right(Machine(kSystem, "x!Zq9%Kx!", 5000));
    right.PowerOn();
    EXPECT_TRUE(right.Logged("[BDS] Default Boot\n", 0x440));

    const Outcome outcome = Observe(Bare(kSystem, "x!Zq9%Kx!"), [](sim::Platform& platform) {
        auto* out = gST->ConOut;
        out->SetAttribute(out, EFI_GREEN);
        BdsCheckSystemPassword();
        EXPECT_EQ(UINTN(out->Mode->Attribute), EFI_GREEN);
        EXPECT_TRUE(out->Mode->CursorVisible);
        EXPECT_EQ(out->Mode->CursorRow, 0);
        const auto lines = platform.screen->Lines();
        EXPECT_TRUE(std::all_of(lines.begin(), lines.end(),
                                [](const std::string& line) { return line.empty(); }));
        EXPECT_EQ(platform.Get<sim::Passwords>().openEntries, 0);
        EXPECT_GE(platform.clock->Now(), 3'000'000u) << "two seconds behind the wrong one";
    });
    EXPECT_EQ(outcome.written, "Enter Password: *\r\n\n*** Password Invalid. ***\r\n"
                               "Enter Password: ******\r\n");
}

TEST(Passwords, ThirdWrongSystemPasswordStopsTheMachine) {
    const Outcome outcome = Observe(Bare(kSystem, "a!bb!ccc!"), [](sim::Platform&) {
        BdsCheckSystemPassword();
        ADD_FAILURE() << "returned";
    });
    EXPECT_EQ(outcome.result.reason, sim::EndReason::Halted);
    EXPECT_EQ(outcome.result.detail, "the processor was halted with interrupts off");
    const auto& screen = outcome.result.screen;
    ASSERT_GE(screen.size(), 19u);
    EXPECT_EQ(screen[0], "Enter Password: ***");
    EXPECT_EQ(screen[2], "*** Password Invalid. ***");
    const std::string attempts = "Number of unsuccessful password attempts: 3";
    EXPECT_EQ(screen[17], std::string(19, ' ') + attempts);
    EXPECT_EQ(screen[18], std::string(6, ' ') + kHaltedText);
}

// The only memory that a typed password may stand in is the buffer of the prompt, and that only
// until the service has seen it.
TEST(Passwords, NothingOfATypedPasswordStaysInMemory) {
    constexpr std::u16string_view kTyped = u"Zq9%KxWj4#Vb7&Gh";
    const struct {
        const char* what;
        const char* machine;
        const char* typed;
    } cases[] = {
        {"right", kSystem, "Zq9%Kx!"},
        {"wrong, then right", kSystem, "Wj4#Vb!Zq9%Kx!"},
        {"shorter the second time", kSystem, "Wj4#Vb7&Gh!Zq9%Kx!"},
        {"taken back", kSystem, "Wj4#Vb<<<<<<Zq9%Kx!"},
        {"too long", R"("system": "Zq9", "maximumLength": 5)", "Wj4#Vb7&Gh!Zq9!"},
        {"halted", kSystem, "Wj4#Vb!Wj4#Vb7&Gh!7&Gh!"},
        {"setup right", kSetup, "Wj4#Vb!"},
        {"setup given up", kSetup, "Zq9%Kx!n"},
        {"setup halted", kSetup, "Zq9%Kx!yZq9%Kx!y7&Gh!"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        unsigned seen = 0;
        unsigned left = 0;
        sim::Trace trace;
        trace.SetListener([&](const sim::Json& event) {
            const bool validates =
                event.at("event") == "protocol-call" && event.at("member") == "ValidatePassword";
            const bool halts = event.at("event") == "io" && event.at("op") == "hlt";
            if (!validates && !halts) {
                return;
            }
            for (const auto& block : sim::Platform::Current().arena->LiveBlocks()) {
                (validates ? seen : left) += HoldsTyped(block, kTyped) ? 1 : 0;
            }
        });
        RunInFirmware(
            Bare(row.machine, row.typed),
            [&](sim::Platform& platform) {
                platform.arena->SetFreeHandler([&](const sim::ArenaBlock& block) {
                    left += HoldsTyped(block, kTyped) ? 1 : 0;
                });
                BdsCheckSystemPassword();
                static_cast<void>(BdsCheckAdminPassword());
                for (const auto& block : platform.arena->LiveBlocks()) {
                    left += HoldsTyped(block, kTyped) ? 1 : 0;
                }
            },
            &trace);
        EXPECT_EQ(seen, unsigned(std::count(row.typed, row.typed + std::strlen(row.typed), '!')));
        EXPECT_EQ(left, 0u);
    }
}

TEST(Passwords, JumperAndDisabledFunctionAreReported) {
    const struct {
        const char* machine;
        bool reported;
    } jumpers[] = {
        {"{}", false},
        {R"({"board": {"passwordJumper": false}})", true},
        {R"({"missing": ["KelmBoardInfoProtocol"]})", true},
    };
    for (const auto& row : jumpers) {
        SCOPED_TRACE(row.machine);
        RunInFirmware(row.machine, [&](sim::Platform& platform) {
            static_cast<void>(BdsCheckPasswordJumper());
            EXPECT_EQ(platform.Get<sim::PostMessages>().Has(kPostMessagePasswordJumper),
                      row.reported);
        });
    }
    const KelmVariable& variable = kVariablePasswordDisabled;
    const std::vector<std::pair<std::vector<UINT8>, bool>> values = {
        {{}, false}, {{0}, false}, {{2}, false}, {{1}, true}, {{1, 7, 7}, true},
    };
    for (const auto& [value, reported] : values) {
        const sim::BootResult result = RunInFirmware("{}", [&](sim::Platform& platform) {
            auto& variables = *platform.variables;
            if (!value.empty()) {
                variables.Write(variable.name, *variable.guid, kVariableBoot, value.data(),
                                value.size());
            }
            static_cast<void>(BdsCheckPasswordDisabledMessage());
            static_cast<void>(BdsCheckPasswordDisabledMessage());
            const auto& messages = platform.Get<sim::PostMessages>().Registered();
            EXPECT_EQ(messages.size(), reported ? 1u : 0u);
            EXPECT_EQ(platform.Get<sim::PostMessages>().Has(kPostMessagePasswordDisabled),
                      reported);
            const auto* stored = variables.Find(variable.name, *variable.guid);
            ASSERT_EQ(stored != nullptr, !value.empty());
            if (reported) {
                EXPECT_EQ(stored->data, std::vector<UINT8>{0});
                EXPECT_EQ(stored->attributes, kVariableBoot);
            }
        });
        EXPECT_EQ(result.violations, std::vector<std::string>{});
    }
}

} // namespace kelm::test
