#include "library/firmware/Services.h"

#include "library/firmware/Assert.h"
#include "library/firmware/Debug.h"
#include "library/firmware/Hob.h"
#include "library/firmware/Measurement.h"
#include "library/firmware/Pcd.h"
#include "library/firmware/StatusCodeReport.h"

namespace kelm {

constinit EFI_SYSTEM_TABLE* gST = nullptr;
constinit EFI_BOOT_SERVICES* gBS = nullptr;
constinit EFI_RUNTIME_SERVICES* gRT = nullptr;
constinit EFI_DXE_SERVICES* gDS = nullptr;
constinit EFI_HANDLE gImageHandle = nullptr;

namespace {

EFI_STATUS ConstructDxeServices() {
    gDS = static_cast<EFI_DXE_SERVICES*>(FindConfigurationTable(gEfiDxeServicesTableGuid));
    return gDS == nullptr ? EFI_NOT_FOUND : EFI_SUCCESS;
}

struct LibraryModule {
    EFI_STATUS (*construct)();
    void (*destruct)();
};

// The log comes first, so that the modules after it can be heard.
constexpr LibraryModule kModules[] = {
    {.construct = ConstructDebug, .destruct = DestructDebug},
    {.construct = ConstructDxeServices, .destruct = nullptr},
    {.construct = ConstructHob, .destruct = nullptr},
    {.construct = ConstructPcd, .destruct = nullptr},
    {.construct = ConstructStatusCodeReport, .destruct = nullptr},
    {.construct = ConstructMeasurement, .destruct = nullptr},
};

} // namespace

void RunLibraryConstructors(EFI_HANDLE imageHandle, EFI_SYSTEM_TABLE* systemTable) {
    gImageHandle = imageHandle;
    gST = systemTable;
    gBS = systemTable->BootServices;
    gRT = systemTable->RuntimeServices;
    gDS = nullptr;
    RefreshLibraryServices();
}

void RefreshLibraryServices() {
    for (const LibraryModule& module : kModules) {
        const EFI_STATUS status = module.construct();
        KELM_ASSERT(!EFI_ERROR(status));
    }
}

void RunLibraryDestructors() {
    for (UINTN i = sizeof(kModules) / sizeof(kModules[0]); i > 0; --i) {
        if (kModules[i - 1].destruct != nullptr) {
            kModules[i - 1].destruct();
        }
    }
}

void* FindConfigurationTable(const EFI_GUID& guid) {
    for (UINTN i = 0; i < gST->NumberOfTableEntries; ++i) {
        if (gST->ConfigurationTable[i].VendorGuid == guid) {
            return gST->ConfigurationTable[i].VendorTable;
        }
    }
    return nullptr;
}

} // namespace kelm
