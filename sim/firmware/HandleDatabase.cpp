#include "sim/firmware/HandleDatabase.h"

#include "sim/firmware/DriverModel.h"
#include "sim/firmware/Platform.h"
#include "sim/firmware/TraceText.h"

#include <algorithm>

namespace sim {

namespace {

constexpr UINT64 kAddressPages = 256; // 32768 handles and registrations in a boot

} // namespace

HandleDatabase::HandleDatabase(Platform& platform)
    : platform_(platform), addresses_(*platform.arena, kAddressPages, kOwnerFirmware) {}

HandleDatabase::~HandleDatabase() = default;

HandleDatabase::Interface* HandleDatabase::FindInterface(EFI_HANDLE handle,
                                                         const EFI_GUID& protocol) {
    auto found = handles_.find(handle);
    if (found == handles_.end()) {
        return nullptr;
    }
    for (Interface& item : found->second.interfaces) {
        if (item.protocol == protocol) {
            return &item;
        }
    }
    return nullptr;
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
        handles_[address];
        *handle = address;
    } else if (!IsValid(*handle) || Has(*handle, protocol)) {
        return EFI_INVALID_PARAMETER;
    }
    handles_[*handle].interfaces.push_back({protocol, interface, nextOrder_++, {}});
    uninstalled_.erase(interface);
    generation_++;
    TraceSignal(*handle, protocol);
    Notify(protocol);
    return EFI_SUCCESS;
}

// A handle that has nothing but null interfaces is there to signal; a null interface beside real
// ones is a mark.
void HandleDatabase::TraceSignal(EFI_HANDLE handle, const EFI_GUID& protocol) {
    const std::vector<Interface>& all = handles_.at(handle).interfaces;
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
    auto found = handles_.find(handle);
    if (found == handles_.end()) {
        return EFI_SUCCESS; // a driver that stopped has uninstalled it
    }
    std::erase_if(found->second.interfaces,
                  [&](const Interface& candidate) { return candidate.protocol == protocol; });
    if (found->second.interfaces.empty()) {
        handles_.erase(found);
    }
    generation_++;
    const bool elsewhere = std::any_of(handles_.begin(), handles_.end(), [&](const auto& other) {
        return std::any_of(other.second.interfaces.begin(), other.second.interfaces.end(),
                           [&](const Interface& i) { return i.interface == interface; });
    });
    if (interface != nullptr && !elsewhere) {
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
    item->interface = newInterface;
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
    return handle != nullptr && handles_.contains(handle);
}

bool HandleDatabase::Has(EFI_HANDLE handle, const EFI_GUID& protocol) const {
    return FindInterface(handle, protocol) != nullptr;
}

void* HandleDatabase::Find(EFI_HANDLE handle, const EFI_GUID& protocol) const {
    const Interface* item = FindInterface(handle, protocol);
    return item != nullptr ? item->interface : nullptr;
}

void* HandleDatabase::FindFirst(const EFI_GUID& protocol, EFI_HANDLE* handle) const {
    for (const auto& [candidate, record] : handles_) {
        for (const Interface& item : record.interfaces) {
            if (item.protocol == protocol) {
                if (handle != nullptr) {
                    *handle = candidate;
                }
                return item.interface;
            }
        }
    }
    return nullptr;
}

std::vector<EFI_HANDLE> HandleDatabase::All() const {
    std::vector<EFI_HANDLE> all;
    for (const auto& [handle, record] : handles_) {
        all.push_back(handle);
    }
    return all;
}

std::vector<EFI_HANDLE> HandleDatabase::WithProtocol(const EFI_GUID& protocol) const {
    std::vector<EFI_HANDLE> with;
    for (const auto& [handle, record] : handles_) {
        if (Has(handle, protocol)) {
            with.push_back(handle);
        }
    }
    return with;
}

std::vector<EFI_GUID> HandleDatabase::ProtocolsOn(EFI_HANDLE handle) const {
    std::vector<EFI_GUID> protocols;
    if (auto found = handles_.find(handle); found != handles_.end()) {
        for (const Interface& item : found->second.interfaces) {
            protocols.push_back(item.protocol);
        }
    }
    return protocols;
}

bool HandleDatabase::WasUninstalled(const void* interface) const {
    return uninstalled_.contains(interface);
}

} // namespace sim
