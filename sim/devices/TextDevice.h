// A text output that a device of the machine shows on its handle: text on a video output, or a
// terminal. The drivers of consoles find it with `device.Find<TextDevice>()`.
#pragma once

#include "sim/devices/Device.h"
#include "sim/firmware/TextOutput.h"

#include <string>
#include <utility>

namespace sim {

// The name under which a person knows a console device: its own in the machine file, or that of
// the device from which it hangs.
std::string ConsoleName(const Device& device);

class TextDevice : public DeviceObject, public TextOutput {
public:
    TextDevice(Device& owner, Platform& ownerPlatform, const char* callName,
               std::vector<Mode> modes, std::size_t first = 0)
        : TextOutput(ownerPlatform, callName, std::move(modes), first),
          device(owner),
          name(ConsoleName(owner)) {}

    Device& device;
    const std::string name;

protected:
    std::optional<EFI_STATUS> Enter(const char* member) override {
        return device.Enter(callName_, member, Protocol());
    }
};

} // namespace sim
