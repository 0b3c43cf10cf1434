#include "console/ConnectConsoles.h"

#include "bootopt/FqddAttributes.h"
#include "console/ConsoleVariable.h"
#include "console/FtdiConsole.h"
#include "console/NullTextOut.h"
#include "console/SerialConsole.h"
#include "console/VideoConsole.h"
#include "core/DriverState.h"
#include "kelm/AttributeNames.h"
#include "kelm/EventGroups.h"
#include "kelm/PlatformConsoleProtocol.h"
#include "kelm/Variables.h"
#include "library/firmware/Event.h"
#include "library/firmware/Measurement.h"
#include "library/firmware/Protocol.h"
#include "platform/Connect.h"
#include "services/Attributes.h"
#include "uefi/GlobalVariable.h"

#include <array>

namespace kelm {

namespace {

constexpr UINT8 kEmbeddedVideoDisabled = 0;
constexpr UINT64 kTimeStampReset = 1;

// Small variables are read into this much, longer ones count as unreadable.
using SmallValue = std::array<UINT8, 8>;

EFI_STATUS ReadSmallVariable(const KelmVariable& variable, SmallValue& value) {
    UINTN size = value.size();
    return gRT->GetVariable(const_cast<CHAR16*>(variable.name), variable.guid, nullptr, &size,
                            value.data());
}

// The legacy video takes the place of the graphics consoles.
void PrepareLegacyVideo() {
    if (gDriver.boot.bootMode != kBootModeBios && !BdsIsLegacyOrderRequested()) {
        return;
    }
    UINT8 state = 0;
    if (!EFI_ERROR(BdsGetAttributeByte(kAttributeCurrentEmbVideoState, &state)) &&
        state == kEmbeddedVideoDisabled) {
        DebugPrint(kDebugInfo, "Deleting ConOut and ErrOut variables.\n");
        for (const CHAR16* name : {kConOutName, kErrOutName}) {
            static_cast<void>(gRT->SetVariable(const_cast<CHAR16*>(name), &gEfiGlobalVariableGuid,
                                               kVariableNonVolatileRuntime, 0, nullptr));
        }
    }
    static_cast<void>(SignalEventGroup(gKelmLegacyVideoConsoleEventGuid));
}

void AddPlatformConsoles() {
    struct Target {
        UINTN connectType;
        const CHAR16* variable;
    };
    constexpr Target kTargets[] = {
        {kConsoleIn, kConInName},
        {kConsoleOut, kConOutName},
        {kConsoleStdErr, kErrOutName},
    };
    KelmPlatformConsoleProtocol* platform = nullptr;
    PlatformConsoleEntry* entry = nullptr;
    if (EFI_ERROR(LocateProtocolOrLog(
            platform, "Error !!! Unable to locate KelmPlatformConsoleProtocol.\n")) ||
        EFI_ERROR(platform->GetPlatformConsole(platform, &entry)) || entry == nullptr) {
        return;
    }
    for (; entry->DevicePath != nullptr; ++entry) {
        for (const Target& target : kTargets) {
            if ((entry->ConnectType & target.connectType) != 0) {
                static_cast<void>(
                    BdsUpdateConsoleVariable(target.variable, entry->DevicePath, nullptr));
            }
        }
    }
}

// The terminal stack sets it while the consoles are connected.
void ClearTerminalDetect() {
    const KelmVariable& variable = kVariableTerminalDetect;
    UINT8 none = 0;
    static_cast<void>(gRT->SetVariable(const_cast<CHAR16*>(variable.name), variable.guid,
                                       variable.attributes, variable.size, &none));
}

UINT8 TerminalDetect() {
    SmallValue value{};
    return EFI_ERROR(ReadSmallVariable(kVariableTerminalDetect, value)) ? 0 : value[0];
}

void TestErrOutFirst() {
    SmallValue value{};
    gDriver.console.errOutFirst = !EFI_ERROR(ReadSmallVariable(kVariableStdErr, value));
}

void PrepareFtdiConsole() {
    DebugPrint(kDebugBdsInfo, "[FTDI Usb-to-Serial] FTDI USB-to-Serial Feature is enabled.\n");
    for (const CHAR16* name : {kConOutName, kConInName, kErrOutName}) {
        FtdiUsbSerialRemovePreviousDevicePathInConVar(name);
    }
    DebugPrint(kDebugBdsInfo, "[FTDI Usb-to-Serial]: Register FtdiUsbSerialConDevPathCallback.\n");
    FtdiUsbSerialRegisterCallback();
}

void UpdateSystemTableChecksum() {
    UINT32 crc = 0;
    gST->Hdr.CRC32 = 0;
    if (!EFI_ERROR(gBS->CalculateCrc32(&gST->Hdr, gST->Hdr.HeaderSize, &crc))) {
        gST->Hdr.CRC32 = crc;
    }
}

void ProvideStandardError() {
    if (gST->StdErr != nullptr) {
        return;
    }
    EFI_HANDLE handle = nullptr;
    if (EFI_ERROR(gBS->InstallMultipleProtocolInterfaces(&handle, &gEfiSimpleTextOutProtocolGuid,
                                                         NullTextOut(), nullptr))) {
        return;
    }
    gST->StandardErrorHandle = handle;
    gST->StdErr = NullTextOut();
    UpdateSystemTableChecksum();
}

} // namespace

EFI_STATUS BdsConnectConsoles() {
    PrepareLegacyVideo();
    AddPlatformConsoles();
    const bool redirectionActive = BdsSetupSerialConsoleDevicePath();
    static_cast<void>(BdsAddVgaToConOut());
    ClearTerminalDetect();
    BdsUpdateSerialConsole(redirectionActive);
    TestErrOutFirst();
    if (FtdiConsoleSupported()) {
        PrepareFtdiConsole();
    }
    DebugPrint(kDebugBdsInfo, "BDS: Connect all Console variables.\n");
    const EFI_STATUS status = BdsConnectAllConsoleVariables();
    if (EFI_ERROR(status)) {
        return status;
    }
    if (FtdiConsoleSupported()) {
        DebugPrint(kDebugBdsInfo, "[FTDI Usb-to-Serial]: Forward connect USB controller.\n");
        BdsConnectUsbHostControllers();
    }
    BdsSerialConsolePostConnect(redirectionActive, TerminalDetect());
    return EFI_SUCCESS;
}

EFI_STATUS BdsConnectAllConsoleVariables() {
    if (gDriver.console.errOutFirst) {
        static_cast<void>(BdsConnectConsoleVariable(kErrOutName));
    }
    static_cast<void>(BdsConnectConsoleVariable(kConOutName));
    StartMeasurement("ConOut", "BDS", kTimeStampReset);
    EndMeasurement("ConOut", "BDS");
    static_cast<void>(BdsConnectConsoleVariable(kConInName));
    ProvideStandardError();
    return EFI_SUCCESS;
}

} // namespace kelm
