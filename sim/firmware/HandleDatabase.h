// The handle database: handles, the protocol interfaces on them and who has opened them
// (UEFI 2.10, section 7.3).
//
// Handles stand in the order of their creation, and so do the answers of all searches. A handle
// dies with its last interface; its address is never used again.
//
// The methods are the services without the checks that stand in front of them when the driver
// calls; siblings use them directly. Install, Reinstall and Uninstall run notifications and
// drivers: they may end the boot.
//
// A null interface that is installed on a handle without real ones is a signal to whoever waits for
// it (a hook point); it is traced as `signal`.
#pragma once

#include "sim/firmware/AddressBlock.h"
#include "uefi/BootServices.h"
#include "uefi/DevicePath.h"

#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace sim {

class Platform;

class HandleDatabase {
public:
    explicit HandleDatabase(Platform& platform);
    ~HandleDatabase();
    HandleDatabase(const HandleDatabase&) = delete;
    HandleDatabase& operator=(const HandleDatabase&) = delete;

    // ---- Installing (HandleDatabase.cpp)

    // A null `*handle` creates one. EFI_INVALID_PARAMETER also when the protocol is there already.
    EFI_STATUS Install(EFI_HANDLE* handle, const EFI_GUID& protocol, void* interface);
    EFI_STATUS Reinstall(EFI_HANDLE handle, const EFI_GUID& protocol, void* oldInterface,
                         void* newInterface);
    // EFI_NOT_FOUND, EFI_ACCESS_DENIED when an agent that has it open does not let go.
    EFI_STATUS Uninstall(EFI_HANDLE handle, const EFI_GUID& protocol, void* interface);

    bool IsValid(EFI_HANDLE handle) const;
    // The interface of a protocol on a handle: nullptr when there is none (Has() tells a null
    // interface from none).
    void* Find(EFI_HANDLE handle, const EFI_GUID& protocol) const;
    bool Has(EFI_HANDLE handle, const EFI_GUID& protocol) const;
    // The first interface of a protocol in the database and the handle it is on.
    void* FindFirst(const EFI_GUID& protocol, EFI_HANDLE* handle = nullptr) const;
    std::vector<EFI_HANDLE> All() const;
    std::vector<EFI_HANDLE> WithProtocol(const EFI_GUID& protocol) const;
    std::vector<EFI_GUID> ProtocolsOn(EFI_HANDLE handle) const;
    // Grows whenever a handle or an interface comes or goes.
    std::uint64_t Generation() const { return generation_; }

    // Whether `interface` was uninstalled and is not installed (again): nobody may call it.
    bool WasUninstalled(const void* interface) const;

    // ---- Opening (OpenProtocol.cpp)

    EFI_STATUS Open(EFI_HANDLE handle, const EFI_GUID& protocol, void** interface, EFI_HANDLE agent,
                    EFI_HANDLE controller, UINT32 attributes);
    EFI_STATUS Close(EFI_HANDLE handle, const EFI_GUID& protocol, EFI_HANDLE agent,
                     EFI_HANDLE controller);
    // Closes whatever the agent, an image that goes, has open anywhere.
    void CloseAllOf(EFI_HANDLE agent);
    // EFI_NOT_FOUND when the protocol is not on the handle.
    EFI_STATUS Openers(EFI_HANDLE handle, const EFI_GUID& protocol,
                       std::vector<EFI_OPEN_PROTOCOL_INFORMATION_ENTRY>& entries) const;

    // ---- Searching (LocateHandles.cpp)

    EFI_STATUS RegisterNotify(const EFI_GUID& protocol, EFI_EVENT event, void** registration);
    // Called when an event is closed: its registrations go too.
    void ForgetEvent(EFI_EVENT event);
    // Whether the event is told of a protocol's installations.
    bool IsRegistered(EFI_EVENT event) const;
    // `handles` is empty on EFI_NOT_FOUND. ByRegisterNotify answers one new handle at a time, and
    // the same one again after a search that did not `commit` to it.
    EFI_STATUS Locate(EFI_LOCATE_SEARCH_TYPE kind, const EFI_GUID* protocol, void* key,
                      std::vector<EFI_HANDLE>& handles, bool commit = true);
    EFI_STATUS LocateProtocol(const EFI_GUID& protocol, void* registration, void** interface);
    // UEFI LocateDevicePath().
    EFI_STATUS LocateDevicePath(const EFI_GUID& protocol, EFI_DEVICE_PATH_PROTOCOL** path,
                                EFI_HANDLE* device) const;

private:
    struct Interface {
        EFI_GUID protocol;
        void* interface;
        std::uint64_t order; // of installation, over the whole database
        // Opens by the firmware itself on behalf of HandleProtocol(): the most frequent call of a
        // boot.
        UINT32 handleProtocolCalls = 0;
        std::vector<EFI_OPEN_PROTOCOL_INFORMATION_ENTRY> openers = {}; // all others
    };
    class Handle {
    public:
        bool IsAlive() const { return !interfaces_.empty(); }
        std::vector<Interface>& Interfaces() { return interfaces_; } // in the order of installation
        const std::vector<Interface>& Interfaces() const { return interfaces_; }
        Interface* Find(const EFI_GUID& protocol);
        void Add(const Interface& item);
        void Remove(const EFI_GUID& protocol);

    private:
        // Data1 of the GUIDs of the first interfaces: most searches need no more of the others.
        std::array<UINT32, 8> keys_{};
        std::vector<Interface> interfaces_;
    };
    using HandleList = std::vector<EFI_HANDLE>; // in the order of creation
    struct Registration {
        EFI_GUID protocol;
        EFI_EVENT event;
        std::uint64_t position = 0; // of the last interface that a search answered
    };

    struct GuidLess {
        bool operator()(const EFI_GUID& a, const EFI_GUID& b) const {
            return std::memcmp(&a, &b, sizeof(a)) < 0;
        }
    };

    // The indices below, when an interface comes or goes.
    void Index(EFI_HANDLE handle, const EFI_GUID& protocol, void* interface);
    void Unindex(EFI_HANDLE handle, const EFI_GUID& protocol, void* interface);
    const HandleList& HandlesWith(const EFI_GUID& protocol) const;
    // nullptr when there is no such handle.
    Handle* FindHandle(EFI_HANDLE handle);
    const Handle* FindHandle(EFI_HANDLE handle) const {
        return const_cast<HandleDatabase*>(this)->FindHandle(handle);
    }
    EFI_HANDLE AddressOf(const Handle& handle) const {
        return addresses_.AddressOf(std::size_t(&handle - handles_.data()));
    }
    bool IsHandleProtocolCall(EFI_HANDLE agent, EFI_HANDLE controller) const;
    Interface* FindInterface(EFI_HANDLE handle, const EFI_GUID& protocol);
    const Interface* FindInterface(EFI_HANDLE handle, const EFI_GUID& protocol) const;
    void TraceSignal(EFI_HANDLE handle, const EFI_GUID& protocol);
    void Notify(const EFI_GUID& protocol);
    bool LetGo(EFI_HANDLE handle, const EFI_GUID& protocol);
    bool DisconnectOpeners(EFI_HANDLE handle, const EFI_GUID& protocol);
    void NoteOpener(Interface& item, EFI_HANDLE agent, EFI_HANDLE controller, UINT32 attributes);
    EFI_STATUS CheckConflicts(EFI_HANDLE handle, const EFI_GUID& protocol, EFI_HANDLE agent,
                              EFI_HANDLE controller, UINT32 attributes);
    const Interface* NextNew(const Registration& registration, EFI_HANDLE* handle) const;
    Registration* FindRegistration(void* key);

    Platform& platform_;
    AddressBlock addresses_;
    std::uint64_t generation_ = 0;
    std::uint64_t nextOrder_ = 1;
    std::vector<Handle> handles_; // by their place in addresses_
    std::map<void*, std::unique_ptr<Registration>> registrations_;
    std::set<const void*> uninstalled_;
    // A server has thousands of handles: what the searches look into.
    std::map<EFI_GUID, HandleList, GuidLess> byProtocol_;
    std::map<std::string, HandleList, std::less<>> byPath_;  // nodes of device paths
    std::unordered_map<EFI_HANDLE, std::string> pathOf_;     // as byPath_ knows it
    std::unordered_map<const void*, std::size_t> installed_; // how often an interface is
};

} // namespace sim
