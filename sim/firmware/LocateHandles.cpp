// Searches of the handle database and the registrations that tell of new interfaces.
#include "library/pure/DevicePath.h"
#include "sim/firmware/HandleDatabase.h"
#include "sim/firmware/Platform.h"

#include <algorithm>
#include <string_view>

namespace sim {

EFI_STATUS HandleDatabase::RegisterNotify(const EFI_GUID& protocol, EFI_EVENT event,
                                          void** registration) {
    if (event == nullptr || registration == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    void* key = addresses_.Next();
    if (key == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    registrations_.emplace(key, std::make_unique<Registration>(Registration{protocol, event}));
    *registration = key;
    return EFI_SUCCESS;
}

void HandleDatabase::ForgetEvent(EFI_EVENT event) {
    std::erase_if(registrations_, [&](const auto& item) { return item.second->event == event; });
}

bool HandleDatabase::IsRegistered(EFI_EVENT event) const {
    return std::any_of(registrations_.begin(), registrations_.end(),
                       [&](const auto& item) { return item.second->event == event; });
}

HandleDatabase::Registration* HandleDatabase::FindRegistration(void* key) {
    auto found = registrations_.find(key);
    return found != registrations_.end() ? found->second.get() : nullptr;
}

const HandleDatabase::Interface* HandleDatabase::NextNew(const Registration& registration,
                                                         EFI_HANDLE* handle) const {
    const Interface* next = nullptr;
    for (EFI_HANDLE candidate : HandlesWith(registration.protocol)) {
        const Interface* item = FindInterface(candidate, registration.protocol);
        if (item->order > registration.position && (next == nullptr || item->order < next->order)) {
            next = item;
            *handle = candidate;
        }
    }
    return next;
}

EFI_STATUS HandleDatabase::Locate(EFI_LOCATE_SEARCH_TYPE kind, const EFI_GUID* protocol, void* key,
                                  std::vector<EFI_HANDLE>& handles, bool commit) {
    handles.clear();
    switch (kind) {
    case AllHandles:
        handles = All();
        break;
    case ByProtocol:
        if (protocol == nullptr) {
            return EFI_INVALID_PARAMETER;
        }
        handles = WithProtocol(*protocol);
        break;
    case ByRegisterNotify: {
        if (key == nullptr) {
            return EFI_INVALID_PARAMETER;
        }
        Registration* registration = FindRegistration(key);
        EFI_HANDLE handle = nullptr;
        const Interface* next = registration != nullptr ? NextNew(*registration, &handle) : nullptr;
        if (next != nullptr) {
            handles.push_back(handle);
            if (commit) {
                registration->position = next->order;
            }
        }
        break;
    }
    default:
        return EFI_INVALID_PARAMETER;
    }
    return handles.empty() ? EFI_NOT_FOUND : EFI_SUCCESS;
}

EFI_STATUS HandleDatabase::LocateProtocol(const EFI_GUID& protocol, void* registration,
                                          void** interface) {
    *interface = nullptr;
    if (registration == nullptr) {
        EFI_HANDLE handle = nullptr;
        *interface = FindFirst(protocol, &handle);
        return handle != nullptr ? EFI_SUCCESS : EFI_NOT_FOUND;
    }
    Registration* found = FindRegistration(registration);
    EFI_HANDLE handle = nullptr;
    const Interface* next = found != nullptr ? NextNew(*found, &handle) : nullptr;
    if (next == nullptr) {
        return EFI_NOT_FOUND;
    }
    found->position = next->order;
    *interface = next->interface;
    return EFI_SUCCESS;
}

EFI_STATUS HandleDatabase::LocateDevicePath(const EFI_GUID& protocol,
                                            EFI_DEVICE_PATH_PROTOCOL** path,
                                            EFI_HANDLE* device) const {
    if (path == nullptr || *path == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const EFI_DEVICE_PATH_PROTOCOL* end = kelm::FirstEndNode(*path);
    if (end == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const auto* start = reinterpret_cast<const char*>(*path);
    EFI_HANDLE best = nullptr;
    std::size_t bestSize = 0;
    // Every beginning of whole nodes, the empty one too; the last that fits is the longest.
    for (const EFI_DEVICE_PATH_PROTOCOL* node = *path;; node = kelm::NextNode(node)) {
        const std::size_t size = std::size_t(reinterpret_cast<const char*>(node) - start);
        if (const auto same = byPath_.find(std::string_view(start, size)); same != byPath_.end()) {
            const auto handle =
                std::find_if(same->second.begin(), same->second.end(),
                             [&](EFI_HANDLE candidate) { return Has(candidate, protocol); });
            if (handle != same->second.end()) {
                best = *handle;
                bestSize = size;
            }
        }
        if (node == end) {
            break;
        }
    }
    if (best == nullptr) {
        return EFI_NOT_FOUND;
    }
    if (device == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *device = best;
    *path = reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(reinterpret_cast<UINT8*>(*path) + bestSize);
    return EFI_SUCCESS;
}

} // namespace sim
