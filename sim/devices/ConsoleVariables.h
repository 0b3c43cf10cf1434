// Whether a device is one of those that a console variable lists.
#pragma once

#include "sim/devices/Device.h"

#include <string_view>

namespace sim {

// Compares the device with the instances of ConIn, ConOut or ErrOut as the variable is now: the
// whole path, or a short form that fits the USB interface that it is (class, or vendor and serial
// number). A variable that is no device path lists nothing.
bool IsListedConsole(const Device& device, std::u16string_view variable);

} // namespace sim
