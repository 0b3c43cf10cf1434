// Keyboard input: EFI_SIMPLE_TEXT_INPUT_PROTOCOL and EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL, with scan
// codes and shift and toggle states (UEFI 2.10, sections 12.2 and 12.3).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiSimpleTextInProtocolGuid = {
    0x387477C1, 0x69C7, 0x11D2, {0x8E, 0x39, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};
inline constexpr EFI_GUID gEfiSimpleTextInputExProtocolGuid = {
    0xDD9E7534, 0x7762, 0x4698, {0x8C, 0x14, 0xF5, 0x85, 0x17, 0xA6, 0x25, 0xAA}};

struct EFI_INPUT_KEY {
    UINT16 ScanCode;
    CHAR16 UnicodeChar;
};
static_assert(sizeof(EFI_INPUT_KEY) == 4);

// Control characters that arrive in UnicodeChar.
inline constexpr CHAR16 CHAR_NULL = 0x0000;
inline constexpr CHAR16 CHAR_BACKSPACE = 0x0008;
inline constexpr CHAR16 CHAR_TAB = 0x0009;
inline constexpr CHAR16 CHAR_LINEFEED = 0x000A;
inline constexpr CHAR16 CHAR_CARRIAGE_RETURN = 0x000D;

// Scan codes.
inline constexpr UINT16 SCAN_NULL = 0x0000;
inline constexpr UINT16 SCAN_UP = 0x0001;
inline constexpr UINT16 SCAN_DOWN = 0x0002;
inline constexpr UINT16 SCAN_RIGHT = 0x0003;
inline constexpr UINT16 SCAN_LEFT = 0x0004;
inline constexpr UINT16 SCAN_HOME = 0x0005;
inline constexpr UINT16 SCAN_END = 0x0006;
inline constexpr UINT16 SCAN_INSERT = 0x0007;
inline constexpr UINT16 SCAN_DELETE = 0x0008;
inline constexpr UINT16 SCAN_PAGE_UP = 0x0009;
inline constexpr UINT16 SCAN_PAGE_DOWN = 0x000A;
inline constexpr UINT16 SCAN_F1 = 0x000B;
inline constexpr UINT16 SCAN_F2 = 0x000C;
inline constexpr UINT16 SCAN_F3 = 0x000D;
inline constexpr UINT16 SCAN_F4 = 0x000E;
inline constexpr UINT16 SCAN_F5 = 0x000F;
inline constexpr UINT16 SCAN_F6 = 0x0010;
inline constexpr UINT16 SCAN_F7 = 0x0011;
inline constexpr UINT16 SCAN_F8 = 0x0012;
inline constexpr UINT16 SCAN_F9 = 0x0013;
inline constexpr UINT16 SCAN_F10 = 0x0014;
inline constexpr UINT16 SCAN_F11 = 0x0015;
inline constexpr UINT16 SCAN_F12 = 0x0016;
inline constexpr UINT16 SCAN_ESC = 0x0017;
inline constexpr UINT16 SCAN_PAUSE = 0x0048;
inline constexpr UINT16 SCAN_F13 = 0x0068;
inline constexpr UINT16 SCAN_F14 = 0x0069;
inline constexpr UINT16 SCAN_F15 = 0x006A;
inline constexpr UINT16 SCAN_F16 = 0x006B;
inline constexpr UINT16 SCAN_F17 = 0x006C;
inline constexpr UINT16 SCAN_F18 = 0x006D;
inline constexpr UINT16 SCAN_F19 = 0x006E;
inline constexpr UINT16 SCAN_F20 = 0x006F;
inline constexpr UINT16 SCAN_F21 = 0x0070;
inline constexpr UINT16 SCAN_F22 = 0x0071;
inline constexpr UINT16 SCAN_F23 = 0x0072;
inline constexpr UINT16 SCAN_F24 = 0x0073;
inline constexpr UINT16 SCAN_MUTE = 0x007F;
inline constexpr UINT16 SCAN_VOLUME_UP = 0x0080;
inline constexpr UINT16 SCAN_VOLUME_DOWN = 0x0081;
inline constexpr UINT16 SCAN_BRIGHTNESS_UP = 0x0100;
inline constexpr UINT16 SCAN_BRIGHTNESS_DOWN = 0x0101;
inline constexpr UINT16 SCAN_SUSPEND = 0x0102;
inline constexpr UINT16 SCAN_HIBERNATE = 0x0103;
inline constexpr UINT16 SCAN_TOGGLE_DISPLAY = 0x0104;
inline constexpr UINT16 SCAN_RECOVERY = 0x0105;
inline constexpr UINT16 SCAN_EJECT = 0x0106;

// EFI_KEY_STATE::KeyShiftState.
inline constexpr UINT32 EFI_SHIFT_STATE_VALID = 0x80000000u;
inline constexpr UINT32 EFI_RIGHT_SHIFT_PRESSED = 0x00000001u;
inline constexpr UINT32 EFI_LEFT_SHIFT_PRESSED = 0x00000002u;
inline constexpr UINT32 EFI_RIGHT_CONTROL_PRESSED = 0x00000004u;
inline constexpr UINT32 EFI_LEFT_CONTROL_PRESSED = 0x00000008u;
inline constexpr UINT32 EFI_RIGHT_ALT_PRESSED = 0x00000010u;
inline constexpr UINT32 EFI_LEFT_ALT_PRESSED = 0x00000020u;
inline constexpr UINT32 EFI_RIGHT_LOGO_PRESSED = 0x00000040u;
inline constexpr UINT32 EFI_LEFT_LOGO_PRESSED = 0x00000080u;
inline constexpr UINT32 EFI_MENU_KEY_PRESSED = 0x00000100u;
inline constexpr UINT32 EFI_SYS_REQ_PRESSED = 0x00000200u;

using EFI_KEY_TOGGLE_STATE = UINT8;

// EFI_KEY_STATE::KeyToggleState.
inline constexpr EFI_KEY_TOGGLE_STATE EFI_TOGGLE_STATE_VALID = 0x80;
inline constexpr EFI_KEY_TOGGLE_STATE EFI_KEY_STATE_EXPOSED = 0x40;
inline constexpr EFI_KEY_TOGGLE_STATE EFI_SCROLL_LOCK_ACTIVE = 0x01;
inline constexpr EFI_KEY_TOGGLE_STATE EFI_NUM_LOCK_ACTIVE = 0x02;
inline constexpr EFI_KEY_TOGGLE_STATE EFI_CAPS_LOCK_ACTIVE = 0x04;

struct EFI_KEY_STATE {
    UINT32 KeyShiftState;
    EFI_KEY_TOGGLE_STATE KeyToggleState;
};
static_assert(sizeof(EFI_KEY_STATE) == 8);

struct EFI_KEY_DATA {
    EFI_INPUT_KEY Key;
    EFI_KEY_STATE KeyState;
};
static_assert(sizeof(EFI_KEY_DATA) == 12);

struct EFI_SIMPLE_TEXT_INPUT_PROTOCOL {
    EFI_STATUS(EFIAPI* Reset)(EFI_SIMPLE_TEXT_INPUT_PROTOCOL* This, BOOLEAN ExtendedVerification);
    // EFI_NOT_READY when no key waits.
    EFI_STATUS(EFIAPI* ReadKeyStroke)(EFI_SIMPLE_TEXT_INPUT_PROTOCOL* This, EFI_INPUT_KEY* Key);
    EFI_EVENT WaitForKey;
};
static_assert(sizeof(EFI_SIMPLE_TEXT_INPUT_PROTOCOL) == 24);

using EFI_KEY_NOTIFY_FUNCTION = EFI_STATUS(EFIAPI*)(EFI_KEY_DATA* KeyData);

struct EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL {
    EFI_STATUS(EFIAPI* Reset)
    (EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* This, BOOLEAN ExtendedVerification);
    EFI_STATUS(EFIAPI* ReadKeyStrokeEx)
    (EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* This, EFI_KEY_DATA* KeyData);
    EFI_EVENT WaitForKeyEx;
    EFI_STATUS(EFIAPI* SetState)
    (EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* This, EFI_KEY_TOGGLE_STATE* KeyToggleState);
    EFI_STATUS(EFIAPI* RegisterKeyNotify)
    (EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* This, EFI_KEY_DATA* KeyData,
     EFI_KEY_NOTIFY_FUNCTION KeyNotificationFunction, void** NotifyHandle);
    EFI_STATUS(EFIAPI* UnregisterKeyNotify)
    (EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* This, void* NotificationHandle);
};
static_assert(sizeof(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL) == 48);

template <>
struct ProtocolGuid<EFI_SIMPLE_TEXT_INPUT_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiSimpleTextInProtocolGuid;
};

template <>
struct ProtocolGuid<EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiSimpleTextInputExProtocolGuid;
};
