// The two password prompts. A wrong password costs an attempt, and the third one the boot.

#include "post/Passwords.h"

#include "console/KeyInput.h"
#include "console/Print.h"
#include "core/DriverState.h"
#include "kelm/PasswordProtocol.h"
#include "library/cpu/Cpu.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"
#include "post/PasswordEntry.h"
#include "post/PasswordInput.h"
#include "uefi/SimpleTextOutput.h"

#include <array>

namespace kelm {

namespace {

constexpr UINTN kMaxAttempts = 3;
constexpr UINTN kTwoSeconds = 2'000'000; // microseconds
constexpr UINTN kMiddleColumn = 40;
constexpr UINTN kAttemptsRow = 16;
constexpr UINTN kHaltedRow = 17;

constexpr CHAR16 kInvalid[] = u"\n*** Password Invalid. ***\r\n";
constexpr CHAR16 kAttempts[] = u"\nNumber of unsuccessful password attempts:";
constexpr CHAR16 kHalted[] =
    u"\n*** Maximum number of password attempts exceeded. System halted. ***";

struct Properties {
    bool installed = false;
    UINT16 maximumLength = 0;
};

// A service that fails is looked up anew the next time.
EFI_STATUS GetProperties(KelmPasswordProtocol* service, UINT8 type, Properties& properties) {
    UINT8 attributes = 0;
    UINT64 ignored[3] = {};
    const EFI_STATUS status =
        service->GetProperties(service, type, &attributes, &ignored[0], &ignored[1],
                               &properties.maximumLength, &ignored[2]);
    if (EFI_ERROR(status)) {
        gDriver.post.passwords = nullptr;
        return status;
    }
    properties.installed = (attributes & kPasswordInstalled) != 0;
    return EFI_SUCCESS;
}

// The time in which someone may type a password, as far as the service wants to know of it.
class EntryTime {
public:
    explicit EntryTime(KelmPasswordProtocol* service) : service_(service) {
        UINT8 mode = 0;
        static_cast<void>(service_->GetEntryMode(&mode));
        if (mode == 0) {
            open_ = true;
            static_cast<void>(service_->PasswordEntryBegin(service_));
        }
    }
    EntryTime(const EntryTime&) = delete;
    EntryTime& operator=(const EntryTime&) = delete;
    ~EntryTime() { End(); }

    void End() {
        if (open_) {
            open_ = false;
            static_cast<void>(service_->PasswordEntryEnd(service_));
        }
    }

private:
    KelmPasswordProtocol* service_;
    bool open_ = false;
};

// Reads a password, asks the service about it and forgets it.
bool ReadCorrectPassword(KelmPasswordProtocol* service, UINT8 type, TypedPassword& password) {
    password.Read();
    UINT16 detail = 0;
    const bool correct =
        password.Fits() && service->ValidatePassword(service, kPasswordTypedAtPost, type,
                                                     password.text(), &detail) == EFI_SUCCESS;
    password.Wipe();
    return correct;
}

void ShowCursor() {
    if (auto* out = gST->ConOut) {
        static_cast<void>(out->EnableCursor(out, TRUE));
    }
}

void ClearScreen() {
    if (auto* out = gST->ConOut) {
        static_cast<void>(out->ClearScreen(out));
    }
}

void MoveCursor(UINTN column, UINTN row) {
    if (auto* out = gST->ConOut) {
        static_cast<void>(out->SetCursorPosition(out, column, row));
    }
}

void SetAttribute(UINTN attribute) {
    if (auto* out = gST->ConOut) {
        static_cast<void>(out->SetAttribute(out, attribute));
    }
}

void CentreCursor(const CHAR16* message, UINTN row) {
    MoveCursor(kMiddleColumn - Ucs2Length(message) / 2, row);
}

void PrintCount(const CHAR16* format, UINTN count) {
    std::array<CHAR16, 32> text;
    FormatUcs2(text, format, count);
    PrintUnwrapped(text.data());
}

EFI_STATUS AskForSetupPassword(KelmPasswordProtocol* service, TypedPassword& password) {
    for (UINTN attempt = 1;; ++attempt) {
        PrintUnwrapped(u"Enter Setup Password: ");
        if (ReadCorrectPassword(service, kPasswordTypeSetup, password)) {
            return EFI_SUCCESS;
        }
        PrintUnwrapped(kInvalid);
        if (attempt == kMaxAttempts) {
            PrintUnwrapped(kAttempts);
            PrintCount(u" %d \r", attempt);
            PrintUnwrapped(kHalted);
            HaltForever();
        }
        PrintUnwrapped(u"\nPress <Y> to retry or any other key to continue.\r\n");
        if (ToUpperAscii(PollKey().UnicodeChar) != u'Y') {
            return EFI_ABORTED;
        }
    }
}

void AskForSystemPassword(KelmPasswordProtocol* service, TypedPassword& password) {
    for (UINTN attempt = 1;; ++attempt) {
        ClearScreen();
        MoveCursor(0, 0);
        PrintUnwrapped(u"Enter Password: ");
        if (ReadCorrectPassword(service, kPasswordTypeSystem, password)) {
            return;
        }
        PrintUnwrapped(kInvalid);
        if (attempt == kMaxAttempts) {
            CentreCursor(kAttempts, kAttemptsRow);
            PrintUnwrapped(kAttempts);
            PrintCount(u" %d", attempt);
            CentreCursor(kHalted, kHaltedRow);
            PrintUnwrapped(kHalted);
            HaltForever();
        }
        static_cast<void>(gBS->Stall(kTwoSeconds));
    }
}

} // namespace

EFI_STATUS BdsCheckAdminPassword() {
    KelmPasswordProtocol* service = nullptr;
    if (EFI_ERROR(BdsLocatePasswords(service))) {
        return EFI_SUCCESS;
    }
    Properties properties;
    EFI_STATUS status = GetProperties(service, kPasswordTypeSetup, properties);
    if (EFI_ERROR(status)) {
        DebugPrint(kDebugError, "BdsCheckAdminPassword - GetProperties is failed, Status=%r ! \n",
                   status);
        return EFI_SUCCESS;
    }
    if (!properties.installed) {
        return service->SetNoPasswordState(service);
    }
    TypedPassword password(properties.maximumLength);
    if (password.IsNull()) {
        return EFI_OUT_OF_RESOURCES;
    }
    ShowCursor();
    const EntryTime entry(service);
    UINT8 state = 0;
    if (!EFI_ERROR(service->GetValidationState(service, &state)) && state == 1) {
        return EFI_SUCCESS;
    }
    status = AskForSetupPassword(service, password);
    password.Free();
    return status;
}

void BdsCheckSystemPassword() {
    KelmPasswordProtocol* service = nullptr;
    Properties properties;
    if (EFI_ERROR(BdsLocatePasswords(service)) ||
        EFI_ERROR(GetProperties(service, kPasswordTypeSystem, properties)) ||
        !properties.installed) {
        return;
    }
    TypedPassword password(properties.maximumLength);
    if (password.IsNull()) {
        return;
    }
    ShowCursor();
    const auto* out = gST->ConOut;
    const UINTN attribute = out == nullptr ? EFI_LIGHTGRAY : UINTN(out->Mode->Attribute);
    SetAttribute(EFI_WHITE);
    EntryTime entry(service);
    AskForSystemPassword(service, password);
    password.Free();
    SetAttribute(attribute);
    entry.End();
    ClearScreen();
}

} // namespace kelm
