#include "sim/firmware/MemoryService.h"

#include "sim/firmware/Platform.h"
#include "sim/firmware/TraceText.h"
#include "sim/firmware/Violations.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

bool IsHandleBuffer(ArenaOwner owner) {
    return owner == kOwnerLocateHandleBuffer || owner == kOwnerProtocolsPerHandle ||
           owner == kOwnerOpenProtocolInformation;
}

} // namespace

MemoryService::MemoryService(Platform& platform) : platform_(platform) {
    platform_.arena->SetFaultHandler(
        [this](const ArenaFault& fault) { platform_.violations->Record(fault.text); });
    platform_.arena->SetLimit(platform_.LimitOf("poolBytes", 256u << 20));
}

void* MemoryService::Allocate(UINT64 size, ArenaOwner owner) {
    void* buffer = nullptr;
    if (platform_.arena->AllocatePool(EfiBootServicesData, size, &buffer, owner) != EFI_SUCCESS) {
        return nullptr;
    }
    return buffer;
}

void* MemoryService::Copy(const void* data, UINT64 size, ArenaOwner owner) {
    void* buffer = Allocate(size, owner);
    if (buffer != nullptr && size != 0) {
        std::memcpy(buffer, data, size);
    }
    return buffer;
}

void MemoryService::PhaseStarted(std::string_view phase) {
    phases_.push_back({std::string(phase), platform_.arena->NextSequence()});
}

void MemoryService::PhaseEnded(std::string_view phase) {
    auto open = std::find_if(phases_.rbegin(), phases_.rend(),
                             [&](const Phase& candidate) { return candidate.name == phase; });
    if (open == phases_.rend()) {
        return;
    }
    for (const ArenaBlock& block : LiveHandleBuffers(open->since)) {
        Report(block, " in " + std::string(phase));
    }
    phases_.erase(std::next(open).base());
}

void MemoryService::ReportHandleBuffers(UINT64 untilSequence) {
    for (const ArenaBlock& block : LiveHandleBuffers()) {
        if (block.sequence < untilSequence) {
            Report(block, "");
        }
    }
}

void MemoryService::Report(const ArenaBlock& block, const std::string& where) {
    if (reported_.insert(block.sequence).second) {
        platform_.violations->Record("handle buffer leaked" + where + ": " +
                                     std::string(block.owner) + " at " + HexNumber(block.address) +
                                     ", " + std::to_string(block.size) + " bytes");
    }
}

std::vector<ArenaBlock> MemoryService::Live(ArenaOwner owner, UINT64 sinceSequence) const {
    std::vector<ArenaBlock> live = platform_.arena->LiveBlocks(sinceSequence);
    std::erase_if(live, [&](const ArenaBlock& block) { return block.owner != owner; });
    return live;
}

std::vector<ArenaBlock> MemoryService::LiveHandleBuffers(UINT64 sinceSequence) const {
    std::vector<ArenaBlock> live = platform_.arena->LiveBlocks(sinceSequence);
    std::erase_if(live, [](const ArenaBlock& block) { return !IsHandleBuffer(block.owner); });
    return live;
}

} // namespace sim
