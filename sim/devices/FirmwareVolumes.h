// Firmware volumes of the machine file (kind "firmware-volume"): EFI_FIRMWARE_VOLUME2_PROTOCOL on
// their handles from power-on (PI 1.8, volume 3, section 3.4).
//
// A file of "volume" is stored as sections: its content (a PE32 section, or a raw one for the types
// RAW and FREEFORM), its name, its version. A file of type RAW is its content alone.
#pragma once

#include "sim/devices/DeviceDriver.h"

namespace sim {

// It drives no controllers; volumes need no connecting.
class FirmwareVolumes final : public DeviceDriver {
public:
    // Reads "volume" of all devices. Throws MachineFileError.
    explicit FirmwareVolumes(Devices& owner);
    void PowerOn() override;

private:
    bool Drives(const Device&, const EFI_DEVICE_PATH_PROTOCOL*) const override { return false; }
};

} // namespace sim
