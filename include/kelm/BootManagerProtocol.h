// Runs the one-shot boot menu.
#pragma once

#include "uefi/Base.h"

// {80B29D99-5539-47E2-A712-696B7D8FF329}
inline constexpr EFI_GUID gKelmBootManagerProtocolGuid = {
    0x80B29D99, 0x5539, 0x47E2, {0xA7, 0x12, 0x69, 0x6B, 0x7D, 0x8F, 0xF3, 0x29}};

struct KelmBootManagerProtocol {
    void* Reserved0;
    // Shows the boot menu; a choice is booted through kelm/BdsInterfaceProtocol.h. The argument is
    // 1 during a boot that only applies a configuration, else 0.
    EFI_STATUS(EFIAPI* Launch)(KelmBootManagerProtocol* This, UINT8 configurationBoot);
};
static_assert(sizeof(KelmBootManagerProtocol) == 2 * sizeof(void*));

template <>
struct ProtocolGuid<KelmBootManagerProtocol> {
    static constexpr const EFI_GUID& value = gKelmBootManagerProtocolGuid;
};
