// What a boot is for: which request decides, what the splash screen says of it, and how a boot that
// only applies a configuration ends.

#include "core/BootTask.h"
#include "core/DriverState.h"
#include "kelm/ManufacturingModeProtocol.h"
#include "kelm/Variables.h"
#include "sim/siblings/Splash.h"
#include "tests/driver/OptionBytes.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

namespace kelm::test {

namespace {

using Names = std::vector<std::string>;

constexpr char kBds[] = "55E1FC65-A898-4214-A8A9-1AE839CD329A";
constexpr char kChoice[] = "[BDS] Set Boot Task";

std::string OfType(unsigned controller) {
    return fmt::format(
        R"({{"pcds": {{"3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000028": {{"value": {}}}}}}})",
        controller);
}

// What lies between the start and the end of a measurement.
std::vector<sim::Json> During(const DriverBoot& boot, std::string_view title) {
    std::vector<sim::Json> events;
    bool inside = false;
    for (const sim::Json& event : boot.trace.Events()) {
        if (event.at("event") == "measure" && event.at("token") == title) {
            inside = event.at("edge") == "start";
        } else if (inside) {
            events.push_back(event);
        }
    }
    return events;
}

// Every text that the splash screen got for the boot task.
Names TaskTexts(const std::vector<sim::Json>& events) {
    Names texts;
    for (const sim::Json& event : events) {
        if (event.at("event") == "splash" && event.at("what") == "boot-task") {
            texts.push_back(event.at("text"));
        }
    }
    return texts;
}

// A request of every kind, the most urgent one first, and the task that it asks for.
const std::vector<std::pair<std::function<void(BootRequests&)>, int>>& Requests() {
    using R = BootRequests&;
    static const std::vector<std::pair<std::function<void(R)>, int>> requests = {
        {[](R r) { r.manufacturingMode = 2; }, 13},
        {[](R r) { r.manufacturingMode = 1; }, 14},
        {[](R r) { r.previousForgelineGui = true; }, 11},
        {[](R r) { r.idModule = true; }, 1},
        {[](R r) { r.resetToDefaults = true; }, 12},
        {[](R r) { r.smaJob = true; }, 15},
        {[](R r) { r.forgeline = ForgelineRequest(1); }, 3},
        {[](R r) { r.forgeline = ForgelineRequest(5); }, 2},
        {[](R r) { r.aci = true; }, 5},
        {[](R r) { r.forgeline = ForgelineRequest(7); }, 4},
        {[](R r) { r.forcePxe = true; }, 10},
        {[](R r) { r.controllerBoot = true; }, 6},
        {[](R r) { r.redirectionEnable = true; }, 7},
        {[](R r) { r.redirectionSuppress = true; }, 8},
    };
    return requests;
}

} // namespace

TEST(BootTask, IsThatOfTheMostUrgentRequest) {
    BootRequests together;
    EXPECT_EQ(int(BdsChooseBootTask(together)), 0);
    for (std::size_t i = Requests().size(); i-- > 0;) {
        const auto& [make, task] = Requests()[i];
        BootRequests alone;
        make(alone);
        EXPECT_EQ(int(BdsChooseBootTask(alone)), task);
        make(together); // with all that are less urgent
        EXPECT_EQ(int(BdsChooseBootTask(together)), task);
    }
    for (const unsigned request : {0u, 2u, 3u, 4u, 6u, 8u}) {
        BootRequests requests;
        requests.forgeline = ForgelineRequest(request);
        EXPECT_EQ(int(BdsChooseBootTask(requests)), 0) << "Forgeline request " << request;
    }
}

TEST(BootTask, EveryQueryIsMadeOnceAlsoWhenAnEarlierOneDecides) {
    DriverBoot boot(R"({"manufacturing": {"mode": 2}, "idModule": {"request": "debrand"},
                        "controller": {"jobs": {"pending": 3}}, "aci": {"pending": true},
                        "attributes": {"ForcePxeBootFirst": "Enabled"}})");
    UINT32 jobs = 0;
    bool debrand = false;
    boot.AfterPhase(kChoice, [&] {
        jobs = gDriver.boot.smaJobType;
        debrand = gDriver.boot.debrandRequested && !gDriver.boot.rebrandRequested;
    });
    boot.PowerOn();
    EXPECT_TRUE(boot.Logged("BDS: BdsSetBootTask - FVS MFG Mode\n", 0x440));
    EXPECT_EQ(jobs, 3u);
    EXPECT_TRUE(debrand);
    Names asked;
    for (const sim::Json& event : During(boot, kChoice)) {
        if (event.at("event") == "protocol-call") {
            asked.push_back(event.at("member"));
        } else if (event.at("event") == "attribute") {
            asked.push_back(event.at("name"));
        }
    }
    EXPECT_EQ(asked, (Names{"GetMode", "IsRebrandRequested", "IsDebrandRequested", "GetPendingJobs",
                            "CheckRequest", "ForcePxeBootFirst"}));
}

TEST(BootTask, FollowsFromWhatTheServerIsAskedFor) {
    const std::string previous = fmt::format(
        R"("variables": {{"ForgelineGuiRequest-{}": {{"attributes": 3, "u8": 1}}}})", kBds);
    const struct {
        std::string machine;
        const char* title;
        Names texts; // while the task is chosen
        bool configuration;
    } kCases[] = {
        {R"("name": "ordinary")", "This is a normal boot", {}, false},
        {R"("manufacturing": {"mode": 1})",
         "Manufacturing Mode enabled",
         {"BIOS Manufacturing Mode Enabled"},
         false},
        {previous + R"(, "controller": {"jobs": {"pending": 1}})",
         "Execute Forgeline GUI request from prev boot",
         {"Forgeline Requested from Previous Boot"},
         false},
        {R"("idModule": {"request": "rebrand"})",
         "Execute ID Module task.",
         {"System Rebranding Requested by ID Module"},
         true},
        {R"("controller": {"jobs": {"pending": 8}})",
         "Execute SMA BIOS update/config/shutdown",
         {},
         true},
        {R"("forgeline": {"request": 1, "leaveAfter": 0})",
         "Execute Forgeline GUI",
         {"Forgeline Requested"},
         false},
        {R"("forgeline": {"request": 5, "leaveAfter": 0}, "aci": {"pending": true})",
         "Execute SSM task",
         {"System Configuration Requested by Forgeline"},
         true},
        {R"("aci": {"pending": true}, "forgeline": {"request": 7, "leaveAfter": 0})",
         "Execute ACI task",
         {"Attributes Configuration Requested"},
         true},
        {R"("forgeline": {"request": 7}, "attributes": {"ForcePxeBootFirst": "Enabled"})",
         "Execute Boot to Service Partition",
         {"Service Partition Requested by Forgeline"},
         false},
        {R"("attributes": {"ForcePxeBootFirst": "Enabled"})",
         "Force PXE boot via ForcePxeBootFirst.",
         {"Force PXE Boot Requested via Attribute"},
         false},
        // The platform does without the tool.
        {R"("forgeline": {"request": 1}, "policies": {"11": 1})",
         "This is a normal boot",
         {},
         false},
    };
    for (const auto& [machine, title, texts, configuration] : kCases) {
        SCOPED_TRACE(machine);
        DriverBoot boot("{" + machine + "}");
        boot.PowerOn();
        EXPECT_TRUE(boot.Logged(fmt::format("BDS: BdsSetBootTask - {}\n", title), 0x440));
        EXPECT_EQ(TaskTexts(During(boot, kChoice)), texts);
        EXPECT_EQ(boot.Logged(fmt::format("BDS: Configuration Boot: {}\n", title), 0x440),
                  configuration);
    }
}

TEST(BootTaskText, SaysWhoAskedForWhat) {
    const struct {
        int task;
        int request = 3;
        UINT32 jobs = 0;
        bool rebrand = false;
        const char* text = nullptr;
    } kCases[] = {
        {.task = 0},
        {.task = 1, .rebrand = true, .text = "System Rebranding Requested by ID Module"},
        {.task = 1, .text = "System Debranding Requested by ID Module"},
        {.task = 2, .request = 5, .text = "System Configuration Requested by Forgeline"},
        {.task = 2, .request = 6},
        {.task = 3, .request = 1, .text = "Forgeline Requested"},
        {.task = 4, .request = 7, .text = "Service Partition Requested by Forgeline"},
        {.task = 5, .text = "Attributes Configuration Requested"},
        {.task = 7, .text = "Console Redirection Enabled Requested by Nimbor"},
        {.task = 8, .text = "Console Redirection Suppressed Requested by Nimbor"},
        {.task = 9},
        {.task = 10, .text = "Force PXE Boot Requested via Attribute"},
        {.task = 11, .text = "Forgeline Requested from Previous Boot"},
        {.task = 12, .text = "Reset To Default Requested by Nimbor"},
        {.task = 13, .text = "BIOS FVS Mode Enabled"},
        {.task = 14, .text = "BIOS Manufacturing Mode Enabled"},
        {.task = 15, .jobs = 0x87, .text = "Processing Update Task"},
        {.task = 15, .jobs = 0x86, .text = "Processing Configuration Task"},
        {.task = 15, .jobs = 0x84, .text = "Processing System Shutdown Task"},
        {.task = 15, .jobs = 0x80, .text = "Processing System Data Erase"},
        {.task = 15, .jobs = 0x08},
    };
    for (const unsigned controller : {8u, 4u}) {
        sim::Trace trace;
        const sim::BootResult result = RunInFirmware(
            OfType(controller),
            [&](sim::Platform& platform) {
                for (const auto& row : kCases) {
                    BootState& state = gDriver.boot;
                    state.bootTask = BootTask(row.task);
                    state.forgelineRequest = ForgelineRequest(row.request);
                    state.smaJobType = row.jobs;
                    state.rebrandRequested = row.rebrand;
                    platform.Get<sim::Splash>().bootTaskText = "none";
                    BdsShowBootTaskMessage();
                    std::string expected = row.text != nullptr ? row.text : "none";
                    if (controller != 8 && expected.ends_with("Nimbor")) {
                        expected.replace(expected.size() - 6, 6, "BMC");
                    }
                    EXPECT_EQ(platform.Get<sim::Splash>().bootTaskText, expected) << row.task;
                }
                BdsSetBootTaskText("Nimbor asks");
                EXPECT_EQ(platform.Get<sim::Splash>().bootTaskText,
                          controller == 8 ? "Nimbor asks" : "BMC asks");
                BdsSetBootTaskText("");
                EXPECT_EQ(platform.Get<sim::Splash>().bootTaskText, "");
            },
            &trace);
        EXPECT_EQ(result.violations, Names{});
        // The clearing as the log shows it.
        Names log;
        for (const sim::Json& event : trace.EventsOf("debug")) {
            log.push_back(event.at("text"));
        }
        const Names end = {"InputString = \n",
                           fmt::format("[GetBmcSupportLevel] Get BmcType = {}.\n", controller),
                           controller == 8 ? "" : "Cannot find Nimbor string to replace.\n",
                           "BootTaskString = \n"};
        for (const std::string& line : end) {
            EXPECT_TRUE(line.empty() || std::count(log.begin(), log.end(), line) > 0) << line;
        }
        EXPECT_EQ(log.back(), "BootTaskString = \n");
    }
}

TEST(BootTaskText, NeedsASplashScreenAndMemory) {
    const struct {
        const char* machine;
        const char* line;
    } kCases[] = {
        {R"({"missing": ["KelmEarlyVideoSplashProtocol"]})",
         "Error !!! Unable to locate KelmEarlyVideoSplashProtocol.\n"},
        {R"({"faults": [{"call": "AllocatePool", "status": "EFI_OUT_OF_RESOURCES",
                         "onward": true}]})",
         "Error !!! String replace returned error.\n"},
    };
    for (const auto& [machine, line] : kCases) {
        sim::Trace trace;
        RunInFirmware(
            machine, [](sim::Platform&) { BdsSetBootTaskText("Setup Requested by Nimbor"); },
            &trace);
        ASSERT_FALSE(trace.EventsOf("debug").empty());
        EXPECT_EQ(trace.EventsOf("debug").back().at("text"), line);
        EXPECT_TRUE(trace.EventsOf("splash").empty());
    }
}

TEST(SpecialBootTask, DecidesOnceWhatAppliesAConfiguration) {
    const KelmVariable& bypass = kVariableConfigurationBootBypass;
    for (const bool bypassed : {false, true}) {
        RunInFirmware("{}", [&](sim::Platform& platform) {
            for (int task = 0; task < int(kBootTaskCount); ++task) {
                SCOPED_TRACE(fmt::format("task {} bypassed {}", task, bypassed));
                ResetDriverState();
                gDriver.boot.bootTask = BootTask(task);
                if (bypassed) {
                    Store(platform, bypass.name, {0}, *bypass.guid); // its value does not matter
                }
                platform.Get<sim::Splash>().bootTaskText = "text";
                BdsSpecialBootTask();
                const bool once = task == 1 || task == 2 || task == 5 || task == 12;
                const bool dropped = (bypassed && once) || task == 7 || task == 8;
                EXPECT_EQ(int(gDriver.boot.bootTask), dropped ? 0 : task);
                EXPECT_EQ(gDriver.boot.configurationBoot, !bypassed && (once || task == 15));
                EXPECT_EQ(platform.Get<sim::Splash>().bootTaskText, bypassed && once ? "" : "text");
                EXPECT_FALSE(Stored(platform, bypass.name, *bypass.guid));
            }
        });
    }
}

TEST(SpecialBootTask, AConfigurationIsAppliedOnceAndTheNextBootIsOrdinary) {
    DriverBoot boot(R"({"idModule": {"request": "rebrand"}})");
    for (unsigned powerOn = 1; powerOn <= 3; ++powerOn) {
        SCOPED_TRACE(powerOn);
        const bool applies = powerOn != 2;
        EXPECT_EQ(boot.PowerOn().reason == sim::EndReason::ResetWarm, applies);
        const Names calls = boot.Calls();
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "KelmOemIdProtocol.Rebrand"), applies);
        EXPECT_EQ(boot.Logged("[BDS] Special Boot task handling, Boot Task = This is a normal "
                              "boot\n",
                              0x440),
                  !applies);
        EXPECT_EQ(TaskTexts(boot.Events("splash")).back(), "");
    }
}

} // namespace kelm::test
