// Which boot options the driver tries, in the booted driver: requests for one boot, the boot order
// over several power-ons, and what the user is asked when nothing boots.

#include "boot/AttributeBoot.h"
#include "boot/OneTimeBoot.h"
#include "core/DriverState.h"
#include "kelm/BiosBootInterfaceProtocol.h"
#include "kelm/BootTaskTypes.h"
#include "kelm/Variables.h"
#include "library/firmware/Measurement.h"
#include "platform/Connect.h"
#include "tests/driver/OptionBytes.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

namespace kelm::test {

namespace {

using Names = std::vector<std::string>;

constexpr char kGlobal[] = "8BE4DF61-93CA-11D2-AA0D-00E098032B8C";
constexpr char kBds[] = "55E1FC65-A898-4214-A8A9-1AE839CD329A";
constexpr char kLastPhase[] = "[BDS] Process Hot Keys"; // before the one-time requests
constexpr char kFailed[] = "Boot Failed: ";
constexpr char kNoDevice[] = "No boot device available or Operating System detected. ";
constexpr char kAdvice[] = "Please ensure a compatible bootable media is available.";
constexpr std::uint64_t kSecond = 1'000'000; // microseconds

// Programs on the disk of the server.
const std::u16string kDisk = u"PciRoot(0x2)/Pci(0x2,0x0)/Pci(0x0,0x0)/Scsi(0xEF,0x0)/"
                             u"HD(1,GPT,6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6,0x800,0x100000)/";
const std::u16string kSystem = kDisk + u"\\system.efi"; // starts an operating system
const std::u16string kTool = kDisk + u"\\tool.efi";     // returns success
const std::u16string kBroken = kDisk + u"\\broken.efi"; // returns an error

struct Option {
    UINT16 number;
    std::u16string path;
    UINT32 attributes = LOAD_OPTION_ACTIVE;
};

std::string Hex(const Bytes& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += fmt::format("{:02X}", byte);
    }
    return text;
}

Bytes TextBytes(std::u16string_view text) {
    Bytes bytes;
    for (const char16_t character : text) {
        Put(bytes, character, 2);
    }
    return bytes;
}

// The default server with the programs, these options and this order, and more changes.
std::string Machine(const std::vector<Option>& options, const Numbers& order,
                    std::string_view changes = "{}") {
    sim::Json machine = sim::Json::parse(R"json({
        "devices": {"system-disk": {"partitions": [{
            "number": 1, "signature": "6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6",
            "start": 2048, "blocks": 1048576, "files": {
                "\\system.efi": {"payload": "os-loader"},
                "\\tool.efi": {"payload": "success"},
                "\\broken.efi": {"payload": "failure"}}}]}},
        "variables": {"Boot0000-8BE4DF61-93CA-11D2-AA0D-00E098032B8C": null}})json");
    sim::Json& variables = machine["variables"];
    for (const Option& option : options) {
        const Bytes bytes = OptionBytes(option.attributes, u"Option", PathOf(option.path));
        variables[fmt::format("Boot{:04X}-{}", option.number, kGlobal)] = {{"hex", Hex(bytes)}};
    }
    variables[fmt::format("BootOrder-{}", kGlobal)] = {{"hex", Hex(AsBytes(order))}};
    machine.merge_patch(sim::Json::parse(changes));
    return machine.dump();
}

// A variable of the machine, for the changes of Machine().
std::string Variable(std::string_view name, std::string_view guid, const Bytes& bytes,
                     unsigned attributes) {
    return fmt::format(R"("{}-{}": {{"attributes": {}, "hex": "{}"}})", name, guid, attributes,
                       Hex(bytes));
}

// Files of the programs that the last boot started, in order.
Names Started(const DriverBoot& boot) {
    Names files;
    for (const sim::Json& event : boot.Events("image")) {
        const std::string path = event.at("path");
        if (event.at("op") == "start" && path.rfind('\\') != path.npos) {
            files.push_back(path.substr(path.rfind('\\') + 1));
        }
    }
    return files;
}

// When the last boot printed a text.
std::vector<std::uint64_t> Printed(const DriverBoot& boot, std::string_view text) {
    std::vector<std::uint64_t> times;
    for (const sim::Json& event : boot.Events("screen")) {
        if (event.at("text").get<std::string>().find(text) != std::string::npos) {
            times.push_back(event.at("t"));
        }
    }
    return times;
}

bool Holds(const DriverBoot& boot, std::u16string_view name, const EFI_GUID& guid) {
    return boot.server.store.Find(name, guid) != nullptr;
}

void SetBootNext(DriverBoot& boot, const Bytes& bytes) {
    ASSERT_TRUE(boot.server.store.Set({u"BootNext", gEfiGlobalVariableGuid, 7, bytes}));
}

} // namespace

// ---- The boot order

TEST(DefaultBoot, TriesActiveOptionsInOrderAtEveryPowerOn) {
    DriverBoot boot(Machine({{0, kBroken}, {1, kTool, 0}, {3, kSystem}}, {0, 1, 2, 3}));
    for (unsigned powerOn = 1; powerOn <= 3; ++powerOn) {
        SCOPED_TRACE(powerOn);
        if (powerOn == 2) {
            SetBootNext(boot, {1, 0}); // counts although the option is not active
        }
        EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::OsStarted);
        EXPECT_EQ(Started(boot), powerOn == 2 ? Names({"tool.efi", "broken.efi", "system.efi"})
                                              : Names({"broken.efi", "system.efi"}));
        EXPECT_EQ(boot.Logged("BDS: Boot via UEFI BootNext - Success\n", 0x440), powerOn == 2);
        EXPECT_EQ(Printed(boot, "Available Actions").size(), 0u) << "asked although one boots";
        EXPECT_FALSE(Holds(boot, u"BootNext", gEfiGlobalVariableGuid));
        const Names codes = boot.StatusCodes();
        EXPECT_EQ(std::count(codes.begin(), codes.end(), "0x03051007"), 1);
    }
}

TEST(DefaultBoot, BeginsAnewWhenAnImageReturnsSuccess) {
    DriverBoot boot(Machine({{0, kBroken}, {1, kTool}, {3, kSystem}}, {0, 1, 3}));
    EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::TimeLimit);
    const Names started = Started(boot);
    ASSERT_GE(started.size(), 4u);
    for (std::size_t i = 0; i < started.size(); ++i) {
        EXPECT_EQ(started[i], i % 2 == 0 ? "broken.efi" : "tool.efi");
    }
    EXPECT_TRUE(Printed(boot, "Available Actions").empty());
}

TEST(DefaultBoot, AsksOnceMoreWhenEveryOptionFailed) {
    DriverBoot boot(Machine({{0, kBroken}, {1, kDisk + u"\\gone.efi"}}, {0, 1},
                            R"({"attributes": {"BootSeqRetry": "Disabled"},
                                "keys": [{"at": 4500, "key": "F1"}, {"at": 30000, "key": "F1"}]})"));
    EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::WaitingForKey);
    // The key that was pressed during the last attempt does not count.
    EXPECT_EQ(Started(boot), Names({"broken.efi", "broken.efi"}));
    EXPECT_EQ(Printed(boot, kFailed).size(), 4u);
    const std::vector<std::uint64_t> asked = Printed(boot, kNoDevice);
    ASSERT_EQ(asked.size(), 2u);
    EXPECT_LT(asked[0], 30 * kSecond);
    EXPECT_GT(asked[1], 30 * kSecond);
}

TEST(DefaultBoot, TellsHowTheLastBootEnded) {
    const struct {
        UINT16 result;
        const char* title;
        std::size_t advised; // in the first prompt and in the one that follows
    } kCases[] = {{1, "No PXE-capable device available.", 2}, {2, kFailed, 2}, {7, kNoDevice, 1}};
    for (const auto& [result, title, advised] : kCases) {
        SCOPED_TRACE(result);
        DriverBoot boot(R"({"attributes": {"BootSeqRetry": "Disabled"},
                            "keys": [{"at": 5000, "key": "F1"}]})");
        boot.AfterPhase(kLastPhase, [last = result] { gDriver.launch.lastBootResult = last; });
        EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::WaitingForKey);
        EXPECT_EQ(Printed(boot, "Available Actions").size(), 2u);
        EXPECT_EQ(Printed(boot, title).size(), 1u);
        EXPECT_EQ(Printed(boot, kAdvice).size(), advised);
        ASSERT_EQ(Printed(boot, kNoDevice).size(), 1u);
        EXPECT_EQ(Printed(boot, kNoDevice)[0], 5 * kSecond);
    }
}

// ---- The prompt

TEST(BootFailPrompt, EndsWithTheKeysThatItOffers) {
    const struct {
        const char* key;
        bool ends;
    } kCases[] = {{"F1", true},   {"F2", true}, {"F11", true},    {"F12", false}, {"F3", false},
                  {"Esc", false}, {"a", false}, {"Enter", false}, {"Up", false}};
    for (const auto& [key, ends] : kCases) {
        SCOPED_TRACE(key);
        DriverBoot boot(fmt::format(R"({{"attributes": {{"BootSeqRetry": "Disabled"}},
                                         "keys": [{{"at": 5000, "key": "{}"}}]}})",
                                    key));
        EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::WaitingForKey);
        EXPECT_EQ(Printed(boot, kNoDevice).size(), ends ? 2u : 1u);
    }
}

TEST(BootFailPrompt, WaitsAsTheSettingSays) {
    {
        DriverBoot boot(R"({"keys": [{"at": 10000, "key": "F12"}]})"); // "Enabled"
        EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::TimeLimit);
        const std::vector<std::uint64_t> asked = Printed(boot, kNoDevice);
        ASSERT_EQ(asked.size(), 2u);
        EXPECT_GE(asked[1] - asked[0], 30 * kSecond);
        EXPECT_LT(asked[1] - asked[0], 31 * kSecond);
    }
    {
        DriverBoot boot(R"({"attributes": {"BootSeqRetry": null}})");
        EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::WaitingForKey);
        EXPECT_EQ(Printed(boot, kNoDevice).size(), 1u);
    }
    {
        DriverBoot boot(R"({"attributes": {"BootSeqRetry": "Reset"}})");
        EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::ResetCold);
        EXPECT_EQ(Printed(boot, kAdvice).size(), 1u) << "says why before it resets";
        EXPECT_TRUE(Printed(boot, "Available Actions").empty());
    }
}

TEST(BootFailPrompt, WarnsWhenNoUsbPortIsOn) {
    for (const char* setting : {"AllOff", "AllOn", "AllOffDynamic"}) {
        DriverBoot boot(fmt::format(
            R"({{"attributes": {{"BootSeqRetry": "Disabled", "UsbPorts": "{}"}}}})", setting));
        EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::WaitingForKey);
        EXPECT_EQ(Printed(boot, "Local keyboard may not work").size(),
                  std::string_view(setting) == "AllOff" ? 1u : 0u)
            << setting;
    }
}

TEST(BootFailPrompt, OffersTheForgelineKeyOnlyWhenNothingHidesIt) {
    const std::string locked =
        fmt::format(R"("variables": {{{}}})", Variable("ConfigLockDetect", kBds, {1}, 2));
    const struct {
        std::string changes;
        ForgelineRequest request;
        bool offered;
    } kCases[] = {
        {R"("policies": {})", ForgelineRequest::Available, true},
        {R"("policies": {})", ForgelineRequest::Inventory, true},
        {R"("policies": {})", ForgelineRequest::Disabled, false},
        {R"("policies": {"35": 1})", ForgelineRequest::Available, false},
        {R"("controller": {"info": {"f10Hidden": true}})", ForgelineRequest::Available, false},
        {R"("pcds": {"3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000028": {"value": 4}})",
         ForgelineRequest::Available, false},
        {locked, ForgelineRequest::Available, false},
    };
    for (const auto& [changes, request, offered] : kCases) {
        SCOPED_TRACE(changes);
        DriverBoot boot(fmt::format(R"({{"attributes": {{"BootSeqRetry": "Disabled"}},
                                         "keys": [{{"at": 5000, "key": "F10"}}], {}}})",
                                    changes));
        boot.AfterPhase(kLastPhase, [state = request] { gDriver.boot.forgelineRequest = state; });
        // The controller's part of POST is over: the tool is entered through a reset.
        EXPECT_EQ(boot.PowerOn().reason,
                  offered ? sim::EndReason::ResetWarm : sim::EndReason::WaitingForKey);
        EXPECT_EQ(Printed(boot, "F11 for Boot Manager").size(), 1u);
        EXPECT_EQ(Printed(boot, "F10 for Forgeline").size(), offered ? 1u : 0u);
        EXPECT_EQ(Printed(boot, "Rebooting to enter Forgeline").size(), offered ? 1u : 0u);
    }
}

// ---- Requests for one boot

TEST(OneTimeBoot, StartsTheDeviceOfSetupOnce) {
    const std::u16string fqdd = u"RAID.Integrated.1";
    const std::u16string path = u"[BootPath:" + kTool + u"]";
    Bytes odd = TextBytes(fqdd + path);
    odd.push_back(0x41);
    const struct {
        const char* what;
        const char* mode;
        Bytes device;
        const char* status;
        Names started;
    } kCases[] = {
        {"a path",
         "OneTimeUefiBootSeq",
         TextBytes(fqdd + path + u'\0'),
         "Success",
         {"tool.efi", "system.efi"}},
        {"no terminator, odd size",
         "OneTimeUefiBootSeq",
         odd,
         "Success",
         {"tool.efi", "system.efi"}},
        {"attributes that do not end",
         "OneTimeUefiBootSeq",
         TextBytes(fqdd + u"-1[BootPath:"),
         nullptr,
         {"system.efi"}},
        {"another sub-index",
         "OneTimeUefiBootSeq",
         TextBytes(fqdd + u"-2" + path),
         "Success",
         {"system.efi"}},
        {"a path of no option",
         "OneTimeUefiBootSeq",
         TextBytes(fqdd + u"[BootPath:" + kBroken + u"]"),
         "Success",
         {"system.efi"}},
        {"one byte", "OneTimeUefiBootSeq", {0x52}, "Success", {"system.efi"}},
        {"no device", "OneTimeUefiBootSeq", {}, "Not Found", {"system.efi"}},
        {"other boot mode",
         "OneTimeBootSeq",
         TextBytes(fqdd + path),
         "Unsupported",
         {"system.efi"}},
        {"disks of the other boot mode",
         "OneTimeHddSeq",
         TextBytes(fqdd + path),
         "Unsupported",
         {"system.efi"}},
        {"a mode that is none", "", TextBytes(fqdd + path), "Unsupported", {"system.efi"}},
        {"no request", "Disabled", TextBytes(fqdd + path), "Success", {"system.efi"}},
    };
    for (const auto& [what, mode, device, status, started] : kCases) {
        SCOPED_TRACE(what);
        const std::string variables =
            device.empty() ? "" : Variable("OneTimeBootDevice", kBds, device, 3);
        DriverBoot boot(Machine(
            {{3, kSystem}, {0xFFFF, kTool}}, {3, 0xFFFF},
            fmt::format(R"({{"attributes": {{"OneTimeBootMode": "{}"}}, "variables": {{{}}}}})",
                        mode, variables)));
        EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::OsStarted);
        EXPECT_EQ(Started(boot), started);
        // Without a path, the first option of the device is meant: the system, which does not
        // return.
        const bool found = status == nullptr || started.size() == 2;
        if (status != nullptr) {
            EXPECT_TRUE(
                boot.Logged(fmt::format("BDS: BdsProcessHiiOneTimeBoot - {}\n", status), 0x400));
        }
        EXPECT_EQ(boot.Logged("BDS: HII 1-time boot attributes\n", 0x440), found);
        EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::OsStarted);
        EXPECT_EQ(Started(boot), Names({"system.efi"})) << "asked for once";
        EXPECT_TRUE(boot.Logged("BDS: BdsProcessHiiOneTimeBoot - Success\n", 0x400));
    }
}

TEST(OneTimeBoot, TakesTheFirstOptionForTheLegacyDisks) {
    DriverBoot boot(Machine(
        {{0, kBroken}, {3, kSystem}}, {0, 3},
        fmt::format(R"json({{"attributes": {{"OneTimeBootMode": "OneTimeBootSeq"}},
            "devices": {{"disks": {{"kind": "controller", "path": "PciRoot(0x7)",
                "location": "Hard drive C:", "fqdd": "HardDisk.List.1-1"}}}},
            "variables": {{{}}}}})json",
                    Variable("OneTimeBootDevice", kBds, TextBytes(u"HardDisk.List.1"), 3))));
    boot.AfterPhase(kLastPhase, [] { gDriver.boot.bootMode = kBootModeBios; });
    EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::OsStarted);
    // Its failure is told before the boot order begins.
    EXPECT_EQ(Started(boot), Names({"broken.efi", "broken.efi", "system.efi"}));
    EXPECT_EQ(Printed(boot, "Available Actions").size(), 1u);
    EXPECT_TRUE(Printed(boot, kNoDevice).empty());
}

TEST(OneTimeBoot, AnEarlierAttemptDropsEveryRequest) {
    const std::string variables =
        Variable("OneTimeBootDevice", kBds, TextBytes(u"RAID.Integrated.1-1"), 3) + ", " +
        Variable("BootNext", kGlobal, {1, 0}, 7);
    DriverBoot boot(Machine({{1, kTool}, {3, kSystem}}, {3, 1},
                            fmt::format(R"({{"attributes": {{"OneTimeBootMode":
                                "OneTimeUefiBootSeq"}}, "variables": {{{}}}}})",
                                        variables)));
    boot.AfterPhase(kLastPhase, [] { gDriver.launch.bootAttempted = true; });
    for (int powerOn = 0; powerOn < 2; ++powerOn) {
        EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::OsStarted);
        EXPECT_EQ(Started(boot), Names({"system.efi"}));
        EXPECT_FALSE(boot.Logged("BDS: HII 1-time boot attributes\n", 0x440));
        EXPECT_FALSE(Holds(boot, u"BootNext", gEfiGlobalVariableGuid));
        boot.ForgetChanges();
    }
}

namespace {

// Whether the last boot has deleted the variable, or reset the setting, that makes a request.
bool IsTakenBack(const DriverBoot& boot, std::string_view request) {
    for (const char* kind : {"variable", "attribute"}) {
        for (const sim::Json& event : boot.Events(kind)) {
            if (event.at("name") == request && event.at("op") != "get" &&
                event.at("status") == "EFI_SUCCESS") {
                return true;
            }
        }
    }
    return false;
}

} // namespace

// A request is taken back before it is acted on: wherever the power fails, it is not acted on
// twice, and as long as it stands it is honoured by the next boot.
TEST(OneTimeBoot, IsNotRepeatedAfterAPowerCutAtAnyWrite) {
    const std::string bootNext =
        fmt::format(R"("variables": {{{}}})", Variable("BootNext", kGlobal, {1, 0}, 7));
    const std::string setup = fmt::format(
        R"("attributes": {{"OneTimeBootMode": "OneTimeUefiBootSeq"}}, "variables": {{{}}})",
        Variable("OneTimeBootDevice", kBds,
                 TextBytes(u"RAID.Integrated.1[BootPath:" + kTool + u"]"), 3));
    for (const auto& [name, request] :
         {std::pair("BootNext", bootNext), {"OneTimeBootMode", setup}}) {
        for (const char* call : {"SetVariable", "KelmAttributeProtocol.SetValue"}) {
            unsigned acted = 0; // cuts behind the request
            for (unsigned nth = 1;; ++nth) {
                SCOPED_TRACE(fmt::format("{} {} {}", name, call, nth));
                DriverBoot boot(Machine(
                    {{1, kTool}, {3, kSystem}}, {3, 1},
                    fmt::format(
                        R"({{"faults": [{{"call": "{}", "nth": {}, "powerCut": true}}], {}}})",
                        call, nth, request)));
                static_cast<void>(boot.PowerOn());
                const bool cut = !boot.Events("power-failure").empty();
                if (!cut) {
                    EXPECT_EQ(Started(boot), Names({"tool.efi", "system.efi"}));
                    break;
                }
                const bool takenBack = IsTakenBack(boot, name);
                const bool first = Started(boot) == Names({"tool.efi"});
                EXPECT_TRUE(takenBack || !first);
                acted += first;
                boot.server.machine.root["faults"] = sim::Json::array();
                EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::OsStarted);
                const bool second = Started(boot) == Names({"tool.efi", "system.efi"});
                EXPECT_EQ(second, !takenBack);
            }
            EXPECT_TRUE(acted > 0 || call != std::string("SetVariable"));
        }
    }
}

TEST(BootNext, ThatNamesNothingIsForgotten) {
    const struct {
        Bytes bytes;
        const char* status;
        bool found; // a number that can be told
    } kCases[] = {{{7, 0}, "Not Found", true},
                  {{1}, "Not Found", false},
                  {{1, 0, 0}, "Not Found", false},
                  {{}, "Not Found", false}};
    for (const auto& [bytes, status, found] : kCases) {
        SCOPED_TRACE(Hex(bytes));
        DriverBoot boot(Machine({{1, kTool}, {3, kSystem}}, {3, 1}));
        SetBootNext(boot, bytes);
        EXPECT_EQ(boot.PowerOn().reason, sim::EndReason::OsStarted);
        EXPECT_EQ(Started(boot), Names({"system.efi"}));
        EXPECT_EQ(boot.Logged("BdsBootNext: found BootNext=0007\n", 0x44), found);
        EXPECT_TRUE(boot.Logged(fmt::format("BDS: BdsBootNext - {}\n", status), 0x400));
        EXPECT_FALSE(Holds(boot, u"BootNext", gEfiGlobalVariableGuid));
    }
}

namespace {

// The tool that boots a path for one boot.
struct PathBooter {
    static EFI_STATUS Boot(const char* slot) {
        calls.push_back(slot);
        pending =
            sim::Platform::Current().variables->Find(kVariableBootNextDevicePath.name,
                                                     *kVariableBootNextDevicePath.guid) != nullptr;
        return EFI_LOAD_ERROR;
    }
    static EFI_STATUS EFIAPI Legacy(KelmBiosBootInterfaceProtocol*, EFI_DEVICE_PATH_PROTOCOL*) {
        return Boot("legacy");
    }
    static EFI_STATUS EFIAPI Uefi(KelmBiosBootInterfaceProtocol*, EFI_DEVICE_PATH_PROTOCOL*) {
        return Boot("UEFI");
    }
    static inline KelmBiosBootInterfaceProtocol protocol = {nullptr, Legacy, nullptr, Uefi};
    static inline std::vector<const char*> calls;
    static inline bool pending = false; // the request stood when the tool was called
};

} // namespace

TEST(BiosBootInterface, GetsThePathThatWasTakenBack) {
    const Bytes path = PathOf(u"PciRoot(0x0)");
    const struct {
        Bytes path;
        UINT32 mode;
        bool deletable;
        EFI_STATUS status;
        std::vector<const char*> calls;
    } kCases[] = {
        {{}, kBootModeUefi, true, EFI_SUCCESS, {}},
        {path, kBootModeUefi, true, EFI_LOAD_ERROR, {"UEFI"}},
        {path, kBootModeBios, true, EFI_LOAD_ERROR, {"legacy"}},
        {path, kBootModeUefi, false, EFI_DEVICE_ERROR, {}},
        {Bytes(path.begin(), path.end() - 4), kBootModeUefi, true, EFI_INVALID_PARAMETER, {}},
        {{2}, kBootModeUefi, true, EFI_INVALID_PARAMETER, {}},
    };
    for (const auto& [bytes, mode, deletable, status, calls] : kCases) {
        SCOPED_TRACE(Hex(bytes));
        PathBooter::calls.clear();
        sim::Trace trace;
        RunClean(
            deletable ? "{}" : R"({"faults": [{"call": "SetVariable"}]})",
            [&](sim::Platform& platform) {
                const KelmVariable& variable = kVariableBootNextDevicePath;
                EXPECT_EQ(BdsBootViaBiosBootInterface(), EFI_NOT_FOUND);
                Serve(PathBooter::protocol);
                if (!bytes.empty()) {
                    Store(platform, variable.name, bytes, *variable.guid);
                }
                gDriver.boot.bootMode = mode;
                EXPECT_EQ(BdsBootViaBiosBootInterface(), status);
                EXPECT_EQ(Stored(platform, variable.name, *variable.guid).has_value(), !deletable);
            },
            &trace);
        EXPECT_EQ(PathBooter::calls, calls);
        EXPECT_FALSE(PathBooter::pending);
        const std::vector<sim::Json> lines = trace.EventsOf("debug");
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                                [](const sim::Json& line) {
                                    return line.at("text") == "BDS: Boot via BIOS interface\n" &&
                                           line.at("level") == 0x440;
                                }),
                  std::ptrdiff_t(calls.size()));
    }
}

TEST(AttributeBoot, TellsOfATextThatIsNoPath) {
    for (const char* text : {"PciRoot(0x0)/Pci(", "PciRoot(0x0)/Pci(0x1,zero)", "HD(1,GPT,"}) {
        sim::Trace trace;
        const sim::BootResult result = RunInFirmware(
            fmt::format(R"json({{"extends": "empty", "attributes": {{
                "OneTimeUefiBootPath": "{}"}}}})json",
                        text),
            [](sim::Platform&) {
                EXPECT_EQ(BdsProcessAttributeBoot(), EFI_INVALID_PARAMETER);
                EXPECT_EQ(gDriver.launch.lastBootResult, 2);
                EXPECT_FALSE(gDriver.launch.bootAttempted);
            },
            &trace);
        EXPECT_EQ(result.violations, std::vector<std::string>{});
        EXPECT_EQ(result.screen.at(0), "Boot Failed: invalid device path from attribute.");
        ASSERT_EQ(trace.EventsOf("debug").size(), 1u);
        EXPECT_EQ(trace.EventsOf("debug")[0].at("level"), 0x80000004u);
    }
}

TEST(AttributeBoot, StartsThePath) {
    for (const char* value : {R"("")", "null", ""}) {
        const bool boots = *value == '\0';
        sim::Json changes = sim::Json::parse(
            fmt::format(R"({{"attributes": {{"OneTimeUefiBootPath": {}}}}})", boots ? "0" : value));
        if (boots) {
            changes["attributes"]["OneTimeUefiBootPath"] = std::string(kTool.begin(), kTool.end());
        }
        sim::Trace trace;
        RunClean(
            Machine({}, {}, changes.dump()),
            [&](sim::Platform&) {
                PathBytes path = PathOf(kTool);
                static_cast<void>(BdsConnectDevicePath(AsPath(path)));
                StartMeasurement("BDS", nullptr); // a boot attempt ends it
                EXPECT_EQ(BdsProcessAttributeBoot(), EFI_SUCCESS);
                EXPECT_EQ(gDriver.launch.bootAttempted, boots);
                EXPECT_EQ(gDriver.launch.lastBootResult, 0);
            },
            &trace);
        EXPECT_EQ(trace.Text().find("BDS: Process Attribute Boot - PciRoot(0x2)/") !=
                      std::string::npos,
                  boots);
    }
}

} // namespace kelm::test
