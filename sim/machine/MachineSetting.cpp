// Settings of the command line that change a machine: --set.

#include "library/pure/Ucs2.h"
#include "sim/machine/MachineDescription.h"
#include "sim/machine/MachineSchema.h"

#include <fmt/format.h>
#include <utility>

namespace sim {

namespace {

constexpr std::string_view kOption = "--set";
constexpr std::string_view kHexPrefix = "hex:";

[[noreturn]] void Fail(std::string_view place, std::string_view reason) {
    throw MachineFileError(kOption, place, reason);
}

// What "attribute.", "variable." and so on set, as a patch of the machine (RFC 7396).
Json Patch(std::string_view target, std::string_view value) {
    const std::size_t dot = target.find('.');
    if (dot == std::string_view::npos) {
        Fail(target,
             "a target is attribute.NAME, variable.NAME-GUID, pcd.SPACE/0xTOKEN, limits.NAME "
             "or a JSON pointer");
    }
    const std::string_view group = target.substr(0, dot);
    const std::string name(target.substr(dot + 1));
    if (group == "attribute") {
        if (value.starts_with(kHexPrefix)) {
            return {{"attributes", {{name, {{"hex", value.substr(kHexPrefix.size())}}}}}};
        }
        return {{"attributes", {{name, value}}}};
    }
    if (group == "variable") {
        Json variable = {{"hex", value}};
        for (const char* other : {"text", "u8", "u16", "u32", "u64"}) {
            variable[other] = nullptr;
        }
        return {{"variables", {{name, variable}}}};
    }
    const Json parsed = Json::parse(value, nullptr, false);
    const Json number = parsed.is_number() || parsed.is_boolean() ? parsed : Json(value);
    if (group == "pcd") {
        return {{"pcds", {{name, {{"value", number}}}}}};
    }
    if (group == "limits") {
        return {{"limits", {{name, number}}}};
    }
    Fail(target,
         fmt::format("\"{}\" cannot be set; a target is attribute.NAME, variable.NAME-GUID, "
                     "pcd.SPACE/0xTOKEN, limits.NAME or a JSON pointer",
                     group));
}

// Sets the value at a JSON pointer, or removes it when `value` is null. Objects on the way are
// made; an array takes an index that it has, or "-" for one more element.
void SetAt(Json& root, std::string_view pointer, Json value) {
    Json* parent = nullptr;
    Json* at = &root;
    std::string key;
    for (std::string_view rest = pointer; !rest.empty();) {
        rest.remove_prefix(1);
        key = std::string(rest.substr(0, rest.find('/')));
        rest.remove_prefix(key.size());
        for (const auto& [escape, character] : {std::pair("~1", "/"), std::pair("~0", "~")}) {
            for (std::size_t i = 0; (i = key.find(escape, i)) != std::string::npos; i++) {
                key.replace(i, 2, character);
            }
        }
        parent = at;
        if (at->is_array()) {
            const auto index = key == "-" ? at->size() : kelm::ParseDecimal(key).value_or(~0ull);
            if (index == at->size() && key == "-") {
                at->push_back(nullptr);
            } else if (index >= at->size()) {
                Fail(pointer, fmt::format("the array has no element {}", key));
            }
            at = &(*at)[std::size_t(index)];
        } else if (at->is_object() || at->is_null()) {
            at = &(*at)[key];
        } else {
            Fail(pointer, "the machine has no such place");
        }
    }
    if (!value.is_null()) {
        *at = std::move(value);
    } else if (parent->is_object()) {
        parent->erase(key);
    } else {
        parent->erase(std::size_t(at - &parent->front()));
    }
}

} // namespace

void ApplySetting(MachineDescription& machine, std::string_view setting) {
    const std::size_t equals = setting.find('=');
    if (equals == std::string_view::npos || equals == 0) {
        Fail(setting, "a setting is TARGET=VALUE");
    }
    const std::string_view target = setting.substr(0, equals);
    const std::string_view value = setting.substr(equals + 1);

    MachineDescription changed = machine;
    changed.file = kOption;
    if (target.front() == '/') {
        Json parsed = Json::parse(value, nullptr, false);
        if (parsed.is_discarded()) {
            Fail(target, "the value behind a JSON pointer must be JSON (text stands in quotes)");
        }
        SetAt(changed.root, target, std::move(parsed));
        CheckMachineFile(changed.file, changed.root);
    } else {
        Json patch = Patch(target, value);
        CheckMachineFile(changed.file, patch);
        changed.root.merge_patch(patch);
    }
    CheckMachine(changed);
    machine.root = std::move(changed.root);
}

} // namespace sim
