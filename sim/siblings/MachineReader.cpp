#include "sim/siblings/MachineReader.h"

namespace sim {

std::uint64_t NumberAt(const MachineDescription& machine, const std::string& place,
                       std::uint64_t absent, std::uint64_t maximum) {
    const Json& value = machine.At(place);
    if (value.is_null()) {
        return absent;
    }
    const std::uint64_t number = ReadNumber(machine, value, place);
    if (number > maximum) {
        throw MachineFileError(machine.file, place,
                               "the number is larger than " + std::to_string(maximum));
    }
    return number;
}

bool FlagAt(const MachineDescription& machine, const std::string& place, bool absent) {
    const Json& value = machine.At(place);
    if (value.is_null()) {
        return absent;
    }
    if (!value.is_boolean()) {
        throw MachineFileError(machine.file, place, "expected true or false");
    }
    return value.get<bool>();
}

EFI_STATUS StatusAt(const MachineDescription& machine, const std::string& place,
                    EFI_STATUS absent) {
    const Json& value = machine.At(place);
    return value.is_null() ? absent : ReadStatus(machine, value, place);
}

std::vector<std::uint8_t> HexAt(const MachineDescription& machine, const std::string& place,
                                std::size_t maximum) {
    const Json& value = machine.At(place);
    if (value.is_null()) {
        return {};
    }
    auto bytes = ReadHex(machine, value, place);
    if (bytes.size() > maximum) {
        throw MachineFileError(machine.file, place,
                               "more than " + std::to_string(maximum) + " bytes");
    }
    return bytes;
}

std::string PlaceOf(std::string_view parent, std::string_view key) {
    std::string place(parent);
    place += '/';
    for (const char c : key) {
        if (c == '~') {
            place += "~0";
        } else if (c == '/') {
            place += "~1";
        } else {
            place += c;
        }
    }
    return place;
}

} // namespace sim
