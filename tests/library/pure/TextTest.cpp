#include <gtest/gtest.h>

#include <string>

#include "library/pure/GuidText.h"
#include "library/pure/StatusText.h"
#include "library/pure/Ucs2.h"

namespace {

using kelm::GuidFromText;

TEST(Ucs2, CopiesAppendsAndConvertsWithinTheBuffer) {
    char16_t wide[5];
    EXPECT_EQ(kelm::Ucs2Copy(wide, u"four"), EFI_SUCCESS);
    EXPECT_EQ(kelm::Ucs2Append(wide, u"5"), EFI_BUFFER_TOO_SMALL);
    EXPECT_EQ(kelm::Ucs2View(wide), u"four");
    EXPECT_EQ(kelm::Ucs2Copy(wide, u"too long"), EFI_BUFFER_TOO_SMALL);
    EXPECT_EQ(kelm::Ucs2View(wide), u"too ");
    EXPECT_EQ(kelm::AsciiToUcs2(wide, "ab"), EFI_SUCCESS);
    EXPECT_EQ(kelm::Ucs2Append(wide, u"cdef"), EFI_BUFFER_TOO_SMALL);
    EXPECT_EQ(kelm::Ucs2View(wide), u"abcd");
    const char16_t unterminated[] = {'a', 'b'};
    EXPECT_EQ(kelm::Ucs2View(std::span(unterminated)), u"ab");
    char16_t full[] = {'a', 'b'};
    EXPECT_EQ(kelm::Ucs2Append(full, u""), EFI_INVALID_PARAMETER);
    char narrow[4];
    EXPECT_EQ(kelm::Ucs2ToAscii(narrow, u"a\u0101\u00ff"), EFI_SUCCESS);
    EXPECT_STREQ(narrow, "a??");
    EXPECT_EQ(kelm::Ucs2ToAscii({}, u""), EFI_BUFFER_TOO_SMALL);
    EXPECT_EQ(kelm::Ucs2Size(u"ab"), 6u);
    EXPECT_EQ(kelm::Ucs2Size(nullptr) + kelm::Ucs2Length(nullptr), 0u);
}

TEST(Ucs2, ComparesAndFindsFoldingAsciiOnly) {
    EXPECT_LT(kelm::Ucs2Compare(u"NIC.Slot.1", u"NIC.Slot.1-1"), 0);
    EXPECT_GT(kelm::Ucs2Compare(u"a", u"B"), 0);
    EXPECT_LT(kelm::Ucs2CompareNoCase(u"a", u"B"), 0);
    EXPECT_TRUE(kelm::Ucs2EqualNoCase(u"nic.Slot", u"NIC.sLOT"));
    EXPECT_FALSE(kelm::Ucs2EqualNoCase(u"\u00e9", u"\u00c9"));
    EXPECT_FALSE(kelm::Ucs2EqualNoCase(u"[", u"{"));
    EXPECT_TRUE(kelm::Ucs2EqualAscii(u"Boot", "Boot"));
    EXPECT_FALSE(kelm::Ucs2EqualAscii(u"Boot0", "Boot"));
    EXPECT_EQ(kelm::Ucs2Find(u"RAID.Slot.6", u"slot"), kelm::kNotFound);
    EXPECT_EQ(kelm::Ucs2FindNoCase(u"RAID.Slot.6", u"slot"), 5u);
    EXPECT_EQ(kelm::Ucs2FindNoCase(u"slo", u"slot"), kelm::kNotFound);
    EXPECT_EQ(kelm::Ucs2FindNoCase(u"", u""), 0u);
}

TEST(Ucs2, ParsesNumbersWholeOrNotAtAll) {
    EXPECT_EQ(kelm::ParseDecimal(u"18446744073709551615"), ~UINT64(0));
    EXPECT_EQ(kelm::ParseHex("0xffffFFFFffffFFFF"), ~UINT64(0));
    EXPECT_EQ(kelm::ParseNumber(u"0X1f"), 0x1Fu);
    EXPECT_EQ(kelm::ParseNumber("010"), 10u);
    for (const char* bad : {"", "18446744073709551616", "-1", "1 ", "1a"}) {
        EXPECT_FALSE(kelm::ParseDecimal(bad)) << bad;
    }
    for (const char16_t* bad : {u"", u"0x", u"0x10000000000000000", u"g", u"\u0131"}) {
        EXPECT_FALSE(kelm::ParseHex(bad));
    }
}

TEST(GuidText, PrintsUpperCaseAndReadsRegistryForms) {
    constexpr EFI_GUID guid = *GuidFromText("{09576e91-6d3f-11d2-8E39-00a0c969723b}");
    static_assert(guid.Data1 == 0x09576E91 && guid.Data4[7] == 0x3B && guid.Data4[1] == 0x39);
    char text[37];
    EXPECT_EQ(kelm::GuidToText(guid, std::span<char>(text)), 36u);
    EXPECT_STREQ(text, "09576E91-6D3F-11D2-8E39-00A0C969723B");
    EXPECT_EQ(kelm::GuidToText(guid, std::span<char>(text).first(36)), 0u);
    EXPECT_STREQ(text, "");
    for (const char16_t* bad :
         {u"", u"09576E91-6D3F-11D2-8E39-00A0C969723", u"09576E91-6D3F-11D2-8E39-00A0C969723G",
          u"{09576E91-6D3F-11D2-8E39-00A0C969723B", u"09576E9106D3F-11D2-8E39-00A0C969723B",
          u"09576E91-6D3F-11D2-8E39-00A0C969723B "}) {
        EXPECT_FALSE(GuidFromText(std::u16string_view(bad)));
    }
}

TEST(StatusText, NamesReadBackAndUnknownStatusesPrintInHex) {
    for (UINT64 code = 0; code < 64; code++) {
        for (const EFI_STATUS status : {EFI_STATUS(code), EfiErrorCode(code)}) {
            const auto name = kelm::StatusName(status);
            EXPECT_TRUE(name.empty() || kelm::StatusFromName(name) == status) << name;
            char text[kelm::kStatusTextSize];
            const size_t length = kelm::StatusToText(status, text);
            EXPECT_TRUE(length > 0 && length + 1 < sizeof(text)); // nothing was cut
        }
    }
    EXPECT_EQ(kelm::StatusName(EFI_DEVICE_ERROR), "EFI_DEVICE_ERROR");
    EXPECT_FALSE(kelm::StatusFromName(""));
    EXPECT_FALSE(kelm::StatusFromName("EFI_NOT"));
    char cut[5];
    EXPECT_EQ(kelm::StatusToText(EFI_TIMEOUT, cut), 4u);
    EXPECT_STREQ(cut, "Time");
    EXPECT_EQ(kelm::StatusToText(~EFI_STATUS(0), cut), 4u);
}

} // namespace
