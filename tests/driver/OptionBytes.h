// Boot options, orders and device paths as bytes, put together by hand: what the driver writes and
// reads is compared with these.
#pragma once

#include "bootopt/LoadOption.h"
#include "library/pure/DevicePath.h"
#include "sim/firmware/Arena.h"
#include "sim/firmware/VariableService.h"
#include "tests/driver/DeviceHandles.h"
#include "tests/driver/DriverBoot.h"
#include "uefi/DevicePath.h"
#include "uefi/GlobalVariable.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace kelm::test {

using Bytes = std::vector<std::uint8_t>;
using Numbers = std::vector<UINT16>;

inline void Put(Bytes& bytes, std::uint64_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i) {
        bytes.push_back(std::uint8_t(value >> 8 * i));
    }
}

// The variable Boot####. `pathSize` stands in it instead of the size of the path.
inline Bytes OptionBytes(UINT32 attributes, std::u16string_view description, const Bytes& path,
                         const Bytes& optionalData = {},
                         std::optional<UINT16> pathSize = std::nullopt) {
    Bytes bytes;
    Put(bytes, attributes, 4);
    Put(bytes, pathSize.value_or(UINT16(path.size())), 2);
    for (const char16_t character : description) {
        Put(bytes, character, 2);
    }
    Put(bytes, 0, 2);
    bytes.insert(bytes.end(), path.begin(), path.end());
    bytes.insert(bytes.end(), optionalData.begin(), optionalData.end());
    return bytes;
}

inline Bytes BytesOfPath(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const auto bytes = DevicePathBytes(path);
    return {bytes.begin(), bytes.end()};
}

inline Bytes AsBytes(const Numbers& numbers) {
    Bytes bytes;
    for (const UINT16 number : numbers) {
        Put(bytes, number, 2);
    }
    return bytes;
}

// The option that a record holds, as bytes.
inline Bytes BytesOf(const BootOptionRecord& record) {
    return OptionBytes(record.Attribute, record.Description, BytesOfPath(record.DevicePath),
                       {record.LoadOptions, record.LoadOptions + record.LoadOptionsSize});
}

// The content of a variable, if there is one.
inline std::optional<Bytes> Stored(sim::Platform& platform, const char16_t* name,
                                   const EFI_GUID& guid = gEfiGlobalVariableGuid) {
    const sim::StoredVariable* found = platform.variables->Find(name, guid);
    return found == nullptr ? std::nullopt : std::optional<Bytes>(found->data);
}

// Writes a variable behind the driver's back, with the attributes that it would use.
inline void Store(sim::Platform& platform, const char16_t* name, const Bytes& bytes,
                  const EFI_GUID& guid = gEfiGlobalVariableGuid) {
    const UINT32 attributes = guid == gEfiGlobalVariableGuid ? 7 : 3;
    ASSERT_EQ(platform.variables->Write(name, guid, attributes, bytes.data(), bytes.size()),
              EFI_SUCCESS);
}

// Runs `body` and expects that it leaves no memory behind and breaks no rule.
inline void RunWithoutLeak(const std::function<void(sim::Platform&)>& body) {
    const sim::BootResult result = RunInFirmware("{}", [&](sim::Platform& platform) {
        const auto before = platform.arena->LiveBlocks().size();
        body(platform);
        EXPECT_EQ(platform.arena->LiveBlocks().size(), before);
    });
    EXPECT_EQ(result.violations, std::vector<std::string>{});
}

} // namespace kelm::test
