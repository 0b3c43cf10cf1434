// Raw access to the firmware flash, for volumes that lie outside the memory-mapped window.
#pragma once

#include "uefi/Base.h"

// {8AAA750C-1B53-444A-B824-C7628B15B720}
inline constexpr EFI_GUID gKelmSpiFlashProtocolGuid = {
    0x8AAA750C, 0x1B53, 0x444A, {0xB8, 0x24, 0xC7, 0x62, 0x8B, 0x15, 0xB7, 0x20}};

struct KelmSpiFlashProtocol {
    void* Reserved0;
    void* Reserved1;
    void* Reserved2;
    // Reads `size` bytes from a flash address into the caller's buffer.
    EFI_STATUS(EFIAPI* Read)(KelmSpiFlashProtocol* This, UINT64 address, UINTN size, void* buffer);
};
static_assert(sizeof(KelmSpiFlashProtocol) == 4 * sizeof(void*));

template <>
struct ProtocolGuid<KelmSpiFlashProtocol> {
    static constexpr const EFI_GUID& value = gKelmSpiFlashProtocolGuid;
};
