#include "sim/firmware/DriverModel.h"

#include "library/pure/DevicePath.h"
#include "sim/firmware/Platform.h"
#include "uefi/DriverBinding.h"

#include <algorithm>

namespace sim {

namespace {

void AddOnce(std::vector<EFI_HANDLE>& list, EFI_HANDLE handle) {
    if (std::find(list.begin(), list.end(), handle) == list.end()) {
        list.push_back(handle);
    }
}

EFI_DRIVER_BINDING_PROTOCOL* BindingOn(const HandleDatabase& handles, EFI_HANDLE handle) {
    return static_cast<EFI_DRIVER_BINDING_PROTOCOL*>(
        handles.Find(handle, gEfiDriverBindingProtocolGuid));
}

} // namespace

void DriverModel::ListDrivers(EFI_HANDLE* driverImages,
                              std::vector<EFI_DRIVER_BINDING_PROTOCOL*>& drivers) const {
    std::vector<EFI_DRIVER_BINDING_PROTOCOL*> all;
    for (EFI_HANDLE handle : platform_.handles->WithProtocol(gEfiDriverBindingProtocolGuid)) {
        if (auto* binding = BindingOn(*platform_.handles, handle)) {
            all.push_back(binding);
        }
    }
    std::stable_sort(all.begin(), all.end(),
                     [](const auto* a, const auto* b) { return a->Version > b->Version; });
    const auto take = [&](EFI_DRIVER_BINDING_PROTOCOL*& binding) {
        drivers.push_back(binding);
        binding = nullptr;
    };
    for (; driverImages != nullptr && *driverImages != nullptr; driverImages++) {
        for (auto*& binding : all) {
            if (binding != nullptr && (binding->ImageHandle == *driverImages ||
                                       binding->DriverBindingHandle == *driverImages)) {
                take(binding);
            }
        }
    }
    for (auto*& binding : all) {
        if (binding != nullptr) {
            take(binding);
        }
    }
}

EFI_STATUS DriverModel::ConnectOne(EFI_HANDLE controller, EFI_HANDLE* driverImages,
                                   EFI_DEVICE_PATH_PROTOCOL* remainingPath) {
    BootLocal<std::vector<EFI_DRIVER_BINDING_PROTOCOL*>> drivers;
    ListDrivers(driverImages, *drivers);
    bool started = false;
    // A driver that started may be what another one waits for: begin again with the first.
    for (std::size_t i = 0; i < drivers->size();) {
        EFI_DRIVER_BINDING_PROTOCOL* driver = (*drivers)[i];
        if (driver == nullptr || platform_.handles->WasUninstalled(driver) ||
            EFI_ERROR(driver->Supported(driver, controller, remainingPath))) {
            i++;
            continue;
        }
        (*drivers)[i] = nullptr; // asked once
        if (!EFI_ERROR(driver->Start(driver, controller, remainingPath))) {
            started = true;
        }
        i = 0;
        if (!platform_.handles->IsValid(controller)) {
            break;
        }
    }
    if (started || (remainingPath != nullptr && kelm::IsEndNode(remainingPath))) {
        return EFI_SUCCESS;
    }
    return EFI_NOT_FOUND;
}

EFI_STATUS DriverModel::Connect(EFI_HANDLE controller, EFI_HANDLE* driverImages,
                                EFI_DEVICE_PATH_PROTOCOL* remainingPath, bool recursive) {
    if (!platform_.handles->IsValid(controller)) {
        return EFI_INVALID_PARAMETER;
    }
    const EFI_STATUS status = ConnectOne(controller, driverImages, remainingPath);
    if (recursive) {
        BootLocal<std::vector<EFI_HANDLE>> children(ChildrenOf(controller));
        for (EFI_HANDLE child : *children) {
            // A child without a driver is no failure of its parent.
            static_cast<void>(Connect(child, nullptr, nullptr, true));
        }
    }
    return status;
}

EFI_STATUS DriverModel::Disconnect(EFI_HANDLE controller, EFI_HANDLE driverImage,
                                   EFI_HANDLE child) {
    const HandleDatabase& handles = *platform_.handles;
    if (!handles.IsValid(controller) || (child != nullptr && !handles.IsValid(child))) {
        return EFI_INVALID_PARAMETER;
    }
    if (driverImage != nullptr && BindingOn(handles, driverImage) == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    disconnections_[controller]++;
    BootLocal<std::vector<EFI_HANDLE>> agents(DriversOf(controller));
    if (driverImage != nullptr) {
        std::erase_if(*agents, [&](EFI_HANDLE agent) { return agent != driverImage; });
    }
    bool stopped = agents->empty();
    for (EFI_HANDLE agent : *agents) {
        EFI_DRIVER_BINDING_PROTOCOL* binding = BindingOn(handles, agent);
        if (binding == nullptr) {
            continue;
        }
        BootLocal<std::vector<EFI_HANDLE>> children(ChildrenOf(controller, agent));
        const bool hadChildren = !children->empty();
        bool stopDriver = true;
        if (child != nullptr && hadChildren) {
            const bool isChild =
                std::find(children->begin(), children->end(), child) != children->end();
            stopDriver = isChild && children->size() == 1;
            *children = isChild ? std::vector<EFI_HANDLE>{child} : std::vector<EFI_HANDLE>{};
        }
        EFI_STATUS status = EFI_SUCCESS;
        if (!children->empty()) {
            status = binding->Stop(binding, controller, children->size(), children->data());
            stopped = stopped || !EFI_ERROR(status);
        }
        if (stopDriver && !EFI_ERROR(status)) {
            status = binding->Stop(binding, controller, 0, nullptr);
            stopped = stopped || !EFI_ERROR(status);
        }
    }
    return stopped ? EFI_SUCCESS : EFI_NOT_FOUND;
}

std::uint64_t DriverModel::Disconnections(EFI_HANDLE controller) const {
    const auto found = disconnections_.find(controller);
    return found == disconnections_.end() ? 0 : found->second;
}

std::vector<EFI_HANDLE> DriverModel::ChildrenOf(EFI_HANDLE controller, EFI_HANDLE agent) const {
    std::vector<EFI_HANDLE> children;
    for (const EFI_GUID& protocol : platform_.handles->ProtocolsOn(controller)) {
        std::vector<EFI_OPEN_PROTOCOL_INFORMATION_ENTRY> openers;
        static_cast<void>(platform_.handles->Openers(controller, protocol, openers));
        for (const EFI_OPEN_PROTOCOL_INFORMATION_ENTRY& opener : openers) {
            if ((opener.Attributes & EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER) != 0 &&
                (agent == nullptr || opener.AgentHandle == agent)) {
                AddOnce(children, opener.ControllerHandle);
            }
        }
    }
    return children;
}

std::vector<EFI_HANDLE> DriverModel::DriversOf(EFI_HANDLE controller) const {
    std::vector<EFI_HANDLE> drivers;
    for (const EFI_GUID& protocol : platform_.handles->ProtocolsOn(controller)) {
        std::vector<EFI_OPEN_PROTOCOL_INFORMATION_ENTRY> openers;
        static_cast<void>(platform_.handles->Openers(controller, protocol, openers));
        for (const EFI_OPEN_PROTOCOL_INFORMATION_ENTRY& opener : openers) {
            if ((opener.Attributes & EFI_OPEN_PROTOCOL_BY_DRIVER) != 0) {
                AddOnce(drivers, opener.AgentHandle);
            }
        }
    }
    return drivers;
}

} // namespace sim
