#include "library/firmware/Debug.h"

#include "kelm/DebugLevels.h"
#include "kelm/DebugLogProtocol.h"
#include "library/firmware/Assert.h"
#include "library/firmware/Services.h"

namespace kelm {

namespace {

// Kept because a log line may be written at any task priority, where a lookup is not allowed.
constinit KelmDebugLogProtocol* mLog = nullptr;

} // namespace

EFI_STATUS ConstructDebug() {
    void* interface = nullptr;
    const EFI_STATUS status = gBS->LocateProtocol(&gKelmDebugLogProtocolGuid, nullptr, &interface);
    mLog = EFI_ERROR(status) ? nullptr : static_cast<KelmDebugLogProtocol*>(interface);
    return EFI_SUCCESS; // a platform without a log is a quiet platform
}

void DestructDebug() {
    mLog = nullptr;
}

bool DebugLevelEnabled(UINT64 level) {
    return mLog != nullptr && (mLog->LevelMask & level) != 0;
}

void DebugPrintArguments(UINT64 level, const char* format,
                         std::span<const FormatArgument> arguments) {
    if (!DebugLevelEnabled(level)) {
        return;
    }
    std::array<char, kDebugTextSize> text;
    FormatAsciiV(text, format, arguments);
    static_cast<void>(mLog->Write(mLog, level, text.data()));
}

void ReportAssertion(const char* file, int line, const char* expression) {
    DebugPrint(kDebugError, "ASSERT [KelmBdsDxe] %a(%d): %a\n", file, line, expression);
}

} // namespace kelm
