// A second, read-only door to the BIOS settings of kelm/AttributeProtocol.h. It answers before the
// full service has taken over its store and hands out a fresh buffer instead of filling one, so a
// reader needs no size in advance.
#pragma once

#include "uefi/Base.h"

// {19603B03-D8DA-4575-8916-46CAB02BF638}
inline constexpr EFI_GUID gKelmSecondaryAttributeReaderGuid = {
    0x19603B03, 0xD8DA, 0x4575, {0x89, 0x16, 0x46, 0xCA, 0xB0, 0x2B, 0xF6, 0x38}};

struct KelmSecondaryAttributeReader {
    void* Reserved0;
    // Reads a setting by the same namespace and name. On success *buffer is new pool memory of
    // *size bytes that the caller frees; on failure neither output is touched.
    EFI_STATUS(EFIAPI* GetValue)
    (KelmSecondaryAttributeReader* This, const EFI_GUID* nameSpace, const CHAR16* name,
     UINT16* size, void** buffer);
};
static_assert(sizeof(KelmSecondaryAttributeReader) == 2 * sizeof(void*));

template <>
struct ProtocolGuid<KelmSecondaryAttributeReader> {
    static constexpr const EFI_GUID& value = gKelmSecondaryAttributeReaderGuid;
};
