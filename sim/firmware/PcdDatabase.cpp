#include "sim/firmware/PcdDatabase.h"

#include "library/pure/GuidText.h"
#include "sim/firmware/Platform.h"
#include "sim/firmware/ServiceEntry.h"

#include <algorithm>
#include <cstring>
#include <tuple>

namespace sim {

namespace {

constexpr const char* kProtocol = "Pcd";

struct TypeName {
    const char* name;
    EFI_PCD_TYPE type;
    std::size_t size; // 0: as given
};
constexpr TypeName kTypes[] = {
    {"u8", EFI_PCD_TYPE_8, 1},   {"u16", EFI_PCD_TYPE_16, 2},    {"u32", EFI_PCD_TYPE_32, 4},
    {"u64", EFI_PCD_TYPE_64, 8}, {"bool", EFI_PCD_TYPE_BOOL, 1}, {"pointer", EFI_PCD_TYPE_PTR, 0},
};

std::size_t SizeOf(EFI_PCD_TYPE type) {
    return std::find_if(std::begin(kTypes), std::end(kTypes),
                        [&](const TypeName& row) { return row.type == type; })
        ->size;
}

EFI_GUID SpaceOf(const EFI_GUID* guid) {
    return guid != nullptr ? *guid : EFI_GUID{}; // null names the default token space
}

std::vector<UINT8> BytesOf(UINT64 value, std::size_t size) {
    const auto* bytes = reinterpret_cast<const UINT8*>(&value);
    return {bytes, bytes + size};
}

} // namespace

bool PcdDatabase::Key::operator<(const Key& other) const {
    const int order = std::memcmp(&space, &other.space, sizeof space);
    return order != 0 ? order < 0 : token < other.token;
}

PcdDatabase::PcdDatabase(Platform& platform) : platform_(platform) {
    const MachineDescription& machine = platform.machine;
    for (const auto& [key, item] : machine.At("/pcds").items()) {
        const std::string place = "/pcds/" + key; // for messages; the slash in the key is plain
        const std::size_t slash = key.find('/');
        const auto space = kelm::GuidFromText(std::string_view(key).substr(0, slash));
        if (slash == std::string::npos || !space) {
            throw MachineFileError(machine.file, place, "a value is named GUID/0xTOKEN");
        }
        const UINT64 token = ReadNumber(machine, Json(key.substr(slash + 1)), place);
        const std::string typeName = item.value("type", "u8");
        const auto type = std::find_if(std::begin(kTypes), std::end(kTypes),
                                       [&](const TypeName& row) { return row.name == typeName; });
        if (type == std::end(kTypes)) {
            throw MachineFileError(machine.file, place + "/type", "no such type");
        }
        Value value{type->type, {}};
        const Json given = item.contains("value") ? item["value"] : Json(0);
        if (type->type == EFI_PCD_TYPE_PTR) {
            value.bytes = given.is_string() ? ReadHex(machine, given, place + "/value")
                                            : std::vector<UINT8>();
        } else {
            const UINT64 number = given.is_boolean() ? UINT64(given.get<bool>())
                                                     : ReadNumber(machine, given, place + "/value");
            value.bytes = BytesOf(number, type->size);
        }
        values_[Key{*space, token}] = std::move(value);
    }
}

const PcdDatabase::Value* PcdDatabase::Find(const EFI_GUID& space, UINTN token) const {
    auto found = values_.find(Key{space, token});
    return found != values_.end() ? &found->second : nullptr;
}

UINT64 PcdDatabase::Number(const EFI_GUID& space, UINTN token) const {
    UINT64 number = 0;
    if (const Value* value = Find(space, token)) {
        std::memcpy(&number, value->bytes.data(), std::min(value->bytes.size(), sizeof number));
    }
    return number;
}

void PcdDatabase::Set(const EFI_GUID& space, UINTN token, EFI_PCD_TYPE type, UINT64 value) {
    values_[Key{space, token}] = {type, BytesOf(value, SizeOf(type))};
}

// The functions of the protocol. It has no This: there is one database.
struct PcdDatabase::Protocols {
    static PcdDatabase& Self() { return *Platform::Current().pcds; }

    template <class T>
    static T EFIAPI Get(const EFI_GUID* guid, UINTN token) {
        if (Platform::Current().EnterSibling(kProtocol, "Get", false)) {
            return 0;
        }
        return T(Self().Number(SpaceOf(guid), token));
    }

    static void* EFIAPI GetPtr(const EFI_GUID* guid, UINTN token) {
        static_cast<void>(Platform::Current().EnterSibling(kProtocol, "GetPtr", false));
        const Value* value = Self().Find(SpaceOf(guid), token);
        return value != nullptr ? const_cast<UINT8*>(value->bytes.data()) : nullptr;
    }

    static UINTN EFIAPI GetSize(const EFI_GUID* guid, UINTN token) {
        const Value* value = Self().Find(SpaceOf(guid), token);
        return value != nullptr ? value->bytes.size() : 0;
    }

    static EFI_STATUS Store(const char* member, const EFI_GUID* guid, UINTN token, const void* data,
                            std::size_t size) {
        if (auto injected = Platform::Current().EnterSibling(kProtocol, member)) {
            return *injected;
        }
        auto found = Self().values_.find(Key{SpaceOf(guid), token});
        if (found == Self().values_.end()) {
            return EFI_NOT_FOUND;
        }
        if (found->second.bytes.size() != size) {
            return EFI_INVALID_PARAMETER;
        }
        std::memcpy(found->second.bytes.data(), data, size);
        // A callback may register or cancel others.
        for (std::size_t i = 0; i < Self().callbacks_.size(); i++) {
            const auto& [key, callback] = Self().callbacks_[i];
            if (!(key < found->first) && !(found->first < key)) {
                callback(guid, token, found->second.bytes.data(), size);
            }
        }
        return EFI_SUCCESS;
    }

    template <class T, ServiceName kName>
    static EFI_STATUS EFIAPI Set(const EFI_GUID* guid, UINTN token, T value) {
        return Store(kName.text, guid, token, &value, sizeof value);
    }

    static EFI_STATUS EFIAPI SetPtr(const EFI_GUID* guid, UINTN token, UINTN* size,
                                    const void* buffer) {
        if (size == nullptr || buffer == nullptr) {
            return EFI_INVALID_PARAMETER;
        }
        const EFI_STATUS status = Store("SetPtr", guid, token, buffer, *size);
        if (status == EFI_INVALID_PARAMETER) {
            *size = GetSize(guid, token);
        }
        return status;
    }

    static void EFIAPI SetSku(UINTN) {
        static_cast<void>(Platform::Current().EnterSibling(kProtocol, "SetSku"));
    }
    static UINTN EFIAPI GetSku() { return 0; }

    static EFI_STATUS EFIAPI CallbackOnSet(const EFI_GUID* guid, UINTN token,
                                           EFI_PCD_PROTOCOL_CALLBACK callback) {
        if (callback == nullptr) {
            return EFI_INVALID_PARAMETER;
        }
        if (Self().Find(SpaceOf(guid), token) == nullptr) {
            return EFI_NOT_FOUND;
        }
        Self().callbacks_.emplace_back(Key{SpaceOf(guid), token}, callback);
        return EFI_SUCCESS;
    }

    static EFI_STATUS EFIAPI CancelCallback(const EFI_GUID* guid, UINTN token,
                                            EFI_PCD_PROTOCOL_CALLBACK callback) {
        const Key key{SpaceOf(guid), token};
        const std::size_t gone = std::erase_if(Self().callbacks_, [&](const auto& item) {
            return std::get<1>(item) == callback && !(std::get<0>(item) < key) &&
                   !(key < std::get<0>(item));
        });
        return gone != 0 ? EFI_SUCCESS : EFI_INVALID_PARAMETER;
    }

    static EFI_STATUS EFIAPI GetNextToken(const EFI_GUID* guid, UINTN* token) {
        if (token == nullptr) {
            return EFI_INVALID_PARAMETER;
        }
        const EFI_GUID space = SpaceOf(guid);
        auto next = Self().values_.upper_bound(Key{space, *token});
        const bool none = next == Self().values_.end() || !(next->first.space == space);
        *token = none ? PCD_INVALID_TOKEN_NUMBER : next->first.token;
        return none ? EFI_NOT_FOUND : EFI_SUCCESS;
    }

    static EFI_STATUS EFIAPI GetNextTokenSpace(const EFI_GUID** guid) {
        if (guid == nullptr) {
            return EFI_INVALID_PARAMETER;
        }
        const auto next = *guid != nullptr ? Self().values_.upper_bound(Key{**guid, UINTN(-1)})
                                           : Self().values_.begin();
        if (next == Self().values_.end()) {
            return EFI_NOT_FOUND;
        }
        *guid = &next->first.space;
        return EFI_SUCCESS;
    }

    static EFI_STATUS EFIAPI GetInfo(const EFI_GUID* guid, UINTN token, EFI_PCD_INFO* info) {
        const Value* value = Self().Find(SpaceOf(guid), token);
        if (value == nullptr || info == nullptr) {
            return value == nullptr ? EFI_NOT_FOUND : EFI_INVALID_PARAMETER;
        }
        *info = {value->type, value->bytes.size(), nullptr};
        return EFI_SUCCESS;
    }
};

void PcdDatabase::Install() {
    using P = Protocols;
    static const EFI_PCD_PROTOCOL kTable = {
        P::SetSku,
        P::Get<UINT8>,
        P::Get<UINT16>,
        P::Get<UINT32>,
        P::Get<UINT64>,
        P::GetPtr,
        P::Get<BOOLEAN>,
        P::GetSize,
        P::Set<UINT8, "Set8">,
        P::Set<UINT16, "Set16">,
        P::Set<UINT32, "Set32">,
        P::Set<UINT64, "Set64">,
        P::SetPtr,
        P::Set<BOOLEAN, "SetBool">,
        P::CallbackOnSet,
        P::CancelCallback,
        P::GetNextToken,
        P::GetNextTokenSpace,
    };
    static const EFI_GET_PCD_INFO_PROTOCOL kInfoTable = {P::GetInfo, P::GetSku};
    EFI_HANDLE handle = nullptr;
    if (!platform_.IsMissing(kProtocol, gEfiPcdProtocolGuid)) {
        platform_.handles->Install(&handle, gEfiPcdProtocolGuid,
                                   const_cast<EFI_PCD_PROTOCOL*>(&kTable));
    }
    if (!platform_.IsMissing("GetPcdInfo", gEfiGetPcdInfoProtocolGuid)) {
        platform_.handles->Install(&handle, gEfiGetPcdInfoProtocolGuid,
                                   const_cast<EFI_GET_PCD_INFO_PROTOCOL*>(&kInfoTable));
    }
}

} // namespace sim
