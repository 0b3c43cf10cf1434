#include "tests/sim/TestMachine.h"

#include <cstring>

namespace {

using namespace simtest;

constexpr EFI_GUID kVendor = {0xAAAAAAAA, 1, 2, {3}};
constexpr EFI_GUID kOther = {0xBBBBBBBB, 1, 2, {3}};
constexpr UINT32 kNv = EFI_VARIABLE_NON_VOLATILE;
constexpr UINT32 kBs = EFI_VARIABLE_BOOTSERVICE_ACCESS;
constexpr UINT32 kRt = EFI_VARIABLE_RUNTIME_ACCESS;
constexpr UINT32 kAppend = EFI_VARIABLE_APPEND_WRITE;
constexpr UINT32 kTimeBased = EFI_VARIABLE_TIME_BASED_AUTHENTICATED_WRITE_ACCESS;
constexpr UINT32 kUsual = kNv | kBs | kRt;

class AVariableService : public TestMachine {
protected:
    static EFI_STATUS Set(const CHAR16* name, UINT32 attributes, std::string_view data,
                          const EFI_GUID& guid = kVendor) {
        return rs->SetVariable(name, &guid, attributes, data.size(), data.data());
    }
    static std::string Get(const CHAR16* name, const EFI_GUID& guid = kVendor) {
        char data[64];
        UINTN size = sizeof data;
        const EFI_STATUS status = rs->GetVariable(name, &guid, nullptr, &size, data);
        return status == EFI_SUCCESS ? std::string(data, size) : "(none)";
    }
    static std::u16string AllNames() {
        std::u16string names;
        CHAR16 name[64] = u"";
        EFI_GUID guid{};
        UINTN size = sizeof name;
        while (rs->GetNextVariableName(&size, name, &guid) == EFI_SUCCESS) {
            names += std::u16string(name) + (guid == kVendor ? u" " : u"' ");
            size = sizeof name;
        }
        return names;
    }
};

TEST_F(AVariableService, KeepsWhatIsWrittenByNameAndVendor) {
    Boot([&] {
        EXPECT_EQ(AllNames(), u"");
        EXPECT_EQ(Set(u"B", kUsual, "one"), EFI_SUCCESS);
        EXPECT_EQ(Set(u"B", kBs, "two", kOther), EFI_SUCCESS);
        EXPECT_EQ(Set(u"A", kUsual, "three"), EFI_SUCCESS);
        EXPECT_EQ(AllNames(), u"A B B' ") << "stored ones in order, then the volatile ones";
        EXPECT_EQ(Set(u"B", kUsual | kAppend, "+more"), EFI_SUCCESS);
        EXPECT_EQ(Set(u"B", kUsual | kAppend, ""), EFI_SUCCESS);
        EXPECT_EQ(Set(u"N", kBs | kAppend, "new"), EFI_SUCCESS);
        EXPECT_EQ(Get(u"B"), "one+more");
        EXPECT_EQ(Get(u"B", kOther), "two");
        EXPECT_EQ(Get(u"N"), "new");

        UINTN size = 3;
        UINT32 attributes = 0;
        char data[8];
        EXPECT_EQ(rs->GetVariable(u"B", &kVendor, &attributes, &size, data), EFI_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, 8u);
        EXPECT_EQ(attributes, kUsual);
        EXPECT_EQ(rs->GetVariable(u"B", &kVendor, nullptr, &size, nullptr), EFI_INVALID_PARAMETER);
        size = 0;
        EXPECT_EQ(rs->GetVariable(u"C", &kVendor, nullptr, &size, nullptr), EFI_NOT_FOUND);
        CHAR16 name[2] = u"B";
        EFI_GUID guid = kVendor;
        size = 2;
        EXPECT_EQ(rs->GetNextVariableName(&size, name, &guid), EFI_INVALID_PARAMETER)
            << "no terminating null within the size";
        guid = EFI_GUID{};
        size = sizeof name;
        EXPECT_EQ(rs->GetNextVariableName(&size, name, &guid), EFI_INVALID_PARAMETER);

        EXPECT_EQ(Set(u"A", kUsual, ""), EFI_SUCCESS);
        EXPECT_EQ(rs->SetVariable(u"B", &kOther, 0, 0, nullptr), EFI_SUCCESS);
        EXPECT_EQ(Set(u"A", kUsual, ""), EFI_NOT_FOUND);
        EXPECT_EQ(AllNames(), u"B N ");
    });
    EXPECT_TRUE(violations.empty());
    Boot([&] { EXPECT_EQ(AllNames(), u"B ") << "the volatile ones are gone"; });
}

TEST_F(AVariableService, RefusesWritesThatCannotBe) {
    std::string large(VariableService::kMaxVariableSize + 1, 'x');
    Boot([&] {
        struct Row {
            UINT32 attributes;
            std::string_view data;
            EFI_STATUS status;
        };
        const Row rows[] = {
            {kNv | kRt, "x", EFI_INVALID_PARAMETER},            // runtime without boot
            {kUsual | 0x100, "x", EFI_INVALID_PARAMETER},       // unknown attribute
            {kUsual | 0x10, "x", EFI_UNSUPPORTED},              // the old kind of authentication
            {kUsual | kTimeBased, "x", EFI_SECURITY_VIOLATION}, // no certificate
            {kUsual | kTimeBased, {large.data(), 64}, EFI_UNSUPPORTED},
            {kUsual | kTimeBased | 0x80, "x", EFI_INVALID_PARAMETER},
            {kUsual | EFI_VARIABLE_HARDWARE_ERROR_RECORD, "x", EFI_INVALID_PARAMETER},
            {kUsual, large, EFI_INVALID_PARAMETER},
            {kNv, "x", EFI_NOT_FOUND}, // no access at all is a deletion
        };
        for (const Row& row : rows) {
            EXPECT_EQ(Set(u"X", row.attributes, row.data), row.status) << row.attributes;
        }
        EXPECT_EQ(rs->SetVariable(u"", &kVendor, kUsual, 1, "x"), EFI_INVALID_PARAMETER);
        EXPECT_EQ(rs->SetVariable(u"X", &kVendor, kUsual, 1, nullptr), EFI_INVALID_PARAMETER);
        EXPECT_EQ(AllNames(), u"");
        EXPECT_TRUE(Machine().violations->All().empty());

        Set(u"X", kUsual, "x");
        EXPECT_EQ(Set(u"X", kNv | kBs, "y"), EFI_INVALID_PARAMETER);
        EXPECT_EQ(Get(u"X"), "x");
    });
    EXPECT_EQ(violations,
              std::vector<std::string>{"variable X-AAAAAAAA-0001-0002-0300-000000000000 written "
                                       "with attributes 0x3, stored with 0x7"});
    const std::string last = Traced("variable").back();
    EXPECT_EQ(last, R"({"op":"set","name":"X","guid":"AAAAAAAA-0001-0002-0300-000000000000",)"
                    R"("attributes":3,"data":"79","status":"EFI_INVALID_PARAMETER"})");
}

TEST_F(AVariableService, FillsUpAndMakesRoomAgain) {
    Describe(R"("limits": {"storeBytes": 1000})");
    Boot([&] {
        const std::string_view block = "0123456789012345678901234567890123456789";
        int written = 0;
        for (CHAR16 name[] = u"A"; Set(name, kUsual, block) == EFI_SUCCESS; name[0]++) {
            written++;
        }
        EXPECT_EQ(written, 9) << "1000 bytes over 60 + 4 + 40 each";
        UINT64 maximum = 0, remaining = 0, largest = 0;
        EXPECT_EQ(rs->QueryVariableInfo(kUsual, &maximum, &remaining, &largest), EFI_SUCCESS);
        EXPECT_EQ(maximum, 1000u);
        EXPECT_EQ(remaining, 64u);
        EXPECT_EQ(Set(u"Z", kUsual, block), EFI_OUT_OF_RESOURCES);
        EXPECT_EQ(Set(u"A", kUsual, block.substr(1)), EFI_SUCCESS) << "replacing needs no room";
        EXPECT_EQ(Set(u"Z", kBs, block), EFI_SUCCESS) << "volatile ones are not in the store";
        EXPECT_EQ(Set(u"A", kUsual, ""), EFI_SUCCESS);
        EXPECT_EQ(Set(u"Y", kUsual, block), EFI_SUCCESS);
        EXPECT_EQ(rs->QueryVariableInfo(kNv, &maximum, &remaining, &largest),
                  EFI_INVALID_PARAMETER);
    });
}

TEST_F(AVariableService, TakesInitialVariablesOnceAndSurvivesAPowerCut) {
    Describe(R"("variables": {
        "Order-aaaaaaaa-0001-0002-0300-000000000000": {"hex": "30 31"},
        "Gone-aaaaaaaa-0001-0002-0300-000000000000": {"text": "x"},
        "Live-aaaaaaaa-0001-0002-0300-000000000000": {"attributes": 2, "u8": "0x41"}},
        "faults": [{"call": "SetVariable", "nth": 2, "status": "EFI_DEVICE_ERROR"},
                   {"call": "SetVariable", "nth": 4, "powerCut": true}])");
    const BootResult cut = Boot([&] {
        EXPECT_EQ(Get(u"Order"), "01");
        EXPECT_EQ(Get(u"Live"), "A");
        EXPECT_EQ(Set(u"Gone", kUsual, ""), EFI_SUCCESS);
        EXPECT_EQ(Set(u"Order", kUsual, "99"), EFI_DEVICE_ERROR);
        EXPECT_EQ(Set(u"Live", kBs, "B"), EFI_SUCCESS);
        Set(u"Order", kUsual, "10");
        ADD_FAILURE() << "the power is off";
    });
    EXPECT_EQ(cut.reason, EndReason::Halted);
    EXPECT_EQ(cut.detail, "the power failed in SetVariable");
    const auto writes = Traced("variable");
    EXPECT_EQ(writes.size(), 3u);
    EXPECT_NE(writes[1].find(R"("status":"EFI_DEVICE_ERROR")"), std::string::npos);
    server.machine.root.erase("faults");
    Boot([&] {
        EXPECT_EQ(Get(u"Order"), "01");
        EXPECT_EQ(Get(u"Live"), "A");
        EXPECT_EQ(Get(u"Gone"), "(none)");
    });
}

// ---- Policy

template <std::size_t N>
VariablePolicyEngine::Rule RuleFor(const char16_t (&name)[N], UINT8 lock) {
    VariablePolicyEngine::Rule rule;
    rule.guid = kVendor;
    rule.name = name;
    rule.lockType = lock;
    return rule;
}

TEST_F(AVariableService, ObeysTheBestPolicyThatFits) {
    Boot([&] {
        VariablePolicyEngine& policy = Machine().variables->policy;
        EXPECT_EQ(policy.Register(RuleFor(u"ReadOnly", kVariablePolicyLockNow)), EFI_SUCCESS);
        EXPECT_EQ(policy.Register(RuleFor(u"ReadOnly", kVariablePolicyNoLock)),
                  EFI_ALREADY_STARTED);
        EXPECT_EQ(Set(u"ReadOnly", kBs, "x"), EFI_WRITE_PROTECTED) << "though it does not exist";
        EXPECT_EQ(Set(u"ReadOnly", kBs, "x", kOther), EFI_SUCCESS);

        policy.Register(RuleFor(u"Once", kVariablePolicyLockOnCreate));
        EXPECT_EQ(Set(u"Once", kBs, "x"), EFI_SUCCESS);
        EXPECT_EQ(Set(u"Once", kBs, "y"), EFI_WRITE_PROTECTED);
        EXPECT_EQ(Set(u"Once", kBs, ""), EFI_WRITE_PROTECTED);

        auto onState = RuleFor(u"Guarded", kVariablePolicyLockOnState);
        onState.stateGuid = kVendor;
        onState.stateName = u"State";
        onState.stateValue = 'L';
        EXPECT_EQ(policy.Register(onState), EFI_SUCCESS);
        EXPECT_EQ(Set(u"Guarded", kBs, "x"), EFI_SUCCESS);
        Set(u"State", kBs, "L");
        EXPECT_EQ(Set(u"Guarded", kBs, "y"), EFI_WRITE_PROTECTED);
        Set(u"State", kBs, "U");
        EXPECT_EQ(Set(u"Guarded", kBs, "y"), EFI_SUCCESS);

        // The exact name before the pattern before the namespace.
        auto pattern = RuleFor(u"Boot####", kVariablePolicyNoLock);
        pattern.minSize = 2;
        pattern.maxSize = 3;
        pattern.mustHave = kNv;
        pattern.cantHave = kRt;
        EXPECT_EQ(policy.Register(pattern), EFI_SUCCESS);
        policy.Register(RuleFor(u"Boot000#", kVariablePolicyLockNow));
        policy.Register(RuleFor(u"Boot0003", kVariablePolicyNoLock));
        EXPECT_EQ(Set(u"Boot00aF", kNv | kBs, "xx"), EFI_SUCCESS);
        EXPECT_EQ(Set(u"Boot00aF", kNv | kBs | kAppend, "xx"), EFI_INVALID_PARAMETER);
        EXPECT_EQ(Set(u"Boot00B0", kNv | kBs, "x"), EFI_INVALID_PARAMETER);
        EXPECT_EQ(Set(u"Boot00B0", kBs, "xx"), EFI_INVALID_PARAMETER);
        EXPECT_EQ(Set(u"Boot00B0", kUsual, "xx"), EFI_INVALID_PARAMETER);
        EXPECT_EQ(Set(u"Boot00aF", kNv | kBs, ""), EFI_SUCCESS) << "a deletion has no size";
        EXPECT_EQ(Set(u"Boot0002", kUsual, "x"), EFI_WRITE_PROTECTED);
        EXPECT_EQ(Set(u"Boot0003", kUsual, "x"), EFI_SUCCESS);
        EXPECT_EQ(Set(u"Boot00G0", kUsual, "x"), EFI_SUCCESS) << "no hexadecimal digit";
        auto space = RuleFor(u"", kVariablePolicyLockNow);
        EXPECT_EQ(policy.Register(space), EFI_SUCCESS);
        EXPECT_EQ(Set(u"Anything", kBs, "x"), EFI_WRITE_PROTECTED);
        EXPECT_EQ(Set(u"Boot0003", kUsual, "y"), EFI_SUCCESS);

        EXPECT_EQ(policy.Disable(), EFI_SUCCESS);
        EXPECT_EQ(Set(u"ReadOnly", kBs, "x"), EFI_SUCCESS);
        EXPECT_EQ(policy.Lock(), EFI_SUCCESS);
        EXPECT_EQ(policy.Lock(), EFI_WRITE_PROTECTED);
        EXPECT_EQ(policy.Register(RuleFor(u"Late", kVariablePolicyNoLock)), EFI_WRITE_PROTECTED);
    });
    Boot([&] { EXPECT_TRUE(Machine().variables->policy.Rules().empty()); });
}

TEST(VariablePolicyEntries, ReadBackWhatWasDumpedAndNothingElse) {
    const auto nothing = [](std::u16string_view, const EFI_GUID&) {
        return std::optional<std::span<const UINT8>>();
    };
    VariablePolicyEngine first(nothing);
    auto onState = RuleFor(u"Guarded##", kVariablePolicyLockOnState);
    onState.stateGuid = kOther;
    onState.stateName = u"State";
    onState.stateValue = 1;
    first.Register(onState);
    const std::vector<UINT8> entry = first.Dump();
    ASSERT_EQ(entry.size(), 44u + 18 + 12 + 20);

    VariablePolicyEngine second(nothing);
    EXPECT_EQ(second.Register(entry), EFI_SUCCESS);
    EXPECT_EQ(second.Dump(), entry);
    // Cut anywhere, or damaged in any byte of its layout, an entry is refused or still well-formed;
    // a refused one leaves nothing.
    for (std::size_t size = 0; size < entry.size(); size++) {
        VariablePolicyEngine engine(nothing);
        EXPECT_EQ(engine.Register(std::span(entry).first(size)), EFI_INVALID_PARAMETER) << size;
        EXPECT_TRUE(engine.Rules().empty());
    }
    for (std::size_t at = 0; at < entry.size(); at++) {
        for (UINT8 damage : {0xFF, 0x80, 0x01}) {
            std::vector<UINT8> damaged = entry;
            damaged[at] ^= damage;
            VariablePolicyEngine engine(nothing);
            const EFI_STATUS status = engine.Register(damaged);
            EXPECT_EQ(engine.Rules().size(), EFI_ERROR(status) ? 0u : 1u);
            if (at < 4) {
                EXPECT_EQ(status, EFI_INCOMPATIBLE_VERSION);
            }
        }
    }
}

} // namespace
