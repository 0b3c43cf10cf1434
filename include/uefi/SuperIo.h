// EFI_SIO_PROTOCOL: one logical device of a Super I/O chip, on a child handle of the ISA bridge
// (PI 1.8, volume 5, chapter 14).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiSioProtocolGuid = {
    0x215FDD18, 0xBD50, 0x4FEB, {0x89, 0x0B, 0x58, 0xCA, 0x0B, 0x47, 0x39, 0xE9}};

struct EFI_SIO_REGISTER_MODIFY {
    UINT8 Register;
    UINT8 AndMask;
    UINT8 OrMask;
};
static_assert(sizeof(EFI_SIO_REGISTER_MODIFY) == 3);

// Resources are lists of ACPI resource descriptors that end with an end tag.
struct EFI_SIO_PROTOCOL {
    EFI_STATUS(EFIAPI* RegisterAccess)
    (const EFI_SIO_PROTOCOL* This, BOOLEAN Write, BOOLEAN ExitCfgMode, UINT8 Register,
     UINT8* Value);
    EFI_STATUS(EFIAPI* GetResources)(const EFI_SIO_PROTOCOL* This, void** ResourceList);
    EFI_STATUS(EFIAPI* SetResources)(const EFI_SIO_PROTOCOL* This, void* ResourceList);
    EFI_STATUS(EFIAPI* PossibleResources)(const EFI_SIO_PROTOCOL* This, void** ResourceCollection);
    EFI_STATUS(EFIAPI* Modify)
    (const EFI_SIO_PROTOCOL* This, const EFI_SIO_REGISTER_MODIFY* Command, UINTN NumberOfCommands);
};
static_assert(sizeof(EFI_SIO_PROTOCOL) == 40);

template <>
struct ProtocolGuid<EFI_SIO_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiSioProtocolGuid;
};
