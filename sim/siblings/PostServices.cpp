#include "sim/siblings/PostServices.h"

#include "library/pure/Ucs2.h"
#include "sim/siblings/DeviceLocations.h"
#include "uefi/DevicePath.h"

#include <algorithm>
#include <cstring>

namespace sim {

// ---- POST messages

void PostMessages::Install() {
    using P = KelmPostMessageProtocol;
    head_ = {&head_, &head_};
    protocol_.Serve<"AddPostMessage", &PostMessages::AddPostMessage, false>(&P::AddPostMessage)
        .Serve<"GetPostMessageList", &PostMessages::GetPostMessageList>(&P::GetPostMessageList)
        .Serve<"EndPostMessageList">(&P::EndPostMessageList)
        .Serve<"GetPostMessageTable", &PostMessages::GetPostMessageTable>(&P::GetPostMessageTable);
    InstallTable(protocol_);
}

bool PostMessages::Has(UINT32 number) const {
    return std::any_of(registered_.begin(), registered_.end(),
                       [&](const Message& message) { return message.number == number; });
}

CHAR16* PostMessages::CopyText(const CHAR16* text, std::size_t characters) {
    const std::u16string copy(text, characters); // the original need not end in a NUL there
    return static_cast<CHAR16*>(platform.CopyToPool(
        copy.c_str(), (copy.size() + 1) * sizeof(CHAR16), "KelmPostMessageProtocol"));
}

EFI_STATUS PostMessages::AddPostMessage(UINT32 type, UINT32 number, const CHAR16* identifier,
                                        const CHAR16* finalText,
                                        const EFI_DEVICE_PATH_PROTOCOL* device,
                                        const CHAR16* argumentBlock, UINT8 noLog) {
    if (identifier == nullptr || finalText == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    RegisteredPostMessage record{};
    record.Signature = kRegisteredPostMessageSignature;
    record.Type = type;
    record.Number = number;
    record.NoLog = noLog;
    record.Identifier =
        CopyText(identifier, kelm::Ucs2Length(identifier, kPostMessageIdentifierLength));
    record.FinalText = CopyText(finalText, kelm::Ucs2Length(finalText));
    if (device != nullptr) {
        const auto nodes = PathNodes(device);
        auto* copy = static_cast<UINT8*>(platform.CopyToPool(
            nodes.data(), nodes.size() + sizeof(*device), "KelmPostMessageProtocol"));
        if (copy != nullptr) {
            const EFI_DEVICE_PATH_PROTOCOL end = {
                kDevicePathTypeEnd, kEndSubTypeEntire, {sizeof(end), 0}};
            std::memcpy(copy + nodes.size(), &end, sizeof(end));
        }
        record.Device = reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(copy);
    }
    if (argumentBlock != nullptr) {
        // Only the registrant knows how many strings the block holds; it is copied as far as its
        // pool block reaches, or up to its first NUL elsewhere.
        const auto address = reinterpret_cast<UINT64>(argumentBlock);
        const auto block = platform.arena->FindBlock(address);
        record.ArgumentBlock = CopyText(
            argumentBlock, block ? (block->address + block->size - address) / sizeof(CHAR16)
                                 : kelm::Ucs2Length(argumentBlock));
    }
    auto* kept = static_cast<RegisteredPostMessage*>(
        platform.CopyToPool(&record, sizeof(record), "KelmPostMessageProtocol"));
    if (kept == nullptr || kept->Identifier == nullptr || kept->FinalText == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    kept->Link = {&head_, head_.BackLink};
    head_.BackLink->ForwardLink = &kept->Link;
    head_.BackLink = &kept->Link;
    registered_.push_back({number, type, record.Identifier, finalText});
    platform.trace.Record("post-message",
                          {{"number", number}, {"text", ToUtf8(registered_.back().text)}});
    return EFI_SUCCESS;
}

KelmListEntry* PostMessages::GetPostMessageList() {
    return &head_;
}

EFI_STATUS PostMessages::GetPostMessageTable(const PostMessageTableEntry** table, UINTN* count) {
    if (table == nullptr || count == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *table = table_.data();
    *count = table_.size();
    return EFI_SUCCESS;
}

// ---- Passwords

void Passwords::Install() {
    using P = KelmPasswordProtocol;
    protocol_.Serve<"GetProperties", &Passwords::GetProperties>(&P::GetProperties)
        .Serve<"ValidatePassword", &Passwords::ValidatePassword>(&P::ValidatePassword)
        .Serve<"GetValidationState", &Passwords::GetValidationState>(&P::GetValidationState)
        .Serve<"SetNoPasswordState", &Passwords::SetNoPasswordState>(&P::SetNoPasswordState)
        .Serve<"PasswordEntryBegin", &Passwords::PasswordEntryBegin>(&P::PasswordEntryBegin)
        .Serve<"PasswordEntryEnd", &Passwords::PasswordEntryEnd>(&P::PasswordEntryEnd)
        .Serve<"GetEntryMode", &Passwords::GetEntryMode>(&P::GetEntryMode)
        .ReserveRest();
    InstallTable(protocol_);
}

EFI_STATUS Passwords::GetProperties(UINT8 passwordType, UINT8* attributes, UINT64* ignored1,
                                    UINT64* ignored2, UINT16* maximumLength, UINT64* ignored3) {
    if ((passwordType != kPasswordTypeSystem && passwordType != kPasswordTypeSetup) ||
        attributes == nullptr || ignored1 == nullptr || ignored2 == nullptr ||
        maximumLength == nullptr || ignored3 == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *attributes = 0;
    *ignored1 = *ignored2 = *ignored3 = 0;
    *maximumLength = kMaximumLength;
    return EFI_SUCCESS;
}

EFI_STATUS Passwords::ValidatePassword(UINT8, UINT8, const CHAR16* text, UINT16* detail) {
    if (text == nullptr || detail == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *detail = 0;
    return EFI_ACCESS_DENIED;
}

EFI_STATUS Passwords::GetValidationState(UINT8* state) {
    if (state == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *state = 0;
    return EFI_SUCCESS;
}

EFI_STATUS Passwords::SetNoPasswordState() {
    noPasswordState = true;
    return EFI_SUCCESS;
}

EFI_STATUS Passwords::PasswordEntryBegin() {
    openEntries++;
    return EFI_SUCCESS;
}

EFI_STATUS Passwords::PasswordEntryEnd() {
    openEntries = std::max(0, openEntries - 1); // BDS closes once without having opened
    return EFI_SUCCESS;
}

EFI_STATUS Passwords::GetEntryMode(UINT8* mode) {
    if (mode == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *mode = 0;
    return EFI_SUCCESS;
}

} // namespace sim
