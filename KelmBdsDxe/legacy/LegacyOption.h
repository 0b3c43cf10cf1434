// The devices inside a legacy (BBS) boot option; see the slots of the same names of
// kelm/BdsInterfaceProtocol.h for arguments, results and ownership.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsGetLegacyOptionDevices(UINT16 optionNumber, UINT16** indexes, UINTN* count);
EFI_STATUS BdsSetLegacyOptionDeviceOrder(UINT16 optionNumber, const UINT16* indexes, UINTN count);
EFI_STATUS BdsGetLegacyDeviceEntry(UINT16 bbsIndex, void** entry);
EFI_STATUS BdsGetLegacyDeviceDescription(UINT16 bbsIndex, CHAR16** description);

} // namespace kelm
