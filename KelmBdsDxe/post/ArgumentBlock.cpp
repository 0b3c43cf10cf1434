#include "post/ArgumentBlock.h"

#include "library/pure/Ucs2.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kelm {

namespace {

constexpr UINTN kFormattedRoom = 512 / sizeof(CHAR16);
constexpr UINTN kSettlingTime = 100'000; // microseconds
constexpr UINTN kMaxArguments = 8;

struct BlockForm {
    UINT32 number;
    const CHAR16* pattern;
    UINTN strings;
};

constexpr BlockForm kForms[] = {
    {35, u"%s %d %d", 3},  {102, u"%s %d %d", 3}, {67, u"%s", 1},           {68, u"%s", 1},
    {278, u"%s", 1},       {361, u"%s", 1},       {376, u"%s", 1},          {276, u"%s %s", 2},
    {277, u"%s %s", 2},    {314, u"%s %s", 2},    {331, u"%s %s", 2},       {345, u"%s %s", 2},
    {348, u"%s %s", 2},    {350, u"%s %s", 2},    {366, u"%s %s", 2},       {325, u"%s %s %s", 3},
    {349, u"%s %s %s", 3}, {377, u"%s %s %s", 3}, {380, u"%s %s %s %s", 4},
};
static_assert(std::all_of(std::begin(kForms), std::end(kForms), [](const BlockForm& form) {
    return form.strings >= 1 && form.strings <= kArgumentBlockMaxStrings;
}));

const BlockForm* FormOf(UINT32 number) {
    const auto* form = std::find_if(std::begin(kForms), std::end(kForms),
                                    [&](const BlockForm& row) { return row.number == number; });
    return form == std::end(kForms) ? nullptr : form;
}

bool IsText(const FormatArgument& argument) {
    return !argument.IsNull() && (argument.GetKind() == FormatArgument::Kind::Ucs2 ||
                                  argument.GetKind() == FormatArgument::Kind::Ascii);
}

const CHAR16* TextPattern(const FormatArgument& argument) {
    return argument.GetKind() == FormatArgument::Kind::Ascii ? u"%a" : u"%s";
}

// An argument as UCS-2, of whatever length.
PoolPtr<CHAR16> CopyText(const FormatArgument& argument) {
    if (!IsText(argument)) {
        return {};
    }
    const UINTN length = FormattedLengthV(TextPattern(argument), {&argument, 1});
    PoolPtr<CHAR16> text = AllocateZeroPool<CHAR16>(length + 1 + kArgumentBlockMaxStrings);
    if (text) {
        FormatUcs2V({text.get(), length + 1}, TextPattern(argument), {&argument, 1});
    }
    return text;
}

// Cuts a text into strings: the first one has a length of its own, every further one ends at the
// next blank. The last one is what is left.
void Cut(CHAR16* text, UINTN firstLength, UINTN strings) {
    const UINTN length = Ucs2Length(text);
    UINTN at = firstLength;
    for (UINTN i = 1; i < strings && at < length; ++i) {
        text[at] = u'\0';
        at = std::find(text + at + 1, text + length, u' ') - text;
    }
}

PoolPtr<CHAR16> FormatBlock(const BlockForm& form, std::u16string_view first,
                            FormatArguments arguments) {
    PoolPtr<CHAR16> block = AllocateZeroPool<CHAR16>(kFormattedRoom + kArgumentBlockMaxStrings);
    if (!block) {
        return {};
    }
    std::array<FormatArgument, kMaxArguments> packed;
    const UINTN count = std::min<UINTN>(arguments.size(), packed.size());
    std::copy_n(arguments.begin(), count, packed.begin());
    packed[0] = FormatArgument(first); // may have come as ASCII, or not at all
    FormatUcs2V({block.get(), kFormattedRoom}, form.pattern,
                {packed.data(), std::max<UINTN>(count, 1)});
    Cut(block.get(), first.size(), form.strings);
    static_cast<void>(gBS->Stall(kSettlingTime));
    return block;
}

} // namespace

PoolPtr<CHAR16> MakeArgumentBlock(UINT32 number, FormatArguments arguments) {
    PoolPtr<CHAR16> first;
    if (!arguments.empty()) {
        first = CopyText(arguments.front());
    }
    const BlockForm* form = FormOf(number);
    if (form == nullptr) {
        return first;
    }
    PoolPtr<CHAR16> block = FormatBlock(*form, Ucs2View(first.get()), arguments);
    return block ? std::move(block) : std::move(first);
}

} // namespace kelm
