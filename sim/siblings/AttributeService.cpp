#include "sim/siblings/AttributeService.h"

#include "sim/firmware/TraceText.h"
#include "sim/firmware/VariableService.h"
#include "sim/siblings/MachineReader.h"
#include "uefi/RuntimeServices.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

constexpr char16_t kStoreName[] = u"KelmSetup";
// {6D0F2A3C-5B7E-4C1D-9E42-8A17C0B5D3F4}
constexpr EFI_GUID kStoreGuid = {
    0x6d0f2a3c, 0x5b7e, 0x4c1d, {0x9e, 0x42, 0x8a, 0x17, 0xc0, 0xb5, 0xd3, 0xf4}};
constexpr std::size_t kMaxValueSize = 0xFFFF;

AttributeService::Value TextValue(std::u16string_view text) {
    AttributeService::Value value((text.size() + 1) * sizeof(char16_t));
    std::memcpy(value.data(), text.data(), text.size() * sizeof(char16_t));
    return value;
}

// A value is shown as text when it can only be that: printable characters and one NUL at the end.
std::optional<std::u16string> AsText(const void* data, std::size_t size) {
    if (size < sizeof(char16_t) || size % sizeof(char16_t) != 0) {
        return std::nullopt;
    }
    std::u16string text(size / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), data, size);
    if (text.back() != u'\0') {
        return std::nullopt;
    }
    text.pop_back();
    const bool printable = std::all_of(text.begin(), text.end(), [](char16_t c) {
        return c >= u' ' && (c < 0xD800 || c > 0xDFFF);
    });
    return printable ? std::optional(text) : std::nullopt;
}

std::optional<AttributeService::Value> FromHex(const Json& field) {
    if (!field.is_string()) {
        return std::nullopt;
    }
    try {
        static const MachineDescription kNoMachine;
        return ReadHex(kNoMachine, field, "");
    } catch (const MachineFileError&) {
        return std::nullopt;
    }
}

} // namespace

AttributeService::AttributeService(Platform& owner) : Sibling(owner) {
    const auto& machine = platform.machine;
    for (const auto& [name, value] : machine.At("/attributes").items()) {
        const std::string place = PlaceOf("/attributes", name);
        Setting setting;
        setting.start = value.is_object() ? HexAt(machine, place + "/hex", kMaxValueSize)
                                          : TextValue(ReadText(machine, value, place));
        if (setting.start.size() > kMaxValueSize) {
            throw MachineFileError(machine.file, place, "the value is longer than 65535 bytes");
        }
        setting.value = setting.start;
        settings_[ToUcs2(name)] = std::move(setting);
    }
    LoadChanges();
}

void AttributeService::Install() {
    using Service = AttributeService;
    protocol_.Serve<"GetValue", &Service::GetValue, false>(&KelmAttributeProtocol::GetValue)
        .Serve<"SetValue", &Service::SetValue, false>(&KelmAttributeProtocol::SetValue)
        .ReserveRest();
    secondary_
        .Serve<"GetValue", &Service::GetValueSecondary, false>(
            &KelmSecondaryAttributeReader::GetValue)
        .ReserveRest();
    InstallTable(protocol_);
    InstallTable(secondary_);
}

std::optional<AttributeService::Value> AttributeService::Find(std::u16string_view name) const {
    auto found = settings_.find(name);
    return found == settings_.end() ? std::nullopt : std::optional(found->second.value);
}

std::optional<std::u16string> AttributeService::Text(std::u16string_view name) const {
    auto found = settings_.find(name);
    return found == settings_.end()
               ? std::nullopt
               : AsText(found->second.value.data(), found->second.value.size());
}

bool AttributeService::Change(std::u16string_view name, Value value) {
    Setting& setting = settings_[std::u16string(name)];
    setting.value = std::move(value);
    setting.changed = true;
    return StoreChanges();
}

const AttributeService::Value* AttributeService::Lookup(const EFI_GUID* nameSpace,
                                                        const CHAR16* name, bool startValue) const {
    if (!(*nameSpace == gKelmAttributeNamespaceGuid)) {
        return nullptr;
    }
    auto found = settings_.find(std::u16string_view(name));
    if (found == settings_.end()) {
        return nullptr;
    }
    return startValue ? &found->second.start : &found->second.value;
}

EFI_STATUS AttributeService::GetValue(const EFI_GUID* nameSpace, const CHAR16* name, UINTN selector,
                                      UINT16* size, void* buffer) {
    if (nameSpace == nullptr || name == nullptr || size == nullptr ||
        (buffer == nullptr && *size != 0) || selector > kAttributeGetDefault) {
        return EFI_INVALID_PARAMETER;
    }
    const Value* value = Lookup(nameSpace, name, selector == kAttributeGetDefault);
    if (value == nullptr) {
        TraceCall("get", name, nullptr, 0, EFI_NOT_FOUND);
        return EFI_NOT_FOUND;
    }
    const bool fits = value->size() <= *size;
    *size = UINT16(value->size());
    if (!fits) {
        TraceCall("get", name, nullptr, 0, EFI_BUFFER_TOO_SMALL);
        return EFI_BUFFER_TOO_SMALL;
    }
    std::copy(value->begin(), value->end(), static_cast<std::uint8_t*>(buffer));
    TraceCall("get", name, value->data(), value->size(), EFI_SUCCESS);
    return EFI_SUCCESS;
}

EFI_STATUS AttributeService::SetValue(const EFI_GUID* nameSpace, const CHAR16* name, UINTN selector,
                                      UINT16 size, const void* data) {
    if (nameSpace == nullptr || name == nullptr || *name == u'\0' ||
        (data == nullptr && size != 0) || selector != kAttributeSetCurrent) {
        return EFI_INVALID_PARAMETER;
    }
    EFI_STATUS status = EFI_NOT_FOUND;
    if (*nameSpace == gKelmAttributeNamespaceGuid) {
        const auto* bytes = static_cast<const std::uint8_t*>(data);
        status = Change(name, Value(bytes, bytes + size)) ? EFI_SUCCESS : EFI_DEVICE_ERROR;
    }
    TraceCall("set", name, data, size, status);
    return status;
}

EFI_STATUS AttributeService::GetValueSecondary(const EFI_GUID* nameSpace, const CHAR16* name,
                                               UINT16* size, void** buffer) {
    if (nameSpace == nullptr || name == nullptr || size == nullptr || buffer == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const Value* value = Lookup(nameSpace, name, false);
    if (value == nullptr) {
        TraceCall("get-secondary", name, nullptr, 0, EFI_NOT_FOUND);
        return EFI_NOT_FOUND;
    }
    void* copy = platform.CopyToPool(value->data(), value->size(), "KelmSecondaryAttributeReader");
    if (copy == nullptr) {
        TraceCall("get-secondary", name, nullptr, 0, EFI_OUT_OF_RESOURCES);
        return EFI_OUT_OF_RESOURCES;
    }
    *size = UINT16(value->size());
    *buffer = copy;
    TraceCall("get-secondary", name, value->data(), value->size(), EFI_SUCCESS);
    return EFI_SUCCESS;
}

void AttributeService::TraceCall(const char* op, const CHAR16* name, const void* data,
                                 std::size_t size, EFI_STATUS status) {
    Json fields = {{"op", op}, {"name", ToUtf8(name)}};
    if (data != nullptr) {
        if (const auto text = AsText(data, size)) {
            fields["text"] = ToUtf8(*text);
        } else {
            fields["data"] = ToHex(data, size);
        }
    }
    fields["status"] = StatusText(status);
    platform.trace.Record("attribute", std::move(fields));
}

// The variable holds {"NAME": {"value": hex, "start": hex}}; what cannot be read is passed over.
void AttributeService::LoadChanges() {
    const StoredVariable* stored = platform.variables->Find(kStoreName, kStoreGuid);
    if (stored == nullptr) {
        return;
    }
    const Json changes = Json::parse(stored->data.begin(), stored->data.end(), nullptr, false);
    if (!changes.is_object()) {
        return;
    }
    for (const auto& [name, change] : changes.items()) {
        if (!change.is_object()) {
            continue;
        }
        const auto value = FromHex(change.value("value", Json()));
        const auto start = FromHex(change.value("start", Json()));
        if (!value || !start || value->size() > kMaxValueSize) {
            continue;
        }
        // A setting that the machine file does not know was created by a boot.
        const auto known = settings_.find(ToUcs2(name));
        if (*start == (known == settings_.end() ? Value() : known->second.start)) {
            Setting& setting = settings_[ToUcs2(name)];
            setting.value = *value;
            setting.changed = true;
        }
    }
}

bool AttributeService::StoreChanges() {
    Json changes = Json::object();
    for (const auto& [name, setting] : settings_) {
        if (setting.changed) {
            changes[ToUtf8(name)] = {{"value", ToHex(setting.value.data(), setting.value.size())},
                                     {"start", ToHex(setting.start.data(), setting.start.size())}};
        }
    }
    const std::string text = changes.dump(-1, ' ', true, Json::error_handler_t::replace);
    return !EFI_ERROR(platform.variables->Write(
        kStoreName, kStoreGuid, EFI_VARIABLE_NON_VOLATILE | EFI_VARIABLE_BOOTSERVICE_ACCESS,
        text.data(), text.size()));
}

} // namespace sim
