#include "core/BdsInterface.h"
#include "core/DriverState.h"
#include "core/HookPoints.h"
#include "kelm/BdsInterfaceProtocol.h"
#include "library/firmware/Measurement.h"
#include "sim/firmware/HandleDatabase.h"
#include "tests/driver/DriverBoot.h"

#include <gtest/gtest.h>

namespace kelm::test {

namespace {

KelmBdsInterfaceProtocol& Installed(sim::Platform& platform) {
    return *static_cast<KelmBdsInterfaceProtocol*>(
        platform.handles->FindFirst(gKelmBdsInterfaceProtocolGuid));
}

} // namespace

TEST(BdsInterface, ServesItsSlots) {
    const sim::BootResult result = RunInFirmware("{}", [](sim::Platform& platform) {
        BdsInstallInterface();
        KelmBdsInterfaceProtocol& bds = Installed(platform);
        bds.NoOperation();
        bds.EnumerateBootOptions();
        EXPECT_EQ(bds.BootByOptionNumber(0x1234, 0), EFI_INVALID_PARAMETER) << "no such option";
        EXPECT_EQ(bds.BootByDevicePath(nullptr), EFI_INVALID_PARAMETER);
        EXPECT_EQ(bds.SetInventoryRebuildRequest(TRUE), EFI_SUCCESS);
        EXPECT_TRUE(gDriver.boot.inventoryRebuildRequested);
        EXPECT_EQ(bds.SetInventoryRebuildRequest(FALSE), EFI_SUCCESS);
        EXPECT_FALSE(gDriver.boot.inventoryRebuildRequested);
    });
    EXPECT_EQ(result.violations, std::vector<std::string>{});
}

TEST(BdsInterface, BootingAPathLeavesNothingBehind) {
    const sim::BootResult result = RunInFirmware("{}", [](sim::Platform& platform) {
        BdsInstallInterface();
        StartMeasurement("BDS", nullptr); // a boot attempt ends it
        UINT8 path[] = {2, 1, 12, 0, 0xD0, 0x41, 0x03, 0x0A, 0, 0, 0, 0, 0x7F, 0xFF, 4, 0};
        const auto before = platform.arena->LiveBlocks().size();
        const EFI_STATUS status =
            Installed(platform).BootByDevicePath(reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(path));
        EXPECT_TRUE(EFI_ERROR(status)) << "there is nothing to start on a root bridge";
        EXPECT_EQ(platform.arena->LiveBlocks().size(), before);
        path[2] = 3; // a node shorter than its header
        EXPECT_TRUE(EFI_ERROR(Installed(platform).BootByDevicePath(
            reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(path))));
        EXPECT_EQ(platform.arena->LiveBlocks().size(), before);
    });
    EXPECT_EQ(result.violations, std::vector<std::string>{});
}

TEST(BdsInterface, RemembersF2UntilHotKeysAreActedOn) {
    RunInFirmware("{}", [](sim::Platform& platform) {
        BdsInstallInterface();
        KelmBdsInterfaceProtocol& bds = Installed(platform);
        EXPECT_EQ(bds.SignalEnterSetup(), EFI_SUCCESS);
        EXPECT_EQ(gDriver.boot.hotKey, HotKey::F2Setup);
        gDriver.boot.hotKey = HotKey::None;
        gDriver.boot.hotKeysDone = true;
        static_cast<void>(bds.SignalEnterSetup());
        EXPECT_EQ(gDriver.boot.hotKey, HotKey::None) << "setup is entered at once";
    });
}

TEST(HookPoints, StayOnOneHandleHoweverOftenTheyAreSignalled) {
    const EFI_GUID first{1, 2, 3, {}};
    const EFI_GUID second{4, 5, 6, {}};
    const sim::BootResult result = RunInFirmware("{}", [&](sim::Platform& platform) {
        for (int i = 0; i < 3; ++i) {
            BdsSignalHookPoint(first);
        }
        BdsSignalHookPoint(second);
        BdsSignalHookPoint(first);
        const auto handles = platform.handles->WithProtocol(first);
        ASSERT_EQ(handles.size(), 1u);
        EXPECT_EQ(handles, platform.handles->WithProtocol(second));
        EXPECT_EQ(handles[0], gDriver.core.hookHandle);
        EXPECT_EQ(platform.handles->Find(handles[0], first), nullptr);
    });
    EXPECT_EQ(result.violations, std::vector<std::string>{});
}

} // namespace kelm::test
