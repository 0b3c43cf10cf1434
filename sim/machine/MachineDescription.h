// What a machine file says, merged with the machines it extends and checked against the schema.
//
// The description stays JSON: each part of the server reads its own section when it is constructed,
// before the power comes on, through the readers below. A reader that meets text it cannot use
// throws MachineFileError, which names the file, the place (a JSON pointer) and the reason; nothing
// of that kind can happen once the boot runs.
#pragma once

#include "sim/trace/Trace.h"
#include "uefi/Base.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// A machine file that cannot be used: bad JSON, unknown key, wrong type, bad GUID, hexadecimal or
// device path text. what() is "FILE: PLACE: REASON" in one line: control characters are escaped,
// and the steps of a place clipped as Excerpt() does it.
class MachineFileError : public std::runtime_error {
public:
    MachineFileError(std::string_view file, std::string_view place, std::string_view reason);
};

struct MachineDescription {
    std::string file; // as named by the user; "default" for the built-in machine
    Json root;        // merged: the file over the machine it extends over ... the default machine

    // The value at a JSON pointer such as "/controller/ipmi"; a shared null value when absent.
    const Json& At(std::string_view pointer) const;
};

// Loads a machine: an empty name or "default" is the built-in default machine; otherwise a path.
// "extends" names another file (relative to this one), "default" (the implied value) or "empty".
// Objects merge by key, null removes a key, everything else replaces (RFC 7396).
// Throws MachineFileError.
MachineDescription LoadMachine(const std::string& name);
// The same from text, for tests and fuzzers; relative "extends" are not allowed.
MachineDescription ParseMachine(std::string_view text, const std::string& fileName = "machine");
// An array of keys as "keys" has it, from a text or a file. Throws MachineFileError.
Json ParseKeys(std::string_view text, const std::string& fileName);
Json LoadKeys(const std::string& fileName);
// Applies "attribute.NAME=VALUE" and the other --set forms. Throws MachineFileError.
void ApplySetting(MachineDescription& machine, std::string_view setting);

// Readers. `place` is the JSON pointer that an error names.
std::uint64_t ReadNumber(const MachineDescription& machine, const Json& value,
                         std::string_view place); // 12 or "0x0C"
EFI_GUID ReadGuid(const MachineDescription& machine, const Json& value, std::string_view place);
std::vector<std::uint8_t> ReadHex(const MachineDescription& machine, const Json& value,
                                  std::string_view place); // "0A 0b0C"
std::u16string ReadText(const MachineDescription& machine, const Json& value,
                        std::string_view place); // UTF-8 to UCS-2
std::vector<std::uint8_t> ReadDevicePath(const MachineDescription& machine, const Json& value,
                                         std::string_view place);
EFI_STATUS ReadStatus(const MachineDescription& machine, const Json& value,
                      std::string_view place); // "EFI_NOT_FOUND" or a number

// A text from a file as an error shows it: at most `most` characters, "..." when there are more,
// and control characters as \u0000.
std::string Excerpt(std::string_view utf8, std::size_t most = 80);

std::u16string ToUcs2(std::string_view utf8);
std::string ToUtf8(std::u16string_view ucs2);
std::string ToHex(const void* data, std::size_t size); // upper case, no blanks

} // namespace sim
