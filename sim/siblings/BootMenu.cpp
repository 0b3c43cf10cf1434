#include "sim/siblings/BootMenu.h"

#include "kelm/BdsInterfaceProtocol.h"
#include "library/pure/StatusText.h"
#include "sim/siblings/MachineReader.h"

#include <fmt/format.h>

#include <array>

namespace sim {

namespace {

constexpr char kChoicePlace[] = "/bootManager/launch";

std::optional<UINT16> ReadChoice(const MachineDescription& machine) {
    if (machine.At(kChoicePlace).is_null()) {
        return std::nullopt;
    }
    return UINT16(NumberAt(machine, kChoicePlace, 0, 0xFFFF));
}

std::string WordsOf(EFI_STATUS status) {
    std::array<char, kelm::kStatusTextSize> text;
    return {text.data(), kelm::StatusToText(status, text)};
}

} // namespace

BootMenu::BootMenu(Platform& owner)
    : Sibling(owner),
      leaving_(ReadToolLeaving(owner.machine, "/bootManager")),
      choice_(ReadChoice(owner.machine)) {}

void BootMenu::Install() {
    protocol_.Serve<"Launch", &BootMenu::Launch>(&KelmBootManagerProtocol::Launch).ReserveRest();
    InstallTable(protocol_);
}

void BootMenu::Describe(ToolPage& page, const std::vector<ListedBootOption>& options,
                        UINT8 configurationBoot) const {
    page.title = u"Boot Manager";
    page.foot = options.empty() ? u"Esc: Exit" : u"Up, Down: Choose   Enter: Boot   Esc: Exit";
    for (const ListedBootOption& option : options) {
        page.lines.push_back(option.description + (option.active ? u"" : u" (disabled)"));
    }
    if (options.empty()) {
        page.Add("There is no boot option.");
    } else {
        page.chosen = 0;
    }
    if (configurationBoot != 0) {
        page.Add("");
        page.Add("This boot applies a configuration and ends with a reset.");
    }
}

EFI_STATUS BootMenu::Boot(UINT16 number) {
    auto* bds = static_cast<KelmBdsInterfaceProtocol*>(
        platform.handles->FindFirst(gKelmBdsInterfaceProtocolGuid));
    return bds == nullptr ? EFI_NOT_READY : bds->BootByOptionNumber(number, 0);
}

EFI_STATUS BootMenu::Launch(UINT8 configurationBoot) {
    launches.push_back(configurationBoot);
    if (choice_) {
        return Boot(*choice_);
    }
    ToolScreen screen(platform, leaving_);
    ToolPage& page = screen.page();
    const BootLocal<std::vector<ListedBootOption>> options(ListBootOptions(platform));
    Describe(page, *options, configurationBoot);
    for (;;) {
        screen.Draw();
        const std::size_t chosen = page.chosen.value_or(0);
        switch (screen.WaitForKey()) {
        case ToolKey::Up:
            if (chosen > 0) {
                page.chosen = chosen - 1;
            }
            break;
        case ToolKey::Down:
            if (chosen + 1 < options->size()) {
                page.chosen = chosen + 1;
            }
            break;
        case ToolKey::Enter:
            if (!options->empty()) {
                const EFI_STATUS status = Boot((*options)[chosen].number);
                const std::string words =
                    fmt::format("Came back with: {}   Esc: Exit", WordsOf(status));
                page.foot.assign(words.begin(), words.end());
            }
            break;
        case ToolKey::Leave:
            screen.Leave();
            return EFI_SUCCESS;
        }
    }
}

} // namespace sim
