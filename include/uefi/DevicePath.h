// Device paths: the generic node, every node type and subtype with its record, the vendor GUIDs of
// terminal, flow control, SAS and RAM disk nodes, and the header and attributes of load options
// (UEFI 2.10, sections 3.1.3 and 10.3).
//
// Nodes lie unaligned, one behind the other, so every record here is packed. A record describes the
// fixed part of a node; what follows it (strings, lists) is named in a comment. A node's length is
// the two bytes in its header, little-endian, and never less than four in a valid path.
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiDevicePathProtocolGuid = {
    0x09576E91, 0x6D3F, 0x11D2, {0x8E, 0x39, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};

struct EFI_DEVICE_PATH_PROTOCOL {
    UINT8 Type;
    UINT8 SubType;
    UINT8 Length[2]; // of the whole node, header included
};
static_assert(sizeof(EFI_DEVICE_PATH_PROTOCOL) == 4 && alignof(EFI_DEVICE_PATH_PROTOCOL) == 1);

template <>
struct ProtocolGuid<EFI_DEVICE_PATH_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiDevicePathProtocolGuid;
};

// Node types.
inline constexpr UINT8 kDevicePathTypeHardware = 0x01;
inline constexpr UINT8 kDevicePathTypeAcpi = 0x02;
inline constexpr UINT8 kDevicePathTypeMessaging = 0x03;
inline constexpr UINT8 kDevicePathTypeMedia = 0x04;
inline constexpr UINT8 kDevicePathTypeBbs = 0x05;
inline constexpr UINT8 kDevicePathTypeEnd = 0x7F;

// Subtypes of the end node.
inline constexpr UINT8 kEndSubTypeInstance = 0x01;
inline constexpr UINT8 kEndSubTypeEntire = 0xFF;

// Subtypes of hardware nodes.
inline constexpr UINT8 kHardwareSubTypePci = 0x01;
inline constexpr UINT8 kHardwareSubTypePcCard = 0x02;
inline constexpr UINT8 kHardwareSubTypeMemoryMapped = 0x03;
inline constexpr UINT8 kHardwareSubTypeVendor = 0x04;
inline constexpr UINT8 kHardwareSubTypeController = 0x05;
inline constexpr UINT8 kHardwareSubTypeBmc = 0x06;

// Subtypes of ACPI nodes.
inline constexpr UINT8 kAcpiSubTypeAcpi = 0x01;
inline constexpr UINT8 kAcpiSubTypeExpanded = 0x02;
inline constexpr UINT8 kAcpiSubTypeAdr = 0x03;
inline constexpr UINT8 kAcpiSubTypeNvdimm = 0x04;

// Subtypes of messaging nodes.
inline constexpr UINT8 kMessagingSubTypeAtapi = 0x01;
inline constexpr UINT8 kMessagingSubTypeScsi = 0x02;
inline constexpr UINT8 kMessagingSubTypeFibreChannel = 0x03;
inline constexpr UINT8 kMessagingSubType1394 = 0x04;
inline constexpr UINT8 kMessagingSubTypeUsb = 0x05;
inline constexpr UINT8 kMessagingSubTypeI2o = 0x06;
inline constexpr UINT8 kMessagingSubTypeInfiniBand = 0x09;
inline constexpr UINT8 kMessagingSubTypeVendor = 0x0A;
inline constexpr UINT8 kMessagingSubTypeMacAddress = 0x0B;
inline constexpr UINT8 kMessagingSubTypeIpv4 = 0x0C;
inline constexpr UINT8 kMessagingSubTypeIpv6 = 0x0D;
inline constexpr UINT8 kMessagingSubTypeUart = 0x0E;
inline constexpr UINT8 kMessagingSubTypeUsbClass = 0x0F;
inline constexpr UINT8 kMessagingSubTypeUsbWwid = 0x10;
inline constexpr UINT8 kMessagingSubTypeLogicalUnit = 0x11;
inline constexpr UINT8 kMessagingSubTypeSata = 0x12;
inline constexpr UINT8 kMessagingSubTypeIScsi = 0x13;
inline constexpr UINT8 kMessagingSubTypeVlan = 0x14;
inline constexpr UINT8 kMessagingSubTypeFibreChannelEx = 0x15;
inline constexpr UINT8 kMessagingSubTypeSasEx = 0x16;
inline constexpr UINT8 kMessagingSubTypeNvmeNamespace = 0x17;
inline constexpr UINT8 kMessagingSubTypeUri = 0x18;
inline constexpr UINT8 kMessagingSubTypeUfs = 0x19;
inline constexpr UINT8 kMessagingSubTypeSd = 0x1A;
inline constexpr UINT8 kMessagingSubTypeBluetooth = 0x1B;
inline constexpr UINT8 kMessagingSubTypeWiFi = 0x1C;
inline constexpr UINT8 kMessagingSubTypeEmmc = 0x1D;
inline constexpr UINT8 kMessagingSubTypeBluetoothLe = 0x1E;
inline constexpr UINT8 kMessagingSubTypeDns = 0x1F;
inline constexpr UINT8 kMessagingSubTypeNvdimmNamespace = 0x20;
inline constexpr UINT8 kMessagingSubTypeRestService = 0x21;
inline constexpr UINT8 kMessagingSubTypeNvmeofNamespace = 0x22;

// Subtypes of media nodes.
inline constexpr UINT8 kMediaSubTypeHardDrive = 0x01;
inline constexpr UINT8 kMediaSubTypeCdRom = 0x02;
inline constexpr UINT8 kMediaSubTypeVendor = 0x03;
inline constexpr UINT8 kMediaSubTypeFilePath = 0x04;
inline constexpr UINT8 kMediaSubTypeProtocol = 0x05;
inline constexpr UINT8 kMediaSubTypeFirmwareFile = 0x06;
inline constexpr UINT8 kMediaSubTypeFirmwareVolume = 0x07;
inline constexpr UINT8 kMediaSubTypeRelativeOffset = 0x08;
inline constexpr UINT8 kMediaSubTypeRamDisk = 0x09;

// Subtypes of BIOS boot specification nodes.
inline constexpr UINT8 kBbsSubTypeBbs = 0x01;

// ---- Hardware nodes

struct [[gnu::packed]] PCI_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 Function;
    UINT8 Device;
};
static_assert(sizeof(PCI_DEVICE_PATH) == 6);

struct [[gnu::packed]] PCCARD_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 FunctionNumber;
};
static_assert(sizeof(PCCARD_DEVICE_PATH) == 5);

struct [[gnu::packed]] MEMMAP_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 MemoryType;
    EFI_PHYSICAL_ADDRESS StartingAddress;
    EFI_PHYSICAL_ADDRESS EndingAddress;
};
static_assert(sizeof(MEMMAP_DEVICE_PATH) == 24);

// Hardware, messaging and media vendor nodes alike; vendor data follows.
struct [[gnu::packed]] VENDOR_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    EFI_GUID Guid;
};
static_assert(sizeof(VENDOR_DEVICE_PATH) == 20);

struct [[gnu::packed]] CONTROLLER_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 ControllerNumber;
};
static_assert(sizeof(CONTROLLER_DEVICE_PATH) == 8);

struct [[gnu::packed]] BMC_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 InterfaceType; // 0 unknown, 1 KCS, 2 SMIC, 3 BT
    UINT64 BaseAddress;
};
static_assert(sizeof(BMC_DEVICE_PATH) == 13);

// ---- ACPI nodes

struct [[gnu::packed]] ACPI_HID_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 HID; // compressed EISA identifier
    UINT32 UID;
};
static_assert(sizeof(ACPI_HID_DEVICE_PATH) == 12);

// Followed by three null-terminated ASCII strings: HIDSTR, UIDSTR, CIDSTR.
struct [[gnu::packed]] ACPI_EXTENDED_HID_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 HID;
    UINT32 UID;
    UINT32 CID;
};
static_assert(sizeof(ACPI_EXTENDED_HID_DEVICE_PATH) == 16);

// Further _ADR values may follow.
struct [[gnu::packed]] ACPI_ADR_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 ADR;
};
static_assert(sizeof(ACPI_ADR_DEVICE_PATH) == 8);

struct [[gnu::packed]] ACPI_NVDIMM_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 NFITDeviceHandle;
};
static_assert(sizeof(ACPI_NVDIMM_DEVICE_PATH) == 8);

// The compressed EISA identifier of a three-letter vendor and a product number.
constexpr UINT32 EISA_ID(char a, char b, char c, UINT16 product) {
    return ((UINT32(a - 'A' + 1) & 0x1F) << 10) | ((UINT32(b - 'A' + 1) & 0x1F) << 5) |
           (UINT32(c - 'A' + 1) & 0x1F) | (UINT32(product) << 16);
}
constexpr UINT32 EISA_PNP_ID(UINT16 product) {
    return EISA_ID('P', 'N', 'P', product);
}
static_assert(EISA_PNP_ID(0x0A03) == 0x0A0341D0);

inline constexpr UINT32 kEisaIdPciRoot = EISA_PNP_ID(0x0A03);
inline constexpr UINT32 kEisaIdPcieRoot = EISA_PNP_ID(0x0A08);
inline constexpr UINT32 kEisaIdFloppy = EISA_PNP_ID(0x0604);
inline constexpr UINT32 kEisaIdKeyboard = EISA_PNP_ID(0x0301);
inline constexpr UINT32 kEisaIdSerial = EISA_PNP_ID(0x0501);
inline constexpr UINT32 kEisaIdParallel = EISA_PNP_ID(0x0401);

// ---- Messaging nodes

struct [[gnu::packed]] ATAPI_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 PrimarySecondary;
    UINT8 SlaveMaster;
    UINT16 Lun;
};
static_assert(sizeof(ATAPI_DEVICE_PATH) == 8);

struct [[gnu::packed]] SCSI_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT16 Pun;
    UINT16 Lun;
};
static_assert(sizeof(SCSI_DEVICE_PATH) == 8);

struct [[gnu::packed]] FIBRECHANNEL_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 Reserved;
    UINT64 WWN;
    UINT64 Lun;
};
static_assert(sizeof(FIBRECHANNEL_DEVICE_PATH) == 24);

// WWN and Lun are big-endian byte arrays.
struct [[gnu::packed]] FIBRECHANNELEX_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 Reserved;
    UINT8 WWN[8];
    UINT8 Lun[8];
};
static_assert(sizeof(FIBRECHANNELEX_DEVICE_PATH) == 24);

struct [[gnu::packed]] F1394_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 Reserved;
    UINT64 Guid;
};
static_assert(sizeof(F1394_DEVICE_PATH) == 16);

struct [[gnu::packed]] USB_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 ParentPortNumber;
    UINT8 InterfaceNumber;
};
static_assert(sizeof(USB_DEVICE_PATH) == 6);

// 0xFFFF in an identifier and 0xFF in a class field match any device.
struct [[gnu::packed]] USB_CLASS_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT16 VendorId;
    UINT16 ProductId;
    UINT8 DeviceClass;
    UINT8 DeviceSubClass;
    UINT8 DeviceProtocol;
};
static_assert(sizeof(USB_CLASS_DEVICE_PATH) == 11);

// Followed by the last characters of the serial number, CHAR16, without a terminating null.
struct [[gnu::packed]] USB_WWID_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT16 InterfaceNumber;
    UINT16 VendorId;
    UINT16 ProductId;
};
static_assert(sizeof(USB_WWID_DEVICE_PATH) == 10);

struct [[gnu::packed]] DEVICE_LOGICAL_UNIT_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 Lun;
};
static_assert(sizeof(DEVICE_LOGICAL_UNIT_DEVICE_PATH) == 5);

inline constexpr UINT16 SATA_HBA_DIRECT_CONNECT_FLAG =
    0x8000; // older form, in the multiplier field
inline constexpr UINT16 kSataNoPortMultiplier = 0xFFFF;

struct [[gnu::packed]] SATA_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT16 HBAPortNumber;
    UINT16 PortMultiplierPortNumber;
    UINT16 Lun;
};
static_assert(sizeof(SATA_DEVICE_PATH) == 10);

struct [[gnu::packed]] I2O_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 Tid;
};
static_assert(sizeof(I2O_DEVICE_PATH) == 8);

// The address fills the first bytes of MacAddress (6 for Ethernet); the rest is zero.
struct [[gnu::packed]] MAC_ADDR_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 MacAddress[32];
    UINT8 IfType; // RFC 3232: 1 is Ethernet
};
static_assert(sizeof(MAC_ADDR_DEVICE_PATH) == 37);

struct [[gnu::packed]] IPv4_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 LocalIpAddress[4];
    UINT8 RemoteIpAddress[4];
    UINT16 LocalPort;
    UINT16 RemotePort;
    UINT16 Protocol;
    BOOLEAN StaticIpAddress; // 0: assigned by DHCP
    UINT8 GatewayIpAddress[4];
    UINT8 SubnetMask[4];
};
static_assert(sizeof(IPv4_DEVICE_PATH) == 27);
inline constexpr UINTN kIpv4NodeShortLength = 19; // older form, without gateway and mask

struct [[gnu::packed]] IPv6_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 LocalIpAddress[16];
    UINT8 RemoteIpAddress[16];
    UINT16 LocalPort;
    UINT16 RemotePort;
    UINT16 Protocol;
    UINT8 IpAddressOrigin; // 0 static, 1 stateless, 2 stateful
    UINT8 PrefixLength;
    UINT8 GatewayIpAddress[16];
};
static_assert(sizeof(IPv6_DEVICE_PATH) == 60);

struct [[gnu::packed]] VLAN_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT16 VlanId; // 0 to 4094
};
static_assert(sizeof(VLAN_DEVICE_PATH) == 6);

struct [[gnu::packed]] INFINIBAND_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 ResourceFlags;
    UINT8 PortGid[16];
    UINT64 ServiceId; // or the I/O controller GUID, by ResourceFlags bit 0
    UINT64 TargetPortId;
    UINT64 DeviceId;
};
static_assert(sizeof(INFINIBAND_DEVICE_PATH) == 48);

struct [[gnu::packed]] UART_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 Reserved;
    UINT64 BaudRate; // 0: the device's default
    UINT8 DataBits;  // 0: default
    UINT8 Parity;    // 0 default, 1 none, 2 even, 3 odd, 4 mark, 5 space
    UINT8 StopBits;  // 0 default, 1 one, 2 one and a half, 3 two
};
static_assert(sizeof(UART_DEVICE_PATH) == 19);

// A messaging vendor node with gEfiUartDevicePathGuid.
struct [[gnu::packed]] UART_FLOW_CONTROL_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    EFI_GUID Guid;
    UINT32 FlowControlMap; // bit 0 hardware (RTS/CTS), bit 1 software (XON/XOFF)
};
static_assert(sizeof(UART_FLOW_CONTROL_DEVICE_PATH) == 24);
inline constexpr UINT32 UART_FLOW_CONTROL_HARDWARE = 0x00000001u;
inline constexpr UINT32 UART_FLOW_CONTROL_XON_XOFF = 0x00000002u;

// A messaging vendor node with gEfiSasDevicePathGuid.
struct [[gnu::packed]] SAS_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    EFI_GUID Guid;
    UINT32 Reserved;
    UINT64 SasAddress;
    UINT64 Lun;
    UINT16 DeviceTopology;
    UINT16 RelativeTargetPort;
};
static_assert(sizeof(SAS_DEVICE_PATH) == 44);

// SasAddress and Lun are big-endian byte arrays.
struct [[gnu::packed]] SASEX_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 SasAddress[8];
    UINT8 Lun[8];
    UINT16 DeviceTopology;
    UINT16 RelativeTargetPort;
};
static_assert(sizeof(SASEX_DEVICE_PATH) == 24);

// Followed by the target name, ASCII; it ends with the node.
struct [[gnu::packed]] ISCSI_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT16 NetworkProtocol; // 0 TCP
    UINT16 LoginOption;
    UINT8 Lun[8]; // big-endian
    UINT16 TargetPortalGroupTag;
};
static_assert(sizeof(ISCSI_DEVICE_PATH) == 18);
inline constexpr UINT16 ISCSI_LOGIN_OPTION_HEADER_DIGEST_CRC32C = 0x0002;
inline constexpr UINT16 ISCSI_LOGIN_OPTION_DATA_DIGEST_CRC32C = 0x0008;
inline constexpr UINT16 ISCSI_LOGIN_OPTION_AUTHMETHOD_NONE = 0x0800;
inline constexpr UINT16 ISCSI_LOGIN_OPTION_CHAP_UNI = 0x1000;

struct [[gnu::packed]] NVME_NAMESPACE_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 NamespaceId;
    UINT64 NamespaceUuid; // EUI-64; 0 when the namespace has none
};
static_assert(sizeof(NVME_NAMESPACE_DEVICE_PATH) == 16);

// Followed by the subsystem NQN, UTF-8, null-terminated.
struct [[gnu::packed]] NVMEOF_NAMESPACE_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 NamespaceIdType; // 1 EUI-64, 2 NGUID, 3 UUID
    UINT8 NamespaceId[16];
};
static_assert(sizeof(NVMEOF_NAMESPACE_DEVICE_PATH) == 21);

// Followed by the URI, without a terminating null; it may be empty.
struct [[gnu::packed]] URI_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
};
static_assert(sizeof(URI_DEVICE_PATH) == 4);

struct [[gnu::packed]] UFS_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 Pun;
    UINT8 Lun;
};
static_assert(sizeof(UFS_DEVICE_PATH) == 6);

struct [[gnu::packed]] SD_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 SlotNumber;
};
static_assert(sizeof(SD_DEVICE_PATH) == 5);

struct [[gnu::packed]] EMMC_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 SlotNumber;
};
static_assert(sizeof(EMMC_DEVICE_PATH) == 5);

struct [[gnu::packed]] BLUETOOTH_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 BD_ADDR[6];
};
static_assert(sizeof(BLUETOOTH_DEVICE_PATH) == 10);

struct [[gnu::packed]] BLUETOOTH_LE_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 Address[6];
    UINT8 AddressType; // 0 public, 1 random
};
static_assert(sizeof(BLUETOOTH_LE_DEVICE_PATH) == 11);

struct [[gnu::packed]] WIFI_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 SSId[32];
};
static_assert(sizeof(WIFI_DEVICE_PATH) == 36);

// Followed by DNS server addresses, 16 bytes each.
struct [[gnu::packed]] DNS_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 IsIPv6;
};
static_assert(sizeof(DNS_DEVICE_PATH) == 5);

struct [[gnu::packed]] NVDIMM_NAMESPACE_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    EFI_GUID Uuid;
};
static_assert(sizeof(NVDIMM_NAMESPACE_DEVICE_PATH) == 20);

// A vendor-specific service (0xFF) is followed by a GUID and vendor data.
struct [[gnu::packed]] REST_SERVICE_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT8 RESTService; // 1 Redfish, 2 OData, 0xFF vendor-specific
    UINT8 AccessMode;  // 1 in-band, 2 out-of-band
};
static_assert(sizeof(REST_SERVICE_DEVICE_PATH) == 6);

// ---- Media nodes

inline constexpr UINT8 MBR_TYPE_PCAT = 0x01;
inline constexpr UINT8 MBR_TYPE_EFI_PARTITION_TABLE_HEADER = 0x02;
inline constexpr UINT8 NO_DISK_SIGNATURE = 0x00;
inline constexpr UINT8 SIGNATURE_TYPE_MBR = 0x01;
inline constexpr UINT8 SIGNATURE_TYPE_GUID = 0x02;

struct [[gnu::packed]] HARDDRIVE_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 PartitionNumber; // 1-based
    UINT64 PartitionStart;  // in blocks
    UINT64 PartitionSize;   // in blocks
    UINT8 Signature[16];    // GPT: partition GUID; MBR: its 4-byte disk signature, then zeros
    UINT8 MBRType;
    UINT8 SignatureType;
};
static_assert(sizeof(HARDDRIVE_DEVICE_PATH) == 42);

struct [[gnu::packed]] CDROM_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 BootEntry;
    UINT64 PartitionStart; // in blocks
    UINT64 PartitionSize;  // in blocks
};
static_assert(sizeof(CDROM_DEVICE_PATH) == 24);

// Followed by the path name, CHAR16, null-terminated.
struct [[gnu::packed]] FILEPATH_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
};
static_assert(sizeof(FILEPATH_DEVICE_PATH) == 4);

struct [[gnu::packed]] MEDIA_PROTOCOL_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    EFI_GUID Protocol;
};
static_assert(sizeof(MEDIA_PROTOCOL_DEVICE_PATH) == 20);

struct [[gnu::packed]] MEDIA_FW_VOL_FILEPATH_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    EFI_GUID FvFileName;
};
static_assert(sizeof(MEDIA_FW_VOL_FILEPATH_DEVICE_PATH) == 20);

struct [[gnu::packed]] MEDIA_FW_VOL_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    EFI_GUID FvName;
};
static_assert(sizeof(MEDIA_FW_VOL_DEVICE_PATH) == 20);

struct [[gnu::packed]] MEDIA_RELATIVE_OFFSET_RANGE_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT32 Reserved;
    UINT64 StartingOffset;
    UINT64 EndingOffset;
};
static_assert(sizeof(MEDIA_RELATIVE_OFFSET_RANGE_DEVICE_PATH) == 24);

struct [[gnu::packed]] MEDIA_RAM_DISK_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT64 StartingAddr;
    UINT64 EndingAddr;
    EFI_GUID TypeGuid;
    UINT16 Instance;
};
static_assert(sizeof(MEDIA_RAM_DISK_DEVICE_PATH) == 38);

// ---- BIOS boot specification nodes

// Followed by the description, ASCII, null-terminated.
struct [[gnu::packed]] BBS_BBS_DEVICE_PATH {
    EFI_DEVICE_PATH_PROTOCOL Header;
    UINT16 DeviceType;
    UINT16 StatusFlag;
};
static_assert(sizeof(BBS_BBS_DEVICE_PATH) == 8);

// BBS_BBS_DEVICE_PATH::DeviceType.
inline constexpr UINT16 BBS_TYPE_FLOPPY = 0x01;
inline constexpr UINT16 BBS_TYPE_HARDDRIVE = 0x02;
inline constexpr UINT16 BBS_TYPE_CDROM = 0x03;
inline constexpr UINT16 BBS_TYPE_PCMCIA = 0x04;
inline constexpr UINT16 BBS_TYPE_USB = 0x05;
inline constexpr UINT16 BBS_TYPE_EMBEDDED_NETWORK = 0x06;
inline constexpr UINT16 BBS_TYPE_BEV = 0x80;
inline constexpr UINT16 BBS_TYPE_UNKNOWN = 0xFF;

// ---- GUIDs in vendor nodes

// Terminal types of a messaging vendor node below a UART.
inline constexpr EFI_GUID gEfiPcAnsiGuid = {
    0xE0C14753, 0xF9BE, 0x11D2, {0x9A, 0x0C, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
inline constexpr EFI_GUID gEfiVT100Guid = {
    0xDFA66065, 0xB419, 0x11D3, {0x9A, 0x2D, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
inline constexpr EFI_GUID gEfiVT100PlusGuid = {
    0x7BAEC70B, 0x57E0, 0x4C76, {0x8E, 0x87, 0x2F, 0x9E, 0x28, 0x08, 0x83, 0x43}};
inline constexpr EFI_GUID gEfiVTUTF8Guid = {
    0xAD15A0D6, 0x8BEC, 0x4ACF, {0xA0, 0x73, 0xD0, 0x1D, 0xE7, 0x7E, 0x2D, 0x88}};

inline constexpr EFI_GUID gEfiUartDevicePathGuid = {
    0x37499A9D, 0x542F, 0x4C89, {0xA0, 0x26, 0x35, 0xDA, 0x14, 0x20, 0x94, 0xE4}};
inline constexpr EFI_GUID gEfiSasDevicePathGuid = {
    0xD487DDB4, 0x008B, 0x11D9, {0xAF, 0xDC, 0x00, 0x10, 0x83, 0xFF, 0xCA, 0x4D}};
inline constexpr EFI_GUID gEfiDebugPortDevicePathGuid = {
    0xEBA4E8D2, 0x3858, 0x41EC, {0xA2, 0x81, 0x26, 0x47, 0xBA, 0x96, 0x60, 0xD0}};

// RAM disk types.
inline constexpr EFI_GUID gEfiVirtualDiskGuid = {
    0x77AB535A, 0x45FC, 0x624B, {0x55, 0x60, 0xF7, 0xB2, 0x81, 0xD1, 0xF9, 0x6E}};
inline constexpr EFI_GUID gEfiVirtualCdGuid = {
    0x3D5ABD30, 0x4175, 0x87CE, {0x6D, 0x64, 0xD2, 0xAD, 0xE5, 0x23, 0xC4, 0xBB}};
inline constexpr EFI_GUID gEfiPersistentVirtualDiskGuid = {
    0x5CEA02C9, 0x4D07, 0x69D3, {0x26, 0x9F, 0x44, 0x96, 0xFB, 0xE0, 0x96, 0xF9}};
inline constexpr EFI_GUID gEfiPersistentVirtualCdGuid = {
    0x08018188, 0x42CD, 0xBB48, {0x10, 0x0F, 0x53, 0x87, 0xD5, 0x3D, 0xED, 0x3D}};

// ---- Load options

inline constexpr UINT32 LOAD_OPTION_ACTIVE = 0x00000001u;
inline constexpr UINT32 LOAD_OPTION_FORCE_RECONNECT = 0x00000002u;
inline constexpr UINT32 LOAD_OPTION_HIDDEN = 0x00000008u;
inline constexpr UINT32 LOAD_OPTION_CATEGORY = 0x00001F00u;
inline constexpr UINT32 LOAD_OPTION_CATEGORY_BOOT = 0x00000000u;
inline constexpr UINT32 LOAD_OPTION_CATEGORY_APP = 0x00000100u;

// Head of Boot####, Driver####, SysPrep#### and the like. Followed by the description (CHAR16,
// null-terminated), the file path list (FilePathListLength bytes) and the optional data.
struct [[gnu::packed]] EFI_LOAD_OPTION {
    UINT32 Attributes;
    UINT16 FilePathListLength;
};
static_assert(sizeof(EFI_LOAD_OPTION) == 6);
