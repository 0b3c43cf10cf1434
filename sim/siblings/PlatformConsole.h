// The platform's list of consoles, and of what is to be connected before everything else: what the
// machine file says under "consoles" and "connectSequence". A machine with neither has no such
// protocol.
#pragma once

#include "kelm/PlatformConsoleProtocol.h"
#include "sim/siblings/ProtocolTable.h"

#include <cstdint>
#include <vector>

namespace sim {

class PlatformConsole final : public Sibling {
public:
    // Reads "consoles" and "connectSequence"; throws MachineFileError.
    explicit PlatformConsole(Platform& owner);
    void Install() override;

private:
    EFI_STATUS GetPlatformConsole(PlatformConsoleEntry** table);
    EFI_STATUS GetPlatformConnectSequence(EFI_DEVICE_PATH_PROTOCOL*** sequence);

    std::vector<std::vector<std::uint8_t>> paths_;    // that the two lists point to
    std::vector<PlatformConsoleEntry> consoles_;      // with the end
    std::vector<EFI_DEVICE_PATH_PROTOCOL*> sequence_; // with the null at the end
    bool present_;
    ProtocolTable<KelmPlatformConsoleProtocol, "KelmPlatformConsoleProtocol"> protocol_;
};

} // namespace sim
