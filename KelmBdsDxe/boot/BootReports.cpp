#include "boot/BootReports.h"

#include "bootopt/DeviceLocation.h"
#include "console/Print.h"
#include "core/DriverState.h"
#include "kelm/DebugLevels.h"
#include "kelm/PostMessages.h"
#include "kelm/Variables.h"
#include "library/firmware/Debug.h"
#include "library/firmware/HiiStrings.h"
#include "library/firmware/Pool.h"
#include "library/pure/Ucs2.h"
#include "post/PostMessages.h"
#include "strings/Strings.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kelm {

namespace {

constexpr CHAR16 kUnidentified[] = u"<Unidentified boot option>";
constexpr UINTN kFourSeconds = 4'000'000; // microseconds
constexpr UINTN kPostMessageTextLength = 249;

// Prints texts as one, so that it is wrapped as one.
void PrintJoined(std::u16string_view first, std::u16string_view second, std::u16string_view third) {
    const PoolPtr<CHAR16> text =
        AllocatePool<CHAR16>(first.size() + second.size() + third.size() + 1);
    if (!text) {
        return;
    }
    CHAR16* end = text.get();
    for (const std::u16string_view part : {first, second, third}) {
        end = std::copy(part.begin(), part.end(), end);
    }
    *end = 0;
    PrintString(text.get());
}

// One of the driver's strings, or nothing.
PoolPtr<CHAR16> StringOf(UINT16 number) {
    PoolPtr<CHAR16> text;
    static_cast<void>(GetHiiString(gDriver.strings.packageList, number, kStringLanguage, text));
    return text;
}

const CHAR16* TextOf(const PoolPtr<CHAR16>& text) {
    return text ? text.get() : kUnidentified;
}

// Tells which HTTP device an option is for, when its text names one.
void PublishHttpDevice(const CHAR16* text) {
    constexpr std::u16string_view kNames[] = {u"HTTP Device 1", u"HTTP Device 2", u"HTTP Device 3",
                                              u"HTTP Device 4"};
    for (UINT64 i = 0; i < std::size(kNames); i++) {
        if (Ucs2Find(Ucs2View(text), kNames[i]) == kNotFound) {
            continue;
        }
        UINT64 number = i + 1;
        const KelmVariable& variable = kVariableHttpBootDeviceNumber;
        if (EFI_ERROR(gRT->SetVariable(const_cast<CHAR16*>(variable.name), variable.guid,
                                       variable.attributes, sizeof(number), &number))) {
            DebugPrint(kDebugError, "Fail to set Http boot number variable!\n");
        }
        return;
    }
}

void ReportSecureBootRefusal(const CHAR16* text) {
    PrintString(u"\n");
    PrintJoined(Ucs2View(StringOf(kStringUnableToBoot).get()), Ucs2View(text),
                Ucs2View(StringOf(kStringSecureBootPolicy).get()));
    PrintString(u"\n");
    std::array<CHAR8, kPostMessageTextLength + 1> ascii{};
    static_cast<void>(Ucs2ToAscii(ascii, Ucs2View(text).substr(0, kPostMessageTextLength)));
    static_cast<void>(
        RegisterPostMessageWithArgs(kPostMessageSecureBootRefused, nullptr, ascii.data()));
    static_cast<void>(gBS->Stall(kFourSeconds));
}

void ReportVlanConflict() {
    PrintString(u"\n");
    static_cast<void>(PrintHiiString(kStringPxeVlanConflict));
    PrintString(u"\n");
    static_cast<void>(gBS->Stall(kFourSeconds));
}

} // namespace

void BdsReportBootStart(const EFI_DEVICE_PATH_PROTOCOL* path, UINT32 attribute,
                        const CHAR16* description) {
    const PoolPtr<CHAR16> text = BdsGetLocationDescription(path, attribute, description);
    if (text) {
        PublishHttpDevice(text.get());
    }
    PrintJoined(u"Booting from ", Ucs2View(TextOf(text)), u"\n");
}

void BdsReportBootFailure(const EFI_DEVICE_PATH_PROTOCOL* path, UINT32 attribute,
                          const CHAR16* description, EFI_STATUS status) {
    DebugPrint(kDebugBds, "BDS: Fail to boot.\n");
    const PoolPtr<CHAR16> text = BdsGetLocationDescription(path, attribute, description);
    if (status == EFI_SECURITY_VIOLATION) {
        ReportSecureBootRefusal(TextOf(text));
    } else if (status == kStatusPxeVlanConflict) {
        ReportVlanConflict();
    }
    const PoolPtr<CHAR16> failed = StringOf(kStringBootFailed);
    PrintJoined(failed ? Ucs2View(failed.get()) : u"Boot Failed: ", Ucs2View(TextOf(text)),
                u"\n\n");
    gDriver.launch.lastBootResult = kLastBootFailed;
}

void BdsReportBootSuccess(const CHAR16*) {
    DebugPrint(kDebugBds, "BDS: Booted and exit successfully.\n");
}

void BdsReportBootResult(const BootOptionRecord& option, EFI_STATUS status) {
    if (EFI_ERROR(status)) {
        BdsReportBootFailure(option.DevicePath, option.Attribute, option.Description, status);
    } else {
        BdsReportBootSuccess(option.Description);
    }
}

} // namespace kelm
