// Telling the password service when passwords may be typed.
#pragma once

#include "uefi/Base.h"

struct KelmPasswordProtocol;

namespace kelm {

// The password service, kept from its first use on. EFI_NOT_FOUND without it.
EFI_STATUS BdsLocatePasswords(KelmPasswordProtocol*& service);

// A boot image is about to be started. EFI_NOT_FOUND without the service.
EFI_STATUS BdsPasswordEntryBegin();
// The time for typing passwords is over. EFI_NOT_FOUND without the service.
EFI_STATUS BdsPasswordEntryEnd();

} // namespace kelm
