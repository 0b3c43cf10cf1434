// Bytes from outside as the variable of a boot option: exactly the well-formed ones are read, their
// parts lie where they have to, and writing the parts gives the same bytes.

#include "bootopt/LoadOptionFormat.h"
#include "fuzz/Require.h"
#include "library/pure/DevicePathText.h"

#include <string>
#include <vector>

namespace {

using fuzz::Require;
using Bytes = std::vector<UINT8>;

constexpr std::size_t kFixedSize = 6; // attributes and the size of the file path list

// The rules once more, by offsets: where the file path list begins, or 0 for no load option.
std::size_t FilePathOffset(const Bytes& bytes) {
    if (bytes.size() < kFixedSize) {
        return 0;
    }
    const std::size_t listSize = std::size_t(bytes[4] + bytes[5] * 256);
    for (std::size_t at = kFixedSize; at + 2 <= bytes.size(); at += 2) {
        if (bytes[at] != 0 || bytes[at + 1] != 0) {
            continue;
        }
        const std::size_t list = at + 2;
        const bool fits = listSize <= bytes.size() - list;
        const auto* path = reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(bytes.data() + list);
        return fits && kelm::IsDevicePathValid(path, listSize) ? list : 0;
    }
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, size_t size) {
    const Bytes bytes(data, data + size); // exactly as large, for the sanitizer
    const auto option = kelm::ParseLoadOption(bytes);
    const std::size_t list = FilePathOffset(bytes);
    Require(option.has_value() == (list != 0));
    if (!option) {
        return 0;
    }

    std::u16string description;
    for (std::size_t i = 0; i < option->description.size(); ++i) {
        description += option->description[i];
    }
    Require(description.find(u'\0') == description.npos);
    Require(description.size() * 2 + kFixedSize + 2 == list);
    Require(option->filePathList.data() == bytes.data() + list);
    Require(option->devicePath.data() == option->filePathList.data());
    Require(option->devicePath.size() == kelm::DevicePathSizeOf(option->filePathList));
    Require(kelm::DevicePathToText(option->path(), option->devicePath.size(), {}).has_value());

    const kelm::LoadOptionParts parts{option->attributes, description, option->filePathList,
                                      option->optionalData};
    Bytes written(bytes.size());
    Require(kelm::FormatLoadOption(written, parts) == bytes.size());
    Require(written == bytes);

    // One byte less room: the size is told all the same, and nothing is written behind the end.
    Bytes tooSmall(bytes.size() - 1);
    Require(kelm::FormatLoadOption(tooSmall, parts) == bytes.size());
    return 0;
}
