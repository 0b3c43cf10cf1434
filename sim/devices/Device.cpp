#include "sim/devices/Device.h"

#include "sim/devices/Devices.h"
#include "sim/firmware/HandleDatabase.h"
#include "sim/firmware/Platform.h"
#include "sim/firmware/TraceText.h"
#include "sim/firmware/Violations.h"

#include <algorithm>

namespace sim {

std::string Device::Name() const {
    return id.empty() ? DevicePathText(Path()) : id;
}

Device* Device::Above(std::string_view kindWanted) {
    Device* device = this;
    while (device != nullptr && device->kind != kindWanted) {
        device = device->parent;
    }
    return device;
}

void Device::Publish(const EFI_GUID& protocol, void* interface) {
    if (handle == nullptr || Publishes(protocol)) {
        return;
    }
    // First the record: a notification of the installation may withdraw it again.
    published_.push_back({protocol, interface});
    EFI_HANDLE target = handle;
    if (EFI_ERROR(devices.platform.handles->Install(&target, protocol, interface))) {
        std::erase_if(published_, [&](const Published& item) { return item.protocol == protocol; });
    }
}

bool Device::Withdraw(const EFI_GUID& protocol) {
    const auto isIt = [&](const Published& item) { return item.protocol == protocol; };
    const auto found = std::find_if(published_.begin(), published_.end(), isIt);
    if (found == published_.end()) {
        return true;
    }
    // Drivers that stop on the way may withdraw others: no iterator outlives the call.
    const EFI_STATUS status =
        devices.platform.handles->Uninstall(handle, protocol, found->interface);
    if (status == EFI_ACCESS_DENIED) {
        return false;
    }
    std::erase_if(published_, isIt);
    return true;
}

bool Device::Publishes(const EFI_GUID& protocol) const {
    return std::any_of(published_.begin(), published_.end(),
                       [&](const Published& item) { return item.protocol == protocol; });
}

std::optional<EFI_STATUS> Device::Enter(const char* protocol, const char* member,
                                        const void* self) const {
    Platform& platform = devices.platform;
    if (platform.handles->WasUninstalled(self)) {
        platform.violations->Record(std::string(protocol) + "." + member + " of " + Name() +
                                    " called after it was uninstalled");
    }
    return platform.EnterSibling(protocol, member, false);
}

} // namespace sim
