// Bytes from outside as a device path, and as the text of one: nothing may be read out of bounds,
// and what prints must read back.

#include "library/pure/DevicePath.h"
#include "fuzz/Require.h"
#include "library/pure/DevicePathText.h"

#include <vector>

namespace {

using fuzz::Require;

// The text of the path that a text stands for.
std::vector<char16_t> TextReadBack(const std::vector<char16_t>& text) {
    std::vector<UINT8> path(65536);
    const kelm::DevicePathParse parse = kelm::DevicePathFromText({text.data(), text.size()}, path);
    const auto* start = reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(path.data());
    Require(parse.status == EFI_SUCCESS);
    const auto length = kelm::DevicePathToText(start, parse.size, {});
    Require(length.has_value());
    std::vector<char16_t> again(*length + 1);
    static_cast<void>(kelm::DevicePathToText(start, parse.size, again));
    again.pop_back();
    return again;
}

void TryAsPath(const std::vector<UINT8>& bytes) {
    const auto* path = reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(bytes.data());
    if (bytes.empty() || !kelm::IsDevicePathValid(path, bytes.size())) {
        return;
    }
    for (const bool displayOnly : {false, true}) {
        const kelm::DevicePathTextOptions options{.displayOnly = displayOnly,
                                                  .allowShortcuts = displayOnly};
        const auto length = kelm::DevicePathToText(path, bytes.size(), {}, options);
        Require(length.has_value());
        std::vector<char16_t> text(*length + 1);
        static_cast<void>(kelm::DevicePathToText(path, bytes.size(), text, options));
        text.pop_back();
        Require(displayOnly || text == TextReadBack(text));
    }
    for (const EFI_DEVICE_PATH_PROTOCOL* cursor = path; kelm::NextInstance(cursor);) {
    }
}

void TryAsText(const std::vector<UINT8>& bytes) {
    std::u16string_view text(reinterpret_cast<const char16_t*>(bytes.data()), bytes.size() / 2);
    const std::vector<char16_t> aligned(text.begin(), text.end());
    std::vector<UINT8> out(4096);
    const kelm::DevicePathParse parse =
        kelm::DevicePathFromText({aligned.data(), aligned.size()}, out);
    const auto* path = reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(out.data());
    Require(parse.status != EFI_SUCCESS || kelm::IsDevicePathValid(path, parse.size));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, size_t size) {
    const std::vector<UINT8> bytes(data, data + size); // exactly as large, for the sanitizer
    TryAsPath(bytes);
    TryAsText(bytes);
    return 0;
}
