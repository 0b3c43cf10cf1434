// Status codes that BDS reports. The milestones of the driver lie in 0x038110xx (class and subclass
// 0x0381); 0x0305xxxx are the standard's DXE boot-service driver codes. All are progress codes
// unless a name says otherwise.
#pragma once

#include "uefi/Base.h"

// The driver's caller ID.
// {A7458266-63C3-4B74-ABEA-F90108F0995D}
inline constexpr EFI_GUID gKelmBdsCallerIdGuid = {
    0xA7458266, 0x63C3, 0x4B74, {0xAB, 0xEA, 0xF9, 0x01, 0x08, 0xF0, 0x99, 0x5D}};

// The phase sequence.
inline constexpr UINT32 kProgressSequenceStart = 0x03811000;
inline constexpr UINT32 kProgressPciEnumeration = 0x03811001;
inline constexpr UINT32 kProgressConnectConsoles = 0x03811002;
inline constexpr UINT32 kProgressConsolesConnected = 0x03811003;
inline constexpr UINT32 kProgressConsolesReady = 0x03811004;
inline constexpr UINT32 kProgressReadyToBoot = 0x0381100F;
inline constexpr UINT32 kProgressConnectAll = 0x03811020;
inline constexpr UINT32 kProgressAllConnected = 0x03811021;
inline constexpr UINT32 kProgressEnumerateBootOptions = 0x03811030;
inline constexpr UINT32 kProgressBootOptionsEnumerated = 0x03811031;

// The POST memory test. From 10 % to 90 % the code is kProgressMemoryTestStart + percentage / 10.
inline constexpr UINT32 kProgressMemoryTestStart = 0x03811010;
inline constexpr UINT32 kProgressMemoryTestDone = 0x0381101A;
inline constexpr UINT32 kProgressMemoryTestFailed = 0x0381101B;
inline constexpr UINT32 kProgressMemoryTestAborted = 0x0381101C;

// Prompts, tools and network connections.
inline constexpr UINT32 kProgressErrorPrompt = 0x03811034;
inline constexpr UINT32 kProgressBootFailPrompt = 0x03811035;
inline constexpr UINT32 kProgressIscsiConnect = 0x03811036;
inline constexpr UINT32 kProgressIscsiConnected = 0x03811037;
inline constexpr UINT32 kProgressEnterBootManager = 0x03811038;
inline constexpr UINT32 kProgressEnterSetup = 0x03811039;
inline constexpr UINT32 kProgressCollectInventory = 0x0381103A;
inline constexpr UINT32 kProgressSystemConfiguration = 0x0381103B;
inline constexpr UINT32 kProgressNvmeofConnect = 0x03811059;
inline constexpr UINT32 kProgressNvmeofConnected = 0x03811060;

// Standard boot milestones.
inline constexpr UINT32 kProgressReadyToBootEvent = 0x03051001;
inline constexpr UINT32 kProgressAttemptDefaultBoot = 0x03051007;
inline constexpr UINT32 kProgressLoadBootImage = 0x03058000;
inline constexpr UINT32 kProgressStartBootImage = 0x03058001;

// An error code: a variable could not be written. Its extended data is a SetVariableStatusData.
inline constexpr UINT32 kErrorSetVariable = 0x03058002;

// The Forgeline tool is about to be entered.
inline constexpr UINT32 kStatusEnterForgeline = 0x81011006;

// Type of the extended data of kErrorSetVariable.
// {F6EE6DBB-D67F-4EA0-8B96-6A71B19D84AD}
inline constexpr EFI_GUID gSetVariableStatusDataGuid = {
    0xF6EE6DBB, 0xD67F, 0x4EA0, {0x8B, 0x96, 0x6A, 0x71, 0xB1, 0x9D, 0x84, 0xAD}};

// Extended data of kErrorSetVariable, followed by the name (NUL included) and the data.
struct SetVariableStatusData {
    EFI_GUID Guid;
    UINTN NameSize; // bytes
    UINTN DataSize; // bytes
    EFI_STATUS SetStatus;
    UINT32 Attributes;
};
static_assert(sizeof(SetVariableStatusData) == 48);
