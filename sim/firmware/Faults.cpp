#include "sim/firmware/Faults.h"

#include "sim/firmware/CallNames.h"

namespace sim {

Faults::Faults(const MachineDescription& machine) {
    const Json& list = machine.At("/faults");
    for (std::size_t i = 0; i < list.size(); i++) {
        const Json& item = list[i];
        const std::string place = "/faults/" + std::to_string(i);
        Fault fault;
        if (!item.is_object() || !item.contains("call") || !item["call"].is_string()) {
            throw MachineFileError(machine.file, place, "a fault names the call that it hits");
        }
        fault.call = item["call"].get<std::string>();
        if (!IsCallName(fault.call)) {
            throw MachineFileError(machine.file, place + "/call",
                                   "there is no call \"" + fault.call + "\"");
        }
        if (item.contains("nth")) {
            fault.nth = ReadNumber(machine, item["nth"], place + "/nth");
        }
        if (item.contains("status")) {
            fault.status = ReadStatus(machine, item["status"], place + "/status");
        }
        fault.onward = item.value("onward", false);
        fault.powerCut = item.value("powerCut", false);
        faults_.push_back(std::move(fault));
    }
}

namespace {

template <std::size_t N, class T>
T& SlotOf(std::array<T, N>& slots, const char* name) {
    return slots[(reinterpret_cast<std::uintptr_t>(name) >> 3) % N];
}

// Whether a name is PROTOCOL.MEMBER, without putting that together.
bool IsMember(std::string_view name, std::string_view protocol, std::string_view member) {
    return name.size() == protocol.size() + 1 + member.size() && name.ends_with(member) &&
           name.starts_with(protocol) && name[protocol.size()] == '.';
}

} // namespace

Faults::Counter& Faults::CounterOf(std::string_view call) {
    Counter*& recent = SlotOf(recent_, call.data());
    if (recent == nullptr || recent->first != call) {
        auto found = counts_.find(call);
        if (found == counts_.end()) {
            found = counts_.emplace(std::string(call), 0).first;
        }
        recent = &*found;
    }
    return *recent;
}

const Fault* Faults::Count(std::string_view call) {
    return Count(CounterOf(call));
}

const Fault* Faults::Count(const char* protocol, const char* member) {
    Counter*& recent = SlotOf(recentMembers_, member);
    if (recent == nullptr || !IsMember(recent->first, protocol, member)) {
        recent = &CounterOf(std::string(protocol) + "." + member);
    }
    return Count(*recent);
}

const Fault* Faults::Count(Counter& counter) {
    const std::uint64_t number = ++counter.second;
    for (Fault& fault : faults_) {
        if (fault.call == counter.first &&
            (fault.onward ? number >= fault.nth : number == fault.nth)) {
            fault.happened = true;
            return &fault;
        }
    }
    return nullptr;
}

std::vector<std::string> Faults::Unmet() const {
    std::vector<std::string> unmet;
    for (const Fault& fault : faults_) {
        if (!fault.happened) {
            unmet.push_back(fault.call + ", call " + std::to_string(fault.nth));
        }
    }
    return unmet;
}

std::uint64_t Faults::Calls(std::string_view call) const {
    auto found = counts_.find(call);
    return found == counts_.end() ? 0 : found->second;
}

void Faults::Add(Fault fault, bool fromNow) {
    if (fromNow) {
        fault.nth += Calls(fault.call);
    }
    faults_.push_back(std::move(fault));
}

} // namespace sim
