#include "sim/siblings/BootOptionList.h"

#include "sim/firmware/VariableService.h"
#include "uefi/DevicePath.h"
#include "uefi/GlobalVariable.h"

#include <fmt/format.h>

#include <optional>

namespace sim {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kDescriptionOffset = 6; // behind the attributes and the length of the path

UINT16 WordAt(const Bytes& bytes, std::size_t offset) {
    return UINT16(bytes[offset] | bytes[offset + 1] << 8);
}

std::optional<ListedBootOption> Describe(const Platform& platform, UINT16 number) {
    const std::string name = fmt::format("Boot{:04X}", number);
    const StoredVariable* variable =
        platform.variables->Find(std::u16string(name.begin(), name.end()), gEfiGlobalVariableGuid);
    if (variable == nullptr) {
        return std::nullopt;
    }
    const Bytes& bytes = variable->data;
    std::u16string description;
    for (std::size_t i = kDescriptionOffset; i + 1 < bytes.size(); i += 2) {
        const char16_t character = WordAt(bytes, i);
        if (character == 0) {
            return ListedBootOption{number, (bytes[0] & LOAD_OPTION_ACTIVE) != 0, description};
        }
        description += character;
    }
    return std::nullopt;
}

} // namespace

std::vector<ListedBootOption> ListBootOptions(const Platform& platform) {
    std::vector<ListedBootOption> options;
    const StoredVariable* order = platform.variables->Find(kBootOrderName, gEfiGlobalVariableGuid);
    for (std::size_t i = 0; order != nullptr && i + 1 < order->data.size(); i += 2) {
        if (auto option = Describe(platform, WordAt(order->data, i))) {
            options.push_back(std::move(*option));
        }
    }
    return options;
}

} // namespace sim
