#include "post/ShowPostMessages.h"

#include "bootopt/DeviceLocation.h"
#include "console/Print.h"
#include "core/DriverState.h"
#include "kelm/PostMessageProtocol.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"
#include "post/ArgumentBlock.h"
#include "post/ControllerName.h"
#include "post/PostLog.h"
#include "post/PostMessageTable.h"
#include "post/RememberedCodes.h"
#include "uefi/SimpleTextOutput.h"

#include <algorithm>
#include <string_view>

namespace kelm {

namespace {

constexpr std::u16string_view kDeviceNameToken = u"<devicename>";
constexpr CHAR16 kUnknownDevice[] = u"(Unknown Device)";
constexpr UINTN kWhiteOnBlue = 0x1F;
constexpr UINTN kMaxMessages = 4096; // more are a circle

// How messages reach the controller's log, where it is not by number and short text.
struct SmaEntry {
    UINT32 number;
    UINTN strings;
};
constexpr SmaEntry kSmaEntries[] = {
    {35, 3}, {102, 3}, {325, 3}, {67, 1}, {68, 1}, {89, 1}, {276, 2}, {350, 2}, {366, 2}, {357, 0},
};
constexpr UINT32 kSmaDeviceName = 55; // its one string is the name of the device

RegisteredPostMessage* RecordOf(KelmListEntry* link) {
    return reinterpret_cast<RegisteredPostMessage*>(reinterpret_cast<UINT8*>(link) -
                                                    offsetof(RegisteredPostMessage, Link));
}

void GeneralizeControllerName(RegisteredPostMessage& message) {
    if (BdsGeneralizeControllerName(message.FinalText)) {
        DebugPrint(kDebugInfo, "Modified FinalMsg = %ls\r\n", message.FinalText);
    }
}

// Puts a name into the text of a message and ends it with a new line. A text that cannot grow for
// want of memory stays as it is.
void InsertDeviceName(RegisteredPostMessage& message, std::u16string_view name) {
    const std::u16string_view text = Ucs2View(message.FinalText);
    const UINTN token = Ucs2Find(text, kDeviceNameToken);
    const std::u16string_view before = text.substr(0, token);
    const std::u16string_view after =
        token == kNotFound ? std::u16string_view() : text.substr(token + kDeviceNameToken.size());
    const UINTN room = text.size() + name.size() + 2;
    PoolPtr<CHAR16> grown = AllocateZeroPool<CHAR16>(room);
    if (!grown) {
        return;
    }
    for (const std::u16string_view piece :
         {before, token == kNotFound ? std::u16string_view() : name, after,
          std::u16string_view(u"\n")}) {
        static_cast<void>(Ucs2Append({grown.get(), room}, piece));
    }
    FreePool(message.FinalText);
    message.FinalText = grown.release();
}

PoolPtr<CHAR16> CopyText(const CHAR16* text) {
    const UINTN length = Ucs2Length(text);
    PoolPtr<CHAR16> copy;
    if (text != nullptr) {
        copy = AllocateZeroPool<CHAR16>(length + 1 + kArgumentBlockMaxStrings);
    }
    if (copy) {
        static_cast<void>(Ucs2Copy({copy.get(), length + 1}, {text, length}));
    }
    return copy;
}

// What to call the device that a message is about: where it sits, or, without a device or somebody
// to ask, what the registrant called it. Null when nobody knows.
PoolPtr<CHAR16> NameDevice(RegisteredPostMessage& message) {
    KelmDeviceLocationProtocol* locations = nullptr;
    if (message.Device == nullptr || EFI_ERROR(BdsLocateDeviceLocation(locations))) {
        return CopyText(message.ArgumentBlock);
    }
    PoolPtr<CHAR16> name = BdsGetDeviceLocationText(message.Device);
    if (name) {
        InsertDeviceName(message, Ucs2View(name.get()));
    }
    return name;
}

void SendToLog(const RegisteredPostMessage& message, const CHAR16* name) {
    if (message.NoLog != 0) {
        return;
    }
    if (message.Number == kSmaDeviceName) {
        static_cast<void>(
            SmaSendLogEntry(message.Identifier, name != nullptr ? name : kUnknownDevice, 1));
        return;
    }
    const auto* entry =
        std::find_if(std::begin(kSmaEntries), std::end(kSmaEntries),
                     [&](const SmaEntry& row) { return row.number == message.Number; });
    static_cast<void>(
        entry != std::end(kSmaEntries)
            ? SmaSendLogEntry(message.Identifier, message.ArgumentBlock, entry->strings)
            : IpmiSendLogEntry(GetEemiNumber(message.Identifier), name));
}

void PrintMessage(const RegisteredPostMessage& message) {
    PrintString(u"\n\r");
    PrintString(message.FinalText);
}

void PrintFatal(const RegisteredPostMessage& message) {
    EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* console = gST->ConOut;
    if (console == nullptr) {
        return;
    }
    const UINTN before = static_cast<UINTN>(console->Mode->Attribute);
    static_cast<void>(console->SetAttribute(console, kWhiteOnBlue));
    PrintMessage(message);
    static_cast<void>(console->SetAttribute(console, before));
}

void Display(const RegisteredPostMessage& message) {
    PostState& state = gDriver.post;
    switch (message.Type) {
    case kPostMessageErrorForced:
        state.promptForced = true;
        [[fallthrough]];
    case kPostMessageError:
        state.promptRequired = true;
        PrintMessage(message);
        BdsRememberErrorCode(message.Identifier);
        break;
    case kPostMessageFatal:
        state.fatalError = true;
        PrintFatal(message);
        break;
    default:
        PrintMessage(message);
        state.infoShown = true;
        break;
    }
}

EFI_STATUS Walk(KelmListEntry* head) {
    if (head == nullptr) {
        return EFI_SUCCESS;
    }
    KelmListEntry* link = head->ForwardLink;
    for (UINTN i = 0; i < kMaxMessages && link != nullptr; ++i, link = link->ForwardLink) {
        if (link == head) {
            return EFI_SUCCESS;
        }
        RegisteredPostMessage& message = *RecordOf(link);
        if (message.Signature != kRegisteredPostMessageSignature) {
            return EFI_COMPROMISED_DATA; // no telling where its link leads
        }
        GeneralizeControllerName(message);
        const PoolPtr<CHAR16> name = NameDevice(message);
        SendToLog(message, name.get());
        Display(message);
    }
    return EFI_COMPROMISED_DATA;
}

} // namespace

EFI_STATUS BdsShowPostMessages() {
    KelmPostMessageProtocol* service = nullptr;
    EFI_STATUS status = LocateService(service);
    if (EFI_ERROR(status)) {
        return status;
    }
    status = Walk(service->GetPostMessageList());
    static_cast<void>(service->EndPostMessageList());
    return status;
}

} // namespace kelm
