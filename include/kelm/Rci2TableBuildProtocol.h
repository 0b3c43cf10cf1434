// Builds the RCI2 table, the configuration inventory that tools and the controller read. Its entry
// point lies on a 16-byte boundary in the range 0xF0000-0xFFFEF.
#pragma once

#include "uefi/Base.h"

// {0F7B0DE3-1D31-433E-8517-F400B05BF71D}
inline constexpr EFI_GUID gKelmRci2TableBuildProtocolGuid = {
    0x0F7B0DE3, 0x1D31, 0x433E, {0x85, 0x17, 0xF4, 0x00, 0xB0, 0x5B, 0xF7, 0x1D}};

inline constexpr CHAR8 kRci2Signature[4] = {'$', 'R', 'C', 'I'};
inline constexpr UINT64 kRci2SearchStart = 0xF0000;
inline constexpr UINT64 kRci2SearchEnd = 0xFFFF0; // first address past the range
inline constexpr UINTN kRci2SearchStep = 16;
inline constexpr UINTN kRci2LengthOffset = 4;       // UINT8; that many bytes add up to 0
inline constexpr UINTN kRci2AddressOffset = 7;      // UINT32, of the table
inline constexpr UINTN kRci2TableSizeOffset = 0x18; // UINT32, in the table

struct KelmRci2TableBuildProtocol {
    // Builds the table and publishes its entry point. A table built before is left to the caller.
    EFI_STATUS(EFIAPI* BuildTable)(KelmRci2TableBuildProtocol* This);
};
static_assert(sizeof(KelmRci2TableBuildProtocol) == 1 * sizeof(void*));

template <>
struct ProtocolGuid<KelmRci2TableBuildProtocol> {
    static constexpr const EFI_GUID& value = gKelmRci2TableBuildProtocolGuid;
};
