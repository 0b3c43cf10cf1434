// The management controller's milestones: BDS tells the controller driver how far POST has come.
// Every member takes only the protocol itself; the status is passed back to the caller, and nobody
// acts on it.
#pragma once

#include "uefi/Base.h"

// {DF320EC1-ADE0-48DB-8EF0-C8AD010A9711}
inline constexpr EFI_GUID gKelmNimborProtocolGuid = {
    0xDF320EC1, 0xADE0, 0x48DB, {0x8E, 0xF0, 0xC8, 0xAD, 0x01, 0x0A, 0x97, 0x11}};

struct KelmNimborProtocol {
    void* Reserved0;
    // The controller is up and its IPMI transport is installed.
    EFI_STATUS(EFIAPI* EarlyInit)(KelmNimborProtocol* This);
    // PCI is enumerated.
    EFI_STATUS(EFIAPI* LateInit)(KelmNimborProtocol* This);
    // The POST events collected so far may be sent.
    EFI_STATUS(EFIAPI* ProcessPostEvent)(KelmNimborProtocol* This);
    // Boot options are known; POST proper is over.
    EFI_STATUS(EFIAPI* EndOfPost)(KelmNimborProtocol* This);
    // The first boot attempt of this boot begins. Called once a boot.
    EFI_STATUS(EFIAPI* ReadyToBoot)(KelmNimborProtocol* This);
    // A boot image is loaded and about to be started. Called before every start.
    EFI_STATUS(EFIAPI* BeforeImageStart)(KelmNimborProtocol* This);
    // All controllers are connected; the SATA inventory may be sent.
    EFI_STATUS(EFIAPI* SendSataInfo)(KelmNimborProtocol* This);
};
static_assert(sizeof(KelmNimborProtocol) == 8 * sizeof(void*));

template <>
struct ProtocolGuid<KelmNimborProtocol> {
    static constexpr const EFI_GUID& value = gKelmNimborProtocolGuid;
};
