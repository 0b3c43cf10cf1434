// The manufacturing line's hold on POST. Absent in the field; then the mode counts as
// kManufacturingModeOff.
#pragma once

#include "uefi/Base.h"

// {50678AE1-7A60-43B6-848D-55179DF84416}
inline constexpr EFI_GUID gKelmManufacturingModeProtocolGuid = {
    0x50678AE1, 0x7A60, 0x43B6, {0x84, 0x8D, 0x55, 0x17, 0x9D, 0xF8, 0x44, 0x16}};

inline constexpr UINT32 kManufacturingModeOff = 0;
inline constexpr UINT32 kManufacturingModeOn = 1;
inline constexpr UINT32 kManufacturingModeFvs = 2;

struct KelmManufacturingModeProtocol {
    void* Reserved0;
    // Called once when the boot task is known.
    EFI_STATUS(EFIAPI* Initialize)(KelmManufacturingModeProtocol* This);
    // The mode, one of the values above.
    UINT32(EFIAPI* GetMode)(KelmManufacturingModeProtocol* This);
    // POST is being left for setup, for the Forgeline tool or for a boot attempt.
    EFI_STATUS(EFIAPI* LeavePost)(KelmManufacturingModeProtocol* This);
    // Applies the line's PXE setting to the network devices.
    EFI_STATUS(EFIAPI* SetPxe)(KelmManufacturingModeProtocol* This);
};
static_assert(sizeof(KelmManufacturingModeProtocol) == 5 * sizeof(void*));

template <>
struct ProtocolGuid<KelmManufacturingModeProtocol> {
    static constexpr const EFI_GUID& value = gKelmManufacturingModeProtocolGuid;
};
