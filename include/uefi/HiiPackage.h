// HII package lists and the packages in them: headers, string packages with their blocks, and
// simplified font packages (UEFI 2.10, section 33.3). Packages lie unaligned, so records are
// packed.
#pragma once

#include "uefi/Base.h"

using EFI_HII_HANDLE = void*;
using EFI_STRING_ID = UINT16;
using EFI_QUESTION_ID = UINT16;
using EFI_FORM_ID = UINT16;
using EFI_IMAGE_ID = UINT16;

struct [[gnu::packed]] EFI_HII_PACKAGE_LIST_HEADER {
    EFI_GUID PackageListGuid;
    UINT32 PackageLength; // of the whole list, header and end package included
};
static_assert(sizeof(EFI_HII_PACKAGE_LIST_HEADER) == 20);

struct [[gnu::packed]] EFI_HII_PACKAGE_HEADER {
    UINT32 Length : 24; // header included
    UINT32 Type : 8;
};
static_assert(sizeof(EFI_HII_PACKAGE_HEADER) == 4);

// Package types.
inline constexpr UINT8 EFI_HII_PACKAGE_TYPE_ALL = 0x00;
inline constexpr UINT8 EFI_HII_PACKAGE_TYPE_GUID = 0x01;
inline constexpr UINT8 EFI_HII_PACKAGE_FORMS = 0x02;
inline constexpr UINT8 EFI_HII_PACKAGE_STRINGS = 0x04;
inline constexpr UINT8 EFI_HII_PACKAGE_FONTS = 0x05;
inline constexpr UINT8 EFI_HII_PACKAGE_IMAGES = 0x06;
inline constexpr UINT8 EFI_HII_PACKAGE_SIMPLE_FONTS = 0x07;
inline constexpr UINT8 EFI_HII_PACKAGE_DEVICE_PATH = 0x08;
inline constexpr UINT8 EFI_HII_PACKAGE_KEYBOARD_LAYOUT = 0x09;
inline constexpr UINT8 EFI_HII_PACKAGE_ANIMATIONS = 0x0A;
inline constexpr UINT8 EFI_HII_PACKAGE_END = 0xDF;
inline constexpr UINT8 EFI_HII_PACKAGE_TYPE_SYSTEM_BEGIN = 0xE0;
inline constexpr UINT8 EFI_HII_PACKAGE_TYPE_SYSTEM_END = 0xFF;

// Followed by the language, an RFC 4646 tag, ASCII, null-terminated; HdrSize counts it. String
// blocks start StringInfoOffset bytes from the start of the package.
struct [[gnu::packed]] EFI_HII_STRING_PACKAGE_HDR {
    EFI_HII_PACKAGE_HEADER Header;
    UINT32 HdrSize;
    UINT32 StringInfoOffset;
    CHAR16 LanguageWindow[16];
    EFI_STRING_ID LanguageName; // the string that names the language, 1 by convention
};
static_assert(sizeof(EFI_HII_STRING_PACKAGE_HDR) == 46);

// String block types. String identifiers count from 1 in block order.
inline constexpr UINT8 EFI_HII_SIBT_END = 0x00;
inline constexpr UINT8 EFI_HII_SIBT_STRING_SCSU = 0x10;
inline constexpr UINT8 EFI_HII_SIBT_STRING_SCSU_FONT = 0x11;
inline constexpr UINT8 EFI_HII_SIBT_STRINGS_SCSU = 0x12;
inline constexpr UINT8 EFI_HII_SIBT_STRINGS_SCSU_FONT = 0x13;
inline constexpr UINT8 EFI_HII_SIBT_STRING_UCS2 = 0x14;
inline constexpr UINT8 EFI_HII_SIBT_STRING_UCS2_FONT = 0x15;
inline constexpr UINT8 EFI_HII_SIBT_STRINGS_UCS2 = 0x16;
inline constexpr UINT8 EFI_HII_SIBT_STRINGS_UCS2_FONT = 0x17;
inline constexpr UINT8 EFI_HII_SIBT_DUPLICATE = 0x20;
inline constexpr UINT8 EFI_HII_SIBT_SKIP2 = 0x21;
inline constexpr UINT8 EFI_HII_SIBT_SKIP1 = 0x22;
inline constexpr UINT8 EFI_HII_SIBT_EXT1 = 0x30;
inline constexpr UINT8 EFI_HII_SIBT_EXT2 = 0x31;
inline constexpr UINT8 EFI_HII_SIBT_EXT4 = 0x32;
inline constexpr UINT8 EFI_HII_SIBT_FONT = 0x40;

// The block's own data follows: for STRING_UCS2 a null-terminated CHAR16 string.
struct [[gnu::packed]] EFI_HII_STRING_BLOCK {
    UINT8 BlockType;
};
static_assert(sizeof(EFI_HII_STRING_BLOCK) == 1);

struct [[gnu::packed]] EFI_HII_SIBT_DUPLICATE_BLOCK {
    EFI_HII_STRING_BLOCK Header;
    EFI_STRING_ID StringId;
};
static_assert(sizeof(EFI_HII_SIBT_DUPLICATE_BLOCK) == 3);

struct [[gnu::packed]] EFI_HII_SIBT_SKIP1_BLOCK {
    EFI_HII_STRING_BLOCK Header;
    UINT8 SkipCount;
};
static_assert(sizeof(EFI_HII_SIBT_SKIP1_BLOCK) == 2);

struct [[gnu::packed]] EFI_HII_SIBT_SKIP2_BLOCK {
    EFI_HII_STRING_BLOCK Header;
    UINT16 SkipCount;
};
static_assert(sizeof(EFI_HII_SIBT_SKIP2_BLOCK) == 3);

// Simplified fonts: glyphs of 8 x 19 and 16 x 19 pixels.
inline constexpr UINTN EFI_GLYPH_HEIGHT = 19;
inline constexpr UINTN EFI_GLYPH_WIDTH = 8;
inline constexpr UINT8 EFI_GLYPH_NON_SPACING = 0x01;
inline constexpr UINT8 EFI_GLYPH_WIDE = 0x02;

struct [[gnu::packed]] EFI_NARROW_GLYPH {
    CHAR16 UnicodeWeight;
    UINT8 Attributes;
    UINT8 GlyphCol1[EFI_GLYPH_HEIGHT];
};
static_assert(sizeof(EFI_NARROW_GLYPH) == 22);

struct [[gnu::packed]] EFI_WIDE_GLYPH {
    CHAR16 UnicodeWeight;
    UINT8 Attributes;
    UINT8 GlyphCol1[EFI_GLYPH_HEIGHT];
    UINT8 GlyphCol2[EFI_GLYPH_HEIGHT];
    UINT8 Pad[3];
};
static_assert(sizeof(EFI_WIDE_GLYPH) == 44);

// Followed by the narrow glyphs, then the wide ones.
struct [[gnu::packed]] EFI_HII_SIMPLE_FONT_PACKAGE_HDR {
    EFI_HII_PACKAGE_HEADER Header;
    UINT16 NumberOfNarrowGlyphs;
    UINT16 NumberOfWideGlyphs;
};
static_assert(sizeof(EFI_HII_SIMPLE_FONT_PACKAGE_HDR) == 8);
