#include "sim/siblings/Diagnostics.h"

#include "sim/siblings/FirmwareServices.h"

#include <fmt/format.h>

namespace sim {

Diagnostics::Diagnostics(Platform& owner)
    : Sibling(owner), leaving_(ReadToolLeaving(owner.machine, "/diagnostics")) {}

void Diagnostics::Install() {
    protocol_.Serve<"Launch", &Diagnostics::Launch>(&KelmDiagnosticsProtocol::Launch);
    InstallTable(protocol_);
}

EFI_STATUS Diagnostics::Launch() {
    ToolScreen screen(platform, leaving_);
    ToolPage& page = screen.page();
    page.title = u"Diagnostics";
    page.foot = u"Esc: Exit";
    page.Add("Processors", fmt::format("{} of {}: passed", Processors::kCount, Processors::kCount));
    page.Add("Memory", "passed");
    page.Add("Storage", "passed");
    screen.ShowUntilLeft();
    screen.Leave();
    return EFI_SUCCESS;
}

} // namespace sim
