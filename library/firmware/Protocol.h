// Typed access to the handle database: a protocol is found by its type, which carries its GUID.
#pragma once

#include "kelm/DebugLevels.h"
#include "library/firmware/Debug.h"
#include "library/firmware/Pool.h"
#include "library/firmware/Services.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

namespace kelm {

// The first instance of a protocol. EFI_NOT_FOUND (and null) when there is none.
template <class Protocol>
EFI_STATUS LocateProtocol(Protocol*& found) {
    void* interface = nullptr;
    const EFI_STATUS status =
        gBS->LocateProtocol(&ProtocolGuid<Protocol>::value, nullptr, &interface);
    found = EFI_ERROR(status) ? nullptr : static_cast<Protocol*>(interface);
    return status;
}

// The name of a type as the source has it, ended by a NUL.
template <class T>
constexpr auto MakeTypeName() {
    // "... [with T = NAME; ...]" or "... [T = NAME]"
    constexpr std::string_view function = __PRETTY_FUNCTION__;
    constexpr std::string_view before = "T = ";
    constexpr std::size_t from = function.find(before) + before.size();
    constexpr std::string_view name =
        function.substr(from, function.find_first_of(";]", from) - from);
    std::array<CHAR8, name.size() + 1> text{};
    std::copy(name.begin(), name.end(), text.begin());
    return text;
}
template <class T>
inline constexpr auto kTypeName = MakeTypeName<T>();

// The same for a service of this platform that belongs there: a missing one is logged by its name.
template <class Protocol>
EFI_STATUS LocateService(Protocol*& found) {
    const EFI_STATUS status = LocateProtocol(found);
    if (EFI_ERROR(status)) {
        DebugPrint(kDebugError, "Error !!! Unable to locate %a.\n", kTypeName<Protocol>.data());
    }
    return status;
}

// Likewise where it needs no more than a test for null.
template <class Protocol>
Protocol* FindService() {
    Protocol* found = nullptr;
    static_cast<void>(LocateService(found));
    return found;
}

// A protocol that may well be missing, or null.
template <class Protocol>
Protocol* FindProtocol() {
    Protocol* found = nullptr;
    static_cast<void>(LocateProtocol(found));
    return found;
}

// The same with the caller's line at error level when the protocol is missing. The line may hold
// one "%r" for the status.
template <class Protocol>
EFI_STATUS LocateProtocolOrLog(Protocol*& found, const char* line) {
    const EFI_STATUS status = LocateProtocol(found);
    if (EFI_ERROR(status)) {
        DebugPrint(kDebugError, line, status);
    }
    return status;
}

// The protocol as it stands on one handle, or null.
template <class Protocol>
Protocol* ProtocolOnHandle(EFI_HANDLE handle) {
    void* interface = nullptr;
    if (EFI_ERROR(gBS->HandleProtocol(handle, &ProtocolGuid<Protocol>::value, &interface))) {
        return nullptr;
    }
    return static_cast<Protocol*>(interface);
}

// The handles that carry a protocol, in handle-database order; freed with the object.
class HandleBuffer {
public:
    // Statuses as LocateHandleBuffer; the buffer is empty on error.
    EFI_STATUS LocateByProtocol(const EFI_GUID& guid) { return Locate(ByProtocol, &guid); }
    EFI_STATUS LocateAll() { return Locate(AllHandles, nullptr); }

    std::span<const EFI_HANDLE> handles() const { return {buffer_.get(), count_}; }

private:
    EFI_STATUS Locate(EFI_LOCATE_SEARCH_TYPE search, const EFI_GUID* guid) {
        count_ = 0;
        UINTN count = 0;
        const EFI_STATUS status =
            gBS->LocateHandleBuffer(search, guid, nullptr, &count, buffer_.out());
        if (!EFI_ERROR(status)) {
            count_ = count;
        }
        return status;
    }

    PoolPtr<EFI_HANDLE> buffer_;
    UINTN count_ = 0;
};

} // namespace kelm
