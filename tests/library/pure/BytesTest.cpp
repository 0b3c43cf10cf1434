#include "library/pure/Bytes.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <vector>

#include "library/pure/Crc32.h"

namespace {

constexpr EFI_GUID kGuid = {0x8BE4DF61, 0x93CA, 0x11D2, {0xAA, 0x0D, 0, 0xE0, 0x98, 3, 0x2B, 0x8C}};

void WriteRecord(kelm::ByteWriter& writer) {
    writer.WriteU8(0x11);
    writer.WriteU16(0x2233);
    writer.WriteU32(0x44556677);
    writer.WriteU64(0x8899AABBCCDDEEFF);
    writer.WriteGuid(kGuid);
    writer.WriteUcs2String(u"Ab\u2550");
    writer.WriteAsciiString("xyz");
    writer.WriteZeros(2);
    writer.PatchU16(1, 0x9988);
}
constexpr size_t kRecordSize = 1 + 2 + 4 + 8 + 16 + 8 + 4 + 2;

// Every field in order; what cannot be read comes back as zero or empty.
bool ReadRecord(kelm::ByteReader& reader) {
    bool same = reader.ReadU8() == 0x11;
    same = (reader.ReadU16() == 0x9988) && same;
    same = (reader.ReadU32() == 0x44556677) && same;
    same = (reader.ReadU64() == 0x8899AABBCCDDEEFF) && same;
    same = (reader.ReadGuid() == kGuid) && same;
    same = reader.ReadUcs2String().Equals(u"Ab\u2550") && same;
    same = (reader.ReadAsciiString() == "xyz") && same;
    return same && reader.ReadBytes(2).size() == 2;
}

TEST(Bytes, ARecordReadsBackAndEveryCutOneFailsWithoutAnOverrun) {
    std::array<UINT8, kRecordSize> whole;
    kelm::ByteWriter writer(whole);
    WriteRecord(writer);
    ASSERT_TRUE(writer.Ok());
    EXPECT_EQ(writer.Written().size(), kRecordSize);
    EXPECT_EQ(whole[1], 0x88); // little-endian

    kelm::ByteReader reader(whole);
    EXPECT_TRUE(ReadRecord(reader));
    EXPECT_TRUE(reader.AtEnd());

    for (size_t size = 0; size < kRecordSize; size++) {
        const auto exact = std::make_unique<UINT8[]>(size);
        std::copy_n(whole.begin(), size, exact.get());
        kelm::ByteReader cut(exact.get(), size);
        EXPECT_FALSE(ReadRecord(cut)) << size;
        EXPECT_FALSE(cut.Ok()) << size;

        kelm::ByteWriter small({exact.get(), size});
        WriteRecord(small);
        EXPECT_FALSE(small.Ok()) << size;
        EXPECT_EQ(small.Needed(), kRecordSize);
        EXPECT_TRUE(small.Written().empty());
    }
}

TEST(Bytes, AFailureStaysAndConsumesNothing) {
    const UINT8 bytes[] = {1, 2, 3};
    kelm::ByteReader reader(bytes);
    reader.Skip(1);
    EXPECT_EQ(reader.ReadU32(), 0u);
    EXPECT_EQ(reader.Position(), 1u);
    EXPECT_EQ(reader.ReadU16(), 0x0302);
    EXPECT_FALSE(reader.Ok());
    EXPECT_TRUE(reader.ReadBytes(~size_t(0)).empty());
    kelm::ByteReader unterminated(bytes);
    EXPECT_TRUE(unterminated.ReadUcs2String().empty());
    EXPECT_FALSE(unterminated.Ok());
    kelm::ByteReader none(nullptr, 5);
    EXPECT_EQ(none.Remaining(), 0u);
}

TEST(Crc32, MatchesTheStandardCheckValueInOnePassOrMany) {
    const std::string_view check = "123456789";
    EXPECT_EQ(kelm::Crc32(check.data(), check.size()), 0xCBF43926u);
    UINT32 crc = 0;
    for (const char c : check) {
        const UINT8 byte = UINT8(c);
        crc = kelm::Crc32Update(crc, {&byte, 1});
    }
    EXPECT_EQ(crc, 0xCBF43926u);
    EXPECT_EQ(kelm::Crc32(nullptr, 0), 0u);
}

} // namespace
