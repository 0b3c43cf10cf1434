// The font firmware volume in flash, which the dispatcher does not find by itself.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// A firmware volume in flash.
struct FlashVolume {
    UINT64 address;
    UINT64 size; // bytes; 0: the platform has none
};
inline constexpr FlashVolume kFontVolume = {.address = 0xFE0C0000, .size = 0x140000};

// True when the flash at this address is mapped into memory, so that the volume can be used in
// place.
constexpr bool IsFlashMemoryMapped(UINT64 address) {
    return address >= 0x40000000 && !(address > 0xFE800000 && address < 0xFF000000);
}

// Hands the volume to the dispatcher, in place or as a copy read through the SPI flash protocol,
// and keeps its handle. EFI_SUCCESS also when the platform has none; EFI_ALREADY_STARTED: done
// before; EFI_NOT_FOUND: no SPI flash protocol; EFI_OUT_OF_RESOURCES; otherwise the status of the
// read or of the dispatcher.
EFI_STATUS BdsLoadFontFv(const FlashVolume& volume = kFontVolume);

} // namespace kelm
