#include "sim/siblings/DeviceLocations.h"

#include "sim/siblings/MachineReader.h"
#include "uefi/DevicePath.h"

#include <algorithm>

namespace sim {

namespace {

std::size_t NodeLength(const std::uint8_t* node) {
    return std::size_t(node[2]) | std::size_t(node[3]) << 8;
}

// The class of the device, "NIC" of "NIC.Integrated.1-1-1": all up to the first dot.
std::u16string ShortName(const std::u16string& fqdd) {
    return fqdd.substr(0, fqdd.find(u'.'));
}

std::u16string TextAt(const MachineDescription& machine, const std::string& place) {
    const Json& value = machine.At(place);
    return value.is_null() ? std::u16string() : ReadText(machine, value, place);
}

} // namespace

std::span<const std::uint8_t> PathNodes(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(path);
    std::size_t size = 0;
    while (bytes != nullptr && bytes[size] != kDevicePathTypeEnd &&
           NodeLength(bytes + size) >= sizeof(EFI_DEVICE_PATH_PROTOCOL)) {
        size += NodeLength(bytes + size);
    }
    return {bytes, size};
}

DeviceLocations::DeviceLocations(Platform& owner) : Sibling(owner) {
    const auto& machine = platform.machine;
    for (const auto& [id, device] : machine.At("/devices").items()) {
        const std::string place = PlaceOf("/devices", id);
        const Json& path = machine.At(place + "/path");
        if (path.is_null()) {
            continue;
        }
        Device entry;
        const auto bytes = ReadDevicePath(machine, path, place + "/path");
        const auto nodes =
            PathNodes(reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(bytes.data()));
        entry.path.assign(nodes.begin(), nodes.end());
        entry.location = TextAt(machine, place + "/location");
        entry.fqdd = TextAt(machine, place + "/fqdd");
        if (!entry.location.empty() || !entry.fqdd.empty()) {
            byPath_.try_emplace(entry.path, devices_.size());
            devices_.push_back(std::move(entry));
        }
    }
}

void DeviceLocations::Install() {
    using P = KelmDeviceLocationProtocol;
    protocol_.Serve<"GetDeviceLocation", &DeviceLocations::GetDeviceLocation>(&P::GetDeviceLocation)
        .Serve<"GetBootDescription", &DeviceLocations::GetBootDescription>(&P::GetBootDescription)
        .Serve<"InitializeDeviceLocations">(&P::InitializeDeviceLocations)
        .Serve<"RegisterDeviceLocationEvent">(&P::RegisterDeviceLocationEvent)
        .ReserveRest();
    InstallTable(protocol_);
}

const DeviceLocations::Device* DeviceLocations::Find(std::span<const std::uint8_t> path) const {
    const Device* best = nullptr;
    for (std::size_t size = 0; size < path.size();) {
        size += NodeLength(path.data() + size);
        const auto found = byPath_.find({path.begin(), path.begin() + std::ptrdiff_t(size)});
        best = found != byPath_.end() ? &devices_[found->second] : best;
    }
    return best;
}

bool DeviceLocations::HandOut(const std::u16string& text, CHAR16** out) {
    if (out == nullptr || text.empty()) {
        return true;
    }
    *out = static_cast<CHAR16*>(platform.CopyToPool(
        text.c_str(), (text.size() + 1) * sizeof(CHAR16), "KelmDeviceLocationProtocol"));
    return *out != nullptr;
}

EFI_STATUS DeviceLocations::GetDeviceLocation(const EFI_DEVICE_PATH_PROTOCOL* path,
                                              const CHAR8* language, CHAR16** locationText,
                                              CHAR16** fqdd, CHAR16** shortName) {
    if (path == nullptr || language == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const Device* device = Find(PathNodes(path));
    if (device == nullptr) {
        return EFI_NOT_FOUND;
    }
    CHAR16** outputs[] = {locationText, fqdd, shortName};
    for (CHAR16** out : outputs) {
        if (out != nullptr) {
            *out = nullptr;
        }
    }
    if (HandOut(device->location, locationText) && HandOut(device->fqdd, fqdd) &&
        HandOut(ShortName(device->fqdd), shortName)) {
        return EFI_SUCCESS;
    }
    for (CHAR16** out : outputs) {
        if (out != nullptr && *out != nullptr) {
            static_cast<void>(platform.arena->FreePool(*out));
            *out = nullptr;
        }
    }
    return EFI_OUT_OF_RESOURCES;
}

EFI_STATUS DeviceLocations::GetBootDescription(const CHAR16* fqdd, const CHAR8* language,
                                               CHAR16** description, CHAR16** detail) {
    if (fqdd == nullptr || language == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    auto device = std::find_if(devices_.begin(), devices_.end(),
                               [&](const Device& entry) { return entry.fqdd == fqdd; });
    if (device == devices_.end()) {
        return EFI_NOT_FOUND;
    }
    for (CHAR16** out : {description, detail}) {
        if (out != nullptr) {
            *out = nullptr;
        }
    }
    return HandOut(device->location, description) ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

} // namespace sim
