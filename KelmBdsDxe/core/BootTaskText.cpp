// What the splash screen says of the boot task.

#include "boot/ControllerBootFlags.h"
#include "core/BootTask.h"
#include "core/DriverState.h"
#include "kelm/DebugLevels.h"
#include "kelm/SplashProtocol.h"
#include "library/firmware/Pool.h"
#include "library/firmware/Protocol.h"
#include "services/ControllerType.h"

#include <algorithm>
#include <string_view>

namespace kelm {

namespace {

constexpr std::string_view kControllerName = "Nimbor";
constexpr std::string_view kGenericName = "BMC";
static_assert(kGenericName.size() <= kControllerName.size());

const CHAR8* ForgelineText(ForgelineRequest request) {
    switch (request) {
    case ForgelineRequest::Gui:
        return "Forgeline Requested";
    case ForgelineRequest::SystemConfiguration:
        return "System Configuration Requested by Forgeline";
    case ForgelineRequest::ServicePartition:
        return "Service Partition Requested by Forgeline";
    default:
        return nullptr;
    }
}

// Of the jobs that wait, the one that is done first.
const CHAR8* SmaJobText(UINT32 jobs) {
    constexpr struct {
        UINT32 job;
        const CHAR8* text;
    } kTexts[] = {
        {SmaJobTypeUpdate, "Processing Update Task"},
        {SmaJobTypeConfiguration, "Processing Configuration Task"},
        {SmaJobTypeShutdown, "Processing System Shutdown Task"},
        {SmaJobTypeSystemErase, "Processing System Data Erase"},
    };
    for (const auto& [job, text] : kTexts) {
        if ((jobs & job) != 0) {
            return text;
        }
    }
    return nullptr;
}

// Null: the task has no text.
const CHAR8* TextOfTask(const BootState& state) {
    switch (state.bootTask) {
    case BootTask::IdModule:
        return state.rebrandRequested ? "System Rebranding Requested by ID Module"
                                      : "System Debranding Requested by ID Module";
    case BootTask::SystemConfiguration:
    case BootTask::ForgelineGui:
    case BootTask::ServicePartition:
        return ForgelineText(state.forgelineRequest);
    case BootTask::Aci:
        return "Attributes Configuration Requested";
    case BootTask::RedirectionEnable:
        return "Console Redirection Enabled Requested by Nimbor";
    case BootTask::RedirectionSuppress:
        return "Console Redirection Suppressed Requested by Nimbor";
    case BootTask::ForcePxe:
        return "Force PXE Boot Requested via Attribute";
    case BootTask::PreviousForgelineGui:
        return "Forgeline Requested from Previous Boot";
    case BootTask::ResetToDefaults:
        return "Reset To Default Requested by Nimbor";
    case BootTask::FvsManufacturing:
        return "BIOS FVS Mode Enabled";
    case BootTask::Manufacturing:
        return "BIOS Manufacturing Mode Enabled";
    case BootTask::SmaJob:
        return SmaJobText(state.smaJobType);
    default:
        return nullptr;
    }
}

// Replaces the name in place; false when the text does not hold it.
bool ReplaceControllerName(CHAR8* text) {
    const std::string_view whole(text);
    const size_t place = whole.find(kControllerName);
    if (place == whole.npos) {
        return false;
    }
    CHAR8* end = std::copy(kGenericName.begin(), kGenericName.end(), text + place);
    const std::string_view rest = whole.substr(place + kControllerName.size());
    end = std::copy(rest.begin(), rest.end(), end);
    *end = 0;
    return true;
}

} // namespace

void BdsShowBootTaskMessage() {
    if (gDriver.boot.bootTask == BootTask::ControllerBoot) {
        BdsShowControllerBootRequest();
    } else if (const CHAR8* text = TextOfTask(gDriver.boot)) {
        BdsSetBootTaskText(text);
    }
}

void BdsSetBootTaskText(const CHAR8* text) {
    KelmEarlyVideoSplashProtocol* splash = nullptr;
    if (EFI_ERROR(LocateProtocolOrLog(
            splash, "Error !!! Unable to locate KelmEarlyVideoSplashProtocol.\n"))) {
        return;
    }
    DebugPrint(kDebugInfo, "InputString = %a\n", text);
    const PoolPtr<CHAR8> copy = AllocateCopyPool(std::string_view(text).size() + 1, text);
    if (!copy) {
        DebugPrint(kDebugError, "Error !!! String replace returned error.\n");
        return;
    }
    if (GetBmcSupportLevel() != kBmcTypeNimbor && !ReplaceControllerName(copy.get())) {
        DebugPrint(kDebugInfo, "Cannot find Nimbor string to replace.\n");
    }
    DebugPrint(kDebugInfo, "BootTaskString = %a\n", copy.get());
    static_cast<void>(splash->SetBootTaskText(splash, copy.get()));
}

} // namespace kelm
