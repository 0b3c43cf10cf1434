#include "sim/devices/ConsoleVariables.h"

#include "library/pure/DevicePath.h"
#include "sim/devices/Devices.h"
#include "sim/devices/UsbInterface.h"
#include "sim/firmware/VariableService.h"
#include "uefi/GlobalVariable.h"

#include <algorithm>

namespace sim {

namespace {

using Bytes = std::span<const UINT8>;

// A short form stands alone in its instance.
bool FitsShortForm(const Device& device, Bytes instance) {
    const UsbInterface* usb = UsbInterface::Of(device);
    const auto* node = reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(instance.data());
    return usb != nullptr && !instance.empty() && kelm::NodeLength(node) == instance.size() &&
           usb->Fits(node);
}

} // namespace

bool IsListedConsole(const Device& device, std::u16string_view variable) {
    const StoredVariable* found =
        device.devices.platform.variables->Find(variable, gEfiGlobalVariableGuid);
    if (found == nullptr) {
        return false;
    }
    const auto* paths = reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(found->data.data());
    if (!kelm::IsDevicePathValid(paths, found->data.size())) {
        return false;
    }
    const Bytes own = Bytes(device.path).first(device.path.size() - kelm::kNodeHeaderSize);
    for (const auto* cursor = paths; const auto instance = kelm::NextInstance(cursor);) {
        if (std::equal(instance->begin(), instance->end(), own.begin(), own.end()) ||
            FitsShortForm(device, *instance)) {
            return true;
        }
    }
    return false;
}

} // namespace sim
