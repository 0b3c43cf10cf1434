// The tables that every firmware service hangs from, and the start and end of the library.
//
// The image's entry calls RunLibraryConstructors first and nothing else before it: it puts every
// module of the library into its initial state, so that a second run of the same image in one
// process starts as fresh as the first.
#pragma once

#include "uefi/Base.h"
#include "uefi/BootServices.h"
#include "uefi/DxeServices.h"
#include "uefi/RuntimeServices.h"
#include "uefi/SystemTable.h"

namespace kelm {

extern EFI_SYSTEM_TABLE* gST;
extern EFI_BOOT_SERVICES* gBS;
extern EFI_RUNTIME_SERVICES* gRT;
extern EFI_DXE_SERVICES* gDS; // null when the platform publishes none
extern EFI_HANDLE gImageHandle;

// Runs the constructors of all library modules in their fixed order. A constructor that fails is an
// assertion and does not stop the others.
void RunLibraryConstructors(EFI_HANDLE imageHandle, EFI_SYSTEM_TABLE* systemTable);
// Looks again for the services that the platform may have gained since: the log, platform values
// and measurements. Called when the boot sequence begins, after all drivers have been dispatched.
void RefreshLibraryServices();
// Runs the destructors in reverse order.
void RunLibraryDestructors();

// The table that the platform published under `guid`, or null.
void* FindConfigurationTable(const EFI_GUID& guid);

} // namespace kelm
