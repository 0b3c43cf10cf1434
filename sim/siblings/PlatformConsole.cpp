#include "sim/siblings/PlatformConsole.h"

#include "sim/siblings/MachineReader.h"

#include <string>

namespace sim {

namespace {

UINTN ConnectType(const Json& purposes) {
    UINTN type = 0;
    for (const Json& purpose : purposes) {
        if (purpose == "in") {
            type |= kConsoleIn;
        } else if (purpose == "out") {
            type |= kConsoleOut;
        } else {
            type |= kConsoleStdErr;
        }
    }
    return type;
}

} // namespace

PlatformConsole::PlatformConsole(Platform& owner) : Sibling(owner) {
    const MachineDescription& machine = owner.machine;
    const Json& consoles = machine.At("/consoles");
    const Json& sequence = machine.At("/connectSequence");
    present_ = !consoles.is_null() || !sequence.is_null();
    // The bytes of a path stay where they are when the list of paths grows.
    const auto read = [&](const Json& path, const std::string& place) {
        paths_.push_back(ReadDevicePath(machine, path, place));
        return reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(paths_.back().data());
    };
    for (std::size_t i = 0; i < consoles.size(); i++) {
        const std::string place = "/consoles/" + std::to_string(i) + "/path";
        consoles_.push_back({read(consoles[i]["path"], place), ConnectType(consoles[i]["for"])});
    }
    consoles_.push_back({nullptr, 0});
    for (std::size_t i = 0; i < sequence.size(); i++) {
        sequence_.push_back(read(sequence[i], "/connectSequence/" + std::to_string(i)));
    }
    sequence_.push_back(nullptr);
}

void PlatformConsole::Install() {
    using P = KelmPlatformConsoleProtocol;
    if (!present_) {
        return;
    }
    protocol_
        .Serve<"GetPlatformConsole", &PlatformConsole::GetPlatformConsole>(&P::GetPlatformConsole)
        .Serve<"GetPlatformConnectSequence", &PlatformConsole::GetPlatformConnectSequence>(
            &P::GetPlatformConnectSequence)
        .ReserveRest();
    InstallTable(protocol_);
}

EFI_STATUS PlatformConsole::GetPlatformConsole(PlatformConsoleEntry** table) {
    if (table == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *table = consoles_.data();
    return EFI_SUCCESS;
}

EFI_STATUS PlatformConsole::GetPlatformConnectSequence(EFI_DEVICE_PATH_PROTOCOL*** sequence) {
    if (sequence == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *sequence = sequence_.data();
    return EFI_SUCCESS;
}

} // namespace sim
