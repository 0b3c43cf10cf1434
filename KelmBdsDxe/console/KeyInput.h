// Reading keys of the console one at a time.
#pragma once

#include "uefi/SimpleTextInput.h"

namespace kelm {

// Takes the next key that was pressed. EFI_NOT_READY: none. EFI_NOT_FOUND: there is no console
// input. Otherwise the error of the input.
EFI_STATUS ReadKey(EFI_INPUT_KEY& key);
// Waits until a key is pressed, without giving the processor away and for ever if need be: a
// console input that is missing may still come.
EFI_INPUT_KEY PollKey();

} // namespace kelm
