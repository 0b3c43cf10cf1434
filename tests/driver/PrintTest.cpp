#include "console/Print.h"
#include "library/firmware/Services.h"
#include "strings/Strings.h"
#include "tests/driver/DriverBoot.h"
#include "uefi/SimpleTextOutput.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace kelm::test {

namespace {

std::vector<std::string> gPieces;

EFI_STATUS EFIAPI TakePiece(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL*, const CHAR16* text) {
    const std::u16string_view piece(text);
    gPieces.emplace_back(piece.begin(), piece.end());
    return EFI_SUCCESS;
}

// What the console receives, piece by piece, while `body` runs.
std::vector<std::string> Received(const std::function<void()>& body) {
    gPieces.clear();
    RunInFirmware("{}", [&](sim::Platform&) {
        EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL console{};
        console.OutputString = TakePiece;
        gST->ConOut = &console;
        body();
        gST->ConOut = nullptr;
        body(); // without a console nothing is written, and nothing breaks
    });
    return gPieces;
}

std::vector<std::string> Pieces(UINTN columns, const std::u16string& text) {
    UINTN counted = 0;
    const std::vector<std::string> pieces = Received([&] {
        SetPrintWrapColumn(columns);
        counted += PrintWrapped(text.c_str());
    });
    EXPECT_EQ(counted, pieces.size());
    return pieces;
}

// Text of one letter with something behind it.
std::string Repeat(std::size_t count, std::string_view tail = "") {
    return fmt::format("{:x>{}}{}", "", count, tail);
}

std::u16string Wide(const std::string& text) {
    return std::u16string(text.begin(), text.end());
}

} // namespace

TEST(Print, WrapsAtWords) {
    struct Row {
        UINTN columns;
        std::string text;
        std::vector<std::string> pieces;
    };
    const Row rows[] = {
        {79, Repeat(79, " tail!"), {Repeat(79, "\r\n"), "tail!"}},
        {79, Repeat(100), {Repeat(79, "\r\n"), Repeat(21)}},
        {79, Repeat(79), {Repeat(79)}},
        {10, "aaaa bbbb cccc", {"aaaa bbbb\r\n", "cccc"}},
        {10, "aaaa bbbbb cc", {"aaaa bbbbb\r\n", "cc"}},
        {10, "aaaa bbbbbb cc", {"aaaa\r\n", "bbbbbb cc"}},
        {10, "aaaa    bbbbbbbbbb", {"aaaa   \r\n", "bbbbbbbbbb"}},
        {10, "aaaaaaaaaa     bb", {"aaaaaaaaaa\r\n", "bb"}},
        {10, "one\ntwo\n", {"one\r\n", "two\r\n"}},
        {10, "\n\nx", {"\r\n", "\r\n", "x"}},
        {10, "aaaaaaaaaa\nbb", {"aaaaaaaaaa\r\n", "bb"}},
        {0, Repeat(300), {Repeat(300)}},
        {5000, Repeat(300), {Repeat(256, "\r\n"), Repeat(44)}},
        {10, "", {}},
        // Spaces at the start of a text stay, those behind a cut do not.
        {10, "  aaaaaaaaaa", {" \r\n", "aaaaaaaaaa"}},
        {10, "aaaaaaaaaa \nbb", {"aaaaaaaaaa\r\n", "\r\n", "bb"}},
        {10, "aaaaaaaaaaa bb", {"aaaaaaaaaa\r\n", "a bb"}},
        {10, "aa\n  bb", {"aa\r\n", "  bb"}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Pieces(row.columns, Wide(row.text)), row.pieces)
            << row.columns << ": " << row.text;
    }
}

TEST(Print, FormatsBoundedTextAndShowsStringsByNumber) {
    bool registered = false;
    const std::vector<std::string> pieces = Received([&] {
        if (!registered) {
            EXPECT_EQ(PrintHiiString(kStringResetting), EFI_NOT_FOUND) << "not registered yet";
            EXPECT_EQ(BdsRegisterStrings(), EFI_SUCCESS);
            registered = true;
        }
        EXPECT_EQ(PrintHiiString(kStringResetting), EFI_SUCCESS);
        EXPECT_EQ(PrintHiiString(0), EFI_NOT_FOUND);
        EXPECT_EQ(PrintHiiString(0xFFFF), EFI_NOT_FOUND);
        EXPECT_EQ(PrintHiiString(0x1C), EFI_NOT_FOUND);
        PrintString(nullptr);
        PrintFormatted(u"%d of %s", 3, u"four");
        PrintFormatted(u"%s", std::u16string(600, u'w').c_str());
    });
    EXPECT_EQ(pieces, (std::vector<std::string>{"Resetting the system...", "3 of four",
                                                std::string(511, 'w')}));
}

} // namespace kelm::test
