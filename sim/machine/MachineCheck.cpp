// What only a merged machine can show.

#include "sim/machine/MachineSchema.h"
#include "uefi/RuntimeServices.h"

#include <fmt/format.h>

namespace sim {

namespace {

[[noreturn]] void Fail(const MachineDescription& machine, const std::string& place,
                       const std::string& reason) {
    throw MachineFileError(machine.file, place, reason);
}

// The attributes that SetVariable() could have made the variable with.
void CheckAttributes(const MachineDescription& machine, const Json& value,
                     const std::string& place) {
    constexpr std::uint64_t kKnown = 0xEF; // without the retired counter-based authentication
    const std::uint64_t attributes = ReadNumber(machine, value, place);
    if ((attributes & ~kKnown) != 0) {
        Fail(machine, place,
             fmt::format("the bits 0x{:X} are not supported", attributes & ~kKnown));
    }
    if ((attributes & EFI_VARIABLE_BOOTSERVICE_ACCESS) == 0) {
        Fail(machine, place, "a variable needs boot services access (0x2)");
    }
}

void CheckVariable(const MachineDescription& machine, const Json& variable,
                   const std::string& place) {
    if (variable.contains("attributes")) {
        CheckAttributes(machine, variable["attributes"], place + "/attributes");
    }
    std::string found;
    for (const char* form : {"hex", "text", "u8", "u16", "u32", "u64"}) {
        if (!variable.contains(form)) {
            continue;
        }
        if (!found.empty()) {
            Fail(machine, place,
                 fmt::format("has both \"{}\" and \"{}\"; a file that changes the form sets the "
                             "other one to null",
                             found, form));
        }
        found = form;
    }
    if (found.empty()) {
        Fail(machine, place,
             "has no value: \"hex\", \"text\", \"u8\", \"u16\", \"u32\" or \"u64\"");
    }
}

void CheckPcd(const MachineDescription& machine, const Json& pcd, const std::string& place) {
    for (const char* key : {"type", "value"}) {
        if (!pcd.contains(key)) {
            Fail(machine, place, fmt::format("the key \"{}\" is missing", key));
        }
    }
    const std::string type = pcd["type"];
    const Json& value = pcd["value"];
    const std::string at = place + "/value";
    if (type == "bool") {
        if (!value.is_boolean()) {
            Fail(machine, at, "must be true or false, as the type is \"bool\"");
        }
    } else if (type == "pointer") {
        if (!value.is_string()) {
            Fail(machine, at, "must be hexadecimal text, as the type is \"pointer\"");
        }
        ReadHex(machine, value, at);
    } else {
        const unsigned bits = unsigned(std::stoul(type.substr(1)));
        if (value.is_boolean()) {
            Fail(machine, at, fmt::format("must be a number, as the type is \"{}\"", type));
        }
        const std::uint64_t number = ReadNumber(machine, value, at);
        if (bits < 64 && number >> bits != 0) {
            Fail(machine, at, fmt::format("{} does not fit into {} bits", number, bits));
        }
    }
}

void CheckDevice(const MachineDescription& machine, const Json& device, const std::string& place) {
    for (const char* key : {"path", "kind"}) {
        if (!device.contains(key)) {
            Fail(machine, place, fmt::format("the key \"{}\" is missing", key));
        }
    }
    if (device["path"] == "") {
        Fail(machine, place + "/path", "the device path is empty");
    }
}

void CheckAttribute(const MachineDescription& machine, const Json& attribute,
                    const std::string& place) {
    if (attribute.is_object() && !attribute.contains("hex")) {
        Fail(machine, place, "the key \"hex\" is missing");
    }
}

using Check = void (*)(const MachineDescription&, const Json&, const std::string&);

void CheckEach(const MachineDescription& machine, const std::string& section, Check check) {
    for (const auto& [key, value] : machine.At("/" + section).items()) {
        check(machine, value, PointerStep("/" + section, key));
    }
}

} // namespace

void CheckMachine(const MachineDescription& machine) {
    CheckEach(machine, "variables", &CheckVariable);
    CheckEach(machine, "attributes", &CheckAttribute);
    CheckEach(machine, "pcds", &CheckPcd);
    CheckEach(machine, "devices", &CheckDevice);
}

} // namespace sim
