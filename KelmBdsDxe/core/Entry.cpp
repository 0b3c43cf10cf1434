// The image's entry and the BDS architectural protocol (PI 1.8, volume 2).

#include "core/DriverState.h"
#include "core/PhaseRunner.h"
#include "kelm/DebugLevels.h"
#include "library/firmware/Debug.h"
#include "library/firmware/Measurement.h"
#include "library/firmware/Services.h"
#include "uefi/BdsArch.h"

namespace kelm {

namespace {

void EFIAPI BdsEntry(EFI_BDS_ARCH_PROTOCOL*) {
    RefreshLibraryServices();
    EndMeasurement("DXE", nullptr);
    StartMeasurement("BDS", nullptr);
    // From reset to here, as one mark.
    StartMeasurement("[BDS] Start", "BDS", 1);
    EndMeasurement("[BDS] Start", "BDS");
    BdsMainSequence();
}

constinit EFI_BDS_ARCH_PROTOCOL mBdsArch = {.Entry = nullptr};

} // namespace

} // namespace kelm

// Called by the DXE core when the image is started. Returns the status of the installation; on an
// error the image goes.
extern "C" EFI_STATUS EFIAPI _ModuleEntryPoint(EFI_HANDLE imageHandle,
                                               EFI_SYSTEM_TABLE* systemTable) {
    using namespace kelm;
    ResetDriverState();
    RunLibraryConstructors(imageHandle, systemTable);
    DebugPrint(kDebugBdsInfo, "BDS: Installing BDS Arch Protocol Guid\n");
    mBdsArch.Entry = BdsEntry;
    const EFI_STATUS status = gBS->InstallMultipleProtocolInterfaces(
        &gDriver.core.bdsArchHandle, &gEfiBdsArchProtocolGuid, &mBdsArch, nullptr);
    if (EFI_ERROR(status)) {
        RunLibraryDestructors();
    }
    return status;
}
