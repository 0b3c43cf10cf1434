// The names that a driver gives (EFI_COMPONENT_NAME2_PROTOCOL; UEFI 2.10, section 11.5): its own,
// and those of what it drives, which are the "name" of devices in the machine file. A device
// without one has none, and asking for it is EFI_UNSUPPORTED.
#pragma once

#include "sim/devices/DeviceDriver.h"
#include "sim/siblings/Sibling.h"
#include "uefi/DriverBinding.h"

#include <map>
#include <string>

namespace sim {

class DriverNames {
public:
    // Reads "name" of all devices. Throws MachineFileError.
    explicit DriverNames(DeviceDriver& owner);

    // Installs the protocol on the handle of the driver, at power-on.
    void Install();

private:
    using Protocol = EFI_COMPONENT_NAME2_PROTOCOL;
    using Table = Interface<Protocol, DriverNames>;

    // The device that is asked for: the controller, or its child. nullptr when the driver does not
    // manage it.
    const Device* Managed(EFI_HANDLE controller, EFI_HANDLE child) const;
    static EFI_STATUS EFIAPI GetDriverName(Protocol* self, const CHAR8* language, CHAR16** name);
    static EFI_STATUS EFIAPI GetControllerName(Protocol* self, EFI_HANDLE controller,
                                               EFI_HANDLE child, const CHAR8* language,
                                               CHAR16** name);

    DeviceDriver& driver_;
    std::u16string driverName_;
    std::map<std::string, std::u16string> names_; // by the device's name in the machine file
    Table table_;
};

} // namespace sim
