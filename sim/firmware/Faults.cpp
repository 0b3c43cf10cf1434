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

std::uint64_t& Faults::CounterOf(std::string_view call) {
    // Names of services are literals: the address says which one it is, most of the time.
    Counter*& recent =
        recent_[(reinterpret_cast<std::uintptr_t>(call.data()) >> 3) % recent_.size()];
    if (recent == nullptr || recent->first != call) {
        auto found = counts_.find(call);
        if (found == counts_.end()) {
            found = counts_.emplace(std::string(call), 0).first;
        }
        recent = &*found;
    }
    return recent->second;
}

const Fault* Faults::Count(std::string_view call) {
    const std::uint64_t number = ++CounterOf(call);
    for (Fault& fault : faults_) {
        if (fault.call == call && (fault.onward ? number >= fault.nth : number == fault.nth)) {
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
