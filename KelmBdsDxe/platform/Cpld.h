// Byte registers of the board's CPLD (kelm/CpldRegisters.h).
#pragma once

#include "uefi/Base.h"

namespace kelm {

// EFI_NOT_FOUND on boards whose CPLD is not accessible; the output is written on success only.
EFI_STATUS BdsReadCpldRegister(UINT16 reg, UINT8* value);
EFI_STATUS BdsWriteCpldRegister(UINT16 reg, UINT8 value);

} // namespace kelm
