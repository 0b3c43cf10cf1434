#include "bootopt/BootType.h"
#include "bootopt/LegacyOptionKind.h"
#include "bootopt/LegacyOptionServices.h"
#include "bootopt/ReservedDescription.h"
#include "core/DriverState.h"
#include "kelm/BdsInterfaceProtocol.h"
#include "kelm/Variables.h"
#include "library/firmware/Services.h"
#include "sim/firmware/VariableService.h"
#include "tests/driver/DriverBoot.h"
#include "tests/driver/OptionBytes.h"
#include "uefi/GlobalVariable.h"

#include <gtest/gtest.h>

namespace kelm::test {

namespace {

const Bytes kEnd = {0x7F, 0xFF, 4, 0};

Bytes Join(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// A BIOS boot specification node and the end; `text` is its description.
Bytes BbsPath(UINT16 type, std::string_view text) {
    Bytes node = {5, 1};
    Put(node, 8 + text.size() + 1, 2);
    Put(node, type, 2);
    Put(node, 0, 2);
    node.insert(node.end(), text.begin(), text.end());
    node.push_back(0);
    return Join(node, kEnd);
}

// {D6C0639F-C705-4EB9-AA4F-5802D8823DE6}
const Bytes kHardDiskGroup = {1,    4,    20,   0,    0x9F, 0x63, 0xC0, 0xD6,
                              0x05, 0xC7, 0xB9, 0x4E, 0xAA, 0x4F, 0x58, 0x02,
                              0xD8, 0x82, 0x3D, 0xE6, 0x7F, 0xFF, 4,    0};

Bytes DeviceRecord(const Bytes& path, std::u16string_view description) {
    Bytes record(79, 0xAA);
    Put(record, path.size(), 2);
    record.insert(record.end(), path.begin(), path.end());
    for (const char16_t character : description) {
        Put(record, character, 2);
    }
    Put(record, 0, 2);
    return record;
}

} // namespace

TEST(BootType, IsToldByTheFirstNodeThatTells) {
    const struct {
        const char16_t* path;
        UINT32 type;
    } rows[] = {
        {u"PciRoot(0x0)/Pci(0x1F,0x0)/Floppy(0x0)", 0x0201},
        {u"Acpi(PNP0A03,0x0)/Acpi(PNP0604,0x1)/HD(1,MBR,0x12345678,0x3F,0x1000)", 0x0201},
        {u"PciRoot(0x0)/Pci(0x1F,0x1)/Ata(Primary,Master,0x0)", 0x0301},
        {u"PciRoot(0x0)/Pci(0x1,0x0)/Scsi(0x1,0x0)", 0x0302},
        {u"PciRoot(0x0)/Pci(0x14,0x0)/USB(0x1,0x0)", 0x0305},
        {u"PciRoot(0x0)/Pci(0x14,0x0)/USB(0x1,0x0)/USB(0x2,0x0)/Unit(0x1)", 0x0305},
        {u"VenMsg(00112233-4455-6677-8899-AABBCCDDEEFF)", 0x030A},
        {u"PciRoot(0x0)/Pci(0x2,0x0)/MAC(001122334455,0x1)", 0x030B},
        {u"PciRoot(0x0)/MAC(001122334455,0x1)/IPv4(0.0.0.0)", 0x030B},
        {u"PciRoot(0x0)/MAC(001122334455,0x1)/IPv6(::)", 0x030B},
        {u"PciRoot(0x0)/MAC(001122334455,0x1)/Vlan(7)", 0x030B},
        {u"PciRoot(0x0)/MAC(001122334455,0x1)/IPv4(0.0.0.0)/Uri()", 0x03FF},
        {u"PciRoot(0x0)/Sata(0x0,0xFFFF,0x0)", 0x0312},
        {u"PciRoot(0x0)/Fibre(0x1,0x0)", 0x03FF},
        {u"PciRoot(0x0)/Sata(0x0,0xFFFF,0x0)/HD(1,MBR,0x12345678,0x3F,0x1000)", 0x0401},
        {u"HD(1,MBR,0x12345678,0x3F,0x1000)/\\EFI\\BOOT\\BOOTX64.EFI", 0x0401},
        {u"PciRoot(0x0)/USB(0x1,0x0)/CDROM(0x1,0x21,0x2000)", 0x0402},
        {u"BBS(HD,abc)", 0x0501},
        {u"PciRoot(0x0)/USB(0x1,0x0)/\\file", 0xFFFF}, // the messaging node does not end the path
        {u"PciRoot(0x0)/Pci(0x1,0x0)", 0xFFFF},
        {u"", 0xFFFF},
        {u"PciRoot(0x0)/USB(0x1,0x0),HD(1,MBR,0x12345678,0x3F,0x1000)", 0x0305},
    };
    for (const auto& row : rows) {
        const Bytes path = PathOf(row.path);
        EXPECT_EQ(
            UINT32(BdsGetBootType(reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(path.data()))),
            row.type)
            << std::string(row.path, row.path + std::char_traits<char16_t>::length(row.path));
    }
    EXPECT_EQ(UINT32(BdsGetBootType(nullptr)), 0xFFFFu);
    // Nodes that are shorter than their kind.
    const Bytes shortAcpi = Join({2, 1, 4, 0}, kEnd);
    EXPECT_EQ(
        UINT32(BdsGetBootType(reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(shortAcpi.data()))),
        0xFFFFu);
    const Bytes extended =
        Join({2, 2, 19, 0, 0xD0, 0x41, 4, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, kEnd);
    EXPECT_EQ(
        UINT32(BdsGetBootType(reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(extended.data()))),
        0x0201u);
}

TEST(ReservedDescriptions, AreFoundAnywhereInATextInAnyCase) {
    for (const CHAR16* text :
         {u"System UEFI Shell", u"the VIRTUAL OPTICAL DRIVE 2", u"virtual floppy drive",
          u"Virtual Disk 1", u"xVirtual Network Filex", u"VSTASH media", u"Hard Drive C:",
          u"generic usb boot"}) {
        EXPECT_TRUE(BdsIsReservedDescription(text));
    }
    for (const CHAR16* text : {u"", u"Virtual", u"Virtual  Disk", u"Hard drive C", u"Virtual Dis",
                               u"System UEFI Shel", static_cast<const CHAR16*>(nullptr)}) {
        EXPECT_FALSE(BdsIsReservedDescription(text));
    }
}

TEST(LegacyOptions, AreToldByTheFirstNodeOfTheirPath) {
    const Bytes disk = PathOf(u"PciRoot(0x0)/Sata(0x0,0xFFFF,0x0)");
    Bytes otherVendor = kHardDiskGroup;
    otherVendor[4] ^= 1;
    const struct {
        const char* what;
        Bytes path;
        EFI_STATUS status;
        UINT16 type;
    } rows[] = {
        {"floppy", BbsPath(1, "A"), EFI_SUCCESS, 1},
        {"disk", BbsPath(2, ""), EFI_SUCCESS, 2},
        {"network", BbsPath(0x80, "PXE"), EFI_SUCCESS, 0x80},
        {"disk group", kHardDiskGroup, EFI_SUCCESS, 2},
        {"another vendor", otherVendor, EFI_INVALID_PARAMETER, 0},
        {"UEFI", disk, EFI_INVALID_PARAMETER, 0},
        {"not first", Join(Bytes(disk.begin(), disk.end() - 4), BbsPath(2, "")),
         EFI_INVALID_PARAMETER, 0},
        {"empty path", kEnd, EFI_INVALID_PARAMETER, 0},
        {"node without a type", Join({5, 1, 4, 0}, kEnd), EFI_INVALID_PARAMETER, 0},
        {"vendor node without a vendor", Join({1, 4, 4, 0}, kEnd), EFI_INVALID_PARAMETER, 0},
        {"malformed", Bytes{5, 1, 0, 0}, EFI_NOT_FOUND, 0},
    };
    RunInFirmware("{}", [&](sim::Platform& platform) {
        for (const auto& row : rows) {
            Store(platform, u"Boot0001", OptionBytes(1, u"Option", row.path, {1, 2}));
            UINT16 type = 0;
            EXPECT_EQ(BdsGetLegacyOptionType(1, &type), row.status) << row.what;
            EXPECT_EQ(type, row.type) << row.what;
            EXPECT_EQ(BdsIsLegacyOption(1), row.status == EFI_SUCCESS) << row.what;
            UINTN count = 7;
            EXPECT_EQ(BdsCountLegacyOptionRecords(1, &count), row.status) << row.what;
            EXPECT_EQ(count, 0u) << row.what;
        }
        UINTN count = 7;
        EXPECT_FALSE(BdsIsLegacyOption(2));
        EXPECT_EQ(BdsCountLegacyOptionRecords(2, &count), EFI_NOT_FOUND);
        EXPECT_EQ(count, 0u);

        // The first hard disk of an order that also names what is not there and what is not legacy.
        const auto find = [&](const Bytes& order) {
            Store(platform, u"BootOrder", order);
            UINT16 number = 0x5555;
            const EFI_STATUS status =
                BdsFindFirstLegacyHddOption(kBootOrderName, &gEfiGlobalVariableGuid, &number);
            EXPECT_EQ(status, number == 0x5555 ? EFI_NOT_FOUND : EFI_SUCCESS);
            return number;
        };
        Store(platform, u"Boot0001", OptionBytes(1, u"UEFI", disk));
        Store(platform, u"Boot0002", OptionBytes(1, u"Floppy", BbsPath(1, "A")));
        Store(platform, u"Boot0003", OptionBytes(0, u"Hard drive C:", kHardDiskGroup));
        Store(platform, u"Boot0004", OptionBytes(1, u"Disk", BbsPath(2, "C")));
        EXPECT_EQ(find({9, 0, 1, 0, 2, 0, 4, 0, 3, 0}), 4);
        EXPECT_EQ(find({9, 0, 3, 0, 4, 0}), 3);
        EXPECT_EQ(find({1, 0, 2, 0, 3}), 0x5555) << "half a number is none";
        UINT16 number = 0;
        EXPECT_EQ(
            BdsFindFirstLegacyHddOption(u"LegacyBootOrder", &gKelmSystemVariableGuid, &number),
            EFI_NOT_FOUND);
    });
}

TEST(LegacyOptions, CountTheirCompleteDeviceRecords) {
    const Bytes records[] = {DeviceRecord(PathOf(u"PciRoot(0x0)/Pci(0x1,0x0)"), u"first"),
                             DeviceRecord({}, u""), // the least that a record takes
                             DeviceRecord(Bytes(33, 1), u"third")};
    Bytes all;
    std::vector<std::size_t> ends;
    for (const Bytes& record : records) {
        all = Join(all, record);
        ends.push_back(all.size());
    }
    RunInFirmware("{}", [&](sim::Platform& platform) {
        for (std::size_t size = 0; size <= all.size(); ++size) {
            const Bytes data(all.begin(), all.begin() + std::ptrdiff_t(size));
            Store(platform, u"Boot0001", OptionBytes(1, u"Hard drive C:", kHardDiskGroup, data));
            UINTN count = 0;
            EXPECT_EQ(BdsCountLegacyOptionRecords(1, &count), EFI_SUCCESS);
            EXPECT_EQ(count, UINTN(std::upper_bound(ends.begin(), ends.end(), size) - ends.begin()))
                << size;
        }
    });
}

namespace {

EFI_STATUS EFIAPI FakeSetOrder(UINT16 optionNumber, const UINT16* indexes, UINTN count) {
    return optionNumber == 3 && count == 2 && indexes[1] == 8 ? EFI_SUCCESS : EFI_ABORTED;
}
EFI_STATUS EFIAPI FakeGetEntry(UINT16 bbsIndex, void** entry) {
    *entry = reinterpret_cast<void*>(UINTN(bbsIndex));
    return EFI_WARN_STALE_DATA;
}
EFI_STATUS EFIAPI FakeGetDescription(UINT16 bbsIndex, CHAR16** description) {
    *description = reinterpret_cast<CHAR16*>(UINTN(bbsIndex));
    return EFI_SUCCESS;
}

} // namespace

TEST(LegacyOptions, ReachTheirDevicesThroughTheInterfaceProtocol) {
    RunInFirmware("{}", [](sim::Platform&) {
        const UINT16 indexes[] = {7, 8};
        void* entry = &entry;
        CHAR16* description = reinterpret_cast<CHAR16*>(&entry);
        EXPECT_EQ(SetLegacyOptionDeviceOrder(3, indexes, 2), EFI_NOT_FOUND);
        EXPECT_EQ(GetLegacyDeviceEntry(5, &entry), EFI_NOT_FOUND);
        EXPECT_EQ(GetLegacyDeviceDescription(6, &description), EFI_NOT_FOUND);
        EXPECT_EQ(entry, nullptr);
        EXPECT_EQ(description, nullptr);

        static KelmBdsInterfaceProtocol fake;
        fake.SetLegacyOptionDeviceOrder = FakeSetOrder;
        fake.GetLegacyDeviceEntry = FakeGetEntry;
        fake.GetLegacyDeviceDescription = FakeGetDescription;
        EFI_HANDLE handle = nullptr;
        ASSERT_EQ(gBS->InstallMultipleProtocolInterfaces(&handle, &gKelmBdsInterfaceProtocolGuid,
                                                         &fake, nullptr),
                  EFI_SUCCESS);
        EXPECT_EQ(SetLegacyOptionDeviceOrder(3, indexes, 2), EFI_SUCCESS);
        EXPECT_EQ(GetLegacyDeviceEntry(5, &entry), EFI_WARN_STALE_DATA);
        EXPECT_EQ(GetLegacyDeviceDescription(6, &description), EFI_SUCCESS);
        EXPECT_EQ(entry, reinterpret_cast<void*>(5));
        EXPECT_EQ(description, reinterpret_cast<CHAR16*>(6));
        EXPECT_EQ(gDriver.bootOpt.bdsInterface, &fake) << "located once";
    });
}

} // namespace kelm::test
