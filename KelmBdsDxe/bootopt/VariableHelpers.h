// Reading and deleting variables of any size.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"

namespace kelm {

// A new buffer with the whole variable and its size in bytes. Null, and size 0, when the variable
// is missing or empty, grew while it was read, cannot be read, or memory is out. A buffer never
// comes with size 0.
PoolPtr<UINT8> BdsReadVariable(const CHAR16* name, const EFI_GUID* guid, UINTN* size);
// The same with the reason, for those who would take an unreadable variable for a missing one.
// EFI_NOT_FOUND: missing or empty. EFI_OUT_OF_RESOURCES: no memory for it. Otherwise the status of
// GetVariable.
EFI_STATUS BdsReadVariable(const CHAR16* name, const EFI_GUID* guid, PoolPtr<UINT8>& data,
                           UINTN* size);
// Deletes a variable under whatever attributes it has. EFI_NOT_FOUND: there was none. Otherwise the
// status of the failing GetVariable or of SetVariable.
EFI_STATUS BdsDeleteVariable(const CHAR16* name, const EFI_GUID* guid);
// True unless the variable service says that there is no such variable: one that cannot be read is
// still there.
bool BdsVariableExists(const CHAR16* name, const EFI_GUID* guid);

} // namespace kelm
