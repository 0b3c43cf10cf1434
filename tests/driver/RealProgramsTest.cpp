// Programs that others wrote, from the disk of the server: each runs in it as on a real one, writes
// on its console and returns, and the boot goes on as its status asks.

#include "tests/driver/OptionBytes.h"

#include <filesystem>
#include <fmt/format.h>

namespace kelm::test {

namespace {

constexpr char kPartition[] = "HD(1,GPT,6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6,0x800,0x100000)";
constexpr char kGlobal[] = "8BE4DF61-93CA-11D2-AA0D-00E098032B8C";

std::string OptionHex(std::u16string_view description, const std::string& file) {
    std::u16string path;
    for (const char character : kPartition + ("/" + file)) {
        path.push_back(char16_t(character));
    }
    return fmt::format("{:02X}",
                       fmt::join(OptionBytes(LOAD_OPTION_ACTIVE, description, PathOf(path)), ""));
}

// The default machine with `program` as the first boot option and an operating system as the next.
std::string MachineWithProgram(const std::string& program, const std::string& rest) {
    return fmt::format(
        R"({{"devices": {{"system-disk": {{"partitions": [
            {{"number": 1, "signature": "6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6", "start": 2048,
              "blocks": 1048576, "files": {{
                "\\EFI\\BOOT\\BOOTX64.EFI": {{"host": "{}"}},
                "\\EFI\\kelm-os\\loader.efi": {{"payload": "os-loader"}}}}}}]}}}},
            "variables": {{"BootOrder-{}": {{"hex": "00000100"}},
                           "Boot0000-{}": {{"hex": "{}"}}, "Boot0001-{}": {{"hex": "{}"}}{}}}}})",
        program, kGlobal, kGlobal, OptionHex(u"A program", "\\EFI\\BOOT\\BOOTX64.EFI"), kGlobal,
        OptionHex(u"Kelm OS", "\\EFI\\kelm-os\\loader.efi"), rest);
}

struct ProgramCase {
    const char* name;
    const char* file;
    const char* rest;   // more variables
    const char* writes; // a piece of what it writes
    const char* status; // what it returns
    const char* next;   // what is started after it
    sim::EndReason end;
    bool alone = false; // without NICs, and without tables of the firmware, which are not there
};

class RealProgramsTest : public testing::TestWithParam<ProgramCase> {};

} // namespace

TEST_P(RealProgramsTest, WritesReturnsAndTheBootGoesOn) {
    const ProgramCase& program = GetParam();
    if (!std::filesystem::exists(program.file)) {
        GTEST_SKIP() << program.file << " is not installed";
    }
    sim::Json machine = sim::Json::parse(MachineWithProgram(program.file, program.rest));
    if (program.alone) {
        machine["hobs"] = sim::Json::array();
        for (const char* nic : {"nic1", "nic2", "nic3", "nic4"}) {
            machine["devices"][nic] = nullptr;
        }
    }
    DriverBoot boot(machine.dump());
    const sim::BootResult result = boot.PowerOn();
    EXPECT_EQ(result.reason, program.end);

    std::vector<std::string> steps;
    for (const sim::Json& event : boot.Events("image")) {
        const std::string path = event.at("path");
        if (path.find('\\') != path.npos && event.at("op") != "load") {
            steps.push_back(fmt::format("{} {} {}", event.at("op").get<std::string>(),
                                        path.substr(path.rfind('\\') + 1),
                                        event.at("status").get<std::string>()));
        }
    }
    ASSERT_GE(steps.size(), 3u);
    steps.resize(3);
    EXPECT_EQ(steps, (std::vector<std::string>{"start BOOTX64.EFI EFI_SUCCESS",
                                               fmt::format("return BOOTX64.EFI {}", program.status),
                                               fmt::format("start {} EFI_SUCCESS", program.next)}));

    std::string written;
    for (const sim::Json& event : boot.Events("screen")) {
        written += event.at("text").get<std::string>();
    }
    EXPECT_NE(written.find(program.writes), written.npos) << written;
}

INSTANTIATE_TEST_SUITE_P(
    Installed, RealProgramsTest,
    testing::Values(
        // Without firmware settings to offer it has no entry to show. The boot that returned
        // success starts again from the first option.
        ProgramCase{"Loader", "/usr/lib/systemd/boot/efi/systemd-bootx64.efi",
                    R"(, "OsIndicationsSupported-8BE4DF61-93CA-11D2-AA0D-00E098032B8C":
                        {"attributes": 6, "u64": 0})",
                    "No loader found.", "EFI_SUCCESS", "BOOTX64.EFI", sim::EndReason::TimeLimit},
        ProgramCase{"NetworkBoot", "/usr/lib/ipxe/snponly.efi", "", "No more network devices",
                    "EFI_DEVICE_ERROR", "loader.efi", sim::EndReason::OsStarted},
        ProgramCase{"NetworkBootWithDrivers", "/usr/lib/ipxe/ipxe.efi", "",
                    "No more network devices", "EFI_DEVICE_ERROR", "loader.efi",
                    sim::EndReason::OsStarted, true}),
    [](const testing::TestParamInfo<ProgramCase>& tested) { return tested.param.name; });

} // namespace kelm::test
