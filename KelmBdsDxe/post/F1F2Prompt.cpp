#include "post/F1F2Prompt.h"

#include "console/KeyWait.h"
#include "console/Print.h"
#include "core/DriverState.h"
#include "core/Forgeline.h"
#include "core/PlatformPolicy.h"
#include "core/Progress.h"
#include "library/firmware/Services.h"
#include "mgmt/ConfigLock.h"
#include "strings/Strings.h"
#include "uefi/SimpleTextInput.h"
#include "uefi/SimpleTextOutput.h"

#include <span>

namespace kelm {

namespace {

constexpr UINT64 kTimedPrompt = 300'000'000; // 30 seconds in 100 ns

constexpr UINT16 kF1Only[] = {SCAN_F1};
constexpr UINT16 kAllKeys[] = {SCAN_F1, SCAN_F2, SCAN_F11, SCAN_F10};
constexpr std::span<const UINT16> kWithoutForgeline(kAllKeys, 3);

bool IsTimed() {
    auto* policy = BdsPlatformPolicy();
    return policy != nullptr && policy->IsErrorPromptTimed(policy) != FALSE;
}

struct Offer {
    UINT16 string;
    std::span<const UINT16> keys;
};

Offer WhatToOffer(bool fullCheck, bool forgelineHidden) {
    if (!fullCheck) {
        return {kStringPressF1, kF1Only};
    }
    if (forgelineHidden || !BdsForgelineAvailable()) {
        return {kStringActions, kWithoutForgeline};
    }
    return {kStringActionsWithForgeline, kAllKeys};
}

void SetHotKey(UINT16 scanCode) {
    HotKey& hotKey = gDriver.boot.hotKey;
    switch (scanCode) {
    case SCAN_F2:
        hotKey = HotKey::F2Setup;
        break;
    case SCAN_F10:
        hotKey = HotKey::F10Forgeline;
        break;
    case SCAN_F11:
        hotKey = HotKey::F11BootManager;
        break;
    default:
        break;
    }
}

} // namespace

bool BdsIsForgelineKeyHidden() {
    auto* policy = BdsPlatformPolicy();
    return (policy != nullptr && policy->IsF10Hidden(policy) != FALSE) || BdsIsConfigLocked() ||
           BdsF10Hidden();
}

void BdsErrorPrompt(bool fullCheck, bool forgelineHidden) {
    const Offer offer = WhatToOffer(fullCheck, forgelineHidden);
    BdsReportProgress(kProgressErrorPrompt);
    PrintString(u"\n\r");
    static_cast<void>(PrintHiiString(offer.string));
    PrintString(u"\n\r");
    DiscardKeys();
    SetHotKey(WaitForScanCode(offer.keys, IsTimed() ? kTimedPrompt : kWaitForEver));
    if (gST->ConOut != nullptr) {
        static_cast<void>(gST->ConOut->ClearScreen(gST->ConOut));
    }
}

} // namespace kelm
