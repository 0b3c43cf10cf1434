#include "library/pure/DevicePathText.h"

#include <gtest/gtest.h>

#include <cctype>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<UINT8>;

// Two digits a byte; spaces are for the reader, "text" stands for its ASCII bytes and u"text" for
// UCS-2.
Bytes FromHex(std::string_view hex) {
    Bytes bytes;
    for (size_t i = 0; i < hex.size();) {
        const bool wide = hex[i] == 'u';
        if (hex[i] == ' ') {
            i++;
        } else if (wide || hex[i] == '"') {
            for (i += wide ? 2 : 1; hex[i] != '"'; i++) {
                bytes.push_back(UINT8(hex[i]));
                if (wide) {
                    bytes.push_back(0);
                }
            }
            i++;
        } else {
            bytes.push_back(UINT8(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
            i += 2;
        }
    }
    return bytes;
}

Bytes WithEnd(Bytes nodes) {
    for (const UINT8 byte : {0x7F, 0xFF, 0x04, 0x00}) {
        nodes.push_back(byte);
    }
    return nodes;
}

std::string Narrow(std::u16string_view text) {
    return {text.begin(), text.end()};
}
std::u16string Widen(std::string_view text) {
    return {text.begin(), text.end()};
}

// Prints from and into memory of exactly the size needed; "(invalid)" for a path that has no text.
std::string ToText(const Bytes& path, bool displayOnly = false, bool shortcuts = true) {
    const auto exact = std::make_unique<UINT8[]>(path.size());
    std::copy(path.begin(), path.end(), exact.get());
    const auto* node = reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(exact.get());
    const kelm::DevicePathTextOptions options = {displayOnly, shortcuts};
    const auto length = kelm::DevicePathToText(node, path.size(), {}, options);
    if (!length) {
        return "(invalid)";
    }
    const auto text = std::make_unique<char16_t[]>(*length + 1);
    EXPECT_EQ(kelm::DevicePathToText(node, path.size(), {text.get(), *length + 1}, options),
              length);
    EXPECT_EQ(std::char_traits<char16_t>::length(text.get()), *length);
    return Narrow({text.get(), *length});
}

// Reads into memory of exactly the size needed.
kelm::DevicePathParse FromText(std::u16string_view text, Bytes& path) {
    const auto measured = kelm::DevicePathFromText(text, {});
    EXPECT_NE(measured.status, EFI_SUCCESS); // even an empty path takes four bytes
    path.assign(measured.size, 0);
    return measured.status == EFI_BUFFER_TOO_SMALL ? kelm::DevicePathFromText(text, path)
                                                   : measured;
}

struct Pair {
    const char* text;
    const char* nodes; // without the end node
};

constexpr Pair kPairs[] = {
    // Hardware and ACPI
    {"PciRoot(0x0)/Pci(0x1F,0x2)/Sata(0x0,0xFFFF,0x0)",
     "02010C00 D041030A 00000000 01010600 02 1F 03120A00 0000 FFFF 0000"},
    {"PcieRoot(0x3)", "02010C00 D041080A 03000000"},
    {"Floppy(0x1)/Keyboard(0x0)/Serial(0x2)/ParallelPort(0x0)",
     "02010C00 D0410406 01000000 02010C00 D0410103 00000000 02010C00 D0410105 02000000"
     " 02010C00 D0410104 00000000"},
    {"Acpi(PNP0C08,0x7)/Acpi(0x80861234,0x0)",
     "02010C00 D041080C 07000000 02010C00 34128680 00000000"},
    {"AcpiEx(PNP0A08,PNP0A03,0x5,HID,,UID)",
     "02021900 D041080A 05000000 D041030A \"HID\" 00 \"UID\" 00 00"},
    {"AcpiExp(PNP0A03,0,BR7)", "02021600 D041030A 00000000 00000000 00 \"BR7\" 00 00"},
    {"AcpiAdr(0x80010100,0x80010200)", "02030C00 00010180 00020180"},
    {"NvdimmAcpiAdr(0x1021)", "02040800 21100000"},
    {"PcCard(0x4)/Ctrl(0x2)/BMC(0x1,0xCA2)",
     "01020500 04 01050800 02000000 01060D00 01 A20C000000000000"},
    {"MemoryMapped(0xB,0xFF000000,0xFFFFFFFF)",
     "01031800 0B000000 000000FF00000000 FFFFFFFF00000000"},
    {"VenHw(D6C0639F-C705-4EB9-AA4F-5802D8823DE6)/"
     "VenHw(D6C0639F-C705-4EB9-AA4F-5802D8823DE6,00FFA5)",
     "01041400 9F63C0D605C7B94EAA4F5802D8823DE6 01041700 9F63C0D605C7B94EAA4F5802D8823DE6 00FFA5"},
    // Buses
    {"Ata(Secondary,Master,0x0)/Scsi(0x2,0x1)", "03010800 01 00 0000 03020800 0200 0100"},
    {"Fibre(0x123456789,0x1)", "03031800 00000000 8967452301000000 0100000000000000"},
    {"FibreEx(0x500601603EE01234,0x0001000000000000)",
     "03151800 00000000 500601603EE01234 0001000000000000"},
    {"I1394(00000000DEADBEEF)/I2O(0x1234)/Unit(0x3)",
     "03041000 00000000 EFBEADDE00000000 03060800 34120000 03110500 03"},
    {"USB(0x3,0x1)/UsbWwid(0x951,0x1666,0x0,\"A(1),B\")",
     "03050600 03 01 03101600 0000 5109 6616 u\"A(1),B\""},
    {"UsbHID(0xFFFF,0xFFFF,0x1,0x1)/UsbMassStorage(0x951,0x1666,0x6,0x50)",
     "030F0B00 FFFF FFFF 03 01 01 030F0B00 5109 6616 08 06 50"},
    {"UsbDeviceFirmwareUpdate(0x1,0x2,0x3)/UsbClass(0x1,0x2,0xFE,0x9,0x3)",
     "030F0B00 0100 0200 FE 01 03 030F0B00 0100 0200 FE 09 03"},
    {"SAS(0x5000C50012345678,0x0,0x1,SATA,External,Direct,0x5,0x0)",
     "030A2C00 B4DD87D48B00D911AFDC001083FFCA4D 00000000 7856341200C50050 0000000000000000"
     " 3204 0100"},
    {"SasEx(0x5000C50012345678,0x0000000000000000,0x1,NoTopology,0,0,0)",
     "03161800 5000C50012345678 0000000000000000 0000 0100"},
    {"SasEx(0x5000C50012345678,0x0000000000000000,0x1,SAS,Internal,Expanded,0)/"
     "SasEx(0x5000C50012345678,0x0000000000000000,0x1,0x301,0,0,0)",
     "03161800 5000C50012345678 0000000000000000 4100 0100"
     " 03161800 5000C50012345678 0000000000000000 0103 0100"},
    {"NVMe(0x1,00-25-38-41-11-22-33-44)", "03171000 01000000 4433221141382500"},
    {"UFS(0x0,0x1)/SD(0x0)/eMMC(0x2)", "03190600 00 01 031A0500 00 031D0500 02"},
    {"NVDIMM(D6C0639F-C705-4EB9-AA4F-5802D8823DE6)", "03201400 9F63C0D605C7B94EAA4F5802D8823DE6"},
    {"Uart(115200,8,N,1)/VenVt100()",
     "030E1300 00000000 00C2010000000000 08 01 01 030A1400 6560A6DF19B4D3119A2D0090273FC14D"},
    {"Uart(DEFAULT,DEFAULT,D,1.5)/UartFlowCtrl(Hardware)/VenPcAnsi()",
     "030E1300 00000000 0000000000000000 00 00 02"
     " 030A1800 9D9A49372F54894CA02635DA142094E4 01000000"
     " 030A1400 5347C1E0BEF9D2119A0C0090273FC14D"},
    {"VenMsg(DFA66065-B419-11D3-9A2D-0090273FC14D,01)",
     "030A1500 6560A6DF19B4D3119A2D0090273FC14D 01"}, // data: not the shortcut
    // Networks
    {"MAC(D4AE52AABBCC,0x1)/Vlan(100)/IPv4(10.0.0.5,TCP,Static,10.0.0.9,10.0.0.1,255.255.255.0)",
     "030B2500 D4AE52AABBCC 0000000000000000000000000000000000000000000000000000 01"
     " 03140600 6400"
     " 030C1B00 0A000009 0A000005 0000 0000 0600 01 0A000001 FFFFFF00"},
    {"MAC(000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F,0x20)",
     "030B2500 000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F 20"},
    {"IPv6(2001:0DB8:0000:0000:0000:0000:0000:0001,0x11A,StatefulAutoConfigure,"
     "FE80:0000:0000:0000:0000:0000:0000:0002,0x40,0000:0000:0000:0000:0000:0000:0000:0000)",
     "030D3C00 FE800000000000000000000000000002 20010DB8000000000000000000000001 0000 0000 1A01 02"
     " 40 00000000000000000000000000000000"},
    {"Dns(192.168.1.1,8.8.8.8)",
     "031F2500 00 C0A80101000000000000000000000000 08080808000000000000000000000000"},
    {"Dns(FE80:0000:0000:0000:0000:0000:0000:0001)",
     "031F1500 01 FE800000000000000000000000000001"},
    {"iSCSI(iqn.1991-05.com.example:disk,0x1,0x0001000000000000,CRC32C,None,CHAP_UNI,TCP)",
     "03132F00 0000 0210 0001000000000000 0100 \"iqn.1991-05.com.example:disk\" 00"},
    {"NVMEoF(nqn.2014-08.org.example:s1,4EFF7F8E-D353-4E9B-A4EC-DECEA8EAB84D)",
     "03223000 03 4EFF7F8ED3534E9BA4ECDECEA8EAB84D \"nqn.2014-08.org.example:s1\" 00"},
    {"NVMEoF(nqn.x,01-02-03-04-05-06-07-08)/NVMEoF(nqn.x,000102030405060708090A0B0C0D0E0F)",
     "03221B00 01 01020304050607080000000000000000 \"nqn.x\" 00"
     " 03221B00 02 000102030405060708090A0B0C0D0E0F \"nqn.x\" 00"},
    {"Uri(http://[fe80::1]/boot(1).efi?a=b,c)/Uri()",
     "03182600 \"http://[fe80::1]/boot(1).efi?a=b,c\" 03180400"},
    {"RestService(0x1,0x2)", "03210600 01 02"},
    {"Infiniband(0x1,D6C0639F-C705-4EB9-AA4F-5802D8823DE6,0x2,0x3,0x4)",
     "03093000 01000000 9F63C0D605C7B94EAA4F5802D8823DE6 0200000000000000 0300000000000000"
     " 0400000000000000"},
    {"Bluetooth(A1B2C3D4E5F6)/BluetoothLE(A1B2C3D4E5F6,0x01)/Wi-Fi(My net)",
     "031B0A00 A1B2C3D4E5F6 031E0B00 A1B2C3D4E5F6 01 031C2400 \"My net\""
     " 0000000000000000000000000000000000000000000000000000"},
    // Media
    {"HD(1,GPT,11223344-5566-7788-99AA-BBCCDDEEFF00,0x800,0x100000)/\\EFI\\BOOT\\BOOTX64.EFI",
     "04012A00 01000000 0008000000000000 0000100000000000 4433221166558877"
     "99AABBCCDDEEFF00 02 02 04043000 u\"\\EFI\\BOOT\\BOOTX64.EFI\" 0000"},
    {"HD(2,MBR,0x0000ABCD,0x3F,0x1000)/HD(1,0,0,0x0,0x10)",
     "04012A00 02000000 3F00000000000000 0010000000000000 CDAB0000000000000000000000000000 01 01"
     " 04012A00 01000000 0000000000000000 1000000000000000 00000000000000000000000000000000 00 00"},
    {"CDROM(0x1,0x5C,0x2D00)", "04021800 01000000 5C00000000000000 002D000000000000"},
    {"Fv(7CB8BDC9-F8EB-4F34-AAEA-3EE4AF6516A1)/FvFile(462CAA21-7614-4503-836E-8AB6F4662331)",
     "04071400 C9BDB87CEBF8344FAAEA3EE4AF6516A1 04061400 21AA2C4614760345836E8AB6F4662331"},
    {"VenMedia(7CB8BDC9-F8EB-4F34-AAEA-3EE4AF6516A1,AB)/"
     "Media(7CB8BDC9-F8EB-4F34-AAEA-3EE4AF6516A1)",
     "04031500 C9BDB87CEBF8344FAAEA3EE4AF6516A1 AB 04051400 C9BDB87CEBF8344FAAEA3EE4AF6516A1"},
    {"Offset(0x1000,0x1FFF)/VirtualCD(0x100000,0x1FFFFF,3)",
     "04081800 00000000 0010000000000000 FF1F000000000000"
     " 04092600 0000100000000000 FFFF1F0000000000 30BD5A3D7541CE876D64D2ADE523C4BB 0300"},
    {"RamDisk(0x0,0xFF,1,7CB8BDC9-F8EB-4F34-AAEA-3EE4AF6516A1)",
     "04092600 0000000000000000 FF00000000000000 C9BDB87CEBF8344FAAEA3EE4AF6516A1 0100"},
    {"BBS(HD,Disk 0,0x10)/BBS(0x80,,0x0)",
     "05010F00 0200 1000 \"Disk 0\" 00 05010900 8000 0000 00"},
    {"\\setup(1).efi/a)b", "04042000 u\"\\setup(1).efi\" 0000 04040C00 u\"a)b\" 0000"},
    // Unknown, malformed and unspeakable nodes; instances
    {"HardwarePath(10,0102)/AcpiPath(9)/Msg(99,00)/MediaPath(88)/BbsPath(7,FF)/Path(6,1,AA)/"
     "Path(200,0)",
     "010A0600 0102 02090400 03630500 00 04580400 05070500 FF 06010500 AA C8000400"},
    {"HardwarePath(1,02)/HardwarePath(1,020000)", "01010500 02 01010700 020000"},
    {"MediaPath(4,61002C000000)/MediaPath(4)/MediaPath(4,6100)",
     "04040A00 61002C000000 04040400 04040600 6100"},
    {"BbsPath(1,02000000282900)/Msg(1,02000000)", "05010B00 02000000282900 03010800 02000000"},
    {"PciRoot(0x0)/Pci(0x2,0x0),USB(0x1,0x0),", "02010C00 D041030A 00000000 01010600 00 02 7F010400"
                                                " 03050600 01 00 7F010400"},
    {"", ""},
};

TEST(DevicePathText, EveryNodeKindPrintsAsTheStandardSaysAndReadsBack) {
    for (const Pair& pair : kPairs) {
        Bytes expected = WithEnd(FromHex(pair.nodes));
        EXPECT_EQ(ToText(expected), pair.text);
        Bytes path;
        const auto parse = FromText(Widen(pair.text), path);
        EXPECT_EQ(parse.status, EFI_SUCCESS) << pair.text << " at " << parse.errorPosition;
        if (std::string_view(pair.text).starts_with("iSCSI")) {
            expected.erase(expected.end() - 5); // a null behind the name is not kept
            expected[2]--;
        }
        EXPECT_EQ(path, expected) << pair.text;
    }
}

TEST(DevicePathText, OptionsShortenAndSpellOutNodes) {
    const Bytes terminal = WithEnd(FromHex("030A1400 6560A6DF19B4D3119A2D0090273FC14D"));
    EXPECT_EQ(ToText(terminal, false, false), "VenMsg(DFA66065-B419-11D3-9A2D-0090273FC14D)");
    constexpr Pair kShort[] = {
        {"IPv4(10.0.0.5)", "030C1B00 0A000009 0A000005 0000 0000 0600 01 0A000001 FFFFFF00"},
        {"Ata(0x3)", "03010800 01 00 0300"},
        {"CDROM(0x1)", "04021800 01000000 5C00000000000000 002D000000000000"},
        {"BBS(Network,IBA (1), slot 2)", "05011800 0600 0000 \"IBA (1), slot 2\" 00"},
        {"AcpiEx(HWXX,PNP0A03,0x5)", "02021700 D041080A 05000000 D041030A \"HWXX\" 00 00 00"},
        {"\\a,b", "04040E00 u\"\\a,b\" 0000"},
    };
    for (const Pair& pair : kShort) {
        EXPECT_EQ(ToText(WithEnd(FromHex(pair.nodes)), true), pair.text);
    }
    // The older short address node says what it has.
    EXPECT_EQ(ToText(WithEnd(FromHex("030C1300 0A000009 0A000005 0000 0000 1100 00"))),
              "IPv4(10.0.0.5,UDP,DHCP,10.0.0.9)");
}

TEST(DevicePathText, ReadsTheFreedomsOfTheGrammar) {
    constexpr const char* kSame[][2] = {
        {"pciroot()/PCI(31, Function=2)", "PciRoot(0x0)/Pci(0x1F,0x2)"},
        {"//PciRoot(0)//Pci(1,0)/", "PciRoot(0x0)/Pci(0x1,0x0)"},
        {"Acpi(PNP0A03,2)/Acpi(0x0A0341D0)", "PciRoot(0x2)/PciRoot(0x0)"},
        {"IPv6(2001:db8::1)/IPv4(1.2.3.4)",
         "IPv6(2001:0DB8:0000:0000:0000:0000:0000:0001,UDP,Static,"
         "0000:0000:0000:0000:0000:0000:0000:0000,0x0,0000:0000:0000:0000:0000:0000:0000:0000)/"
         "IPv4(1.2.3.4,UDP,DHCP,0.0.0.0,0.0.0.0,0.0.0.0)"},
        {"Uart(9600,7,E,2)/VenUtf8()", "Uart(9600,7,E,2)/VenUtf8()"},
        {"HD(3,gpt,11223344-5566-7788-99aa-bbccddeeff00)",
         "HD(3,GPT,11223344-5566-7788-99AA-BBCCDDEEFF00,0x0,0x0)"},
        {"Path(1,1,021F)", "Pci(0x1F,0x2)"},
        {"UsbClass(0xFFFF,0xFFFF,3,1,1)", "UsbHID(0xFFFF,0xFFFF,0x1,0x1)"},
    };
    for (const auto& [text, canonical] : kSame) {
        Bytes path;
        EXPECT_EQ(FromText(Widen(text), path).status, EFI_SUCCESS) << text;
        EXPECT_EQ(ToText(path), canonical);
    }
    Bytes node(6);
    EXPECT_EQ(kelm::DeviceNodeFromText(u"Pci(0x1F,0x2)", node).size, 6u);
    EXPECT_EQ(node, FromHex("01010600 02 1F"));
    EXPECT_EQ(kelm::DeviceNodeFromText(u"Pci(0,0)/Pci(1,0)", node).errorPosition, 8u);
    EXPECT_EQ(kelm::DeviceNodeFromText(u"", node).status, EFI_INVALID_PARAMETER);
}

TEST(DevicePathText, SaysWhereATextIsBad) {
    constexpr struct {
        const char* text;
        size_t position;
    } kBad[] = {
        {"PciRoot(0x0)/Pcii(0x1,0x2)", 13}, // unknown keyword
        {"PciRoot(0x0)/Pci(0x1", 16},       // not closed
        {"PciRoot(0x0)Pci(0x1,0x2)", 12},   // no separator
        {"Pci(0x1)", 7},                    // an argument is missing
        {"Pci(0x100,0x0)", 4},              // too large
        {"Pci(0x1,zero)", 8},               // no number
        {"Pci(0x1,0x2,0x3)", 12},           // one too many
        {"VenHw(D6C0639F)", 6},             // no GUID
        {"Path(127,255)", 0},               // an end node in disguise
        {"IPv4(10.0.0.256,TCP)", 5},        // no address
        {"MAC(D4AE5,0x1)", 4},              // half a byte
        {"Uart(9600,8,Q,1)", 12},           // no such parity
        {"NVMe(0x1,00-11)", 9},             // too short
        {"HD(1,GPT,0,0x1,0x2)", 9},         // a partition GUID is needed
        {"BBS(HD,caf\xE9,0x0)", 10},        // not ASCII
    };
    for (const auto& bad : kBad) {
        std::u16string text;
        for (const char c : std::string_view(bad.text)) {
            text.push_back(UINT8(c));
        }
        const auto parse = kelm::DevicePathFromText(text, {});
        EXPECT_EQ(parse.status, EFI_INVALID_PARAMETER) << bad.text;
        EXPECT_EQ(parse.errorPosition, bad.position) << bad.text;
        EXPECT_EQ(parse.size, 0u);
    }
}

// Damaged nodes of every kind: whatever prints, reads back as something that prints the same.
TEST(DevicePathText, DamagedNodesPrintWithinBoundsAndReadBack) {
    std::mt19937 random(2);
    for (int round = 0; round < 15000; round++) {
        Bytes path = WithEnd(FromHex(kPairs[random() % std::size(kPairs)].nodes));
        for (unsigned changes = random() % 5; changes > 0; changes--) {
            const UINT8 choices[] = {UINT8(random()), 0, 1, 0xFF, ',', ')', '(', '/'};
            path[random() % path.size()] = choices[random() % 8];
        }
        const bool shortcuts = random() % 2 == 0;
        ToText(path, true, shortcuts);
        const std::string text = ToText(path, false, shortcuts);
        if (text == "(invalid)") {
            continue;
        }
        const auto* node = reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(path.data());
        std::u16string wide(text.size() + 1, u'\0');
        ASSERT_EQ(kelm::DevicePathToText(node, path.size(), wide, {false, shortcuts}), text.size());
        wide.pop_back();
        Bytes again;
        const auto parse = FromText(wide, again);
        ASSERT_EQ(parse.status, EFI_SUCCESS) << text << " at " << parse.errorPosition;
        ASSERT_EQ(ToText(again, false, shortcuts), text);
    }
}

TEST(DevicePathText, GarbledTextIsReadOrRefusedWithinBounds) {
    std::mt19937 random(3);
    size_t good = 0;
    for (int round = 0; round < 15000; round++) {
        std::u16string text = Widen(kPairs[random() % std::size(kPairs)].text);
        for (unsigned changes = 1 + random() % 3; changes > 0 && !text.empty(); changes--) {
            const size_t at = random() % text.size();
            switch (random() % 3) {
            case 0:
                text.erase(at, 1 + random() % 6);
                break;
            case 1:
                text.insert(at, 1, u"(),/\"=0x-\\:."[random() % 12]);
                break;
            default:
                text[at] = char16_t(random() % 0x180);
                break;
            }
        }
        const std::vector<char16_t> exact(text.begin(), text.end());
        Bytes path;
        const auto parse = FromText({exact.data(), exact.size()}, path);
        ASSERT_LE(parse.errorPosition, text.size());
        if (parse.status == EFI_SUCCESS) {
            good++;
            ASSERT_NE(ToText(path), "(invalid)") << Narrow(text);
        }
    }
    EXPECT_GT(good, 1000u);
}

} // namespace
