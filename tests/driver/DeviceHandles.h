// Devices for tests of what works on handles and paths: a device path on a handle of its own,
// without a driver or a bus underneath.
#pragma once

#include "library/firmware/Services.h"
#include "library/pure/DevicePathText.h"
#include "tests/driver/DriverBoot.h"
#include "uefi/DevicePath.h"

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <string_view>
#include <vector>

namespace kelm::test {

using PathBytes = std::vector<UINT8>;

// The path that a text spells.
inline PathBytes PathOf(std::u16string_view text) {
    PathBytes bytes(1024);
    const DevicePathParse parse = DevicePathFromText(text, bytes);
    EXPECT_EQ(parse.status, EFI_SUCCESS);
    bytes.resize(parse.size);
    return bytes;
}

inline EFI_DEVICE_PATH_PROTOCOL* AsPath(PathBytes& bytes) {
    return reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(bytes.data());
}

// Keeps the paths of its handles; it must outlive the boot.
class DeviceHandles {
public:
    // A new handle with the path and, when asked for, another protocol; without an interface it is
    // one that nobody calls.
    EFI_HANDLE Add(std::u16string_view path, const EFI_GUID* protocol = nullptr,
                   void* interface = nullptr) {
        PathBytes& bytes = paths_.emplace_back(PathOf(path));
        EFI_HANDLE handle = nullptr;
        Install(&handle, &gEfiDevicePathProtocolGuid, bytes.data());
        if (protocol != nullptr) {
            Install(&handle, protocol, interface != nullptr ? interface : bytes.data());
        }
        return handle;
    }

private:
    static void Install(EFI_HANDLE* handle, const EFI_GUID* protocol, void* interface) {
        EXPECT_EQ(gBS->InstallMultipleProtocolInterfaces(handle, protocol, interface, nullptr),
                  EFI_SUCCESS);
    }

    std::deque<PathBytes> paths_;
};

// Installs a protocol of the test's own.
template <class Protocol>
inline void Serve(Protocol& protocol) {
    EFI_HANDLE handle = nullptr;
    EXPECT_EQ(gBS->InstallMultipleProtocolInterfaces(&handle, ProtocolGuid<Protocol>::value,
                                                     &protocol, nullptr),
              EFI_SUCCESS);
}

// Runs `body` in place of the driver and expects that it misuses nothing.
inline void RunClean(std::string_view machine, const std::function<void(sim::Platform&)>& body,
                     sim::Trace* trace = nullptr) {
    const sim::BootResult result = RunInFirmware(machine, body, trace);
    EXPECT_EQ(result.violations, std::vector<std::string>{});
}

// Runs `work` and expects that all memory which it allocates is freed again.
inline void ExpectNoLeak(sim::Platform& platform, const std::function<void()>& work) {
    const auto start = platform.arena->NextSequence();
    work();
    EXPECT_TRUE(platform.arena->LiveBlocks(start).empty());
}

} // namespace kelm::test
