// IPMI commands that BDS sends through kelm/IpmiTransportProtocol.h: network function, command,
// request bytes and sizes. A command without a fixed request is described by its layout. Response
// offsets count from the first byte that the transport returns.
#pragma once

#include "uefi/Base.h"

inline constexpr UINT8 kIpmiLun = 0;

// Network functions.
inline constexpr UINT8 kIpmiNetFnChassis = 0x00;
inline constexpr UINT8 kIpmiNetFnApplication = 0x06;
inline constexpr UINT8 kIpmiNetFnTransport = 0x0C;
inline constexpr UINT8 kIpmiNetFnOem = 0x30;

// Chassis: system boot options, parameter 5 (boot flags).
inline constexpr UINT8 kIpmiSetSystemBootOptions = 0x08;
inline constexpr UINT8 kIpmiGetSystemBootOptions = 0x09;
inline constexpr UINT8 kIpmiBootFlagsParameter = 0x05;
inline constexpr UINT8 kIpmiGetBootFlagsRequest[] = {kIpmiBootFlagsParameter, 0x00, 0x00};
inline constexpr UINT8 kIpmiGetBootFlagsResponseSize = 7;
inline constexpr UINT8 kIpmiClearBootFlagsRequest[] = {kIpmiBootFlagsParameter, 0, 0, 0, 0, 0};
inline constexpr UINTN kIpmiBootFlagsOffset = 2; // of the five data bytes in the response
inline constexpr UINTN kIpmiBootFlagsSize = 5;

// Boot flags, data bytes 1, 2, 3 and 5 of the standard (index 0, 1, 2 and 4 here).
inline constexpr UINT8 kBootFlagsValid = 0x80;      // data 1
inline constexpr UINT8 kBootFlagsPersistent = 0x40; // data 1
inline constexpr UINT8 kBootFlagsDeviceMask = 0x3C; // data 2, shifted by kBootFlagsDeviceShift
inline constexpr UINT8 kBootFlagsDeviceShift = 2;
inline constexpr UINT8 kBootFlagsRedirectionMask = 0x03; // data 3
inline constexpr UINT8 kBootFlagsRedirectionSuppress = 1;
inline constexpr UINT8 kBootFlagsRedirectionEnable = 2;
inline constexpr UINT8 kBootFlagsInstanceMask = 0x1F; // data 5

// Boot device selectors.
inline constexpr UINT8 kBootDevicePxe = 1;
inline constexpr UINT8 kBootDeviceHardDisk = 2;
inline constexpr UINT8 kBootDeviceDiagnostics = 4;
inline constexpr UINT8 kBootDeviceCdDvd = 5;
inline constexpr UINT8 kBootDeviceBios = 6; // the instance says what
inline constexpr UINT8 kBootDeviceVirtualFloppy = 7;
inline constexpr UINT8 kBootDeviceVirtualCd = 8;
inline constexpr UINT8 kBootDeviceIscsi = 9;
inline constexpr UINT8 kBootDeviceVirtualNetworkFile = 11;
inline constexpr UINT8 kBootDeviceRemovable = 15;

// Instances of kBootDeviceBios.
inline constexpr UINT8 kBootInstanceSetup = 0;
inline constexpr UINT8 kBootInstanceBootManager = 1;
inline constexpr UINT8 kBootInstanceForgeline = 2;
inline constexpr UINT8 kBootInstanceUefiPath = 3;
inline constexpr UINT8 kBootInstanceHttp = 4;
// Instance of kBootDeviceRemovable that means the SD card.
inline constexpr UINT8 kBootInstanceSdCard = 31;

// Application: Set Watchdog Timer. Use BIOS FRB2, do not log, timer stopped.
inline constexpr UINT8 kIpmiSetWatchdogTimer = 0x24;
inline constexpr UINT8 kIpmiStopFrb2Request[] = {0x81, 0x00, 0x00, 0x00, 0x00, 0x00};

// Application: Master Write-Read, the board's I2C write during POST.
inline constexpr UINT8 kIpmiMasterWriteRead = 0x52;
inline constexpr UINT8 kIpmiMasterWriteRequest[] = {0x08, 0x24, 0x00, 0x64, 0x26, 0x50};
inline constexpr UINT8 kIpmiMasterWriteResponseSize = 16;

// Application: power-supply boot status; response bytes 1 to 3 are the status.
inline constexpr UINT8 kIpmiGetSystemParameter = 0x59;
inline constexpr UINT8 kIpmiPsuBootStatusRequest[] = {0x00, 0xD9, 0x00, 0x00};
inline constexpr UINT8 kIpmiPsuBootStatusResponseSize = 4;
inline constexpr UINTN kIpmiPsuBootStatusOffset = 1;

// Transport: serial/modem configuration, channel 2, parameter 0x33; the low four bits of response
// byte 3 name the serial port.
inline constexpr UINT8 kIpmiGetSerialConfiguration = 0x11;
inline constexpr UINT8 kIpmiSerialPortRequest[] = {0x02, 0x33, 0x00, 0x00};
inline constexpr UINT8 kIpmiSerialPortResponseSize = 4;
inline constexpr UINTN kIpmiSerialPortOffset = 3;

// OEM: chassis configuration; response byte 10 is the chassis value.
inline constexpr UINT8 kIpmiGetChassisConfiguration = 0x12;
inline constexpr UINT8 kIpmiChassisConfigurationRequest[] = {0x01};
inline constexpr UINT8 kIpmiChassisConfigurationResponseSize = 32;
inline constexpr UINTN kIpmiChassisValueOffset = 10;

// OEM: state of the network daughter card; no request bytes, response byte 0 is 1 when disabled.
inline constexpr UINT8 kIpmiGetDaughterCardState = 0x29;
inline constexpr UINT8 kIpmiDaughterCardResponseSize = 2;

// OEM: one entry for the lifecycle log. Request: 3, "UEFI", four decimal digits, length of the text
// plus 2 (0 without a text), the text (at most 18 characters), two NULs. A failure whose first
// response byte is 2 counts as logged.
inline constexpr UINT8 kIpmiLogEntry = 0xAA;
inline constexpr UINT8 kIpmiLogEntryKind = 3;
inline constexpr UINTN kIpmiLogEntryHeaderSize = 10;
inline constexpr UINTN kIpmiLogEntryMaxText = 18;
inline constexpr UINT8 kIpmiLogEntryResponseSize = 5;
inline constexpr UINT8 kIpmiLogEntryAlreadyLogged = 2;

// OEM: I2C proxy. Byte 0 = 0 write, 1 read; byte 1 = 0x0D; UINT16 length at 2 (N + 6 write, N + 2
// read); two zeros; a write repeats the length at 6; then bus, address, register, N; then the data
// of a write. The data of a read stands from response byte 7.
inline constexpr UINT8 kIpmiI2cProxy = 0xCE;
inline constexpr UINT8 kIpmiI2cWrite = 0;
inline constexpr UINT8 kIpmiI2cRead = 1;
inline constexpr UINT8 kIpmiI2cProxyTarget = 0x0D;
inline constexpr UINTN kIpmiI2cWriteHeaderSize = 12;
inline constexpr UINTN kIpmiI2cReadRequestSize = 10;
inline constexpr UINT8 kIpmiI2cResponseSize = 24;
inline constexpr UINTN kIpmiI2cReadDataOffset = 7;

// OEM: the controller's settings. Byte 0 = 1 get, 0 set; byte 1 = group; byte 2 = length or step.
inline constexpr UINT8 kIpmiSettings = 0xD0;
inline constexpr UINTN kIpmiSettingsValueOffset = 7; // of a one-byte answer

// Settings: configuration lock; the value is 1 when locked. Sent from a 20-byte buffer.
inline constexpr UINT8 kIpmiConfigLockRequest[] = {0x01, 0x29, 0x08, 0x00, 0x00, 0x00, 0x00, 0x00};
inline constexpr UINTN kIpmiConfigLockRequestBufferSize = 20;
inline constexpr UINT8 kIpmiConfigLockResponseSize = 30;

// Settings: USB ports. Requests are zero-filled to their size.
inline constexpr UINT8 kIpmiSetUsbModeRequest[] = {0x00, 0x26, 0x08, 0,
                                                   0,    0,    0x08, 0}; // then the mode
inline constexpr UINT8 kIpmiGetFrontPortRequest[] = {0x01, 0x27, 0x08};
inline constexpr UINT8 kIpmiGetManagedPortRequest[] = {0x01, 0x25, 0x08};
inline constexpr UINTN kIpmiUsbModeOffset = 8; // of the mode in the request
inline constexpr UINT8 kIpmiSetUsbModeRequestSize = 14;
inline constexpr UINT8 kIpmiGetFrontPortRequestSize = 14;
inline constexpr UINT8 kIpmiGetManagedPortRequestSize = 6;
inline constexpr UINT8 kIpmiUsbResponseSize = 14;

inline constexpr UINT8 kUsbPortsAllOn = 0;
inline constexpr UINT8 kUsbPortsAllOff = 1;
inline constexpr UINT8 kUsbPortsFrontOn = 2;
inline constexpr UINT8 kUsbPortsOnlyBackOn = 4;

// Settings by text key: liquid cooling. Six (set: eight) header bytes, then the key, for a set "="
// and "1" or "0"; all in a 61-byte request.
inline constexpr UINT8 kIpmiGetLqcCapabilityHeader[] = {0x01, 0x2B, 0x03, 0x00, 0x00, 0x00};
inline constexpr UINT8 kIpmiGetLqcSettingHeader[] = {0x01, 0x2B, 0x02, 0x00, 0x00, 0x00};
inline constexpr UINT8 kIpmiSetLqcSettingHeader[] = {0x00, 0x2B, 0x37, 0, 0, 0, 0x37, 0};
inline constexpr CHAR8 kLqcCapabilityKey[] =
    "nimbor.embedded.1#platformcapability.1#liquidcoolcapable";
inline constexpr CHAR8 kLqcSettingKey[] = "system.embedded.1#thermalconfig.1#liquidcoolsetting";
inline constexpr UINT8 kIpmiLqcRequestSize = 61; // the longest request, a set with its value
static_assert(sizeof(kIpmiSetLqcSettingHeader) + sizeof(kLqcSettingKey) - 1 + 2 ==
              kIpmiLqcRequestSize);
inline constexpr UINT8 kIpmiLqcResponseSize = 10;
