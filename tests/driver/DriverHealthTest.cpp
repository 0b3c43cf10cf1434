// What UEFI drivers report on their health: shown, noted for the prompt, and acted on.

#include "post/DriverHealth.h"
#include "core/DriverState.h"
#include "library/firmware/Services.h"
#include "post/PostDisplay.h"
#include "sim/firmware/DriverModel.h"
#include "sim/siblings/DriverHealth.h"
#include "sim/siblings/PostMessages.h"
#include "strings/Strings.h"
#include "tests/driver/DriverBoot.h"
#include "uefi/PciRootBridgeIo.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace kelm::test {

namespace {

constexpr char kCard[] = "PciRoot(0x0)/Pci(0x3,0x0)";
constexpr char kConfigure[] = "must be configured";

std::string Machine(std::string_view drivers, std::string_view rest = "") {
    return fmt::format(
        R"j({{"extends": "empty", "limits": {{"keyWaitSeconds": 40}}, "driverHealth": {{{}}},
             "pcds": {{"3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000028":
                       {{"type": "u8", "value": 4}},
                       "8FB8DFA4-662E-472E-A5A2-02F33D0B31C8/0x1":
                       {{"type": "u8", "value": 7}}}},
             "devices": {{"card": {{"path": "{}", "kind": "pci",
                                    "location": "PCIe Slot 3"}}}}{}}})j",
        drivers, kCard, rest);
}

struct Report {
    EFI_STATUS status = EFI_ABORTED;
    bool promptRequired = false;
    bool message = false;             // 106
    std::uint64_t disconnections = 0; // of the root bridge
    bool hooked = false;
    std::string screen;
    std::string log;
    sim::BootResult result;
};

std::string TextOf(const sim::Trace& trace, const char* event) {
    std::string text;
    for (const sim::Json& item : trace.EventsOf(event)) {
        text += item.at("text").get<std::string>();
    }
    return text;
}

// One report on a machine whose devices are connected. `look` sees the drivers afterwards.
Report ReportOn(const std::string& machine,
                const std::function<void(const sim::DriverHealth&)>& look = {}) {
    Report report;
    sim::Trace trace;
    report.result = RunInFirmware(
        machine,
        [&](sim::Platform& platform) {
            EXPECT_EQ(BdsRegisterStrings(), EFI_SUCCESS);
            EFI_HANDLE bridge = nullptr;
            platform.handles->FindFirst(gEfiPciRootBridgeIoProtocolGuid, &bridge);
            EXPECT_EQ(gBS->ConnectController(bridge, nullptr, nullptr, TRUE), EFI_SUCCESS);
            const std::size_t blocks = platform.arena->LiveBlocks().size();
            report.status = BdsReportDriverHealth();
            report.promptRequired = gDriver.post.promptRequired;
            report.message = platform.Get<sim::PostMessages>().Has(106);
            report.disconnections = platform.drivers->Disconnections(bridge);
            if (!report.message && report.disconnections == 0) {
                EXPECT_EQ(platform.arena->LiveBlocks().size(), blocks);
            }
            if (look) {
                look(platform.Get<sim::DriverHealth>());
            }
        },
        &trace);
    EXPECT_EQ(report.result.violations, std::vector<std::string>{});
    for (const sim::Json& event : trace.EventsOf("signal")) {
        report.hooked |= event.at("guid") == "C4F4FFE9-238E-42A1-98F4-A786D17A2CCF";
    }
    report.screen = TextOf(trace, "screen");
    report.log = TextOf(trace, "debug");
    return report;
}

} // namespace

TEST(DriverHealth, UnhealthyDriversAreNamedWithWhatTheySay) {
    const Report report = ReportOn(Machine(fmt::format(
        R"("a": {{"states": ["failed"], "name": "Card driver", "path": "{}",
                  "messages": ["Ask Nimbor.", "Or not."]}},
           "b": {{"states": ["configuration-required"], "name": "Nimbor Settings",
                  "language": "en", "messages": [], "form": true}},
           "c": {{"states": ["failed"]}},
           "d": {{"states": ["healthy"], "name": "Sound", "messages": ["Not said."]}},
           "e": {{"states": ["failed"], "name": "Other", "language": "en",
                  "messages": ["Elsewhere."]}})",
        kCard)));
    EXPECT_EQ(report.status, EFI_SUCCESS);
    EXPECT_EQ(report.screen,
              "\r\nPCIe Slot 3: \r\nAsk BMC.\n\rOr not.\n\r"
              "\r\nNimbor Settings: \r\n"
              "Unhealthy status reported by this UEFI driver without specific error message(s).\n\r"
              "Unhealthy status reported by this UEFI driver without specific error "
              "message(s).\n\r"
              "\r\nOther: \r\nElsewhere.\n\r");
    EXPECT_TRUE(report.message);
    EXPECT_TRUE(report.promptRequired);
    EXPECT_TRUE(report.hooked);
    EXPECT_NE(report.log.find("--- Found an DHP instance that is NOT healthy---: \n"),
              std::string::npos);
    EXPECT_NE(report.log.find("  HealthStatus = 3\nDriverLocation: PCIe Slot 3\n"
                              "DriverName: Card driver\n"),
              std::string::npos)
        << report.log;
    EXPECT_EQ(report.log.find("Sound"), std::string::npos);
}

TEST(DriverHealth, WithoutAnythingToReportNothingIsSaid) {
    struct Row {
        std::string machine;
        EFI_STATUS status;
    };
    const Row rows[] = {
        {Machine(""), EFI_NOT_FOUND},
        {Machine(R"("d": {"states": ["failed"], "messages": ["M"]})",
                 R"(, "missing": ["KelmDeviceLocationProtocol"])"),
         EFI_NOT_FOUND},
        {Machine(R"("d": {"states": ["healthy"], "messages": ["M"]})"), EFI_SUCCESS},
        {Machine(R"("d": {"states": ["failed"], "messages": ["M"]})",
                 R"(, "faults": [{"call": "DriverHealth.GetHealthStatus", "onward": true}])"),
         EFI_SUCCESS},
    };
    for (const Row& row : rows) {
        const Report report = ReportOn(row.machine);
        EXPECT_EQ(report.status, row.status);
        EXPECT_EQ(report.screen, "");
        EXPECT_FALSE(report.message);
        EXPECT_FALSE(report.promptRequired);
        EXPECT_EQ(report.hooked, !EFI_ERROR(row.status));
    }
}

TEST(DriverHealth, DriversGetTheRepairsReconnectionsAndRebootsThatTheyAskFor) {
    struct Row {
        const char* driver; // more of it
        unsigned repairs;
        std::uint64_t disconnections;
        EFI_DRIVER_HEALTH_STATUS end;
        bool configure = false;
        bool reset = false;
    };
    const Row rows[] = {
        {R"("states": ["repair-required", "healthy"], "repairs": 3)", 3, 0,
         EfiDriverHealthStatusHealthy},
        {R"("states": ["reconnect-required", "repair-required", "reconnect-required", "healthy"])",
         1, 2, EfiDriverHealthStatusHealthy},
        {R"("states": ["repair-required", "configuration-required"])", 1, 0,
         EfiDriverHealthStatusConfigurationRequired, true},
        {R"("states": ["failed"])", 0, 0, EfiDriverHealthStatusFailed},
        // A repair that fails is not tried again; one that never helps, not for ever.
        {R"("states": ["repair-required"], "repairStatus": "EFI_DEVICE_ERROR")", 1, 0,
         EfiDriverHealthStatusRepairRequired},
        {R"("states": ["repair-required"])", 64, 0, EfiDriverHealthStatusRepairRequired},
        {R"("states": ["repair-required", "reboot-required"])", 1, 0,
         EfiDriverHealthStatusRebootRequired, false, true},
    };
    for (const char* managed : {R"j("controllers": ["PciRoot(0x0)"])j",
                                R"j("controllers": ["PciRoot(0x0)/Pci(0x3,0x0)"])j"}) {
        const bool bridge = std::string_view(managed).find("Pci(") == std::string::npos;
        for (const Row& row : rows) {
            SCOPED_TRACE(row.driver);
            if (!bridge && row.disconnections != 0) {
                continue;
            }
            const Report report =
                ReportOn(Machine(fmt::format(R"("d": {{{}, {}}})", row.driver, managed)),
                         [&](const sim::DriverHealth& drivers) {
                             EXPECT_EQ(drivers.Find("d").repairCalls, row.repairs);
                             EXPECT_EQ(drivers.Find("d").Health(), row.end);
                         });
            EXPECT_EQ(report.screen.find(kConfigure) != std::string::npos, row.configure);
            EXPECT_EQ(report.result.reason == sim::EndReason::ResetWarm, row.reset);
            if (!row.reset) {
                EXPECT_EQ(report.disconnections, row.disconnections);
                EXPECT_TRUE(report.hooked);
            }
        }
    }
    // Children are repaired through the controller that they hang from.
    ReportOn(Machine(fmt::format(R"j("d": {{"states": ["repair-required", "healthy"],
                                     "children": ["{}"], "controllers": []}},
                                    "e": {{"states": ["repair-required", "healthy"],
                                     "children": ["{}"], "controllers": ["PciRoot(0x0)"],
                                     "repairs": 2}})j",
                                 kCard, kCard)),
             [](const sim::DriverHealth& drivers) {
                 EXPECT_EQ(drivers.Find("d").repairCalls, 0u) << "manages no controller";
                 EXPECT_EQ(drivers.Find("e").repairCalls, 2u);
             });
}

TEST(DriverHealth, IsAskedForInTheFullCheckOfAnOrdinaryBoot) {
    struct Row {
        bool full;
        int manufacturing;
        bool asked;
    };
    for (const Row& row : {Row{true, 0, true}, Row{false, 0, false}, Row{true, 1, false}}) {
        sim::Trace trace;
        RunInFirmware(
            Machine(R"("d": {"states": ["failed"], "name": "BMC Settings"})",
                    fmt::format(R"(, "manufacturing": {{"mode": {}}},
                                  "keys": [{{"at": 9000, "key": "F1"}}])",
                                row.manufacturing)),
            [&](sim::Platform& platform) {
                EXPECT_EQ(BdsRegisterStrings(), EFI_SUCCESS);
                EXPECT_EQ(BdsProcessPostErrors(row.full), EFI_SUCCESS);
                EXPECT_EQ(platform.Get<sim::PostMessages>().Has(106), row.asked);
            },
            &trace);
        // The settings of the controller want the prompt; the message itself does not.
        EXPECT_EQ(!trace.EventsOf("status-code").empty(), row.asked);
        EXPECT_EQ(TextOf(trace, "screen").find("UEFI0106: ") != std::string::npos, row.asked);
    }
}

TEST(DriverHealth, SurvivesEveryFailingAllocation) {
    const std::string machine = Machine(fmt::format(
        R"j("a": {{"states": ["repair-required", "healthy"], "path": "{}", "name": "A",
                  "messages": ["Something."], "controllers": ["PciRoot(0x0)"]}},
           "b": {{"states": ["failed"], "messages": []}})j",
        kCard));
    unsigned refused = 0;
    for (unsigned nth = 1; nth <= 40; ++nth) {
        const sim::BootResult result = RunInFirmware(machine, [&](sim::Platform& platform) {
            const std::size_t blocks = platform.arena->LiveBlocks().size();
            platform.arena->SetFailure({.nth = nth});
            const EFI_STATUS status = BdsReportDriverHealth();
            EXPECT_TRUE(status == EFI_SUCCESS || status == EFI_OUT_OF_RESOURCES ||
                        status == EFI_NOT_FOUND);
            refused += status == EFI_OUT_OF_RESOURCES ? 1 : 0;
            // What stays is the message's, if there is one.
            const bool message = platform.Get<sim::PostMessages>().Has(106);
            EXPECT_EQ(platform.arena->LiveBlocks().size(), blocks + (message ? 3 : 0));
        });
        EXPECT_EQ(result.violations, std::vector<std::string>{});
    }
    EXPECT_GE(refused, 2u);
}

} // namespace kelm::test
