#include "post/PasswordInput.h"

#include "console/KeyInput.h"
#include "console/Print.h"
#include "library/pure/Ucs2.h"
#include "library/pure/Wipe.h"

namespace kelm {

void BdsReadPassword(UINTN maximumLength, CHAR16* text) {
    EFI_INPUT_KEY key{};
    UINTN count = 0;
    for (;;) {
        key = PollKey();
        if (key.UnicodeChar == CHAR_BACKSPACE || key.ScanCode == SCAN_LEFT) {
            if (count > 0) {
                PrintUnwrapped(u"\b \b");
                --count;
            }
        } else if (key.UnicodeChar == CHAR_CARRIAGE_RETURN) {
            break;
        } else if (key.ScanCode == SCAN_NULL && key.UnicodeChar != CHAR_NULL &&
                   count < maximumLength) {
            text[count++] = key.UnicodeChar;
            PrintUnwrapped(u"*");
        }
    }
    WipeMemory(&key, sizeof(key));
    text[count] = CHAR_NULL;
    PrintUnwrapped(u"\r\n");
}

TypedPassword::TypedPassword(UINT16 maximumLength)
    : maximumLength_(maximumLength), text_(AllocateZeroPool<CHAR16>(maximumLength_ + 1)) {}

bool TypedPassword::Fits() const {
    return Ucs2Length(text_.get(), maximumLength_ + 1) <= maximumLength_;
}

void TypedPassword::Wipe() {
    if (text_) {
        WipeMemory(text_.get(), (maximumLength_ + 1) * sizeof(CHAR16));
    }
}

void TypedPassword::Free() {
    Wipe();
    text_.reset();
}

} // namespace kelm
