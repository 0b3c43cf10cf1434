// Typing a password: key by key, shown as asterisks, and kept nowhere longer than needed.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"

namespace kelm {

// Reads one password from the console input into `text`, which has room for `maximumLength`
// characters and a NUL, and returns when Enter is pressed. Backspace and Left take a character
// back; what is too long is not taken, nor is any other key without a character.
void BdsReadPassword(UINTN maximumLength, CHAR16* text);

// Room for a typed password. It is wiped before its memory goes back to the pool.
class TypedPassword {
public:
    // IsNull() when memory is out.
    explicit TypedPassword(UINT16 maximumLength);
    TypedPassword(const TypedPassword&) = delete;
    TypedPassword& operator=(const TypedPassword&) = delete;
    ~TypedPassword() { Free(); }

    bool IsNull() const { return !text_; }
    void Read() { BdsReadPassword(maximumLength_, text_.get()); }
    const CHAR16* text() const { return text_.get(); }
    // Whether what was read keeps to the maximum.
    bool Fits() const;
    // Forgets what was read; more can be read.
    void Wipe();
    // Wipes and gives the memory back.
    void Free();

private:
    UINTN maximumLength_;
    PoolPtr<CHAR16> text_;
};

} // namespace kelm
