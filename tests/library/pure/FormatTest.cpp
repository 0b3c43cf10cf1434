#include "library/pure/Format.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

constexpr EFI_GUID kGuid = {0x8BE4DF61, 0x93CA, 0x11D2, {0xAA, 0x0D, 0, 0xE0, 0x98, 3, 0x2B, 0x8C}};

template <class... A>
std::string Ascii(const char* format, A... arguments) {
    char text[200];
    const size_t length = kelm::FormatAscii(text, format, arguments...);
    EXPECT_EQ(length, std::string(text).size());
    EXPECT_EQ(length, kelm::FormattedLength(format, arguments...));
    return text;
}

TEST(Format, PrintsIntegersWithWidthFlagsAndTruncation) {
    EXPECT_EQ(Ascii("%d %d %d", 0, -5, UINT8(200)), "0 -5 200");
    EXPECT_EQ(Ascii("%d", INT64(0x1FFFFFFFF)), "-1");
    EXPECT_EQ(Ascii("%ld", INT64(-0x7FFFFFFFFFFFFFFF) - 1), "-9223372036854775808");
    EXPECT_EQ(Ascii("%u %lu", -1, ~UINT64(0)), "4294967295 18446744073709551615");
    EXPECT_EQ(Ascii("%x %lx %Lx", ~UINT64(0), ~UINT64(0), INT16(-1)),
              "FFFFFFFF FFFFFFFFFFFFFFFF FFFFFFFFFFFFFFFF");
    EXPECT_EQ(Ascii("[%4x][%04x][%4X][%-4x]", 0xab, 0xab, 0xab, 0xab), "[  AB][00AB][00AB][AB  ]");
    EXPECT_EQ(Ascii("[%5d][%05d][%-5d][%+d][% d][%-05d]", -3, -3, -3, 3, 3, 3),
              "[   -3][-0003][-3   ][+3][ 3][3    ]");
    EXPECT_EQ(Ascii("[%.4d][%6.4x][%*d][%-*d]", 7, 0x1f, 4, 7, 3, 7), "[0007][  001F][   7][7  ]");
    EXPECT_EQ(Ascii("%,d %,lu %,d", 1234567, ~UINT64(0), 999),
              "1,234,567 18,446,744,073,709,551,615 999");
    EXPECT_EQ(Ascii("%p %p %x", reinterpret_cast<void*>(0x12345678ABCDull), nullptr,
                    reinterpret_cast<void*>(0xFEE00000)),
              "12345678ABCD 0 FEE00000");
    EXPECT_EQ(Ascii("Boot%04x, %dth, %2xh, %uld", 0x1a, 4, 5, 6), "Boot001A, 4th,  5h, 6ld");
}

TEST(Format, PrintsStringsGuidsStatusesAndCharacters) {
    EXPECT_EQ(Ascii("%a|%s|%S|%ls", "ascii", u"wide", u"Wide", u"x"), "ascii|wide|Wide|x");
    EXPECT_EQ(Ascii("%s", u"\u2550\u00e9!"), "?\?!");
    EXPECT_EQ(Ascii("[%5a][%-5s][%.2a][%5.1s]", "abc", u"abc", "abc", u"abc"),
              "[  abc][abc  ][ab][    a]");
    EXPECT_EQ(Ascii("%a %s", std::string_view("cut here").substr(0, 3), std::u16string_view(u"")),
              "cut ");
    EXPECT_EQ(Ascii("%g", &kGuid), "8BE4DF61-93CA-11D2-AA0D-00E098032B8C");
    EXPECT_EQ(Ascii("%g", kGuid), "8BE4DF61-93CA-11D2-AA0D-00E098032B8C");
    EXPECT_EQ(Ascii("%r, %r, %r", EFI_SUCCESS, EFI_NOT_FOUND, EfiErrorCode(1000)),
              "Success, Not Found, 80000000000003E8");
    EXPECT_EQ(Ascii("%c%c 100%% %q %", 'o', u'k'), "ok 100% q ");
    EXPECT_EQ(Ascii("\r\n\n"), "\r\n\n");
}

TEST(Format, NeverFollowsAMissingNullOrMismatchedArgument) {
    const char* noAscii = nullptr;
    const char16_t* noUcs2 = nullptr;
    const EFI_GUID* noGuid = nullptr;
    EXPECT_EQ(Ascii("%a %s %g", noAscii, noUcs2, noGuid),
              "<null string> <null string> <null guid>");
    EXPECT_EQ(Ascii("%s", nullptr), "<null string>");
    EXPECT_EQ(Ascii("%s %a %g %r", "narrow", u"wide", "text", "text"),
              "<bad argument> <bad argument> <bad argument> <bad argument>");
    EXPECT_EQ(Ascii("%a,%d", 42, 43), "<bad argument>,43");
    EXPECT_EQ(Ascii("%d %s", 1), "1 <bad argument>");
    EXPECT_EQ(Ascii("[%*d][%.*s]", -9, 1, "bad", u"text"), "[1][]");
}

TEST(Format, CutsAtTheBufferAndAlwaysTerminates) {
    const std::string whole = Ascii("%08lx %a", UINT64(0x1234), "tail");
    for (size_t size = 0; size < whole.size() + 3; size++) {
        const auto buffer = std::make_unique<char[]>(size);
        const auto wide = std::make_unique<char16_t[]>(size);
        const std::span<char> out(buffer.get(), size);
        const std::span<char16_t> wideOut(wide.get(), size);
        const size_t expected = size == 0 ? 0 : std::min(size - 1, whole.size());
        ASSERT_EQ(kelm::FormatAscii(out, "%08lx %a", 0x1234, "tail"), expected);
        ASSERT_EQ(kelm::FormatUcs2(wideOut, u"%08lx %a", 0x1234, "tail"), expected);
        if (size != 0) {
            EXPECT_EQ(std::string(buffer.get()), whole.substr(0, expected));
            EXPECT_EQ(wide[expected], 0);
        }
    }
    char16_t text[40];
    kelm::FormatUcs2(text, u"\u2550%s%d", u"\u2551", 7);
    EXPECT_EQ(std::u16string(text), u"\u2550\u25517");
    EXPECT_EQ(kelm::FormatUcs2(text, "%*d", 0x7FFFFFFF, 1), 39u);
}

} // namespace
