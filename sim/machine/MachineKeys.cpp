// One spelling for keys that can be spelled in several ways, because merging compares them as text.

#include "library/pure/Ucs2.h"
#include "sim/machine/MachineSchema.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace sim {

namespace {

// GUIDs in upper case, numbers in upper case without leading zeros; slots are decimal.
std::string CanonicalKey(std::string_view section, std::string key) {
    const auto upper = [&](std::size_t from, std::size_t to) {
        std::transform(key.begin() + std::ptrdiff_t(from), key.begin() + std::ptrdiff_t(to),
                       key.begin() + std::ptrdiff_t(from), kelm::ToUpperAscii<char>);
    };
    constexpr std::size_t kGuidLength = 36;
    if (section == "variables") {
        upper(key.size() - kGuidLength, key.size());
    } else if (section == "pcds") {
        upper(0, kGuidLength);
        const auto token = kelm::ParseHex(std::string_view(key).substr(kGuidLength + 1));
        key = fmt::format("{}/0x{:X}", key.substr(0, kGuidLength), token.value_or(0));
    } else if (section == "policies") {
        key.erase(0, std::min(key.find_first_not_of('0'), key.size() - 1));
    } else {
        const auto number = kelm::ParseHex(std::string_view(key));
        key = fmt::format("0x{:X}", number.value_or(0));
    }
    return key;
}

} // namespace

void MakeKeysCanonical(const std::string& file, Json& root) {
    const auto section = [&](std::string_view name, Json& members, const std::string& place) {
        Json renamed = Json::object();
        for (auto& [key, value] : members.items()) {
            const std::string canonical = CanonicalKey(name, key);
            if (renamed.contains(canonical)) {
                throw MachineFileError(file, PointerStep(place, key), "the key occurs twice");
            }
            renamed[canonical] = std::move(value);
        }
        members = std::move(renamed);
    };
    for (const char* name : {"variables", "pcds", "policies"}) {
        if (root.contains(name) && root[name].is_object()) {
            section(name, root[name], std::string("/") + name);
        }
    }
    if (root.contains("cpld") && root["cpld"].contains("registers") &&
        root["cpld"]["registers"].is_object()) {
        section("registers", root["cpld"]["registers"], "/cpld/registers");
    }
}

} // namespace sim
