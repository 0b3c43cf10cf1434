// Where BDS fills the two volatile variables of the NVMe-oF host driver (kelm/Variables.h): byte
// offsets within the global record and within one attempt record. What is not named stays zero.
// Numbers are little-endian, addresses in network order, texts ASCII and NUL-terminated.
#pragma once

#include "kelm/Variables.h"
#include "uefi/Base.h"

// Global record.
inline constexpr UINTN kNvmeofGlobalByte1Offset = 1; // UINT8, 4
inline constexpr UINT8 kNvmeofGlobalByte1 = 4;
inline constexpr UINTN kNvmeofGlobalWord2Offset = 2; // UINT16, 10
inline constexpr UINT16 kNvmeofGlobalWord2 = 10;
inline constexpr UINTN kNvmeofGlobalHostNqnOffset = 4;
inline constexpr UINTN kNvmeofGlobalHostIdOffset = 228; // EFI_GUID

// Attempt record.
inline constexpr UINTN kNvmeofAttemptNameOffset = 21;
inline constexpr UINTN kNvmeofAttemptNameSize = 12;
inline constexpr UINTN kNvmeofAttemptMacOffset = 33;
inline constexpr UINTN kNvmeofAttemptMacSize = 96;
inline constexpr UINTN kNvmeofAttemptPortOffset = 177;         // UINT16
inline constexpr UINTN kNvmeofAttemptEnabledOffset = 179;      // UINT8
inline constexpr UINTN kNvmeofAttemptIpModeOffset = 180;       // UINT8: 0 IPv4, 1 IPv6
inline constexpr UINTN kNvmeofAttemptHostIpOffset = 181;       // 4 bytes
inline constexpr UINTN kNvmeofAttemptHostMaskOffset = 197;     // 4 bytes
inline constexpr UINTN kNvmeofAttemptHostGatewayOffset = 213;  // 4 bytes
inline constexpr UINTN kNvmeofAttemptHostDhcpOffset = 229;     // UINT8
inline constexpr UINTN kNvmeofAttemptInfoDhcpOffset = 230;     // UINT8
inline constexpr UINTN kNvmeofAttemptAddressOffset = 231;      // 16 bytes
inline constexpr UINTN kNvmeofAttemptControllerIdOffset = 474; // UINT16
inline constexpr UINTN kNvmeofAttemptNamespaceIdOffset = 476;
inline constexpr UINTN kNvmeofAttemptNamespaceIdSize = 64;
inline constexpr UINTN kNvmeofAttemptNqnOffset = 540;
inline constexpr UINTN kNvmeofNqnSize = 224;
inline constexpr UINTN kNvmeofAttemptTimeoutOffset = 780;      // UINT16
inline constexpr UINTN kNvmeofAttemptRetryOffset = 782;        // UINT8
inline constexpr UINTN kNvmeofAttemptRouteMetricOffset = 1040; // UINT16
inline constexpr UINT16 kNvmeofRouteMetric = 500;
inline constexpr UINTN kNvmeofAttemptHostOverrideOffset = 1506; // UINT8
inline constexpr UINTN kNvmeofAttemptActiveOffset = 1509;       // UINT8
static_assert(kNvmeofGlobalHostIdOffset + sizeof(EFI_GUID) <= kNvmeofGlobalDataSize);
static_assert(kNvmeofGlobalHostNqnOffset + kNvmeofNqnSize == kNvmeofGlobalHostIdOffset);
static_assert(kNvmeofAttemptNameOffset + kNvmeofAttemptNameSize == kNvmeofAttemptMacOffset);
static_assert(kNvmeofAttemptNamespaceIdOffset + kNvmeofAttemptNamespaceIdSize ==
              kNvmeofAttemptNqnOffset);
static_assert(kNvmeofAttemptActiveOffset + 1 == kNvmeofAttemptSize);

// Discovery, when a subsystem has no NQN of its own.
inline constexpr CHAR8 kNvmeofDiscoveryNqn[] = "nqn.2014-08.org.nvmexpress.discovery";
inline constexpr UINT16 kNvmeofDiscoveryPort = 8009;
