// Text output: EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL, colours and the box drawing, block and arrow
// characters every console must show (UEFI 2.10, section 12.4).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiSimpleTextOutProtocolGuid = {
    0x387477C2, 0x69C7, 0x11D2, {0x8E, 0x39, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};

// Foreground colours; the first eight serve as background colours too.
inline constexpr UINTN EFI_BLACK = 0x00;
inline constexpr UINTN EFI_BLUE = 0x01;
inline constexpr UINTN EFI_GREEN = 0x02;
inline constexpr UINTN EFI_CYAN = 0x03;
inline constexpr UINTN EFI_RED = 0x04;
inline constexpr UINTN EFI_MAGENTA = 0x05;
inline constexpr UINTN EFI_BROWN = 0x06;
inline constexpr UINTN EFI_LIGHTGRAY = 0x07;
inline constexpr UINTN EFI_BRIGHT = 0x08;
inline constexpr UINTN EFI_DARKGRAY = 0x08;
inline constexpr UINTN EFI_LIGHTBLUE = 0x09;
inline constexpr UINTN EFI_LIGHTGREEN = 0x0A;
inline constexpr UINTN EFI_LIGHTCYAN = 0x0B;
inline constexpr UINTN EFI_LIGHTRED = 0x0C;
inline constexpr UINTN EFI_LIGHTMAGENTA = 0x0D;
inline constexpr UINTN EFI_YELLOW = 0x0E;
inline constexpr UINTN EFI_WHITE = 0x0F;

inline constexpr UINTN EFI_BACKGROUND_BLACK = 0x00;
inline constexpr UINTN EFI_BACKGROUND_BLUE = 0x10;
inline constexpr UINTN EFI_BACKGROUND_GREEN = 0x20;
inline constexpr UINTN EFI_BACKGROUND_CYAN = 0x30;
inline constexpr UINTN EFI_BACKGROUND_RED = 0x40;
inline constexpr UINTN EFI_BACKGROUND_MAGENTA = 0x50;
inline constexpr UINTN EFI_BACKGROUND_BROWN = 0x60;
inline constexpr UINTN EFI_BACKGROUND_LIGHTGRAY = 0x70;

// An attribute out of a foreground (0x00-0x0F) and a background colour number (0-7).
constexpr UINTN EFI_TEXT_ATTR(UINTN foreground, UINTN background) {
    return foreground | (background << 4);
}

// Box drawing.
inline constexpr CHAR16 BOXDRAW_HORIZONTAL = 0x2500;
inline constexpr CHAR16 BOXDRAW_VERTICAL = 0x2502;
inline constexpr CHAR16 BOXDRAW_DOWN_RIGHT = 0x250C;
inline constexpr CHAR16 BOXDRAW_DOWN_LEFT = 0x2510;
inline constexpr CHAR16 BOXDRAW_UP_RIGHT = 0x2514;
inline constexpr CHAR16 BOXDRAW_UP_LEFT = 0x2518;
inline constexpr CHAR16 BOXDRAW_VERTICAL_RIGHT = 0x251C;
inline constexpr CHAR16 BOXDRAW_VERTICAL_LEFT = 0x2524;
inline constexpr CHAR16 BOXDRAW_DOWN_HORIZONTAL = 0x252C;
inline constexpr CHAR16 BOXDRAW_UP_HORIZONTAL = 0x2534;
inline constexpr CHAR16 BOXDRAW_VERTICAL_HORIZONTAL = 0x253C;
inline constexpr CHAR16 BOXDRAW_DOUBLE_HORIZONTAL = 0x2550;
inline constexpr CHAR16 BOXDRAW_DOUBLE_VERTICAL = 0x2551;
inline constexpr CHAR16 BOXDRAW_DOWN_RIGHT_DOUBLE = 0x2552;
inline constexpr CHAR16 BOXDRAW_DOWN_DOUBLE_RIGHT = 0x2553;
inline constexpr CHAR16 BOXDRAW_DOUBLE_DOWN_RIGHT = 0x2554;
inline constexpr CHAR16 BOXDRAW_DOWN_LEFT_DOUBLE = 0x2555;
inline constexpr CHAR16 BOXDRAW_DOWN_DOUBLE_LEFT = 0x2556;
inline constexpr CHAR16 BOXDRAW_DOUBLE_DOWN_LEFT = 0x2557;
inline constexpr CHAR16 BOXDRAW_UP_RIGHT_DOUBLE = 0x2558;
inline constexpr CHAR16 BOXDRAW_UP_DOUBLE_RIGHT = 0x2559;
inline constexpr CHAR16 BOXDRAW_DOUBLE_UP_RIGHT = 0x255A;
inline constexpr CHAR16 BOXDRAW_UP_LEFT_DOUBLE = 0x255B;
inline constexpr CHAR16 BOXDRAW_UP_DOUBLE_LEFT = 0x255C;
inline constexpr CHAR16 BOXDRAW_DOUBLE_UP_LEFT = 0x255D;
inline constexpr CHAR16 BOXDRAW_VERTICAL_RIGHT_DOUBLE = 0x255E;
inline constexpr CHAR16 BOXDRAW_VERTICAL_DOUBLE_RIGHT = 0x255F;
inline constexpr CHAR16 BOXDRAW_DOUBLE_VERTICAL_RIGHT = 0x2560;
inline constexpr CHAR16 BOXDRAW_VERTICAL_LEFT_DOUBLE = 0x2561;
inline constexpr CHAR16 BOXDRAW_VERTICAL_DOUBLE_LEFT = 0x2562;
inline constexpr CHAR16 BOXDRAW_DOUBLE_VERTICAL_LEFT = 0x2563;
inline constexpr CHAR16 BOXDRAW_DOWN_HORIZONTAL_DOUBLE = 0x2564;
inline constexpr CHAR16 BOXDRAW_DOWN_DOUBLE_HORIZONTAL = 0x2565;
inline constexpr CHAR16 BOXDRAW_DOUBLE_DOWN_HORIZONTAL = 0x2566;
inline constexpr CHAR16 BOXDRAW_UP_HORIZONTAL_DOUBLE = 0x2567;
inline constexpr CHAR16 BOXDRAW_UP_DOUBLE_HORIZONTAL = 0x2568;
inline constexpr CHAR16 BOXDRAW_DOUBLE_UP_HORIZONTAL = 0x2569;
inline constexpr CHAR16 BOXDRAW_VERTICAL_HORIZONTAL_DOUBLE = 0x256A;
inline constexpr CHAR16 BOXDRAW_VERTICAL_DOUBLE_HORIZONTAL = 0x256B;
inline constexpr CHAR16 BOXDRAW_DOUBLE_VERTICAL_HORIZONTAL = 0x256C;

// Blocks, geometric shapes and arrows.
inline constexpr CHAR16 BLOCKELEMENT_FULL_BLOCK = 0x2588;
inline constexpr CHAR16 BLOCKELEMENT_LIGHT_SHADE = 0x2591;
inline constexpr CHAR16 GEOMETRICSHAPE_UP_TRIANGLE = 0x25B2;
inline constexpr CHAR16 GEOMETRICSHAPE_RIGHT_TRIANGLE = 0x25BA;
inline constexpr CHAR16 GEOMETRICSHAPE_DOWN_TRIANGLE = 0x25BC;
inline constexpr CHAR16 GEOMETRICSHAPE_LEFT_TRIANGLE = 0x25C4;
inline constexpr CHAR16 ARROW_LEFT = 0x2190;
inline constexpr CHAR16 ARROW_UP = 0x2191;
inline constexpr CHAR16 ARROW_RIGHT = 0x2192;
inline constexpr CHAR16 ARROW_DOWN = 0x2193;

struct EFI_SIMPLE_TEXT_OUTPUT_MODE {
    INT32 MaxMode; // number of modes: valid mode numbers are 0 to MaxMode - 1
    INT32 Mode;    // -1 while no mode was set
    INT32 Attribute;
    INT32 CursorColumn;
    INT32 CursorRow;
    BOOLEAN CursorVisible;
};
static_assert(sizeof(EFI_SIMPLE_TEXT_OUTPUT_MODE) == 24);

struct EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL {
    EFI_STATUS(EFIAPI* Reset)(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* This, BOOLEAN ExtendedVerification);
    EFI_STATUS(EFIAPI* OutputString)(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* This, const CHAR16* String);
    EFI_STATUS(EFIAPI* TestString)(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* This, const CHAR16* String);
    EFI_STATUS(EFIAPI* QueryMode)
    (EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* This, UINTN ModeNumber, UINTN* Columns, UINTN* Rows);
    EFI_STATUS(EFIAPI* SetMode)(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* This, UINTN ModeNumber);
    EFI_STATUS(EFIAPI* SetAttribute)(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* This, UINTN Attribute);
    EFI_STATUS(EFIAPI* ClearScreen)(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* This);
    EFI_STATUS(EFIAPI* SetCursorPosition)
    (EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* This, UINTN Column, UINTN Row);
    EFI_STATUS(EFIAPI* EnableCursor)(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* This, BOOLEAN Visible);
    EFI_SIMPLE_TEXT_OUTPUT_MODE* Mode;
};
static_assert(sizeof(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL) == 80);

template <>
struct ProtocolGuid<EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiSimpleTextOutProtocolGuid;
};
