#include "core/DriverState.h"
#include "kelm/PcdTokens.h"
#include "kelm/Variables.h"
#include "sim/firmware/PcdDatabase.h"
#include "sim/siblings/Controller.h"
#include "sim/siblings/PlatformSteps.h"
#include "tests/driver/DriverBoot.h"
#include "tests/driver/PhaseList.h"

#include <algorithm>
#include <fmt/format.h>
#include <gtest/gtest.h>

namespace kelm::test {

namespace {

constexpr char kLastBeforeConditions[] = "[BDS] Special Boot task handling";

// What the trace shows, without measurements that are no phases and without lines nobody fixed.
std::vector<Measured> Seen(const DriverBoot& boot) {
    std::vector<Measured> seen;
    for (Measured measured : boot.Phases()) {
        const auto phase =
            std::find_if(ExpectedPhases().begin(), ExpectedPhases().end(),
                         [&](const ExpectedPhase& p) { return p.title == measured.title; });
        if (phase == ExpectedPhases().end()) {
            continue;
        }
        if (phase->line.empty()) {
            measured.line.clear();
        }
        seen.push_back(measured);
    }
    return seen;
}

std::vector<Measured> Expected(const Moment& moment) {
    std::vector<Measured> expected;
    for (const ExpectedPhase& phase : ExpectedPhases()) {
        if (phase.runs(moment)) {
            expected.push_back({phase.title, phase.line == "=" ? phase.title : phase.line});
        }
    }
    return expected;
}

// Puts the driver's state where the moment is, once the boot task has been decided.
void Enter(DriverBoot& boot, const Moment& moment) {
    boot.AfterPhase(kLastBeforeConditions, [moment] {
        BootState& state = gDriver.boot;
        state.bootTask = static_cast<BootTask>(moment.task);
        state.configurationBoot = moment.configurationBoot;
        state.forgelineSsmEnumerate = moment.ssmEnumerate;
        state.smaJobType = moment.smaJobType;
        state.comPortsSwapped = moment.comPortsSwapped;
        state.bootMode = moment.biosBoot ? kBootModeBios : kBootModeUefi;
    });
}

std::string MachineFor(const Moment& moment) {
    return fmt::format(R"({{"manufacturing": {{"mode": {}}},
                            "cpld": {{"registers": {{"0x201": {}}}}}}})",
                       moment.manufacturingMode, moment.liquidCoolingBypass ? 0x80 : 0);
}

bool Contains(const std::vector<std::string>& list, std::string_view text) {
    return std::find(list.begin(), list.end(), text) != list.end();
}

// The entries of `list` that are in `wanted`, in the order of `list`.
std::vector<std::string> Only(const std::vector<std::string>& list,
                              const std::vector<std::string>& wanted) {
    std::vector<std::string> found;
    std::copy_if(list.begin(), list.end(), std::back_inserter(found),
                 [&](const std::string& entry) { return Contains(wanted, entry); });
    return found;
}

} // namespace

TEST(PhaseSequence, RunsEveryPhaseOfAnOrdinaryBootInOrderWithItsLine) {
    DriverBoot boot;
    const sim::BootResult result = boot.PowerOn();
    EXPECT_EQ(result.reason, sim::EndReason::TimeLimit);
    EXPECT_EQ(Seen(boot), Expected({}));
    // Starts and ends pair up, but for the phase that was running when the boot ended.
    std::vector<std::string> open;
    for (const sim::Json& event : boot.Events("measure")) {
        const std::string token = event.at("token");
        if (event.at("edge") == "start") {
            open.push_back(token);
        } else if (!open.empty() && open.back() == token) {
            open.pop_back();
        } else {
            EXPECT_EQ(token, "DXE") << "ended out of order";
            std::erase(open, token);
        }
    }
    EXPECT_EQ(open, (std::vector<std::string>{"POST Video Duration", "BDS"}));
}

TEST(PhaseSequence, FollowsItsConditionsForEveryTask) {
    for (int task = 0; task < static_cast<int>(kBootTaskCount); ++task) {
        for (const bool configuration : {false, true}) {
            for (const bool enumerate : {false, true}) {
                const Moment moment{.task = task,
                                    .configurationBoot = configuration,
                                    .ssmEnumerate = enumerate,
                                    .smaJobType = task == 15 ? 4u : 0u};
                DriverBoot boot;
                Enter(boot, moment);
                const sim::BootResult result = boot.PowerOn();
                SCOPED_TRACE(fmt::format("task {} configuration {} enumerate {}", task,
                                         configuration, enumerate));
                EXPECT_EQ(Seen(boot), Expected(moment));
                const bool resets = configuration && task != 5 && task != 15;
                EXPECT_EQ(result.reason,
                          resets ? sim::EndReason::ResetWarm : sim::EndReason::TimeLimit);
                EXPECT_EQ(Contains(boot.Signals(), "336836D8-4974-954E-344B-E08EA8D2CBD9"),
                          configuration);
            }
        }
    }
}

TEST(PhaseSequence, FollowsThePlatformsConditions) {
    const Moment moments[] = {
        {.manufacturingMode = 1},
        {.manufacturingMode = 2},
        {.smaJobType = 1},
        {.smaJobType = 2},
        {.liquidCoolingBypass = true},
        {.biosBoot = true},
        {.comPortsSwapped = true},
        {.task = 15, .configurationBoot = true, .smaJobType = 6},
    };
    for (const Moment& moment : moments) {
        DriverBoot boot(MachineFor(moment));
        Enter(boot, moment);
        boot.PowerOn();
        EXPECT_EQ(Seen(boot), Expected(moment));
        const bool tagSkipped = moment.manufacturingMode != 0 || (moment.smaJobType & 1) != 0;
        EXPECT_EQ(boot.Logged("[BDS] Service Tag check skipped\n", 0x440), tagSkipped);
        EXPECT_EQ(
            boot.Logged(fmt::format("[BDS] ManufacturingMode = {}\n", moment.manufacturingMode),
                        0x440),
            tagSkipped);
        EXPECT_EQ(boot.Logged(fmt::format("[BDS] SmaJobType = 0x{:X}\n", moment.smaJobType), 0x440),
                  tagSkipped);
    }
}

TEST(PhaseSequence, ReportsProgressAndHookPointsInOrder) {
    DriverBoot boot;
    boot.PowerOn();
    const std::vector<std::string> codes = {"0x03811000", "0x03811001", "0x03811002",
                                            "0x03811003", "0x03811004", "0x03811020",
                                            "0x03811021", "0x03811030", "0x03811031"};
    EXPECT_EQ(Only(boot.StatusCodes(), codes), codes);
    const std::vector<std::string> hooks = {
        "C5FEEF6F-1B0A-463F-9A22-1DEDBBA2D5ED", "A6994392-BD37-4429-B429-5F7E67BC0A32",
        "2C73FFA0-F99C-484C-A497-C766A8C6E25B", "B91E6E10-F0A7-4F6C-AA6C-90C127D1D4DE",
        "F08017AB-AE01-484E-8680-984A5171B20D", "A1B056D9-527F-4C83-8848-02109875CD98",
        "627E3726-1EF1-407C-CF1C-EA329542DE94", "3F4F84CB-5800-457A-9F7F-CA0BA64BB2F4"};
    EXPECT_EQ(Only(boot.Signals(), hooks), hooks);

    // The code of PCI enumeration comes before the phase's line, that of the consoles after it.
    std::vector<std::string> order;
    for (const sim::Json& event : boot.trace.Events()) {
        if (event.at("event") == "status-code") {
            order.push_back(fmt::format("0x{:08X}", event.at("value").get<std::uint32_t>()));
        } else if (event.at("event") == "debug") {
            order.push_back(event.at("text"));
        } else if (event.at("event") == "measure") {
            order.push_back(event.at("edge").get<std::string>() + " " +
                            event.at("token").get<std::string>());
        }
    }
    const std::vector<std::string> pci = {"start [BDS] PCI Enum",
                                          "0x03811001",
                                          "[BDS] PCI Enum\n",
                                          "start [BDS] Nimbor Late Init / SMA",
                                          "[BDS] Nimbor Late Init / SMA\n",
                                          "end [BDS] Nimbor Late Init / SMA",
                                          "end [BDS] PCI Enum"};
    EXPECT_EQ(Only(order, pci), pci);
}

TEST(PhaseSequence, CallsSiblingsBySlotInOrderWithTheirArguments) {
    DriverBoot boot(R"({"pcds": {
        "3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000019": {"type": "bool", "value": true}}})");
    boot.AfterPhase("[BDS] Set Boot Task", [] { gDriver.boot.smaJobType = 0x85; });
    std::vector<UINT32> tpmRequests;
    boot.AtTheEnd([&](sim::Platform& platform) {
        tpmRequests = platform.Get<sim::PlatformSteps>().tpmRequests;
    });
    boot.PowerOn();
    const std::vector<std::string> calls = {
        "KelmEsrtInjectionProtocol.Inject",
        "KelmPlatformPolicyProtocol.EarlyInit",
        "KelmPasswordProtocol.PasswordEntryEnd",
        "KelmPlatformTpmProtocol.EarlyInit",
        "KelmNimborInitializeProtocol.Initialize",
        "KelmNimborInstallIpmiProtocol.InstallIpmi",
        "KelmNimborProtocol.EarlyInit",
        "KelmVamProtocol.Initialize",
        "KelmNimborProtocol.LateInit",
        "KelmPciPostEnumerationProtocol.GetVersion",
        "KelmPciPostEnumerationProtocol.ProcessDevices",
        "KelmPlatformTpmProtocol.ProcessOsRequests",
        "KelmManufacturingModeProtocol.Initialize",
        "NimborHttpsBootCertMgmtProtocol.SyncFromNimbor",
        "NimborHttpsBootCertMgmtProtocol.SyncToNimbor",
        "KelmPcieSsdLocationProtocol.CollectBays",
        "KelmPcieSsdLocationProtocol.CollectSlots",
        "KelmPcieSsdLocationProtocol.SendToNimbor",
        "KelmNimborProtocol.ProcessPostEvent",
        "KelmRipsProtocol.Initialize",
        "KelmNimborProtocol.SendSataInfo",
        "NimborSecureBootMgmtProtocol.GetPendingTask",
        "NimborSecureBootMgmtProtocol.ProcessTask",
        "KelmPlatformTpmProtocol.ReportError",
        "KelmPlatformTpmProtocol.ReportConfigurationError",
        "KelmUsbEndOfPostProtocol.EndOfPost",
        "KelmTxtEndOfPostProtocol.EndOfPost",
        "KelmNimborProtocol.EndOfPost",
        "KelmRipsProtocol.ReportError",
        "KelmManufacturingModeProtocol.LeavePost",
    };
    EXPECT_EQ(Only(boot.Calls(), calls), calls);
    EXPECT_EQ(tpmRequests, std::vector<UINT32>{0}) << "requests wait while an update is pending";

    std::vector<std::string> ipmi;
    for (const sim::Json& event : boot.Events("ipmi")) {
        ipmi.push_back(fmt::format("{:02X}/{:02X} {}", event.at("netfn").get<int>(),
                                   event.at("command").get<int>(),
                                   event.at("request").get<std::string>()));
    }
    const std::vector<std::string> wanted = {"06/52 082400642650", "30/12 01"};
    EXPECT_EQ(Only(ipmi, wanted), wanted);
}

TEST(PhaseSequence, LeavesOutWhatThePlatformDoesNotAskFor) {
    DriverBoot boot(R"({"esrt": {"present": false}, "pcds": {
        "3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000019": {"type": "bool", "value": false},
        "D3705011-BC19-4AF7-BE16-F68030378C15/0x1002F": {"type": "bool", "value": false}}})");
    boot.PowerOn();
    std::vector<Measured> expected = Expected({});
    expected.erase(expected.begin()); // ESRT injection
    EXPECT_EQ(Seen(boot), expected);
    for (const sim::Json& event : boot.Events("ipmi")) {
        EXPECT_FALSE(event.at("netfn") == 6 && event.at("command") == 0x52);
    }
    // Only the remote-clear acknowledgement writes a platform value.
    EXPECT_EQ(Only(boot.Calls(), {"Pcd.SetBool"}).size(), 1u);
}

TEST(PhaseSequence, SaysSoWhenTheMasterWriteReadHasNoTransport) {
    DriverBoot boot(R"({"missing": ["KelmIpmiTransportProtocol"], "pcds": {
        "3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000019": {"type": "bool", "value": true}}})");
    boot.PowerOn();
    EXPECT_TRUE(boot.Logged("LocateProtocol Status= E \r\n", 0x80000000));
}

TEST(PhaseSequence, StopsTheFrb2WatchdogOnlyWhenBothSettingsSaySo) {
    for (const bool custom : {false, true}) {
        for (const bool timer : {false, true}) {
            DriverBoot boot(
                fmt::format(R"({{"attributes": {{"EsiCustomSettings": "{}", "Frb2Timer": "{}"}}}})",
                            custom ? "Enabled" : "Disabled", timer ? "Enabled" : "Disabled"));
            boot.PowerOn();
            EXPECT_EQ(boot.Logged("Stopping FRB2 Watchdog Timer...\n", 0x400), custom && timer);
            const auto commands = boot.Events("ipmi");
            EXPECT_EQ(std::any_of(commands.begin(), commands.end(),
                                  [](const sim::Json& event) {
                                      return event.at("netfn") == 6 &&
                                             event.at("command") == 0x24 &&
                                             event.at("request") == "810000000000";
                                  }),
                      custom && timer);
        }
    }
}

TEST(PhaseSequence, ConfigurationBootLeavesTheBypassAndResetsAfterThreeSeconds) {
    DriverBoot boot;
    Enter(boot, {.task = 1, .configurationBoot = true});
    const sim::BootResult first = boot.PowerOn();
    EXPECT_EQ(first.reason, sim::EndReason::ResetWarm);
    const sim::StoredVariable* bypass = boot.server.store.Find(
        kVariableConfigurationBootBypass.name, *kVariableConfigurationBootBypass.guid);
    ASSERT_NE(bypass, nullptr);
    EXPECT_EQ(bypass->attributes, 3u);
    EXPECT_EQ(bypass->data, std::vector<std::uint8_t>{1});
    const auto resets = boot.Events("reset");
    ASSERT_EQ(resets.size(), 1u);
    EXPECT_EQ(resets[0].at("type"), "warm");
    EXPECT_EQ(resets[0].at("status"), "EFI_SUCCESS");
    const auto shown = boot.Events("screen");
    ASSERT_FALSE(shown.empty());
    EXPECT_EQ(shown.back().at("text"), "Resetting the system...");
    EXPECT_EQ(resets[0].at("t").get<std::uint64_t>() - shown.back().at("t").get<std::uint64_t>(),
              3'000'000u);

    // The same server again: a fresh boot, with the variable still there for the boot task to find.
    boot.ForgetChanges();
    EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::TimeLimit);
    EXPECT_EQ(Seen(boot), Expected({}));
    EXPECT_EQ(boot.server.boots, 2u);
    EXPECT_EQ(boot.server.store.Find(kVariableConfigurationBootBypass.name,
                                     *kVariableConfigurationBootBypass.guid),
              nullptr);
}

TEST(PhaseSequence, SecureBootTaskResetsAtOnceOrAfterTheTasksOwnPhases) {
    const auto pending = [](sim::Platform& platform) {
        platform.Get<sim::Controller>().secureBootTaskPending = true;
    };
    DriverBoot ordinary;
    ordinary.BeforeDriver(pending);
    EXPECT_EQ(ordinary.PowerOn().reason, sim::EndReason::ResetWarm);
    EXPECT_EQ(Seen(ordinary).back().title, "[BDS] Check Secure Boot Pending Task");

    DriverBoot task;
    task.BeforeDriver(pending);
    Enter(task, {.task = 5});
    EXPECT_EQ(task.PowerOn().reason, sim::EndReason::ResetWarm);
    EXPECT_EQ(Seen(task).back().title, "[BDS] Extended POST");
    EXPECT_EQ(task.server.store.Find(kVariableConfigurationBootBypass.name,
                                     *kVariableConfigurationBootBypass.guid),
              nullptr);
    std::string text;
    for (const sim::Json& event : task.Events("screen")) {
        text += event.at("text");
    }
    EXPECT_EQ(text,
              "Finished processing Secure Boot configuration requests. See Forgeline Log for\r\n"
              "more details.\r\r\nResetting the system...");
}

TEST(PhaseSequence, ForgelineTasksWriteTheirLinesAndSmaConfigurationBecomesSystemConfiguration) {
    const std::pair<int, const char*> rows[] = {{2, "[BDS] Process SSM\n"},
                                                {3, "[BDS] Process Forgeline GUI\n"},
                                                {11, "[BDS] Process Forgeline GUI\n"},
                                                {4, "[BDS] Process BSP\n"}};
    for (const auto& [task, line] : rows) {
        DriverBoot boot;
        Enter(boot, {.task = task});
        boot.PowerOn();
        EXPECT_TRUE(boot.Logged(line, 0x440)) << task;
    }
    DriverBoot boot;
    Enter(boot, {.task = 15});
    boot.AfterPhase("[BDS] Nimbor End Of Post", [] {
        gDriver.boot.forgelineRequest = ForgelineRequest::SystemConfiguration;
        gDriver.boot.hotKey = HotKey::F12Pxe;
    });
    boot.PowerOn();
    EXPECT_TRUE(boot.Logged("BDS: BootTask - Execute SSM task\n", 0x440));
    EXPECT_TRUE(boot.Logged("BDS: Hot Key  - F12 = PXE Boot\n", 0x440));
    EXPECT_TRUE(boot.Logged("[BDS] Process SSM\n", 0x440));
}

TEST(PhaseSequence, DropsTheOneBootMemoryRequestAndMasksTheApicTimer) {
    DriverBoot boot(R"({"pcds": {
        "D3705011-BC19-4AF7-BE16-F68030378C15/0x1002F": {"type": "bool", "value": true}}})");
    bool request = true;
    boot.AtTheEnd([&](sim::Platform& platform) {
        request = platform.pcds->Number(gKelmChipsetPcdTokenSpaceGuid, 0x1002F) != 0;
    });
    boot.PowerOn();
    EXPECT_FALSE(request);
    bool masked = false;
    for (const sim::Json& event : boot.Events("io")) {
        masked |= event.value("op", "") == "mmio-write32" &&
                  event.value("address", std::uint64_t{0}) == 0xFEE00320 &&
                  (event.at("value").get<std::uint64_t>() & 0x10000) != 0;
    }
    EXPECT_TRUE(masked);
}

} // namespace kelm::test
