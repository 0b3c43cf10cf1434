// Load options as bytes (EFI_LOAD_OPTION, UEFI 2.10, section 3.1.3): what stands in the variables
// Boot####. Nothing here allocates or needs firmware, and nothing is read outside of the bytes
// given, whatever they hold.
#pragma once

#include "library/pure/Bytes.h"
#include "library/pure/DevicePath.h"
#include "uefi/Base.h"

#include <array>
#include <optional>
#include <span>
#include <string_view>

namespace kelm {

// Marks of this system in the high bits of a load option's attributes.
inline constexpr UINT32 kLoadOptionEnumerated = 0x80000000; // made for a device that was found
inline constexpr UINT32 kLoadOptionLegacy = 0x40000000;
inline constexpr UINT32 kLoadOptionOsPositionFixed = 0x10000000; // an OS option, already placed
// With the mark above: its move to that place has begun and may not have been made.
inline constexpr UINT32 kLoadOptionOsPositionPending = 0x20000000;

// The parts of an option, in place.
struct LoadOptionView {
    UINT32 attributes; // LOAD_OPTION_*
    Ucs2Bytes description;
    // All of the file path list. It may hold more than the path that is booted.
    std::span<const UINT8> filePathList;
    // The first path in it, checked, up to and with its end node.
    std::span<const UINT8> devicePath;
    std::span<const UINT8> optionalData; // perhaps empty

    // Unaligned; valid as a whole.
    const EFI_DEVICE_PATH_PROTOCOL* path() const {
        return reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(devicePath.data());
    }
};

// The parts of the option whose variable holds `variable`. Nothing when the bytes are no load
// option: too few, a description without its NUL, a file path list that does not fit or that does
// not begin with a valid device path.
std::optional<LoadOptionView> ParseLoadOption(std::span<const UINT8> variable);

struct LoadOptionParts {
    UINT32 attributes;
    std::u16string_view description;
    std::span<const UINT8> filePathList;
    std::span<const UINT8> optionalData;
};

// Writes the bytes of an option to `out` when they fit, and returns how many there are. 0 when the
// file path list is longer than an option can say (65535 bytes).
size_t FormatLoadOption(std::span<UINT8> out, const LoadOptionParts& parts);

// The name of option `number`, NUL included: "Boot00AB".
using BootOptionName = std::array<CHAR16, 9>;
BootOptionName MakeBootOptionName(UINT16 number);

} // namespace kelm
