#include "sim/firmware/PhaseWatch.h"

#include "sim/firmware/ImageService.h"
#include "sim/firmware/Platform.h"
#include "sim/firmware/Violations.h"

#include <algorithm>

namespace sim {

namespace {

constexpr std::string_view kWholeSequence = "BDS"; // the phase that all others are part of
constexpr std::string_view kStart = "[BDS] Start ";
constexpr std::string_view kStop = "[BDS] Stop ";
constexpr std::size_t kImagesOfFirmware = 1;

} // namespace

const PhaseWatch::Phase* PhaseWatch::Outermost() const {
    auto found = std::find_if(phases_.begin(), phases_.end(), [](const Phase& phase) {
        return phase.ofDriver && phase.name != kWholeSequence;
    });
    return found != phases_.end() ? &*found : nullptr;
}

void PhaseWatch::Started(std::string_view phase) {
    phases_.push_back({std::string(phase), platform_.images->Count() > kImagesOfFirmware,
                       platform_.arena->NextSequence(), platform_.events->NextSequence(), 0,
                       platform_.events->Tpl()});
    platform_.memory->PhaseStarted(phase);
}

void PhaseWatch::Ended(std::string_view name) {
    platform_.memory->PhaseEnded(name);
    auto open = std::find_if(phases_.rbegin(), phases_.rend(),
                             [&](const Phase& candidate) { return candidate.name == name; });
    if (open == phases_.rend()) {
        return;
    }
    Phase phase = std::move(*open);
    phases_.erase(std::next(open).base());
    phase.eventUntil = platform_.events->NextSequence();
    if (!phase.ofDriver) {
        return;
    }
    if (phase.name.starts_with(kStart)) {
        starts_.push_back(phase);
    } else {
        ReportEvents(phase, phase.eventUntil);
    }
    if (const Phase* start = StartOf(phase)) {
        ReportEvents(*start, start->eventUntil);
    }
    if (const EFI_TPL level = platform_.events->Tpl(); level != phase.level) {
        platform_.violations->Record("task priority left at " + std::to_string(level) + " in " +
                                     phase.name);
    }
    if (phase.name != kWholeSequence && Outermost() == nullptr) {
        lastSince_ = phase.memorySince;
    }
}

// The phase whose events this one closes.
const PhaseWatch::Phase* PhaseWatch::StartOf(const Phase& stop) const {
    if (!stop.name.starts_with(kStop)) {
        return nullptr;
    }
    const std::string_view what = std::string_view(stop.name).substr(kStop.size());
    const auto found = std::ranges::find_if(starts_, [&](const Phase& start) {
        return std::string_view(start.name).substr(kStart.size()) == what;
    });
    return found != starts_.end() ? &*found : nullptr;
}

void PhaseWatch::ReportEvents(const Phase& phase, std::uint64_t before) {
    for (const LiveEvent& event : platform_.events->LiveEvents(phase.eventSince)) {
        const bool livesOn =
            event.group || event.timerArmed || platform_.handles->IsRegistered(event.event);
        if (event.sequence < before && !livesOn && reportedEvents_.insert(event.sequence).second) {
            platform_.violations->Record("event left open in " + phase.name);
        }
    }
}

void PhaseWatch::BootEnded(EndReason reason) {
    // What an open phase holds it may well have needed up to here.
    const Phase* open = Outermost();
    if (const auto until = open != nullptr ? open->memorySince : lastSince_) {
        platform_.memory->ReportHandleBuffers(*until);
    }
    const bool waited = reason == EndReason::WaitingForKey || reason == EndReason::TimeLimit;
    const EFI_TPL level = platform_.events->Tpl();
    if (waited && level > TPL_APPLICATION && !platform_.events->InNotification()) {
        platform_.violations->Record("the boot ended as " + std::string(EndReasonText(reason)) +
                                     " with the task priority at " + std::to_string(level));
    }
}

} // namespace sim
