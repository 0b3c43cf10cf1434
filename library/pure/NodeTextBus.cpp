// Text of messaging nodes for storage buses, serial lines and vendor messages.
#include "library/pure/NodeText.h"
#include "library/pure/Ucs2.h"

namespace kelm {
namespace {

constexpr NumberField kScsi[] = {{"PUN", 0, 2}, {"LUN", 2, 2}};
constexpr NumberField kFibre[] = {{"WWN", 4, 8}, {"LUN", 12, 8}};
constexpr NumberField kI2o[] = {{"TID", 0, 4}};
constexpr NumberField kUnit[] = {{"LUN", 0, 1}};
constexpr NumberField kSata[] = {{"HPN", 0, 2}, {"PMPN", 2, 2}, {"LUN", 4, 2}};
constexpr NumberField kUfs[] = {{"PUN", 0, 1}, {"LUN", 1, 1}};
constexpr NumberField kSlot[] = {{"SlotNumber", 0, 1}};

// ---- ATA

constexpr Word kAtaControllers[] = {{"Primary", 0}, {"Secondary", 1}};
constexpr Word kAtaDrives[] = {{"Master", 0}, {"Slave", 1}};

bool PrintAta(ByteReader& node, TextSink& sink, const PrintContext& context) {
    const char* controller = WordFor(kAtaControllers, node.ReadU8());
    const char* drive = WordFor(kAtaDrives, node.ReadU8());
    if (controller == nullptr || drive == nullptr) {
        return false;
    }
    if (!context.options.displayOnly) {
        sink.Print("%a,%a,", controller, drive);
    }
    sink.Print("0x%x", node.ReadU16());
    return true;
}

void ParseAta(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    node.WriteU8(UINT8(arguments.WordOrNumber("Controller", kAtaControllers, 1)));
    node.WriteU8(UINT8(arguments.WordOrNumber("Drive", kAtaDrives, 1)));
    node.WriteU16(UINT16(arguments.Number("LUN", 0xFFFF)));
}

// ---- Fibre Channel, 1394

bool PrintFibreEx(ByteReader& node, TextSink& sink, const PrintContext&) {
    node.Skip(4);
    sink.PutAscii("0x");
    sink.PutHex(node.ReadBytes(8));
    sink.PutAscii(",0x");
    sink.PutHex(node.ReadBytes(8));
    return true;
}

void ParseFibreEx(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    UINT8 wwn[8];
    UINT8 lun[8];
    arguments.Hex("WWN", wwn);
    arguments.Hex("LUN", lun);
    node.WriteZeros(4);
    node.WriteBytes(wwn);
    node.WriteBytes(lun);
}

bool Print1394(ByteReader& node, TextSink& sink, const PrintContext&) {
    node.Skip(4);
    sink.Print("%016lx", node.ReadU64());
    return true;
}

void Parse1394(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    const auto text = arguments.Text("Guid");
    const auto guid = ParseHex(text);
    if (!guid) {
        arguments.Fail(text);
    }
    node.WriteZeros(4);
    node.WriteU64(guid.value_or(0));
}

// ---- SAS

constexpr UINT16 kTopologyOther = 0x80; // bit 7: the rest means something else
constexpr UINT16 kTopologyInfo = 0x0F;  // 1: the first byte holds information; 2: the bay too
constexpr Word kSasOrSata[] = {{"SAS", 0x00}, {"SATA", 0x10}};
constexpr Word kSasLocations[] = {{"Internal", 0x00}, {"External", 0x20}};
constexpr Word kSasConnects[] = {{"Direct", 0x00}, {"Expanded", 0x40}};

void PutTopology(TextSink& sink, UINT16 topology) {
    const UINT16 info = topology & kTopologyInfo;
    const UINT16 bay = topology >> 8;
    if (topology == 0) {
        sink.PutAscii("NoTopology,0,0,0");
    } else if ((topology & kTopologyOther) == 0 && (info == 2 || (info == 1 && bay == 0))) {
        sink.Print("%a,%a,%a,", WordFor(kSasOrSata, topology & 0x10),
                   WordFor(kSasLocations, topology & 0x20), WordFor(kSasConnects, topology & 0x40));
        sink.Print(info == 1 ? "0" : "0x%x", bay + 1);
    } else {
        sink.Print("0x%x,0,0,0", topology);
    }
}

UINT16 TopologyArguments(TextArguments& arguments) {
    constexpr Word kKinds[] = {{"NoTopology", 0}, {"SAS", 0x00}, {"SATA", 0x10}};
    TextArguments ahead = arguments;
    const bool hasWords = Ucs2StartsWithNoCase(ahead.Text("SASSATA"), u"SA");
    const UINT64 kind = arguments.WordOrNumber("SASSATA", kKinds, 0xFFFF);
    const UINT64 location = arguments.WordOrNumber("Location", kSasLocations, 1);
    const UINT64 connect = arguments.WordOrNumber("Connect", kSasConnects, 1);
    const UINT64 bay = arguments.OptionalNumber("DriveBay", 0x100, 0);
    if (!hasWords) {
        return UINT16(kind);
    }
    UINT16 topology = UINT16(kind);
    topology |= location != 0 ? 0x20 : 0;
    topology |= connect != 0 ? 0x40 : 0;
    topology |= bay == 0 ? 1 : UINT16(2 | (bay - 1) << 8);
    return topology;
}

bool PrintSas(ByteReader& node, TextSink& sink, const PrintContext&) {
    const EFI_GUID guid = node.ReadGuid();
    const UINT32 reserved = node.ReadU32();
    sink.Print("0x%lx,", node.ReadU64());
    sink.Print("0x%lx,", node.ReadU64());
    const UINT16 topology = node.ReadU16();
    sink.Print("0x%x,", node.ReadU16());
    PutTopology(sink, topology);
    sink.Print(",0x%x", reserved);
    return guid == gEfiSasDevicePathGuid;
}

void ParseSas(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    const UINT64 address = arguments.Number("Address", ~UINT64(0));
    const UINT64 lun = arguments.Number("LUN", ~UINT64(0));
    const UINT64 port = arguments.Number("RTP", 0xFFFF);
    const UINT16 topology = TopologyArguments(arguments);
    node.WriteGuid(gEfiSasDevicePathGuid);
    node.WriteU32(UINT32(arguments.OptionalNumber("Reserved", 0xFFFFFFFF, 0)));
    node.WriteU64(address);
    node.WriteU64(lun);
    node.WriteU16(topology);
    node.WriteU16(UINT16(port));
}

bool PrintSasEx(ByteReader& node, TextSink& sink, const PrintContext&) {
    sink.PutAscii("0x");
    sink.PutHex(node.ReadBytes(8));
    sink.PutAscii(",0x");
    sink.PutHex(node.ReadBytes(8));
    const UINT16 topology = node.ReadU16();
    sink.Print(",0x%x,", node.ReadU16());
    PutTopology(sink, topology);
    return true;
}

void ParseSasEx(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    UINT8 address[8];
    UINT8 lun[8];
    arguments.Hex("Address", address);
    arguments.Hex("LUN", lun);
    const UINT64 port = arguments.Number("RTP", 0xFFFF);
    node.WriteBytes(address);
    node.WriteBytes(lun);
    node.WriteU16(TopologyArguments(arguments));
    node.WriteU16(UINT16(port));
}

// ---- NVM Express: the identifier's most significant byte comes first in the text

bool PrintNvme(ByteReader& node, TextSink& sink, const PrintContext&) {
    sink.Print("0x%x,", node.ReadU32());
    const UINT64 identifier = node.ReadU64();
    for (unsigned i = 0; i < 8; i++) {
        sink.Print(i == 0 ? "%02x" : "-%02x", UINT8(identifier >> (56 - 8 * i)));
    }
    return true;
}

void ParseNvme(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    UINT8 identifier[8];
    node.WriteU32(UINT32(arguments.Number("NSID", 0xFFFFFFFF)));
    arguments.Hex("EUI", identifier, '-');
    for (size_t i = 8; i-- > 0;) {
        node.WriteU8(identifier[i]);
    }
}

// ---- Serial lines

constexpr Word kUartDefault[] = {{"DEFAULT", 0}};
constexpr Word kParities[] = {{"D", 0}, {"N", 1}, {"E", 2}, {"O", 3}, {"M", 4}, {"S", 5}};
constexpr Word kStopBits[] = {{"D", 0}, {"1", 1}, {"1.5", 2}, {"2", 3}};
constexpr Word kFlowControls[] = {
    {"None", 0}, {"Hardware", UART_FLOW_CONTROL_HARDWARE}, {"XonXoff", UART_FLOW_CONTROL_XON_XOFF}};

bool PrintUart(ByteReader& node, TextSink& sink, const PrintContext&) {
    node.Skip(4);
    const UINT64 baudRate = node.ReadU64();
    const UINT8 dataBits = node.ReadU8();
    const char* parity = WordFor(kParities, node.ReadU8());
    const char* stopBits = WordFor(kStopBits, node.ReadU8());
    sink.Print(baudRate == 0 ? "DEFAULT," : "%lu,", baudRate);
    sink.Print(dataBits == 0 ? "DEFAULT," : "%u,", dataBits);
    if (parity == nullptr || stopBits == nullptr) {
        return false;
    }
    sink.Print("%a,%a", parity, stopBits);
    return true;
}

void ParseUart(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    node.WriteU32(0);
    node.WriteU64(arguments.WordOrNumber("Baud", kUartDefault, ~UINT64(0)));
    node.WriteU8(UINT8(arguments.WordOrNumber("DataBits", kUartDefault, 0xFF)));
    node.WriteU8(UINT8(arguments.WordOrNumber("Parity", kParities, 5)));
    node.WriteU8(UINT8(arguments.WordOrNumber("StopBits", kStopBits, 3)));
}

bool PrintFlowControl(ByteReader& node, TextSink& sink, const PrintContext&) {
    const EFI_GUID guid = node.ReadGuid();
    const char* word = WordFor(kFlowControls, node.ReadU32());
    if (word == nullptr) {
        return false;
    }
    sink.PutAscii(word);
    return guid == gEfiUartDevicePathGuid;
}

void ParseFlowControl(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    node.WriteGuid(gEfiUartDevicePathGuid);
    node.WriteU32(UINT32(arguments.WordOrNumber("Value", kFlowControls, 0xFFFFFFFF)));
}

// ---- The table

constexpr NodeText Message(UINT8 subType, const char* name, decltype(NodeText::print) print,
                           decltype(NodeText::parse) parse) {
    return {.type = kDevicePathTypeMessaging,
            .subType = subType,
            .name = name,
            .print = print,
            .parse = parse};
}

constexpr NodeText Numbers(UINT8 subType, const char* name, std::span<const NumberField> numbers,
                           size_t payload) {
    return {.type = kDevicePathTypeMessaging,
            .subType = subType,
            .name = name,
            .numbers = numbers,
            .payload = payload};
}

constexpr NodeText KnownVendor(const char* name, const EFI_GUID& guid) {
    return {.type = kDevicePathTypeMessaging,
            .subType = kMessagingSubTypeVendor,
            .name = name,
            .print = PrintKnownVendor,
            .parse = ParseKnownVendor,
            .guid = &guid,
            .isShortcut = true};
}

constexpr NodeText VendorShortcut(const char* name, decltype(NodeText::print) print,
                                  decltype(NodeText::parse) parse) {
    NodeText row = Message(kMessagingSubTypeVendor, name, print, parse);
    row.isShortcut = true;
    return row;
}

constexpr NodeText kBus[] = {
    Message(kMessagingSubTypeAtapi, "Ata", PrintAta, ParseAta),
    Numbers(kMessagingSubTypeScsi, "Scsi", kScsi, 4),
    Numbers(kMessagingSubTypeFibreChannel, "Fibre", kFibre, 20),
    Message(kMessagingSubTypeFibreChannelEx, "FibreEx", PrintFibreEx, ParseFibreEx),
    Message(kMessagingSubType1394, "I1394", Print1394, Parse1394),
    Numbers(kMessagingSubTypeI2o, "I2O", kI2o, 4),
    Numbers(kMessagingSubTypeLogicalUnit, "Unit", kUnit, 1),
    Numbers(kMessagingSubTypeSata, "Sata", kSata, 6),
    Message(kMessagingSubTypeSasEx, "SasEx", PrintSasEx, ParseSasEx),
    Message(kMessagingSubTypeNvmeNamespace, "NVMe", PrintNvme, ParseNvme),
    Numbers(kMessagingSubTypeUfs, "UFS", kUfs, 2),
    Numbers(kMessagingSubTypeSd, "SD", kSlot, 1),
    Numbers(kMessagingSubTypeEmmc, "eMMC", kSlot, 1),
    Message(kMessagingSubTypeNvdimmNamespace, "NVDIMM", PrintGuid, ParseGuid),
    Message(kMessagingSubTypeUart, "Uart", PrintUart, ParseUart),
    KnownVendor("VenPcAnsi", gEfiPcAnsiGuid),
    KnownVendor("VenVt100", gEfiVT100Guid),
    KnownVendor("VenVt100Plus", gEfiVT100PlusGuid),
    KnownVendor("VenUtf8", gEfiVTUTF8Guid),
    KnownVendor("DebugPort", gEfiDebugPortDevicePathGuid),
    VendorShortcut("UartFlowCtrl", PrintFlowControl, ParseFlowControl),
    VendorShortcut("SAS", PrintSas, ParseSas),
    Message(kMessagingSubTypeVendor, "VenMsg", PrintVendor, ParseVendor),
};

} // namespace

std::span<const NodeText> BusNodeTexts() {
    return kBus;
}

} // namespace kelm
