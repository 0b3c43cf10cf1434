#include "sim/siblings/PostMessages.h"

#include "library/pure/Ucs2.h"
#include "sim/firmware/Violations.h"
#include "sim/siblings/DeviceLocations.h"
#include "sim/siblings/MachineReader.h"
#include "uefi/DevicePath.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

constexpr UINT32 kAllPlatforms = kPostMessagePlatformSet1 | kPostMessagePlatformSet2;
constexpr UINT32 kInformational = 1;
constexpr char kOwner[] = "KelmPostMessageProtocol";

std::u16string IdentifierOf(UINT32 code) {
    return ToUcs2(fmt::format("UEFI{:04}", code));
}

std::u16string TextAt(const MachineDescription& machine, const std::string& place,
                      std::u16string absent) {
    const Json& value = machine.At(place);
    return value.is_null() ? std::move(absent) : ReadText(machine, value, place);
}

} // namespace

PostMessages::PostMessages(Platform& owner) : Sibling(owner) {
    const std::size_t count = platform.machine.At("/postMessages").size();
    for (std::size_t i = 0; i < count; i++) {
        ReadRow(fmt::format("/postMessages/{}", i));
    }
    // The first row of a number counts: those of the machine file stand in front.
    for (const PostMessageText& message : BuiltInPostMessages()) {
        rows_.push_back(
            {.number = message.number,
             .type = message.type,
             .noLog = message.noLog,
             .platforms = kAllPlatforms,
             .identifier = IdentifierOf(message.code != 0 ? message.code : message.number),
             .text = message.text,
             .secondText = {},
             .registered = false});
    }
    for (const Row& row : rows_) {
        table_.push_back({row.number, row.type, row.noLog, row.platforms, row.identifier.c_str(),
                          row.text.c_str(), row.secondText.c_str()});
    }
}

void PostMessages::ReadRow(const std::string& place) {
    const MachineDescription& machine = platform.machine;
    Row row;
    row.number = UINT32(NumberAt(machine, place + "/number", 0, 0xFFFFFFFF));
    row.type = UINT32(NumberAt(machine, place + "/type", kInformational, 0xFFFFFFFF));
    row.noLog = FlagAt(machine, place + "/noLog", false) ? 1 : 0;
    row.platforms = UINT32(NumberAt(machine, place + "/platforms", kAllPlatforms, 0xFFFFFFFF));
    row.identifier =
        TextAt(machine, place + "/identifier", IdentifierOf(UINT32(row.number % 10000)));
    row.text = TextAt(machine, place + "/text", u"");
    row.secondText = TextAt(machine, place + "/secondText", u"");
    row.registered = FlagAt(machine, place + "/registered", false);
    rows_.push_back(std::move(row));
}

void PostMessages::Install() {
    using P = KelmPostMessageProtocol;
    head_ = {&head_, &head_};
    protocol_.Serve<"AddPostMessage", &PostMessages::AddPostMessage, false>(&P::AddPostMessage)
        .Serve<"GetPostMessageList", &PostMessages::GetPostMessageList>(&P::GetPostMessageList)
        .Serve<"EndPostMessageList", &PostMessages::EndPostMessageList>(&P::EndPostMessageList)
        .Serve<"GetPostMessageTable", &PostMessages::GetPostMessageTable>(&P::GetPostMessageTable);
    InstallTable(protocol_);
    for (const Row& row : rows_) {
        if (row.registered) {
            RegisterEarly(row);
        }
    }
}

// As it stands: nobody has arguments for it.
void PostMessages::RegisterEarly(const Row& row) {
    const std::u16string text = row.identifier + u": " + row.text + row.secondText;
    static_cast<void>(AddPostMessage(
        row.type, row.number, CopyText(row.identifier.c_str(), kPostMessageIdentifierLength),
        CopyText(text.c_str(), text.size()), nullptr, nullptr, row.noLog));
}

bool PostMessages::Has(UINT32 number) const {
    return std::any_of(registered_.begin(), registered_.end(),
                       [&](const Message& message) { return message.number == number; });
}

CHAR16* PostMessages::CopyText(const CHAR16* text, std::size_t characters) {
    const std::u16string copy(text, kelm::Ucs2Length(text, characters));
    return static_cast<CHAR16*>(
        platform.CopyToPool(copy.c_str(), (copy.size() + 1) * sizeof(CHAR16), kOwner));
}

EFI_DEVICE_PATH_PROTOCOL* PostMessages::CopyPath(const EFI_DEVICE_PATH_PROTOCOL* path) {
    constexpr EFI_DEVICE_PATH_PROTOCOL kEnd = {
        kDevicePathTypeEnd, kEndSubTypeEntire, {sizeof(EFI_DEVICE_PATH_PROTOCOL), 0}};
    const auto nodes = PathNodes(path);
    auto* copy =
        static_cast<UINT8*>(platform.CopyToPool(nodes.data(), nodes.size() + sizeof(kEnd), kOwner));
    if (copy != nullptr) {
        std::memcpy(copy + nodes.size(), &kEnd, sizeof(kEnd));
    }
    return reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(copy);
}

// Memory of the registrant that becomes the service's. What cannot be freed later is refused here,
// where it is known who gave it.
CHAR16* PostMessages::TakeOver(const CHAR16* text) {
    const auto address = reinterpret_cast<UINT64>(text);
    const auto block = platform.arena->FindBlock(address);
    if (text != nullptr && (!block || block->address != address)) {
        platform.violations->Record("POST message with a text that is not pool memory");
    }
    return const_cast<CHAR16*>(text);
}

EFI_STATUS PostMessages::AddPostMessage(UINT32 type, UINT32 number, const CHAR16* identifier,
                                        const CHAR16* finalText,
                                        const EFI_DEVICE_PATH_PROTOCOL* device,
                                        const CHAR16* argumentBlock, UINT8 noLog) {
    if (identifier == nullptr || finalText == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const bool copied = type == kPostMessageTransient;
    RegisteredPostMessage record{};
    record.Signature = kRegisteredPostMessageSignature;
    record.Type = type;
    record.Number = number;
    record.NoLog = noLog;
    record.Device = device != nullptr ? CopyPath(device) : nullptr;
    if (copied) {
        record.Identifier = CopyText(identifier, kPostMessageIdentifierLength);
        record.FinalText = CopyText(finalText, kelm::Ucs2Length(finalText));
    }
    auto* kept =
        static_cast<RegisteredPostMessage*>(platform.CopyToPool(&record, sizeof(record), kOwner));
    if (kept == nullptr ||
        (copied && (kept->Identifier == nullptr || kept->FinalText == nullptr))) {
        return EFI_OUT_OF_RESOURCES;
    }
    if (!copied) {
        kept->Identifier = TakeOver(identifier);
        kept->FinalText = TakeOver(finalText);
    }
    kept->ArgumentBlock = TakeOver(argumentBlock);
    kept->Link = {&head_, head_.BackLink};
    head_.BackLink->ForwardLink = &kept->Link;
    head_.BackLink = &kept->Link;
    registered_.push_back(
        {number, type,
         std::u16string(identifier, kelm::Ucs2Length(identifier, kPostMessageIdentifierLength)),
         finalText});
    platform.trace.Record("post-message",
                          {{"number", number}, {"text", ToUtf8(registered_.back().text)}});
    return EFI_SUCCESS;
}

KelmListEntry* PostMessages::GetPostMessageList() {
    lastListed_ = head_.BackLink;
    return &head_;
}

EFI_STATUS PostMessages::EndPostMessageList() {
    if (lastListed_ != nullptr && lastListed_ != &head_) {
        KelmListEntry* next = lastListed_->ForwardLink;
        head_.ForwardLink = next;
        next->BackLink = &head_;
    }
    lastListed_ = nullptr;
    return EFI_SUCCESS;
}

EFI_STATUS PostMessages::GetPostMessageTable(const PostMessageTableEntry** table, UINTN* count) {
    if (table == nullptr || count == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *table = table_.data();
    *count = table_.size();
    return EFI_SUCCESS;
}

} // namespace sim
