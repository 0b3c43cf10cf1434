#include "sim/devices/DriverNames.h"

#include "sim/devices/Devices.h"
#include "sim/firmware/HandleDatabase.h"

#include <string_view>

namespace sim {

namespace {

constexpr CHAR8 kLanguage[] = "en-US";

// What both members answer before anything else.
EFI_STATUS CheckCall(const CHAR8* language, CHAR16* const* name) {
    if (language == nullptr || name == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return std::string_view(language) == kLanguage ? EFI_SUCCESS : EFI_UNSUPPORTED;
}

} // namespace

DriverNames::DriverNames(DeviceDriver& owner)
    : driver_(owner), driverName_(owner.name.begin(), owner.name.end()) {
    const auto& machine = driver_.platform.machine;
    for (const auto& device : driver_.devices.All()) {
        if (device->id.empty()) {
            continue;
        }
        const std::string place = device->place + "/name";
        const Json& name = machine.At(place);
        if (!name.is_null()) {
            names_[device->id] = ReadText(machine, name, place);
        }
    }
    table_.owner = this;
    table_.protocol = {&GetDriverName, &GetControllerName, kLanguage};
}

void DriverNames::Install() {
    EFI_HANDLE handle = driver_.Handle();
    static_cast<void>(driver_.platform.handles->Install(&handle, gEfiComponentName2ProtocolGuid,
                                                        &table_.protocol));
}

const Device* DriverNames::Managed(EFI_HANDLE controller, EFI_HANDLE child) const {
    const Device* device = driver_.devices.At(controller);
    if (device == nullptr || !driver_.IsDriving(controller)) {
        return nullptr;
    }
    if (child == nullptr) {
        return device;
    }
    const Device* below = driver_.devices.At(child);
    return below != nullptr && below->parent == device ? below : nullptr;
}

EFI_STATUS EFIAPI DriverNames::GetDriverName(Protocol* self, const CHAR8* language, CHAR16** name) {
    DriverNames& owner = Table::From(self);
    if (auto fault =
            owner.driver_.platform.EnterSibling("ComponentName2", "GetDriverName", false)) {
        return *fault;
    }
    if (const EFI_STATUS status = CheckCall(language, name); EFI_ERROR(status)) {
        return status;
    }
    *name = owner.driverName_.data();
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI DriverNames::GetControllerName(Protocol* self, EFI_HANDLE controller,
                                                 EFI_HANDLE child, const CHAR8* language,
                                                 CHAR16** name) {
    DriverNames& owner = Table::From(self);
    if (auto fault =
            owner.driver_.platform.EnterSibling("ComponentName2", "GetControllerName", false)) {
        return *fault;
    }
    if (const EFI_STATUS status = CheckCall(language, name); EFI_ERROR(status)) {
        return status;
    }
    const Device* device = owner.Managed(controller, child);
    const auto known = device != nullptr ? owner.names_.find(device->id) : owner.names_.end();
    if (known == owner.names_.end()) {
        return EFI_UNSUPPORTED;
    }
    *name = known->second.data();
    return EFI_SUCCESS;
}

} // namespace sim
