// Text of media nodes and of BIOS boot specification nodes.
#include "library/pure/NodeText.h"
#include "library/pure/Ucs2.h"

namespace kelm {
namespace {

constexpr NumberField kCdRom[] = {{"Entry", 0, 4}, {"Start", 4, 8}, {"Size", 12, 8}};
constexpr NumberField kOffset[] = {{"StartingOffset", 4, 8}, {"EndingOffset", 12, 8}};

// ---- Hard drives

constexpr size_t kSignatureSize = 16;
constexpr Word kSignatureTypes[] = {{"MBR", SIGNATURE_TYPE_MBR}, {"GPT", SIGNATURE_TYPE_GUID}};

// The partition format goes with the signature: a drive where they differ has no words.
UINT8 MbrTypeFor(UINT8 signatureType) {
    switch (signatureType) {
    case SIGNATURE_TYPE_MBR:
        return MBR_TYPE_PCAT;
    case SIGNATURE_TYPE_GUID:
        return MBR_TYPE_EFI_PARTITION_TABLE_HEADER;
    default:
        return 0;
    }
}

bool PrintHardDrive(ByteReader& node, TextSink& sink, const PrintContext&) {
    const UINT32 partition = node.ReadU32();
    const UINT64 start = node.ReadU64();
    const UINT64 size = node.ReadU64();
    const auto signature = node.ReadBytes(kSignatureSize);
    const UINT8 mbrType = node.ReadU8();
    const UINT8 signatureType = node.ReadU8();
    if (!node.Ok() || mbrType != MbrTypeFor(signatureType)) {
        return false;
    }
    ByteReader identity(signature);
    sink.Print("%u,", partition);
    if (signatureType == SIGNATURE_TYPE_GUID) {
        sink.Print("GPT,%g", identity.ReadGuid());
    } else if (signatureType == SIGNATURE_TYPE_MBR) {
        sink.Print("MBR,0x%08x", identity.ReadU32());
    } else {
        sink.Print("%u,0", signatureType);
    }
    sink.Print(",0x%lx,0x%lx", start, size);
    return AllZero(identity.ReadRest());
}

void ParseHardDrive(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    const UINT64 partition = arguments.Number("Partition", 0xFFFFFFFF);
    const UINT8 type = UINT8(arguments.WordOrNumber("Type", kSignatureTypes, 0xFF));
    UINT8 signature[kSignatureSize] = {};
    ByteWriter identity(signature);
    if (type == SIGNATURE_TYPE_GUID) {
        identity.WriteGuid(arguments.Guid("Signature"));
    } else {
        const UINT64 max = type == SIGNATURE_TYPE_MBR ? 0xFFFFFFFF : 0;
        identity.WriteU32(UINT32(arguments.OptionalNumber("Signature", max, 0)));
    }
    node.WriteU32(UINT32(partition));
    node.WriteU64(arguments.OptionalNumber("Start", ~UINT64(0), 0));
    node.WriteU64(arguments.OptionalNumber("Size", ~UINT64(0), 0));
    node.WriteBytes(signature);
    node.WriteU8(MbrTypeFor(type));
    node.WriteU8(type);
}

// ---- File paths: the text is the path itself

// What would read back as something else: a separator, a keyword with parentheses.
bool IsPlainPath(const Ucs2Bytes& path) {
    size_t depth = 0;
    bool isKeyword = true;
    for (size_t i = 0; i < path.size(); i++) {
        const char16_t c = path[i];
        if (c < 0x20 || c == '/' || c == ',' || c == '"' || (c == '(' && isKeyword)) {
            return false;
        }
        isKeyword = isKeyword && c < 0x80 &&
                    (c == '-' || IsDigit(c) || (ToUpperAscii(c) >= 'A' && ToUpperAscii(c) <= 'Z'));
        depth += c == '(' ? 1 : 0;
        depth -= c == ')' && depth > 0 ? 1 : 0;
    }
    return depth == 0 && !path.empty();
}

bool PrintFilePath(ByteReader& node, TextSink& sink, const PrintContext& context) {
    const Ucs2Bytes path = node.ReadUcs2String();
    if (!context.options.displayOnly && !IsPlainPath(path)) {
        return false;
    }
    for (size_t i = 0; i < path.size(); i++) {
        sink.Put(path[i]);
    }
    return true;
}

// ---- RAM disks: the row's GUID is the disk type, or null for any

bool PrintRamDisk(ByteReader& node, TextSink& sink, const PrintContext& context) {
    sink.Print("0x%lx,", node.ReadU64());
    sink.Print("0x%lx,", node.ReadU64());
    const EFI_GUID type = node.ReadGuid();
    sink.Print("%u", node.ReadU16());
    if (context.row.guid == nullptr) {
        sink.Print(",%g", type);
    }
    return context.row.guid == nullptr || *context.row.guid == type;
}

void ParseRamDisk(TextArguments& arguments, ByteWriter& node, const NodeText& row) {
    node.WriteU64(arguments.Number("StartingAddress", ~UINT64(0)));
    node.WriteU64(arguments.Number("EndingAddress", ~UINT64(0)));
    const UINT64 instance = arguments.OptionalNumber("DiskInstance", 0xFFFF, 0);
    node.WriteGuid(row.guid != nullptr ? *row.guid : arguments.Guid("DiskTypeGuid"));
    node.WriteU16(UINT16(instance));
}

// ---- BIOS boot specification

constexpr Word kBbsTypes[] = {{"Floppy", BBS_TYPE_FLOPPY}, {"HD", BBS_TYPE_HARDDRIVE},
                              {"CDROM", BBS_TYPE_CDROM},   {"PCMCIA", BBS_TYPE_PCMCIA},
                              {"USB", BBS_TYPE_USB},       {"Network", BBS_TYPE_EMBEDDED_NETWORK}};

bool PrintBbs(ByteReader& node, TextSink& sink, const PrintContext& context) {
    const UINT16 type = node.ReadU16();
    const UINT16 flags = node.ReadU16();
    if (const char* word = WordFor(kBbsTypes, type)) {
        sink.Print("%a,", word);
    } else {
        sink.Print("0x%x,", type);
    }
    if (!PutArgument(sink, node.ReadAsciiString(), context)) {
        return false;
    }
    if (!context.options.displayOnly) {
        sink.Print(",0x%x", flags);
    }
    return true;
}

void ParseBbs(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    node.WriteU16(UINT16(arguments.WordOrNumber("Type", kBbsTypes, 0xFFFF)));
    const auto description = arguments.Text("String");
    node.WriteU16(UINT16(arguments.OptionalNumber("Flags", 0xFFFF, 0)));
    arguments.WriteAscii(description, node);
    node.WriteU8(0);
}

constexpr NodeText Media(UINT8 subType, const char* name, decltype(NodeText::print) print,
                         decltype(NodeText::parse) parse, const EFI_GUID* guid = nullptr) {
    return {.type = kDevicePathTypeMedia,
            .subType = subType,
            .name = name,
            .print = print,
            .parse = parse,
            .guid = guid};
}

constexpr NodeText RamDisk(const char* name, const EFI_GUID* type) {
    return Media(kMediaSubTypeRamDisk, name, PrintRamDisk, ParseRamDisk, type);
}

constexpr NodeText kMedia[] = {
    Media(kMediaSubTypeHardDrive, "HD", PrintHardDrive, ParseHardDrive),
    {kDevicePathTypeMedia, kMediaSubTypeCdRom, "CDROM", kCdRom, 20, 1},
    Media(kMediaSubTypeVendor, "VenMedia", PrintVendor, ParseVendor),
    Media(kMediaSubTypeFilePath, nullptr, PrintFilePath, nullptr),
    Media(kMediaSubTypeProtocol, "Media", PrintGuid, ParseGuid),
    Media(kMediaSubTypeFirmwareFile, "FvFile", PrintGuid, ParseGuid),
    Media(kMediaSubTypeFirmwareVolume, "Fv", PrintGuid, ParseGuid),
    {kDevicePathTypeMedia, kMediaSubTypeRelativeOffset, "Offset", kOffset, 20},
    RamDisk("VirtualDisk", &gEfiVirtualDiskGuid),
    RamDisk("VirtualCD", &gEfiVirtualCdGuid),
    RamDisk("PersistentVirtualDisk", &gEfiPersistentVirtualDiskGuid),
    RamDisk("PersistentVirtualCD", &gEfiPersistentVirtualCdGuid),
    RamDisk("RamDisk", nullptr),
    {.type = kDevicePathTypeBbs,
     .subType = kBbsSubTypeBbs,
     .name = "BBS",
     .print = PrintBbs,
     .parse = ParseBbs},
};

} // namespace

std::span<const NodeText> MediaNodeTexts() {
    return kMedia;
}

} // namespace kelm
