#include "tests/driver/DriverBoot.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace kelm::test {

// Fails the N-th call of one service, for every N of a boot, once and from then on.
TEST(Faults, NoFailingServiceCallStopsTheSequenceOrBreaksARule) {
    const char* services[] = {"AllocatePool",
                              "SetVariable",
                              "LocateProtocol",
                              "HandleProtocol",
                              "InstallProtocolInterface",
                              "InstallMultipleProtocolInterfaces",
                              "CreateEventEx",
                              "UninstallProtocolInterface"};
    for (const char* service : services) {
        for (unsigned nth = 1; nth <= 40; ++nth) {
            for (const bool onward : {false, true}) {
                DriverBoot boot(fmt::format(
                    R"({{"faults": [{{"call": "{}", "nth": {}, "status": "EFI_OUT_OF_RESOURCES",
                         "onward": {}}}], "limits": {{"timeSeconds": 5}}}})",
                    service, nth, onward));
                SCOPED_TRACE(fmt::format("{} {} {}", service, nth, onward));
                const sim::BootResult result = boot.PowerOn();
                const bool entryFailed =
                    std::string_view(service) == "InstallMultipleProtocolInterfaces" && nth == 1;
                EXPECT_EQ(result.reason,
                          entryFailed ? sim::EndReason::Halted : sim::EndReason::TimeLimit);
            }
        }
    }
}

} // namespace kelm::test
