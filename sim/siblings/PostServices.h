// The services that a user meets during POST: the list of POST messages and the passwords.
#pragma once

#include "kelm/PasswordProtocol.h"
#include "kelm/PostMessageProtocol.h"
#include "sim/siblings/ProtocolTable.h"

#include <string>
#include <vector>

namespace sim {

// The POST messages registered in this boot. The records lie in pool, as the displaying driver
// expects; the service keeps them to the end of the boot.
class PostMessages final : public Sibling {
public:
    struct Message {
        UINT32 number;
        UINT32 type;
        std::u16string identifier;
        std::u16string text;
    };

    using Sibling::Sibling;
    void Install() override;

    const std::vector<Message>& Registered() const { return registered_; }
    bool Has(UINT32 number) const;

private:
    EFI_STATUS AddPostMessage(UINT32 type, UINT32 number, const CHAR16* identifier,
                              const CHAR16* finalText, const EFI_DEVICE_PATH_PROTOCOL* device,
                              const CHAR16* argumentBlock, UINT8 noLog);
    KelmListEntry* GetPostMessageList();
    EFI_STATUS GetPostMessageTable(const PostMessageTableEntry** table, UINTN* count);
    CHAR16* CopyText(const CHAR16* text, std::size_t characters);

    std::vector<Message> registered_;
    std::vector<PostMessageTableEntry> table_;
    KelmListEntry head_{};
    ProtocolTable<KelmPostMessageProtocol, "KelmPostMessageProtocol"> protocol_;
};

// A machine without passwords: nobody is asked for one and no text is accepted.
class Passwords final : public Sibling {
public:
    using Sibling::Sibling;
    void Install() override;

    int openEntries = 0; // PasswordEntryBegin calls that no PasswordEntryEnd has followed
    bool noPasswordState = false;
    static constexpr UINT16 kMaximumLength = 32;

private:
    EFI_STATUS GetProperties(UINT8 passwordType, UINT8* attributes, UINT64* ignored1,
                             UINT64* ignored2, UINT16* maximumLength, UINT64* ignored3);
    EFI_STATUS ValidatePassword(UINT8 source, UINT8 passwordType, const CHAR16* text,
                                UINT16* detail);
    EFI_STATUS GetValidationState(UINT8* state);
    EFI_STATUS SetNoPasswordState();
    EFI_STATUS PasswordEntryBegin();
    EFI_STATUS PasswordEntryEnd();
    EFI_STATUS GetEntryMode(UINT8* mode);

    ProtocolTable<KelmPasswordProtocol, "KelmPasswordProtocol"> protocol_;
};

} // namespace sim
