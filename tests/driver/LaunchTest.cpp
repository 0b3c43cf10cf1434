// One boot attempt from its first step to its last: in the whole driver, and piece by piece.

#include "boot/BootReports.h"
#include "boot/Launcher.h"
#include "boot/PageZero.h"
#include "core/BdsInterface.h"
#include "core/DriverState.h"
#include "kelm/BdsInterfaceProtocol.h"
#include "kelm/BootAttemptProtocols.h"
#include "kelm/PlaceholderGuids.h"
#include "kelm/Variables.h"
#include "library/firmware/Measurement.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"
#include "platform/Connect.h"
#include "sim/firmware/HandleDatabase.h"
#include "sim/firmware/PageTables.h"
#include "sim/firmware/SimulatedCpu.h"
#include "tests/driver/OptionMachine.h"
#include "uefi/LoadedImage.h"
#include "uefi/WatchdogTimerArch.h"

#include <algorithm>

namespace kelm::test {

namespace {

using Texts = std::vector<std::string>;

constexpr char kDisk[] = "PciRoot(0x2)/Pci(0x2,0x0)/Pci(0x0,0x0)/Scsi(0xEF,0x0)";
constexpr UINT64 kPageZeroInUse = 0x7FF0000000000003;
constexpr UINT64 kPageZeroOnce = 0x0010000000000003; // counted once, present and writable

// The default machine with these files on the first partition of its disk.
std::string Machine(const std::string& files, const std::vector<Option>& options,
                    const std::string& rest = "") {
    return fmt::format(R"({{"devices": {{"system-disk": {{"partitions": [
        {{"number": 1, "signature": "6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6", "start": 2048,
          "blocks": 1048576, "files": {{{}}}}}]}}}}, "variables": {{{}}}{}}})",
                       files, OptionVariables(options), rest);
}

// What a launch does, one line for each step that others see.
std::string Step(const sim::Json& event) {
    const std::string kind = event.at("event");
    const auto text = [&](const char* field) { return event.at(field).get<std::string>(); };
    const auto startsWithOneOf = [](const std::string& line, const Texts& beginnings) {
        return std::any_of(beginnings.begin(), beginnings.end(),
                           [&](const std::string& begin) { return line.starts_with(begin); });
    };
    if (kind == "variable" &&
        startsWithOneOf(text("name"), {"BootCurrent", "BootDevicePath", "AllowNetwork"})) {
        // An address says nothing but whether there is one.
        const bool address = text("name") == "BootDevicePath" && text("op") == "set";
        const std::string zero(16, '0');
        return fmt::format("{} {} {} {}", text("op"), text("name"),
                           event.at("attributes").get<int>(),
                           !address               ? text("data")
                           : text("data") == zero ? "none"
                                                  : "address");
    }
    if (kind == "image") {
        const std::string path = text("path");
        return text("op") + " " + path.substr(path.rfind('\\') + 1) + " " + text("status");
    }
    if (kind == "debug" && startsWithOneOf(text("text"), {"Booting", "Attempting", "BDS: Image",
                                                          "LoadImage", "BDS: Extra Delay"})) {
        const std::string line = text("text");
        return fmt::format("{:X} {}", event.at("level").get<UINT64>(),
                           line.substr(0, line.find('\n')));
    }
    if (kind == "protocol-call" &&
        startsWithOneOf(text("protocol"),
                        {"Attempt", "KelmCpldLock", "KelmManufacturing", "KelmNimborProtocol",
                         "KelmPlatformTpm", "KelmPassword"})) {
        return text("protocol") + "." + text("member");
    }
    if (kind == "status-code") {
        return fmt::format("{:08X}", event.at("value").get<UINT32>());
    }
    if (kind == "measure") {
        return text("edge") + " " + text("token");
    }
    if (kind == "signal") {
        return "signal " + text("guid").substr(0, 8);
    }
    if (kind == "io" && startsWithOneOf(text("op"), {"out8", "invlpg"})) {
        return text("op");
    }
    if (kind == "splash" && text("what") == "off") {
        return "splash off";
    }
    if (kind == "screen" && startsWithOneOf(text("text"), {"Booting from", "Boot Failed"})) {
        return text("text").substr(0, text("text").find('\r'));
    }
    return "";
}

// The steps of the last boot from its first launch on, split at the beginning of each launch.
std::vector<Texts> Launches(const DriverBoot& boot) {
    std::vector<Texts> launches;
    for (const sim::Json& event : boot.trace.Events()) {
        const std::string step = Step(event);
        if (step == "Attempt.BootStarting") {
            launches.emplace_back();
        }
        if (!launches.empty() && !step.empty()) {
            launches.back().push_back(step);
        }
    }
    return launches;
}

Texts Only(const Texts& steps, const Texts& words) {
    Texts found;
    std::copy_if(steps.begin(), steps.end(), std::back_inserter(found), [&](const auto& step) {
        return std::any_of(words.begin(), words.end(), [&](const std::string& word) {
            return step.find(word) != std::string::npos;
        });
    });
    return found;
}

// Two listeners of boot attempts that a machine may have.
void RecordAttempt(const char* member) {
    sim::Platform::Current().trace.Record("protocol-call",
                                          {{"protocol", "Attempt"}, {"member", member}});
}
void AddAttemptListeners() {
    static KelmUefiBootStartProtocol start{nullptr,
                                           [](KelmUefiBootStartProtocol*) EFIAPI -> EFI_STATUS {
                                               RecordAttempt("BootStarting");
                                               return EFI_DEVICE_ERROR; // nobody looks at it
                                           }};
    static KelmReadyToBootNotifyProtocol ready{nullptr, nullptr, nullptr, nullptr,
                                               [](KelmReadyToBootNotifyProtocol*)
                                                   EFIAPI -> EFI_STATUS {
                                                       RecordAttempt("ReadyToBoot");
                                                       return EFI_DEVICE_ERROR;
                                                   }};
    auto& handles = *sim::Platform::Current().handles;
    EFI_HANDLE handle = nullptr;
    handles.Install(&handle, gKelmUefiBootStartProtocolGuid, &start);
    handles.Install(&handle, gKelmReadyToBootNotifyProtocolGuid, &ready);
}

constexpr char kLoaders[] = R"("\\bad.efi": {"payload": "failure"},
                               "\\evil.efi": {"payload": "failure"})";

} // namespace

// ---- The whole attempt

TEST(Launch, TakesItsStepsInOrderAndRepeatsAllButTheControllersOnTheNextAttempt) {
    const std::u16string path = std::u16string(kPartition) + u"/\\bad.efi";
    DriverBoot boot(Machine(kLoaders, {{path}, {.path = path, .optionalData = {1}}},
                            R"(, "attributes": {"UsbPorts": "AllOff", "BootSeqRetry": "Reset"})"));
    boot.BeforeDriver([](sim::Platform&) { AddAttemptListeners(); });
    EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::ResetCold);
    std::vector<Texts> launches = Launches(boot);
    ASSERT_EQ(launches.size(), 2u);
    for (Texts& launch : launches) {
        launch.erase(std::find(launch.begin(), launch.end(), "Boot Failed: An option") + 1,
                     launch.end());
    }
    Texts expected = {
        "Attempt.BootStarting",
        "KelmCpldLockProtocol.GetLockState",
        "KelmCpldLockProtocol.Lock",
        "KelmManufacturingModeProtocol.GetMode",
        "KelmManufacturingModeProtocol.LeavePost",
        "start ForgelineCleanup",
        "end ForgelineCleanup",
        "0381100F",
        "start Rdy2Boot",
        "signal 7CE88FB3",
        "end Rdy2Boot",
        "03051001",
        "440 BDS: Extra Delay 1 second for USB all port off and Dynamic",
        "KelmNimborProtocol.ReadyToBoot",
        "Attempt.ReadyToBoot",
        "out8",
        "Attempt.ReadyToBoot",
        "out8",
        "splash off",
        "end BDS",
        "444 Booting An option",
        "Booting from An option",
        "KelmPlatformTpmProtocol.MeasureBootPath",
        "set BootCurrent 6 0000",
        "set BootDevicePath 7 address",
        "440 Attempting to boot from " + std::string(kDisk) +
            "/HD(1,GPT,6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6,0x800,0x100000)/\\bad.efi",
        "end POST Video Duration",
        "set AllowNetworkConnection 2 01",
        "03058000",
        "load bad.efi EFI_SUCCESS",
        "KelmPasswordProtocol.PasswordEntryBegin",
        "KelmNimborProtocol.BeforeImageStart",
        "invlpg",
        "03058001",
        "start bad.efi EFI_SUCCESS",
        "return bad.efi EFI_LOAD_ERROR",
        "444 BDS: Image Return Status = Load Error",
        "invlpg",
        "KelmPasswordProtocol.PasswordEntryEnd",
        "delete BootCurrent 6 ",
        "delete BootDevicePath 7 ",
        "Boot Failed: An option",
    };
    EXPECT_EQ(launches[0], expected);
    std::erase(expected, "KelmNimborProtocol.ReadyToBoot");
    std::erase(expected, "splash off");
    std::erase(expected, "end BDS"); // both are measured once
    std::erase(expected, "end POST Video Duration");
    std::erase(expected, "KelmCpldLockProtocol.Lock"); // it is locked
    std::replace(expected.begin(), expected.end(), std::string("set BootCurrent 6 0000"),
                 std::string("set BootCurrent 6 0100"));
    EXPECT_EQ(launches[1], expected);
}

TEST(Launch, EveryWayOutTakesTheVariablesOfTheAttemptAway) {
    struct Row {
        std::u16string path;
        Texts steps;
    };
    const Row rows[] = {
        // A file that is not there, on a full path.
        {u"PciRoot(0x2)/Pci(0x2,0x0)/Pci(0x0,0x0)/Scsi(0xEF,0x0)/" + std::u16string(kPartition) +
             u"/\\gone.efi",
         {"set BootCurrent 6 0000", "set BootDevicePath 7 none", "load gone.efi EFI_NOT_FOUND",
          "delete BootCurrent 6 ", "delete BootDevicePath 7 "}},
        // An image that the policy refuses is in memory all the same.
        {std::u16string(kPartition) + u"/\\evil.efi",
         {"set BootCurrent 6 0100", "set BootDevicePath 7 address",
          "load evil.efi EFI_SECURITY_VIOLATION", "unload evil.efi EFI_SUCCESS",
          "404 LoadImage Security Violation and UnloadImage to aviod resource leak.",
          "delete BootCurrent 6 ", "delete BootDevicePath 7 "}},
        // A partition that nobody has.
        {u"HD(7,GPT,00000000-0000-0000-0000-000000000001,0x800,0x100000)/\\bad.efi",
         {"set BootCurrent 6 0200", "set BootDevicePath 7 none", "load bad.efi EFI_NOT_FOUND",
          "delete BootCurrent 6 ", "delete BootDevicePath 7 "}},
        // A network boot device with no device behind it: the attempt ends before it has begun.
        {u"PciRoot(0x9)/Pci(0x9,0x9)", {}},
        {std::u16string(kPartition) + u"/\\bad.efi",
         {"set BootCurrent 6 0400", "set BootDevicePath 7 address", "load bad.efi EFI_SUCCESS",
          "start bad.efi EFI_SUCCESS", "return bad.efi EFI_LOAD_ERROR", "delete BootCurrent 6 ",
          "delete BootDevicePath 7 "}},
    };
    std::vector<Option> options;
    for (const Row& row : rows) {
        options.push_back({row.path});
    }
    DriverBoot boot(Machine(kLoaders, options,
                            std::string(R"(, "attributes": {"BootSeqRetry": "Reset"},
        "security": {"refuse": [")") +
                                kDisk + R"(/HD(1,GPT,6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6,0x800,)" +
                                R"(0x100000)/\\evil.efi"]})"));
    PathBytes marked = PathOf(rows[3].path);
    boot.BeforeDriver([&](sim::Platform& platform) {
        AddAttemptListeners();
        EFI_HANDLE handle = nullptr;
        platform.handles->Install(&handle, gEfiDevicePathProtocolGuid, marked.data());
        platform.handles->Install(&handle, gKelmNetworkBootDeviceMarkerGuid, nullptr);
    });
    boot.AtTheEnd([](sim::Platform& platform) {
        EXPECT_EQ(Stored(platform, kBootCurrentName), std::nullopt);
        EXPECT_EQ(Stored(platform, kVariableBootDevicePath.name, *kVariableBootDevicePath.guid),
                  std::nullopt);
        EXPECT_TRUE(gDriver.launch.bootAttempted);
    });
    EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::ResetCold);
    const std::vector<Texts> launches = Launches(boot);
    ASSERT_EQ(launches.size(), std::size(rows));
    for (std::size_t i = 0; i < launches.size(); ++i) {
        EXPECT_EQ(Only(launches[i], {"BootCurrent", "BootDevicePath", "load ", "LoadImage",
                                     "start bad", "return"}),
                  rows[i].steps)
            << i;
    }
}

TEST(Launch, AnImageThatIsNotLetRunIsUnloaded) {
    DriverBoot boot(Machine(kLoaders, {{std::u16string(kPartition) + u"/\\bad.efi"}},
                            R"(, "attributes": {"BootSeqRetry": "Reset"}, "faults": [
        {"call": "StartImage", "nth": 1, "status": "EFI_SECURITY_VIOLATION"}])"));
    boot.BeforeDriver([](sim::Platform&) { AddAttemptListeners(); });
    EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::ResetCold);
    const std::vector<Texts> launches = Launches(boot);
    ASSERT_EQ(launches.size(), 1u);
    EXPECT_EQ(Only(launches[0], {"load ", "start bad", "unload "}),
              (Texts{"load bad.efi EFI_SUCCESS", "unload bad.efi EFI_SUCCESS"}));
}

TEST(Launch, ARefusedImageIsNamedOnTheScreenHoweverLongItsName) {
    const std::u16string name = std::u16string(290, u'x') + u" the end";
    DriverBoot boot(Machine(kLoaders, {{std::u16string(kPartition) + u"/\\evil.efi", name}},
                            std::string(R"(, "attributes": {"BootSeqRetry": "Disabled"},
        "limits": {"keyWaitSeconds": 5}, "security": {"refuse": [")") +
                                kDisk + "\"]}"));
    const sim::BootResult result = boot.PowerOn();
    EXPECT_EQ(result.reason, sim::EndReason::WaitingForKey);
    // Where its lines are broken does not matter.
    std::string screen;
    for (const sim::Json& event : boot.Events("screen")) {
        screen += event.at("text").get<std::string>();
    }
    std::erase_if(screen, [](char c) { return c == ' ' || c == '\r' || c == '\n'; });
    const std::string xs(290, 'x');
    EXPECT_NE(screen.find("UEFI0073:Unabletoboot" + xs + "theendbecauseoftheSecureBootpolicy." +
                          "BootFailed:" + xs + "theend"),
              std::string::npos)
        << screen;
}

TEST(Launch, ALoaderThatHangsMeetsTheWatchdogAndTheNextPowerOnStartsAfresh) {
    DriverBoot boot(Machine(R"("\\bad.efi": {"payload": "hang"})",
                            {{std::u16string(kPartition) + u"/\\bad.efi"}}));
    sim::ApplySetting(boot.server.machine, "limits.timeSeconds=1000");
    for (int powerOn = 0; powerOn < 2; ++powerOn) {
        EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::ResetCold);
        const auto barks = boot.Events("watchdog");
        ASSERT_EQ(barks.size(), 1u);
        EXPECT_EQ(barks[0].at("seconds"), 300);
        const auto images = boot.Events("image");
        EXPECT_EQ(barks[0].at("t").get<UINT64>() - images.back().at("t").get<UINT64>(), 300000000u)
            << "counted from the start of the image";
        const auto calls = boot.Calls();
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "WatchdogTimer.RegisterHandler"), 1);
    }
}

TEST(Launch, ALaunchOutOfARunningImageLeavesPageZeroToTheOuterOne) {
    DriverBoot boot(Machine(R"("\\menu.efi": {"payload": "nested"},
                               "\\bad.efi": {"payload": "failure"})",
                            {{std::u16string(kPartition) + u"/\\menu.efi"},
                             {std::u16string(kPartition) + u"/\\bad.efi"}},
                            R"(, "attributes": {"BootSeqRetry": "Reset"})"));
    boot.BeforeDriver([](sim::Platform&) { AddAttemptListeners(); });
    boot.AtTheEnd([](sim::Platform& platform) {
        EXPECT_EQ(*platform.pageTables->PageZeroEntry() & kPageZeroInUse, 0u);
        EXPECT_FALSE(gDriver.launch.imageStartActive);
        EXPECT_NE(platform.cpu->PeekControlRegister(0) & 0x10000, 0u) << "write protection";
    });
    EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::ResetCold);
    const auto launches = Launches(boot);
    ASSERT_EQ(launches.size(), 3u) << "the menu, out of it, and the second option itself";
    std::vector<Texts> seen;
    for (const Texts& launch : launches) {
        seen.push_back(Only(launch, {"menu.efi EFI", "bad.efi EFI", "invlpg"}));
    }
    EXPECT_EQ(seen[0],
              (Texts{"load menu.efi EFI_SUCCESS", "invlpg", "start menu.efi EFI_SUCCESS"}));
    EXPECT_EQ(seen[1],
              (Texts{"load bad.efi EFI_SUCCESS", "start bad.efi EFI_SUCCESS",
                     "return bad.efi EFI_LOAD_ERROR", "return menu.efi EFI_LOAD_ERROR", "invlpg"}));
}

// ---- While the image runs

namespace {

// What StartImage is replaced by.
struct Running {
    Bytes optionalData;
    UINT64 pageZero = 0;
    bool active = false;
    std::optional<Bytes> bootCurrent;
    std::u16string path; // that BootDevicePath points to
    UINT64 watchdog = 0; // 100 ns
};
Running mRunning;

EFI_STATUS EFIAPI LookAround(EFI_HANDLE image, UINTN* exitDataSize, CHAR16** exitData) {
    sim::Platform& platform = sim::Platform::Current();
    const auto& info = *ProtocolOnHandle<EFI_LOADED_IMAGE_PROTOCOL>(image);
    const auto* data = static_cast<const UINT8*>(info.LoadOptions);
    mRunning.optionalData.assign(data, data + info.LoadOptionsSize);
    mRunning.pageZero = *platform.pageTables->PageZeroEntry() & kPageZeroInUse;
    mRunning.active = gDriver.launch.imageStartActive;
    mRunning.bootCurrent = Stored(platform, kBootCurrentName);
    if (const auto address =
            Stored(platform, kVariableBootDevicePath.name, *kVariableBootDevicePath.guid)) {
        const EFI_DEVICE_PATH_PROTOCOL* path = nullptr;
        std::memcpy(&path, address->data(), sizeof(path));
        mRunning.path.assign(512, u'\0');
        mRunning.path.resize(
            path == nullptr
                ? 0
                : DevicePathToText(path, DevicePathSize(path), mRunning.path).value_or(0));
    }
    static_cast<void>(FindProtocol<EFI_WATCHDOG_TIMER_ARCH_PROTOCOL>()->GetTimerPeriod(
        FindProtocol<EFI_WATCHDOG_TIMER_ARCH_PROTOCOL>(), &mRunning.watchdog));
    PoolPtr<CHAR16> why = AllocatePool<CHAR16>(2);
    why.get()[0] = u'?';
    why.get()[1] = 0;
    *exitDataSize = 2 * sizeof(CHAR16);
    *exitData = why.release();
    static_cast<void>(gBS->UnloadImage(image));
    return EFI_NOT_READY;
}

} // namespace

TEST(Launch, TheImageFindsItsOptionAndTheWayItWasLoaded) {
    const Bytes optionalData = {1, 2, 3, 4, 5};
    const std::string machine =
        Machine(R"("\\os.efi": {"payload": "success"})",
                {{std::u16string(kPartition) + u"/\\os.efi", u"System", optionalData}});
    const std::u16string full = u"PciRoot(0x2)/Pci(0x2,0x0)/Pci(0x0,0x0)/Scsi(0xEF,0x0)/" +
                                std::u16string(kPartition) + u"/\\os.efi";
    RunClean(machine, [&](sim::Platform& platform) {
        static_cast<void>(BdsConnectAll());
        BdsInstallInterface();
        gBS->StartImage = LookAround;
        gDriver.boot.nullPageDetection = 1;

        StartMeasurement("BDS", nullptr); // a boot attempt ends it
        OwnedBootOption option(BdsReadBootOption(0));
        ASSERT_TRUE(option);
        UINTN size = 7;
        PoolPtr<CHAR16> exitData;
        EXPECT_EQ(BdsLaunchBootOption(option.address(), nullptr, &size, exitData.out()),
                  EFI_NOT_READY);
        EXPECT_EQ(size, 4u);
        EXPECT_EQ(Ucs2View(exitData.get()), u"?");
        EXPECT_EQ(mRunning.optionalData, optionalData);
        EXPECT_EQ(mRunning.pageZero, kPageZeroOnce);
        EXPECT_TRUE(mRunning.active);
        EXPECT_EQ(mRunning.bootCurrent, (Bytes{0, 0}));
        EXPECT_EQ(mRunning.path, full);
        EXPECT_EQ(mRunning.watchdog, 300u * 10000000u);
        UINT64 period = 1;
        auto* watchdog = FindProtocol<EFI_WATCHDOG_TIMER_ARCH_PROTOCOL>();
        EXPECT_EQ(watchdog->GetTimerPeriod(watchdog, &period), EFI_SUCCESS);
        EXPECT_EQ(period, 0u);

        // A path without an option: no number, no data. What an earlier attempt left is gone after.
        mRunning = {};
        Store(platform, kBootCurrentName, {9, 0});
        PathBytes path = PathOf(full);
        StartMeasurement("BDS", nullptr);
        EXPECT_EQ(FindProtocol<KelmBdsInterfaceProtocol>()->BootByDevicePath(AsPath(path)),
                  EFI_NOT_READY);
        EXPECT_EQ(mRunning.optionalData, Bytes());
        EXPECT_EQ(mRunning.bootCurrent, (Bytes{9, 0}));
        EXPECT_EQ(mRunning.path, u"") << "the path was complete";
        EXPECT_EQ(Stored(platform, kBootCurrentName), std::nullopt);
        EXPECT_EQ(gDriver.launch.lastBootResult, kLastBootFailed);

        // Nothing is done for a caller who asks wrongly.
        gDriver.launch.bootAttempted = false;
        size = 7;
        CHAR16* data = const_cast<CHAR16*>(u"");
        BootOptionRecord* none = nullptr;
        for (BootOptionRecord** wrong : {static_cast<BootOptionRecord**>(nullptr), &none}) {
            EXPECT_EQ(BdsLaunchBootOption(wrong, nullptr, &size, &data), EFI_INVALID_PARAMETER);
        }
        EXPECT_EQ(BdsLaunchBootOption(option.address(), &size, &size, &data),
                  EFI_INVALID_PARAMETER);
        EXPECT_EQ(size, 0u);
        EXPECT_EQ(data, nullptr);
        EXPECT_FALSE(gDriver.launch.bootAttempted);
    });
}

TEST(PageZero, OpensAndClosesByCountOnEveryKindOfPageTable) {
    struct Row {
        const char* cpu;
        UINTN answer;
    };
    for (const Row& row :
         {Row{R"({"firstPages": "4K"})", 0},
          Row{R"({"firstPages": "4K", "fiveLevelPaging": true})", 0},
          Row{R"({"firstPages": "2M"})", kPageZeroLargePage2M},
          Row{R"({"firstPages": "1G", "fiveLevelPaging": true})", kPageZeroLargePage1G}}) {
        SCOPED_TRACE(row.cpu);
        RunClean(fmt::format(R"({{"cpu": {}}})", row.cpu), [&](sim::Platform& platform) {
            const UINT64 cr0 = platform.cpu->PeekControlRegister(0);
            UINT64* entry = platform.pageTables->PageZeroEntry();
            EXPECT_EQ(BdsIsPageZeroUnmapped(), row.answer == 0);
            EXPECT_EQ(BdsMakePageZeroAccessible(), row.answer);
            if (row.answer != 0) {
                EXPECT_EQ(BdsMakePageZeroInaccessible(), row.answer);
                EXPECT_EQ(platform.cpu->PeekControlRegister(0), cr0);
                return;
            }
            EXPECT_EQ(BdsMakePageZeroAccessible(), 0u);
            EXPECT_EQ(*entry & kPageZeroInUse, 0x0020000000000003u);
            EXPECT_EQ(platform.cpu->PeekControlRegister(0), cr0 & ~UINT64(0x10000));
            EXPECT_EQ(BdsMakePageZeroInaccessible(), 0u);
            EXPECT_EQ(*entry & kPageZeroInUse, kPageZeroOnce) << "still open for the first one";
            EXPECT_FALSE(BdsIsPageZeroUnmapped());
            EXPECT_EQ(BdsMakePageZeroInaccessible(), 0u);
            EXPECT_TRUE(BdsIsPageZeroUnmapped());
            EXPECT_EQ(platform.cpu->PeekControlRegister(0), cr0);
        });
    }
}

} // namespace kelm::test
