// Overwriting what must not be found in memory afterwards.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Fills memory with zeros, also where the compiler can see that nobody reads it again.
inline void WipeMemory(void* memory, UINTN size) {
    auto* bytes = static_cast<volatile UINT8*>(memory);
    for (UINTN i = 0; i < size; ++i) {
        bytes[i] = 0;
    }
}

} // namespace kelm
