// UEFI drivers that report on the health of what they manage (UEFI 2.10, section 11.10), from the
// machine file's "driverHealth". Each is a handle with the driver health protocol and, where they
// are given, a component name and a device path.
//
// A driver goes through the states of its entry: a repair that succeeds leads from
// "repair-required" to the next one, disconnecting one of its controllers from
// "reconnect-required". The last state stays.
#pragma once

#include "sim/siblings/Sibling.h"
#include "uefi/DriverBinding.h"
#include "uefi/DriverHealth.h"

#include <string>
#include <vector>

namespace sim {

class DriverHealth final : public Sibling {
public:
    struct Driver {
        std::string id;
        std::u16string name;                          // empty: no component name
        std::string language;                         // of the name and the messages
        std::vector<std::uint8_t> path;               // with its end; empty: none
        std::vector<EFI_DRIVER_HEALTH_STATUS> states; // at least one
        bool hasMessages = false;                     // a list, maybe an empty one
        std::vector<std::u16string> messages;
        bool form = false;
        std::vector<std::vector<std::uint8_t>> controllers; // paths with their ends
        std::vector<std::vector<std::uint8_t>> children;
        std::uint64_t repairsLeft = 1; // calls that the repair of a state takes, still to come
        EFI_STATUS repairStatus = EFI_SUCCESS;

        std::size_t state = 0;
        std::uint64_t repairsPerState = 1;
        std::uint64_t disconnections = 0; // of its controllers, as of the last look
        unsigned repairCalls = 0;
        EFI_HII_HANDLE strings = nullptr;

        EFI_DRIVER_HEALTH_STATUS Health() const { return states[state]; }
    };

    // Reads "driverHealth"; throws MachineFileError.
    explicit DriverHealth(Platform& owner);
    ~DriverHealth() override;
    void Install() override;

    // Throws when there is no driver of that name.
    const Driver& Find(std::string_view id) const;

private:
    struct Served; // a driver with its tables

    Driver ReadDriver(const std::string& id, const std::string& place) const;
    void Install(Served& served);

    std::vector<std::unique_ptr<Served>> drivers_;
};

} // namespace sim
