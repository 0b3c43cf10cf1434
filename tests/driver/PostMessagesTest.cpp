// POST messages on their way: how they are registered, what the controller's log gets of them, and
// texts and lists that nobody should have made.

#include "post/PostMessages.h"
#include "kelm/BoardInfoProtocol.h"
#include "kelm/PostMessageProtocol.h"
#include "library/firmware/DevicePathPool.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"
#include "post/PostDisplay.h"
#include "post/PostLog.h"
#include "post/PostMessageTable.h"
#include "post/ShowPostMessages.h"
#include "sim/siblings/Board.h"
#include "sim/siblings/IpmiTransport.h"
#include "sim/siblings/PostMessages.h"
#include "sim/siblings/SmaTransport.h"
#include "tests/driver/PostMachine.h"

namespace kelm::test {

namespace {

// The only message that waits in the service's list.
RegisteredPostMessage& FirstRecord() {
    auto* service = FindProtocol<KelmPostMessageProtocol>();
    return *reinterpret_cast<RegisteredPostMessage*>(
        reinterpret_cast<UINT8*>(service->GetPostMessageList()->ForwardLink) -
        offsetof(RegisteredPostMessage, Link));
}

} // namespace

// ---- The controller's log

TEST(PostMessages, ReachTheControllersLogByteForByte) {
    const auto sma = [](std::string_view identifier, std::string_view strings) {
        const auto size = static_cast<unsigned>(strings.size() + 1);
        const char head[] = {0x18, 0, char(10 + size), 0};
        const char length[] = {char(size), 0};
        return "sma " + HexOf({head, 4}) + HexOf(identifier) + HexOf({length, 2}) + HexOf(strings) +
               "00";
    };
    const auto ipmi = [](std::string_view number, std::optional<std::string_view> text) {
        const char length = text ? char(text->size() + 2) : char(0);
        return "ipmi 03" + HexOf("UEFI") + HexOf(number) + HexOf({&length, 1}) +
               (text ? HexOf(*text) + "0000" : "");
    };
    using namespace std::string_view_literals;
    struct Row {
        std::function<EFI_STATUS(const EFI_DEVICE_PATH_PROTOCOL*)> add;
        std::string entry;
    };
    const Row rows[] = {
        {[](auto*) { return RegisterPostMessageWithArgs(35, nullptr, u"DIMM A1", 2400, 3200); },
         sma("UEFI0035", "DIMM A1\0002400\0003200\0"sv)},
        {[](auto*) { return RegisterPostMessageWithArgs(102, nullptr, u"", 1, -2); },
         sma("UEFI0102", "\0001\000-2\0"sv)},
        {[](auto*) { return RegisterPostMessageWithArgs(325, nullptr, u"a b", u"c d", u"e"); },
         sma("UEFI0325", "a b\0c\0d e\0"sv)},                // only the first one may hold blanks
        {[](auto*) { return RegisterPostMessage(35); }, ""}, // no strings: refused
        {[](auto*) { return RegisterPostMessageWithArgs(67, nullptr, u"DIMM \u00E4"); },
         sma("UEFI0067", "DIMM ?\0"sv)},
        {[](auto*) { return RegisterPostMessageWithArgs(350, nullptr, u"A", u"B"); },
         sma("UEFI0350", "A\0B\0"sv)},
        {[](auto*) { return RegisterPostMessageWithArgs(89, nullptr, "ASCII"); },
         sma("UEFI0089", "ASCII\0"sv)},
        {[](auto*) { return RegisterPostMessage(357); }, sma("UEFI0357", "")},
        {[](auto* card) { return RegisterPostMessageWithArgs(55, card, u"x"); },
         sma("UEFI0055", "PCIe Slot 3\0"sv)},
        {[](auto*) { return RegisterPostMessage(55); }, sma("UEFI0055", "(Unknown Device)\0"sv)},
        {[](auto*) { return RegisterPostMessage(9001); }, ipmi("9001", std::nullopt)},
        {[](auto*) { return RegisterPostMessageWithArgs(245, nullptr, u"1"); }, ipmi("0245", "1")},
        {[](auto*) { return RegisterPostMessageWithArgs(277, nullptr, u"left", u"right"); },
         ipmi("0277", "left")},
        {[](auto* card) { return RegisterPostMessageWithArgs(9001, card, u"arg"); },
         ipmi("9001", "PCIe Slot 3")},
        {[](auto*) {
             return RegisterPostMessageWithArgs(9001, nullptr, u"exactly eighteen..and more");
         },
         ipmi("9001", "exactly eighteen..")},
        {[](auto*) { return RegisterPostMessage(9010); }, ""}, // not for the log
        {[](auto*) { return RegisterPostMessage(9011); }, ""}, // no number in its identifier
    };
    InPost(
        PostMachine(R"("postMessages": [{"number": 9010, "type": 2, "noLog": true},
                                       {"number": 9011, "identifier": "UEFI00x1"}])"),
        [&](sim::Platform& platform) {
            const auto card = DevicePathOfText(u"PciRoot(0x0)/Pci(0x3,0x0)/Pci(0x1,0x0)");
            auto& smaRequests = platform.Get<sim::SmaTransport>().Requests();
            auto& ipmiRequests = platform.Get<sim::IpmiTransport>().Requests();
            for (const Row& row : rows) {
                const std::size_t smaBefore = smaRequests.size();
                const std::size_t ipmiBefore = ipmiRequests.size();
                EXPECT_EQ(row.add(card.get()), EFI_SUCCESS);
                EXPECT_EQ(BdsShowPostMessages(), EFI_SUCCESS);
                std::string sent;
                for (std::size_t i = smaBefore; i < smaRequests.size(); ++i) {
                    const auto& payload = smaRequests[i].payload;
                    const char head[] = {char(smaRequests[i].command), 0, char(payload.size()), 0};
                    sent += "sma " + HexOf({head, 4}) + sim::ToHex(payload.data(), payload.size());
                }
                for (std::size_t i = ipmiBefore; i < ipmiRequests.size(); ++i) {
                    const auto& request = ipmiRequests[i];
                    EXPECT_EQ(request.netFunction, 0x30);
                    EXPECT_EQ(request.command, 0xAA);
                    sent += "ipmi " + sim::ToHex(request.data.data(), request.data.size());
                }
                EXPECT_EQ(sent, row.entry);
            }
        });
}

TEST(PostMessages, TheLogRefusesWhatDoesNotFitAnEntry) {
    InPost(PostMachine(R"("controller": {"ipmi": [
               {"netfn": "0x30", "command": "0xAA", "request": "035545464930303031",
                "response": "02", "status": "EFI_DEVICE_ERROR"},
               {"netfn": "0x30", "command": "0xAA", "request": "035545464930303032",
                "response": "01", "status": "EFI_DEVICE_ERROR"},
               {"netfn": "0x30", "command": "0xAA", "request": "035545464930303033",
                "response": "020000000000"}]})"),
           [](sim::Platform& platform) {
               std::u16string strings(253, u'x'); // 253 + 1 + 1 = 255
               EXPECT_EQ(SmaSendLogEntry(u"UEFI0001", strings.c_str(), 1), EFI_SUCCESS);
               strings += u'x';
               EXPECT_EQ(SmaSendLogEntry(u"UEFI0001", strings.c_str(), 1), EFI_INVALID_PARAMETER);
               strings.assign(100000, u'x');
               EXPECT_EQ(SmaSendLogEntry(u"UEFI0001", strings.c_str(), 3), EFI_INVALID_PARAMETER);
               EXPECT_EQ(SmaSendLogEntry(u"UEFI0001", nullptr, 1), EFI_INVALID_PARAMETER);
               EXPECT_EQ(SmaSendLogEntry(u"UEFI0001", nullptr, 0), EFI_SUCCESS);
               EXPECT_EQ(SmaSendLogEntry(u"UE", nullptr, 0), EFI_SUCCESS);
               EXPECT_EQ(SmaSendLogEntry(nullptr, nullptr, 0), EFI_INVALID_PARAMETER);
               EXPECT_EQ(platform.Get<sim::SmaTransport>().Requests().size(), 3u);

               EXPECT_EQ(IpmiSendLogEntry(10000, nullptr), EFI_INVALID_PARAMETER);
               EXPECT_EQ(IpmiSendLogEntry(9999, nullptr), EFI_SUCCESS);
               EXPECT_EQ(IpmiSendLogEntry(1, u"there already"), EFI_SUCCESS);
               EXPECT_EQ(IpmiSendLogEntry(2, u"failed"), EFI_DEVICE_ERROR);
               EXPECT_EQ(IpmiSendLogEntry(3, u"more than was asked for"), EFI_BUFFER_TOO_SMALL);
               EXPECT_EQ(GetEemiNumber(u"UEFI0378"), 378u);
               for (const CHAR16* bad : {u"UEFI", u"BIOS0001", u"uefi0001", u"UEFI-001", u""}) {
                   EXPECT_EQ(GetEemiNumber(bad), kNoEemiNumber);
               }
           });
}

// ---- Texts

TEST(PostMessages, TextsNameTheDeviceAndTheControllerAsPeopleKnowThem) {
    const char messages[] = R"("postMessages": [
        {"number": 1, "type": 5, "text": "<devicename> and <devicename>", "secondText": " [2]"},
        {"number": 2, "type": 5, "text": "T"},
        {"number": 3, "type": 5, "text": "Nimbor %s NimNimbor, nimbor", "secondText": " Nimbor"}])";
    for (const unsigned type : {8u, 4u, 0u}) {
        const bool own = type == 8;
        const Shown run = InPost(PostMachine(messages, type), [&](sim::Platform& platform) {
            const auto card = DevicePathOfText(sim::ToUcs2(kDevice).c_str());
            const auto other = DevicePathOfText(u"PciRoot(0x5)");
            RegisterPostMessageWithArgs(1, card.get(), u"");
            RegisterPostMessageWithArgs(1, other.get(), u"");
            RegisterPostMessageWithArgs(1, nullptr, u"an argument");
            RegisterPostMessageWithArgs(2, card.get(), u""); // the name is shorter than a token
            RegisterPostMessageWithArgs(3, nullptr, u"Nimbor");
            const std::size_t blocks = platform.arena->LiveBlocks().size();
            BdsShowPostMessages();
            EXPECT_EQ(platform.arena->LiveBlocks().size(), blocks);
        });
        EXPECT_EQ(run.Screen(),
                  "\n\rUEFI0001: PCIe Slot 3 and <devicename> [2]\n"
                  "\n\rUEFI0001: <devicename> and <devicename> [2]"
                  "\n\rUEFI0001: <devicename> and <devicename> [2]"
                  "\n\rUEFI0002: T\n" +
                      std::string(own ? "\n\rUEFI0003: Nimbor Nimbor NimNimbor, nimbor Nimbor"
                                      : "\n\rUEFI0003: BMC BMC NimBMC, nimbor BMC"));
        int modified = 0;
        for (const sim::Json& event : run.trace.EventsOf("debug")) {
            modified +=
                event.at("text") == "Modified FinalMsg = UEFI0003: BMC BMC NimBMC, nimbor BMC\r\n";
        }
        EXPECT_EQ(modified, own ? 0 : 1);
    }
    const Shown without = InPost(
        PostMachine(std::string(messages) + R"(, "missing": ["KelmDeviceLocationProtocol"])"),
        [](sim::Platform& platform) {
            const auto card = DevicePathOfText(sim::ToUcs2(kDevice).c_str());
            RegisterPostMessageWithArgs(1, card.get(), u"slot");
            BdsShowPostMessages();
            EXPECT_EQ(platform.Get<sim::IpmiTransport>().Requests().back().data.size(), 16u)
                << "the argument stands in for the name";
        });
    EXPECT_EQ(without.Screen(), "\n\rUEFI0001: <devicename> and <devicename> [2]");
}

TEST(PostMessages, ThePlatformChoosesAmongRowsOfOneNumber) {
    const std::string machine = PostMachine(R"("postMessages": [
        {"number": 7, "platforms": 2, "identifier": "UEFI0072", "text": "two"},
        {"number": 7, "platforms": 1, "identifier": "UEFI0071", "text": "one"},
        {"number": 7, "platforms": 3, "identifier": "UEFI0073", "text": "three"},
        {"number": 8, "platforms": 0, "text": "none"}])");
    InPost(machine, [](sim::Platform& platform) {
        EXPECT_EQ(Ucs2View(GetPostMessageIdentifier(7).get()), u"UEFI0071");
        platform.Get<sim::BoardInfo>().features.insert(kBoardFeaturePostTextSet2);
        EXPECT_EQ(Ucs2View(GetPostMessageIdentifier(7).get()), u"UEFI0072");
        EXPECT_FALSE(GetPostMessageIdentifier(8));
        EXPECT_EQ(RegisterPostMessage(8), EFI_NOT_FOUND);
        EXPECT_EQ(RegisterPostMessageWithArgs(123456, nullptr, u"x"), EFI_NOT_FOUND);
        // Whatever BDS registers has a text.
        for (const UINT32 number :
             {36, 56, 57, 66, 71, 106, 232, 244, 249, 261, 346, 347, 362, 370, 373, 378, 383}) {
            EXPECT_TRUE(GetPostMessageIdentifier(number)) << number;
        }
        EXPECT_TRUE(platform.Get<sim::PostMessages>().Registered().empty());
    });
    InPost(PostMachine(R"("missing": ["KelmPostMessageProtocol"])"), [](sim::Platform&) {
        EXPECT_EQ(RegisterPostMessage(9001), EFI_NOT_FOUND);
        EXPECT_EQ(RegisterPostMessageWithArgs(9001, nullptr, u"x"), EFI_NOT_FOUND);
        EXPECT_FALSE(GetPostMessageIdentifier(9001));
        EXPECT_EQ(BdsProcessPostErrors(true), EFI_SUCCESS);
    });
}

TEST(PostMessages, HostileTextsStayWithinTheirBuffers) {
    const char machine[] = R"("postMessages": [
        {"number": 1, "type": 5, "text": "%s %s %d %n %q %99999s %"},
        {"number": 2, "type": 5, "text": "%s", "identifier": "A much longer identifier"},
        {"number": 35, "type": 5, "text": "%a%a%d"},
        {"number": 4, "type": 5, "identifier": ""}])";
    InPost(PostMachine(machine), [](sim::Platform& platform) {
        const std::u16string endless(5000, u'y');
        const auto& registered = platform.Get<sim::PostMessages>().Registered();
        EXPECT_EQ(RegisterPostMessageWithArgs(1, nullptr, u"%s%s%n"), EFI_SUCCESS);
        EXPECT_EQ(registered.back().text, u"UEFI0001: %s%s%n <bad argument> <bad argument> n q "
                                          u"<bad argument> ");
        EXPECT_EQ(RegisterPostMessageWithArgs(2, nullptr, endless.c_str()), EFI_SUCCESS);
        EXPECT_EQ(registered.back().text, u"A much longer identifier: " + endless.substr(0, 255));
        EXPECT_EQ(registered.back().identifier, u"A much l");
        EXPECT_EQ(RegisterPostMessageWithArgs(2, nullptr), EFI_SUCCESS);
        EXPECT_EQ(RegisterPostMessageWithArgs(2, nullptr, static_cast<const CHAR16*>(nullptr)),
                  EFI_SUCCESS);
        EXPECT_EQ(RegisterPostMessageWithArgs(2, nullptr, 17), EFI_SUCCESS);
        for (const std::size_t length : {0u, 200u, 252u, 253u, 254u, 255u, 256u, 5000u}) {
            EXPECT_EQ(
                RegisterPostMessageWithArgs(35, nullptr, endless.substr(0, length).c_str(), 1, 2),
                EFI_SUCCESS);
        }
        EXPECT_EQ(RegisterPostMessageWithArgs(35, nullptr, "ASCII", u"no number", "none"),
                  EFI_SUCCESS);
        EXPECT_EQ(RegisterPostMessage(4), EFI_SUCCESS);
        EXPECT_EQ(BdsShowPostMessages(), EFI_SUCCESS);
        EXPECT_EQ(platform.arena->CheckAll(), 0u);
    });
}

TEST(PostMessages, EndAWalkOverABrokenListWhereItBreaks) {
    struct Row {
        void (*harm)(RegisteredPostMessage& second);
        int shown;
    };
    const Row rows[] = {
        {[](RegisteredPostMessage& second) { second.Signature ^= 1; }, 1},
        {[](RegisteredPostMessage& second) { second.Link.ForwardLink = nullptr; }, 2},
        {[](RegisteredPostMessage& second) { second.Link.ForwardLink = &second.Link; }, 4096},
        {[](RegisteredPostMessage& second) { second.FinalText = nullptr; }, 3},
        {[](RegisteredPostMessage& second) { second.Identifier = nullptr; }, 3},
    };
    for (const Row& row : rows) {
        UINTN failures = 0;
        const Shown run = InPost(PostMachine(), [&](sim::Platform&) {
            for (int i = 0; i < 3; ++i) {
                RegisterPostMessage(9002);
            }
            auto& second = *reinterpret_cast<RegisteredPostMessage*>(
                reinterpret_cast<UINT8*>(FirstRecord().Link.ForwardLink) -
                offsetof(RegisteredPostMessage, Link));
            row.harm(second);
            failures = BdsShowPostMessages() == EFI_COMPROMISED_DATA;
        });
        EXPECT_EQ(failures, row.shown == 3 ? 0u : 1u);
        int shown = 0;
        for (const sim::Json& event : run.trace.EventsOf("screen")) {
            shown += event.at("text") == "\n\r";
        }
        EXPECT_EQ(shown, row.shown);
    }
}

TEST(PostMessages, SurviveEveryFailingAllocation) {
    unsigned survived = 0;
    for (unsigned nth = 1; nth <= 60; ++nth) {
        InPost(PostMachine("", 4), [&](sim::Platform& platform) {
            const auto card = DevicePathOfText(sim::ToUcs2(kDevice).c_str());
            platform.arena->SetFailure({.nth = nth});
            const EFI_STATUS plain = RegisterPostMessage(9002);
            const EFI_STATUS full = RegisterPostMessageWithArgs(35, card.get(), u"A", 1, 2);
            const EFI_STATUS transient = RegisterPostMessageWithArgs(9005, nullptr, u"A");
            for (const EFI_STATUS status : {plain, full, transient}) {
                EXPECT_TRUE(status == EFI_SUCCESS || status == EFI_OUT_OF_RESOURCES);
                survived += EFI_ERROR(status) ? 0 : 1;
            }
            const std::size_t blocks = platform.arena->LiveBlocks().size();
            BdsShowPostMessages();
            EXPECT_EQ(platform.arena->LiveBlocks().size(), blocks);
        });
    }
    EXPECT_GT(survived, 120u);
}

} // namespace kelm::test
