// EFI_SIMPLE_NETWORK_PROTOCOL: packets through one port of a network adapter, and its mode record
// (UEFI 2.10, section 24.1).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiSimpleNetworkProtocolGuid = {
    0xA19832B9, 0xAC25, 0x11D3, {0x9A, 0x2D, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};

inline constexpr UINT64 EFI_SIMPLE_NETWORK_PROTOCOL_REVISION = 0x00010000;

struct EFI_MAC_ADDRESS {
    UINT8 Addr[32];
};

union EFI_IP_ADDRESS {
    UINT32 Addr[4];
    UINT8 v4[4];
    UINT8 v6[16];
};
static_assert(sizeof(EFI_IP_ADDRESS) == 16);

enum EFI_SIMPLE_NETWORK_STATE : UINT32 {
    EfiSimpleNetworkStopped,
    EfiSimpleNetworkStarted,
    EfiSimpleNetworkInitialized,
    EfiSimpleNetworkMaxState
};

// Receive filter bits.
inline constexpr UINT32 EFI_SIMPLE_NETWORK_RECEIVE_UNICAST = 0x01;
inline constexpr UINT32 EFI_SIMPLE_NETWORK_RECEIVE_MULTICAST = 0x02;
inline constexpr UINT32 EFI_SIMPLE_NETWORK_RECEIVE_BROADCAST = 0x04;
inline constexpr UINT32 EFI_SIMPLE_NETWORK_RECEIVE_PROMISCUOUS = 0x08;
inline constexpr UINT32 EFI_SIMPLE_NETWORK_RECEIVE_PROMISCUOUS_MULTICAST = 0x10;

inline constexpr UINTN MAX_MCAST_FILTER_CNT = 16;

struct EFI_SIMPLE_NETWORK_MODE {
    UINT32 State; // EFI_SIMPLE_NETWORK_STATE
    UINT32 HwAddressSize;
    UINT32 MediaHeaderSize;
    UINT32 MaxPacketSize;
    UINT32 NvRamSize;
    UINT32 NvRamAccessSize;
    UINT32 ReceiveFilterMask;
    UINT32 ReceiveFilterSetting;
    UINT32 MaxMCastFilterCount;
    UINT32 MCastFilterCount;
    EFI_MAC_ADDRESS MCastFilter[MAX_MCAST_FILTER_CNT];
    EFI_MAC_ADDRESS CurrentAddress;
    EFI_MAC_ADDRESS BroadcastAddress;
    EFI_MAC_ADDRESS PermanentAddress;
    UINT8 IfType; // RFC 3232: 1 is Ethernet
    BOOLEAN MacAddressChangeable;
    BOOLEAN MultipleTxSupported;
    BOOLEAN MediaPresentSupported;
    BOOLEAN MediaPresent;
};
static_assert(sizeof(EFI_SIMPLE_NETWORK_MODE) == 656);

struct EFI_NETWORK_STATISTICS; // a table of 64-bit counters

struct EFI_SIMPLE_NETWORK_PROTOCOL {
    UINT64 Revision;
    EFI_STATUS(EFIAPI* Start)(EFI_SIMPLE_NETWORK_PROTOCOL* This);
    EFI_STATUS(EFIAPI* Stop)(EFI_SIMPLE_NETWORK_PROTOCOL* This);
    EFI_STATUS(EFIAPI* Initialize)
    (EFI_SIMPLE_NETWORK_PROTOCOL* This, UINTN ExtraRxBufferSize, UINTN ExtraTxBufferSize);
    EFI_STATUS(EFIAPI* Reset)(EFI_SIMPLE_NETWORK_PROTOCOL* This, BOOLEAN ExtendedVerification);
    EFI_STATUS(EFIAPI* Shutdown)(EFI_SIMPLE_NETWORK_PROTOCOL* This);
    EFI_STATUS(EFIAPI* ReceiveFilters)
    (EFI_SIMPLE_NETWORK_PROTOCOL* This, UINT32 Enable, UINT32 Disable, BOOLEAN ResetMCastFilter,
     UINTN MCastFilterCnt, EFI_MAC_ADDRESS* MCastFilter);
    EFI_STATUS(EFIAPI* StationAddress)
    (EFI_SIMPLE_NETWORK_PROTOCOL* This, BOOLEAN Reset, EFI_MAC_ADDRESS* New);
    EFI_STATUS(EFIAPI* Statistics)
    (EFI_SIMPLE_NETWORK_PROTOCOL* This, BOOLEAN Reset, UINTN* StatisticsSize,
     EFI_NETWORK_STATISTICS* StatisticsTable);
    EFI_STATUS(EFIAPI* MCastIpToMac)
    (EFI_SIMPLE_NETWORK_PROTOCOL* This, BOOLEAN IPv6, EFI_IP_ADDRESS* IP, EFI_MAC_ADDRESS* MAC);
    EFI_STATUS(EFIAPI* NvData)
    (EFI_SIMPLE_NETWORK_PROTOCOL* This, BOOLEAN ReadWrite, UINTN Offset, UINTN BufferSize,
     void* Buffer);
    // Also refreshes Mode->MediaPresent.
    EFI_STATUS(EFIAPI* GetStatus)
    (EFI_SIMPLE_NETWORK_PROTOCOL* This, UINT32* InterruptStatus, void** TxBuf);
    EFI_STATUS(EFIAPI* Transmit)
    (EFI_SIMPLE_NETWORK_PROTOCOL* This, UINTN HeaderSize, UINTN BufferSize, void* Buffer,
     EFI_MAC_ADDRESS* SrcAddr, EFI_MAC_ADDRESS* DestAddr, UINT16* Protocol);
    EFI_STATUS(EFIAPI* Receive)
    (EFI_SIMPLE_NETWORK_PROTOCOL* This, UINTN* HeaderSize, UINTN* BufferSize, void* Buffer,
     EFI_MAC_ADDRESS* SrcAddr, EFI_MAC_ADDRESS* DestAddr, UINT16* Protocol);
    EFI_EVENT WaitForPacket;
    EFI_SIMPLE_NETWORK_MODE* Mode;
};
static_assert(sizeof(EFI_SIMPLE_NETWORK_PROTOCOL) == 128);

template <>
struct ProtocolGuid<EFI_SIMPLE_NETWORK_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiSimpleNetworkProtocolGuid;
};
