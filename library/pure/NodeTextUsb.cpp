// Text of USB nodes: a port, a class with the names that the standard gives to common ones, and a
// device known by its serial number.
#include "library/pure/NodeText.h"

namespace kelm {
namespace {

constexpr NumberField kUsb[] = {{"Port", 0, 1}, {"Interface", 1, 1}};
constexpr NumberField kUsbClass[] = {
    {"VID", 0, 2}, {"PID", 2, 2}, {"Class", 4, 1}, {"SubClass", 5, 1}, {"Protocol", 6, 1}};

// A named class leaves its class out of the text. Where a key holds a class in its high byte, the
// name also says the subclass.
constexpr UINT32 kApplicationSpecific = 0xFE00;

bool PrintNamedClass(ByteReader& node, TextSink& sink, const PrintContext& context) {
    const UINT32 key = context.row.key;
    sink.Print("0x%x,", node.ReadU16());
    sink.Print("0x%x,", node.ReadU16());
    const UINT8 deviceClass = node.ReadU8();
    const UINT8 subClass = node.ReadU8();
    const UINT8 protocol = node.ReadU8();
    if (key > 0xFF) {
        sink.Print("0x%x", protocol);
        return (UINT32(deviceClass) << 8 | subClass) == key;
    }
    sink.Print("0x%x,0x%x", subClass, protocol);
    return deviceClass == key;
}

void ParseNamedClass(TextArguments& arguments, ByteWriter& node, const NodeText& row) {
    node.WriteU16(UINT16(arguments.OptionalNumber("VID", 0xFFFF, 0xFFFF)));
    node.WriteU16(UINT16(arguments.OptionalNumber("PID", 0xFFFF, 0xFFFF)));
    if (row.key > 0xFF) {
        node.WriteU8(UINT8(row.key >> 8));
        node.WriteU8(UINT8(row.key));
    } else {
        node.WriteU8(UINT8(row.key));
        node.WriteU8(UINT8(arguments.OptionalNumber("SubClass", 0xFF, 0xFF)));
    }
    node.WriteU8(UINT8(arguments.OptionalNumber("Protocol", 0xFF, 0xFF)));
}

bool PrintWwid(ByteReader& node, TextSink& sink, const PrintContext&) {
    const UINT16 interfaceNumber = node.ReadU16();
    sink.Print("0x%x,", node.ReadU16());
    sink.Print("0x%x,0x%x,\"", node.ReadU16(), interfaceNumber);
    if (node.Remaining() % 2 != 0) {
        return false;
    }
    while (node.Remaining() != 0) {
        const char16_t c = node.ReadU16();
        if (c == 0 && node.Remaining() == 0) {
            break; // some drivers count the null in
        }
        if (c < 0x20 || c == '"') {
            return false;
        }
        sink.Put(c);
    }
    sink.Put('"');
    return true;
}

void ParseWwid(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    const UINT64 vendor = arguments.Number("VID", 0xFFFF);
    const UINT64 product = arguments.Number("PID", 0xFFFF);
    node.WriteU16(UINT16(arguments.Number("InterfaceNumber", 0xFFFF)));
    node.WriteU16(UINT16(vendor));
    node.WriteU16(UINT16(product));
    node.WriteUcs2(arguments.Text("WWID"));
}

constexpr NodeText NamedClass(const char* name, UINT32 key) {
    return {.type = kDevicePathTypeMessaging,
            .subType = kMessagingSubTypeUsbClass,
            .name = name,
            .print = PrintNamedClass,
            .parse = ParseNamedClass,
            .key = key};
}

constexpr NodeText kUsbTexts[] = {
    {kDevicePathTypeMessaging, kMessagingSubTypeUsb, "USB", kUsb, 2},
    NamedClass("UsbAudio", 0x01),
    NamedClass("UsbCDCControl", 0x02),
    NamedClass("UsbHID", 0x03),
    NamedClass("UsbImage", 0x06),
    NamedClass("UsbPrinter", 0x07),
    NamedClass("UsbMassStorage", 0x08),
    NamedClass("UsbHub", 0x09),
    NamedClass("UsbCDCData", 0x0A),
    NamedClass("UsbSmartCard", 0x0B),
    NamedClass("UsbVideo", 0x0E),
    NamedClass("UsbDiagnostic", 0xDC),
    NamedClass("UsbWireless", 0xE0),
    NamedClass("UsbDeviceFirmwareUpdate", kApplicationSpecific | 0x01),
    NamedClass("UsbIrdaBridge", kApplicationSpecific | 0x02),
    NamedClass("UsbTestAndMeasurement", kApplicationSpecific | 0x03),
    {kDevicePathTypeMessaging, kMessagingSubTypeUsbClass, "UsbClass", kUsbClass, 7},
    {.type = kDevicePathTypeMessaging,
     .subType = kMessagingSubTypeUsbWwid,
     .name = "UsbWwid",
     .print = PrintWwid,
     .parse = ParseWwid},
};

} // namespace

std::span<const NodeText> UsbNodeTexts() {
    return kUsbTexts;
}

} // namespace kelm
