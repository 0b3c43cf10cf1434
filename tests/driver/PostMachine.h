// A small machine for POST messages: the sections of its machine file, and a place to run the
// driver's POST functions on it.
#pragma once

#include "services/ControllerStartup.h"
#include "sim/siblings/AttributeService.h"
#include "strings/Strings.h"
#include "tests/driver/DriverBoot.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace kelm::test {

inline constexpr std::uint64_t kSecond = 1'000'000; // microseconds
inline constexpr char kBmcType[] = "3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000028";
inline constexpr char kReportCodes[] = "8FB8DFA4-662E-472E-A5A2-02F33D0B31C8/0x1";
inline constexpr char kDevice[] = "PciRoot(0x0)/Pci(0x3,0x0)";

// Messages 9001 to 9005 have the type of their last digit, and the prompt is on.
inline std::string PostMachine(const std::string& rest = "", unsigned bmcType = 8) {
    std::string messages;
    for (int type = 1; type <= 5; ++type) {
        messages += fmt::format(R"({}{{"number": {}, "type": {}, "text": "Number {}."}})",
                                type == 1 ? "" : ", ", 9000 + type, type, type);
    }
    sim::Json machine = sim::Json::parse(fmt::format(
        R"j({{"extends": "empty", "limits": {{"keyWaitSeconds": 40}},
             "attributes": {{"ErrPrompt": "Enabled", "F1F2ErrCode1": "0", "F1F2ErrCode2": "0"}},
             "pcds": {{"{}": {{"type": "u8", "value": {}}},
                       "{}": {{"type": "u8", "value": 7}}}},
             "controller": {{"sma": [{{"command": "0x0018"}}]}},
             "devices": {{"card": {{"path": "{}", "kind": "pci", "location": "PCIe Slot 3"}}}},
             "postMessages": [{}]}})j",
        kBmcType, bmcType, kReportCodes, kDevice, messages));
    if (!rest.empty()) {
        sim::Json changes = sim::Json::parse("{" + rest + "}");
        if (changes.contains("postMessages")) {
            for (const auto& message : machine["postMessages"]) {
                changes["postMessages"].push_back(message);
            }
        }
        machine.merge_patch(changes);
    }
    return machine.dump();
}

struct Shown {
    sim::Trace trace;
    sim::BootResult result;

    std::string Screen() const {
        std::string text;
        for (const sim::Json& event : trace.EventsOf("screen")) {
            text += event.at("text").get<std::string>();
        }
        return text;
    }
    bool Prompted() const {
        for (const sim::Json& event : trace.EventsOf("status-code")) {
            if (event.at("value") == 0x03811034) {
                return true;
            }
        }
        return false;
    }
};

// Runs `body` with the driver's strings and the controller's transports in place.
inline Shown InPost(const std::string& machine, const std::function<void(sim::Platform&)>& body,
                    sim::NvStore store = {}) {
    Shown run;
    run.result = RunInFirmware(
        machine,
        [&](sim::Platform& platform) {
            EXPECT_EQ(BdsRegisterStrings(), EFI_SUCCESS);
            BdsStartController();
            body(platform);
        },
        &run.trace, std::move(store));
    EXPECT_EQ(run.result.violations, std::vector<std::string>{});
    return run;
}

inline std::u16string Setting(sim::Platform& platform, std::u16string_view name) {
    return platform.Get<sim::AttributeService>().Text(name).value_or(u"(none)");
}

inline std::string HexOf(std::string_view text) {
    return sim::ToHex(text.data(), text.size());
}

} // namespace kelm::test
