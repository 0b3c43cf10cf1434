#include "boot/DefaultBoot.h"

#include "boot/BootFailPrompt.h"
#include "boot/BootReports.h"
#include "boot/Launcher.h"
#include "bootopt/EnumerateBootOptions.h"
#include "bootopt/VariableHelpers.h"
#include "core/DriverState.h"
#include "core/Progress.h"
#include "core/UserEntries.h"
#include "kelm/DebugLevels.h"
#include "kelm/Variables.h"
#include "library/firmware/Assert.h"
#include "library/firmware/Debug.h"
#include "strings/Strings.h"
#include "uefi/DevicePath.h"

#include <array>
#include <utility>

namespace kelm {

namespace {

constexpr std::array kMediaAdvice = {kStringEnsureBootableMedia};

// The options of BootOrder, one at a time. The records of the list stay as they were read; each
// attempt reads its option again.
class BootRound {
public:
    BootRound() {
        BdsInitOptionList(&head_);
        Restart();
    }
    BootRound(const BootRound&) = delete;
    BootRound& operator=(const BootRound&) = delete;
    ~BootRound() { BdsFreeOptionList(&head_); }

    // Reads BootOrder and begins with its first option.
    void Restart() {
        BdsFreeOptionList(&head_);
        static_cast<void>(BdsBuildOptionListFromBootOrder(&head_));
        next_ = head_.ForwardLink;
    }
    // The same once the devices have been looked for again.
    void EnumerateAndRestart() {
        static_cast<void>(EnumerateBootOptions());
        Restart();
    }
    bool AtEnd() const { return next_ == &head_; }
    // The number of the next option.
    UINT16 Take() {
        const BootOptionRecord* option = BdsOptionOfLink(next_);
        KELM_ASSERT(option->Signature == kBootOptionSignature);
        next_ = next_->ForwardLink;
        return option->BootCurrent;
    }

private:
    KelmListEntry head_;
    KelmListEntry* next_;
};

void EnumerateAfterNetworkReconnect() {
    UINTN size = 0;
    if (BdsReadVariable(kVariableHiiNetworkReconnect.name, kVariableHiiNetworkReconnect.guid,
                        &size)) {
        DebugPrint(kDebugBdsInfo,
                   "BDS: Before default boot and found Network Reconnect request.\n");
        static_cast<void>(EnumerateBootOptions());
    }
}

void PromptFor(UINT16 lastResult) {
    switch (lastResult) {
    case kLastBootNoPxeDevice:
        BdsBootFailPrompt(kStringNoPxeDevice, kMediaAdvice);
        break;
    case kLastBootFailed:
        BdsBootFailPrompt(kStringBootFailed, kMediaAdvice);
        break;
    default:
        BdsBootFailPrompt(kStringEmpty, {});
        break;
    }
}

} // namespace

void BdsDefaultBoot() {
    BdsReportProgress(kProgressAttemptDefaultBoot);
    EnumerateAfterNetworkReconnect();
    UINT16& lastResult = gDriver.launch.lastBootResult;
    for (BootRound round;;) {
        while (lastResult != kLastBootNothing) {
            PromptFor(std::exchange(lastResult, kLastBootNothing));
            round.EnumerateAndRestart();
        }
        if (round.AtEnd()) {
            BdsBootFailPrompt(kStringNoBootDevice, kMediaAdvice);
            lastResult = kLastBootNothing;
            round.EnumerateAndRestart();
            continue;
        }
        OwnedBootOption option(BdsReadBootOption(round.Take()));
        if (!option || (option->Attribute & LOAD_OPTION_ACTIVE) == 0) {
            continue;
        }
        const EFI_STATUS status = BdsLaunch(option);
        if (EFI_ERROR(status)) {
            BdsReportBootFailure(option->DevicePath, option->Attribute, option->Description,
                                 status);
            lastResult = kLastBootNothing;
            continue;
        }
        static_cast<void>(BdsEnterBootManager());
        round.EnumerateAndRestart();
    }
}

} // namespace kelm
