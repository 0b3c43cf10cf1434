// The simulated siblings as a driver meets them: through their protocols, on a powered-on machine.

#include "kelm/DeviceLocationProtocol.h"
#include "kelm/EsrtInjectionProtocol.h"
#include "sim/firmware/Arena.h"
#include "sim/firmware/Clock.h"
#include "sim/firmware/VariableService.h"
#include "sim/siblings/AttributeService.h"
#include "sim/siblings/Board.h"
#include "sim/siblings/Controller.h"
#include "sim/siblings/Passwords.h"
#include "sim/siblings/PostMessages.h"
#include "sim/siblings/Reporting.h"
#include "sim/siblings/Splash.h"
#include "tests/sim/TestMachine.h"
#include "uefi/DevicePath.h"
#include "uefi/VariablePolicy.h"

#include <algorithm>
#include <cstring>

namespace sim {
namespace {

using Bytes = std::vector<UINT8>;

class Siblings : public simtest::TestMachine {};

// ---- Settings

TEST_F(Siblings, AttributesAnswerByTheSizeRulesOfBothReaders) {
    PowerOn(R"("attributes": {"Boot": "Uefi", "Raw": {"hex": "01 02 03"}})", [&](Platform& p) {
        auto* service = Find<KelmAttributeProtocol>(p);
        struct Row {
            const EFI_GUID* space;
            const CHAR16* name;
            UINTN selector;
            UINT16 room;
            EFI_STATUS status;
            UINT16 size;
        };
        const EFI_GUID* ours = &gKelmAttributeNamespaceGuid;
        const Row rows[] = {
            {ours, u"Boot", 0, 32, EFI_SUCCESS, 10},
            {ours, u"Boot", 0, 10, EFI_SUCCESS, 10},
            {ours, u"Boot", 0, 9, EFI_BUFFER_TOO_SMALL, 10},
            {ours, u"Boot", 0, 0, EFI_BUFFER_TOO_SMALL, 10},
            {ours, u"Raw", 0, 3, EFI_SUCCESS, 3},
            {ours, u"Raw", 0, 2, EFI_BUFFER_TOO_SMALL, 3},
            {ours, u"boot", 0, 32, EFI_NOT_FOUND, 32}, // names are exact
            {&gKelmAttributeProtocolGuid, u"Boot", 0, 32, EFI_NOT_FOUND, 32},
            {ours, u"Boot", 2, 32, EFI_INVALID_PARAMETER, 32},
        };
        for (const Row& row : rows) {
            UINT8 buffer[32];
            std::memset(buffer, 0xEE, sizeof(buffer));
            UINT16 size = row.room;
            EXPECT_EQ(service->GetValue(service, row.space, row.name, row.selector, &size, buffer),
                      row.status);
            EXPECT_EQ(size, row.size);
            const std::size_t written = row.status == EFI_SUCCESS ? row.size : 0;
            EXPECT_EQ(buffer[written], 0xEE) << "wrote beyond the value";
        }
        const CHAR16 off[] = u"Off";
        EXPECT_EQ(service->SetValue(service, ours, u"Boot", 0, sizeof(off), off),
                  EFI_INVALID_PARAMETER);
        EXPECT_EQ(service->SetValue(service, ours, u"Boot", 8, sizeof(off), off), EFI_SUCCESS);
        EXPECT_EQ(p.Get<AttributeService>().Text(u"Boot"), u"Off");

        auto* reader = Find<KelmSecondaryAttributeReader>(p);
        UINT16 size = 0;
        void* value = nullptr;
        EXPECT_EQ(reader->GetValue(reader, ours, u"No", &size, &value), EFI_NOT_FOUND);
        EXPECT_EQ(value, nullptr);
        ASSERT_EQ(reader->GetValue(reader, ours, u"Boot", &size, &value), EFI_SUCCESS);
        EXPECT_EQ(std::memcmp(value, off, sizeof(off)), 0);
        EXPECT_EQ(p.arena->FreePool(value), EFI_SUCCESS);

        UINT16 current = 10;
        CHAR16 start[5];
        EXPECT_EQ(service->GetValue(service, ours, u"Boot", 1, &current, start), EFI_SUCCESS);
        EXPECT_STREQ(ToUtf8(start).c_str(), "Uefi") << "the start value stays readable";
    });
    const auto events = Traced("attribute");
    EXPECT_EQ(events[0], R"({"op":"get","name":"Boot","text":"Uefi","status":"EFI_SUCCESS"})");
    EXPECT_EQ(events[4], R"({"op":"get","name":"Raw","data":"010203","status":"EFI_SUCCESS"})");
    EXPECT_EQ(events[8], R"({"op":"set","name":"Boot","text":"Off","status":"EFI_SUCCESS"})");
}

TEST_F(Siblings, ChangedAttributesSurvivePowerOnsUntilTheFileChangesThem) {
    const CHAR16 changed[] = u"Changed";
    const auto textOf = [&](const char* sections, const CHAR16* name) {
        std::optional<std::u16string> text;
        PowerOn(sections, [&](Platform& p) { text = p.Get<AttributeService>().Text(name); });
        return text;
    };
    PowerOn(R"("attributes": {"A": "1", "B": "2"})", [&](Platform& p) {
        auto* service = Find<KelmAttributeProtocol>(p);
        for (const CHAR16* name : {u"A", u"New"}) {
            EXPECT_EQ(service->SetValue(service, &gKelmAttributeNamespaceGuid, name, 8,
                                        sizeof(changed), changed),
                      EFI_SUCCESS);
        }
    });
    EXPECT_EQ(textOf(R"("attributes": {"A": "1", "B": "3"})", u"A"), changed);
    EXPECT_EQ(textOf(R"("attributes": {"A": "1", "B": "3"})", u"B"), u"3");
    EXPECT_EQ(textOf("", u"New"), changed);
    EXPECT_EQ(textOf(R"("attributes": {"A": "other"})", u"A"), u"other");

    ASSERT_EQ(server.store.All().size(), 1u);
    StoredVariable broken = server.store.All().front();
    broken.data = {'{', '"', 'A', '"', ':', '{', '"', 'v'};
    server.store.Set(broken);
    EXPECT_EQ(textOf(R"("attributes": {"A": "1"})", u"A"), u"1");
}

// ---- The board and the screen

TEST_F(Siblings, BoardCpldAndPoliciesAnswerAsTheFileSays) {
    PowerOn(R"("board": {"vendor": "Kelm", "version": [3, 2, 1], "chassisCode": 30},
               "policies": {"11": 1, "12": 7}, "cpld": {"registers": {"0x201": "0x90"}})",
            [&](Platform& p) {
                const KelmBoardRecord* record = nullptr;
                auto* board = Find<KelmBoardInfoProtocol>(p);
                ASSERT_EQ(board->GetBoardRecord(board, &record), EFI_SUCCESS);
                EXPECT_EQ(ToUtf8(record->FirmwareVendor), "Kelm");
                const auto* bytes = reinterpret_cast<const UINT8*>(record);
                EXPECT_EQ(Bytes(bytes + 83, bytes + 88), (Bytes{3, 2, 1, 30, 0}));
                EXPECT_TRUE(board->IsJumperSet(board, kBoardJumperPassword));

                auto* policy = Find<KelmPlatformPolicyProtocol>(p);
                EXPECT_TRUE(policy->IsForgelineBlocked(policy));
                EXPECT_FALSE(policy->IsF10Hidden(policy));
                auto* unnamed = reinterpret_cast<UINT64(EFIAPI*)(KelmPlatformPolicyProtocol*)>(
                    policy->Reserved12);
                EXPECT_EQ(unnamed(policy), 7u);
                EXPECT_EQ(p.Get<PlatformPolicy>().calls[11], 1u);

                auto* cpld = Find<KelmCpldProtocol>(p);
                UINT8 value = 0;
                EXPECT_EQ(cpld->ReadRegister(cpld, 0x201, &value), EFI_SUCCESS);
                EXPECT_EQ(value, 0x90);
                EXPECT_EQ(cpld->WriteRegister(cpld, 0x201, 0x80), EFI_SUCCESS);
                auto* lock = Find<KelmCpldLockProtocol>(p);
                EXPECT_EQ(lock->GetLockState(lock), EFI_SUCCESS);
                EXPECT_EQ(lock->Lock(lock), EFI_SUCCESS);
                EXPECT_EQ(lock->GetLockState(lock), EFI_UNSUPPORTED);
                EXPECT_EQ(cpld->WriteRegister(cpld, 0x201, 0), EFI_WRITE_PROTECTED);
                EXPECT_EQ(p.Get<Cpld>().Register(0x201), 0x80);
            });
    EXPECT_TRUE(violations.empty());
    PowerOn(R"("cpld": {"accessible": false, "failWrites": true}, "esrt": {"present": false})",
            [&](Platform& p) {
                const KelmBoardRecord* record = nullptr;
                auto* board = Find<KelmBoardInfoProtocol>(p);
                EXPECT_EQ(board->GetBoardRecord(board, &record), EFI_NOT_FOUND);
                EXPECT_EQ(Find<KelmCpldProtocol>(p), nullptr);
                EXPECT_EQ(Find<KelmEsrtInjectionProtocol>(p), nullptr);
            });
}

TEST_F(Siblings, SplashShowsWhatItWasGivenLast) {
    PowerOn(R"("splash": {"on": false})", [&](Platform& p) {
        auto& state = p.Get<Splash>();
        auto* splash = Find<KelmEarlyVideoSplashProtocol>(p);
        EXPECT_FALSE(state.on);
        EXPECT_EQ(splash->Show(splash, TRUE), EFI_SUCCESS);
        EXPECT_EQ(splash->SetBootTaskText(splash, "Forgeline Requested"), EFI_SUCCESS);
        const UINT8 types[] = {3, 2, 0, 0, 0};
        const CHAR8* lines[] = {"Entering System Setup", "F10\t = \xFFx", nullptr, nullptr,
                                nullptr};
        EXPECT_EQ(splash->SetHotKeyPrompt(splash, types, lines), EFI_SUCCESS);
        const UINT8 wrong[] = {0, 0, 4, 0, 0};
        EXPECT_EQ(splash->SetHotKeyPrompt(splash, wrong, lines), EFI_INVALID_PARAMETER);
        EXPECT_TRUE(state.on);
        EXPECT_EQ(state.bootTaskText, "Forgeline Requested");
        EXPECT_EQ(state.prompt[0].type, 3);
        EXPECT_EQ(state.prompt[1].text, "F10\t = ?x");
        EXPECT_EQ(splash->SetBootTaskText(splash, ""), EFI_SUCCESS);
        EXPECT_EQ(state.bootTaskText, "");
    });
    const auto events = Traced("splash");
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[0], R"({"what":"on"})");
    EXPECT_EQ(events[1], R"({"what":"boot-task","text":"Forgeline Requested"})");
    EXPECT_EQ(
        events[2].find(R"({"what":"prompt","lines":[{"type":3,"text":"Entering System Setup"},)"),
        0u);
}

TEST_F(Siblings, DeviceIsFoundByTheLongestPathThatLeadsToIt) {
    PowerOn(R"~("devices": {
        "bus": {"path": "PciRoot(0x0)/Pci(0x1,0x0)", "location": "Slot 1",
                "kind": "raid"},
        "disk": {"path": "PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x0,0x0)", "fqdd": "RAID.Integrated.1-1",
                 "kind": "virtual-disk"}})~",
            [&](Platform& p) {
                auto* service = Find<KelmDeviceLocationProtocol>(p);
                const auto ask = [&](const char* text) {
                    const auto path = ReadDevicePath(p.machine, Json(text), "");
                    CHAR16* location = nullptr;
                    CHAR16* fqdd = nullptr;
                    const EFI_STATUS status = service->GetDeviceLocation(
                        service, reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(path.data()),
                        kDeviceLocationLanguage, &location, &fqdd, nullptr);
                    std::string result = status == EFI_SUCCESS ? "" : "none";
                    for (CHAR16* part : {location, fqdd}) {
                        if (part != nullptr) {
                            result += ToUtf8(part);
                            EXPECT_EQ(p.arena->FreePool(part), EFI_SUCCESS);
                        }
                    }
                    return result;
                };
                EXPECT_EQ(ask("PciRoot(0x0)/Pci(0x1,0x0)"), "Slot 1");
                EXPECT_EQ(ask("PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x1,0x0)"), "Slot 1");
                EXPECT_EQ(ask("PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x0,0x0)/Scsi(0x0,0x0)"),
                          "RAID.Integrated.1-1");
                EXPECT_EQ(ask("PciRoot(0x0)"), "none");
            });
}

TEST_F(Siblings, PostMessagesStandInOneListThatTheDisplayMayChange) {
    PowerOn("", [&](Platform& p) {
        auto* service = Find<KelmPostMessageProtocol>(p);
        CHAR16 text[] = u"UEFI0383: BIOS boot mode.";
        const CHAR16 strings[] = u"one\0two";
        void* block = p.CopyToPool(strings, sizeof(strings), "test");
        const CHAR16 identifier[] = u"UEFI0383";
        void* ownIdentifier = p.CopyToPool(identifier, sizeof(identifier), "test");
        void* ownText = p.CopyToPool(text, sizeof(text), "test");
        EXPECT_EQ(service->AddPostMessage(2, 383, static_cast<CHAR16*>(ownIdentifier),
                                          static_cast<CHAR16*>(ownText), nullptr,
                                          static_cast<CHAR16*>(block), 0),
                  EFI_SUCCESS);
        EXPECT_EQ(service->AddPostMessage(kPostMessageTransient, 12, u"UEFI0012 and more", text,
                                          nullptr, nullptr, 1),
                  EFI_SUCCESS);
        text[0] = u'X'; // a transient message has its own copy

        KelmListEntry* head = service->GetPostMessageList();
        const auto recordAt = [](KelmListEntry* link) {
            return reinterpret_cast<RegisteredPostMessage*>(reinterpret_cast<UINT8*>(link) -
                                                            offsetof(RegisteredPostMessage, Link));
        };
        RegisteredPostMessage* first = recordAt(head->ForwardLink);
        EXPECT_EQ(first->Signature, kRegisteredPostMessageSignature);
        EXPECT_EQ(first->Number, 383u);
        EXPECT_EQ(ToUtf8(first->Identifier), "UEFI0383");
        EXPECT_EQ(ToUtf8(first->FinalText), "UEFI0383: BIOS boot mode.");
        EXPECT_EQ(std::memcmp(first->ArgumentBlock, strings, sizeof(strings)), 0);
        EXPECT_EQ(p.arena->FreePool(first->FinalText), EFI_SUCCESS); // replaced while displayed
        EXPECT_EQ(recordAt(head->BackLink)->Number, 12u);
        EXPECT_EQ(first->Link.ForwardLink->ForwardLink, head);
        EXPECT_TRUE(p.Get<PostMessages>().Has(12));
        EXPECT_EQ(ToUtf8(recordAt(head->BackLink)->Identifier), "UEFI0012");
        EXPECT_EQ(ToUtf8(recordAt(head->BackLink)->FinalText), "UEFI0383: BIOS boot mode.");

        // One that comes during a walk is met by the next one.
        EXPECT_EQ(service->AddPostMessage(kPostMessageTransient, 13, u"UEFI0013", text, nullptr,
                                          nullptr, 1),
                  EFI_SUCCESS);
        EXPECT_EQ(service->EndPostMessageList(), EFI_SUCCESS);
        head = service->GetPostMessageList();
        EXPECT_EQ(recordAt(head->ForwardLink)->Number, 13u);
        EXPECT_EQ(head->ForwardLink, head->BackLink);
        EXPECT_EQ(service->EndPostMessageList(), EFI_SUCCESS);
        EXPECT_EQ(service->GetPostMessageList()->ForwardLink, head);
    });
    EXPECT_EQ(Traced("post-message")[0], R"({"number":383,"text":"UEFI0383: BIOS boot mode."})");
}

// ---- Reports

TEST_F(Siblings, ReportsBecomeEventsAndMeasurementsMustMatch) {
    PowerOn(R"("debug": {"mask": "0x40"})", [&](Platform& p) {
        auto* log = Find<KelmDebugLogProtocol>(p);
        EXPECT_EQ(log->LevelMask, 0x40u);
        log->Write(log, 0x440, "shown\n");
        log->Write(log, 0x400, "hidden\n");
        auto* codes = Find<EFI_STATUS_CODE_PROTOCOL>(p);
        codes->ReportStatusCode(EFI_PROGRESS_CODE, 0x03811000, 0, &gKelmCpldProtocolGuid, nullptr);

        auto* performance = Find<KelmPerformanceProtocol>(p);
        EXPECT_EQ(performance->End(performance, nullptr, "DXE", nullptr, 0), EFI_SUCCESS);
        performance->Start(performance, nullptr, "[BDS] Start", "BDS", 1);
        p.clock->Advance(500);
        performance->Start(performance, nullptr, "same", "BDS", 0);
        p.clock->Advance(5);
        performance->Start(performance, nullptr, "same", "BDS", 0);
        performance->End(performance, nullptr, "same", "BDS", 0);
        p.clock->Advance(5);
        EXPECT_EQ(performance->End(performance, nullptr, "[BDS] Start", "BDS", 0), EFI_SUCCESS);
        EXPECT_TRUE(p.violations->All().empty());
        EXPECT_EQ(performance->End(performance, nullptr, "same", "other", 0), EFI_NOT_FOUND);

        const auto& all = p.Get<Performance>().Measurements();
        EXPECT_EQ(all[2].start, 0u);
        EXPECT_EQ(all[2].end, 510u);
        EXPECT_FALSE(all[3].end) << "the inner one of two equal tokens is closed first";
        EXPECT_TRUE(all[4].end);
    });
    EXPECT_EQ(Traced("debug"), std::vector<std::string>{R"({"level":1088,"text":"shown\n"})"});
    EXPECT_EQ(Traced("status-code")[0], R"({"type":1,"value":58789888})");
    EXPECT_EQ(Traced("measure").front(), R"({"edge":"start","token":"DXE","module":""})");
    EXPECT_EQ(violations.size(), 1u);
}

TEST_F(Siblings, PolicyProtocolLocksVariables) {
    PowerOn("", [&](Platform& p) {
        auto* protocol = Find<EDKII_VARIABLE_POLICY_PROTOCOL>(p);
        struct [[gnu::packed]] {
            VARIABLE_POLICY_ENTRY entry;
            CHAR16 name[4];
        } policy = {{VARIABLE_POLICY_ENTRY_REVISION,
                     sizeof(policy),
                     sizeof(VARIABLE_POLICY_ENTRY),
                     gKelmCpldProtocolGuid,
                     0,
                     VARIABLE_POLICY_NO_MAX_SIZE,
                     0,
                     0,
                     VARIABLE_POLICY_TYPE_LOCK_NOW,
                     {}},
                    {'V', 'a', 'r', 0}};
        EXPECT_EQ(protocol->RegisterVariablePolicy(&policy.entry), EFI_SUCCESS);
        EXPECT_EQ(protocol->RegisterVariablePolicy(&policy.entry), EFI_ALREADY_STARTED);
        EXPECT_EQ(p.variables->Set(u"Var", &gKelmCpldProtocolGuid, 7, 1, "x"), EFI_WRITE_PROTECTED);
        UINT32 size = 0;
        EXPECT_EQ(protocol->DumpVariablePolicy(nullptr, &size), EFI_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, sizeof(policy));
        EXPECT_EQ(protocol->LockVariablePolicy(), EFI_SUCCESS);
        EXPECT_EQ(protocol->DisableVariablePolicy(), EFI_WRITE_PROTECTED);
    });
}

// ---- What holds for all of them

TEST_F(Siblings, EveryProtocolIsListedAndCanBeLeftOut) {
    const auto present = [](Platform& p, const SiblingProtocol& row) {
        if (auto* installer = Find<KelmNimborInstallIpmiProtocol>(p)) {
            installer->InstallIpmi(installer);
        }
        return p.handles->FindFirst(row.guid) != nullptr;
    };
    PowerOn(R"("connectSequence": [], "idModule": {}, "aci": {},
                "driverHealth": {"d": {"states": ["failed"]}})",
            [&](Platform& p) {
                for (const SiblingProtocol& row : AllSiblingProtocols()) {
                    EXPECT_TRUE(present(p, row)) << row.name;
                }
                for (const std::string& name : p.Get<CallBook>().Tables()) {
                    EXPECT_TRUE(
                        std::any_of(AllSiblingProtocols().begin(), AllSiblingProtocols().end(),
                                    [&](const SiblingProtocol& row) { return row.name == name; }))
                        << name << " is installed but not listed";
                }
            });
    for (const SiblingProtocol& row : AllSiblingProtocols()) {
        PowerOn("\"missing\": [\"" + std::string(row.name) + "\"]",
                [&](Platform& p) { EXPECT_FALSE(present(p, row)) << row.name; });
    }
}

TEST_F(Siblings, CallsAreCountedCheckedAndCanBeMadeToFail) {
    PowerOn(R"("faults": [{"call": "KelmNimborProtocol.EarlyInit", "nth": 2,
                           "status": "EFI_ABORTED"}])",
            [&](Platform& p) {
                auto* nimbor = Find<KelmNimborProtocol>(p);
                EXPECT_EQ(nimbor->EarlyInit(nimbor), EFI_SUCCESS);
                EXPECT_EQ(nimbor->EarlyInit(nimbor), EFI_ABORTED);
                EXPECT_EQ(nimbor->EarlyInit(nimbor), EFI_SUCCESS);
                EXPECT_EQ(p.Get<CallBook>().Count("KelmNimborProtocol.EarlyInit"), 3u);
                EXPECT_TRUE(p.violations->All().empty());
                nimbor->LateInit(nullptr);
                KelmNimborProtocol copy = *nimbor;
                copy.LateInit(&copy);
                reinterpret_cast<EFI_STATUS(EFIAPI*)()>(nimbor->Reserved0)();
            });
    EXPECT_EQ(Traced("protocol-call").front(),
              R"({"protocol":"KelmNimborProtocol","member":"EarlyInit"})");
    EXPECT_EQ(violations,
              (std::vector<std::string>{"KelmNimborProtocol.LateInit called with a wrong This",
                                        "KelmNimborProtocol.LateInit called with a wrong This",
                                        "reserved member called: KelmNimborProtocol.0"}));
}

TEST_F(Siblings, BadSectionsAreRefusedBeforeThePowerComesOn) {
    const std::string long256 = "\"" + std::string(512, '0') + "\"";
    const std::pair<std::string, std::string> rows[] = {
        {R"("policies": {"40": 1})", "/policies/40"},
        {R"("controller": {"psuBootStatus": {"hex": "01 02"}})", "/controller/psuBootStatus/hex"},
        {R"("controller": {"ipmi": [{"netfn": 6, "command": 1, "response": )" + long256 + "}]}",
         "/controller/ipmi/0/response"},
        {R"("board": {"vendor": "A vendor whose name takes forty characters"})", "/board/vendor"},
    };
    for (const auto& [sections, place] : rows) {
        try {
            PowerOn(sections, [](Platform&) {});
            ADD_FAILURE() << sections;
        } catch (const MachineFileError& error) {
            EXPECT_NE(std::string(error.what()).find(place), std::string::npos) << error.what();
        }
    }
}

} // namespace
} // namespace sim
