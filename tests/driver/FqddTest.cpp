// FQDDs: which texts are lists of them, what they are cut into, and which devices they name.

#include "bootopt/BracketValue.h"
#include "bootopt/FqddMatch.h"
#include "bootopt/LoadOption.h"
#include "library/firmware/Pool.h"
#include "tests/driver/DeviceHandles.h"
#include "uefi/LegacyBios.h"

#include <fmt/format.h>

#include <algorithm>
#include <random>
#include <regex>
#include <string>

namespace kelm::test {

namespace {

std::u16string Wide(std::string_view text) {
    return {text.begin(), text.end()};
}

std::string Narrow(std::u16string_view text) {
    return {text.begin(), text.end()};
}

constexpr const char* kValidLists[] = {
    "RAID.Integrated.1-1",
    "RAID.Integrated.1-1:AHCI.Slot.2-1",
    "RAID.*.1",
    "*.*.*",
    "PCIeSSD.Slot.*-1-*",
    "NIC.Slot.2-1-1[a][BootPath:PciRoot(0x0)/Pci(0x1,0x0).-x]:A.B.C",
    "A.B.C[]",
    "A.B.C this is not looked at...",
    "A.B.C[x] y",
    "A.B.C]", // a bracket that nobody opened is a character
};

constexpr const char* kInvalidLists[] = {
    "",
    " A.B.C",
    "RAID-1.Integrated.1",
    "RAID.Integrated",
    "RAID..1",
    ".A.B.C",
    "RAID.Int*.1",
    "*1.A.B",
    "RAID.**.1",
    "A.B.C.D",
    "A.B.C.",
    "A.B.",
    "A.B.1-",
    "A.B.-1",
    "A.B.1--1",
    "A.B.[x]",
    "A.B.1-[x]",
    "A.B.C[x",
    "A.B.C[x y]",
    "A.B.C[x]y",
    "A.B.C[x]-1",
    "A.B[x].C",
    "A.B.*[x]",
    "A.B.C:",
    ":A.B.C",
    "A.B.C::D.E.F",
    "A.B.C:D.E",
    "A.B C.D",
};

struct Token {
    std::string text;
    UINT32 kind;
    bool operator==(const Token&) const = default;
};

std::vector<Token> TokensOf(const std::u16string& text) {
    std::vector<Token> tokens;
    for (;;) {
        CHAR16 room[kFqddTokenRoom];
        FqddTokenKind kind{};
        if (BdsGetFqddToken(text.c_str(), tokens.size(), room, &kind) != EFI_SUCCESS) {
            return tokens;
        }
        tokens.push_back({Narrow(room), static_cast<UINT32>(kind)});
    }
}

// The device texts that a pattern names, as a regular expression: before each token but a "-" the
// device may have more sub-indexes, and behind the last one anything.
bool MatchesByExpression(std::string pattern, std::string device) {
    static const std::regex kToken("(^|[.\\-\\[:])([^.\\-\\[:]*)");
    static const std::regex kSpecial("[()+?|{}^$]");
    for (std::string* text : {&pattern, &device}) {
        text->erase(std::min(text->find(' '), text->size()));
        bool inBracket = false;
        std::erase_if(*text, [&](char c) {
            inBracket = c == '[' || (inBracket && c != ']');
            return c == ']' || (c == ':' && inBracket);
        });
        std::replace(text->begin(), text->end(), '\\', '/');
    }
    std::string expression;
    for (std::sregex_iterator it(pattern.begin(), pattern.end(), kToken), end; it != end; ++it) {
        const std::string delimiter = (*it)[1];
        const std::string text = (*it)[2];
        if (it->position() != 0 && delimiter != "-") {
            expression += "(?:-[^.\\-\\[:]*)*";
        }
        expression += delimiter.empty() ? "" : "\\" + delimiter;
        expression +=
            text.starts_with("*") ? "[^.\\-\\[:]*" : std::regex_replace(text, kSpecial, "\\$&");
    }
    expression += "(?:[.\\-\\[:].*)?";
    return std::regex_match(device, std::regex(expression, std::regex::icase));
}

} // namespace

TEST(Fqdd, ListsAreValidByTheirForm) {
    sim::Trace trace;
    RunClean(
        "{}",
        [](sim::Platform&) {
            for (const char* text : kValidLists) {
                EXPECT_TRUE(BdsIsFqddListValid(Wide(text).c_str())) << text;
            }
            for (const char* text : kInvalidLists) {
                EXPECT_FALSE(BdsIsFqddListValid(Wide(text).c_str())) << text;
            }
            EXPECT_FALSE(BdsIsFqddListValid(nullptr));
        },
        &trace);
    const std::vector<sim::Json> lines = trace.EventsOf("debug");
    ASSERT_EQ(lines.size(), std::size(kInvalidLists) + 1);
    for (std::size_t i = 0; i < std::size(kInvalidLists); ++i) {
        EXPECT_EQ(lines[i].at("text"), fmt::format("Invalid FQDD:{}\n", kInvalidLists[i]));
        EXPECT_EQ(lines[i].at("level"), 0x80400000u);
    }
}

TEST(Fqdd, IsCutIntoTokens) {
    using Tokens = std::vector<Token>;
    EXPECT_EQ(TokensOf(u"RAID.Integrated.1-2"),
              (Tokens{{"RAID", 1}, {"Integrated", 1}, {"1", 1}, {"2", 2}}));
    EXPECT_EQ(TokensOf(u"A.B.1[k:v:w][x.y-z:]:C.D.2 E.F.3"), (Tokens{{"A", 1},
                                                                     {"B", 1},
                                                                     {"1", 1},
                                                                     {"kvw", 3},
                                                                     {"x", 3},
                                                                     {"y", 1},
                                                                     {"z", 2},
                                                                     {"C", 4},
                                                                     {"D", 1},
                                                                     {"2", 1}}));
    EXPECT_EQ(TokensOf(u".a."), (Tokens{{"", 1}, {"a", 1}, {"", 1}}));
    EXPECT_EQ(TokensOf(u""), Tokens{});
    EXPECT_EQ(TokensOf(u" A"), Tokens{});

    CHAR16 room[kFqddTokenRoom] = u"untouched";
    FqddTokenKind kind = FqddTokenKind::List;
    EXPECT_EQ(BdsGetFqddToken(nullptr, 0, room, &kind), EFI_INVALID_PARAMETER);
    EXPECT_EQ(BdsGetFqddToken(u"A.B.C", 3, room, &kind), EFI_NOT_FOUND);
    const std::u16string longest(255, u'x');
    const std::u16string tooLong = u"A." + longest + u"y.C";
    EXPECT_EQ(BdsGetFqddToken(tooLong.c_str(), 1, room, &kind), EFI_BUFFER_TOO_SMALL);
    EXPECT_EQ(std::u16string(room), u"untouched");
    EXPECT_EQ(kind, FqddTokenKind::List);
    EXPECT_EQ(BdsGetFqddToken(tooLong.c_str(), 2, room, &kind), EFI_SUCCESS) << "behind it";
    EXPECT_EQ(BdsGetFqddToken((u"A." + longest).c_str(), 1, room, &kind), EFI_SUCCESS);
    EXPECT_EQ(std::u16string(room), longest);

    // Nothing with a token that is too long is valid or matches; one at the limit does.
    EXPECT_TRUE(IsFqddListWellFormed(u"A.B." + longest));
    EXPECT_FALSE(IsFqddListWellFormed(u"A.B." + longest + u"y"));
    EXPECT_TRUE(IsFqddMatching(u"A.B." + longest, u"A.B." + longest));
    EXPECT_FALSE(IsFqddMatching(tooLong, tooLong));
    EXPECT_FALSE(IsFqddMatching(u"A.*.C", tooLong));
    EXPECT_TRUE(IsFqddMatching(u"A.B.1", u"A.B.1[" + longest + u"y]")) << "nobody looks at it";
}

TEST(Fqdd, RanksBySpecificity) {
    // Each is less specific than the next.
    const std::u16string ladder[] = {u"*.*.*", u"RAID.*.*", u"RAID.Integrated.*",
                                     u"RAID.Integrated.1", u"RAID.Integrated.1-1"};
    for (const std::u16string& a : ladder) {
        for (const std::u16string& b : ladder) {
            EXPECT_EQ(BdsIsFqddMoreSpecific(a.c_str(), b.c_str()), &a > &b)
                << Narrow(a) << " " << Narrow(b);
        }
    }
    EXPECT_FALSE(BdsIsFqddMoreSpecific(u"RAID.Integrated.1-1", u"RAID.Slot.2-1"));
    EXPECT_FALSE(BdsIsFqddMoreSpecific(u"RAID.Slot.2-1", u"RAID.Integrated.1-1"));
    EXPECT_FALSE(BdsIsFqddMoreSpecific(u"RAID.*.1-*", u"RAID.*.1"));
    EXPECT_FALSE(BdsIsFqddMoreSpecific(u"RAID.*.1", u"RAID.*.1-*"));
    EXPECT_TRUE(BdsIsFqddMoreSpecific(u"RAID.Slot.*-1", u"RAID.*.1-1")) << "the first one tells";
    EXPECT_FALSE(BdsIsFqddMoreSpecific(nullptr, u"A"));
    EXPECT_TRUE(BdsIsFqddMoreSpecific(u"A", nullptr));
}

TEST(Fqdd, PatternsNameDevices) {
    struct Row {
        const char* pattern;
        const char* device;
        bool matches;
    };
    constexpr Row kRows[] = {
        {"RAID.Integrated.1", "RAID.Integrated.1-1", true},
        {"RAID.*.1", "RAID.Slot.1-1", true},
        {"raid.slot.1", "RAID.Slot.1-1[BootPath:PciRoot(0x0)][FailoverCapable:true]", true},
        {"RAID.Slot.1-1", "RAID.Slot.1", false},
        {"RAID.Slot.1-1", "RAID.Slot.1-2", false},
        {"RAID.Slot.1-1", "RAID.Slot.1-1-2", true},
        {"RAID.Slot.1-*", "RAID.Slot.1-7", true},
        {"RAID.Slot.1-*", "RAID.Slot.1", false},
        {"RAID.Slot", "RAID.Slot.1", true},
        {"RAID.Slo", "RAID.Slot.1", false},
        {"*.*.*", "Optical.SATAEmbedded.A-1", true},
        {"*.*.*.*", "Optical.SATAEmbedded.A-1", false},
        {"A.B.1[BootPath:a\\b/C]", "A.B.1-1[bootpath:A/B\\c][FailoverCapable:true]", true},
        {"A.B.1[BootPath:a]", "A.B.1[BootPath:b]", false},
        {"A.B.1[*]", "A.B.1[x:y]", true},
        {"A.B.1[FailoverCapable:true]", "A.B.1[BootPath:x][FailoverCapable:true]", false},
        {"A.B.1:C.D.2", "A.B.1", false},
        {"A.B.1:C.D.2", "A.B.1:C.D.2-3", true},
        {"A.B.1 C.D.2", "A.B.1-1 X", true},
        {"A.1", "A-9.1", true},
    };
    for (const Row& row : kRows) {
        EXPECT_EQ(IsFqddMatching(Wide(row.pattern), Wide(row.device)), row.matches)
            << row.pattern << " " << row.device;
        EXPECT_EQ(MatchesByExpression(row.pattern, row.device), row.matches)
            << row.pattern << " " << row.device;
    }
    EXPECT_FALSE(IsFqddMatching(u"", u"A.B.1"));
    EXPECT_FALSE(IsFqddMatching(u"A.B.1", u""));

    std::mt19937 random(11);
    const auto invent = [&](bool pattern) {
        std::string text;
        for (unsigned parts = 1 + random() % 5; parts > 0; --parts) {
            static constexpr const char* kTokens[] = {"A", "a", "b", "1", "", "/", "\\", "*", "*x"};
            text += kTokens[random() % (pattern ? 9 : 7)];
            static constexpr const char* kDelimiters[] = {".", "-", "-", "[", ":"};
            text += parts > 1 ? kDelimiters[random() % 5] : "";
        }
        return text;
    };
    unsigned matches = 0;
    for (int round = 0; round < 1000; ++round) {
        const std::string pattern = invent(true);
        const std::string device = invent(false);
        if (pattern.empty() || device.empty()) {
            continue;
        }
        const bool expected = MatchesByExpression(pattern, device);
        EXPECT_EQ(IsFqddMatching(Wide(pattern), Wide(device)), expected)
            << pattern << " " << device;
        matches += expected ? 1 : 0;
    }
    EXPECT_GT(matches, 30u);
}

TEST(BracketValue, IsFoundByItsKeyAndAppended) {
    struct Row {
        const char16_t* text;
        const char16_t* value; // null: not found
    };
    constexpr Row kRows[] = {
        {u"A.B.1[BootPath:PciRoot(0x0)/Pci(0x1,0x0)]", u"PciRoot(0x0)/Pci(0x1,0x0)"},
        {u"A.B.1[x:[bOOTpATH:first][BootPath:second]", u"first"},
        {u"A.B.1[BootPath:a:b[c]", u"a:b[c"},
        {u"[BootPath:]", u""},
        {u"A.B.1[BootPath:a", nullptr},
        {u"A.B.1[BootPath]", nullptr},
        {u"A.B.1[BootPathX:a]", nullptr},
        {u"A.B.1[XBootPath:a]", nullptr},
        {u"BootPath:a]", nullptr},
        {u"[", nullptr},
        {u"", nullptr},
        {nullptr, nullptr},
    };
    RunClean("{}", [&](sim::Platform& platform) {
        for (const Row& row : kRows) {
            ExpectNoLeak(platform, [&] {
                PoolPtr<CHAR16> value;
                EXPECT_EQ(BdsGetBracketValue(row.text, u"BootPath", value.out()),
                          row.value == nullptr ? EFI_NOT_FOUND : EFI_SUCCESS)
                    << (&row - kRows);
                ASSERT_EQ(static_cast<bool>(value), row.value != nullptr);
                if (value) {
                    EXPECT_EQ(std::u16string(value.get()), row.value);
                }
            });
        }
        ExpectNoLeak(platform, [&] {
            PoolPtr<CHAR16> text;
            CHAR16* grown = nullptr;
            EXPECT_EQ(BdsAppendBracketValue(&grown, u"a", u"b"), EFI_SUCCESS);
            EXPECT_EQ(BdsAppendBracketValue(&grown, u"BootPath", u""), EFI_SUCCESS);
            EXPECT_EQ(std::u16string(grown), u"[a:b][BootPath:]");
            platform.arena->SetFailure({.nth = 1});
            EXPECT_EQ(BdsAppendBracketValue(&grown, u"c", u"d"), EFI_OUT_OF_RESOURCES);
            platform.arena->SetFailure({.nth = 1});
            EXPECT_EQ(BdsGetBracketValue(grown, u"a", text.out()), EFI_OUT_OF_RESOURCES);
            platform.arena->SetFailure({});
            EXPECT_EQ(std::u16string(grown), u"[a:b][BootPath:]");
            text.reset(grown);
        });
    });
}

namespace {

constexpr char kDevices[] = R"json({"devices": {
    "raid": {"kind": "pci", "path": "PciRoot(0x0)/Pci(0x9,0x0)", "location": "RAID in Slot 3",
             "fqdd": "RAID.Slot.3-1"},
    "nameless": {"kind": "pci", "path": "PciRoot(0x0)/Pci(0x9,0x1)", "location": "Something"}}})json";

void WriteOption(UINT16 number, std::u16string_view pathText, std::vector<UINT8> data = {}) {
    PathBytes path = PathOf(pathText);
    BootOptionRecord record{};
    record.DevicePath = AsPath(path);
    record.LoadOptions = data.data();
    record.LoadOptionsSize = static_cast<UINT32>(data.size());
    EXPECT_EQ(BdsWriteBootOption(number, &record), EFI_SUCCESS);
}

// The text, or the name of the status.
std::string FqddOf(UINT16 number, UINTN mode) {
    PoolPtr<CHAR16> text;
    const EFI_STATUS status = BdsGetOptionFqddText(number, mode, text.out());
    EXPECT_EQ(EFI_ERROR(status), !text);
    return text ? Narrow(text.get()) : fmt::format("{:X}", status & 0xFF);
}

constexpr char kNotFoundText[] = "E";
constexpr char kInvalidText[] = "2";

EFI_STATUS EFIAPI TwoBbsEntries(EFI_LEGACY_BIOS_PROTOCOL*, UINT16*, HDD_INFO**, UINT16* count,
                                BBS_TABLE** table) {
    static BBS_TABLE entries[2];
    *count = 2;
    *table = entries;
    return EFI_SUCCESS;
}

} // namespace

TEST(OptionFqdd, IsTheDevicesWithBracketsWhenAskedFor) {
    EFI_LEGACY_BIOS_PROTOCOL legacyBios{};
    legacyBios.GetBbsInfo = TwoBbsEntries;
    RunClean(kDevices, [&](sim::Platform& platform) {
        WriteOption(0x00AB, u"PciRoot(0x0)/Pci(0x9,0x0)/NVMe(0x1,00-00-00-00-00-00-00-00)");
        WriteOption(1, u"PciRoot(0x0)/Pci(0x9,0x1)");
        WriteOption(2, u"PciRoot(0x0)/Pci(0x9,0x5)");
        WriteOption(3, u"BBS(HD,disk)", std::vector<UINT8>(sizeof(BBS_TABLE) - 1));
        WriteOption(4, u"BBS(HD,disk)", std::vector<UINT8>(sizeof(BBS_TABLE) + 20));
        ExpectNoLeak(platform, [] {
            EXPECT_EQ(FqddOf(0x00AB, 3), "RAID.Slot.3-1");
            EXPECT_EQ(FqddOf(0x00AB, 1),
                      "RAID.Slot.3-1[BootPath:PciRoot(0x0)/Pci(0x9,0x0)/"
                      "NVMe(0x1,00-00-00-00-00-00-00-00)][FailoverCapable:true]");
            for (const UINT16 number : {UINT16(1), UINT16(2), UINT16(3), UINT16(4), UINT16(5)}) {
                EXPECT_EQ(FqddOf(number, 3), kNotFoundText) << number;
                EXPECT_EQ(FqddOf(number, 1), kNotFoundText) << number;
            }
            EXPECT_EQ(FqddOf(0x00AB, 0), kInvalidText);
            EXPECT_EQ(FqddOf(0x00AB, 5), kInvalidText);
            EXPECT_EQ(FqddOf(0, 2), kNotFoundText) << "no legacy BIOS";

            EXPECT_TRUE(BdsIsOptionMatchingFqdd(u"raid.*.3", 0x00AB, 1));
            EXPECT_TRUE(BdsIsOptionMatchingFqdd(u"RAID.Slot.3-1[BootPath:PciRoot(0x0)/Pci(0x9,0x0)/"
                                                u"NVMe(0x1,00-00-00-00-00-00-00-00)]",
                                                0x00AB, 1));
            EXPECT_FALSE(
                BdsIsOptionMatchingFqdd(u"RAID.Slot.3-1[BootPath:PciRoot(0x0)]", 0x00AB, 1));
            EXPECT_FALSE(BdsIsOptionMatchingFqdd(u"RAID.Slot.4", 0x00AB, 1));
            EXPECT_FALSE(BdsIsOptionMatchingFqdd(u"*.*.*", 2, 3)) << "a device without an FQDD";
            EXPECT_FALSE(BdsIsOptionMatchingFqdd(nullptr, 0x00AB, 1));
        });
        for (unsigned nth = 1; nth <= 20; ++nth) {
            ExpectNoLeak(platform, [&] {
                platform.arena->SetFailure({.nth = nth});
                static_cast<void>(FqddOf(0x00AB, 1));
                platform.arena->SetFailure({});
            });
        }
        EFI_HANDLE handle = nullptr;
        EXPECT_EQ(gBS->InstallMultipleProtocolInterfaces(&handle, &gEfiLegacyBiosProtocolGuid,
                                                         &legacyBios, nullptr),
                  EFI_SUCCESS);
        EXPECT_EQ(FqddOf(2, 2), kInvalidText) << "behind the table";
        EXPECT_EQ(FqddOf(0xFFFF, 4), kInvalidText);
    });
    RunClean(R"({"missing": ["KelmDeviceLocationProtocol"]})", [](sim::Platform&) {
        EXPECT_EQ(FqddOf(1, 9), kNotFoundText) << "before anything else is looked at";
    });
}

} // namespace kelm::test
