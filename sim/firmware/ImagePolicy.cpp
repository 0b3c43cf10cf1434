#include "sim/firmware/ImagePolicy.h"

#include "sim/firmware/TraceText.h"

#include <algorithm>

namespace sim {

namespace {

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? char(c + ('a' - 'A')) : c; });
    return text;
}

// Read and spelled again: the file may spell a path in more than one way.
std::vector<std::string> ReadPaths(const MachineDescription& machine, const std::string& place) {
    std::vector<std::string> paths;
    const std::size_t count = machine.At(place).size();
    for (std::size_t i = 0; i < count; i++) {
        const std::string at = place + "/" + std::to_string(i);
        const std::vector<std::uint8_t> path = ReadDevicePath(machine, machine.At(at), at);
        paths.push_back(
            Lower(DevicePathText(reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(path.data()))));
    }
    return paths;
}

bool IsNamed(const std::vector<std::string>& names, const std::string& path) {
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
        const bool ends =
            path.size() <= name.size() || path[name.size()] == '/' || path[name.size()] == '\\';
        return path.starts_with(name) && ends;
    });
}

} // namespace

ImagePolicy::ImagePolicy(const MachineDescription& machine)
    : refused_(ReadPaths(machine, "/security/refuse")),
      deferred_(ReadPaths(machine, "/security/defer")) {}

EFI_STATUS ImagePolicy::Judge(const EFI_DEVICE_PATH_PROTOCOL* path) const {
    if (refused_.empty() && deferred_.empty()) {
        return EFI_SUCCESS;
    }
    const std::string text = Lower(DevicePathText(path));
    if (IsNamed(deferred_, text)) {
        return EFI_ACCESS_DENIED;
    }
    return IsNamed(refused_, text) ? EFI_SECURITY_VIOLATION : EFI_SUCCESS;
}

} // namespace sim
