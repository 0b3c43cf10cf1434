// Text input on the handle of a device that a person types on: a USB keyboard, or a terminal.
//
// There is one person: every port reads the queue of the machine's keyboard (Keyboard.h), and a
// key that is read through one port is gone for all.
#pragma once

#include "sim/devices/Device.h"
#include "sim/firmware/Keyboard.h"

namespace sim {

class KeyboardPort final : public DeviceObject {
public:
    explicit KeyboardPort(Platform& platform) : platform_(platform) {}

    // Publishes the simple text input protocols, plain and ex, on a present device.
    void PublishOn(Device& device);
    // False when somebody who has one of them open does not let go.
    bool WithdrawFrom(Device& device);

private:
    Platform& platform_;
    Keyboard::Table table_;
    Keyboard::TableEx tableEx_;
};

} // namespace sim
