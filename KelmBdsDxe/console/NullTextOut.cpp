#include "console/NullTextOut.h"

namespace kelm {

namespace {

EFI_STATUS EFIAPI Reset(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL*, BOOLEAN) {
    return EFI_SUCCESS;
}
EFI_STATUS EFIAPI OutputString(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL*, const CHAR16*) {
    return EFI_SUCCESS;
}
EFI_STATUS EFIAPI TestString(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL*, const CHAR16*) {
    return EFI_SUCCESS;
}
EFI_STATUS EFIAPI QueryMode(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL*, UINTN, UINTN*, UINTN*) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS EFIAPI SetMode(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL*, UINTN) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS EFIAPI SetAttribute(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL*, UINTN) {
    return EFI_SUCCESS;
}
EFI_STATUS EFIAPI ClearScreen(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL*) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS EFIAPI SetCursorPosition(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL*, UINTN, UINTN) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS EFIAPI EnableCursor(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL*, BOOLEAN) {
    return EFI_UNSUPPORTED;
}

// Nobody writes to either.
constinit EFI_SIMPLE_TEXT_OUTPUT_MODE mMode = {};
constinit EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL mNullTextOut = {
    .Reset = Reset,
    .OutputString = OutputString,
    .TestString = TestString,
    .QueryMode = QueryMode,
    .SetMode = SetMode,
    .SetAttribute = SetAttribute,
    .ClearScreen = ClearScreen,
    .SetCursorPosition = SetCursorPosition,
    .EnableCursor = EnableCursor,
    .Mode = &mMode,
};

} // namespace

EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* NullTextOut() {
    return &mNullTextOut;
}

} // namespace kelm
