// Text of hardware and ACPI nodes.
#include "library/pure/NodeText.h"
#include "library/pure/Ucs2.h"

namespace kelm {
namespace {

constexpr NumberField kPci[] = {{"Device", 1, 1}, {"Function", 0, 1}};
constexpr NumberField kPcCard[] = {{"Function", 0, 1}};
constexpr NumberField kMemoryMapped[] = {
    {"MemoryType", 0, 4}, {"StartingAddress", 4, 8}, {"EndingAddress", 12, 8}};
constexpr NumberField kController[] = {{"Controller", 0, 4}};
constexpr NumberField kBmc[] = {{"Type", 0, 1}, {"Address", 1, 8}};
constexpr NumberField kNvdimm[] = {{"DeviceHandle", 0, 4}};

constexpr NodeText kHardware[] = {
    {kDevicePathTypeHardware, kHardwareSubTypePci, "Pci", kPci, 2},
    {kDevicePathTypeHardware, kHardwareSubTypePcCard, "PcCard", kPcCard, 1},
    {kDevicePathTypeHardware, kHardwareSubTypeMemoryMapped, "MemoryMapped", kMemoryMapped, 20},
    {.type = kDevicePathTypeHardware,
     .subType = kHardwareSubTypeVendor,
     .name = "VenHw",
     .print = PrintVendor,
     .parse = ParseVendor},
    {kDevicePathTypeHardware, kHardwareSubTypeController, "Ctrl", kController, 4},
    {kDevicePathTypeHardware, kHardwareSubTypeBmc, "BMC", kBmc, 9},
};

// ---- ACPI

// A compressed EISA identifier as its letters and number where it has letters, else as a number.
void PutEisaId(TextSink& sink, UINT32 id) {
    char letters[3];
    bool readable = (id & 0x8000) == 0;
    for (unsigned i = 0; i < 3; i++) {
        const UINT32 letter = id >> (10 - 5 * i) & 0x1F;
        readable = readable && letter >= 1 && letter <= 26;
        letters[i] = char('A' + letter - 1);
    }
    if (readable) {
        sink.Print("%a%04x", std::string_view(letters, 3), id >> 16);
    } else {
        sink.Print("0x%x", id);
    }
}

std::optional<UINT32> EisaIdFromText(std::u16string_view text) {
    if (text.size() != 7) {
        const auto value = ParseNumber(text);
        return value && *value <= 0xFFFFFFFF ? std::optional(UINT32(*value)) : std::nullopt;
    }
    char letters[3];
    for (size_t i = 0; i < 3; i++) {
        const char16_t letter = ToUpperAscii(text[i]);
        if (letter < 'A' || letter > 'Z') {
            const auto value = ParseNumber(text);
            return value && *value <= 0xFFFFFFFF ? std::optional(UINT32(*value)) : std::nullopt;
        }
        letters[i] = char(letter);
    }
    for (size_t i = 3; i < 7; i++) {
        if (!IsHexDigit(text[i])) {
            return std::nullopt;
        }
    }
    return EISA_ID(letters[0], letters[1], letters[2], UINT16(*ParseHex(text.substr(3))));
}

UINT32 EisaIdArgument(TextArguments& arguments, const char* name) {
    const auto text = arguments.Text(name);
    const auto id = EisaIdFromText(text);
    if (!id) {
        arguments.Fail(text);
    }
    return id.value_or(0);
}

// PciRoot and its like: the identifier is the row's key.
bool PrintKnownAcpi(ByteReader& node, TextSink& sink, const PrintContext& context) {
    if (node.ReadU32() != context.row.key) {
        return false;
    }
    sink.Print("0x%x", node.ReadU32());
    return true;
}

void ParseKnownAcpi(TextArguments& arguments, ByteWriter& node, const NodeText& row) {
    node.WriteU32(row.key);
    node.WriteU32(UINT32(arguments.OptionalNumber("UID", 0xFFFFFFFF, 0)));
}

bool PrintAcpi(ByteReader& node, TextSink& sink, const PrintContext&) {
    const UINT32 hid = node.ReadU32();
    if ((hid & 0xFFFF) == (EISA_PNP_ID(0) & 0xFFFF)) {
        sink.Print("PNP%04x", hid >> 16);
    } else {
        sink.Print("0x%08x", hid);
    }
    sink.Print(",0x%x", node.ReadU32());
    return true;
}

void ParseAcpi(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    node.WriteU32(EisaIdArgument(arguments, "HID"));
    node.WriteU32(UINT32(arguments.OptionalNumber("UID", 0xFFFFFFFF, 0)));
}

struct ExpandedAcpi {
    UINT32 hid, uid, cid;
    std::string_view hidText, uidText, cidText;

    explicit ExpandedAcpi(ByteReader& node)
        : hid(node.ReadU32()),
          uid(node.ReadU32()),
          cid(node.ReadU32()),
          hidText(node.ReadAsciiString()),
          uidText(node.ReadAsciiString()),
          cidText(node.ReadAsciiString()) {}
};

bool PrintAcpiExp(ByteReader& node, TextSink& sink, const PrintContext& context) {
    const ExpandedAcpi acpi(node);
    if (!acpi.hidText.empty() || !acpi.cidText.empty() || acpi.uidText.empty() || acpi.uid != 0) {
        return false;
    }
    PutEisaId(sink, acpi.hid);
    sink.Put(',');
    if (acpi.cid == 0) {
        sink.Put('0');
    } else {
        PutEisaId(sink, acpi.cid);
    }
    sink.Put(',');
    return PutArgument(sink, acpi.uidText, context);
}

void ParseAcpiExp(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    node.WriteU32(EisaIdArgument(arguments, "HID"));
    node.WriteU32(0);
    node.WriteU32(EisaIdArgument(arguments, "CID"));
    node.WriteU8(0);
    arguments.Ascii("UIDSTR", node);
    node.WriteZeros(2);
}

bool PrintAcpiEx(ByteReader& node, TextSink& sink, const PrintContext& context) {
    const ExpandedAcpi acpi(node);
    if (context.options.displayOnly) {
        const auto either = [&](std::string_view text, auto printNumber) {
            if (text.empty()) {
                printNumber();
                return true;
            }
            return PutArgument(sink, text, context);
        };
        bool printable = either(acpi.hidText, [&] { PutEisaId(sink, acpi.hid); });
        sink.Put(',');
        printable = either(acpi.cidText, [&] { PutEisaId(sink, acpi.cid); }) && printable;
        sink.Put(',');
        return either(acpi.uidText, [&] { sink.Print("0x%x", acpi.uid); }) && printable;
    }
    PutEisaId(sink, acpi.hid);
    sink.Put(',');
    PutEisaId(sink, acpi.cid);
    sink.Print(",0x%x", acpi.uid);
    for (const auto text : {acpi.hidText, acpi.cidText, acpi.uidText}) {
        sink.Put(',');
        if (!PutArgument(sink, text, context)) {
            return false;
        }
    }
    return true;
}

void ParseAcpiEx(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    node.WriteU32(EisaIdArgument(arguments, "HID"));
    const UINT32 cid = EisaIdArgument(arguments, "CID");
    node.WriteU32(UINT32(arguments.OptionalNumber("UID", 0xFFFFFFFF, 0)));
    node.WriteU32(cid);
    arguments.Ascii("HIDSTR", node);
    node.WriteU8(0);
    const auto cidText = arguments.Text("CIDSTR"); // before UIDSTR in text, behind it in the node
    arguments.Ascii("UIDSTR", node);
    node.WriteU8(0);
    arguments.WriteAscii(cidText, node);
    node.WriteU8(0);
}

bool PrintAcpiAdr(ByteReader& node, TextSink& sink, const PrintContext&) {
    sink.Print("0x%x", node.ReadU32());
    while (node.Remaining() >= 4) {
        sink.Print(",0x%x", node.ReadU32());
    }
    return true;
}

void ParseAcpiAdr(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    do {
        node.WriteU32(UINT32(arguments.Number("DisplayDevice", 0xFFFFFFFF)));
    } while (arguments.More());
}

constexpr NodeText KnownAcpi(const char* name, UINT32 hid) {
    return {.type = kDevicePathTypeAcpi,
            .subType = kAcpiSubTypeAcpi,
            .name = name,
            .print = PrintKnownAcpi,
            .parse = ParseKnownAcpi,
            .key = hid};
}

constexpr NodeText Acpi(UINT8 subType, const char* name, decltype(NodeText::print) print,
                        decltype(NodeText::parse) parse) {
    return {.type = kDevicePathTypeAcpi,
            .subType = subType,
            .name = name,
            .print = print,
            .parse = parse};
}

constexpr NodeText kAcpi[] = {
    KnownAcpi("PciRoot", kEisaIdPciRoot),
    KnownAcpi("PcieRoot", kEisaIdPcieRoot),
    KnownAcpi("Floppy", kEisaIdFloppy),
    KnownAcpi("Keyboard", kEisaIdKeyboard),
    KnownAcpi("Serial", kEisaIdSerial),
    KnownAcpi("ParallelPort", kEisaIdParallel),
    Acpi(kAcpiSubTypeAcpi, "Acpi", PrintAcpi, ParseAcpi),
    Acpi(kAcpiSubTypeExpanded, "AcpiExp", PrintAcpiExp, ParseAcpiExp),
    Acpi(kAcpiSubTypeExpanded, "AcpiEx", PrintAcpiEx, ParseAcpiEx),
    Acpi(kAcpiSubTypeAdr, "AcpiAdr", PrintAcpiAdr, ParseAcpiAdr),
    {kDevicePathTypeAcpi, kAcpiSubTypeNvdimm, "NvdimmAcpiAdr", kNvdimm, 4},
};

} // namespace

std::span<const NodeText> HardwareNodeTexts() {
    return kHardware;
}

std::span<const NodeText> AcpiNodeTexts() {
    return kAcpi;
}

} // namespace kelm
