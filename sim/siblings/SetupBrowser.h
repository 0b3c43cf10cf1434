// Setup: a page of facts about the server that a person looks at and leaves.
#pragma once

#include "kelm/SetupLauncherProtocol.h"
#include "sim/siblings/ProtocolTable.h"
#include "sim/siblings/ToolScreen.h"

#include <vector>

namespace sim {

class SetupBrowser final : public Sibling {
public:
    // Reads "setup"; throws MachineFileError.
    explicit SetupBrowser(Platform& owner);
    void Install() override;

    std::vector<UINTN> menus; // that were asked for, in order

private:
    EFI_STATUS Launch(UINTN menu, UINTN* result);
    void Describe(ToolPage& page) const;

    ToolLeaving leaving_;
    ProtocolTable<KelmSetupLauncherProtocol, "KelmSetupLauncherProtocol"> protocol_;
};

} // namespace sim
