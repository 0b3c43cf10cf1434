#include "post/PostDisplay.h"

#include "console/Print.h"
#include "core/DriverState.h"
#include "core/ManufacturingMode.h"
#include "kelm/AttributeNames.h"
#include "library/cpu/Cpu.h"
#include "library/firmware/Services.h"
#include "post/DriverHealth.h"
#include "post/F1F2Prompt.h"
#include "post/RememberedCodes.h"
#include "post/ShowPostMessages.h"
#include "services/Attributes.h"
#include "strings/Strings.h"

namespace kelm {

namespace {

constexpr UINTN kOneSecond = 1'000'000; // microseconds
constexpr UINTN kPauseSteps = 6;

[[noreturn]] void StopForGood() {
    PrintString(u"\n\r");
    static_cast<void>(PrintHiiString(kStringHalted));
    HaltForever();
}

bool IsManufacturing() {
    const UINT32 mode = BdsGetManufacturingMode();
    return mode == kManufacturingModeOn || mode == kManufacturingModeFvs;
}

bool IsPromptWanted() {
    const PostState& state = gDriver.post;
    if (!state.promptRequired) {
        return false;
    }
    if (!state.promptForced && BdsCompareAttribute(kAttributeErrPrompt, kAttributeDisabled)) {
        return false;
    }
    return !IsManufacturing();
}

// Nobody is asked to confirm what was shown; this is the time to read it.
void PauseForReading() {
    PrintString(u"\n\r");
    for (UINTN step = 1; step <= kPauseSteps; ++step) {
        PrintString(u"....");
        if (step < kPauseSteps) {
            static_cast<void>(gBS->Stall(kOneSecond));
        }
    }
    PrintString(u"\n\r");
}

} // namespace

EFI_STATUS BdsProcessPostErrors(bool fullCheck) {
    PostState& state = gDriver.post;
    state.promptRequired = state.promptForced = state.infoShown = state.fatalError = false;
    const bool forgelineHidden = BdsIsForgelineKeyHidden();
    if (fullCheck) {
        BdsClearErrorCodes();
        if (BdsGetManufacturingMode() == kManufacturingModeOff) {
            static_cast<void>(BdsReportDriverHealth());
        }
    }
    static_cast<void>(BdsShowPostMessages());
    if (state.fatalError) {
        StopForGood();
    }
    if (IsPromptWanted()) {
        BdsErrorPrompt(fullCheck, forgelineHidden);
    } else if (state.infoShown) {
        PauseForReading();
    }
    return EFI_SUCCESS;
}

} // namespace kelm
