// The management controller's request to put the BIOS settings back to their defaults.
#pragma once

#include "uefi/Base.h"

// {2CCC1485-A148-4526-1DB5-DD57172FC53D}
inline constexpr EFI_GUID gKelmSmaResetToDefaultsProtocolGuid = {
    0x2CCC1485, 0xA148, 0x4526, {0x1D, 0xB5, 0xDD, 0x57, 0x17, 0x2F, 0xC5, 0x3D}};

// Request bytes that mean that something waits.
inline constexpr UINT8 kRtdRequestBios = 1;
inline constexpr UINT8 kRtdRequestAll = 2;

struct KelmSmaResetToDefaultsProtocol {
    void* Reserved0;
    // Carries the request out. Takes no argument, like GetRtdRequest only its output.
    EFI_STATUS(EFIAPI* ProcessDefaults)();
    // The request byte; any value but the two above means that nothing waits.
    EFI_STATUS(EFIAPI* GetRtdRequest)(UINT8* request);
};
static_assert(sizeof(KelmSmaResetToDefaultsProtocol) == 3 * sizeof(void*));

template <>
struct ProtocolGuid<KelmSmaResetToDefaultsProtocol> {
    static constexpr const EFI_GUID& value = gKelmSmaResetToDefaultsProtocolGuid;
};
