#include "core/DriverState.h"
#include "kelm/AttributeNames.h"
#include "library/firmware/Pool.h"
#include "services/Attributes.h"
#include "services/ControllerStartup.h"
#include "services/ControllerType.h"
#include "services/IpmiTransport.h"
#include "services/PsuBootStatus.h"
#include "services/SmaJobService.h"
#include "services/SmaTransport.h"
#include "sim/siblings/AttributeService.h"
#include "sim/siblings/Controller.h"
#include "tests/driver/DriverBoot.h"

#include <gtest/gtest.h>

namespace kelm::test {

namespace {

// Runs `body` and expects that it leaves no memory behind.
void Check(std::string_view machine, const std::function<void(sim::Platform&)>& body) {
    const sim::BootResult result = RunInFirmware(machine, [&](sim::Platform& platform) {
        const auto before = platform.arena->LiveBlocks().size();
        body(platform);
        EXPECT_EQ(platform.arena->LiveBlocks().size(), before);
    });
    EXPECT_EQ(result.violations, std::vector<std::string>{});
}

void SetText(sim::Platform& platform, std::u16string_view text) {
    std::vector<std::uint8_t> bytes((text.size() + 1) * 2);
    std::memcpy(bytes.data(), text.data(), text.size() * 2);
    ASSERT_TRUE(platform.Get<sim::AttributeService>().Change(u"Probe", bytes));
}

EFI_STATUS ReadProbe(std::u16string& text) {
    PoolPtr<CHAR16> value;
    const EFI_STATUS status = BdsGetAttributeString(u"Probe", value.out());
    text = value ? std::u16string(value.get()) : std::u16string(u"(null)");
    return status;
}

constexpr char kProbe[] = R"({"attributes": {"Probe": "start"}})";

} // namespace

TEST(Attributes, ReadStringsOfEveryLengthAroundTheFirstRoom) {
    Check(kProbe, [](sim::Platform& platform) {
        for (const std::size_t length : {0u, 1u, 14u, 15u, 16u, 17u, 31u, 200u, 511u}) {
            const std::u16string text(length, u'x');
            SetText(platform, text);
            std::u16string read;
            EXPECT_EQ(ReadProbe(read), EFI_SUCCESS);
            EXPECT_EQ(read, text) << length;
        }
        // Raw values of odd size and without a NUL are terminated all the same.
        platform.Get<sim::AttributeService>().Change(u"Probe", {'A', 0, 'B'});
        std::u16string read;
        EXPECT_EQ(ReadProbe(read), EFI_SUCCESS);
        EXPECT_EQ(read, u"AB");

        CHAR16* string = reinterpret_cast<CHAR16*>(1);
        EXPECT_EQ(BdsGetAttributeString(nullptr, &string), EFI_INVALID_PARAMETER);
        EXPECT_EQ(string, nullptr);
        EXPECT_EQ(BdsGetAttributeString(u"Probe", nullptr), EFI_INVALID_PARAMETER);
        EXPECT_EQ(BdsGetAttributeString(u"NoSuchSetting", &string), EFI_NOT_FOUND);
        EXPECT_EQ(string, nullptr);
    });
    Check(R"({"missing": ["KelmAttributeProtocol"]})", [](sim::Platform&) {
        CHAR16* string = reinterpret_cast<CHAR16*>(1);
        EXPECT_EQ(BdsGetAttributeString(u"Probe", &string), EFI_NOT_FOUND);
        EXPECT_EQ(string, nullptr);
        EXPECT_FALSE(BdsCompareAttribute(u"Probe", u"start"));
        EXPECT_FALSE(BdsAttributeIsEnabled(u"Probe"));
        EXPECT_EQ(BdsSetAttributeString(u"Probe", u"x"), EFI_NOT_FOUND);
    });
}

TEST(Attributes, SurviveEveryFailingAllocation) {
    for (unsigned nth = 1; nth <= 4; ++nth) {
        const std::string machine = R"({"attributes": {"Probe": "start"}})";
        Check(machine, [&](sim::Platform& platform) {
            SetText(platform, std::u16string(100, u'y'));
            platform.arena->SetFailure({.nth = nth});
            std::u16string read;
            const EFI_STATUS status = ReadProbe(read);
            EXPECT_TRUE(status == EFI_SUCCESS || status == EFI_OUT_OF_RESOURCES);
            EXPECT_EQ(read.size(), status == EFI_SUCCESS ? 100u : 6u);
            platform.arena->SetFailure({});
        });
    }
}

TEST(Attributes, CompareSizeAndBytesWithinTheirRoom) {
    Check(kProbe, [](sim::Platform& platform) {
        EXPECT_TRUE(BdsCompareAttribute(u"Probe", u"start"));
        EXPECT_FALSE(BdsCompareAttribute(u"Probe", u"star"));
        EXPECT_FALSE(BdsCompareAttribute(u"Probe", u"start "));
        EXPECT_FALSE(BdsCompareAttribute(u"Probe", u"Start"));
        EXPECT_FALSE(BdsCompareAttribute(u"Probe", u"star", 8)) << "the value is longer";
        EXPECT_FALSE(BdsCompareAttribute(u"Probe", nullptr));

        const std::u16string fits(30, u'a'); // 62 bytes with its NUL
        SetText(platform, fits);
        EXPECT_TRUE(BdsCompareAttribute(u"Probe", fits.c_str()));
        const std::u16string tooLong(31, u'a');
        SetText(platform, tooLong);
        EXPECT_FALSE(BdsCompareAttribute(u"Probe", tooLong.c_str()));
        EXPECT_TRUE(BdsCompareAttribute(u"Probe", tooLong.c_str(), 64));

        platform.Get<sim::AttributeService>().Change(u"Probe", {7});
        const UINT8 seven = 7;
        EXPECT_TRUE(BdsCompareAttribute(u"Probe", &seven, 1));
        UINT8 byte = 0;
        UINT16 word = 0x5555;
        EXPECT_EQ(BdsGetAttributeByte(u"Probe", &byte), EFI_SUCCESS);
        EXPECT_EQ(byte, 7);
        EXPECT_EQ(BdsGetAttributeWord(u"Probe", &word), EFI_BAD_BUFFER_SIZE);
        EXPECT_EQ(word, 0x5555) << "written on success only";
        platform.Get<sim::AttributeService>().Change(u"Probe", {1, 2});
        EXPECT_EQ(BdsGetAttributeByte(u"Probe", &byte), EFI_BUFFER_TOO_SMALL);
        EXPECT_EQ(BdsGetAttributeWord(u"Probe", &word), EFI_SUCCESS);
        EXPECT_EQ(word, 0x0201);

        SetText(platform, u"Enabled");
        EXPECT_TRUE(BdsAttributeIsEnabled(u"Probe"));
        SetText(platform, u"Disabled");
        EXPECT_FALSE(BdsAttributeIsEnabled(u"Probe"));
    });
}

TEST(Attributes, WriteAtMostOneKibibyteOfText) {
    Check(kProbe, [](sim::Platform& platform) {
        const std::u16string most(511, u'z');
        EXPECT_EQ(BdsSetAttributeString(u"Probe", most.c_str()), EFI_SUCCESS);
        EXPECT_EQ(platform.Get<sim::AttributeService>().Text(u"Probe"), most);
        const std::u16string tooMuch(512, u'z');
        EXPECT_EQ(BdsSetAttributeString(u"Probe", tooMuch.c_str()), EFI_INVALID_PARAMETER);
        EXPECT_EQ(platform.Get<sim::AttributeService>().Text(u"Probe"), most);
        EXPECT_EQ(BdsSetAttributeString(u"Probe", nullptr), EFI_INVALID_PARAMETER);
        EXPECT_EQ(BdsSetAttributeByte(u"Probe", 9), EFI_SUCCESS);
        EXPECT_EQ(platform.Get<sim::AttributeService>().Find(u"Probe"),
                  sim::AttributeService::Value{9});
    });
}

TEST(Attributes, ReadTheSameThroughTheSecondaryReader) {
    Check(kProbe, [](sim::Platform& platform) {
        SetText(platform, std::u16string(100, u'q'));
        PoolPtr<CHAR16> value;
        EXPECT_EQ(BdsGetSecondaryAttributeString(u"Probe", value.out()), EFI_SUCCESS);
        EXPECT_EQ(std::u16string(value.get()), std::u16string(100, u'q'));
        value.reset();
        EXPECT_TRUE(BdsCompareSecondaryAttribute(u"Probe", std::u16string(100, u'q').c_str()));
        EXPECT_FALSE(BdsCompareSecondaryAttribute(u"Probe", u"q"));
        EXPECT_EQ(BdsGetSecondaryAttributeString(u"NoSuchSetting", value.out()), EFI_NOT_FOUND);
        EXPECT_FALSE(value);
    });
}

TEST(ControllerStartup, LogsEachStepThatFailsAndGoesOn) {
    struct Row {
        const char* machine;
        const char* line;
    };
    const Row rows[] = {
        {R"({"controller": {"initializeStatus": "EFI_DEVICE_ERROR"}})",
         "Error !!! BMC is not ready.\n"},
        {R"({"missing": ["KelmNimborInitializeProtocol"]})",
         "Error !!! Unable to locate KelmNimborInitializeProtocol.\n"},
        {R"({"controller": {"installIpmiStatus": "EFI_DEVICE_ERROR"}})",
         "Error !!! NimborInstallIpmi interface returns errors.\n"},
        {R"({"missing": ["KelmNimborInstallIpmiProtocol"]})",
         "Error !!! Unable to locate KelmNimborInstallIpmiProtocol.\n"},
        {R"({"missing": ["KelmNimborProtocol"]})",
         "Error !!! Unable to locate KelmNimborProtocol.\n"},
    };
    for (const Row& row : rows) {
        DriverBoot boot(row.machine);
        boot.PowerOn();
        EXPECT_TRUE(boot.Logged(row.line, 0x80000000)) << row.line;
        EXPECT_TRUE(boot.Logged("[BDS] Default Boot\n", 0x440)) << row.line;
    }
    DriverBoot healthy;
    healthy.PowerOn();
    for (const std::string& line : healthy.DebugLines()) {
        EXPECT_EQ(line.find("Error !!! "), std::string::npos) << line;
    }
}

TEST(MissingServices, AreNamedInTheLogUnlessTheServerMayLackThem) {
    struct Row {
        const char* name;
        std::size_t lines;
    };
    for (const Row& row :
         {Row{"KelmPciPostEnumerationProtocol", 1}, Row{"KelmPlatformPolicyProtocol", 1},
          Row{"KelmVamProtocol", 0}, Row{"KelmRipsProtocol", 0}, Row{"KelmAciMProtocol", 0}}) {
        DriverBoot boot(fmt::format(R"({{"missing": ["{}"]}})", row.name));
        boot.PowerOn();
        const auto line = fmt::format("Error !!! Unable to locate {}.\n", row.name);
        const std::vector<std::string> lines = boot.DebugLines();
        EXPECT_EQ(std::size_t(std::count(lines.begin(), lines.end(), line)), row.lines) << line;
        EXPECT_EQ(boot.Logged(line, 0x80000000), row.lines != 0) << line;
        EXPECT_TRUE(boot.Logged("[BDS] Default Boot\n", 0x440)) << line;
    }
}

TEST(ControllerStartup, TellsReadyToBootOnceAndClosesTheSmaInterfaceEveryTime) {
    sim::Trace trace;
    RunInFirmware(
        R"({"controller": {"info": {"ioPort": "0xCA8"}}})",
        [](sim::Platform& platform) {
            for (int attempt = 0; attempt < 2; ++attempt) {
                EXPECT_EQ(BdsNimborReadyToBoot(), EFI_SUCCESS);
                EXPECT_EQ(BdsCloseSmaInterface(), EFI_SUCCESS);
            }
            EXPECT_EQ(BdsCountControllerCommandFailure(), EFI_SUCCESS);
            EXPECT_EQ(BdsCountControllerCommandFailure(), EFI_SUCCESS);
            const KelmNimborInterface& shared = platform.Get<sim::Controller>().SharedState();
            EXPECT_EQ(shared.SmaInterfaceClosed, 1);
            EXPECT_EQ(shared.CommandFailureCount, 2);
            EXPECT_EQ(platform.Get<sim::CallBook>().Count("KelmNimborProtocol.ReadyToBoot"), 1u);
        },
        &trace);
    unsigned writes = 0;
    for (const sim::Json& event : trace.EventsOf("io")) {
        writes +=
            event.at("op") == "out8" && event.at("port") == 0xCA8 && event.at("value") == 0x7F;
    }
    EXPECT_EQ(writes, 2u);

    sim::Trace without;
    RunInFirmware(R"({"missing": ["KelmNimborInfoProtocol"]})",
                  [](sim::Platform& platform) {
                      EXPECT_EQ(BdsCloseSmaInterface(), EFI_NOT_FOUND);
                      EXPECT_EQ(platform.Get<sim::Controller>().SharedState().SmaInterfaceClosed,
                                0);
                  },
                  &without);
    EXPECT_TRUE(without.EventsOf("io").empty());
}

TEST(Transports, ExchangeBytesAsTheControllerAnswersThem) {
    const char machine[] = R"({"controller": {
        "ipmi": [{"netfn": 6, "command": 1, "request": "AA", "response": "00112233"}],
        "sma": [{"command": "0x8103", "response": "000003000000010203"},
                {"command": "0x0018", "response": "0000FF0000"},
                {"command": "0x009C", "response": "0102"}]}})";
    Check(machine, [](sim::Platform&) {
        IpmiResponse response;
        const UINT8 request[] = {0xAA};
        // The transport comes with the controller's start-up, not before.
        EXPECT_EQ(BdsSendIpmiCommand(6, 1, request, 4, response), EFI_NOT_FOUND);
        BdsStartController();
        EXPECT_EQ(BdsSendIpmiCommand(6, 1, request, 4, response), EFI_SUCCESS);
        ASSERT_EQ(response.size, 4);
        EXPECT_EQ(response.bytes[3], 0x33);
        EXPECT_EQ(BdsSendIpmiCommand(6, 1, request, 2, response), EFI_BUFFER_TOO_SMALL);
        EXPECT_EQ(response.size, 4);
        EXPECT_FALSE(response.bytes);

        UINT8 answer[9] = {};
        UINT16 received = 0;
        EXPECT_EQ(BdsSendSmaCommand("Test", "NVMe 8103h", 0x8103, {}, answer, &received),
                  EFI_SUCCESS);
        EXPECT_EQ(received, 9);
        const auto data = SmaResponseData({answer, received});
        ASSERT_EQ(data.size(), 3u);
        EXPECT_EQ(data[2], 3);
        EXPECT_EQ(BdsSendSmaCommand("Test", "Log 18h", 0x0018, {}, answer, &received), EFI_SUCCESS);
        EXPECT_TRUE(SmaResponseData({answer, received}).empty()) << "longer than it is";

        PoolPtr<UINT8> large;
        UINT32 length = 0;
        EXPECT_EQ(BdsSendSmaMultiPartCommand("Test", "Fw 9Ch", 0x009C, request, large, &length),
                  EFI_SUCCESS);
        EXPECT_EQ(length, 2u);
    });
    sim::Trace trace;
    RunInFirmware(
        R"({"missing": ["KelmNimborSmaProtocol", "KelmSmaJobProtocol"],
            "pcds": {"3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000028": {"type": "u8", "value": 8}}})",
        [](sim::Platform&) {
            UINT16 received = 0;
            EXPECT_EQ(BdsSendSmaCommand("Probe", "x", 1, {}, {}, &received), EFI_NOT_FOUND);
            UINT32 mask = 7;
            EXPECT_FALSE(BdsSmaGetPendingJobs(&mask));
            EXPECT_EQ(mask, 0u);
            EXPECT_EQ(GetBmcSupportLevel(), 8);
        },
        &trace);
    std::vector<std::string> lines;
    for (const sim::Json& event : trace.EventsOf("debug")) {
        lines.push_back(event.at("text"));
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"[Probe]: gKelmNimborSmaProtocolGuid not found\n",
                                               "Error !!! Unable to locate KelmSmaJobProtocol.\n",
                                               "[GetBmcSupportLevel] Get BmcType = 8.\n"}));
}

TEST(SmaJobs, AreReadAndRun) {
    Check(R"({"controller": {"jobs": {"pending": 5}}})", [](sim::Platform& platform) {
        UINT32 mask = 0;
        EXPECT_TRUE(BdsSmaGetPendingJobs(&mask));
        EXPECT_EQ(mask, 5u);
        EXPECT_EQ(BdsSmaProcessJob(9), EFI_SUCCESS);
        EXPECT_EQ(BdsSmaProcessJob(0x10), EFI_SUCCESS);
        EXPECT_EQ(platform.Get<sim::SmaJobs>().Processed(), (std::vector<UINT32>{9, 0x10}));
    });
}

} // namespace kelm::test
