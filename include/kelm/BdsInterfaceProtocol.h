// What the BDS driver offers to the other drivers: setup pages, the boot menu and the controller's
// agents boot, enumerate and enter tools through it. Installed once, during early initialisation of
// BDS, on a handle of its own; never uninstalled. No operation takes the protocol itself. All run
// on the boot processor at the caller's task priority.
#pragma once

#include "uefi/Base.h"

#include <cstddef>

struct EFI_DEVICE_PATH_PROTOCOL;

// {B399BED1-6645-41D8-960F-DAA82101CFAA}
inline constexpr EFI_GUID gKelmBdsInterfaceProtocolGuid = {
    0xB399BED1, 0x6645, 0x41D8, {0x96, 0x0F, 0xDA, 0xA8, 0x21, 0x01, 0xCF, 0xAA}};

inline constexpr UINT64 kKelmBdsInterfaceRevision = 0x1000;

struct KelmBdsInterfaceProtocol {
    UINT64 Revision; // kKelmBdsInterfaceRevision

    // Brings the boot options and their orders up to date with the devices that are present.
    void(EFIAPI* EnumerateBootOptions)();
    // Boots one Boot#### and reports the result on the screen. The second number is not looked at.
    // EFI_INVALID_PARAMETER: the option is missing or unreadable. Otherwise the launch status.
    EFI_STATUS(EFIAPI* BootByOptionNumber)(UINT16 optionNumber, UINT16 deviceIndex);
    // Boots a device path for which there is no option. EFI_INVALID_PARAMETER: null path.
    EFI_STATUS(EFIAPI* BootByDevicePath)(EFI_DEVICE_PATH_PROTOCOL* path);
    // Kept for its slot; does nothing.
    void(EFIAPI* NoOperation)();
    // Says whether the configuration inventory is to be rebuilt before the first boot attempt.
    EFI_STATUS(EFIAPI* SetInventoryRebuildRequest)(BOOLEAN rebuild);
    // The BBS indexes of the devices held in a legacy option, in their order. *indexes is new pool
    // memory that the caller frees, null when *count is 0. EFI_INVALID_PARAMETER: not a legacy
    // option.
    EFI_STATUS(EFIAPI* GetLegacyOptionDevices)
    (UINT16 optionNumber, UINT16** indexes, UINTN* count);
    // Rewrites a legacy option with its devices in the given order; devices not named are dropped.
    // EFI_INVALID_PARAMETER: an index is not in the option, which then stays as it was.
    EFI_STATUS(EFIAPI* SetLegacyOptionDeviceOrder)
    (UINT16 optionNumber, const UINT16* indexes, UINTN count);
    // A pool copy of the 69-byte BBS table entry of a device, which the caller frees.
    // EFI_NOT_FOUND: no legacy option holds the index.
    EFI_STATUS(EFIAPI* GetLegacyDeviceEntry)(UINT16 bbsIndex, void** entry);
    // A pool copy of the device's description, which the caller frees. EFI_NOT_FOUND as above.
    EFI_STATUS(EFIAPI* GetLegacyDeviceDescription)(UINT16 bbsIndex, CHAR16** description);
    // Asks for setup: remembered as an F2 key press while keys are still collected, entered at once
    // afterwards.
    EFI_STATUS(EFIAPI* SignalEnterSetup)();
    // Asks for the Forgeline tool, in the same way as SignalEnterSetup; after ready-to-boot it
    // takes a reset to get there.
    EFI_STATUS(EFIAPI* EnterForgeline)();
    // Connects every controller.
    EFI_STATUS(EFIAPI* ConnectAll)();
    // Asks for the setup password when one is installed. EFI_SUCCESS: accepted or not needed.
    EFI_STATUS(EFIAPI* BdsCheckAdminPassword)();
};
static_assert(sizeof(KelmBdsInterfaceProtocol) == 8 + 13 * sizeof(void*));
static_assert(offsetof(KelmBdsInterfaceProtocol, SignalEnterSetup) == 8 + 9 * sizeof(void*));

template <>
struct ProtocolGuid<KelmBdsInterfaceProtocol> {
    static constexpr const EFI_GUID& value = gKelmBdsInterfaceProtocolGuid;
};
