#include "sim/siblings/DriverHealth.h"

#include "library/pure/DevicePath.h"
#include "sim/firmware/DriverModel.h"
#include "sim/siblings/HiiDatabase.h"
#include "sim/siblings/MachineReader.h"

#include <fmt/format.h>

#include <algorithm>

namespace sim {

namespace {

constexpr char kName[] = "DriverHealth";
constexpr char kUsualLanguage[] = "en-US";

struct StateName {
    std::string_view name;
    EFI_DRIVER_HEALTH_STATUS status;
};
constexpr StateName kStates[] = {
    {"healthy", EfiDriverHealthStatusHealthy},
    {"repair-required", EfiDriverHealthStatusRepairRequired},
    {"configuration-required", EfiDriverHealthStatusConfigurationRequired},
    {"failed", EfiDriverHealthStatusFailed},
    {"reconnect-required", EfiDriverHealthStatusReconnectRequired},
    {"reboot-required", EfiDriverHealthStatusRebootRequired},
};

EFI_DRIVER_HEALTH_STATUS ReadState(const MachineDescription& machine, const std::string& place) {
    const Json& value = machine.At(place);
    for (const StateName& state : kStates) {
        if (value.is_string() && value.get<std::string>() == state.name) {
            return state.status;
        }
    }
    throw MachineFileError(machine.file, place, "not a state of a driver's health");
}

std::vector<std::string> PlacesIn(const MachineDescription& machine, const std::string& place) {
    std::vector<std::string> places;
    for (std::size_t i = 0; i < machine.At(place).size(); i++) {
        places.push_back(fmt::format("{}/{}", place, i));
    }
    return places;
}

std::vector<std::vector<std::uint8_t>> ReadPaths(const MachineDescription& machine,
                                                 const std::string& place) {
    std::vector<std::vector<std::uint8_t>> paths;
    for (const std::string& item : PlacesIn(machine, place)) {
        paths.push_back(ReadDevicePath(machine, machine.At(item), item));
    }
    return paths;
}

} // namespace

// ---- What a driver serves

struct DriverHealth::Served {
    Served(Platform& owner, Driver described) : platform(owner), driver(std::move(described)) {
        health.owner = names.owner = this;
        health.protocol = {&GetHealthStatus, &Repair};
        names.protocol = {&GetDriverName, &GetControllerName, driver.language.c_str()};
    }

    using Health = Interface<EFI_DRIVER_HEALTH_PROTOCOL, Served>;
    using Names = Interface<EFI_COMPONENT_NAME2_PROTOCOL, Served>;

    // Whether it manages a controller, or a child of one. No controller at all: everything.
    bool Manages(EFI_HANDLE controller, EFI_HANDLE child) const {
        if (controller == nullptr) {
            return child == nullptr;
        }
        const auto& paths = child == nullptr ? driver.controllers : driver.children;
        const auto* path = static_cast<const EFI_DEVICE_PATH_PROTOCOL*>(platform.handles->Find(
            child == nullptr ? controller : child, gEfiDevicePathProtocolGuid));
        return path != nullptr && std::any_of(paths.begin(), paths.end(), [&](const auto& known) {
                   return kelm::DevicePathsEqual(
                       path, reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(known.data()));
               });
    }

    std::uint64_t Disconnections() const {
        std::uint64_t count = 0;
        for (const EFI_HANDLE handle : platform.handles->All()) {
            count += Manages(handle, nullptr) ? platform.drivers->Disconnections(handle) : 0;
        }
        return count;
    }

    void NextState() {
        driver.state = std::min(driver.state + 1, driver.states.size() - 1);
        driver.repairsLeft = driver.repairsPerState;
        driver.disconnections = Disconnections();
    }

    EFI_STATUS HandOut(EFI_DRIVER_HEALTH_HII_MESSAGE** list) const {
        if (list == nullptr || !driver.hasMessages) {
            return EFI_SUCCESS;
        }
        const std::size_t size =
            (driver.messages.size() + 1) * sizeof(EFI_DRIVER_HEALTH_HII_MESSAGE);
        void* pool = nullptr;
        if (EFI_ERROR(platform.arena->AllocatePool(EfiBootServicesData, size, &pool))) {
            return EFI_OUT_OF_RESOURCES;
        }
        auto* messages = static_cast<EFI_DRIVER_HEALTH_HII_MESSAGE*>(pool);
        for (std::size_t i = 0; i < driver.messages.size(); i++) {
            messages[i] = {driver.strings, EFI_STRING_ID(i + 2), 0};
        }
        messages[driver.messages.size()] = {nullptr, 0, 0};
        *list = messages;
        return EFI_SUCCESS;
    }

    static EFI_STATUS EFIAPI GetHealthStatus(EFI_DRIVER_HEALTH_PROTOCOL* self,
                                             EFI_HANDLE controller, EFI_HANDLE child,
                                             EFI_DRIVER_HEALTH_STATUS* status,
                                             EFI_DRIVER_HEALTH_HII_MESSAGE** messages,
                                             EFI_HII_HANDLE* form) {
        Served& served = Health::From(self);
        Driver& driver = served.driver;
        if (auto fault = served.platform.EnterSibling(kName, "GetHealthStatus", false)) {
            return *fault;
        }
        if (status == nullptr) {
            return EFI_INVALID_PARAMETER;
        }
        if (!served.Manages(controller, child)) {
            return EFI_UNSUPPORTED;
        }
        if (driver.Health() == EfiDriverHealthStatusReconnectRequired &&
            served.Disconnections() != driver.disconnections) {
            served.NextState();
        }
        // A controller with children is well; the children are not.
        const bool well = controller != nullptr && child == nullptr && !driver.children.empty();
        *status = well ? EfiDriverHealthStatusHealthy : driver.Health();
        if (messages != nullptr) {
            *messages = nullptr;
        }
        if (form != nullptr) {
            *form = driver.form ? driver.strings : nullptr;
        }
        return *status == EfiDriverHealthStatusHealthy ? EFI_SUCCESS : served.HandOut(messages);
    }

    static EFI_STATUS EFIAPI Repair(EFI_DRIVER_HEALTH_PROTOCOL* self, EFI_HANDLE controller,
                                    EFI_HANDLE child, EFI_DRIVER_HEALTH_REPAIR_NOTIFY notify) {
        Served& served = Health::From(self);
        Driver& driver = served.driver;
        if (auto fault = served.platform.EnterSibling(kName, "Repair")) {
            return *fault;
        }
        if (controller == nullptr || !served.Manages(controller, child)) {
            return EFI_UNSUPPORTED;
        }
        driver.repairCalls++;
        if (EFI_ERROR(driver.repairStatus) ||
            driver.Health() != EfiDriverHealthStatusRepairRequired) {
            return driver.repairStatus;
        }
        if (notify != nullptr) {
            static_cast<void>(notify(1, 1));
        }
        if (--driver.repairsLeft == 0) {
            served.NextState();
        }
        return EFI_SUCCESS;
    }

    static EFI_STATUS EFIAPI GetDriverName(EFI_COMPONENT_NAME2_PROTOCOL* self,
                                           const CHAR8* language, CHAR16** name) {
        if (language == nullptr || name == nullptr) {
            return EFI_INVALID_PARAMETER;
        }
        if (language != Names::From(self).driver.language) {
            return EFI_UNSUPPORTED;
        }
        *name = Names::From(self).driver.name.data();
        return EFI_SUCCESS;
    }
    static EFI_STATUS EFIAPI GetControllerName(EFI_COMPONENT_NAME2_PROTOCOL*, EFI_HANDLE,
                                               EFI_HANDLE, const CHAR8*, CHAR16**) {
        return EFI_UNSUPPORTED;
    }

    Platform& platform;
    Driver driver;
    Health health;
    Names names;
};

// ---- The drivers of a machine

DriverHealth::DriverHealth(Platform& owner) : Sibling(owner) {
    for (const auto& [id, entry] : platform.machine.At("/driverHealth").items()) {
        drivers_.push_back(
            std::make_unique<Served>(platform, ReadDriver(id, PlaceOf("/driverHealth", id))));
    }
}

DriverHealth::~DriverHealth() = default;

DriverHealth::Driver DriverHealth::ReadDriver(const std::string& id,
                                              const std::string& place) const {
    const MachineDescription& machine = platform.machine;
    Driver driver;
    driver.id = id;
    if (!machine.At(place + "/name").is_null()) {
        driver.name = ReadText(machine, machine.At(place + "/name"), place + "/name");
    }
    const Json& language = machine.At(place + "/language");
    driver.language = language.is_null() ? kUsualLanguage : language.get<std::string>();
    if (!machine.At(place + "/path").is_null()) {
        driver.path = ReadDevicePath(machine, machine.At(place + "/path"), place + "/path");
    }
    for (const std::string& state : PlacesIn(machine, place + "/states")) {
        driver.states.push_back(ReadState(machine, state));
    }
    if (driver.states.empty()) {
        driver.states.push_back(EfiDriverHealthStatusHealthy);
    }
    driver.hasMessages = !machine.At(place + "/messages").is_null();
    for (const std::string& message : PlacesIn(machine, place + "/messages")) {
        driver.messages.push_back(ReadText(machine, machine.At(message), message));
    }
    driver.form = FlagAt(machine, place + "/form", false);
    driver.controllers = ReadPaths(machine, place + "/controllers");
    driver.children = ReadPaths(machine, place + "/children");
    driver.repairsPerState = driver.repairsLeft = NumberAt(machine, place + "/repairs", 1);
    driver.repairStatus = StatusAt(machine, place + "/repairStatus", EFI_SUCCESS);
    return driver;
}

void DriverHealth::Install() {
    for (auto& served : drivers_) {
        Install(*served);
    }
}

void DriverHealth::Install(Served& served) {
    Driver& driver = served.driver;
    if (platform.IsMissing(kName, gEfiDriverHealthProtocolGuid)) {
        return;
    }
    driver.strings = platform.Get<HiiDatabase>().AddStrings(driver.language, driver.messages);
    EFI_HANDLE handle = nullptr;
    if (!driver.path.empty()) {
        static_cast<void>(
            platform.handles->Install(&handle, gEfiDevicePathProtocolGuid, driver.path.data()));
    }
    if (!driver.name.empty()) {
        static_cast<void>(platform.handles->Install(&handle, gEfiComponentName2ProtocolGuid,
                                                    &served.names.protocol));
    }
    static_cast<void>(
        platform.handles->Install(&handle, gEfiDriverHealthProtocolGuid, &served.health.protocol));
}

const DriverHealth::Driver& DriverHealth::Find(std::string_view id) const {
    const auto found = std::find_if(drivers_.begin(), drivers_.end(),
                                    [&](const auto& served) { return served->driver.id == id; });
    if (found == drivers_.end()) {
        throw std::logic_error("the machine has no such driver");
    }
    return (*found)->driver;
}

} // namespace sim
