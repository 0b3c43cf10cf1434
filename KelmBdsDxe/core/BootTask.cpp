#include "core/BootTask.h"

#include "boot/ControllerBootFlags.h"
#include "bootopt/VariableHelpers.h"
#include "core/DriverState.h"
#include "core/Forgeline.h"
#include "core/ManufacturingMode.h"
#include "kelm/AciProtocol.h"
#include "kelm/AttributeNames.h"
#include "kelm/DebugLevels.h"
#include "kelm/OemIdProtocols.h"
#include "kelm/Variables.h"
#include "library/firmware/Protocol.h"
#include "mgmt/SmallSteps.h"
#include "services/Attributes.h"
#include "services/SmaJobService.h"

#include <array>

namespace kelm {

namespace {

constexpr std::array<const CHAR16*, kBootTaskCount> kBootTaskTitles = {
    u"This is a normal boot",
    u"Execute ID Module task.",
    u"Execute SSM task",
    u"Execute Forgeline GUI",
    u"Execute Boot to Service Partition",
    u"Execute ACI task",
    u"Execute IPMI Boot Option task",
    u"Execute IPMI CR Enable request",
    u"Execute IPMI CR Disable request",
    u"Execute hotkey request from previous boot",
    u"Force PXE boot via ForcePxeBootFirst.",
    u"Execute Forgeline GUI request from prev boot",
    u"Execute IPMI Reset To Default",
    u"FVS MFG Mode",
    u"Manufacturing Mode enabled",
    u"Execute SMA BIOS update/config/shutdown",
};

constexpr std::array<const CHAR16*, kHotKeyCount> kHotKeyTitles = {
    u"No Hot Key Pressing", u"F2 = System Setup", u"F10 = Forgeline",
    u"F11 = Boot Manager",  u"F12 = PXE Boot",
};

template <std::size_t N>
const CHAR16* TitleAt(const std::array<const CHAR16*, N>& titles, UINT32 index) {
    return index < N ? titles[index] : u"Unknown";
}

// The first row that holds decides.
using Requests = const BootRequests&;
constexpr struct {
    BootTask task;
    bool (*holds)(Requests);
} kPriorities[] = {
    {BootTask::FvsManufacturing,
     [](Requests r) { return r.manufacturingMode == kManufacturingModeFvs; }},
    {BootTask::Manufacturing,
     [](Requests r) { return r.manufacturingMode == kManufacturingModeOn; }},
    {BootTask::PreviousForgelineGui, [](Requests r) { return r.previousForgelineGui; }},
    {BootTask::IdModule, [](Requests r) { return r.idModule; }},
    {BootTask::ResetToDefaults, [](Requests r) { return r.resetToDefaults; }},
    {BootTask::SmaJob, [](Requests r) { return r.smaJob; }},
    {BootTask::ForgelineGui, [](Requests r) { return r.forgeline == ForgelineRequest::Gui; }},
    {BootTask::SystemConfiguration,
     [](Requests r) { return r.forgeline == ForgelineRequest::SystemConfiguration; }},
    {BootTask::Aci, [](Requests r) { return r.aci; }},
    {BootTask::ServicePartition,
     [](Requests r) { return r.forgeline == ForgelineRequest::ServicePartition; }},
    {BootTask::ForcePxe, [](Requests r) { return r.forcePxe; }},
    {BootTask::ControllerBoot, [](Requests r) { return r.controllerBoot; }},
    {BootTask::RedirectionEnable, [](Requests r) { return r.redirectionEnable; }},
    {BootTask::RedirectionSuppress, [](Requests r) { return r.redirectionSuppress; }},
};

bool AskIdModule() {
    BootState& state = gDriver.boot;
    auto* module = FindProtocol<KelmIdModuleProtocol>();
    state.rebrandRequested = module != nullptr && module->IsRebrandRequested(module) == 1;
    state.debrandRequested =
        module != nullptr && !state.rebrandRequested && module->IsDebrandRequested(module) == 1;
    return state.rebrandRequested || state.debrandRequested;
}

bool IsAciRequested() {
    auto* aci = FindProtocol<KelmAciMProtocol>();
    return aci != nullptr && !EFI_ERROR(aci->CheckRequest(aci));
}

// The order of the queries is the order of the members.
BootRequests AskForRequests() {
    return {
        .manufacturingMode = BdsGetManufacturingMode(),
        .previousForgelineGui = BdsForgelineGuiRequested(),
        .idModule = AskIdModule(),
        .resetToDefaults = BdsIsResetToDefaultsRequested(),
        .smaJob = BdsSmaGetPendingJobs(&gDriver.boot.smaJobType),
        .forgeline = gDriver.boot.forgelineRequest,
        .aci = IsAciRequested(),
        .forcePxe = BdsAttributeIsEnabled(kAttributeForcePxeBootFirst),
        .controllerBoot = BdsIsControllerBootOverride(),
        .redirectionEnable = BdsIsRedirectionEnableRequested(),
        .redirectionSuppress = BdsIsRedirectionSuppressRequested(),
    };
}

// Tasks that only apply a configuration and are not done twice in a row.
bool IsConfigurationTask(BootTask task) {
    return task == BootTask::IdModule || task == BootTask::ResetToDefaults ||
           task == BootTask::SystemConfiguration || task == BootTask::Aci;
}

} // namespace

const CHAR16* BootTaskTitle(BootTask task) {
    return TitleAt(kBootTaskTitles, static_cast<UINT32>(task));
}

const CHAR16* HotKeyTitle(HotKey key) {
    return TitleAt(kHotKeyTitles, static_cast<UINT32>(key));
}

BootTask BdsChooseBootTask(const BootRequests& requests) {
    for (const auto& [task, holds] : kPriorities) {
        if (holds(requests)) {
            return task;
        }
    }
    return BootTask::Normal;
}

void BdsSetBootTask() {
    gDriver.boot.bootTask = BdsChooseBootTask(AskForRequests());
    DebugPrint(kDebugBdsInfo, "BDS: BdsSetBootTask - %s\n", BootTaskTitle(gDriver.boot.bootTask));
}

void BdsSpecialBootTask() {
    BootState& state = gDriver.boot;
    BootTask& task = state.bootTask;
    if (task == BootTask::RedirectionEnable || task == BootTask::RedirectionSuppress) {
        task = BootTask::Normal; // the console redirection does what was asked for
    }
    const KelmVariable& bypass = kVariableConfigurationBootBypass;
    if (BdsVariableExists(bypass.name, bypass.guid)) {
        static_cast<void>(BdsDeleteVariable(bypass.name, bypass.guid));
        if (IsConfigurationTask(task)) {
            task = BootTask::Normal;
            BdsSetBootTaskText("");
        }
        return;
    }
    state.configurationBoot = IsConfigurationTask(task) || task == BootTask::SmaJob;
    if (state.configurationBoot) {
        DebugPrint(kDebugBdsInfo, "BDS: Configuration Boot: %s\n", BootTaskTitle(task));
    }
}

} // namespace kelm
