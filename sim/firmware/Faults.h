// Faults that the machine file injects into calls: the N-th call of a service or sibling member
// answers a status instead of being carried out, once or from then on.
#pragma once

#include "sim/machine/MachineDescription.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

struct Fault {
    std::string call; // "SetVariable", "KelmNimborProtocol.EarlyInit"
    std::uint64_t nth = 1;
    EFI_STATUS status = EFI_DEVICE_ERROR;
    bool onward = false;   // every call from the N-th on
    bool powerCut = false; // the power fails in the middle of the call
    bool happened = false;
};

class Faults {
public:
    // Reads "faults". Throws MachineFileError, also for a call that does not exist.
    explicit Faults(const MachineDescription& machine);

    // Counts one call; returns the fault that hits it, if any. Valid until the next Add().
    const Fault* Count(std::string_view call);
    // The same for a member of a protocol, "PROTOCOL.MEMBER". Both are literals.
    const Fault* Count(const char* protocol, const char* member);
    // How often the call was made so far, faults included.
    std::uint64_t Calls(std::string_view call) const;

    // The faults that no call has met, as "CALL, call N".
    std::vector<std::string> Unmet() const;

    // For tests: one more fault, whose `nth` counts from now when `fromNow` is set.
    void Add(Fault fault, bool fromNow = false);

private:
    std::vector<Fault> faults_;
    using Counts = std::map<std::string, std::uint64_t, std::less<>>;
    using Counter = Counts::value_type;

    const Fault* Count(Counter& counter);
    Counter& CounterOf(std::string_view call);

    Counts counts_;
    // Names of calls are literals: the address says which one it is, most of the time. The counters
    // are in counts_, which never shrinks.
    std::array<Counter*, 64> recent_{};
    std::array<Counter*, 64> recentMembers_{};
};

} // namespace sim
