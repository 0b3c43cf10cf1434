#include "sim/firmware/TraceText.h"

#include "library/pure/DevicePath.h"
#include "library/pure/DevicePathText.h"
#include "library/pure/GuidText.h"
#include "library/pure/StatusText.h"
#include "sim/machine/MachineDescription.h"

#include <array>
#include <cstdio>
#include <vector>

namespace sim {

std::string GuidText(const EFI_GUID& guid) {
    std::array<char, kelm::kGuidTextLength + 1> text;
    kelm::GuidToText(guid, std::span<char>(text));
    return text.data();
}

std::string StatusText(EFI_STATUS status) {
    const std::string_view name = kelm::StatusName(status);
    return name.empty() ? HexNumber(status) : std::string(name);
}

std::string HexNumber(UINT64 value) {
    std::array<char, 19> text;
    std::snprintf(text.data(), text.size(), "0x%llX", static_cast<unsigned long long>(value));
    return text.data();
}

std::string DevicePathText(const EFI_DEVICE_PATH_PROTOCOL* path) {
    if (path == nullptr) {
        return {};
    }
    const std::size_t size = kelm::DevicePathSize(path);
    const auto length = kelm::DevicePathToText(path, size, {});
    if (!length) {
        return "?";
    }
    std::vector<char16_t> text(*length + 1);
    kelm::DevicePathToText(path, size, text);
    return ToUtf8({text.data(), *length});
}

} // namespace sim
