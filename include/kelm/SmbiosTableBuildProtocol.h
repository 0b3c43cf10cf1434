// Builds the SMBIOS tables, in two passes: what is known before the controllers are connected, and
// the rest.
#pragma once

#include "uefi/Base.h"

// {C4262218-6BDB-47C1-85E3-441CF0BA41F9}
inline constexpr EFI_GUID gKelmSmbiosTableBuildProtocolGuid = {
    0xC4262218, 0x6BDB, 0x47C1, {0x85, 0xE3, 0x44, 0x1C, 0xF0, 0xBA, 0x41, 0xF9}};

struct KelmSmbiosTableBuildProtocol {
    void* Reserved0;
    // Builds what needs connected devices and closes the tables.
    EFI_STATUS(EFIAPI* BuildTables)(KelmSmbiosTableBuildProtocol* This);
    // Builds what is known early. Called first.
    EFI_STATUS(EFIAPI* BuildEarlyTables)(KelmSmbiosTableBuildProtocol* This);
};
static_assert(sizeof(KelmSmbiosTableBuildProtocol) == 3 * sizeof(void*));

template <>
struct ProtocolGuid<KelmSmbiosTableBuildProtocol> {
    static constexpr const EFI_GUID& value = gKelmSmbiosTableBuildProtocolGuid;
};
