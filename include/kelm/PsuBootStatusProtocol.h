// Refines the power-supply boot status that the controller reports: on systems without a chassis
// manager the platform adds what it knows itself.
#pragma once

#include "uefi/Base.h"

struct KelmIpmiTransportProtocol;

// {D2E298A6-C71C-4ADA-A862-E63B76E0556B}
inline constexpr EFI_GUID gKelmPsuBootStatusProtocolGuid = {
    0xD2E298A6, 0xC71C, 0x4ADA, {0xA8, 0x62, 0xE6, 0x3B, 0x76, 0xE0, 0x55, 0x6B}};

inline constexpr UINTN kPsuBootStatusSize = 3;

// Bits of status byte 0.
inline constexpr UINT8 kPsuStatusRetryMask = 0x03;         // chassis manager's retry count, 0-3
inline constexpr UINT8 kPsuStatusWaitingForChassis = 0x08; // power allocation outstanding
inline constexpr UINT8 kPsuStatusBudgeting = 0x10;         // controller still budgets
inline constexpr UINT8 kPsuStatusInventoryChanged = 0x20;

struct KelmPsuBootStatusProtocol {
    // Completes the three status bytes that the caller read (zero when the read failed).
    EFI_STATUS(EFIAPI* GetBootStatus)(KelmIpmiTransportProtocol* transport, UINT8* status);
};
static_assert(sizeof(KelmPsuBootStatusProtocol) == 1 * sizeof(void*));

template <>
struct ProtocolGuid<KelmPsuBootStatusProtocol> {
    static constexpr const EFI_GUID& value = gKelmPsuBootStatusProtocolGuid;
};
