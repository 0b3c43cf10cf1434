// The built-in diagnostics: they find nothing wrong.
#pragma once

#include "kelm/DiagnosticsProtocol.h"
#include "sim/siblings/ProtocolTable.h"
#include "sim/siblings/ToolScreen.h"

namespace sim {

class Diagnostics final : public Sibling {
public:
    // Reads "diagnostics"; throws MachineFileError.
    explicit Diagnostics(Platform& owner);
    void Install() override;

private:
    EFI_STATUS Launch();

    ToolLeaving leaving_;
    ProtocolTable<KelmDiagnosticsProtocol, "KelmDiagnosticsProtocol"> protocol_;
};

} // namespace sim
