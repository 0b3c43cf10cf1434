// Names of the BIOS settings that BDS reads and writes (kelm/AttributeProtocol.h), and the values
// that it compares with. Settings of devices and indexed settings are given by stem: the name is
// prefix + suffix, or the stem and a decimal number from 1.
#pragma once

#include "uefi/Base.h"

// Values shared by many settings.
inline constexpr CHAR16 kAttributeEnabled[] = u"Enabled";
inline constexpr CHAR16 kAttributeDisabled[] = u"Disabled";
inline constexpr CHAR16 kAttributeOn[] = u"On";
inline constexpr CHAR16 kAttributeOff[] = u"Off";
inline constexpr CHAR16 kAttributeNone[] = u"None";

// POST and board.
inline constexpr CHAR16 kAttributeChassisSledInfo[] = u"ChassisSledInfo";     // raw, 1 byte
inline constexpr CHAR16 kAttributePowerCycleRequest[] = u"PowerCycleRequest"; // "FullPowerCycle"
inline constexpr CHAR16 kAttributeFullPowerCycle[] = u"FullPowerCycle";
inline constexpr CHAR16 kAttributeEsiCustomSettings[] = u"EsiCustomSettings"; // secondary reader
inline constexpr CHAR16 kAttributeFrb2Timer[] = u"Frb2Timer";
inline constexpr CHAR16 kAttributeForcePxeBootFirst[] = u"ForcePxeBootFirst";
inline constexpr CHAR16 kAttributeBootManagerPassword[] = u"BootmanagerPassword"; // "Always"
inline constexpr CHAR16 kAttributeAlways[] = u"Always";
inline constexpr CHAR16 kAttributeServiceTag[] = u"ServiceTag"; // at most 7 characters
inline constexpr CHAR16 kAttributeAssetTag[] = u"AssetTag";     // at most 63 characters
inline constexpr CHAR16 kAttributeMfgSuppressReboots[] = u"MfgSuppressReboots"; // raw, 2 bytes
inline constexpr CHAR16 kAttributeNumLock[] = u"NumLock";                       // "On"
inline constexpr CHAR16 kAttributeMemTest[] = u"MemTest";
inline constexpr CHAR16 kAttributeBootMode[] = u"BootMode"; // "Uefi"
inline constexpr CHAR16 kAttributeBootModeUefi[] = u"Uefi";
inline constexpr CHAR16 kAttributeExtendedPost[] = u"ExtendedPost";
inline constexpr CHAR16 kAttributeErrPrompt[] = u"ErrPrompt";
inline constexpr CHAR16 kAttributeF1F2ErrCode1[] = u"F1F2ErrCode1"; // identifier, or "0" when free
inline constexpr CHAR16 kAttributeF1F2ErrCode2[] = u"F1F2ErrCode2";
inline constexpr CHAR16 kAttributeErrCodeFree[] = u"0";

// USB.
inline constexpr CHAR16 kAttributeUsbPorts[] = u"UsbPorts";
inline constexpr CHAR16 kAttributeUsbPortsAllOn[] = u"AllOn";
inline constexpr CHAR16 kAttributeUsbPortsAllOff[] = u"AllOff";
inline constexpr CHAR16 kAttributeUsbPortsAllOffDynamic[] = u"AllOffDynamic";
inline constexpr CHAR16 kAttributeUsbPortsOnlyBackPortsOn[] = u"OnlyBackPortsOn";
inline constexpr CHAR16 kAttributeUsbEnableFrontPortsOnly[] = u"UsbEnableFrontPortsOnly";
inline constexpr CHAR16 kAttributeUsbManagedPort[] = u"UsbManagedPort";

// Storage and devices.
inline constexpr CHAR16 kAttributeEmbSata[] = u"EmbSata"; // "AhciMode", "RaidMode"
inline constexpr CHAR16 kAttributeEmbSataAhci[] = u"AhciMode";
inline constexpr CHAR16 kAttributeEmbSataRaid[] = u"RaidMode";
inline constexpr CHAR16 kAttributeVmdMode[] = u"VmdMode";
inline constexpr CHAR16 kAttributeEmbNic1[] = u"EmbNic1"; // "DisabledOs"
inline constexpr CHAR16 kAttributeEmbNic1DisabledOs[] = u"DisabledOs";

// Boot options and orders.
inline constexpr CHAR16 kAttributeGenericUsbBoot[] = u"GenericUsbBoot";
inline constexpr CHAR16 kAttributeHddPlaceholder[] = u"HddPlaceholder";
inline constexpr CHAR16 kAttributeHddPlaceholderTopOfBootOrder[] =
    u"HddPlaceholderTopOfBootOrder"; // secondary reader
inline constexpr CHAR16 kAttributeFixedDiskOnly[] = u"Fixed_Disk_Only";
inline constexpr CHAR16 kAttributeApplyBootOrderDefaults[] =
    u"ApplyBootOrderDefaults";                                                  // raw, 1 byte
inline constexpr CHAR16 kAttributeUefiVariableAccess[] = u"UefiVariableAccess"; // "Controlled"
inline constexpr CHAR16 kAttributeControlled[] = u"Controlled";
inline constexpr CHAR16 kAttributeRedundantOsLocation[] = u"RedundantOsLocation";
inline constexpr CHAR16 kAttributeRedundantOsState[] = u"RedundantOsState"; // "Visible"
inline constexpr CHAR16 kAttributeVisible[] = u"Visible";
inline constexpr CHAR16 kAttributeRedundantOsBoot[] = u"RedundantOsBoot";

// Orders by FQDD: stem and number.
inline constexpr CHAR16 kAttributeSetBootOrderFqdd[] = u"SetBootOrderFqdd";             // 1-16
inline constexpr CHAR16 kAttributeBootOrderBlackListFqdd[] = u"BootOrderBlackListFqdd"; // 1-16
inline constexpr CHAR16 kAttributeDefaultBootOrderFqdd[] = u"DefaultBootOrderFqdd";     // 1-16
inline constexpr CHAR16 kAttributeSetLegacyHddOrderFqdd[] = u"SetLegacyHddOrderFqdd";   // 1-16
inline constexpr CHAR16 kAttributeDefaultLegacyHddOrderFqdd[] =
    u"DefaultLegacyHddOrderFqdd"; // 1-16
inline constexpr CHAR16 kAttributeIntrnlSetUefiBootOrderFqdd[] =
    u"IntrnlSetUefiBootOrderFqdd"; // 1-8
inline constexpr CHAR16 kAttributeIntrnlSetLegacyBootOrderFqdd[] =
    u"IntrnlSetLegacyBootOrderFqdd"; // 1-8
inline constexpr CHAR16 kAttributeIntrnlSetLegacyHddOrderFqdd[] =
    u"IntrnlSetLegacyHddOrderFqdd"; // 1-4
inline constexpr UINTN kFqddAttributeCount = 16;
inline constexpr UINTN kInternalOrderFqddAttributeCount = 8;
inline constexpr UINTN kInternalHddOrderFqddAttributeCount = 4;
inline constexpr CHAR16 kAttributeIntrnlSetBootSeqDefault[] =
    u"IntrnlSetBootSeqDefault"; // "None", "Uefi", "Bios", "Both"
inline constexpr CHAR16 kAttributeSetBootOrderEn[] = u"SetBootOrderEn";
inline constexpr CHAR16 kAttributeSetBootOrderEn2[] = u"SetBootOrderEn2";
inline constexpr CHAR16 kAttributeSetBootOrderDis[] = u"SetBootOrderDis";
inline constexpr CHAR16 kAttributeSetBootOrderDis2[] = u"SetBootOrderDis2";
inline constexpr CHAR16 kAttributeBootOrderEnChanged[] = u"BootOrderEnChanged";   // raw, 1 byte
inline constexpr CHAR16 kAttributeBootOrderDisChanged[] = u"BootOrderDisChanged"; // raw, 1 byte

// Boot selection.
inline constexpr CHAR16 kAttributeOneTimeBootMode[] = u"OneTimeBootMode";
inline constexpr CHAR16 kAttributeOneTimeUefiBootSeq[] = u"OneTimeUefiBootSeq"; // values
inline constexpr CHAR16 kAttributeOneTimeBootSeq[] = u"OneTimeBootSeq";
inline constexpr CHAR16 kAttributeOneTimeHddSeq[] = u"OneTimeHddSeq";
inline constexpr CHAR16 kAttributeBootSeqRetry[] = u"BootSeqRetry"; // "Disabled", "Reset", other
inline constexpr CHAR16 kAttributeBootSeqRetryReset[] = u"Reset";
inline constexpr CHAR16 kAttributeOneTimeUefiBootPath[] = u"OneTimeUefiBootPath"; // path text

// Serial redirection.
inline constexpr CHAR16 kAttributeSerialComm[] = u"SerialComm";
inline constexpr CHAR16 kAttributeSerialPortAddress[] = u"SerialPortAddress";
inline constexpr CHAR16 kAttributeFailSafeBaud[] = u"FailSafeBaud";
inline constexpr CHAR16 kAttributeConTermType[] = u"ConTermType";
inline constexpr CHAR16 kAttributeRedirAfterBoot[] = u"RedirAfterBoot";

// Video.
inline constexpr CHAR16 kAttributeEmbVideo[] = u"EmbVideo";
inline constexpr CHAR16 kAttributeCurrentEmbVideoState[] = u"CurrentEmbVideoState"; // raw, 1 byte
inline constexpr CHAR16 kAttributeLegacyVgaSoc[] = u"LegacyVgaSoc";                 // raw, 2 bytes
inline constexpr CHAR16 kAttributeLegacyVgaStack[] = u"LegacyVgaStack";             // raw, 2 bytes

// Network boot devices. Prefixes: PxeDev1-16, HttpDev1-4, IscsiDev1Con1-2, NvmeofSubsys1-4.
inline constexpr CHAR16 kAttributeNumberOfPxeDevices[] = u"NumberOfPxeDevices"; // "4" to "16"
inline constexpr CHAR16 kAttributeSuffixInterfaceFqdd[] = u"InterfaceFqdd";
inline constexpr CHAR16 kAttributeSuffixInterface[] = u"Interface"; // raw, 1 byte, from 1
inline constexpr CHAR16 kAttributeSuffixEnDis[] = u"EnDis";
inline constexpr CHAR16 kAttributeSuffixProtocol[] = u"Protocol"; // "IPv4", other: IPv6
inline constexpr CHAR16 kAttributeProtocolIpv4[] = u"IPv4";
inline constexpr CHAR16 kAttributeSuffixVlanEnDis[] = u"VlanEnDis";
inline constexpr CHAR16 kAttributeSuffixVlanId[] = u"VlanId";             // raw, 2 bytes
inline constexpr CHAR16 kAttributeSuffixVlanPriority[] = u"VlanPriority"; // raw, 1 byte
// The part of an NVMe-oF prefix that only its interface and protocol settings carry.
inline constexpr CHAR16 kAttributeNvmeofConnection[] = u"Con";

// iSCSI.
inline constexpr CHAR16 kAttributeIscsiDev1EnDis[] = u"IscsiDev1EnDis";
inline constexpr CHAR16 kAttributeIscsiDev1Con1[] = u"IscsiDev1Con1"; // prefixes
inline constexpr CHAR16 kAttributeIscsiDev1Con2[] = u"IscsiDev1Con2";
inline constexpr CHAR16 kAttributeIscsiInitiatorName[] = u"IscsiInitiatorName";
inline constexpr CHAR16 kAttributeIscsiDev1ConOrder[] = u"IscsiDev1ConOrder"; // "Con1Con2", other
inline constexpr CHAR16 kAttributeCon1Con2[] = u"Con1Con2";
inline constexpr CHAR16 kAttributeSuffixRetry[] = u"Retry";     // raw, 2 bytes, low byte used
inline constexpr CHAR16 kAttributeSuffixTimeout[] = u"Timeout"; // raw, 2 bytes
inline constexpr CHAR16 kAttributeSuffixDhcpEnDis[] = u"DhcpEnDis";
inline constexpr CHAR16 kAttributeSuffixTgtDhcpEnDis[] = u"TgtDhcpEnDis";
inline constexpr CHAR16 kAttributeSuffixIp[] = u"Ip";
inline constexpr CHAR16 kAttributeSuffixMask[] = u"Mask";
inline constexpr CHAR16 kAttributeSuffixGateway[] = u"Gateway";
inline constexpr CHAR16 kAttributeSuffixTargetName[] = u"TargetName";
inline constexpr CHAR16 kAttributeSuffixTargetIp[] = u"TargetIp";
inline constexpr CHAR16 kAttributeSuffixPort[] = u"Port"; // raw, 2 bytes
inline constexpr CHAR16 kAttributeSuffixLun[] = u"Lun";
inline constexpr CHAR16 kAttributeSuffixIsId[] = u"IsId"; // 12 hexadecimal digits, or empty
inline constexpr CHAR16 kAttributeSuffixAuth[] = u"Auth"; // "Chap"
inline constexpr CHAR16 kAttributeAuthChap[] = u"Chap";
inline constexpr CHAR16 kAttributeSuffixChapType[] = u"ChapType"; // "OneWay", other: mutual
inline constexpr CHAR16 kAttributeChapOneWay[] = u"OneWay";
inline constexpr CHAR16 kAttributeSuffixChapName[] = u"ChapName";
inline constexpr CHAR16 kAttributeSuffixChapSecret[] = u"ChapSecret";
inline constexpr CHAR16 kAttributeSuffixRevChapName[] = u"RevChapName";
inline constexpr CHAR16 kAttributeSuffixRevChapSecret[] = u"RevChapSecret";

// NVMe-oF, host-wide.
inline constexpr CHAR16 kAttributeNvmeofEnDis[] = u"NvmeofEnDis";
inline constexpr CHAR16 kAttributeNvmeofHostId[] = u"NvmeofHostId"; // GUID text
inline constexpr CHAR16 kAttributeHostNqnMode[] = u"HostNqnMode";
inline constexpr CHAR16 kAttributeHostNqnModeUuid[] = u"HostNqnModeUuid"; // values
inline constexpr CHAR16 kAttributeHostNqnModeCustom[] = u"HostNqnModeCustom";
inline constexpr CHAR16 kAttributeNvmeofHostUuidNqn[] = u"NvmeofHostUuidNqn";
inline constexpr CHAR16 kAttributeNvmeofHostCustomNqn[] = u"NvmeofHostCustomNqn";
inline constexpr CHAR16 kAttributeNvmeofHostKelmNqn[] = u"NvmeofHostKelmNqn";
inline constexpr CHAR16 kAttributeNvmeofHostNqn[] = u"NvmeofHostNqn"; // not read by BDS
inline constexpr CHAR16 kAttributeNvmeofHostSecurityPath[] = u"NvmeofHostSecurityPath"; // not read

// NVMe-oF, per subsystem (prefix NvmeofSubsys1-4); Retry, Timeout, Port and VLAN as above.
inline constexpr CHAR16 kAttributeNvmeofSubsys[] = u"NvmeofSubsys"; // stem
inline constexpr CHAR16 kAttributeSuffixHostDhcp[] = u"HostDhcp";
inline constexpr CHAR16 kAttributeSuffixHostIp[] = u"HostIP";
inline constexpr CHAR16 kAttributeSuffixHostMask[] = u"HostMask";
inline constexpr CHAR16 kAttributeSuffixHostGateway[] = u"HostGateway";
inline constexpr CHAR16 kAttributeSuffixInfoDhcp[] = u"InfoDhcp";
inline constexpr CHAR16 kAttributeSuffixAddress[] = u"Address";
inline constexpr CHAR16 kAttributeSuffixNqn[] = u"Nqn";
inline constexpr CHAR16 kAttributeSuffixNameSpaceId[] = u"NameSpaceId";
inline constexpr CHAR16 kAttributeSuffixControllerId[] = u"ControllerId";       // raw, 2 bytes
inline constexpr CHAR16 kAttributeSuffixSecurity[] = u"Security";               // not read by BDS
inline constexpr CHAR16 kAttributeSuffixSecurityKeyPath[] = u"SecurityKeyPath"; // not read by BDS
