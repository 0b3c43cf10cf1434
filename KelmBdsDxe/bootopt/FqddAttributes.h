// The settings with which remote management orders boot options by device instead of by number:
// FQDD lists become orders, deletions and states of boot options. Steps of EnumerateBootOptions.
//
// Settings that ask for something once are emptied after the orders that they lead to have been
// written, so that a power failure in between repeats the work instead of losing it. They stay set
// when the order could not be read, built or written.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// BootOrderBlackListFqdd, SetBootOrderFqdd, SetLegacyHddOrderFqdd, DefaultBootOrderFqdd,
// DefaultLegacyHddOrderFqdd, and the lists of enabled and disabled devices. One that fails does not
// stop the others. Returns the last error, EFI_INVALID_PARAMETER for a list that is missing or
// invalid, else EFI_SUCCESS.
EFI_STATUS BdsProcessFqddBootOrderAttributes();
// IntrnlSetUefiBootOrderFqdd, IntrnlSetLegacyBootOrderFqdd and IntrnlSetLegacyHddOrderFqdd. As
// above.
EFI_STATUS BdsProcessInternalFqddOrderAttributes();
// IntrnlSetBootSeqDefault: copies default orders into the orders of the boot modes. EFI_NOT_FOUND:
// the setting cannot be read, and has been set to "None". EFI_OUT_OF_RESOURCES: no memory to read
// it. Otherwise the last error of the writes.
EFI_STATUS BdsApplyBootSeqDefault();

// True when a setting asks for a legacy boot order; never on a system without legacy support.
bool BdsIsLegacyOrderRequested();
// True when a setting asks for an order of UefiBootOrder.
bool BdsIsUefiOrderRequested();

} // namespace kelm
