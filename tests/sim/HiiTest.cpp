// HII package lists: what is read from a good one, and that no damage to one is accepted or
// dangerous.

#include "sim/siblings/HiiDatabase.h"
#include "tests/sim/TestMachine.h"

#include <cstring>

namespace sim {
namespace {

constexpr EFI_GUID kListGuid = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};

using Bytes = std::vector<UINT8>;

void Add(Bytes& bytes, std::uint64_t value, int width) {
    for (int i = 0; i < width; i++) {
        bytes.push_back(UINT8(value >> (8 * i)));
    }
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes Text(std::u16string_view text) {
    Bytes bytes;
    for (const char16_t c : text) {
        Add(bytes, c, 2);
    }
    Add(bytes, 0, 2);
    return bytes;
}

Bytes Package(UINT8 type, const Bytes& body) {
    Bytes bytes;
    Add(bytes, body.size() + 4, 3);
    bytes.push_back(type);
    return bytes + body;
}

Bytes StringPackage(std::string_view language, const Bytes& blocks) {
    const std::size_t headerSize = 46 + language.size() + 1;
    Bytes body;
    Add(body, headerSize, 4);
    Add(body, headerSize, 4);
    body.resize(body.size() + 32); // language window
    Add(body, 1, 2);
    body.insert(body.end(), language.begin(), language.end());
    body.push_back(0);
    return Package(EFI_HII_PACKAGE_STRINGS, body + blocks);
}

const Bytes kEndPackage = Package(EFI_HII_PACKAGE_END, {});

Bytes List(const Bytes& packages) {
    Bytes bytes(sizeof(EFI_GUID));
    std::memcpy(bytes.data(), &kListGuid, sizeof(kListGuid));
    Add(bytes, 20 + packages.size(), 4);
    return bytes + packages;
}

// Strings 1 "One", 4 "Four", 5 = 1 again, 6 "", and 1 in German.
Bytes GoodList() {
    const Bytes english = Bytes{0x14} + Text(u"One") + Bytes{0x22, 2} + Bytes{0x14} +
                          Text(u"Four") + Bytes{0x20, 1, 0} + Bytes{0x14} + Text(u"") + Bytes{0};
    const Bytes german = Bytes{0x14} + Text(u"Eins") + Bytes{0};
    return List(StringPackage("en-US", english) +
                Package(EFI_HII_PACKAGE_SIMPLE_FONTS, {0, 0, 0, 0}) +
                StringPackage("de-DE", german) + kEndPackage);
}

TEST(HiiPackages, ReadsEveryBlockThatOurStringsUse) {
    const Bytes more = Bytes{0x21, 3, 0} +                // SKIP2: 1 to 3
                       Bytes{0x30, 0x40, 5, 0xAA, 0xBB} + // EXT1 with two bytes of its own
                       Bytes{0x16, 2, 0} + Text(u"4") + Text(u"5") + Bytes{0};
    const auto list = ParseHiiPackageList(List(StringPackage("en", more) + kEndPackage));
    ASSERT_TRUE(list);
    EXPECT_FALSE(list->HasString(3));
    EXPECT_EQ(*list->FindString("EN", 4), u"4");
    EXPECT_EQ(*list->FindString("en", 5), u"5");
    EXPECT_FALSE(list->HasString(6));
}

TEST(HiiPackages, RefusesMalformedLists) {
    const auto withBlocks = [](Bytes blocks) {
        return List(StringPackage("en-US", blocks) + kEndPackage);
    };
    Bytes longName = StringPackage("en-US", {0});
    longName[4] = 255; // header size beyond the package
    Bytes blocksInHeader = StringPackage("en-US", {0});
    blocksInHeader[8] = 40; // blocks begin inside the header
    Bytes openLanguage = StringPackage("en-US", {0});
    openLanguage[4] = openLanguage[8] = 51; // the language's NUL is outside
    const std::pair<const char*, Bytes> rows[] = {
        {"nothing", {}},
        {"no end package", List(StringPackage("en-US", {0}))},
        {"something behind the end", List(kEndPackage + Package(EFI_HII_PACKAGE_FORMS, {}))},
        {"package shorter than its header", List(Bytes{3, 0, 0, 4} + kEndPackage)},
        {"package longer than the list", List(Bytes{200, 0, 0, 5} + kEndPackage)},
        {"no end block", withBlocks(Bytes{0x14} + Text(u"One"))},
        {"unknown block", withBlocks({0x77, 0})},
        {"string without a NUL", withBlocks({0x14, 'O', 0, 0})},
        {"duplicate of no string", withBlocks({0x20, 1, 0, 0})},
        {"skip cut off", withBlocks({0x21, 1})},
        {"more identifiers than there are", withBlocks({0x21, 0xFF, 0xFF, 0x21, 2, 0, 0})},
        {"extension shorter than itself", withBlocks({0x30, 0x40, 2, 0})},
        {"extension beyond the package", withBlocks({0x32, 0x40, 0xFF, 0xFF, 0xFF, 0xFF, 0})},
        {"header size beyond the package", List(longName + kEndPackage)},
        {"blocks inside the header", List(blocksInHeader + kEndPackage)},
        {"language without a NUL", List(openLanguage + kEndPackage)},
    };
    for (const auto& [what, bytes] : rows) {
        EXPECT_FALSE(ParseHiiPackageList(bytes)) << what;
    }
    // Every beginning of a good list, and every byte of it damaged: never read beyond its end. The
    // bytes stand in a block of their own, so that the sanitizer sees it.
    const Bytes good = GoodList();
    ASSERT_TRUE(ParseHiiPackageList(good));
    for (std::size_t size = 0; size < good.size(); size++) {
        EXPECT_FALSE(ParseHiiPackageList(Bytes(good.begin(), good.begin() + size)));
        for (const UINT8 value : {0x00, 0x01, 0x7F, 0xFF}) {
            Bytes damaged = good;
            damaged[size] = value;
            ParseHiiPackageList(damaged);
        }
    }
}

class Hii : public simtest::TestMachine {};

TEST_F(Hii, StringsAreServedByLanguageAndSize) {
    PowerOn("", [&](Platform& p) {
        auto* database = Find<EFI_HII_DATABASE_PROTOCOL>(p);
        auto* strings = Find<EFI_HII_STRING_PROTOCOL>(p);
        const Bytes bytes = GoodList();
        const auto* header = reinterpret_cast<const EFI_HII_PACKAGE_LIST_HEADER*>(bytes.data());
        EFI_HII_HANDLE handle = nullptr;
        ASSERT_EQ(database->NewPackageList(database, header, p.arena.get(), &handle), EFI_SUCCESS);

        const auto get = [&](const char* language, EFI_STRING_ID id, UINTN& size) {
            CHAR16 text[16];
            const EFI_STATUS status =
                strings->GetString(strings, language, handle, id, text, &size, nullptr);
            return std::pair(status, status == EFI_SUCCESS ? ToUtf8(text) : "");
        };
        using Result = std::pair<EFI_STATUS, std::string>;
        struct Row {
            const char* language;
            EFI_STRING_ID id;
            UINTN room;
            UINTN size;
            Result result;
        };
        const Row rows[] = {
            {"en-US", 1, 32, 8, {EFI_SUCCESS, "One"}},
            {"en-us", 1, 8, 8, {EFI_SUCCESS, "One"}},
            {"en-US", 1, 7, 8, {EFI_BUFFER_TOO_SMALL, ""}},
            {"en-US", 4, 32, 10, {EFI_SUCCESS, "Four"}},
            {"en-US", 5, 32, 8, {EFI_SUCCESS, "One"}},
            {"en-US", 6, 2, 2, {EFI_SUCCESS, ""}},
            {"de-DE", 1, 32, 10, {EFI_SUCCESS, "Eins"}},
            {"de-DE", 4, 32, 32, {EFI_INVALID_LANGUAGE, ""}},
            {"en-US", 2, 32, 32, {EFI_NOT_FOUND, ""}},
            {"en-US", 0, 32, 32, {EFI_NOT_FOUND, ""}},
        };
        for (const Row& row : rows) {
            UINTN size = row.room;
            EXPECT_EQ(get(row.language, row.id, size), row.result) << row.language << " " << row.id;
            EXPECT_EQ(size, row.size);
        }
        UINTN size = 0;
        EXPECT_EQ(strings->GetString(strings, "en-US", handle, 1, nullptr, &size, nullptr),
                  EFI_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, 8u);

        CHAR8 languages[32];
        size = sizeof(languages);
        EXPECT_EQ(strings->GetLanguages(strings, handle, languages, &size), EFI_SUCCESS);
        EXPECT_STREQ(languages, "en-US;de-DE");

        Bytes exported(bytes.size());
        size = bytes.size();
        EXPECT_EQ(database->ExportPackageLists(
                      database, handle, &size,
                      reinterpret_cast<EFI_HII_PACKAGE_LIST_HEADER*>(exported.data())),
                  EFI_SUCCESS);
        EXPECT_EQ(exported, bytes);
        EXPECT_EQ(database->RemovePackageList(database, handle), EFI_SUCCESS);
        UINTN room = 32;
        EXPECT_EQ(get("en-US", 1, room).first, EFI_NOT_FOUND);
    });
}

TEST_F(Hii, ListIsNotReadBeyondItsPoolBlock) {
    PowerOn("", [&](Platform& p) {
        auto* database = Find<EFI_HII_DATABASE_PROTOCOL>(p);
        const Bytes bytes = GoodList();
        EFI_HII_HANDLE handle = nullptr;
        for (const std::size_t size : {std::size_t(8), std::size_t(20), bytes.size() - 1}) {
            void* cut = p.CopyToPool(bytes.data(), size, "test");
            EXPECT_EQ(database->NewPackageList(database,
                                               static_cast<EFI_HII_PACKAGE_LIST_HEADER*>(cut),
                                               nullptr, &handle),
                      EFI_INVALID_PARAMETER);
            EXPECT_EQ(p.arena->FreePool(cut), EFI_SUCCESS);
        }
        EXPECT_EQ(p.Get<HiiDatabase>().FindList(kListGuid), nullptr);
    });
}

} // namespace
} // namespace sim
