// Text of messaging nodes for networks: addresses, targets and services.
#include "library/pure/GuidText.h"
#include "library/pure/NodeText.h"

namespace kelm {
namespace {

constexpr NumberField kVlan[] = {{"VlanId", 0, 2, true}};

// ---- MAC

constexpr size_t kMacFieldSize = 32;
constexpr size_t kEthernetSize = 6;

bool PrintMac(ByteReader& node, TextSink& sink, const PrintContext&) {
    const auto address = node.ReadBytes(kMacFieldSize);
    const UINT8 interfaceType = node.ReadU8();
    if (!node.Ok()) {
        return false;
    }
    const bool isEthernet = interfaceType <= 1 && AllZero(address.subspan(kEthernetSize));
    sink.PutHex(isEthernet ? address.first(kEthernetSize) : address);
    sink.Print(",0x%x", interfaceType);
    return true;
}

void ParseMac(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    UINT8 bytes[kMacFieldSize];
    ByteWriter address(bytes);
    TextArguments start = arguments;
    arguments.HexData("Address", address);
    if (!address.Ok() || address.Needed() == 0) {
        arguments.Fail(start.Text("Address"));
    }
    node.WriteBytes(address.Written());
    node.WriteZeros(kMacFieldSize - address.Written().size());
    node.WriteU8(UINT8(arguments.OptionalNumber("IfType", 0xFF, 0)));
}

// ---- IP

constexpr Word kProtocols[] = {{"TCP", 6}, {"UDP", 17}};
constexpr Word kIpv4Types[] = {{"DHCP", 0}, {"Static", 1}};
constexpr Word kIpv6Types[] = {
    {"Static", 0}, {"StatelessAutoConfigure", 1}, {"StatefulAutoConfigure", 2}};
constexpr size_t kIpv4ShortSize = kIpv4NodeShortLength - 4;
constexpr size_t kIpv6ShortSize = 39;

void PutProtocol(TextSink& sink, UINT16 protocol) {
    if (const char* word = WordFor(kProtocols, protocol)) {
        sink.Print(",%a,", word);
    } else {
        sink.Print(",0x%x,", protocol);
    }
}

bool PrintIpv4Node(ByteReader& node, TextSink& sink, const PrintContext& context) {
    const bool isShort = node.Remaining() == kIpv4ShortSize;
    const auto local = node.ReadBytes(4);
    const auto remote = node.ReadBytes(4);
    node.Skip(4);
    const UINT16 protocol = node.ReadU16();
    const char* type = WordFor(kIpv4Types, node.ReadU8());
    const auto gateway = isShort ? std::span<const UINT8>() : node.ReadBytes(4);
    const auto mask = isShort ? std::span<const UINT8>() : node.ReadBytes(4);
    if (type == nullptr) {
        return false;
    }
    PutIpv4(sink, remote);
    if (context.options.displayOnly) {
        return true;
    }
    PutProtocol(sink, protocol);
    sink.Print("%a,", type);
    PutIpv4(sink, local);
    if (!isShort) {
        sink.Put(',');
        PutIpv4(sink, gateway);
        sink.Put(',');
        PutIpv4(sink, mask);
    }
    return true;
}

void ParseIpv4Node(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    UINT8 remote[4] = {};
    UINT8 others[3][4] = {};
    constexpr const char* kNames[] = {"LocalIp", "GatewayIPAddress", "SubnetMask"};
    arguments.Ipv4("RemoteIp", remote);
    UINT64 protocol = 17;
    UINT64 type = 0;
    if (arguments.More()) {
        protocol = arguments.WordOrNumber("Protocol", kProtocols, 0xFFFF);
    }
    if (arguments.More()) {
        type = arguments.WordOrNumber("Type", kIpv4Types, 1);
    }
    for (size_t i = 0; i < 3 && arguments.More(); i++) {
        arguments.Ipv4(kNames[i], others[i]);
    }
    node.WriteBytes(others[0]);
    node.WriteBytes(remote);
    node.WriteZeros(4);
    node.WriteU16(UINT16(protocol));
    node.WriteU8(UINT8(type));
    node.WriteBytes(others[1]);
    node.WriteBytes(others[2]);
}

bool PrintIpv6Node(ByteReader& node, TextSink& sink, const PrintContext& context) {
    const bool isShort = node.Remaining() == kIpv6ShortSize;
    const auto local = node.ReadBytes(16);
    const auto remote = node.ReadBytes(16);
    node.Skip(4);
    const UINT16 protocol = node.ReadU16();
    const char* type = WordFor(kIpv6Types, node.ReadU8());
    const UINT8 prefixLength = isShort ? 0 : node.ReadU8();
    const auto gateway = isShort ? std::span<const UINT8>() : node.ReadBytes(16);
    if (type == nullptr) {
        return false;
    }
    PutIpv6(sink, remote);
    if (context.options.displayOnly) {
        return true;
    }
    PutProtocol(sink, protocol);
    sink.Print("%a,", type);
    PutIpv6(sink, local);
    if (!isShort) {
        sink.Print(",0x%x,", prefixLength);
        PutIpv6(sink, gateway);
    }
    return true;
}

void ParseIpv6Node(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    UINT8 remote[16] = {};
    UINT8 local[16] = {};
    UINT8 gateway[16] = {};
    arguments.Ipv6("RemoteIp", remote);
    UINT64 protocol = 17;
    UINT64 type = 0;
    if (arguments.More()) {
        protocol = arguments.WordOrNumber("Protocol", kProtocols, 0xFFFF);
    }
    if (arguments.More()) {
        type = arguments.WordOrNumber("IPAddressOrigin", kIpv6Types, 2);
    }
    if (arguments.More()) {
        arguments.Ipv6("LocalIp", local);
    }
    const UINT64 prefixLength = arguments.OptionalNumber("PrefixLength", 0xFF, 0);
    if (arguments.More()) {
        arguments.Ipv6("GatewayIPAddress", gateway);
    }
    node.WriteBytes(local);
    node.WriteBytes(remote);
    node.WriteZeros(4);
    node.WriteU16(UINT16(protocol));
    node.WriteU8(UINT8(type));
    node.WriteU8(UINT8(prefixLength));
    node.WriteBytes(gateway);
}

bool PrintDns(ByteReader& node, TextSink& sink, const PrintContext&) {
    const UINT8 isIpv6 = node.ReadU8();
    if (isIpv6 > 1 || (isIpv6 == 1 && node.Remaining() == 0)) {
        return false; // an empty list cannot say which family it is for
    }
    for (bool first = true; node.Remaining() >= 16; first = false) {
        const auto address = node.ReadBytes(16);
        if (!first) {
            sink.Put(',');
        }
        if (isIpv6 != 0) {
            PutIpv6(sink, address);
        } else if (AllZero(address.subspan(4))) {
            PutIpv4(sink, address);
        } else {
            return false;
        }
    }
    return true;
}

void ParseDns(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    TextArguments ahead = arguments;
    const bool isIpv6 = ahead.Text("").find(u':') != std::u16string_view::npos;
    node.WriteU8(isIpv6 ? 1 : 0);
    while (arguments.More()) {
        UINT8 address[16] = {};
        if (isIpv6) {
            arguments.Ipv6("", address);
        } else {
            arguments.Ipv4("", std::span(address).first(4));
        }
        node.WriteBytes(address);
    }
}

// ---- iSCSI

constexpr Word kHeaderDigests[] = {{"None", 0},
                                   {"CRC32C", ISCSI_LOGIN_OPTION_HEADER_DIGEST_CRC32C}};
constexpr Word kDataDigests[] = {{"None", 0}, {"CRC32C", ISCSI_LOGIN_OPTION_DATA_DIGEST_CRC32C}};
constexpr Word kAuthentications[] = {{"CHAP_BI", 0},
                                     {"None", ISCSI_LOGIN_OPTION_AUTHMETHOD_NONE},
                                     {"CHAP_UNI", ISCSI_LOGIN_OPTION_CHAP_UNI}};
constexpr Word kIscsiProtocols[] = {{"TCP", 0}};
constexpr UINT16 kHeaderDigestMask = 0x0003;
constexpr UINT16 kDataDigestMask = 0x000C;

bool PrintIscsi(ByteReader& node, TextSink& sink, const PrintContext& context) {
    const char* protocol = WordFor(kIscsiProtocols, node.ReadU16());
    const UINT16 options = node.ReadU16();
    const auto lun = node.ReadBytes(8);
    const UINT16 portalGroup = node.ReadU16();
    auto name = AsText(node.ReadRest());
    if (name.ends_with('\0')) {
        name.remove_suffix(1);
    }
    const char* header = WordFor(kHeaderDigests, options & kHeaderDigestMask);
    const char* data = WordFor(kDataDigests, options & kDataDigestMask);
    const char* authentication =
        WordFor(kAuthentications, options & ~(kHeaderDigestMask | kDataDigestMask));
    if (protocol == nullptr || header == nullptr || data == nullptr || authentication == nullptr ||
        !PutArgument(sink, name, context)) {
        return false;
    }
    sink.Print(",0x%x,0x", portalGroup);
    sink.PutHex(lun);
    sink.Print(",%a,%a,%a,%a", header, data, authentication, protocol);
    return true;
}

void ParseIscsi(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    const auto name = arguments.Text("TargetName");
    const UINT64 portalGroup = arguments.Number("PortalGroup", 0xFFFF);
    UINT8 lun[8];
    arguments.Hex("LUN", lun);
    UINT64 options = arguments.WordOrNumber("HeaderDigest", kHeaderDigests, 0);
    options |= arguments.WordOrNumber("DataDigest", kDataDigests, 0);
    options |= arguments.WordOrNumber("Authentication", kAuthentications, 0);
    const UINT64 protocol =
        arguments.More() ? arguments.WordOrNumber("Protocol", kIscsiProtocols, 0) : 0;
    node.WriteU16(UINT16(protocol));
    node.WriteU16(UINT16(options));
    node.WriteBytes(lun);
    node.WriteU16(UINT16(portalGroup));
    arguments.WriteAscii(name, node);
}

// ---- NVMe over Fabrics: the identifier's form tells its type

enum NamespaceIdType : UINT8 { kEui64 = 1, kNguid = 2, kUuid = 3 };

bool PrintNvmeof(ByteReader& node, TextSink& sink, const PrintContext& context) {
    const UINT8 type = node.ReadU8();
    const auto id = node.ReadBytes(16);
    const auto name = node.ReadAsciiString();
    if (!node.Ok() || type < kEui64 || type > kUuid || !PutArgument(sink, name, context)) {
        return false;
    }
    sink.Put(',');
    if (type == kEui64) {
        for (size_t i = 0; i < 8; i++) {
            sink.Print(i == 0 ? "%02x" : "-%02x", id[i]);
        }
        return AllZero(id.subspan(8));
    }
    for (size_t i = 0; i < id.size(); i++) {
        if (type == kUuid && (i == 4 || i == 6 || i == 8 || i == 10)) {
            sink.Put('-');
        }
        sink.PutHex(id.subspan(i, 1));
    }
    return true;
}

void ParseNvmeof(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    const auto name = arguments.Text("NQN");
    TextArguments ahead = arguments;
    const size_t length = ahead.Text("NID").size();
    UINT8 id[16] = {};
    if (length == kGuidTextLength) {
        const EFI_GUID uuid = arguments.Guid("NID");
        // The identifier keeps a UUID's bytes in the order of its digits.
        const UINT8 head[] = {UINT8(uuid.Data1 >> 24), UINT8(uuid.Data1 >> 16),
                              UINT8(uuid.Data1 >> 8),  UINT8(uuid.Data1),
                              UINT8(uuid.Data2 >> 8),  UINT8(uuid.Data2),
                              UINT8(uuid.Data3 >> 8),  UINT8(uuid.Data3)};
        node.WriteU8(kUuid);
        node.WriteBytes(head);
        node.WriteBytes(uuid.Data4);
    } else if (length == 2 * sizeof(id)) {
        arguments.Hex("NID", id);
        node.WriteU8(kNguid);
        node.WriteBytes(id);
    } else {
        arguments.Hex("NID", std::span(id).first(8), '-');
        node.WriteU8(kEui64);
        node.WriteBytes(id);
    }
    arguments.WriteAscii(name, node);
    node.WriteU8(0);
}

// ---- URI, REST

bool PrintUri(ByteReader& node, TextSink& sink, const PrintContext&) {
    size_t depth = 0;
    for (const char c : AsText(node.ReadRest())) {
        if (c <= 0x20 || c > 0x7E || c == '"' || (c == ')' && depth == 0)) {
            return false;
        }
        depth += c == '(' ? 1 : 0;
        depth -= c == ')' ? 1 : 0;
        sink.Put(char16_t(c));
    }
    return depth == 0;
}

void ParseUri(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    arguments.WriteAscii(arguments.Rest(), node);
}

constexpr UINT8 kRestVendorSpecific = 0xFF;

bool PrintRest(ByteReader& node, TextSink& sink, const PrintContext& context) {
    const UINT8 service = node.ReadU8();
    sink.Print("0x%x,0x%x", service, node.ReadU8());
    if (service == kRestVendorSpecific) {
        sink.Put(',');
        return PrintVendor(node, sink, context);
    }
    return true;
}

void ParseRest(TextArguments& arguments, ByteWriter& node, const NodeText& row) {
    const UINT64 service = arguments.Number("Type", 0xFF);
    node.WriteU8(UINT8(service));
    node.WriteU8(UINT8(arguments.Number("Mode", 0xFF)));
    if (service == kRestVendorSpecific) {
        ParseVendor(arguments, node, row);
    }
}

// ---- InfiniBand, wireless

bool PrintInfiniBand(ByteReader& node, TextSink& sink, const PrintContext&) {
    sink.Print("0x%x,", node.ReadU32());
    sink.Print("%g", node.ReadGuid());
    for (int i = 0; i < 3; i++) {
        sink.Print(",0x%lx", node.ReadU64());
    }
    return true;
}

void ParseInfiniBand(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    node.WriteU32(UINT32(arguments.Number("Flags", 0xFFFFFFFF)));
    node.WriteGuid(arguments.Guid("Guid"));
    node.WriteU64(arguments.Number("ServiceId", ~UINT64(0)));
    node.WriteU64(arguments.Number("TargetId", ~UINT64(0)));
    node.WriteU64(arguments.Number("DeviceId", ~UINT64(0)));
}

bool PrintBluetooth(ByteReader& node, TextSink& sink, const PrintContext&) {
    sink.PutHex(node.ReadBytes(6));
    return true;
}

void ParseBluetooth(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    UINT8 address[6];
    arguments.Hex("Address", address);
    node.WriteBytes(address);
}

bool PrintBluetoothLe(ByteReader& node, TextSink& sink, const PrintContext&) {
    sink.PutHex(node.ReadBytes(6));
    sink.Print(",0x%02x", node.ReadU8());
    return true;
}

void ParseBluetoothLe(TextArguments& arguments, ByteWriter& node, const NodeText& row) {
    ParseBluetooth(arguments, node, row);
    node.WriteU8(UINT8(arguments.OptionalNumber("AddressType", 0xFF, 0)));
}

constexpr size_t kSsidSize = 32;

bool PrintWiFi(ByteReader& node, TextSink& sink, const PrintContext& context) {
    auto name = AsText(node.ReadBytes(kSsidSize));
    while (name.ends_with('\0')) {
        name.remove_suffix(1);
    }
    return PutArgument(sink, name, context);
}

void ParseWiFi(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    const auto name = arguments.Text("SSID");
    if (name.size() > kSsidSize) {
        arguments.Fail(name.substr(kSsidSize));
        return;
    }
    arguments.WriteAscii(name, node);
    node.WriteZeros(kSsidSize - name.size());
}

constexpr NodeText Message(UINT8 subType, const char* name, decltype(NodeText::print) print,
                           decltype(NodeText::parse) parse) {
    return {.type = kDevicePathTypeMessaging,
            .subType = subType,
            .name = name,
            .print = print,
            .parse = parse};
}

constexpr NodeText kNetwork[] = {
    Message(kMessagingSubTypeMacAddress, "MAC", PrintMac, ParseMac),
    Message(kMessagingSubTypeIpv4, "IPv4", PrintIpv4Node, ParseIpv4Node),
    Message(kMessagingSubTypeIpv6, "IPv6", PrintIpv6Node, ParseIpv6Node),
    {kDevicePathTypeMessaging, kMessagingSubTypeVlan, "Vlan", kVlan, 2},
    Message(kMessagingSubTypeDns, "Dns", PrintDns, ParseDns),
    Message(kMessagingSubTypeIScsi, "iSCSI", PrintIscsi, ParseIscsi),
    Message(kMessagingSubTypeNvmeofNamespace, "NVMEoF", PrintNvmeof, ParseNvmeof),
    Message(kMessagingSubTypeUri, "Uri", PrintUri, ParseUri),
    Message(kMessagingSubTypeRestService, "RestService", PrintRest, ParseRest),
    Message(kMessagingSubTypeInfiniBand, "Infiniband", PrintInfiniBand, ParseInfiniBand),
    Message(kMessagingSubTypeBluetooth, "Bluetooth", PrintBluetooth, ParseBluetooth),
    Message(kMessagingSubTypeBluetoothLe, "BluetoothLE", PrintBluetoothLe, ParseBluetoothLe),
    Message(kMessagingSubTypeWiFi, "Wi-Fi", PrintWiFi, ParseWiFi),
};

} // namespace

std::span<const NodeText> NetworkNodeTexts() {
    return kNetwork;
}

} // namespace kelm
