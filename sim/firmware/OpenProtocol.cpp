// Who has opened what: OpenProtocol(), CloseProtocol() and the records that they keep.
#include "sim/firmware/DriverModel.h"
#include "sim/firmware/HandleDatabase.h"
#include "sim/firmware/ImageService.h"
#include "sim/firmware/Platform.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

constexpr UINT32 kByDriver = EFI_OPEN_PROTOCOL_BY_DRIVER;
constexpr UINT32 kExclusive = EFI_OPEN_PROTOCOL_EXCLUSIVE;

bool IsKnownCombination(UINT32 attributes) {
    switch (attributes) {
    case EFI_OPEN_PROTOCOL_BY_HANDLE_PROTOCOL:
    case EFI_OPEN_PROTOCOL_GET_PROTOCOL:
    case EFI_OPEN_PROTOCOL_TEST_PROTOCOL:
    case EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER:
    case kByDriver:
    case kExclusive:
    case kByDriver | kExclusive:
        return true;
    default:
        return false;
    }
}

} // namespace

// Stops every driver that has the interface open. False when one does not stop.
bool HandleDatabase::DisconnectOpeners(EFI_HANDLE handle, const EFI_GUID& protocol) {
    for (;;) {
        const Interface* item = FindInterface(handle, protocol);
        if (item == nullptr) {
            return true;
        }
        const auto driver = std::find_if(item->openers.begin(), item->openers.end(),
                                         [](const EFI_OPEN_PROTOCOL_INFORMATION_ENTRY& opener) {
                                             return (opener.Attributes & kByDriver) != 0;
                                         });
        if (driver == item->openers.end()) {
            return true;
        }
        const EFI_HANDLE agent = driver->AgentHandle;
        if (EFI_ERROR(platform_.drivers->Disconnect(handle, agent, nullptr))) {
            return false;
        }
        // A driver that says that it stopped but keeps the protocol open would be asked for ever.
        item = FindInterface(handle, protocol);
        if (item != nullptr && std::any_of(item->openers.begin(), item->openers.end(),
                                           [&](const EFI_OPEN_PROTOCOL_INFORMATION_ENTRY& opener) {
                                               return opener.AgentHandle == agent &&
                                                      (opener.Attributes & kByDriver) != 0;
                                           })) {
            return false;
        }
    }
}

// Whether an open by driver or an exclusive one may happen now. Stops drivers for an exclusive one.
EFI_STATUS HandleDatabase::CheckConflicts(EFI_HANDLE handle, const EFI_GUID& protocol,
                                          EFI_HANDLE agent, EFI_HANDLE controller,
                                          UINT32 attributes) {
    bool byDriver = false;
    for (const EFI_OPEN_PROTOCOL_INFORMATION_ENTRY& opener :
         FindInterface(handle, protocol)->openers) {
        const bool sameAgent = opener.AgentHandle == agent && opener.ControllerHandle == controller;
        if ((attributes & kByDriver) != 0 && opener.Attributes == attributes && sameAgent) {
            return EFI_ALREADY_STARTED;
        }
        if ((opener.Attributes & kExclusive) != 0) {
            return EFI_ACCESS_DENIED;
        }
        byDriver = byDriver || (opener.Attributes & kByDriver) != 0;
    }
    if (byDriver && ((attributes & kExclusive) == 0 || !DisconnectOpeners(handle, protocol))) {
        return EFI_ACCESS_DENIED;
    }
    return EFI_SUCCESS;
}

bool HandleDatabase::IsHandleProtocolCall(EFI_HANDLE agent, EFI_HANDLE controller) const {
    return agent == platform_.images->FirmwareHandle() && controller == nullptr;
}

void HandleDatabase::NoteOpener(Interface& item, EFI_HANDLE agent, EFI_HANDLE controller,
                                UINT32 attributes) {
    if (agent == nullptr) {
        return; // nobody to record
    }
    if (attributes == EFI_OPEN_PROTOCOL_BY_HANDLE_PROTOCOL &&
        IsHandleProtocolCall(agent, controller)) {
        item.handleProtocolCalls++;
        return;
    }
    for (EFI_OPEN_PROTOCOL_INFORMATION_ENTRY& opener : item.openers) {
        if (opener.AgentHandle == agent && opener.ControllerHandle == controller &&
            opener.Attributes == attributes) {
            opener.OpenCount++;
            return;
        }
    }
    item.openers.push_back({agent, controller, attributes, 1});
}

EFI_STATUS HandleDatabase::Open(EFI_HANDLE handle, const EFI_GUID& protocol, void** interface,
                                EFI_HANDLE agent, EFI_HANDLE controller, UINT32 attributes) {
    if (attributes == EFI_OPEN_PROTOCOL_BY_HANDLE_PROTOCOL && interface != nullptr) {
        // The way that HandleProtocol comes, again and again.
        if (Interface* item = FindInterface(handle, protocol); item != nullptr) {
            *interface = item->interface;
            NoteOpener(*item, agent, controller, attributes);
            return EFI_SUCCESS;
        }
    }
    const bool test = attributes == EFI_OPEN_PROTOCOL_TEST_PROTOCOL;
    if (!IsValid(handle) || !IsKnownCombination(attributes) || (interface == nullptr && !test)) {
        return EFI_INVALID_PARAMETER;
    }
    const bool byChild = attributes == EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER;
    const bool byDriver = (attributes & kByDriver) != 0;
    if ((byChild || byDriver || attributes == kExclusive) && !IsValid(agent)) {
        return EFI_INVALID_PARAMETER;
    }
    if ((byChild || byDriver) && !IsValid(controller)) {
        return EFI_INVALID_PARAMETER;
    }
    if (byChild && controller == handle) {
        return EFI_INVALID_PARAMETER;
    }
    if (interface != nullptr && !test) {
        *interface = nullptr;
    }
    if (!Has(handle, protocol)) {
        return EFI_UNSUPPORTED;
    }
    if (test) {
        return EFI_SUCCESS;
    }
    if (byDriver || attributes == kExclusive) {
        const EFI_STATUS status = CheckConflicts(handle, protocol, agent, controller, attributes);
        if (status == EFI_ALREADY_STARTED) {
            *interface = Find(handle, protocol);
        }
        if (EFI_ERROR(status)) {
            return status;
        }
    }
    Interface* item = FindInterface(handle, protocol);
    if (item == nullptr) {
        return EFI_UNSUPPORTED; // went away with the driver that was stopped
    }
    *interface = item->interface;
    NoteOpener(*item, agent, controller, attributes);
    return EFI_SUCCESS;
}

EFI_STATUS HandleDatabase::Close(EFI_HANDLE handle, const EFI_GUID& protocol, EFI_HANDLE agent,
                                 EFI_HANDLE controller) {
    if (!IsValid(handle) || !IsValid(agent) || (controller != nullptr && !IsValid(controller))) {
        return EFI_INVALID_PARAMETER;
    }
    Interface* item = FindInterface(handle, protocol);
    if (item == nullptr) {
        return EFI_NOT_FOUND;
    }
    std::size_t closed =
        std::erase_if(item->openers, [&](const EFI_OPEN_PROTOCOL_INFORMATION_ENTRY& opener) {
            return opener.AgentHandle == agent && opener.ControllerHandle == controller;
        });
    if (IsHandleProtocolCall(agent, controller)) {
        closed += std::exchange(item->handleProtocolCalls, 0);
    }
    return closed != 0 ? EFI_SUCCESS : EFI_NOT_FOUND;
}

void HandleDatabase::CloseAllOf(EFI_HANDLE agent) {
    for (Handle& handle : handles_) {
        for (Interface& interface : handle.Interfaces()) {
            std::erase_if(interface.openers,
                          [&](const EFI_OPEN_PROTOCOL_INFORMATION_ENTRY& opener) {
                              return opener.AgentHandle == agent;
                          });
        }
    }
}

EFI_STATUS
HandleDatabase::Openers(EFI_HANDLE handle, const EFI_GUID& protocol,
                        std::vector<EFI_OPEN_PROTOCOL_INFORMATION_ENTRY>& entries) const {
    const Interface* item = FindInterface(handle, protocol);
    if (item == nullptr) {
        return EFI_NOT_FOUND;
    }
    entries = item->openers;
    if (item->handleProtocolCalls != 0) {
        entries.push_back({platform_.images->FirmwareHandle(), nullptr,
                           EFI_OPEN_PROTOCOL_BY_HANDLE_PROTOCOL, item->handleProtocolCalls});
    }
    return EFI_SUCCESS;
}

} // namespace sim
