#include "sim/firmware/HandleDatabase.h"

#include "library/pure/DevicePath.h"
#include "sim/firmware/DriverModel.h"
#include "sim/firmware/Platform.h"
#include "sim/firmware/TraceText.h"

#include <algorithm>

namespace sim {

namespace {

constexpr UINT64 kAddressPages = 256; // 32768 handles and registrations in a boot

// Lists of handles keep the order of creation, which is that of the addresses.
void Add(std::vector<EFI_HANDLE>& list, EFI_HANDLE handle) {
    const auto place = std::lower_bound(list.begin(), list.end(), handle);
    if (place == list.end() || *place != handle) {
        list.insert(place, handle);
    }
}

void Remove(std::vector<EFI_HANDLE>& list, EFI_HANDLE handle) {
    const auto place = std::lower_bound(list.begin(), list.end(), handle);
    if (place != list.end() && *place == handle) {
        list.erase(place);
    }
}

} // namespace

HandleDatabase::HandleDatabase(Platform& platform)
    : platform_(platform), addresses_(*platform.arena, kAddressPages, kOwnerFirmware) {}

HandleDatabase::~HandleDatabase() = default;

// ---- Indices

void HandleDatabase::Index(EFI_HANDLE handle, const EFI_GUID& protocol, void* interface) {
    Add(byProtocol_[protocol], handle);
    installed_[interface]++;
    if (!(protocol == gEfiDevicePathProtocolGuid) || interface == nullptr) {
        return;
    }
    const auto* path = static_cast<const EFI_DEVICE_PATH_PROTOCOL*>(interface);
    if (const EFI_DEVICE_PATH_PROTOCOL* end = kelm::FirstEndNode(path)) {
        const std::string nodes(reinterpret_cast<const char*>(path),
                                reinterpret_cast<const char*>(end));
        Add(byPath_[nodes], handle);
        pathOf_[handle] = nodes;
    }
}

void HandleDatabase::Unindex(EFI_HANDLE handle, const EFI_GUID& protocol, void* interface) {
    Remove(byProtocol_[protocol], handle);
    if (--installed_[interface] == 0) {
        installed_.erase(interface);
    }
    const auto path = protocol == gEfiDevicePathProtocolGuid ? pathOf_.find(handle) : pathOf_.end();
    if (path == pathOf_.end()) {
        return;
    }
    const auto same = byPath_.find(path->second);
    Remove(same->second, handle);
    if (same->second.empty()) {
        byPath_.erase(same);
    }
    pathOf_.erase(path);
}

const HandleDatabase::HandleList& HandleDatabase::HandlesWith(const EFI_GUID& protocol) const {
    static const HandleList kNone;
    const auto found = byProtocol_.find(protocol);
    return found != byProtocol_.end() ? found->second : kNone;
}

HandleDatabase::Handle* HandleDatabase::FindHandle(EFI_HANDLE handle) {
    if (!addresses_.WasIssued(handle)) {
        return nullptr;
    }
    const std::size_t place = addresses_.IndexOf(handle);
    return place < handles_.size() && handles_[place].IsAlive() ? &handles_[place] : nullptr;
}

HandleDatabase::Interface* HandleDatabase::Handle::Find(const EFI_GUID& protocol) {
    const std::size_t count = interfaces_.size();
    for (std::size_t i = 0; i < count; i++) {
        if ((i >= keys_.size() || keys_[i] == protocol.Data1) &&
            interfaces_[i].protocol == protocol) {
            return &interfaces_[i];
        }
    }
    return nullptr;
}

void HandleDatabase::Handle::Add(const Interface& item) {
    if (interfaces_.size() < keys_.size()) {
        keys_[interfaces_.size()] = item.protocol.Data1;
    }
    interfaces_.push_back(item);
}

void HandleDatabase::Handle::Remove(const EFI_GUID& protocol) {
    std::erase_if(interfaces_, [&](const Interface& item) { return item.protocol == protocol; });
    for (std::size_t i = 0; i < std::min(keys_.size(), interfaces_.size()); i++) {
        keys_[i] = interfaces_[i].protocol.Data1;
    }
}

HandleDatabase::Interface* HandleDatabase::FindInterface(EFI_HANDLE handle,
                                                         const EFI_GUID& protocol) {
    Handle* found = FindHandle(handle);
    return found != nullptr ? found->Find(protocol) : nullptr;
}

const HandleDatabase::Interface* HandleDatabase::FindInterface(EFI_HANDLE handle,
                                                               const EFI_GUID& protocol) const {
    return const_cast<HandleDatabase*>(this)->FindInterface(handle, protocol);
}

EFI_STATUS HandleDatabase::Install(EFI_HANDLE* handle, const EFI_GUID& protocol, void* interface) {
    if (handle == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (*handle == nullptr) {
        void* address = addresses_.Next();
        if (address == nullptr) {
            return EFI_OUT_OF_RESOURCES;
        }
        const std::size_t place = addresses_.IndexOf(address);
        handles_.resize(place + 1); // registrations have addresses too
        *handle = address;
    } else if (!IsValid(*handle) || Has(*handle, protocol)) {
        return EFI_INVALID_PARAMETER;
    }
    handles_[addresses_.IndexOf(*handle)].Add({protocol, interface, nextOrder_++});
    Index(*handle, protocol, interface);
    uninstalled_.erase(interface);
    generation_++;
    TraceSignal(*handle, protocol);
    Notify(protocol);
    return EFI_SUCCESS;
}

// A handle that has nothing but null interfaces is there to signal; a null interface beside real
// ones is a mark.
void HandleDatabase::TraceSignal(EFI_HANDLE handle, const EFI_GUID& protocol) {
    const std::vector<Interface>& all = FindHandle(handle)->Interfaces();
    if (std::all_of(all.begin(), all.end(),
                    [](const Interface& item) { return item.interface == nullptr; })) {
        platform_.trace.Record("signal", {{"guid", GuidText(protocol)}});
    }
}

// Runs the registered notifications, none before all events are signalled.
void HandleDatabase::Notify(const EFI_GUID& protocol) {
    EventService& events = *platform_.events;
    const EFI_TPL level = events.RaiseTpl(TPL_HIGH_LEVEL);
    for (auto& [key, registration] : registrations_) {
        if (registration->protocol == protocol) {
            events.SignalEvent(registration->event);
        }
    }
    events.RestoreTpl(level);
}

// Makes the drivers that manage the interface stop and drops the openers that need not be asked.
// False when somebody still has it open.
bool HandleDatabase::LetGo(EFI_HANDLE handle, const EFI_GUID& protocol) {
    const bool stopped = DisconnectOpeners(handle, protocol);
    Interface* item = FindInterface(handle, protocol);
    if (stopped && item != nullptr) {
        item->handleProtocolCalls = 0;
        std::erase_if(item->openers, [](const EFI_OPEN_PROTOCOL_INFORMATION_ENTRY& opener) {
            return (opener.Attributes &
                    (EFI_OPEN_PROTOCOL_BY_HANDLE_PROTOCOL | EFI_OPEN_PROTOCOL_GET_PROTOCOL |
                     EFI_OPEN_PROTOCOL_TEST_PROTOCOL)) != 0;
        });
    }
    if (stopped && (item == nullptr || item->openers.empty())) {
        return true;
    }
    platform_.drivers->Connect(handle, nullptr, nullptr, true); // those that had stopped
    return false;
}

EFI_STATUS HandleDatabase::Uninstall(EFI_HANDLE handle, const EFI_GUID& protocol, void* interface) {
    const Interface* item = FindInterface(handle, protocol);
    if (!IsValid(handle)) {
        return EFI_INVALID_PARAMETER;
    }
    if (item == nullptr || item->interface != interface) {
        return EFI_NOT_FOUND;
    }
    if (!LetGo(handle, protocol)) {
        return EFI_ACCESS_DENIED;
    }
    Handle* found = FindHandle(handle);
    if (found == nullptr) {
        return EFI_SUCCESS; // a driver that stopped has uninstalled it
    }
    found->Remove(protocol);
    generation_++;
    Unindex(handle, protocol, interface);
    if (interface != nullptr && !installed_.contains(interface)) {
        uninstalled_.insert(interface);
    }
    return EFI_SUCCESS;
}

EFI_STATUS HandleDatabase::Reinstall(EFI_HANDLE handle, const EFI_GUID& protocol,
                                     void* oldInterface, void* newInterface) {
    if (!IsValid(handle)) {
        return EFI_INVALID_PARAMETER;
    }
    Interface* item = FindInterface(handle, protocol);
    if (item == nullptr || item->interface != oldInterface) {
        return EFI_NOT_FOUND;
    }
    if (!LetGo(handle, protocol)) {
        return EFI_ACCESS_DENIED;
    }
    item = FindInterface(handle, protocol);
    if (item == nullptr) {
        return EFI_NOT_FOUND;
    }
    Unindex(handle, protocol, oldInterface);
    item->interface = newInterface;
    Index(handle, protocol, newInterface);
    item->order = nextOrder_++; // new again for whoever registered
    if (oldInterface != newInterface) {
        uninstalled_.insert(oldInterface);
        uninstalled_.erase(newInterface);
    }
    generation_++;
    TraceSignal(handle, protocol);
    Notify(protocol);
    // Drivers that stopped may start on the new interface; there may be none.
    static_cast<void>(platform_.drivers->Connect(handle, nullptr, nullptr, true));
    return EFI_SUCCESS;
}

bool HandleDatabase::IsValid(EFI_HANDLE handle) const {
    return FindHandle(handle) != nullptr;
}

bool HandleDatabase::Has(EFI_HANDLE handle, const EFI_GUID& protocol) const {
    return FindInterface(handle, protocol) != nullptr;
}

void* HandleDatabase::Find(EFI_HANDLE handle, const EFI_GUID& protocol) const {
    const Interface* item = FindInterface(handle, protocol);
    return item != nullptr ? item->interface : nullptr;
}

void* HandleDatabase::FindFirst(const EFI_GUID& protocol, EFI_HANDLE* handle) const {
    const HandleList& with = HandlesWith(protocol);
    if (with.empty()) {
        return nullptr;
    }
    if (handle != nullptr) {
        *handle = with.front();
    }
    return Find(with.front(), protocol);
}

std::vector<EFI_HANDLE> HandleDatabase::All() const {
    std::vector<EFI_HANDLE> all;
    for (const Handle& handle : handles_) {
        if (handle.IsAlive()) {
            all.push_back(AddressOf(handle));
        }
    }
    return all;
}

std::vector<EFI_HANDLE> HandleDatabase::WithProtocol(const EFI_GUID& protocol) const {
    return HandlesWith(protocol);
}

std::vector<EFI_GUID> HandleDatabase::ProtocolsOn(EFI_HANDLE handle) const {
    std::vector<EFI_GUID> protocols;
    if (const Handle* found = FindHandle(handle)) {
        for (const Interface& item : found->Interfaces()) {
            protocols.push_back(item.protocol);
        }
    }
    return protocols;
}

bool HandleDatabase::WasUninstalled(const void* interface) const {
    return uninstalled_.contains(interface);
}

} // namespace sim
