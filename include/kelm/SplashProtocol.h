// The splash screen: what the user sees during POST before the text console takes over. Texts are
// ASCII; the splash copies what it shows, the caller keeps its buffers.
#pragma once

#include "uefi/Base.h"

// {4AA2BAF8-CC10-46C2-AB8D-DFE2BC5E2C99}
inline constexpr EFI_GUID gKelmEarlyVideoSplashProtocolGuid = {
    0x4AA2BAF8, 0xCC10, 0x46C2, {0xAB, 0x8D, 0xDF, 0xE2, 0xBC, 0x5E, 0x2C, 0x99}};

inline constexpr UINTN kSplashPromptLines = 5;

// Line types of the hot-key prompt.
inline constexpr UINT8 kSplashLineEmpty = 0;
inline constexpr UINT8 kSplashLineInformation = 1;
inline constexpr UINT8 kSplashLineKeyOffered = 2;
inline constexpr UINT8 kSplashLineKeyTaken = 3;

struct KelmEarlyVideoSplashProtocol {
    // Turns the splash on (TRUE) or off (FALSE).
    EFI_STATUS(EFIAPI* Show)(KelmEarlyVideoSplashProtocol* This, BOOLEAN on);
    void* Reserved1;
    // Shows what this boot is for. The empty text clears the line.
    EFI_STATUS(EFIAPI* SetBootTaskText)(KelmEarlyVideoSplashProtocol* This, const CHAR8* text);
    void* Reserved3;
    // Draws the hot-key prompt: five line types and five texts, top to bottom. A line of type
    // kSplashLineEmpty may have a null text.
    EFI_STATUS(EFIAPI* SetHotKeyPrompt)
    (KelmEarlyVideoSplashProtocol* This, const UINT8* lineTypes, const CHAR8* const* lines);
    void* Reserved5;
    // Writes one status line, replacing the last one.
    EFI_STATUS(EFIAPI* SetStatusLine)(KelmEarlyVideoSplashProtocol* This, const CHAR8* text);
};
static_assert(sizeof(KelmEarlyVideoSplashProtocol) == 7 * sizeof(void*));

template <>
struct ProtocolGuid<KelmEarlyVideoSplashProtocol> {
    static constexpr const EFI_GUID& value = gKelmEarlyVideoSplashProtocolGuid;
};
