#include "sim/siblings/Reporting.h"

#include "sim/firmware/Clock.h"
#include "sim/firmware/PhaseWatch.h"
#include "sim/firmware/Violations.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>

namespace sim {

// ---- Debug log

DebugLog::DebugLog(Platform& owner) : Sibling(owner) {
    protocol_.protocol.Revision = kKelmDebugLogRevision;
    protocol_.protocol.LevelMask = NumberAt(owner.machine, "/debug/mask", ~UINT64{0});
}

void DebugLog::Install() {
    protocol_.Serve<"Write", &DebugLog::Write, false>(&KelmDebugLogProtocol::Write);
    InstallTable(protocol_);
}

EFI_STATUS DebugLog::Write(UINT64 level, const CHAR8* text) {
    if (text == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if ((level & protocol_.protocol.LevelMask) != 0) {
        platform.trace.Record("debug", {{"level", level}, {"text", PlainText(text)}});
    }
    return EFI_SUCCESS;
}

// ---- Status codes

void StatusCodes::Install() {
    protocol_.Serve<"ReportStatusCode", &StatusCodes::ReportStatusCode, false>(
        &EFI_STATUS_CODE_PROTOCOL::ReportStatusCode);
    InstallTable(protocol_);
}

EFI_STATUS StatusCodes::ReportStatusCode(EFI_STATUS_CODE_TYPE type, EFI_STATUS_CODE_VALUE value,
                                         UINT32, const EFI_GUID* caller,
                                         const EFI_STATUS_CODE_DATA*) {
    reported_.push_back({type, value, caller != nullptr ? std::optional(*caller) : std::nullopt});
    platform.trace.Record("status-code", {{"type", type}, {"value", value}});
    return EFI_SUCCESS;
}

// ---- Measurements

Performance::Performance(Platform& owner) : Sibling(owner) {
    protocol_.protocol.Revision = kKelmPerformanceRevision;
    protocol_.protocol.Enabled = FlagAt(owner.machine, "/measurement/enabled", true);
}

void Performance::Install() {
    protocol_.Serve<"Start", &Performance::Start, false>(&KelmPerformanceProtocol::Start)
        .Serve<"End", &Performance::End, false>(&KelmPerformanceProtocol::End);
    if (InstallTable(protocol_) != nullptr && protocol_.protocol.Enabled) {
        Start(nullptr, "DXE", nullptr, kPerformanceNow);
        Start(nullptr, "POST Video Duration", "Video", kPerformanceNow); // until an image boots
    }
}

std::uint64_t Performance::Time(UINT64 timeStamp) const {
    switch (timeStamp) {
    case kPerformanceNow:
        return platform.clock->Now();
    case kPerformanceSinceReset:
        return 0;
    default:
        return timeStamp;
    }
}

void Performance::TraceEdge(const char* edge, const Measurement& measurement) {
    platform.trace.Record(
        "measure", {{"edge", edge}, {"token", measurement.token}, {"module", measurement.module}});
}

EFI_STATUS Performance::Start(EFI_HANDLE handle, const CHAR8* token, const CHAR8* module,
                              UINT64 timeStamp) {
    if (token == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    measurements_.push_back(
        {handle, PlainText(token), PlainText(module), Time(timeStamp), std::nullopt});
    TraceEdge("start", measurements_.back());
    platform.phases->Started(measurements_.back().token);
    return EFI_SUCCESS;
}

EFI_STATUS Performance::End(EFI_HANDLE handle, const CHAR8* token, const CHAR8* module,
                            UINT64 timeStamp) {
    if (token == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const std::string tokenText = PlainText(token);
    const std::string moduleText = PlainText(module);
    auto open = std::find_if(
        measurements_.rbegin(), measurements_.rend(), [&](const Measurement& measurement) {
            return !measurement.end && measurement.handle == handle &&
                   measurement.token == tokenText && measurement.module == moduleText;
        });
    if (open == measurements_.rend()) {
        // Ending again what is over does no harm; ending what never began is a slip of the pen.
        const bool began = std::any_of(
            measurements_.begin(), measurements_.end(), [&](const Measurement& measurement) {
                return measurement.token == tokenText && measurement.module == moduleText;
            });
        if (!began) {
            platform.violations->Record("measurement \"" + tokenText + "\" ended without a start");
        }
        return EFI_NOT_FOUND;
    }
    open->end = Time(timeStamp);
    TraceEdge("end", *open);
    platform.phases->Ended(tokenText);
    return EFI_SUCCESS;
}

} // namespace sim
