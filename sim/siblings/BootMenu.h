// The one-shot boot menu: the options of BootOrder, of which a person chooses one.
#pragma once

#include "kelm/BootManagerProtocol.h"
#include "sim/siblings/BootOptionList.h"
#include "sim/siblings/ProtocolTable.h"
#include "sim/siblings/ToolScreen.h"

#include <optional>
#include <vector>

namespace sim {

class BootMenu final : public Sibling {
public:
    // Reads "bootManager"; throws MachineFileError.
    explicit BootMenu(Platform& owner);
    void Install() override;

    std::vector<UINT8> launches; // the "configuration boot" arguments, in order

private:
    EFI_STATUS Launch(UINT8 configurationBoot);
    EFI_STATUS Boot(UINT16 number);
    void Describe(ToolPage& page, const std::vector<ListedBootOption>& options,
                  UINT8 configurationBoot) const;

    ToolLeaving leaving_;
    std::optional<UINT16> choice_; // made without showing anything
    ProtocolTable<KelmBootManagerProtocol, "KelmBootManagerProtocol"> protocol_;
};

} // namespace sim
