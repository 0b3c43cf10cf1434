// The two error codes that stay behind for setup and the controller: the identifiers of the first
// errors that asked for the prompt, in the settings F1F2ErrCode1 and F1F2ErrCode2.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Puts an identifier into the first setting that is free or cannot be read; does nothing when
// neither is, or when it has not 8 characters.
void BdsRememberErrorCode(const CHAR16* identifier);
// Frees both settings.
void BdsClearErrorCodes();

} // namespace kelm
