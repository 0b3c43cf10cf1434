// The network daughter card. What BDS asks depends on the provider's revision: old providers say
// whether one of two conditions calls for the card's set-up, newer ones answer in one.
#pragma once

#include "uefi/Base.h"

#include <cstddef>

// {E97083C1-383C-40C7-AF39-DB0B8CD5272C}
inline constexpr EFI_GUID gKelmNdcProtocolGuid = {
    0xE97083C1, 0x383C, 0x40C7, {0xAF, 0x39, 0xDB, 0x0B, 0x8C, 0xD5, 0x27, 0x2C}};

// From this revision on IsConfigurationNeeded replaces the other two questions.
inline constexpr UINT64 kNdcSingleQueryRevision = 3;

struct KelmNdcProtocol {
    UINT64 Revision;
    // TRUE: a card was added or exchanged. Revisions below 3.
    BOOLEAN(EFIAPI* IsCardChanged)(KelmNdcProtocol* This);
    // TRUE: the card has not been set up. Revisions below 3.
    BOOLEAN(EFIAPI* IsCardUnconfigured)(KelmNdcProtocol* This);
    void* Reserved3;
    void* Reserved4;
    void* Reserved5;
    void* Reserved6;
    // Sets the card up.
    EFI_STATUS(EFIAPI* Configure)(KelmNdcProtocol* This);
    // TRUE: the card needs Configure. Exists from revision 3 on.
    BOOLEAN(EFIAPI* IsConfigurationNeeded)(KelmNdcProtocol* This);
};
static_assert(sizeof(KelmNdcProtocol) == 9 * sizeof(void*));
static_assert(offsetof(KelmNdcProtocol, Configure) == 7 * sizeof(void*));

template <>
struct ProtocolGuid<KelmNdcProtocol> {
    static constexpr const EFI_GUID& value = gKelmNdcProtocolGuid;
};
