// EFI_BDS_ARCH_PROTOCOL: how the DXE core hands control to boot device selection (PI 1.8, volume 2,
// section 12).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiBdsArchProtocolGuid = {
    0x665E3FF6, 0x46CC, 0x11D4, {0x9A, 0x38, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};

struct EFI_BDS_ARCH_PROTOCOL {
    // Returns only when a driver that is needed has not been dispatched yet.
    void(EFIAPI* Entry)(EFI_BDS_ARCH_PROTOCOL* This);
};
static_assert(sizeof(EFI_BDS_ARCH_PROTOCOL) == 8);

template <>
struct ProtocolGuid<EFI_BDS_ARCH_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiBdsArchProtocolGuid;
};
