// The keys that a user presses while POST runs: what is taken, what the splash shows of it, and how
// POST is held.

#include "core/HotKeys.h"
#include "core/DriverState.h"
#include "core/PauseKey.h"
#include "kelm/ForgelineProvisioningProtocol.h"
#include "kelm/NimborInfoProtocol.h"
#include "kelm/PlatformPolicyProtocol.h"
#include "kelm/Variables.h"
#include "library/firmware/Services.h"
#include "sim/firmware/EventService.h"
#include "sim/firmware/HandleDatabase.h"
#include "sim/firmware/Keyboard.h"
#include "sim/firmware/VariableService.h"
#include "sim/siblings/Board.h"
#include "sim/siblings/Splash.h"
#include "tests/driver/DriverBoot.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <map>
#include <random>

namespace kelm::test {

namespace {

using Time = std::uint64_t; // microseconds

constexpr char kEnabled[] = "[BDS] Hotkey Enabled";
constexpr char kStop[] = "[BDS] Hotkey Stop";
constexpr char kPauseStop[] = "[BDS] Stop Pause Key";
constexpr Time kSecond = 1'000'000;

struct Press {
    Time at; // milliseconds
    std::string key;
};

std::string Keys(const std::vector<Press>& presses) {
    std::string text = "\"keys\": [";
    for (const Press& press : presses) {
        text += fmt::format(R"({}{{"at": {}, "key": "{}"}})", text.back() == '[' ? "" : ", ",
                            press.at, press.key);
    }
    return text + "]";
}

std::string Machine(const std::vector<Press>& presses, std::string_view rest = "") {
    return fmt::format("{{{}{}{}}}", Keys(presses), rest.empty() ? "" : ", ", rest);
}

// When a phase began or ended.
std::optional<Time> When(const DriverBoot& boot, std::string_view title, std::string_view edge) {
    for (const sim::Json& event : boot.Events("measure")) {
        if (event.at("token") == title && event.at("edge") == edge) {
            return event.at("t").get<Time>();
        }
    }
    return std::nullopt;
}

// In milliseconds, of a boot in which nobody presses anything.
struct Window {
    Time begin = 0;
    Time end = 0;
};
Window FindWindow() {
    DriverBoot boot;
    boot.PowerOn();
    return {When(boot, kEnabled, "start").value_or(0) / 1000,
            When(boot, kStop, "end").value_or(0) / 1000};
}

std::string TakenKey(const DriverBoot& boot) {
    constexpr std::string_view kPrefix = "BDS: Hot Key  - ";
    for (const std::string& line : boot.DebugLines()) {
        if (line.starts_with(kPrefix)) {
            return line.substr(kPrefix.size(), line.size() - kPrefix.size() - 1);
        }
    }
    return "(none logged)";
}

// Each prompt that was drawn, with its line types: "2F2\t = System Setup|2F11...".
std::vector<std::string> Prompts(const DriverBoot& boot) {
    std::vector<std::string> prompts;
    for (const sim::Json& event : boot.Events("splash")) {
        if (event.at("what") != "prompt") {
            continue;
        }
        std::string& prompt = prompts.emplace_back();
        for (const sim::Json& line : event.at("lines")) {
            if (line.at("type") != kSplashLineEmpty) {
                prompt +=
                    fmt::format("{}{}{}", prompt.empty() ? "" : "|", line.at("type").get<int>(),
                                line.at("text").get<std::string>());
            }
        }
    }
    return prompts;
}

std::vector<std::string> Written(const DriverBoot& boot, std::string_view part) {
    std::vector<std::string> texts;
    for (const sim::Json& event : boot.Events("screen")) {
        if (event.at("text").get<std::string>().find(part) != std::string::npos) {
            texts.push_back(event.at("text"));
        }
    }
    return texts;
}

// Nothing of the keys is left when their phases are over.
void ExpectNothingLeft(DriverBoot& boot) {
    boot.AfterPhase(kPauseStop, [] {
        EXPECT_EQ(sim::Platform::Current().keyboard->NotificationCount(), 0u);
        EXPECT_EQ(gDriver.hotKeys.watch.installed, nullptr);
        EXPECT_EQ(gDriver.hotKeys.timer, nullptr);
        EXPECT_EQ(gDriver.pauseKey.hold, nullptr);
    });
}

constexpr char kF2[] = "F2 = System Setup";
constexpr char kF10[] = "F10 = Forgeline";
constexpr char kF11[] = "F11 = Boot Manager";
constexpr char kF12[] = "F12 = PXE Boot";
constexpr char kNone[] = "No Hot Key Pressing";

} // namespace

TEST(HotKeys, AreTakenWithinTheirFourSecondsAndActedOnLater) {
    const Window window = FindWindow();
    ASSERT_GE(window.begin, 2u);
    EXPECT_GE(window.end - window.begin, 4000u);
    const Time first = window.begin + 1;
    const struct {
        const char* what;
        std::vector<Press> presses;
        const char* taken;
        const char* shown; // the line of the last prompt that says so
        const char* entered;
    } cases[] = {
        {"no key", {}, kNone, "", ""},
        {"a key before", {{window.begin - 1, "F2"}}, kNone, "", ""},
        {"a key after", {{window.end + 1, "F2"}}, kNone, "", ""},
        {"at the last moment",
         {{window.end - 1, "F2"}},
         kF2,
         "3Entering System Setup",
         "BDS: Enter Setup...\n"},
        {"F10", {{first, "F10"}}, kF10, "3Entering Forgeline", "BDS: Enter Forgeline GUI...\n"},
        {"F11", {{first, "F11"}}, kF11, "3Entering Boot Manager", "BDS: Enter Boot Manager...\n"},
        {"F12", {{first, "F12"}}, kF12, "3Attempting PXE Boot", ""},
        {"the last one wins",
         {{first, "F2"}, {first + 1000, "F12"}, {first + 2000, "F11"}, {first + 3000, "F3"}},
         kF11,
         "3Entering Boot Manager",
         "BDS: Enter Boot Manager...\n"},
        {"Esc takes it back", {{first, "F12"}, {first + 1000, "Esc"}}, kNone, "", ""},
        {"until the next one",
         {{first, "F12"}, {first, "Esc"}, {first + 1, "F10"}},
         kF10,
         "3Entering Forgeline",
         "BDS: Enter Forgeline GUI...\n"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        DriverBoot boot(Machine(row.presses));
        ExpectNothingLeft(boot);
        boot.PowerOn();
        EXPECT_EQ(TakenKey(boot), row.taken);
        const auto prompts = Prompts(boot);
        ASSERT_GE(prompts.size(), 2u);
        EXPECT_EQ(prompts.back(), "") << "cleared when the keys are closed";
        const std::string& last = prompts[prompts.size() - 2];
        EXPECT_NE(last.find(row.shown), std::string::npos) << last;
        EXPECT_EQ(last.find('3') != std::string::npos, *row.shown != '\0') << last;
        for (const char* line : {"BDS: Enter Setup...\n", "BDS: Enter Forgeline GUI...\n",
                                 "BDS: Enter Boot Manager...\n"}) {
            EXPECT_EQ(boot.Logged(line, 0x440), std::string_view(line) == row.entered) << line;
        }
    }
}

TEST(HotKeys, PromptOffersWhatThePlatformAllows) {
    const std::string f2 = "2F2\t = System Setup|";
    const std::string f10 = "2F10\t = Forgeline (Config|2\t   Nimbor, Update FW, Install OS)|";
    const std::string f11 = "2F11\t = Boot Manager|";
    const std::string f12 = "2F12\t = PXE Boot|";
    using Request = ForgelineRequest;
    struct Row {
        const char* what;
        std::string lines;
        bool suppressed = false;
        std::set<int> policies = {}; // slots that answer 1
        HotKey key = HotKey::None;
        Request request = Request::Available;
        bool locked = false;
        bool hiddenByController = false;
        bool noTool = false;
    };
    const Row rows[] = {
        {.what = "everything", .lines = f2 + f10 + f11 + f12},
        {.what = "keys blocked", .lines = "", .policies = {10}},
        {.what = "F2 hidden", .lines = f10 + f11 + f12, .policies = {37}},
        {.what = "F10 hidden by the platform",
         .lines = f2 + f11 + f12,
         .suppressed = true,
         .policies = {35}},
        {.what = "F10 hidden by the controller",
         .lines = f2 + f11 + f12,
         .suppressed = true,
         .hiddenByController = true},
        {.what = "locked", .lines = f2 + f11 + f12, .suppressed = true, .locked = true},
        {.what = "no tool", .lines = f2 + f11 + f12, .suppressed = true, .noTool = true},
        {.what = "F2 taken where it is hidden",
         .lines = "3Entering System Setup|" + f10 + f11 + f12,
         .policies = {37},
         .key = HotKey::F2Setup},
        {.what = "F10 taken",
         .lines = f2 + "3Entering Forgeline|" + f11 + f12,
         .key = HotKey::F10Forgeline},
        {.what = "F11 taken",
         .lines = f2 + f10 + "3Entering Boot Manager|" + f12,
         .key = HotKey::F11BootManager},
        {.what = "F12 taken where keys are blocked",
         .lines = "3Attempting PXE Boot|",
         .policies = {10},
         .key = HotKey::F12Pxe},
        {.what = "the tool wants to be entered, keys or not",
         .lines = "3Entering Forgeline|",
         .policies = {10},
         .request = Request::Gui},
        {.what = "not available",
         .lines = f2 + "1Forgeline not available|" + f11 + f12,
         .request = Request::NotAvailable},
        {.what = "disabled",
         .lines = f2 + "1Forgeline disabled|" + f11 + f12,
         .request = Request::Disabled},
        {.what = "recovery",
         .lines = f2 + "1Forgeline in Recovery Mode|" + f11 + f12,
         .request = Request::RecoveryMode},
        {.what = "service partition",
         .lines = f2 + "3Boot to Service Partition|" + f11 + f12,
         .request = Request::ServicePartition},
        {.what = "disabled and suppressed",
         .lines = f2 + f11 + f12,
         .suppressed = true,
         .request = Request::Disabled,
         .locked = true},
        {.what = "F10 taken without an available tool",
         .lines = f2 + "1Forgeline disabled|" + f11 + f12,
         .key = HotKey::F10Forgeline,
         .request = Request::Disabled},
    };
    const sim::BootResult result = RunInFirmware("{}", [&](sim::Platform& platform) {
        auto& splash = platform.Get<sim::Splash>();
        const auto find = [&](const EFI_GUID& guid) { return platform.handles->FindFirst(guid); };
        auto* tool = static_cast<KelmForgelineProvisioningProtocol*>(
            find(gKelmForgelineProvisioningProtocolGuid));
        auto* info = static_cast<KelmNimborInfoProtocol*>(find(gKelmNimborInfoProtocolGuid));
        const auto& lock = kVariableConfigLockDetect;
        for (const Row& row : rows) {
            SCOPED_TRACE(row.what);
            auto& answers = platform.Get<sim::PlatformPolicy>().answers;
            answers.fill(0);
            for (const int slot : row.policies) {
                answers[slot] = 1;
            }
            const UINT8 locked = row.locked ? 1 : 0;
            platform.variables->Write(lock.name, *lock.guid, lock.attributes, &locked, 1);
            info->F10Hidden = row.hiddenByController ? 1 : 0;
            gDriver.forgeline.service = row.noTool ? nullptr : tool;
            gDriver.boot.forgelineRequest = row.request;
            gDriver.boot.hotKey = row.key;
            EXPECT_EQ(BdsUpdateHotKeyPrompt(), EFI_SUCCESS);
            std::string lines;
            for (const auto& line : splash.prompt) {
                if (line.type != kSplashLineEmpty) {
                    lines += fmt::format("{}{}|", line.type, line.text);
                }
            }
            EXPECT_EQ(lines, row.lines);
            EXPECT_EQ(gDriver.hotKeys.f10Suppressed, row.suppressed);
        }
        EXPECT_EQ(BdsClearHotKeyPrompt(), EFI_SUCCESS);
        for (const auto& line : splash.prompt) {
            EXPECT_EQ(line.type, kSplashLineEmpty);
        }
    });
    EXPECT_EQ(result.violations, std::vector<std::string>{});
    RunInFirmware(R"({"missing": ["KelmEarlyVideoSplashProtocol"]})", [](sim::Platform&) {
        EXPECT_EQ(BdsUpdateHotKeyPrompt(), EFI_NOT_FOUND);
        EXPECT_TRUE(gDriver.hotKeys.f10Suppressed) << "decided without a splash too";
    });
}

TEST(HotKeys, F10ChangesNothingWhereItIsSuppressed) {
    const Window window = FindWindow();
    const std::vector<Press> presses = {{window.begin + 1, "F2"}, {window.begin + 2, "F10"}};
    DriverBoot locked(Machine(presses));
    locked.AfterPhase("[BDS] Check Config Lockdown", [] {
        const UINT8 one = 1;
        const auto& lock = kVariableConfigLockDetect;
        sim::Platform::Current().variables->Write(lock.name, *lock.guid, lock.attributes, &one, 1);
    });
    locked.PowerOn();
    EXPECT_EQ(TakenKey(locked), kF2);
    DriverBoot hidden(Machine(presses, R"("policies": {"35": 1})"));
    hidden.PowerOn();
    EXPECT_EQ(TakenKey(hidden), kF2);
}

TEST(HotKeys, ForcedPxeBootIsShownFromTheFirstPromptOnAndCanBeTakenBack) {
    constexpr char kForced[] = R"("attributes": {"ForcePxeBootFirst": "Enabled"})";
    DriverBoot boot(Machine({}, kForced));
    boot.PowerOn();
    ASSERT_FALSE(Prompts(boot).empty());
    EXPECT_TRUE(Prompts(boot).front().ends_with("|3Attempting PXE Boot")) << Prompts(boot).front();
    EXPECT_EQ(TakenKey(boot), kF12);
    DriverBoot back(Machine({{FindWindow().begin + 1, "Esc"}}, kForced));
    back.PowerOn();
    EXPECT_EQ(TakenKey(back), kNone);
}

// A machine without network options tells by its last boot result whether PXE was tried.
TEST(HotKeys, PxeAsksForThePasswordWhereThePlatformWantsIt) {
    const struct {
        const char* machine;
        bool tried;
    } cases[] = {
        {R"({"extends": "empty", "passwords": {"setup": "x"}})", true},
        {R"({"extends": "empty", "policies": {"39": 1}})", true},
        {R"({"extends": "empty", "policies": {"39": 1}, "passwords": {"setup": "x"},
             "keys": [{"at": 100, "key": "Enter"}, {"at": 200, "key": "n"}]})",
         false},
        {R"({"extends": "empty", "policies": {"39": 1}, "passwords": {"setup": "x"},
             "keys": [{"at": 100, "key": "x"}, {"at": 200, "key": "Enter"}]})",
         true},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.machine);
        const sim::BootResult result = RunInFirmware(row.machine, [&](sim::Platform&) {
            gDriver.boot.hotKey = HotKey::F12Pxe;
            EXPECT_EQ(EFI_ERROR(BdsProcessHotKeys()), !row.tried);
            EXPECT_EQ(gDriver.launch.lastBootResult == kLastBootNoPxeDevice, row.tried);
            EXPECT_TRUE(gDriver.boot.hotKeysDone);
            EXPECT_FALSE(gDriver.boot.hotKeysProcessing);
        });
        EXPECT_EQ(result.violations, std::vector<std::string>{});
    }
}

TEST(HotKeys, KeyboardsThatComeLaterAreHeardAndThoseThatGoAreForgotten) {
    const sim::BootResult result = RunInFirmware(R"({"extends": "empty"})", [](sim::Platform& p) {
        const auto blocks = p.arena->LiveBlocks().size();
        const auto events = p.events->LiveEvents().size();
        static EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL late; // knows its own registrations
        static std::map<UINT16, EFI_KEY_NOTIFY_FUNCTION> registered;
        static int count;
        registered.clear();
        count = 0;
        late.RegisterKeyNotify = [](EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL*, EFI_KEY_DATA* key,
                                    EFI_KEY_NOTIFY_FUNCTION function, void** handle)
                                     EFIAPI -> EFI_STATUS {
            registered[key->Key.ScanCode] = function;
            count++;
            *handle = key;
            return EFI_SUCCESS;
        };
        late.UnregisterKeyNotify = [](EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL*, void*)
                                       EFIAPI -> EFI_STATUS {
            count--;
            return EFI_SUCCESS;
        };
        EXPECT_EQ(BdsHotkeyEnable(), EFI_SUCCESS);
        EXPECT_EQ(BdsStartPauseKey(), EFI_SUCCESS);
        EXPECT_EQ(p.keyboard->NotificationCount(), 6u);
        const auto install = [&] {
            EFI_HANDLE handle = nullptr;
            EXPECT_EQ(gBS->InstallProtocolInterface(&handle, &gEfiSimpleTextInputExProtocolGuid,
                                                    EFI_NATIVE_INTERFACE, &late),
                      EFI_SUCCESS);
            return handle;
        };
        const EFI_HANDLE handle = install();
        EXPECT_EQ(count, 6);
        EFI_KEY_DATA f11{};
        f11.Key.ScanCode = SCAN_F11;
        registered.at(SCAN_F11)(&f11);
        EXPECT_EQ(gDriver.boot.hotKey, HotKey::F11BootManager);
        // Unplugged, it forgets; plugged again, it is told anew.
        EXPECT_EQ(
            gBS->UninstallProtocolInterface(handle, &gEfiSimpleTextInputExProtocolGuid, &late),
            EFI_SUCCESS);
        count = 0;
        const EFI_HANDLE again = install();
        EXPECT_EQ(count, 6);
        EXPECT_EQ(BdsStopPauseKey(), EFI_SUCCESS);
        EXPECT_EQ(count, 5);
        // One that is gone at the end is left alone.
        EXPECT_EQ(gBS->UninstallProtocolInterface(again, &gEfiSimpleTextInputExProtocolGuid, &late),
                  EFI_SUCCESS);
        EXPECT_EQ(BdsHotkeyStop(), EFI_SUCCESS);
        EXPECT_EQ(count, 5);
        EXPECT_GE(p.clock->Now(), 4 * kSecond);
        EXPECT_EQ(p.keyboard->NotificationCount(), 0u);
        EXPECT_EQ(p.events->LiveEvents().size(), events);
        EXPECT_EQ(p.arena->LiveBlocks().size(), blocks);
    });
    EXPECT_EQ(result.violations, std::vector<std::string>{});
}

TEST(PauseKey, HoldsPostUntilAnotherKey) {
    const Window window = FindWindow();
    const Time pause = window.begin + 1000;
    const struct {
        const char* what;
        std::vector<Press> presses;
        Time resumed;
        const char* taken;
    } cases[] = {
        {"any key", {{pause, "Pause"}, {pause + 20000, "x"}}, pause + 20000, kNone},
        {"keys before do not count",
         {{pause - 500, "x"}, {pause, "Pause"}, {pause + 9000, "Enter"}},
         pause + 9000,
         kNone},
        {"Pause does not resume, nor hold a second time",
         {{pause, "Pause"}, {pause + 3000, "Pause"}, {pause + 9000, " "}},
         pause + 9000,
         kNone},
        {"a hot key resumes and is taken",
         {{pause, "Pause"}, {pause + 9000, "F12"}},
         pause + 9000,
         kF12},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        DriverBoot boot(Machine(row.presses));
        ExpectNothingLeft(boot);
        boot.PowerOn();
        EXPECT_EQ(Written(boot, "*** POST has been paused. Press any key to continue. ***").size(),
                  1u);
        EXPECT_EQ(Written(boot, "Resuming POST...").size(), 1u);
        for (const sim::Json& event : boot.Events("measure")) {
            const Time at = event.at("t").get<Time>() / 1000;
            EXPECT_TRUE(at <= pause || at >= row.resumed) << event;
        }
        const Time end = When(boot, kStop, "end").value_or(0) / 1000;
        EXPECT_GE(end, row.resumed);
        EXPECT_LE(end, row.resumed + 200) << "the time for keys went on while POST was held";
        EXPECT_EQ(TakenKey(boot), row.taken);
    }
}

TEST(PauseKey, IsDeafOutsideItsPhasesAndHoldsForEverWithoutAKey) {
    DriverBoot before;
    before.PowerOn();
    const Time start = When(before, "[BDS] Start Pause Key", "start").value_or(0) / 1000;
    const Time stop = When(before, kPauseStop, "end").value_or(0) / 1000;
    DriverBoot boot(Machine({{start - 1, "Pause"}, {stop + 1, "Pause"}}));
    boot.PowerOn();
    EXPECT_TRUE(Written(boot, "POST has been paused").empty());
    DriverBoot held(Machine({{stop - 2000, "Pause"}, {stop - 1000, "Pause"}}));
    EXPECT_TRUE(EndedAtThePrompt(held.PowerOn()));
    EXPECT_FALSE(When(held, kPauseStop, "end"));
    EXPECT_TRUE(Written(held, "Resuming POST...").empty());
}

// Whatever is pressed whenever: no rule is broken, nothing is left behind, and the key that counts
// is the last one of the five in the time for them.
TEST(HotKeys, AStormOfKeysLeavesTheLastOne) {
    const std::map<std::string, std::string> taken = {
        {"F2", kF2}, {"F10", kF10}, {"F11", kF11}, {"F12", kF12}, {"Esc", kNone}};
    const std::vector<std::string> names = {"F1",  "F2",    "F3",    "F10",    "F11", "F12",
                                            "Esc", "Pause", "Enter", "Ctrl+c", "Up",  "x"};
    const Window window = FindWindow();
    for (unsigned seed = 1; seed <= 25; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        std::vector<Press> presses;
        for (int i = 0; i < 80; ++i) {
            presses.push_back({random() % (2 * window.end), names[random() % names.size()]});
        }
        DriverBoot boot(Machine(presses));
        ExpectNothingLeft(boot);
        boot.PowerOn();
        std::string expected = kNone;
        bool open = false;
        for (const sim::Json& event : boot.trace.Events()) {
            const std::string kind = event.at("event");
            if (kind == "measure" && event.at("token") == kEnabled) {
                open = true;
            } else if (kind == "measure" && event.at("token") == kStop &&
                       event.at("edge") == "end") {
                open = false;
            } else if (kind == "key" && open && taken.contains(event.at("key"))) {
                expected = taken.at(event.at("key"));
            }
        }
        if (When(boot, kPauseStop, "end")) {
            EXPECT_EQ(TakenKey(boot), expected);
        } else {
            EXPECT_FALSE(Written(boot, "POST has been paused").empty());
        }
    }
}

} // namespace kelm::test
