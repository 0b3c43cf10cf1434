// The splash screen: what the user sees of it stands here and in the trace event `splash`.
#pragma once

#include "kelm/SplashProtocol.h"
#include "sim/siblings/ProtocolTable.h"

#include <array>
#include <string>

namespace sim {

class Splash final : public Sibling {
public:
    struct PromptLine {
        UINT8 type = kSplashLineEmpty;
        std::string text;
    };

    // Reads "splash"; throws MachineFileError.
    explicit Splash(Platform& owner);
    void Install() override;

    bool on;
    std::string bootTaskText;
    std::string statusLine;
    std::array<PromptLine, kSplashPromptLines> prompt;

private:
    EFI_STATUS Show(BOOLEAN turnOn);
    EFI_STATUS SetBootTaskText(const CHAR8* text);
    EFI_STATUS SetHotKeyPrompt(const UINT8* lineTypes, const CHAR8* const* lines);
    EFI_STATUS SetStatusLine(const CHAR8* text);

    ProtocolTable<KelmEarlyVideoSplashProtocol, "KelmEarlyVideoSplashProtocol"> protocol_;
};

} // namespace sim
