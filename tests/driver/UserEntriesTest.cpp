// The tools that a user or the controller enters: who may, what happens around them, and where the
// boot goes on. And the network boot at the press of F12.

#include "core/UserEntries.h"
#include "boot/BootReports.h"
#include "core/BdsInterface.h"
#include "core/DriverState.h"
#include "core/Forgeline.h"
#include "kelm/BdsInterfaceProtocol.h"
#include "kelm/Variables.h"
#include "library/firmware/Measurement.h"
#include "network/BootDevicePlaceholders.h"
#include "platform/Connect.h"
#include "sim/siblings/BootMenu.h"
#include "sim/siblings/Controller.h"
#include "sim/siblings/SetupBrowser.h"
#include "tests/driver/OptionMachine.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace kelm::test {

namespace {

using Names = std::vector<std::string>;

constexpr char kGlobal[] = "8BE4DF61-93CA-11D2-AA0D-00E098032B8C";
constexpr char kBds[] = "55E1FC65-A898-4214-A8A9-1AE839CD329A";
// A small machine whose console is there from the start, and that wants to hear of progress.
constexpr char kSmall[] = R"("extends": "empty", "limits": {"keyWaitSeconds": 20}, "pcds": {
    "8FB8DFA4-662E-472E-A5A2-02F33D0B31C8/0x1": {"type": "u8", "value": 7}})";

// Programs on the disk of the server.
const std::u16string kSystem = std::u16string(kPartition) + u"/\\system.efi";
const std::u16string kBroken = std::u16string(kPartition) + u"/\\broken.efi";
constexpr char kPrograms[] = R"json("devices": {"system-disk": {
    "kind": "virtual-disk", "path": "PciRoot(0x2)/Pci(0x2,0x0)/Pci(0x0,0x0)/Scsi(0xEF,0x0)",
    "partitions": [{"number": 1, "signature": "6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6", "start": 2048,
    "blocks": 32768, "files": {"\\system.efi": {"payload": "os-loader"},
                                 "\\broken.efi": {"payload": "failure"}}}]}})json";

// What happened behind a line of the log, one word for each event that matters; the first `count`.
Names StepsSince(const std::vector<sim::Json>& all, std::string_view line, std::string_view tool,
                 std::size_t count) {
    const auto first = std::find_if(all.begin(), all.end(), [&](const sim::Json& event) {
        return event.at("event") == "debug" && event.at("text") == line;
    });
    Names steps;
    const std::vector<sim::Json> events(first, all.end());
    for (const sim::Json& event : events) {
        const std::string kind = event.at("event");
        if (kind == "variable" && event.at("guid") == kBds) {
            const std::string name = event.at("name");
            if (event.at("status") == "EFI_SUCCESS") {
                steps.push_back(event.at("op") == "delete"
                                    ? "delete " + name
                                    : name + "=" + event.at("data").get<std::string>());
            }
        } else if (kind == "splash" && (event.at("what") == "on" || event.at("what") == "off")) {
            steps.push_back("splash " + event.at("what").get<std::string>());
        } else if (kind == "signal") {
            steps.push_back("hook " + event.at("guid").get<std::string>().substr(0, 8));
        } else if (kind == "status-code") {
            steps.push_back(fmt::format("code {:08X}", event.at("value").get<UINT32>()));
        } else if (kind == "protocol-call" &&
                   (event.at("protocol") == tool || event.at("member") == "LeavePost")) {
            steps.push_back(event.at("member"));
        }
    }
    steps.resize(std::min(steps.size(), count));
    return steps;
}

bool Shows(const sim::BootResult& result, std::string_view text) {
    return std::any_of(result.screen.begin(), result.screen.end(),
                       [&](const std::string& line) { return line.find(text) != line.npos; });
}

std::size_t Printed(const sim::Trace& trace, std::string_view text) {
    const auto events = trace.EventsOf("screen");
    return std::size_t(std::count_if(events.begin(), events.end(), [&](const sim::Json& event) {
        return event.at("text").get<std::string>().find(text) != std::string::npos;
    }));
}

// Runs `body` on the small machine.
sim::BootResult RunSmall(std::string_view changes, std::function<void(sim::Platform&)> body,
                         sim::Trace* trace = nullptr) {
    const sim::BootResult result =
        RunInFirmware(fmt::format("{{{}, {}}}", kSmall, changes), std::move(body), trace);
    EXPECT_EQ(result.violations, Names{});
    return result;
}

void LockConfiguration(sim::Platform& platform) {
    constexpr UINT8 locked = 1;
    const KelmVariable& variable = kVariableConfigLockDetect;
    platform.variables->Write(variable.name, *variable.guid, variable.attributes, &locked,
                              sizeof(locked));
}

bool Holds(sim::Platform& platform, const KelmVariable& variable, const Bytes& content) {
    return Stored(platform, variable.name, *variable.guid) == content;
}

KelmBdsInterfaceProtocol& Bds(sim::Platform& platform) {
    return *static_cast<KelmBdsInterfaceProtocol*>(
        platform.handles->FindFirst(gKelmBdsInterfaceProtocolGuid));
}

} // namespace

// ---- Setup

TEST(Setup, IsFramedAndTellsHowItWasEntered) {
    const struct {
        const char* what;
        const char* machine;
        bool locked;
        const char* mode; // null: not entered
        const char* access;
    } kCases[] = {
        {"free", R"("policies": {"38": 1})", false, "01", "administrator"},
        {"locked", R"("policies": {"38": 0})", true, "01", "administrator"},
        {"locked and denied", R"("policies": {"38": 1})", true, nullptr, nullptr},
        {"no password", R"("policies": {"38": 0}, "passwords": {"setup": "secret"})", false, "00",
         "view only"},
        {"no password and denied", R"("policies": {"38": 1}, "passwords": {"setup": "secret"})",
         false, nullptr, nullptr},
    };
    for (const auto& [what, machine, locked, mode, access] : kCases) {
        SCOPED_TRACE(what);
        sim::Trace trace;
        const bool entered = mode != nullptr;
        RunSmall(
            // The first two keys are for the password prompt, if there is one.
            fmt::format(R"({}, "setup": {{}}, "keys": [{{"at": 500, "key": "Enter"}},
                           {{"at": 1000, "key": "n"}}, {{"at": 4000, "key": "Esc"}}])",
                        machine),
            [&, lock = locked](sim::Platform& platform) {
                if (lock) {
                    LockConfiguration(platform);
                }
                EXPECT_EQ(BdsEnterSetup(), entered ? EFI_SUCCESS : EFI_ACCESS_DENIED);
                EXPECT_EQ(platform.Get<sim::SetupBrowser>().menus,
                          entered ? std::vector<UINTN>{4} : std::vector<UINTN>{});
            },
            &trace);
        Names expected;
        if (entered) {
            expected = {std::string("SetupMode=") + mode,
                        "splash off",
                        "LeavePost",
                        "hook F3E07FB0",
                        "code 03811039",
                        "Launch",
                        "hook 321A6F5C",
                        "splash on",
                        "delete SetupMode"};
        }
        EXPECT_EQ(
            StepsSince(trace.Events(), "BDS: Enter Setup...\n", "KelmSetupLauncherProtocol", 100),
            expected);
        EXPECT_EQ(Printed(trace, access != nullptr ? access : "Boot Order"), entered ? 1u : 0u);
    }
}

TEST(Setup, ShowsTheServerUntilSomebodyLeaves) {
    const std::string variables =
        OptionVariables({{kBroken, u"First choice"}, {kBroken, u"Second"}});
    const sim::BootResult result = RunSmall(
        fmt::format(R"("setup": {{}}, "attributes": {{"BootMode": "Uefi"}}, "variables": {{{}}})",
                    variables),
        [](sim::Platform&) { static_cast<void>(BdsEnterSetup()); });
    EXPECT_EQ(result.reason, sim::EndReason::WaitingForKey);
    for (const char* text : {"System Setup", "Boot Mode           Uefi", "1. First choice",
                             "2. Second", "Esc: Exit"}) {
        EXPECT_TRUE(Shows(result, text)) << text;
    }
    const sim::BootResult left =
        RunSmall(R"("setup": {"leaveAfter": 2000, "leave": "reset"})",
                 [](sim::Platform&) { static_cast<void>(BdsEnterSetup()); });
    EXPECT_EQ(left.reason, sim::EndReason::ResetWarm);
    EXPECT_EQ(left.time, 2'000'000u);
}

// ---- Boot manager

TEST(BootManager, BootsWhatTheUserChooses) {
    const std::string machine =
        fmt::format(R"("bootManager": {{}}, {}, "variables": {{{}}})", kPrograms,
                    OptionVariables({{kBroken, u"Broken"}, {kSystem, u"The system"}}));
    const auto enter = [](sim::Platform&) {
        BdsInstallInterface();
        static_cast<void>(BdsConnectAll());
        StartMeasurement("BDS", nullptr); // a boot attempt ends it
        static_cast<void>(BdsEnterBootManager());
    };
    // Up leads nowhere at the first option, Down nowhere at the last one.
    const sim::BootResult chosen =
        RunSmall(machine + R"(, "keys": [{"at": 1000, "key": "Up"}, {"at": 2000, "key": "Down"},
                                         {"at": 3000, "key": "Down"}, {"at": 4000, "key": "Enter"}])",
                 enter);
    EXPECT_EQ(chosen.reason, sim::EndReason::OsStarted);
    const sim::BootResult failed =
        RunSmall(machine + R"(, "keys": [{"at": 2000, "key": "Enter"}])", enter);
    EXPECT_EQ(failed.reason, sim::EndReason::WaitingForKey);
    for (const char* text :
         {"Boot Manager", "Broken", "The system", "Came back with: Load Error"}) {
        EXPECT_TRUE(Shows(failed, text)) << text;
    }
}

TEST(BootManager, BringsTheSplashScreenBackUnlessAnImageRan) {
    const Names before = {"splash off", "hook E51BA11F", "code 03811038", "Launch"};
    for (const bool launches : {false, true}) {
        SCOPED_TRACE(launches);
        sim::Trace trace;
        RunSmall(
            fmt::format(R"("bootManager": {{{}}}, "keys": [{{"at": 2000, "key": "Esc"}}], {},
                           "variables": {{{}}})",
                        launches ? R"("launch": 0)" : "", kPrograms,
                        OptionVariables({{kBroken, u"Broken"}})),
            [&](sim::Platform& platform) {
                BdsInstallInterface();
                static_cast<void>(BdsConnectAll());
                StartMeasurement("BDS", nullptr);
                gDriver.boot.configurationBoot = launches;
                EXPECT_EQ(BdsEnterBootManager(), launches ? EFI_LOAD_ERROR : EFI_SUCCESS);
                EXPECT_EQ(platform.Get<sim::BootMenu>().launches,
                          std::vector<UINT8>{UINT8(launches)});
            },
            &trace);
        const char kLine[] = "BDS: Enter Boot Manager...\n";
        Names steps = StepsSince(trace.Events(), kLine, "KelmBootManagerProtocol", 100);
        EXPECT_EQ(Names(steps.begin(), steps.begin() + 4), before);
        EXPECT_EQ(std::count(steps.begin(), steps.end(), "splash on"), launches ? 0 : 1);
        EXPECT_EQ(steps.back(), "hook F733FD1A");
    }
}

TEST(BootManager, AsksForThePasswordUnlessThePlatformFreesIt) {
    const struct {
        bool free;
        const char* setting;
        bool asks;
    } kCases[] = {{false, "Never", true}, {true, "Never", false}, {true, "Always", true}};
    for (const auto& [free, setting, asks] : kCases) {
        SCOPED_TRACE(fmt::format("{} {}", free, setting));
        RunInFirmware(fmt::format(R"({{"extends": "empty", "passwords": {{"setup": "secret"}},
                "pcds": {{"3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000006":
                          {{"type": "bool", "value": {}}}}},
                "attributes": {{"BootmanagerPassword": "{}"}},
                "keys": [{{"at": 500, "key": "Enter"}}, {{"at": 1000, "key": "n"}}]}})",
                                  free, setting),
                      [asked = asks](sim::Platform& platform) {
                          EXPECT_EQ(BdsEnterBootManager(), asked ? EFI_ABORTED : EFI_SUCCESS);
                          EXPECT_EQ(platform.Get<sim::BootMenu>().launches.empty(), asked);
                      });
    }
}

// ---- Diagnostics

TEST(Diagnostics, RunUntilSomebodyLeaves) {
    for (const bool missing : {false, true}) {
        sim::Trace trace;
        const sim::BootResult result = RunSmall(
            fmt::format(R"("diagnostics": {{}}, "keys": [{{"at": 3000, "key": "Esc"}}],
                           "missing": [{}])",
                        missing ? R"("KelmDiagnosticsProtocol")" : ""),
            [&](sim::Platform&) {
                EXPECT_EQ(BdsEnterDiags(), missing ? EFI_NOT_FOUND : EFI_SUCCESS);
            },
            &trace);
        EXPECT_EQ(result.reason, sim::EndReason::Halted) << "came back";
        using Line = std::pair<std::string, UINT64>;
        std::vector<Line> lines;
        for (const sim::Json& event : trace.EventsOf("debug")) {
            lines.emplace_back(event.at("text"), event.at("level"));
        }
        std::vector<Line> expected = {{"BDS: Enter Diags...\n", 0x400}};
        if (missing) {
            expected.emplace_back("Error !!! Unable to locate KelmDiagnosticsProtocol.\n",
                                  0x80000000);
        }
        ASSERT_GE(lines.size(), expected.size());
        EXPECT_EQ(std::vector(lines.end() - std::ptrdiff_t(expected.size()), lines.end()),
                  expected);
        EXPECT_EQ(Printed(trace, "Diagnostics"), missing ? 0u : 1u);
    }
}

// ---- Forgeline

TEST(Forgeline, IsEnteredWhenItAsksForIt) {
    const char kLine[] = "BDS: Enter Forgeline GUI...\n";
    const std::string previous = fmt::format(
        R"("variables": {{"ForgelineGuiRequest-{}": {{"attributes": 3, "u8": 1}}}})", kBds);
    for (const std::string& request :
         {std::string(R"("forgeline": {"request": 1})"), R"("forgeline": {}, )" + previous}) {
        SCOPED_TRACE(request);
        DriverBoot boot("{" + request + R"(, "keys": [{"at": 30000, "key": "Esc"}]})");
        boot.PowerOn();
        EXPECT_TRUE(boot.Logged(kLine, 0x440));
        const Names expected = {"code 81011006", "EnterForgelineDetect=0100", "hook 710A34E5",
                                "Launch", "LeavePost"};
        EXPECT_EQ(StepsSince(boot.trace.Events(), kLine, "KelmForgelineProvisioningProtocol",
                             expected.size()),
                  expected);
        EXPECT_TRUE(boot.Logged("[BDS] Default Boot\n", 0x440)) << "goes on";
        EXPECT_EQ(boot.server.store.Find(u"ForgelineGuiRequest", gKelmBdsVariableGuid), nullptr);
        DriverBoot alone("{" + request + "}");
        EXPECT_TRUE(Shows(alone.PowerOn(), "OS Deployment"));
    }
}

TEST(Forgeline, ItsRequestsEndInAResetOrInItsPartition) {
    for (const unsigned flags : {0u, 1u}) {
        DriverBoot boot(fmt::format(
            R"({{"forgeline": {{"request": 5, "flags": {}, "leaveAfter": 0}}}})", flags));
        EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::ResetWarm);
        const Names expected = {"code 0381103B", "hook 710A34E5", "Launch", "LeavePost"};
        EXPECT_EQ(StepsSince(boot.trace.Events(), "[BDS] Process SSM\n",
                             "KelmForgelineProvisioningProtocol", expected.size()),
                  expected);
        EXPECT_EQ(boot.Logged("[BDS] Enum Boot Options\n", 0x440), flags == 1);
    }
    // The default boot leaves alone what is not active.
    DriverBoot boot(fmt::format(
        R"({{"forgeline": {{"request": 7, "servicePartition": 5}}, {},
             "variables": {{"BootOrder-{}": {{"hex": "0500"}}, "Boot0005-{}": {{"hex": "{}"}}}}}})",
        kPrograms, kGlobal, kGlobal, Hex(OptionBytes(0, u"Service partition", PathOf(kSystem)))));
    EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::OsStarted);
    EXPECT_TRUE(boot.Logged("BdsBootNext: found BootNext=0005\n", 0x44));
}

TEST(Forgeline, KeepsOutWhoMayNotEnter) {
    const sim::BootResult result = RunInFirmware("{}", [](sim::Platform& platform) {
        auto& book = platform.Get<sim::CallBook>();
        EXPECT_EQ(BdsForgelineCleanup(), EFI_NOT_FOUND) << "not looked for yet";
        EXPECT_EQ(BdsEnterForgelineGui(), EFI_NOT_FOUND);
        EXPECT_EQ(BdsForgelineInit(), EFI_SUCCESS);
        EXPECT_EQ(BdsDetachForgelinePartition(), EFI_SUCCESS);
        EXPECT_EQ(BdsForgelineCleanup(), EFI_SUCCESS);
        EXPECT_EQ(BdsForgelineCleanup(), EFI_SUCCESS);
        EXPECT_EQ(book.Count("KelmForgelineProvisioningProtocol.Cleanup"), 1u) << "once a boot";
        EXPECT_EQ(BdsBootServicePartition(), EFI_NOT_FOUND) << "not asked for";
        EXPECT_EQ(BdsProcessSsm(), EFI_NOT_FOUND);
        LockConfiguration(platform);
        gDriver.boot.hotKey = HotKey::F10Forgeline;
        EXPECT_EQ(BdsEnterForgelineGui(), EFI_ACCESS_DENIED);
        EXPECT_EQ(book.Count("KelmForgelineProvisioningProtocol.Launch"), 0u);
        gDriver.boot.hotKey = HotKey::None; // a request of the tool is not asked for a password
        EXPECT_EQ(BdsEnterForgelineGui(), EFI_SUCCESS);
        EXPECT_EQ(book.Count("KelmForgelineProvisioningProtocol.Launch"), 1u);
    });
    EXPECT_EQ(result.violations, Names{});
}

TEST(Forgeline, OthersGetThereAsFarAsTheBootIs) {
    const sim::BootResult result = RunInFirmware("{}", [](sim::Platform& platform) {
        auto& book = platform.Get<sim::CallBook>();
        constexpr char kLaunch[] = "KelmForgelineProvisioningProtocol.Launch";
        BdsInstallInterface();
        EXPECT_EQ(BdsForgelineInit(), EFI_SUCCESS);
        EXPECT_EQ(Bds(platform).EnterForgeline(), EFI_SUCCESS);
        EXPECT_EQ(gDriver.boot.hotKey, HotKey::F10Forgeline) << "remembered";
        EXPECT_EQ(book.Count(kLaunch), 0u);

        for (bool BootState::*stage : {&BootState::hotKeysProcessing, &BootState::hotKeysDone}) {
            gDriver.boot.hotKey = HotKey::None;
            gDriver.boot.*stage = true;
            gDriver.boot.splashActive = false;
            const unsigned before = book.Count(kLaunch);
            EXPECT_EQ(Bds(platform).EnterForgeline(), EFI_SUCCESS);
            EXPECT_EQ(gDriver.boot.hotKey, HotKey::None);
            EXPECT_EQ(book.Count(kLaunch), before + 1);
            EXPECT_TRUE(gDriver.boot.splashActive);
            EXPECT_TRUE(Holds(platform, kVariableAllowNetworkConnection, {1}));
            EXPECT_TRUE(Holds(platform, kVariableEnterForgelineDetect, {1, 0}));
        }

        gDriver.services.controllerReadyToBoot = true;
        LockConfiguration(platform);
        EXPECT_EQ(Bds(platform).EnterForgeline(), EFI_UNSUPPORTED);
        EXPECT_EQ(book.Count(kLaunch), 2u);
    });
    EXPECT_EQ(result.violations, Names{});
}

TEST(Forgeline, IsReachedThroughAResetOnceTheControllerIsReadyToBoot) {
    for (const bool hidden : {false, true}) {
        sim::Trace trace;
        const sim::BootResult result = RunInFirmware(
            fmt::format(R"({{{}, "controller": {{"info": {{"f10Hidden": {}}}}}}})", kSmall, hidden),
            [&](sim::Platform&) {
                gDriver.services.controllerReadyToBoot = true;
                EXPECT_EQ(BdsInterfaceEnterForgeline(), EFI_UNSUPPORTED);
            },
            &trace);
        EXPECT_EQ(result.reason, hidden ? sim::EndReason::Halted : sim::EndReason::ResetWarm);
        EXPECT_EQ(Shows(result, "Rebooting to enter Forgeline. Please wait..."), !hidden);
        EXPECT_EQ(result.time, hidden ? 0u : 2'000'000u);
        ASSERT_EQ(trace.EventsOf("variable").size(), hidden ? 0u : 1u);
        if (!hidden) {
            const sim::Json variable = trace.EventsOf("variable").front();
            EXPECT_EQ(variable.at("name"), "ForgelineGuiRequest");
            EXPECT_EQ(variable.at("attributes"), 3);
            EXPECT_EQ(variable.at("data"), "01");
        }
    }
}

TEST(Forgeline, TellsTheControllerAndItsJobsOfTheInventory) {
    for (const unsigned request : {0u, 6u}) {
        sim::Trace trace;
        RunInFirmware(
            fmt::format(R"({{"forgeline": {{"request": {}}}}})", request),
            [&](sim::Platform& platform) {
                EXPECT_EQ(BdsForgelineInit(), EFI_SUCCESS);
                gDriver.boot.bootTask = request == 6 ? BootTask::SmaJob : BootTask::Normal;
                EXPECT_EQ(BdsSendInventory(), EFI_SUCCESS);
                EXPECT_EQ(platform.Get<sim::SmaJobs>().Processed(),
                          request == 6 ? std::vector<UINT32>{4} : std::vector<UINT32>{});
            },
            &trace);
        Names steps;
        for (const sim::Json& event : trace.Events()) {
            if (event.at("event") == "measure") {
                steps.push_back(event.at("edge").get<std::string>() + " " +
                                event.at("token").get<std::string>());
            } else if (event.at("event") == "protocol-call") {
                steps.push_back(event.at("member"));
            }
        }
        Names expected = {"GetRequest",    "start SendInventoryToNimbor",
                          "SendInventory", "end SendInventoryToNimbor",
                          "ProcessJob",    "start Csior",
                          "LaunchCsior",   "end Csior"};
        if (request == 0) {
            std::erase(expected, "ProcessJob");
            std::erase(expected, "LaunchCsior");
        }
        std::erase_if(steps, [&](const std::string& step) {
            return std::find(expected.begin(), expected.end(), step) == expected.end();
        });
        EXPECT_EQ(steps, expected);
    }
}

// ---- Network boot

TEST(PxeBoot, TriesEveryActivePxeDeviceInTheOrderOfTheUser) {
    const std::u16string first = u"VenHw(3A191845-5F86-4E78-8FCE-C4CFF59F9DAA)";
    const std::u16string second = u"VenHw(D227C733-F75F-4341-B749-4D1759EC8538)";
    const std::u16string third = u"VenHw(56E94A54-7C81-443A-BB9F-C0D240845F54)";
    const std::u16string http = u"VenHw(986D1755-B9D0-4F8D-A0DA-D1DB18672045)";
    const std::u16string other = u"VenHw(986D1755-B9D0-4F8D-A0DA-D1DB18672046)"; // no placeholder
    constexpr char kDevices[] = R"json("devices": {
        "pxe1": {"path": "VenHw(3A191845-5F86-4E78-8FCE-C4CFF59F9DAA)", "kind": "boot-device",
                 "location": "PXE Device 1"},
        "pxe2": {"path": "VenHw(D227C733-F75F-4341-B749-4D1759EC8538)", "kind": "boot-device",
                 "location": "PXE Device 2"},
        "pxe3": {"path": "VenHw(56E94A54-7C81-443A-BB9F-C0D240845F54)", "kind": "boot-device",
                 "location": "PXE Device 3"},
        "http1": {"path": "VenHw(986D1755-B9D0-4F8D-A0DA-D1DB18672045)", "kind": "boot-device",
                  "location": "HTTP Device 1"},
        "other": {"path": "VenHw(986D1755-B9D0-4F8D-A0DA-D1DB18672046)", "kind": "boot-device",
                  "location": "PXE Device 4"}})json";
    for (const bool present : {true, false}) {
        sim::Trace trace;
        const sim::BootResult result = RunInFirmware(
            fmt::format(R"({{{}, {}}})", kSmall, kDevices),
            [&](sim::Platform& platform) {
                BdsInstallNetworkBootDevices();
                StartMeasurement("BDS", nullptr); // a boot attempt ends it
                const auto put = [&](const char16_t* name, UINT32 attributes,
                                     const std::u16string& path) {
                    Store(platform, name, OptionBytes(attributes, u"Port", PathOf(path)));
                };
                put(u"Boot0000", LOAD_OPTION_ACTIVE, second);
                put(u"Boot0001", LOAD_OPTION_ACTIVE, http);
                put(u"Boot0002", LOAD_OPTION_ACTIVE, first);
                put(u"Boot0003", 0, third);
                put(u"Boot0004", LOAD_OPTION_ACTIVE, other);
                Store(platform, u"BootOrder",
                      AsBytes(present ? Numbers{4, 1, 0, 9, 3, 2} : Numbers{4, 1, 3}));
                const auto before = platform.arena->LiveBlocks().size();
                BdsBootPxe();
                EXPECT_EQ(gDriver.launch.lastBootResult,
                          present ? kelm::kLastBootNothing : kelm::kLastBootNoPxeDevice);
                EXPECT_LE(platform.arena->LiveBlocks().size(), before);
            },
            &trace);
        EXPECT_EQ(result.violations, Names{});
        std::string shown;
        for (const sim::Json& event : trace.EventsOf("screen")) {
            shown += event.at("text");
        }
        EXPECT_EQ(shown, present ? "Boot Failed: PXE Device 2: Port\n\n"
                                   "Boot Failed: PXE Device 1: Port\n\n"
                                 : "");
    }
}

TEST(PxeBoot, HandsTheLegacyNetworkOptionsToTheLauncherTogether) {
    const sim::BootResult result = RunInFirmware(fmt::format("{{{}}}", kSmall), [](sim::Platform&
                                                                                       platform) {
        StartMeasurement("BDS", nullptr);
        gDriver.boot.bootMode = kBootModeBios;
        const auto put = [&](const char16_t* name, const char16_t* path) {
            Store(platform, name, OptionBytes(LOAD_OPTION_ACTIVE, u"Port", PathOf(path), {1, 2}));
        };
        put(u"Boot0000", u"BBS(0x80,Port1)");
        put(u"Boot0001", u"BBS(HD,Disk)");
        put(u"Boot0002", u"BBS(0x80,Port2)");
        Store(platform, u"BootOrder", AsBytes({0, 1, 2}));
        BdsBootPxe();
        EXPECT_EQ(gDriver.launch.lastBootResult, kelm::kLastBootNothing);
    });
    EXPECT_EQ(result.violations, Names{});
    EXPECT_EQ(
        std::count_if(result.screen.begin(), result.screen.end(),
                      [](const std::string& line) { return line.ends_with("Boot Failed: PXE"); }),
        1)
        << testing::PrintToString(result.screen);
}

} // namespace kelm::test
