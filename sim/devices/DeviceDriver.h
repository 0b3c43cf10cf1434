// What the drivers of the machine's devices have in common: a driver binding (UEFI 2.10, chapter
// 11) that opens what it drives, publishes interfaces, makes the handles of children, and takes
// everything back when it is stopped.
//
// A driver here knows its controllers by one protocol on their handle ("consumes") and by the
// Device behind the handle. On Start it opens that protocol BY_DRIVER, runs Attach(), and then
// makes a handle with the device path for each device of Children() and runs Bring() for it; the
// child is opened BY_CHILD_CONTROLLER. Stop undoes this: children first (Drop), then Detach().
//
// "connect" of the machine file (a failing start), "driver" (a driver that comes with a later
// dispatch) and "vanishAt" are looked after here and in Devices; drivers need not know of them.
#pragma once

#include "sim/devices/Device.h"
#include "uefi/DriverBinding.h"

#include <string>
#include <vector>

namespace sim {

class Platform;

class DeviceDriver {
public:
    // `consumed` is the protocol by which its controllers are known. The higher `version`, the
    // earlier it is asked.
    DeviceDriver(Devices& owner, std::string driverName, const EFI_GUID& consumed,
                 UINT32 version = 0x10);
    virtual ~DeviceDriver() = default;
    DeviceDriver(const DeviceDriver&) = delete;
    DeviceDriver& operator=(const DeviceDriver&) = delete;

    // Installs the driver binding on a new handle.
    void Install();
    EFI_HANDLE Handle() const { return handle_; }
    // Runs once at power-on, when the handles of the roots and all driver bindings are there: for
    // what the firmware has without connecting anything (a firmware volume, a RAM disk service).
    virtual void PowerOn() {}
    // Takes away a child that this driver has brought: its drivers are stopped, its interfaces and
    // its handle go. False when one of its drivers does not let go; then the child stays.
    bool Release(Device& child);
    // Whether it drives the controller now.
    bool IsDriving(EFI_HANDLE controller) const;

    Devices& devices;
    Platform& platform;
    const std::string name;
    const EFI_GUID consumes;

protected:
    // Whether it drives this device, whose handle carries `consumes`. `remaining` may be null.
    virtual bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const = 0;
    // Publishes what the device shows on its own handle. An error undoes the start; withdraw what
    // was published before answering one.
    virtual EFI_STATUS Attach(Device&, const EFI_DEVICE_PATH_PROTOCOL* /*remaining*/) {
        return EFI_SUCCESS;
    }
    // The devices for which handles are made: those below the device that this driver sees. Gone
    // and present ones are left out by the caller. New ones are made with Devices::Add.
    virtual std::vector<Device*> Children(Device&, const EFI_DEVICE_PATH_PROTOCOL* /*remaining*/) {
        return {};
    }
    // Publishes what the child shows on its new handle.
    virtual void Bring(Device& /*child*/) {}
    // Runs when everything is started, and again for every further start of a driver that already
    // drives the device and whose Again() says so (a USB bus asked for one more short-form path);
    // such a start brings the children that are not there yet.
    virtual void Started(Device&, const EFI_DEVICE_PATH_PROTOCOL* /*remaining*/) {}
    virtual bool Again(const Device&, const EFI_DEVICE_PATH_PROTOCOL* /*remaining*/) const {
        return false;
    }
    // Before a child's handle goes; its published interfaces are withdrawn by the caller.
    virtual void Drop(Device& /*child*/) {}
    // Withdraws what Attach() published.
    virtual void Detach(Device&) {}

private:
    struct Binding {
        EFI_DRIVER_BINDING_PROTOCOL protocol{};
        DeviceDriver* owner = nullptr;
    };
    static DeviceDriver& From(EFI_DRIVER_BINDING_PROTOCOL* self) {
        return *reinterpret_cast<Binding*>(self)->owner;
    }
    EFI_STATUS BringChildren(Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining);
    static EFI_STATUS EFIAPI Supported(EFI_DRIVER_BINDING_PROTOCOL* self, EFI_HANDLE controller,
                                       EFI_DEVICE_PATH_PROTOCOL* remaining);
    static EFI_STATUS EFIAPI Start(EFI_DRIVER_BINDING_PROTOCOL* self, EFI_HANDLE controller,
                                   EFI_DEVICE_PATH_PROTOCOL* remaining);
    static EFI_STATUS EFIAPI Stop(EFI_DRIVER_BINDING_PROTOCOL* self, EFI_HANDLE controller,
                                  UINTN count, EFI_HANDLE* children);

    Binding binding_;
    EFI_HANDLE handle_ = nullptr;
};

} // namespace sim
