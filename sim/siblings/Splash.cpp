#include "sim/siblings/Splash.h"

#include "sim/siblings/MachineReader.h"

namespace sim {

Splash::Splash(Platform& owner) : Sibling(owner), on(FlagAt(owner.machine, "/splash/on", true)) {}

void Splash::Install() {
    using P = KelmEarlyVideoSplashProtocol;
    protocol_.Serve<"Show", &Splash::Show, false>(&P::Show)
        .Serve<"SetBootTaskText", &Splash::SetBootTaskText, false>(&P::SetBootTaskText)
        .Serve<"SetHotKeyPrompt", &Splash::SetHotKeyPrompt, false>(&P::SetHotKeyPrompt)
        .Serve<"SetStatusLine", &Splash::SetStatusLine, false>(&P::SetStatusLine)
        .ReserveRest();
    InstallTable(protocol_);
}

EFI_STATUS Splash::Show(BOOLEAN turnOn) {
    on = turnOn != FALSE;
    platform.trace.Record("splash", {{"what", on ? "on" : "off"}});
    return EFI_SUCCESS;
}

EFI_STATUS Splash::SetBootTaskText(const CHAR8* text) {
    if (text == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    bootTaskText = PlainText(text);
    platform.trace.Record("splash", {{"what", "boot-task"}, {"text", bootTaskText}});
    return EFI_SUCCESS;
}

EFI_STATUS Splash::SetHotKeyPrompt(const UINT8* lineTypes, const CHAR8* const* lines) {
    if (lineTypes == nullptr || lines == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    for (std::size_t i = 0; i < kSplashPromptLines; i++) {
        if (lineTypes[i] > kSplashLineKeyTaken ||
            (lineTypes[i] != kSplashLineEmpty && lines[i] == nullptr)) {
            return EFI_INVALID_PARAMETER;
        }
    }
    Json shown = Json::array();
    for (std::size_t i = 0; i < kSplashPromptLines; i++) {
        const bool empty = lineTypes[i] == kSplashLineEmpty;
        prompt[i] = {lineTypes[i], empty ? std::string() : PlainText(lines[i])};
        shown.push_back({{"type", prompt[i].type}, {"text", prompt[i].text}});
    }
    platform.trace.Record("splash", {{"what", "prompt"}, {"lines", std::move(shown)}});
    return EFI_SUCCESS;
}

EFI_STATUS Splash::SetStatusLine(const CHAR8* text) {
    if (text == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    statusLine = PlainText(text);
    platform.trace.Record("splash", {{"what", "status"}, {"text", statusLine}});
    return EFI_SUCCESS;
}

} // namespace sim
