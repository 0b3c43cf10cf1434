// The lines by which the splash screen offers the hot keys and shows which one was taken.

#include "core/DriverState.h"
#include "core/Forgeline.h"
#include "core/HotKeys.h"
#include "core/PlatformPolicy.h"
#include "kelm/SplashProtocol.h"
#include "library/firmware/Protocol.h"
#include "mgmt/ConfigLock.h"

#include <array>

namespace kelm {

namespace {

class Prompt {
public:
    Prompt() { lines_.fill(""); }

    bool HasRoomFor(UINTN lines) const { return lines <= kSplashPromptLines - count_; }
    void Add(UINT8 type, const CHAR8* text) {
        if (HasRoomFor(1)) {
            types_[count_] = type;
            lines_[count_++] = text;
        }
    }
    EFI_STATUS Show() const {
        KelmEarlyVideoSplashProtocol* splash = nullptr;
        const EFI_STATUS status = LocateService(splash);
        return EFI_ERROR(status) ? status
                                 : splash->SetHotKeyPrompt(splash, types_.data(), lines_.data());
    }

private:
    std::array<UINT8, kSplashPromptLines> types_{}; // kSplashLineEmpty
    std::array<const CHAR8*, kSplashPromptLines> lines_;
    UINTN count_ = 0;
};

bool AreKeysAllowed() {
    auto* policy = BdsPlatformPolicy();
    return policy == nullptr || policy->AreHotKeysBlocked(policy) != TRUE;
}

bool IsF2Hidden() {
    auto* policy = BdsPlatformPolicy();
    return policy != nullptr && policy->IsF2Hidden(policy) != FALSE;
}

bool IsF10Usable() {
    auto* policy = BdsPlatformPolicy();
    const bool hidden = policy != nullptr && policy->IsF10Hidden(policy) != FALSE;
    return !hidden && !BdsIsConfigLocked() && !BdsF10Hidden() &&
           gDriver.forgeline.service != nullptr;
}

// A key is shown as taken even where it is not offered: somebody else may have asked for it.
void AddKey(Prompt& prompt, HotKey key, bool offered, const CHAR8* taken, const CHAR8* offer) {
    if (gDriver.boot.hotKey == key) {
        prompt.Add(kSplashLineKeyTaken, taken);
    } else if (offered) {
        prompt.Add(kSplashLineKeyOffered, offer);
    }
}

void AddForgeline(Prompt& prompt, bool offered) {
    const ForgelineRequest request = gDriver.boot.forgelineRequest;
    if (BdsForgelineAvailable()) {
        if (gDriver.boot.hotKey == HotKey::F10Forgeline || request == ForgelineRequest::Gui) {
            prompt.Add(kSplashLineKeyTaken, "Entering Forgeline");
        } else if (offered && prompt.HasRoomFor(2)) {
            prompt.Add(kSplashLineKeyOffered, "F10\t = Forgeline (Config");
            prompt.Add(kSplashLineKeyOffered, "\t   Nimbor, Update FW, Install OS)");
        }
        return;
    }
    if (!offered) {
        return;
    }
    switch (request) {
    case ForgelineRequest::NotAvailable:
        prompt.Add(kSplashLineInformation, "Forgeline not available");
        break;
    case ForgelineRequest::RecoveryMode:
        prompt.Add(kSplashLineInformation, "Forgeline in Recovery Mode");
        break;
    case ForgelineRequest::ServicePartition:
        prompt.Add(kSplashLineKeyTaken, "Boot to Service Partition");
        break;
    default:
        prompt.Add(kSplashLineInformation, "Forgeline disabled");
        break;
    }
}

} // namespace

EFI_STATUS BdsUpdateHotKeyPrompt() {
    const bool allowed = AreKeysAllowed();
    Prompt prompt;
    const bool offersF2 = gDriver.boot.hotKey != HotKey::F2Setup && allowed && !IsF2Hidden();
    AddKey(prompt, HotKey::F2Setup, offersF2, "Entering System Setup", "F2\t = System Setup");
    gDriver.hotKeys.f10Suppressed = !IsF10Usable();
    AddForgeline(prompt, allowed && !gDriver.hotKeys.f10Suppressed);
    AddKey(prompt, HotKey::F11BootManager, allowed, "Entering Boot Manager",
           "F11\t = Boot Manager");
    AddKey(prompt, HotKey::F12Pxe, allowed, "Attempting PXE Boot", "F12\t = PXE Boot");
    return prompt.Show();
}

EFI_STATUS BdsClearHotKeyPrompt() {
    return Prompt().Show();
}

} // namespace kelm
