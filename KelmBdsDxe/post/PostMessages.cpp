#include "post/PostMessages.h"

#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"
#include "post/ArgumentBlock.h"
#include "post/PostMessageTable.h"

#include <initializer_list>
#include <string_view>

namespace kelm {

namespace {

constexpr UINTN kFormattedRoom = 512 / sizeof(CHAR16);

PoolPtr<CHAR16> Join(std::initializer_list<std::u16string_view> pieces) {
    UINTN length = 0;
    for (const std::u16string_view piece : pieces) {
        length += piece.size();
    }
    PoolPtr<CHAR16> text = AllocateZeroPool<CHAR16>(length + 1);
    for (const std::u16string_view piece : pieces) {
        if (text) {
            static_cast<void>(Ucs2Append({text.get(), length + 1}, piece));
        }
    }
    return text;
}

// Hands a message over. What the service has accepted is its own from then on, but for the texts of
// a transient message, which it copies.
EFI_STATUS Add(KelmPostMessageProtocol& service, const PostMessageTableEntry& row,
               std::u16string_view text, const EFI_DEVICE_PATH_PROTOCOL* device,
               PoolPtr<CHAR16> block) {
    const std::u16string_view whole = Ucs2View(row.Identifier);
    PoolPtr<CHAR16> identifier = Join({whole.substr(0, kPostMessageIdentifierLength)});
    PoolPtr<CHAR16> finalText = Join({whole, u": ", text, Ucs2View(row.SecondText)});
    if (!identifier || !finalText) {
        return EFI_OUT_OF_RESOURCES;
    }
    const EFI_STATUS status = service.AddPostMessage(
        row.Type, row.Number, identifier.get(), finalText.get(), device, block.get(), row.NoLog);
    if (!EFI_ERROR(status)) {
        static_cast<void>(block.release());
        if (row.Type != kPostMessageTransient) {
            static_cast<void>(identifier.release());
            static_cast<void>(finalText.release());
        }
    }
    return status;
}

} // namespace

EFI_STATUS RegisterPostMessage(UINT32 number) {
    auto* service = FindService<KelmPostMessageProtocol>();
    const PostMessageTableEntry* row =
        service == nullptr ? nullptr : FindPostMessage(*service, number);
    return row == nullptr ? EFI_NOT_FOUND : Add(*service, *row, Ucs2View(row->Text), nullptr, {});
}

EFI_STATUS RegisterPostMessageWithArgumentList(UINT32 number,
                                               const EFI_DEVICE_PATH_PROTOCOL* device,
                                               FormatArguments arguments) {
    auto* service = FindService<KelmPostMessageProtocol>();
    const PostMessageTableEntry* row =
        service == nullptr ? nullptr : FindPostMessage(*service, number);
    if (row == nullptr) {
        return EFI_NOT_FOUND;
    }
    std::array<CHAR16, kFormattedRoom> formatted;
    const UINTN length = FormatUcs2V(formatted, row->Text, arguments);
    return Add(*service, *row, {formatted.data(), length}, device,
               MakeArgumentBlock(number, arguments));
}

} // namespace kelm
