// Where the devices of the machine sit: the device location service, from the "location" and "fqdd"
// of the machine file's devices.
#pragma once

#include "kelm/DeviceLocationProtocol.h"
#include "sim/siblings/ProtocolTable.h"

#include <map>
#include <span>
#include <string>
#include <vector>

namespace sim {

class DeviceLocations final : public Sibling {
public:
    struct Device {
        std::vector<std::uint8_t> path; // without its end node
        std::u16string location;        // empty: not known
        std::u16string fqdd;
    };

    // Reads "devices"; throws MachineFileError.
    explicit DeviceLocations(Platform& owner);
    void Install() override;

    // The device whose path is the longest beginning of `path`: a partition is found as its disk.
    // nullptr when there is none.
    const Device* Find(std::span<const std::uint8_t> path) const;

private:
    EFI_STATUS GetDeviceLocation(const EFI_DEVICE_PATH_PROTOCOL* path, const CHAR8* language,
                                 CHAR16** locationText, CHAR16** fqdd, CHAR16** shortName);
    EFI_STATUS GetBootDescription(const CHAR16* fqdd, const CHAR8* language, CHAR16** description,
                                  CHAR16** detail);
    bool HandOut(const std::u16string& text, CHAR16** out);

    std::vector<Device> devices_;
    ProtocolTable<KelmDeviceLocationProtocol, "KelmDeviceLocationProtocol"> protocol_;
    std::map<std::vector<std::uint8_t>, std::size_t> byPath_; // indices of devices_
};

// The nodes of a device path up to its first end node. A node shorter than its header ends it too.
std::span<const std::uint8_t> PathNodes(const EFI_DEVICE_PATH_PROTOCOL* path);

} // namespace sim
