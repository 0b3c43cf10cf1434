#include "sim/siblings/SetupBrowser.h"

#include "kelm/Variables.h"
#include "sim/firmware/VariableService.h"
#include "sim/siblings/AttributeService.h"
#include "sim/siblings/BootOptionList.h"

#include <fmt/format.h>

namespace sim {

namespace {

// BDS says how setup was entered.
bool MayChange(const Platform& platform) {
    const StoredVariable* entry =
        platform.variables->Find(kVariableSetupEntry.name, *kVariableSetupEntry.guid);
    return entry != nullptr && entry->data.size() == 1 && entry->data[0] == 1;
}

} // namespace

SetupBrowser::SetupBrowser(Platform& owner)
    : Sibling(owner), leaving_(ReadToolLeaving(owner.machine, "/setup")) {}

void SetupBrowser::Install() {
    protocol_.Serve<"Launch", &SetupBrowser::Launch>(&KelmSetupLauncherProtocol::Launch)
        .ReserveRest();
    InstallTable(protocol_);
}

void SetupBrowser::Describe(ToolPage& page) const {
    page.title = u"System Setup";
    page.foot = u"Esc: Exit";
    const auto mode = platform.Get<AttributeService>().Text(u"BootMode");
    page.Add("Boot Mode", mode ? ToUtf8(*mode) : "unknown");
    page.Add("Access", MayChange(platform) ? "administrator" : "view only");
    page.Add("Power-on", fmt::format("{}", platform.bootNumber));
    page.Add("");
    page.Add("Boot Order");
    unsigned place = 0;
    for (const ListedBootOption& option : ListBootOptions(platform)) {
        page.Add(fmt::format("{:>4}. ", ++place));
        page.lines.back() += option.description;
        if (!option.active) {
            page.lines.back() += u" (disabled)";
        }
    }
    if (place == 0) {
        page.Add("      none");
    }
}

EFI_STATUS SetupBrowser::Launch(UINTN menu, UINTN* result) {
    if (result == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    menus.push_back(menu);
    *result = 0;
    ToolScreen screen(platform, leaving_);
    Describe(screen.page());
    screen.ShowUntilLeft();
    screen.Leave();
    return EFI_SUCCESS;
}

} // namespace sim
