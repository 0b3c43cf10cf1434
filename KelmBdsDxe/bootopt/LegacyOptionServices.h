// The devices inside a legacy option, by way of the interface protocol that this driver installs:
// whoever works on boot options reaches them without depending on the legacy code. Arguments,
// results and ownership are those of the slots of kelm/BdsInterfaceProtocol.h; without the protocol
// the answer is EFI_NOT_FOUND and nothing is handed out.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS SetLegacyOptionDeviceOrder(UINT16 optionNumber, const UINT16* indexes, UINTN count);
EFI_STATUS GetLegacyDeviceEntry(UINT16 bbsIndex, void** entry);
EFI_STATUS GetLegacyDeviceDescription(UINT16 bbsIndex, CHAR16** description);

} // namespace kelm
