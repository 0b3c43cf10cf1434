// Connecting drivers to controllers (UEFI 2.10, section 7.3, ConnectController() and
// DisconnectController()): the drivers are the driver bindings in the handle database.
//
// Everything here calls drivers and may end the boot.
#pragma once

#include "uefi/BootServices.h"
#include "uefi/DevicePath.h"

#include <cstdint>
#include <map>
#include <vector>

struct EFI_DRIVER_BINDING_PROTOCOL;

namespace sim {

class Platform;

class DriverModel {
public:
    explicit DriverModel(Platform& platform) : platform_(platform) {}
    DriverModel(const DriverModel&) = delete;
    DriverModel& operator=(const DriverModel&) = delete;

    // Asks the drivers in the order that UEFI lays down (those of `driverImages`, a list that ends
    // with nullptr, first; then by falling version) until none of them starts any more, and then,
    // when `recursive`, the children in the same way. EFI_NOT_FOUND: no driver started, also when
    // one manages the controller already; EFI_SUCCESS nevertheless when `remainingPath` is an end.
    EFI_STATUS Connect(EFI_HANDLE controller, EFI_HANDLE* driverImages,
                       EFI_DEVICE_PATH_PROTOCOL* remainingPath, bool recursive);
    // Stops one driver (or all, nullptr) on the controller, one child (or all, nullptr).
    EFI_STATUS Disconnect(EFI_HANDLE controller, EFI_HANDLE driverImage, EFI_HANDLE child);

    // Controllers that an agent opened on behalf of a child, found through the open-protocol
    // records: handles of children of `controller`.
    std::vector<EFI_HANDLE> ChildrenOf(EFI_HANDLE controller, EFI_HANDLE agent = nullptr) const;
    // Agents that have a protocol of the controller open by driver, each once.
    std::vector<EFI_HANDLE> DriversOf(EFI_HANDLE controller) const;
    // How often the controller has been disconnected in this boot.
    std::uint64_t Disconnections(EFI_HANDLE controller) const;

private:
    EFI_STATUS ConnectOne(EFI_HANDLE controller, EFI_HANDLE* driverImages,
                          EFI_DEVICE_PATH_PROTOCOL* remainingPath);
    void ListDrivers(EFI_HANDLE* driverImages,
                     std::vector<EFI_DRIVER_BINDING_PROTOCOL*>& drivers) const;

    Platform& platform_;
    std::map<EFI_HANDLE, std::uint64_t> disconnections_;
};

} // namespace sim
