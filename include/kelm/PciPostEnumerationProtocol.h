// A platform step that follows PCI enumeration. Older providers lack it; their version tells.
#pragma once

#include "uefi/Base.h"

// {CABA238E-3910-1356-E8FD-978518CC4847}
inline constexpr EFI_GUID gKelmPciPostEnumerationProtocolGuid = {
    0xCABA238E, 0x3910, 0x1356, {0xE8, 0xFD, 0x97, 0x85, 0x18, 0xCC, 0x48, 0x47}};

// ProcessDevices exists in versions above this one.
inline constexpr UINT64 kPciPostEnumerationBaseVersion = 0x1000000;

struct KelmPciPostEnumerationProtocol {
    // The provider's version.
    UINT64(EFIAPI* GetVersion)(KelmPciPostEnumerationProtocol* This);
    void* Reserved1;
    void* Reserved2;
    void* Reserved3;
    void* Reserved4;
    void* Reserved5;
    void* Reserved6;
    void* Reserved7;
    void* Reserved8;
    void* Reserved9;
    // Runs the platform's step. To be called only when the version is high enough.
    EFI_STATUS(EFIAPI* ProcessDevices)(KelmPciPostEnumerationProtocol* This);
};
static_assert(sizeof(KelmPciPostEnumerationProtocol) == 11 * sizeof(void*));

template <>
struct ProtocolGuid<KelmPciPostEnumerationProtocol> {
    static constexpr const EFI_GUID& value = gKelmPciPostEnumerationProtocolGuid;
};
