// Device paths as text and back (UEFI 2.10, section 10.6), for logs, screens and machine files.
//
// Text that is printed without displayOnly reads back to the same bytes, except for what the
// standard's text leaves out: reserved fields, the ports of IPv4 and IPv6 nodes, the difference
// between their older short nodes and the full ones, and a null behind an iSCSI name or a USB
// serial number. A node of an unknown kind, with a length that is wrong for its kind or with values
// that have no words prints in the general form of its type: HardwarePath, AcpiPath, Msg,
// MediaPath, BbsPath (subtype, data) or Path(type, subtype, data), with decimal numbers and
// hexadecimal data.
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

struct DevicePathTextOptions {
    bool displayOnly = false;    // the shorter forms that need not read back: IPv4(remote)
    bool allowShortcuts = false; // names for well-known vendor GUIDs: VenVt100()
};

// Writes the text and a null, cut to what fits; returns the characters that the whole text has
// without the null. Nothing when path is null or no valid path within maxSize bytes.
std::optional<size_t> DevicePathToText(const EFI_DEVICE_PATH_PROTOCOL* path, size_t maxSize,
                                       std::span<char16_t> out,
                                       const DevicePathTextOptions& options = {});

// The same for one node; an end node has no text.
std::optional<size_t> DeviceNodeToText(const EFI_DEVICE_PATH_PROTOCOL* node, size_t maxSize,
                                       std::span<char16_t> out,
                                       const DevicePathTextOptions& options = {});

struct DevicePathParse {
    EFI_STATUS status;    // EFI_SUCCESS, or:
                          // EFI_INVALID_PARAMETER: the text is bad at errorPosition
                          // EFI_BUFFER_TOO_SMALL: the result takes size bytes
    size_t size;          // bytes of the result; 0 when the text is bad
    size_t errorPosition; // index of a character in the text
};

// Reads nodes separated by '/', instances by ','. Keywords are read in either case; numbers are
// decimal, or hexadecimal with 0x; arguments may be written name=value. Text that is no keyword
// with parentheses is a file path node. The result ends with an end-entire node; an empty text
// gives just that. out is valid only on EFI_SUCCESS.
DevicePathParse DevicePathFromText(std::u16string_view text, std::span<UINT8> out);

// One node, without an end node; the empty text is bad.
DevicePathParse DeviceNodeFromText(std::u16string_view text, std::span<UINT8> out);

} // namespace kelm
