// What stands around the arena: memory that the firmware itself allocates, who owns a block, and
// the watch over handle buffers.
//
// LocateHandleBuffer(), ProtocolsPerHandle() and OpenProtocolInformation() answer with pool that
// the caller has to free. Such a buffer that was allocated within a measured phase of the boot and
// is still there when the phase ends was forgotten: a violation.
#pragma once

#include "sim/firmware/Arena.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

class Platform;

// Owners of blocks; siblings name themselves.
inline constexpr ArenaOwner kOwnerDriver = "driver"; // whoever calls the boot services
inline constexpr ArenaOwner kOwnerFirmware = "firmware";
inline constexpr ArenaOwner kOwnerLocateHandleBuffer = "LocateHandleBuffer";
inline constexpr ArenaOwner kOwnerProtocolsPerHandle = "ProtocolsPerHandle";
inline constexpr ArenaOwner kOwnerOpenProtocolInformation = "OpenProtocolInformation";

class MemoryService {
public:
    explicit MemoryService(Platform& platform);
    MemoryService(const MemoryService&) = delete;
    MemoryService& operator=(const MemoryService&) = delete;

    // Pool of boot services data; nullptr when memory is out. `owner` must be a literal.
    void* Allocate(UINT64 size, ArenaOwner owner);
    // The same with the content of `data`.
    void* Copy(const void* data, UINT64 size, ArenaOwner owner);
    // A zeroed record of the firmware's own.
    template <class T>
    T* New() {
        const T zero{};
        return static_cast<T*>(Copy(&zero, sizeof zero, kOwnerFirmware));
    }

    // A measured phase begins or ends (PhaseWatch.h). Phases may nest and overlap; an end without a
    // beginning does nothing.
    void PhaseStarted(std::string_view phase);
    void PhaseEnded(std::string_view phase);
    // Records the live handle buffers from before `untilSequence` (Arena::NextSequence()) that no
    // phase has told of.
    void ReportHandleBuffers(UINT64 untilSequence);

    // Live blocks of one owner, oldest first, from `sinceSequence` on (Arena::NextSequence()).
    std::vector<ArenaBlock> Live(ArenaOwner owner, UINT64 sinceSequence = 0) const;
    // Live answers of the handle database.
    std::vector<ArenaBlock> LiveHandleBuffers(UINT64 sinceSequence = 0) const;

private:
    struct Phase {
        std::string name;
        UINT64 since; // arena sequence
    };

    // Records a buffer, once; `where` is put behind "leaked".
    void Report(const ArenaBlock& block, const std::string& where);

    Platform& platform_;
    std::vector<Phase> phases_; // open ones
    std::set<UINT64> reported_; // sequences of buffers that a violation has told of
};

} // namespace sim
