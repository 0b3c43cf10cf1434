#include "sim/siblings/Sibling.h"
#include "tests/driver/DriverBoot.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace kelm::test {

// Whatever a platform lacks, the boot gets to its end.
TEST(MissingProtocol, NoneOfThemStopsTheSequence) {
    ASSERT_GT(sim::AllSiblingProtocols().size(), 30u);
    for (const sim::SiblingProtocol& protocol : sim::AllSiblingProtocols()) {
        DriverBoot boot(fmt::format(R"({{"missing": ["{}"]}})", protocol.name));
        const sim::BootResult result = boot.PowerOn();
        EXPECT_TRUE(EndedAtThePrompt(result)) << protocol.name;
        // The log shows it, or, without a log, the controller was asked for the chassis last.
        bool reached = boot.Logged("[BDS] Default Boot\n", 0x440);
        for (const std::string& guid : boot.Signals()) {
            reached |= guid == "3F4F84CB-5800-457A-9F7F-CA0BA64BB2F4";
        }
        EXPECT_TRUE(reached) << protocol.name;
    }
}

TEST(MissingProtocol, ABareMachineBootsToo) {
    DriverBoot boot(R"({"extends": "empty"})");
    const sim::BootResult result = boot.PowerOn();
    EXPECT_TRUE(EndedAtThePrompt(result));
}

} // namespace kelm::test
