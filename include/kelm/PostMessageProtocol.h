// The POST message service: the table of numbered messages, and the list of those registered in
// this boot. Any phase registers a number; BDS shows what has been collected at the end of POST and
// before every boot attempt. No member takes the protocol itself. The numbers stand in
// kelm/PostMessages.h.
#pragma once

#include "kelm/ListEntry.h"
#include "uefi/Base.h"

#include <cstddef>

struct EFI_DEVICE_PATH_PROTOCOL;

// {B233061C-A140-43BF-B127-22D93AA602A7}
inline constexpr EFI_GUID gKelmPostMessageProtocolGuid = {
    0xB233061C, 0xA140, 0x43BF, {0xB1, 0x27, 0x22, 0xD9, 0x3A, 0xA6, 0x02, 0xA7}};

// Message types. Any other value is informational.
inline constexpr UINT32 kPostMessageError = 2;       // asks for the F1/F2 prompt
inline constexpr UINT32 kPostMessageErrorForced = 3; // asks for it even when prompts are disabled
inline constexpr UINT32 kPostMessageFatal = 4;       // halts after the display
inline constexpr UINT32 kPostMessageTransient = 5;   // the registrant frees its texts afterwards

// Platforms that a table entry is for.
inline constexpr UINT32 kPostMessagePlatformSet1 = 1; // feature kBoardFeaturePostTextSet2 absent
inline constexpr UINT32 kPostMessagePlatformSet2 = 2; // feature present

inline constexpr UINTN kPostMessageIdentifierLength = 8; // "UEFI" and four decimal digits

// One row of the service's table. The texts are the service's.
struct PostMessageTableEntry {
    UINT32 Number;
    UINT32 Type;
    UINT8 NoLog; // non-zero: never sent to the controller's log
    UINT32 PlatformMask;
    const CHAR16* Identifier;
    const CHAR16* Text;       // template, may hold print placeholders
    const CHAR16* SecondText; // appended to the template
};
static_assert(offsetof(PostMessageTableEntry, NoLog) == 8);
static_assert(offsetof(PostMessageTableEntry, PlatformMask) == 12);
static_assert(offsetof(PostMessageTableEntry, Identifier) == 16);
static_assert(sizeof(PostMessageTableEntry) == 40);

inline constexpr UINT32 kRegisteredPostMessageSignature = 0x4D455044; // "DPEM" in memory

// One registered message. The record is the service's, and so is what it points to; the display may
// put a reallocated pool buffer in place of FinalText.
struct RegisteredPostMessage {
    UINT32 Signature;
    UINT32 Type;
    UINT32 Number;
    CHAR16* Identifier; // 8 characters
    UINT8 NoLog;
    CHAR16* FinalText;
    EFI_DEVICE_PATH_PROTOCOL* Device; // device that the message is about, or null
    CHAR16* ArgumentBlock;            // NUL-separated strings for the controller's log, or null
    KelmListEntry Link;
};
static_assert(offsetof(RegisteredPostMessage, Identifier) == 16);
static_assert(offsetof(RegisteredPostMessage, FinalText) == 32);
static_assert(offsetof(RegisteredPostMessage, Link) == 56);
static_assert(sizeof(RegisteredPostMessage) == 72);

struct KelmPostMessageProtocol {
    // Registers a message. The identifier, the final text and the argument block come from pool
    // and become the service's, unless it answers an error; only the texts of a transient message
    // are copied and stay the registrant's. The device's path is copied. No device: null. No
    // arguments: null block.
    EFI_STATUS(EFIAPI* AddPostMessage)
    (UINT32 type, UINT32 number, const CHAR16* identifier, const CHAR16* finalText,
     const EFI_DEVICE_PATH_PROTOCOL* device, const CHAR16* argumentBlock, UINT8 noLog);
    // The head of the list of RegisteredPostMessage.Link, or null when there is no list.
    KelmListEntry*(EFIAPI* GetPostMessageList)();
    // A display walk over the list is over: what it has met is not listed again.
    EFI_STATUS(EFIAPI* EndPostMessageList)();
    // The message table and its number of entries; both stay the service's.
    EFI_STATUS(EFIAPI* GetPostMessageTable)(const PostMessageTableEntry** table, UINTN* count);
};
static_assert(sizeof(KelmPostMessageProtocol) == 4 * sizeof(void*));

template <>
struct ProtocolGuid<KelmPostMessageProtocol> {
    static constexpr const EFI_GUID& value = gKelmPostMessageProtocolGuid;
};
