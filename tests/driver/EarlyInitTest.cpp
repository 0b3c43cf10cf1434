#include "core/DriverState.h"
#include "core/FontVolume.h"
#include "kelm/BdsInterfaceProtocol.h"
#include "kelm/PcdTokens.h"
#include "kelm/PlaceholderGuids.h"
#include "library/pure/Crc32.h"
#include "sim/firmware/DxeCore.h"
#include "sim/firmware/HandleDatabase.h"
#include "sim/firmware/PcdDatabase.h"
#include "sim/firmware/VariableService.h"
#include "sim/siblings/Board.h"
#include "strings/Strings.h"
#include "tests/driver/DriverBoot.h"
#include "uefi/DevicePath.h"
#include "uefi/GlobalVariable.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

namespace kelm::test {

namespace {

constexpr char kEarlyInit[] = "[BDS] Early Init";
constexpr char kRemoteClear[] =
    R"("pcds": {"3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000022": {"type": "bool", "value": true}})";

std::vector<sim::Json> Writes(const DriverBoot& boot, std::string_view name) {
    std::vector<sim::Json> writes;
    for (const sim::Json& event : boot.Events("variable")) {
        if (event.at("name") == name) {
            writes.push_back(event);
        }
    }
    return writes;
}

std::uint32_t CrcOf(EFI_TABLE_HEADER* table, std::size_t size) {
    std::vector<UINT8> bytes(size);
    std::memcpy(bytes.data(), table, size);
    EFI_TABLE_HEADER header = *table;
    header.CRC32 = 0;
    std::memcpy(bytes.data(), &header, sizeof(header));
    return Crc32(bytes);
}

} // namespace

TEST(EarlyInit, GivesTheFirmwareItsIdentityAndCorrectChecksums) {
    DriverBoot boot(R"({"board": {"vendor": "Kelm Server Works", "version": [7, 5, 2]}})");
    boot.AtTheEnd([](sim::Platform& platform) {
        const EFI_SYSTEM_TABLE* table = platform.SystemTable();
        EXPECT_EQ(std::u16string(table->FirmwareVendor), u"Kelm Server Works");
        EXPECT_EQ(table->FirmwareRevision, 0x02050701u);
        EXPECT_EQ(table->Hdr.HeaderSize, 120u);
        EXPECT_EQ(table->Hdr.CRC32, CrcOf(&platform.SystemTable()->Hdr, 120));
        EFI_TABLE_HEADER& services = table->BootServices->Hdr;
        EXPECT_EQ(services.CRC32, CrcOf(&services, services.HeaderSize));
    });
    boot.PowerOn();

    DriverBoot nameless(R"({"missing": ["KelmBoardInfoProtocol"]})");
    nameless.AtTheEnd([](sim::Platform& platform) {
        EXPECT_EQ(std::u16string(platform.SystemTable()->FirmwareVendor), u"Kelm");
        EXPECT_EQ(platform.SystemTable()->FirmwareRevision, 1u);
    });
    nameless.PowerOn();
}

TEST(EarlyInit, InstallsTheConfigurationTablesThatHobsCarry) {
    // The second block is empty, the third names no table.
    DriverBoot boot(R"({"hobs": [
        {"guid": "8868E871-E4F1-11D3-BC22-0080C73C8881", "hex": "00100F0000000000"},
        {"guid": "EB9D2D31-2D88-11D3-9A16-0090273FC14D", "hex": ""},
        {"guid": "F2FD1544-9794-4A2C-992E-E5BBCF20E394", "hex": "0000000000000000"},
        {"guid": "EB9D2D2F-2D88-11D3-9A16-0090273FC14D", "hex": "00200F0000000000"}]})");
    boot.AtTheEnd([](sim::Platform& platform) {
        const auto table = [&](UINT32 data1, UINT16 data2, std::array<UINT8, 8> rest) {
            EFI_GUID guid{data1, data2, 0x11D3, {}};
            std::copy(rest.begin(), rest.end(), guid.Data4);
            return reinterpret_cast<UINT64>(platform.core->ConfigurationTable(guid));
        };
        EXPECT_EQ(table(0x8868E871, 0xE4F1, {0xBC, 0x22, 0, 0x80, 0xC7, 0x3C, 0x88, 0x81}),
                  0xF1000u);
        EXPECT_EQ(table(0xEB9D2D31, 0x2D88, {0x9A, 0x16, 0, 0x90, 0x27, 0x3F, 0xC1, 0x4D}), 0u);
        EXPECT_EQ(table(0xEB9D2D2F, 0x2D88, {0x9A, 0x16, 0, 0x90, 0x27, 0x3F, 0xC1, 0x4D}),
                  0xF2000u);
    });
    boot.PowerOn();
}

TEST(EarlyInit, ReadsNullPageDetectionFromItsHob) {
    const std::pair<const char*, int> rows[] = {
        {R"({"hobs": [{"guid": "528F01C0-6F61-4366-B878-FA2D73B409EC", "hex": "0100"}]})", 1},
        {R"({"hobs": [{"guid": "528F01C0-6F61-4366-B878-FA2D73B409EC", "hex": ""}]})", 0},
        {R"({"hobs": []})", 0},
    };
    for (const auto& [machine, expected] : rows) {
        DriverBoot boot(machine);
        int value = -1;
        boot.AfterPhase(kEarlyInit, [&] { value = gDriver.boot.nullPageDetection; });
        boot.PowerOn();
        EXPECT_EQ(value, expected) << machine;
    }
}

TEST(EarlyInit, AcknowledgesARemoteNvramClear) {
    struct Row {
        const char* cpld;
        int registerAfter; // -1: none
        bool warned;
    };
    const Row rows[] = {
        {R"({"accessible": true, "registers": {"0x201": "0x94"}})", 0x84, false},
        {R"({"accessible": true, "registers": {"0x201": "0x94"}, "failWrites": true})", 0x94, true},
        {R"({"accessible": false})", -1, false},
    };
    for (const Row& row : rows) {
        DriverBoot boot(std::string(R"({"cpld": )") + row.cpld + ", " + kRemoteClear + "}");
        boot.AtTheEnd([&](sim::Platform& platform) {
            EXPECT_EQ(platform.pcds->Number(gKelmPlatformPcdTokenSpaceGuid, 0x50000022), 0u);
            if (row.registerAfter >= 0) {
                EXPECT_EQ(platform.Get<sim::Cpld>().Register(0x201), row.registerAfter);
            }
        });
        boot.PowerOn();
        EXPECT_EQ(boot.Logged("Warning: CPLD_REMOTE_NVRAM_CLR_OFFSET.REMOTE_NVRAM_CLR_REQUEST_MASK "
                              "can't be cleared.\n",
                              0x80000000),
                  row.warned);
    }
}

TEST(EarlyInit, WritesItsVariablesAndLocksTheReadOnlyOnes) {
    DriverBoot boot;
    boot.AfterPhase(kEarlyInit, [] {
        sim::Platform& platform = sim::Platform::Current();
        const UINT32 value = 1;
        for (const char16_t* name : {u"LangCodes", u"BootOptionSupport", u"HwErrRecSupport",
                                     u"OsIndicationsSupported", u"ReserveMemFlag"}) {
            const sim::StoredVariable* stored =
                platform.variables->Find(name, gEfiGlobalVariableGuid);
            EXPECT_EQ(platform.variables->Set(name, &gEfiGlobalVariableGuid,
                                              stored != nullptr ? stored->attributes : 6, 4,
                                              &value),
                      EFI_WRITE_PROTECTED);
        }
        const EFI_GUID chipset[] = {
            {0xE8A99903, 0x302C, 0x4851, {0xA6, 0xBE, 0xAB, 0x27, 0x31, 0x87, 0x3B, 0x2F}},
            {0xE6C2F70A, 0xB604, 0x4877, {0x85, 0xBA, 0xDE, 0xEC, 0x89, 0xE1, 0x17, 0xEB}},
            {0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}}};
        const char16_t* names[] = {u"DefSetup", u"PchInit", u"SetupDefault"};
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(platform.variables->Set(names[i], &chipset[i], 3, 4, &value),
                      EFI_WRITE_PROTECTED);
        }
        EXPECT_EQ(platform.variables->Set(u"Other", &gEfiGlobalVariableGuid, 6, 4, &value),
                  EFI_SUCCESS);
    });
    boot.PowerOn();
    EXPECT_TRUE(boot.Logged("[BdsDxe] Locate Variable Policy protocol - Success\n", 0x40));
    const auto timeout = Writes(boot, "Timeout");
    ASSERT_EQ(timeout.size(), 1u);
    EXPECT_EQ(timeout[0].at("attributes"), 7);
    EXPECT_EQ(timeout[0].at("data"), "0000");
    const auto network = Writes(boot, "AllowNetworkConnection");
    ASSERT_FALSE(network.empty());
    EXPECT_EQ(network[0].at("guid"), "B1FF281A-918F-4603-B8D2-125E02299D50");
    EXPECT_EQ(network[0].at("attributes"), 2);
    EXPECT_EQ(network[0].at("data"), "00");
    const auto support = Writes(boot, "BootOptionSupport");
    ASSERT_FALSE(support.empty());
    EXPECT_EQ(support[0].at("attributes"), 6);
    EXPECT_EQ(support[0].at("data"), "10000000");
    EXPECT_EQ(support[0].at("status"), "EFI_WRITE_PROTECTED");

    DriverBoot unlocked(R"({"missing": ["VariablePolicy"]})");
    unlocked.PowerOn();
    EXPECT_TRUE(unlocked.Logged("[BdsDxe] Locate Variable Policy protocol - Not Found\n", 0x40));
    EXPECT_EQ(Writes(unlocked, "Timeout").size(), 1u);
    ASSERT_EQ(Writes(unlocked, "BootOptionSupport").size(), 1u);
    EXPECT_EQ(Writes(unlocked, "BootOptionSupport")[0].at("status"), "EFI_SUCCESS");
}

TEST(EarlyInit, InstallsPlaceholderDevicesStringsAndTheInterface) {
    for (const bool genericUsb : {false, true}) {
        DriverBoot boot(genericUsb ? R"({"attributes": {"GenericUsbBoot": "Enabled"}})"
                                   : R"({"attributes": {"GenericUsbBoot": "Disabled"}})");
        boot.AtTheEnd([&](sim::Platform& platform) {
            const auto markers = platform.handles->WithProtocol(gKelmNetworkBootDeviceMarkerGuid);
            ASSERT_EQ(markers.size(), kNetworkBootPlaceholderCount);
            for (std::size_t i = 0; i < markers.size(); ++i) {
                const auto* path = static_cast<const UINT8*>(
                    platform.handles->Find(markers[i], gEfiDevicePathProtocolGuid));
                ASSERT_NE(path, nullptr);
                UINT8 expected[24] = {1, 4, 20, 0};
                std::memcpy(expected + 4, kNetworkBootPlaceholders[i].guid, 16);
                const UINT8 end[] = {0x7F, 0xFF, 4, 0};
                std::memcpy(expected + 20, end, 4);
                EXPECT_EQ(std::memcmp(path, expected, 24), 0) << i;
            }
            unsigned found = 0;
            for (EFI_HANDLE handle : platform.handles->WithProtocol(gEfiDevicePathProtocolGuid)) {
                const auto* path = static_cast<const UINT8*>(
                    platform.handles->Find(handle, gEfiDevicePathProtocolGuid));
                found += path[0] == 1 && path[1] == 4 &&
                         std::memcmp(path + 4, &gKelmGenericUsbBootGuid, 16) == 0;
            }
            EXPECT_EQ(found, genericUsb ? 1u : 0u);
            const auto* interface = static_cast<const KelmBdsInterfaceProtocol*>(
                platform.handles->FindFirst(gKelmBdsInterfaceProtocolGuid));
            ASSERT_NE(interface, nullptr);
            EXPECT_EQ(interface->Revision, 0x1000u);
        });
        boot.PowerOn();
    }
}

TEST(EarlyInit, SignalsEndOfDxeToItsListenersInOrder) {
    DriverBoot boot;
    boot.PowerOn();
    std::vector<std::string> order;
    for (const sim::Json& event : boot.trace.Events()) {
        if (event.at("event") == "signal") {
            order.push_back(event.at("guid"));
        } else if (event.at("event") == "debug" && event.at("t") < 1'000'000'000 &&
                   event.at("text").get<std::string>().rfind("BDS: ", 0) == 0) {
            order.push_back(event.at("text").get<std::string>() +
                            std::to_string(event.at("level").get<std::uint64_t>()));
        }
    }
    const std::vector<std::string> expected = {
        "BDS: Signal EndOfDxe...\n1088",
        "02CE967A-DD7E-4FFC-9EE7-810CF0470880",
        "BDS: All EndOfDxe callbacks have returned successfully\n1088",
        "BDS: Signal AfterEndOfDxe Event (701C2FBA-98E9-4184-9137-DE395F222AAE)...\n1088",
        "701C2FBA-98E9-4184-9137-DE395F222AAE",
        "BDS: All AfterEndOfDxe callbacks have returned successfully\n1088",
        "BDS: Installing gEfiDxeSmmReadyToLockProtocolGuid ...\n1088",
        "60FF8964-E906-41D0-AFED-F241E974E08E",
        "BDS: Installed gEfiDxeSmmReadyToLockProtocolGuid : Success\n1088",
        "BDS: Signal AfterSmmReadyToLockEvent Event (1C5FDAF2-9FB3-431B-8ECD-B7D35CBEFAE9)...\n"
        "2147484672",
        "1C5FDAF2-9FB3-431B-8ECD-B7D35CBEFAE9",
        "BDS: All AfterSmmReadyToLockEvent callbacks have returned successfully\n2147484672",
    };
    const auto first = std::find(order.begin(), order.end(), expected[0]);
    ASSERT_GE(order.end() - first, static_cast<std::ptrdiff_t>(expected.size()));
    EXPECT_EQ(std::vector<std::string>(first, first + static_cast<std::ptrdiff_t>(expected.size())),
              expected);
}

TEST(FontVolume, IsReadThroughFlashWhereItIsNotMapped) {
    struct Row {
        UINT64 address;
        bool mapped;
    };
    const Row rows[] = {{0x3FFFFFFF, false}, {0x40000000, true},  {0xFE800000, true},
                        {0xFE800001, false}, {0xFEFFFFFF, false}, {0xFF000000, true}};
    for (const Row& row : rows) {
        EXPECT_EQ(IsFlashMemoryMapped(row.address), row.mapped) << row.address;
    }
    sim::Trace trace;
    const auto result = RunInFirmware(
        "{}",
        [](sim::Platform& platform) {
            EXPECT_EQ(BdsLoadFontFv({.address = 0xFE0C0000, .size = 0}), EFI_SUCCESS);
            EXPECT_EQ(gDriver.core.fontFvHandle, nullptr);
            EXPECT_EQ(BdsLoadFontFv(), EFI_SUCCESS);
            EXPECT_NE(gDriver.core.fontFvHandle, nullptr);
            EXPECT_EQ(BdsLoadFontFv(), EFI_ALREADY_STARTED);
            EXPECT_TRUE(platform.handles->IsValid(gDriver.core.fontFvHandle));
        },
        &trace);
    EXPECT_TRUE(result.violations.empty());
    std::vector<std::string> lines;
    for (const sim::Json& event : trace.EventsOf("debug")) {
        lines.push_back(event.at("text"));
    }
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "LoadFontFv, This platform does not need to load FONT_FV manually.\n",
                         "LoadFontFv, MMIO FontFv at 0xFE0C0000\n"}));

    const std::pair<const char*, EFI_STATUS> failures[] = {
        {R"({"missing": ["KelmSpiFlashProtocol"]})", EFI_NOT_FOUND},
        {R"({"faults": [{"call": "KelmSpiFlashProtocol.Read", "nth": 1,
                        "status": "EFI_DEVICE_ERROR"}]})",
         EFI_DEVICE_ERROR},
        {"{}", EFI_VOLUME_CORRUPTED}, // there is no volume at that address
    };
    for (const auto& [machine, expected] : failures) {
        RunInFirmware(machine, [expected = expected](sim::Platform& platform) {
            const auto before = platform.arena->LiveBlocks().size();
            EXPECT_EQ(BdsLoadFontFv({.address = 0xFE900000, .size = 0x1001}), expected);
            EXPECT_EQ(platform.arena->LiveBlocks().size(), before);
            EXPECT_EQ(gDriver.core.fontFvHandle, nullptr);
        });
    }
}

TEST(ChassisCheck, KeepsTheValueOrRegistersAMessageOnASled) {
    const auto machine = [](const char* answer, int code) {
        return std::string(R"({"board": {"chassisCode": )") + std::to_string(code) +
               R"(}, "controller": {"ipmi": [{"netfn": "0x30", "command": "0x12", )" + answer +
               "}]}}";
    };
    DriverBoot good(machine(R"("response": "00112233445566778899AB")", 30));
    good.PowerOn();
    EXPECT_TRUE(good.Logged("IpmiGetChassisConfiguration: Status = 0\r\n", 0x40));
    const auto sets = good.Events("attribute");
    EXPECT_TRUE(std::any_of(sets.begin(), sets.end(), [](const sim::Json& event) {
        return event.at("op") == "set" && event.at("name") == "ChassisSledInfo" &&
               event.value("data", "") == "AB";
    }));

    const char* bad[] = {R"("response": "0011")", R"("status": "EFI_TIMEOUT", "response": "")"};
    for (const char* answer : bad) {
        for (const int code : {30, 7}) {
            DriverBoot boot(machine(answer, code));
            boot.PowerOn();
            EXPECT_EQ(boot.Logged("MSG_INVALID_CHASSIS_SLED_INFO is registerd\n", 0x40),
                      code == 30);
        }
    }
    DriverBoot absent(
        R"({"missing": ["KelmIpmiTransportProtocol"], "board": {"chassisCode": 30}})");
    absent.PowerOn();
    EXPECT_TRUE(absent.Logged("IpmiGetChassisConfiguration: Status = 18\r\n", 0x80000000));
    EXPECT_TRUE(absent.Logged("MSG_INVALID_CHASSIS_SLED_INFO is registerd\n", 0x40));
}

TEST(ChassisCheck, AsksAgainAtTheReportedSize) {
    // 40 bytes do not fit the first 32.
    DriverBoot boot(R"({"controller": {"ipmi": [{"netfn": "0x30", "command": "0x12", "response":
        "000102030405060708095C0B0C0D0E0F101112131415161718191A1B1C1D1E1F2021222324252627"}]}})");
    boot.PowerOn();
    unsigned sent = 0;
    for (const sim::Json& event : boot.Events("ipmi")) {
        sent += event.at("netfn") == 0x30 && event.at("command") == 0x12;
    }
    EXPECT_EQ(sent, 2u);
    const auto sets = boot.Events("attribute");
    EXPECT_TRUE(std::any_of(sets.begin(), sets.end(), [](const sim::Json& event) {
        return event.at("name") == "ChassisSledInfo" && event.value("data", "") == "5C";
    }));
}

} // namespace kelm::test
