// Two services that close their part of POST after the boot options are known: the USB stack with
// its TPM hand-over, and trusted execution. Statuses are not looked at.
#pragma once

#include "uefi/Base.h"

// {6C3FDE57-AB20-4CEC-9D36-3E3D95DB26E6}
inline constexpr EFI_GUID gKelmUsbEndOfPostProtocolGuid = {
    0x6C3FDE57, 0xAB20, 0x4CEC, {0x9D, 0x36, 0x3E, 0x3D, 0x95, 0xDB, 0x26, 0xE6}};
// {372B9811-1544-42BC-8DCA-309B722B836F}
inline constexpr EFI_GUID gKelmTxtEndOfPostProtocolGuid = {
    0x372B9811, 0x1544, 0x42BC, {0x8D, 0xCA, 0x30, 0x9B, 0x72, 0x2B, 0x83, 0x6F}};

struct KelmUsbEndOfPostProtocol {
    void* Reserved0;
    void* Reserved1;
    void* Reserved2;
    void* Reserved3;
    // Closes the USB stack's part of POST.
    EFI_STATUS(EFIAPI* EndOfPost)(KelmUsbEndOfPostProtocol* This);
};
static_assert(sizeof(KelmUsbEndOfPostProtocol) == 5 * sizeof(void*));

struct KelmTxtEndOfPostProtocol {
    void* Reserved0;
    // Closes the TPM's and trusted execution's part of POST. Called after the USB one.
    EFI_STATUS(EFIAPI* EndOfPost)(KelmTxtEndOfPostProtocol* This);
};
static_assert(sizeof(KelmTxtEndOfPostProtocol) == 2 * sizeof(void*));

template <>
struct ProtocolGuid<KelmUsbEndOfPostProtocol> {
    static constexpr const EFI_GUID& value = gKelmUsbEndOfPostProtocolGuid;
};
template <>
struct ProtocolGuid<KelmTxtEndOfPostProtocol> {
    static constexpr const EFI_GUID& value = gKelmTxtEndOfPostProtocolGuid;
};
