#include "sim/firmware/Sanitizer.h"
#include "tests/driver/DriverBoot.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace kelm::test {

namespace {

std::string MachineFor(std::string_view call, unsigned nth, std::string_view rest) {
    return fmt::format(R"({{"faults": [{{"call": "{}", "nth": {}, {}}}]}})", call, nth, rest);
}

// The sanitizer makes a boot a hundred times as slow.
constexpr unsigned kEveryCallUpTo = sim::kAddressSanitizer ? 30 : 100;
constexpr unsigned kStride = sim::kAddressSanitizer ? 100 : 10;

// Fails the first call of a service, the second, ... until a boot has no such call left; of the
// later calls, which come from loops over devices, only some. Returns how many boots met their
// fault.
unsigned Sweep(std::string_view call, std::string_view rest,
               const std::function<void(const sim::BootResult&)>& check) {
    unsigned met = 0;
    for (unsigned nth = 1;; nth += nth < kEveryCallUpTo ? 1 : kStride) {
        DriverBoot boot(MachineFor(call, nth, rest));
        SCOPED_TRACE(fmt::format("{} {}", call, nth));
        const sim::BootResult result = boot.PowerOn();
        if (boot.Events("fault").empty() && boot.Events("power-failure").empty()) {
            return met;
        }
        ++met;
        check(result);
    }
}

} // namespace

class FailingCalls : public testing::TestWithParam<const char*> {};

TEST_P(FailingCalls, NeitherStopTheSequenceNorBreakARule) {
    const std::string_view call = GetParam();
    for (const char* rest : {R"("status": "EFI_OUT_OF_RESOURCES")",
                             R"("status": "EFI_OUT_OF_RESOURCES", "onward": true)"}) {
        bool first = true;
        const unsigned met = Sweep(call, rest, [&](const sim::BootResult& result) {
            // Without its architectural protocol there is nothing to call.
            const bool noEntry = first && call == "InstallMultipleProtocolInterfaces";
            EXPECT_TRUE(noEntry ? result.reason == sim::EndReason::Halted
                                : EndedAtThePrompt(result));
            first = false;
        });
        EXPECT_GT(met, 0u) << call;
    }
}

INSTANTIATE_TEST_SUITE_P(Services, FailingCalls,
                         testing::Values("AllocatePool", "SetVariable", "LocateProtocol",
                                         "HandleProtocol", "InstallProtocolInterface",
                                         "InstallMultipleProtocolInterfaces", "CreateEventEx",
                                         "CalculateCrc32", "KelmAttributeProtocol.GetValue",
                                         "KelmIpmiTransportProtocol.SendCommand",
                                         "HiiDatabase.NewPackageList"));

TEST(Faults, APowerCutAtAnyWriteLeavesAStoreThatBoots) {
    unsigned cuts = 0;
    for (unsigned nth = 1;; ++nth) {
        DriverBoot boot(
            MachineFor("SetVariable", nth, R"("status": "EFI_DEVICE_ERROR", "powerCut": true)"));
        EXPECT_TRUE(boot.PowerOn().violations.empty());
        if (boot.Events("power-failure").empty()) {
            break;
        }
        ++cuts;
        DriverBoot again;
        again.server.store = boot.server.store;
        EXPECT_EQ(again.PowerOn().reason, sim::EndReason::TimeLimit);
    }
    EXPECT_GE(cuts, 3u);
}

} // namespace kelm::test
