// The POST message service: the table of numbered messages, built in (PostMessageTexts.cpp) and
// from the machine file's "postMessages", and what has been registered in this boot.
#pragma once

#include "kelm/PostMessageProtocol.h"
#include "sim/siblings/ProtocolTable.h"

#include <deque>
#include <span>
#include <string>
#include <vector>

namespace sim {

// A built-in message; its identifier is "UEFI" and its number.
struct PostMessageText {
    UINT32 number;
    UINT32 type;
    const CHAR16* text;
    UINT32 code = 0; // of the identifier, where it is not the number
    UINT8 noLog = 0;
};
std::span<const PostMessageText> BuiltInPostMessages();

// The records lie in pool, as the displaying driver expects; the service keeps them to the end of
// the boot. A walk ends with EndPostMessageList: what it has met is listed no more, so that the
// next walk meets only what has come since.
class PostMessages final : public Sibling {
public:
    struct Message {
        UINT32 number;
        UINT32 type;
        std::u16string identifier;
        std::u16string text; // as registered
    };

    // Reads "postMessages"; throws MachineFileError.
    explicit PostMessages(Platform& owner);
    void Install() override;

    const std::vector<Message>& Registered() const { return registered_; }
    bool Has(UINT32 number) const;

private:
    // A row and the texts that it points to.
    struct Row {
        UINT32 number = 0;
        UINT32 type = 0;
        UINT8 noLog = 0;
        UINT32 platforms = 0;
        std::u16string identifier;
        std::u16string text;
        std::u16string secondText;
        bool registered = false; // by a driver before BDS
    };

    void ReadRow(const std::string& place);
    void RegisterEarly(const Row& row);
    EFI_STATUS AddPostMessage(UINT32 type, UINT32 number, const CHAR16* identifier,
                              const CHAR16* finalText, const EFI_DEVICE_PATH_PROTOCOL* device,
                              const CHAR16* argumentBlock, UINT8 noLog);
    KelmListEntry* GetPostMessageList();
    EFI_STATUS EndPostMessageList();
    EFI_STATUS GetPostMessageTable(const PostMessageTableEntry** table, UINTN* count);
    CHAR16* CopyText(const CHAR16* text, std::size_t characters);
    EFI_DEVICE_PATH_PROTOCOL* CopyPath(const EFI_DEVICE_PATH_PROTOCOL* path);
    CHAR16* TakeOver(const CHAR16* text);

    std::vector<Message> registered_;
    std::deque<Row> rows_;
    std::vector<PostMessageTableEntry> table_;
    KelmListEntry head_{};
    KelmListEntry* lastListed_ = nullptr; // the last one when the list was asked for
    ProtocolTable<KelmPostMessageProtocol, "KelmPostMessageProtocol"> protocol_;
};

} // namespace sim
