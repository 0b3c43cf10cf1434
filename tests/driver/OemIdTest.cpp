// The OEM identity of the server: the ID module's requests, the backup of the OEM's strings, and
// the policy of a server without secure boot.

#include "boot/OemId.h"
#include "core/DriverState.h"
#include "kelm/OemIdProtocols.h"
#include "kelm/Variables.h"
#include "tests/driver/OptionBytes.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace kelm::test {

namespace {

using Names = std::vector<std::string>;

constexpr char kGlobal[] = "8BE4DF61-93CA-11D2-AA0D-00E098032B8C";

struct Branding {
    static EFI_STATUS EFIAPI Rebrand(KelmOemIdProtocol*) { return Note("rebrand"); }
    static EFI_STATUS EFIAPI Debrand(KelmOemIdProtocol*) { return Note("debrand"); }
    static EFI_STATUS EFIAPI Backup(KelmOemIdProtocol*) { return Note("backup"); }
    static EFI_STATUS Note(const char* call) {
        calls.push_back(call);
        return answer;
    }
    static inline KelmOemIdProtocol protocol = {nullptr, Rebrand, Debrand, Backup};
    static inline std::vector<const char*> calls;
    static inline EFI_STATUS answer = EFI_SUCCESS;
};

// The log of the backup: "level text" without what every line begins with.
Names BackupLog(const sim::Trace& trace) {
    constexpr std::string_view kPrefix = "[BdsPersonalityModuleOemSmbiosBackup]: ";
    Names lines;
    for (const sim::Json& event : trace.EventsOf("debug")) {
        const std::string text = event.at("text");
        EXPECT_TRUE(text.starts_with(kPrefix)) << text;
        lines.push_back(fmt::format("{:x} {}", event.at("level").get<std::uint64_t>(),
                                    text.substr(std::min(kPrefix.size(), text.size()))));
    }
    return lines;
}

} // namespace

TEST(OemId, BacksUpTheStringsOnceAndSaysHowItWent) {
    const KelmVariable& variable = kVariableOemSmbiosStringsBackup;
    const char kEntry[] = "40 Entry\n";
    const char kDone[] = "40 Exit, Status=Success\n";
    const struct {
        const char* what;
        const char* machine;
        bool installed;
        Bytes request;
        EFI_STATUS answer;
        Names log;
        std::size_t backups;
    } kCases[] = {
        {"no service",
         "{}",
         false,
         {1},
         EFI_SUCCESS,
         {kEntry, "80000000 Failed to locate PersonalityModuleBrandingProtocol\n"},
         0},
        {"no request",
         "{}",
         true,
         {},
         EFI_SUCCESS,
         {kEntry, "80000000 Error! GetVariable failed. Status=Not Found\n"},
         0},
        {"too large",
         "{}",
         true,
         {1, 0},
         EFI_SUCCESS,
         {kEntry, "80000000 Error! GetVariable failed. Status=Buffer Too Small\n"},
         0},
        {"not wanted", "{}", true, {2}, EFI_SUCCESS, {kEntry, kDone}, 0},
        {"wanted", "{}", true, {1}, EFI_SUCCESS, {kEntry, kDone}, 1},
        {"fails",
         "{}",
         true,
         {1},
         EFI_DEVICE_ERROR,
         {kEntry, "80000000 Error! BackupOemSmbiosStrings failed. Status=Device Error\n", kDone},
         1},
        {"cannot be taken back",
         R"({"faults": [{"call": "SetVariable"}]})",
         true,
         {1},
         EFI_SUCCESS,
         {kEntry, "80000000 Error! SetVariable failed. Status=Device Error\n",
          "40 Exit, Status=Device Error\n"},
         1},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.what);
        Branding::calls.clear();
        Branding::answer = row.answer;
        sim::Trace trace;
        RunClean(
            row.machine,
            [&](sim::Platform& platform) {
                if (row.installed) {
                    Serve(Branding::protocol);
                }
                if (!row.request.empty()) {
                    Store(platform, variable.name, row.request, *variable.guid);
                }
                BdsPersonalityModuleOemSmbiosBackup();
                const bool consumed = row.log.back().starts_with("40 Exit, Status=S");
                EXPECT_EQ(Stored(platform, variable.name, *variable.guid).has_value(),
                          !consumed && !row.request.empty());
            },
            &trace);
        EXPECT_EQ(BackupLog(trace), row.log);
        EXPECT_EQ(Branding::calls.size(), row.backups);
    }
}

TEST(OemId, CarriesOutTheRequestOfTheModule) {
    for (const char* request : {"", "rebrand", "debrand"}) {
        for (const bool installed : {true, false}) {
            Branding::calls.clear();
            const sim::BootResult result =
                RunInFirmware(R"({"extends": "empty"})", [&](sim::Platform&) {
                    if (installed) {
                        Serve(Branding::protocol);
                    }
                    gDriver.boot.rebrandRequested = request == std::string_view("rebrand");
                    gDriver.boot.debrandRequested = request == std::string_view("debrand");
                    BdsProcessOemId();
                });
            EXPECT_EQ(result.violations, std::vector<std::string>{});
            const bool called = installed && *request != '\0';
            EXPECT_EQ(Branding::calls.size(), called ? 1u : 0u);
            if (called && !Branding::calls.empty()) {
                EXPECT_STREQ(Branding::calls[0], request);
            }
            const std::string line =
                installed || *request == '\0'
                    ? ""
                    : fmt::format("Could not locate the OEM ID protocol needed to {} the system.",
                                  request);
            EXPECT_EQ(result.screen.empty() ? "" : result.screen[0], line);
        }
    }
}

TEST(OemId, AppliesThePolicyOfAServerWithoutSecureBoot) {
    const struct {
        const char* secureBoot;
        bool applied;
    } kCases[] = {{R"({"attributes": 6, "u8": 0})", true},
                  {R"({"attributes": 6, "u8": 1})", false},
                  {"null", false}};
    for (const auto& [secureBoot, applied] : kCases) {
        DriverBoot boot(
            fmt::format(R"({{"variables": {{"SecureBoot-{}": {}}}}})", kGlobal, secureBoot));
        EXPECT_TRUE(EndedAtThePrompt(boot.PowerOn()));
        const Names calls = boot.Calls();
        EXPECT_EQ(std::count(calls.begin(), calls.end(),
                             "KelmPlatformPolicyProtocol.ApplySecureBootOffPolicy"),
                  applied ? 1 : 0)
            << secureBoot;
    }
}

} // namespace kelm::test
