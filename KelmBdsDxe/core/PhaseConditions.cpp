#include "core/PhaseConditions.h"

#include "core/DriverState.h"
#include "core/ManufacturingMode.h"
#include "kelm/CpldRegisters.h"
#include "kelm/EsrtInjectionProtocol.h"
#include "kelm/PcdTokens.h"
#include "library/firmware/Pcd.h"
#include "library/firmware/Protocol.h"
#include "platform/Cpld.h"

namespace kelm {

namespace {

const BootState& State() {
    return gDriver.boot;
}

bool TaskIs(BootTask task) {
    return State().bootTask == task;
}

bool UpdateJobPending() {
    return (State().smaJobType & SmaJobTypeUpdate) != 0;
}

// A board without an accessible CPLD bypasses nothing.
bool LiquidCoolingBypassed() {
    UINT8 requests = 0;
    return !EFI_ERROR(BdsReadCpldRegister(kCpldRegisterRequests, &requests)) &&
           (requests & kCpldSkipLiquidCooling) != 0;
}

} // namespace

bool EsrtInjectionPresent() {
    return FindProtocol<KelmEsrtInjectionProtocol>() != nullptr;
}

bool NotForgelineOrSmaTask() {
    return !TaskIs(BootTask::SystemConfiguration) && !TaskIs(BootTask::ForgelineGui) &&
           !TaskIs(BootTask::ServicePartition) && !TaskIs(BootTask::SmaJob);
}

bool ServiceTagCheckWanted() {
    return BdsGetManufacturingMode() == kManufacturingModeOff && !UpdateJobPending();
}

bool HotKeysWanted() {
    return !State().configurationBoot && !TaskIs(BootTask::ForgelineGui);
}

bool NotConfigurationBoot() {
    return !State().configurationBoot;
}

bool ConfigurationBootSet() {
    return State().configurationBoot;
}

bool LiquidCoolingCheckWanted() {
    return BdsGetManufacturingMode() == kManufacturingModeOff && !LiquidCoolingBypassed() &&
           !UpdateJobPending();
}

bool MasterWriteReadWanted() {
    return PcdGetBool(kPcdMasterWriteRead);
}

bool ComPortsSwapped() {
    return State().comPortsSwapped;
}

bool TaskIsIdModule() {
    return TaskIs(BootTask::IdModule);
}

bool UefiBoot() {
    return State().bootMode == kBootModeUefi;
}

bool BootOptionsWanted() {
    return !State().configurationBoot || State().forgelineSsmEnumerate;
}

bool TaskIsResetToDefaults() {
    return TaskIs(BootTask::ResetToDefaults);
}

bool TaskIsSmaJob() {
    return TaskIs(BootTask::SmaJob);
}

bool TaskIsAci() {
    return TaskIs(BootTask::Aci);
}

bool TaskIsControllerBoot() {
    return TaskIs(BootTask::ControllerBoot);
}

bool SecureBootTaskPending() {
    return State().secureBootTaskPending;
}

bool ConfigurationBootDone() {
    const bool shutdownJob = TaskIs(BootTask::SmaJob) && State().smaJobType == SmaJobTypeShutdown;
    return State().configurationBoot && !TaskIs(BootTask::Aci) && !shutdownJob;
}

} // namespace kelm
