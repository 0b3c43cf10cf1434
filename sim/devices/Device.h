// One device of the machine during one boot: a function, a disk, a port, a terminal, a partition.
//
// Devices form a tree that is known before the power comes on: those of the machine file, those
// that their paths imply (root bridges, bridges, controllers), and those that drivers add (the
// UART behind a port, the partitions of a disk). A device has a handle only while the driver of its
// parent has made one for it ("present"): connecting the parent brings it, disconnecting the
// parent or pulling the device takes it away.
#pragma once

#include "sim/machine/MachineDescription.h"
#include "uefi/Base.h"
#include "uefi/DevicePath.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

class Devices;
class DeviceDriver;

// Something that a device shows to the firmware or keeps between calls: an object with one or more
// protocol tables. It lives until the end of the boot, also when its device has gone, so that a
// call through a stale pointer is a violation and not a crash.
class DeviceObject {
public:
    virtual ~DeviceObject() = default;
};

class Device {
public:
    Device(Devices& owner, Device* parentDevice) : devices(owner), parent(parentDevice) {}
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    // ---- What it is (fixed)

    Devices& devices;
    Device* const parent; // nullptr for a root
    std::vector<Device*> children;
    std::string id;    // its name in the machine file; "" for an implied one
    std::string kind;  // "kind" of the machine file; "root-bridge", "pci-bridge", "partition",
                       // "uart", "terminal", ... for implied ones
    std::string place; // JSON pointer of its section; "" for an implied one
    std::vector<std::uint8_t> path;     // all nodes and the end node
    std::vector<std::uint8_t> lastNode; // the last of the nodes that its parent has not

    const EFI_DEVICE_PATH_PROTOCOL* Path() const {
        return reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(path.data());
    }
    const EFI_DEVICE_PATH_PROTOCOL* LastNode() const {
        return reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(lastNode.data());
    }
    bool LastNodeIs(std::uint8_t type, std::uint8_t subType) const {
        return lastNode[0] == type && lastNode[1] == subType;
    }
    // Its name in violations and errors: the id, or the path as text.
    std::string Name() const;
    // Nearest device from here upwards (itself included) that has that kind; nullptr when none.
    Device* Above(std::string_view kindWanted);

    // ---- What it is now

    EFI_HANDLE handle = nullptr; // nullptr: not present
    bool gone = false;           // pulled: never present again in this boot

    // Installs an interface of an object that the device keeps on its handle. Nothing happens when
    // the device is not present (a notification may have pulled it meanwhile).
    void Publish(const EFI_GUID& protocol, void* interface);
    // Takes one interface back; true also when it is not published. False when somebody who has it
    // open does not let go.
    bool Withdraw(const EFI_GUID& protocol);
    bool Publishes(const EFI_GUID& protocol) const;

    // Every call of a protocol that the device publishes begins with this. A call of an interface
    // that is not installed any more is a violation; answers a fault of the machine file for
    // "Protocol.Member". May end the boot.
    std::optional<EFI_STATUS> Enter(const char* protocol, const char* member,
                                    const void* self) const;

    // Keeps an object with the device. `Find` gives the newest one of a type, or nullptr.
    template <class Object, class... Arguments>
    Object& Keep(Arguments&&... arguments) {
        auto object = std::make_unique<Object>(std::forward<Arguments>(arguments)...);
        Object& kept = *object;
        objects_.push_back(std::move(object));
        return kept;
    }
    template <class Object>
    Object* Find() const {
        for (auto at = objects_.rbegin(); at != objects_.rend(); ++at) {
            if (auto* found = dynamic_cast<Object*>(at->get())) {
                return found;
            }
        }
        return nullptr;
    }

private:
    friend class Devices;
    struct Published {
        EFI_GUID protocol;
        void* interface;
    };
    // The record of the driver that made the handle.
    struct Link {
        EFI_HANDLE agent = nullptr; // nullptr: there is none
        EFI_HANDLE controller = nullptr;
        EFI_GUID protocol{};
    };
    std::vector<std::unique_ptr<DeviceObject>> objects_;
    std::vector<Published> published_; // besides the device path, in the order of installation
    Link link_;
    // What the machine file says about its driver and its end.
    std::string driver_; // of "drivers" that it waits for
    EFI_STATUS startStatus_ = EFI_SUCCESS;
    std::uint64_t failingStarts_ = 0; // still to come
    std::optional<std::uint64_t> vanishAt_;
    Device* hardware_ = this; // what comes and goes with it: see Devices.h
};

} // namespace sim
