#include "post/PostMessageTable.h"

#include "kelm/BoardInfoProtocol.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"

#include <algorithm>
#include <span>

namespace kelm {

namespace {

constexpr std::u16string_view kIdentifierPrefix = u"UEFI";

UINT32 PlatformMask() {
    auto* board = FindProtocol<KelmBoardInfoProtocol>();
    return board != nullptr && board->IsFeatureSupported(board, kBoardFeaturePostTextSet2) != FALSE
               ? kPostMessagePlatformSet2
               : kPostMessagePlatformSet1;
}

} // namespace

const PostMessageTableEntry* FindPostMessage(const KelmPostMessageProtocol& service,
                                             UINT32 number) {
    const PostMessageTableEntry* table = nullptr;
    UINTN count = 0;
    if (EFI_ERROR(service.GetPostMessageTable(&table, &count)) || table == nullptr) {
        return nullptr;
    }
    const UINT32 platform = PlatformMask();
    const std::span<const PostMessageTableEntry> rows(table, count);
    const auto found = std::find_if(rows.begin(), rows.end(), [&](const auto& row) {
        return row.Number == number && (row.PlatformMask & platform) != 0;
    });
    return found == rows.end() ? nullptr : &*found;
}

PoolPtr<CHAR16> GetPostMessageIdentifier(UINT32 number) {
    auto* service = FindService<KelmPostMessageProtocol>();
    const PostMessageTableEntry* row =
        service == nullptr ? nullptr : FindPostMessage(*service, number);
    return row == nullptr || row->Identifier == nullptr
               ? PoolPtr<CHAR16>()
               : AllocateCopyPool(Ucs2Size(row->Identifier), row->Identifier);
}

UINT32 GetEemiNumber(const CHAR16* identifier) {
    std::u16string_view text = Ucs2View(identifier);
    if (!text.starts_with(kIdentifierPrefix)) {
        return kNoEemiNumber;
    }
    text.remove_prefix(kIdentifierPrefix.size());
    const std::optional<UINT64> number = ParseDecimal(text);
    return number && *number < kNoEemiNumber ? static_cast<UINT32>(*number) : kNoEemiNumber;
}

} // namespace kelm
