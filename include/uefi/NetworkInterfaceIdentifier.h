// EFI_NETWORK_INTERFACE_IDENTIFIER_PROTOCOL: the driver interface of a network adapter (UEFI 2.10,
// section 24.2).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiNetworkInterfaceIdentifierProtocolGuid_31 = {
    0x1ACED566, 0x76ED, 0x4218, {0xBC, 0x81, 0x76, 0x7F, 0x1F, 0x97, 0x7A, 0x89}};

inline constexpr UINT64 EFI_NETWORK_INTERFACE_IDENTIFIER_PROTOCOL_REVISION = 0x00020000;

inline constexpr UINT8 EfiNetworkInterfaceUndi = 1; // Type

struct EFI_NETWORK_INTERFACE_IDENTIFIER_PROTOCOL {
    UINT64 Revision;
    UINT64 Id;        // address of the driver's !PXE structure
    UINT64 ImageAddr; // of the unrelocated driver image; 0 when not in memory
    UINT32 ImageSize;
    CHAR8 StringId[4]; // "UNDI"
    UINT8 Type;
    UINT8 MajorVer;
    UINT8 MinorVer;
    BOOLEAN Ipv6Supported;
    UINT16 IfNum; // which interface of the adapter
};
static_assert(sizeof(EFI_NETWORK_INTERFACE_IDENTIFIER_PROTOCOL) == 40);
static_assert(offsetof(EFI_NETWORK_INTERFACE_IDENTIFIER_PROTOCOL, IfNum) == 36);

template <>
struct ProtocolGuid<EFI_NETWORK_INTERFACE_IDENTIFIER_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiNetworkInterfaceIdentifierProtocolGuid_31;
};
