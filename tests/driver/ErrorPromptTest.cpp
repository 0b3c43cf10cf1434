// The end of POST as people meet it: the messages, the prompt with its keys, the codes that stay
// behind, and the language of it all.

#include "core/DriverState.h"
#include "library/firmware/Services.h"
#include "post/Languages.h"
#include "post/PostDisplay.h"
#include "post/PostMessages.h"
#include "post/RememberedCodes.h"
#include "post/ShowPostMessages.h"
#include "sim/firmware/Clock.h"
#include "sim/siblings/IpmiTransport.h"
#include "tests/driver/OptionMachine.h"
#include "tests/driver/PostMachine.h"

namespace kelm::test {

// ---- Prompt

TEST(ErrorPrompt, TheTypesAndTheSettingDecideOnPromptPauseOrStop) {
    struct Row {
        std::vector<UINT32> types;
        const char* errPrompt;
        int manufacturing;
        enum { Nothing, Prompt, Pause, Stop } outcome;
        std::u16string code1 = u"0", code2 = u"0";
    };
    const Row rows[] = {
        {{2, 2, 3}, "Enabled", 0, Row::Prompt, u"UEFI9002", u"UEFI9002"},
        {{2, 3, 1}, "Disabled", 0, Row::Prompt, u"UEFI9002", u"UEFI9003"},
        {{2}, "Disabled", 0, Row::Nothing, u"UEFI9002"},
        {{2, 1}, "Disabled", 0, Row::Pause, u"UEFI9002"},
        {{3}, "Enabled", 1, Row::Nothing, u"UEFI9003"},
        {{3, 1}, "Enabled", 2, Row::Pause, u"UEFI9003"},
        {{2}, "", 0, Row::Prompt, u"UEFI9002"}, // a setting that is not "Disabled"
        {{1, 5}, "Enabled", 0, Row::Pause},
        {{}, "Enabled", 0, Row::Nothing},
        {{4, 2}, "Enabled", 0, Row::Stop, u"UEFI9002"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(
            fmt::format("{} {} {}", fmt::join(row.types, ","), row.errPrompt, row.manufacturing));
        std::uint64_t took = 0;
        std::u16string code1, code2;
        const Shown run =
            InPost(PostMachine(
                       fmt::format(R"("attributes": {{"ErrPrompt": "{}", "F1F2ErrCode1": "UEFI0001",
                                   "F1F2ErrCode2": "UEFI0002"}},
                                   "manufacturing": {{"mode": {}}},
                                   "keys": [{{"at": 20000, "key": "F1"}}])",
                                   row.errPrompt, row.manufacturing)),
                   [&](sim::Platform& platform) {
                       for (const UINT32 type : row.types) {
                           EXPECT_EQ(RegisterPostMessage(9000 + type), EFI_SUCCESS);
                       }
                       const std::uint64_t start = platform.clock->Now();
                       const std::size_t blocks = platform.arena->LiveBlocks().size();
                       static_cast<void>(BdsProcessPostErrors(true));
                       EXPECT_EQ(platform.arena->LiveBlocks().size(), blocks);
                       took = platform.clock->Now() - start;
                       code1 = Setting(platform, u"F1F2ErrCode1");
                       code2 = Setting(platform, u"F1F2ErrCode2");
                   });
        std::string expected;
        for (const UINT32 type : row.types) {
            expected += fmt::format("\n\rUEFI900{}: Number {}.", type, type);
        }
        EXPECT_TRUE(run.Screen().starts_with(expected)) << run.Screen();
        const std::string after = run.Screen().substr(expected.size());
        EXPECT_EQ(run.Prompted(), row.outcome == Row::Prompt);
        switch (row.outcome) {
        case Row::Nothing:
            EXPECT_EQ(after, "");
            EXPECT_LT(took, kSecond);
            break;
        case Row::Prompt:
            EXPECT_TRUE(after.starts_with("\n\rAvailable Actions:\r\n")) << after;
            EXPECT_GT(took, 19 * kSecond);
            EXPECT_EQ(run.result.screen, std::vector<std::string>{}) << "cleared";
            break;
        case Row::Pause:
            EXPECT_EQ(after, "\n\r........................\n\r");
            EXPECT_GE(took, 5 * kSecond);
            EXPECT_LT(took, 6 * kSecond);
            break;
        case Row::Stop:
            EXPECT_EQ(after, "\n\rSystem has halted due to critical issue(s)!");
            EXPECT_EQ(run.result.reason, sim::EndReason::Halted);
            EXPECT_EQ(took, 0u) << "does not come back";
            continue;
        }
        EXPECT_EQ(code1, row.code1);
        EXPECT_EQ(code2, row.code2);
    }
}

TEST(ErrorPrompt, AFatalOneIsWhiteOnBlue) {
    const Shown run = InPost(PostMachine(), [](sim::Platform&) {
        RegisterPostMessage(9004);
        BdsShowPostMessages();
    });
    // What the console was given, in order.
    std::vector<std::string> given;
    for (const sim::Json& event : run.trace.Events()) {
        if (event.at("event") == "screen-attribute") {
            given.push_back(fmt::format("{:02X}", event.at("value").get<int>()));
        } else if (event.at("event") == "screen") {
            given.push_back(event.at("text"));
        }
    }
    EXPECT_EQ(given, (std::vector<std::string>{"1F", "\n\r", "UEFI9004: Number 4.", "07"}));
}

TEST(ErrorPrompt, ThePromptTakesTheKeysThatItOffersAndNoOthers) {
    struct Row {
        bool full;
        ForgelineRequest request;
        const char* machine; // more of it
        std::vector<const char*> keys;
        const char* offer;
        HotKey hotKey;
        std::uint64_t seconds; // until it was left
    };
    constexpr char kAll[] = "Available Actions:\r\nF1 to Continue and Retry Boot Order\r\n"
                            "F2 for System Setup (BIOS)\r\nF10 for Forgeline\r\n";
    constexpr char kFew[] = "Available Actions:\r\nF1 to Continue and Retry Boot Order\r\n"
                            "F2 for System Setup (BIOS)\r\nF11 for Boot Manager\n\r";
    constexpr char kOne[] = "Press F1 to continue.\n\r";
    constexpr auto kAvailable = ForgelineRequest::Available;
    const Row rows[] = {
        {true, kAvailable, "", {"a", "Esc", "F12", "F2"}, kAll, HotKey::F2Setup, 4},
        {true, ForgelineRequest::Inventory, "", {"F10"}, kAll, HotKey::F10Forgeline, 1},
        {true, kAvailable, "", {"F11"}, kAll, HotKey::F11BootManager, 1},
        {true, kAvailable, "", {"F1"}, kAll, HotKey::F12Pxe, 1}, // as it was
        {true, ForgelineRequest::NotAvailable, "", {"F10", "F11"}, kFew, HotKey::F11BootManager, 2},
        {true, ForgelineRequest::ServicePartition, "", {"F10", "F2"}, kFew, HotKey::F2Setup, 2},
        {true, kAvailable, R"("policies": {"35": 1})", {"F10", "F2"}, kFew, HotKey::F2Setup, 2},
        {true,
         kAvailable,
         R"("controller": {"info": {"f10Hidden": true}})",
         {"F10", "F2"},
         kFew,
         HotKey::F2Setup,
         2},
        {true,
         kAvailable,
         R"("variables": {"ConfigLockDetect-55E1FC65-A898-4214-A8A9-1AE839CD329A":
            {"attributes": 2, "u8": 1}})",
         {"F10", "F2"},
         kFew,
         HotKey::F2Setup,
         2},
        {true, kAvailable, R"("policies": {"22": 1})", {"a"}, kAll, HotKey::F12Pxe, 30},
        {false, kAvailable, "", {"F2", "F10", "F11", "F1"}, kOne, HotKey::F12Pxe, 4},
        {false, kAvailable, R"("policies": {"22": 1})", {}, kOne, HotKey::F12Pxe, 30},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(fmt::format("{} {} {}", row.machine, row.full, fmt::join(row.keys, " ")));
        // F1 was pressed before there was a prompt: that key does not count.
        std::string keys = R"("keys": [{"at": 0, "key": "F1"})";
        for (std::size_t i = 0; i < row.keys.size(); ++i) {
            keys +=
                fmt::format(R"(, {{"at": {}, "key": "{}"}})", 1000 + 1000 * (i + 1), row.keys[i]);
        }
        keys += "]";
        const std::string more(row.machine);
        std::uint64_t took = 0;
        HotKey hotKey = HotKey::None;
        const Shown run = InPost(PostMachine(keys + (more.empty() ? "" : ", ") + more),
                                 [&](sim::Platform& platform) {
                                     gDriver.boot.forgelineRequest = row.request;
                                     gDriver.boot.hotKey = HotKey::F12Pxe;
                                     gBS->Stall(kSecond - platform.clock->Now());
                                     RegisterPostMessage(9002);
                                     BdsProcessPostErrors(row.full);
                                     took = platform.clock->Now() - kSecond;
                                     hotKey = gDriver.boot.hotKey;
                                 });
        EXPECT_NE(run.Screen().find(row.offer), std::string::npos) << run.Screen();
        EXPECT_EQ(hotKey, row.hotKey);
        EXPECT_NEAR(double(took), double(row.seconds * kSecond), kSecond / 5.0);
    }
}

TEST(ErrorPrompt, ABootAttemptShowsOnlyWhatIsNew) {
    const Shown run = InPost(PostMachine(), [](sim::Platform& platform) {
        RegisterPostMessage(9001);
        BdsProcessPostErrors(true);
        EXPECT_EQ(platform.Get<sim::IpmiTransport>().Requests().size(), 1u);
        RegisterPostMessage(9005);
        BdsProcessPostErrors(false);
        BdsProcessPostErrors(false);
        EXPECT_EQ(platform.Get<sim::IpmiTransport>().Requests().size(), 2u);
    });
    const std::string screen = run.Screen();
    EXPECT_EQ(screen.find("UEFI9001"), screen.rfind("UEFI9001"));
    EXPECT_EQ(screen.find("UEFI9005"), screen.rfind("UEFI9005"));
    EXPECT_NE(screen.find("UEFI9005"), std::string::npos);
}

// ---- Codes that stay

TEST(RememberedCodes, TakeTheFirstFreeOrUnreadableSetting) {
    struct Row {
        const char* first; // JSON
        const char* second;
        const CHAR16* code;
        std::u16string firstAfter, secondAfter;
    };
    const Row rows[] = {
        {R"("0")", R"("0")", u"UEFI0001", u"UEFI0001", u"0"},
        {R"("UEFI0009")", R"("0")", u"UEFI0001", u"UEFI0009", u"UEFI0001"},
        {R"("UEFI0009")", R"("UEFI0008")", u"UEFI0001", u"UEFI0009", u"UEFI0008"},
        {R"("UEFI00090")", R"("0")", u"UEFI0001", u"UEFI0001", u"0"}, // too long to be read
        {R"("")", R"("0")", u"UEFI0001", u"", u"UEFI0001"},
        {R"("0")", R"("0")", u"UEFI001", u"0", u"0"}, // no code
        {R"("0")", R"("0")", nullptr, u"0", u"0"},
    };
    for (const Row& row : rows) {
        InPost(
            PostMachine(fmt::format(R"("attributes": {{"F1F2ErrCode1": {}, "F1F2ErrCode2": {}}})",
                                    row.first, row.second)),
            [&](sim::Platform& platform) {
                BdsRememberErrorCode(row.code);
                EXPECT_EQ(Setting(platform, u"F1F2ErrCode1"), row.firstAfter);
                EXPECT_EQ(Setting(platform, u"F1F2ErrCode2"), row.secondAfter);
                BdsClearErrorCodes();
                EXPECT_EQ(Setting(platform, u"F1F2ErrCode1"), u"0");
                EXPECT_EQ(Setting(platform, u"F1F2ErrCode2"), u"0");
            });
    }
}

// ---- Languages

TEST(Languages, AreEnglishWhateverStoodThere) {
    constexpr char kGlobal[] = "8BE4DF61-93CA-11D2-AA0D-00E098032B8C";
    constexpr std::string_view kPlatformCodes =
        "en-US;fr-FR;de-DE;es-ES;ja-JP;zh-Hans;en;fr;de;es;ja;zh";
    const auto hex = [](std::string_view text) { return HexOf(text) + "00"; };
    const std::string english = hex("eng");
    const std::string platformEnglish = hex("en-US");
    struct Row {
        std::string lang, platformLang; // bytes; "": there is none
        std::vector<std::string> written;
    };
    const Row rows[] = {
        {"", "", {"Lang", "PlatformLang"}},
        {english, platformEnglish, {}},
        {hex("fra"), platformEnglish, {"Lang"}},
        {english, hex("fr-FR"), {"PlatformLang"}},
        {hex("engl"), hex("en-US;fr-FR"), {"Lang", "PlatformLang"}},
        {HexOf("eng"), HexOf("en-US"), {"Lang", "PlatformLang"}},
    };
    for (const Row& row : rows) {
        std::string variables;
        for (const auto& [name, bytes] :
             {std::pair("Lang", row.lang), std::pair("PlatformLang", row.platformLang)}) {
            if (!bytes.empty()) {
                variables += fmt::format(R"({}"{}-{}": {{"hex": "{}"}})",
                                         variables.empty() ? "" : ", ", name, kGlobal, bytes);
            }
        }
        const Shown run =
            InPost(PostMachine(fmt::format(R"("variables": {{{}}})", variables)),
                   [](sim::Platform&) { EXPECT_EQ(BdsInitLanguages(true), EFI_SUCCESS); });
        std::vector<std::string> written;
        for (const sim::Json& event : run.trace.EventsOf("variable")) {
            const std::string name = event.at("name");
            const std::string data = event.at("data");
            if (name == "LangCodes") {
                EXPECT_EQ(data, hex("engfraengfra"));
                EXPECT_EQ(event.at("attributes"), 6);
            } else if (name == "PlatformLangCodes") {
                EXPECT_EQ(data, hex(kPlatformCodes));
                EXPECT_EQ(event.at("attributes"), 6);
            } else if (name.ends_with("Lang")) {
                written.push_back(name);
                EXPECT_EQ(data, name == "Lang" ? english : platformEnglish);
                EXPECT_EQ(event.at("attributes"), 7);
            }
        }
        EXPECT_EQ(written, row.written);
    }
    const Shown run = InPost(PostMachine(), [](sim::Platform&) { BdsInitLanguages(false); });
    EXPECT_EQ(run.trace.EventsOf("variable").size(), 2u) << "no lists of codes";
}

// ---- In the whole driver

TEST(ErrorPrompt, OfTheBootStopTheNextStepForAKey) {
    // Registered before BDS: shown in POST, with every key.
    DriverBoot early(R"({"postMessages": [{"number": 9002, "type": 2, "text": "Early.",
                         "registered": true}], "limits": {"keyWaitSeconds": 5}})");
    EXPECT_EQ(early.PowerOn().reason, sim::EndReason::WaitingForKey);
    EXPECT_EQ(early.StatusCodes().back(), "0x03811034");
    EXPECT_FALSE(early.Logged("[BDS] Process Hot Keys\n", 0x440));

    // A refused image: told at once, and again as a message of the next boot attempt.
    const std::u16string disk = u"PciRoot(0x2)/Pci(0x2,0x0)/Pci(0x0,0x0)/Scsi(0xEF,0x0)";
    const auto machine = [](std::string_view payload, std::string_view rest) {
        return fmt::format(
            R"({{"devices": {{"system-disk": {{"partitions": [{{"number": 1,
                 "signature": "6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6", "start": 2048,
                 "blocks": 1048576, "files": {{"\\a.efi": {{"payload": "{}"}}}}}}]}}}},
                 "attributes": {{"BootSeqRetry": "Disabled"}}, "limits": {{"keyWaitSeconds": 5}},
                 "variables": {{{}}}{}}})",
            payload, OptionVariables({{std::u16string(kPartition) + u"/\\a.efi", u"The image"}}),
            rest);
    };
    DriverBoot refused(machine(
        "failure", fmt::format(R"(, "security": {{"refuse": ["{}"]}})", sim::ToUtf8(disk))));
    refused.PowerOn();
    ASSERT_FALSE(refused.Events("post-message").empty());
    EXPECT_EQ(refused.Events("post-message")[0].at("number"), 56);
    const std::string text = refused.Events("post-message")[0].at("text");
    EXPECT_TRUE(text.starts_with("UEFI0073: Unable to boot ") &&
                text.ends_with("The image because of the Secure Boot policy."))
        << text;
    std::string screen;
    for (const sim::Json& event : refused.Events("screen")) {
        screen += event.at("text").get<std::string>();
    }
    EXPECT_LT(screen.find("Boot Failed: "), screen.rfind("because of the Secure Boot policy."));

    DriverBoot hanging(machine("hang", ""));
    sim::ApplySetting(hanging.server.machine, "limits.timeSeconds=1000");
    EXPECT_EQ(hanging.PowerOn().reason, sim::EndReason::ResetCold);
    ASSERT_FALSE(hanging.Events("post-message").empty());
    EXPECT_EQ(hanging.Events("post-message")[0].at("number"), 232);
}

} // namespace kelm::test
