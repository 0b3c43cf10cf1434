#include "sim/firmware/VariableService.h"

#include "sim/firmware/Platform.h"
#include "sim/firmware/TraceText.h"
#include "sim/firmware/Violations.h"
#include "uefi/RuntimeServices.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

constexpr UINT32 kAccess = EFI_VARIABLE_BOOTSERVICE_ACCESS | EFI_VARIABLE_RUNTIME_ACCESS;
constexpr UINT32 kAuthenticated =
    EFI_VARIABLE_TIME_BASED_AUTHENTICATED_WRITE_ACCESS | EFI_VARIABLE_ENHANCED_AUTHENTICATED_ACCESS;
constexpr UINT32 kKnownAttributes = 0xFF;
constexpr std::size_t kVariableHeader = 60;       // as the store counts it
constexpr std::size_t kAuthenticationHeader = 40; // the least that an authenticated write carries
constexpr EFI_GUID kHardwareErrorGuid = {
    0x414E6BDD, 0xE47B, 0x47CC, {0xB2, 0x44, 0xBB, 0x61, 0x02, 0x0C, 0xF5, 0x16}};

std::size_t BytesOf(const StoredVariable& variable) {
    return kVariableHeader + (variable.name.size() + 1) * sizeof(char16_t) + variable.data.size();
}

// The characters of a name; nothing when it is not terminated within the longest name.
std::optional<std::u16string_view> NameView(const CHAR16* name, std::size_t limit) {
    for (std::size_t i = 0; i < limit; i++) {
        if (name[i] == u'\0') {
            return std::u16string_view(name, i);
        }
    }
    return std::nullopt;
}

// The bits of `attributes` that contradict each other or that this machine does not know.
EFI_STATUS CheckAttributes(UINT32 attributes) {
    if ((attributes & ~kKnownAttributes) != 0) {
        return EFI_INVALID_PARAMETER;
    }
    if ((attributes & EFI_VARIABLE_RUNTIME_ACCESS) != 0 &&
        (attributes & EFI_VARIABLE_BOOTSERVICE_ACCESS) == 0) {
        return EFI_INVALID_PARAMETER;
    }
    if ((attributes & EFI_VARIABLE_AUTHENTICATED_WRITE_ACCESS) != 0) {
        return EFI_UNSUPPORTED;
    }
    if ((attributes & kAuthenticated) == kAuthenticated) {
        return EFI_INVALID_PARAMETER;
    }
    const UINT32 persistent = kAccess | EFI_VARIABLE_NON_VOLATILE;
    if ((attributes & EFI_VARIABLE_HARDWARE_ERROR_RECORD) != 0 &&
        (attributes & persistent) != persistent) {
        return EFI_INVALID_PARAMETER;
    }
    return EFI_SUCCESS;
}

} // namespace

struct VariableService::Request {
    std::u16string_view name;
    EFI_GUID guid;
    UINT32 attributes;
    std::span<const UINT8> data;
    // Decided.
    bool deletes = false;
    bool keeps = false; // nothing to write: an append of nothing
    bool differs = false;
    StoredVariable result;
};

VariableService::VariableService(Platform& platform)
    : policy([this](std::u16string_view name, const EFI_GUID& guid) {
          const StoredVariable* found = Find(name, guid);
          return found == nullptr ? std::optional<std::span<const UINT8>>()
                                  : std::span<const UINT8>(found->data);
      }),
      platform_(platform),
      storeBytes_(platform.LimitOf("storeBytes", 256 * 1024)) {
    ReadInitial();
}

const StoredVariable* VariableService::Find(std::u16string_view name, const EFI_GUID& guid) const {
    for (const StoredVariable& variable : volatile_) {
        if (variable.guid == guid && variable.name == name) {
            return &variable;
        }
    }
    return platform_.store.Find(name, guid);
}

bool VariableService::IsVisible(const StoredVariable& variable) const {
    return !atRuntime_ || (variable.attributes & EFI_VARIABLE_RUNTIME_ACCESS) != 0;
}

std::vector<const StoredVariable*> VariableService::Visible() const {
    std::vector<const StoredVariable*> visible;
    for (const auto* list : {&platform_.store.All(), &volatile_}) {
        for (const StoredVariable& variable : *list) {
            if (IsVisible(variable)) {
                visible.push_back(&variable);
            }
        }
    }
    return visible;
}

std::vector<std::pair<std::u16string, EFI_GUID>> VariableService::Names() const {
    std::vector<std::pair<std::u16string, EFI_GUID>> names;
    for (const StoredVariable* variable : Visible()) {
        names.emplace_back(variable->name, variable->guid);
    }
    return names;
}

EFI_STATUS VariableService::Get(const CHAR16* name, const EFI_GUID* guid, UINT32* attributes,
                                UINTN* size, void* data) const {
    if (name == nullptr || guid == nullptr || size == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const auto view = NameView(name, kMaxNameCharacters);
    const StoredVariable* found = view && !view->empty() ? Find(*view, *guid) : nullptr;
    if (found == nullptr || !IsVisible(*found)) {
        return EFI_NOT_FOUND;
    }
    const UINTN room = *size;
    if (room >= found->data.size() && data == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (attributes != nullptr) {
        *attributes = found->attributes;
    }
    *size = found->data.size();
    if (room < found->data.size()) {
        return EFI_BUFFER_TOO_SMALL;
    }
    std::ranges::copy(found->data, static_cast<UINT8*>(data));
    return EFI_SUCCESS;
}

EFI_STATUS VariableService::GetNextName(UINTN* nameSize, CHAR16* name, EFI_GUID* guid) const {
    if (nameSize == nullptr || name == nullptr || guid == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const auto view = NameView(name, *nameSize / sizeof(CHAR16));
    if (!view) {
        return EFI_INVALID_PARAMETER;
    }
    // The variables of the store, and behind them the volatile ones.
    const std::vector<StoredVariable>& stored = platform_.store.All();
    std::size_t position = 0;
    if (!view->empty()) {
        const StoredVariable* here = Find(*view, *guid);
        if (here == nullptr || !IsVisible(*here)) {
            return EFI_INVALID_PARAMETER;
        }
        const bool isStored = (here->attributes & EFI_VARIABLE_NON_VOLATILE) != 0;
        position = 1 + (isStored ? std::size_t(here - stored.data())
                                 : stored.size() + std::size_t(here - volatile_.data()));
    }
    const StoredVariable* next = nullptr;
    for (; next == nullptr && position < stored.size() + volatile_.size(); position++) {
        const StoredVariable& candidate =
            position < stored.size() ? stored[position] : volatile_[position - stored.size()];
        next = IsVisible(candidate) ? &candidate : nullptr;
    }
    if (next == nullptr) {
        return EFI_NOT_FOUND;
    }
    const UINTN needed = (next->name.size() + 1) * sizeof(CHAR16);
    const bool fits = *nameSize >= needed;
    *nameSize = needed;
    if (!fits) {
        return EFI_BUFFER_TOO_SMALL;
    }
    std::memcpy(name, next->name.c_str(), needed);
    *guid = next->guid;
    return EFI_SUCCESS;
}

EFI_STATUS VariableService::Decide(Request& request) const {
    if (const EFI_STATUS status = CheckAttributes(request.attributes); EFI_ERROR(status)) {
        return status;
    }
    if ((request.attributes & EFI_VARIABLE_HARDWARE_ERROR_RECORD) != 0 &&
        !(request.guid == kHardwareErrorGuid)) {
        return EFI_INVALID_PARAMETER;
    }
    const bool appends = (request.attributes & EFI_VARIABLE_APPEND_WRITE) != 0;
    const UINT32 attributes = request.attributes & ~EFI_VARIABLE_APPEND_WRITE;
    const StoredVariable* old = Find(request.name, request.guid);
    const bool noAccess = (attributes & kAccess) == 0;
    request.deletes = noAccess || (request.data.empty() && !appends);
    if (old != nullptr && !noAccess && attributes != old->attributes) {
        request.differs = true;
        return EFI_INVALID_PARAMETER;
    }
    if (old != nullptr && (old->attributes & kAuthenticated) != 0 &&
        (attributes & kAuthenticated) == 0) {
        return EFI_SECURITY_VIOLATION;
    }
    if ((attributes & kAuthenticated) != 0) {
        return request.data.size() < kAuthenticationHeader ? EFI_SECURITY_VIOLATION
                                                           : EFI_UNSUPPORTED;
    }
    if (atRuntime_ && !request.deletes &&
        ((attributes & EFI_VARIABLE_RUNTIME_ACCESS) == 0 ||
         (attributes & EFI_VARIABLE_NON_VOLATILE) == 0)) {
        return EFI_INVALID_PARAMETER;
    }
    request.result = {std::u16string(request.name), request.guid, attributes, {}};
    if (appends && old != nullptr) {
        request.result.data = old->data;
    }
    request.result.data.insert(request.result.data.end(), request.data.begin(), request.data.end());
    if (!request.deletes && request.result.data.size() > kMaxVariableSize) {
        return EFI_INVALID_PARAMETER;
    }
    const EFI_STATUS allowed = policy.Check(request.name, request.guid, attributes,
                                            request.result.data.size(), request.deletes);
    if (EFI_ERROR(allowed)) {
        return allowed;
    }
    if (request.deletes) {
        return old != nullptr && IsVisible(*old) ? EFI_SUCCESS : EFI_NOT_FOUND;
    }
    request.keeps = appends && request.data.empty();
    return request.keeps || HasRoomFor(request.result) ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS VariableService::Set(const CHAR16* name, const EFI_GUID* guid, UINT32 attributes,
                                UINTN size, const void* data) {
    if (name == nullptr || guid == nullptr || (size != 0 && data == nullptr)) {
        return EFI_INVALID_PARAMETER;
    }
    const auto view = NameView(name, kMaxNameCharacters);
    if (!view || view->empty()) {
        return EFI_INVALID_PARAMETER;
    }
    if (size > 2 * kMaxVariableSize) {
        TraceRefused(name, guid, attributes, 0, nullptr, EFI_INVALID_PARAMETER);
        return EFI_INVALID_PARAMETER;
    }
    Request request;
    request.name = *view;
    request.guid = *guid;
    request.attributes = attributes;
    request.data = {static_cast<const UINT8*>(data), size};
    EFI_STATUS status = Decide(request);
    if (!EFI_ERROR(status) && request.deletes) {
        status = Delete(request.name, request.guid);
    } else if (!EFI_ERROR(status) && !request.keeps) {
        status = Store(request.result);
    }
    platform_.trace.Record("variable", {{"op", request.deletes ? "delete" : "set"},
                                        {"name", ToUtf8(request.name)},
                                        {"guid", GuidText(request.guid)},
                                        {"attributes", attributes},
                                        {"data", ToHex(data, size)},
                                        {"status", StatusText(status)}});
    if (request.differs) {
        platform_.violations->Record("variable " + ToUtf8(request.name) + "-" +
                                     GuidText(request.guid) + " written with attributes " +
                                     HexNumber(attributes) + ", stored with " +
                                     HexNumber(Find(request.name, request.guid)->attributes));
    }
    return status;
}

void VariableService::TraceRefused(const CHAR16* name, const EFI_GUID* guid, UINT32 attributes,
                                   UINTN size, const void* data, EFI_STATUS status) {
    const auto view = name != nullptr ? NameView(name, kMaxNameCharacters) : std::nullopt;
    const bool deletes = size == 0 || (attributes & kAccess) == 0;
    platform_.trace.Record(
        "variable", {{"op", deletes ? "delete" : "set"},
                     {"name", view ? ToUtf8(*view) : std::string()},
                     {"guid", guid != nullptr ? GuidText(*guid) : std::string()},
                     {"attributes", attributes},
                     {"data", data != nullptr && size <= 2 * kMaxVariableSize ? ToHex(data, size)
                                                                              : std::string()},
                     {"status", StatusText(status)}});
}

bool VariableService::HasRoomFor(const StoredVariable& variable) const {
    const StoredVariable* old = Find(variable.name, variable.guid);
    const bool persistent = (variable.attributes & EFI_VARIABLE_NON_VOLATILE) != 0;
    const std::size_t used = persistent ? platform_.store.UsedBytes() : VolatileBytes();
    return used - (old != nullptr ? BytesOf(*old) : 0) + BytesOf(variable) <= storeBytes_;
}

std::size_t VariableService::VolatileBytes() const {
    std::size_t bytes = 0;
    for (const StoredVariable& variable : volatile_) {
        bytes += BytesOf(variable);
    }
    return bytes;
}

EFI_STATUS VariableService::Store(const StoredVariable& variable) {
    if ((variable.attributes & EFI_VARIABLE_NON_VOLATILE) != 0) {
        return platform_.store.Set(variable) ? EFI_SUCCESS : EFI_DEVICE_ERROR;
    }
    for (StoredVariable& old : volatile_) {
        if (old.guid == variable.guid && old.name == variable.name) {
            old = variable;
            return EFI_SUCCESS;
        }
    }
    volatile_.push_back(variable);
    return EFI_SUCCESS;
}

EFI_STATUS VariableService::Delete(std::u16string_view name, const EFI_GUID& guid) {
    const std::size_t erased = std::erase_if(volatile_, [&](const StoredVariable& variable) {
        return variable.guid == guid && variable.name == name;
    });
    return erased != 0 || platform_.store.Erase(name, guid) ? EFI_SUCCESS : EFI_DEVICE_ERROR;
}

EFI_STATUS VariableService::Write(std::u16string_view name, const EFI_GUID& guid, UINT32 attributes,
                                  const void* data, std::size_t size) {
    if (size == 0) {
        return Delete(name, guid);
    }
    const auto* bytes = static_cast<const UINT8*>(data);
    const StoredVariable* old = Find(name, guid);
    if (old != nullptr && old->attributes != attributes) {
        static_cast<void>(Delete(name, guid));
    }
    return Store({std::u16string(name), guid, attributes, {bytes, bytes + size}});
}

EFI_STATUS VariableService::QueryInfo(UINT32 attributes, UINT64* maximumStorage,
                                      UINT64* remainingStorage, UINT64* maximumSize) const {
    if (maximumStorage == nullptr || remainingStorage == nullptr || maximumSize == nullptr ||
        (attributes & kAccess) == 0) {
        return EFI_INVALID_PARAMETER;
    }
    if (const EFI_STATUS status = CheckAttributes(attributes); EFI_ERROR(status)) {
        return status;
    }
    const std::size_t used = (attributes & EFI_VARIABLE_NON_VOLATILE) != 0
                                 ? platform_.store.UsedBytes()
                                 : VolatileBytes();
    *maximumStorage = storeBytes_;
    *remainingStorage = used < storeBytes_ ? storeBytes_ - used : 0;
    *maximumSize = std::min<UINT64>(kMaxVariableSize, *remainingStorage);
    return EFI_SUCCESS;
}

void VariableService::ReadInitial() {
    const MachineDescription& machine = platform_.machine;
    for (const auto& [key, value] : machine.At("/variables").items()) {
        const std::string place = "/variables/" + key;
        const auto name = ParseVariableFileName(key);
        if (!name || name->first.empty()) {
            throw MachineFileError(machine.file, place, "a variable is named Name-GUID");
        }
        StoredVariable variable{name->first, name->second, 7, {}};
        if (value.contains("attributes")) {
            variable.attributes =
                UINT32(ReadNumber(machine, value["attributes"], place + "/attributes"));
        }
        if (value.contains("hex")) {
            variable.data = ReadHex(machine, value["hex"], place + "/hex");
        } else if (value.contains("text")) {
            const std::u16string text = ReadText(machine, value["text"], place + "/text");
            const auto* bytes = reinterpret_cast<const UINT8*>(text.c_str());
            variable.data.assign(bytes, bytes + (text.size() + 1) * sizeof(char16_t));
        } else {
            constexpr std::pair<const char*, std::size_t> kNumbers[] = {
                {"u8", 1}, {"u16", 2}, {"u32", 4}, {"u64", 8}};
            for (const auto& [type, size] : kNumbers) {
                if (value.contains(type)) {
                    const UINT64 number = ReadNumber(machine, value[type], place + "/" + type);
                    const auto* bytes = reinterpret_cast<const UINT8*>(&number);
                    variable.data.assign(bytes, bytes + size);
                }
            }
        }
        const bool persistent = (variable.attributes & EFI_VARIABLE_NON_VOLATILE) != 0;
        if (Find(variable.name, variable.guid) == nullptr && !variable.data.empty() &&
            (!persistent || platform_.bootNumber == 1)) {
            static_cast<void>(Store(variable));
        }
    }
}

} // namespace sim
