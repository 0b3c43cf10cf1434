#include "library/firmware/Measurement.h"

#include "kelm/PcdTokens.h"
#include "kelm/PerformanceProtocol.h"
#include "library/firmware/Pcd.h"
#include "library/firmware/Services.h"

namespace kelm {

namespace {

constinit KelmPerformanceProtocol* mPerformance = nullptr;

} // namespace

EFI_STATUS ConstructMeasurement() {
    mPerformance = nullptr;
    void* interface = nullptr;
    const EFI_STATUS status =
        gBS->LocateProtocol(&gKelmPerformanceProtocolGuid, nullptr, &interface);
    if (EFI_ERROR(status) ||
        (PcdGet8(kPcdPerformancePropertyMask) & kPerformanceMeasurements) == 0) {
        return EFI_SUCCESS; // measuring is off
    }
    mPerformance = static_cast<KelmPerformanceProtocol*>(interface);
    return EFI_SUCCESS;
}

void StartMeasurement(const char* token, const char* module, UINT64 timeStamp) {
    if (mPerformance != nullptr && mPerformance->Enabled) {
        static_cast<void>(mPerformance->Start(mPerformance, nullptr, token, module, timeStamp));
    }
}

void EndMeasurement(const char* token, const char* module, UINT64 timeStamp) {
    if (mPerformance != nullptr && mPerformance->Enabled) {
        static_cast<void>(mPerformance->End(mPerformance, nullptr, token, module, timeStamp));
    }
}

} // namespace kelm
