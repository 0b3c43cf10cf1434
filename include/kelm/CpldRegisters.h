// Registers of the board's CPLD that BDS uses, by their 16-bit number, and the I/O ports behind
// them: the low byte of the number goes to the first port, the high byte to the second, the data is
// read from the third, and the second is set back to 0.
#pragma once

#include "uefi/Base.h"

// Requests from remote.
inline constexpr UINT16 kCpldRegisterRequests = 0x201;
inline constexpr UINT8 kCpldRemoteNvramClear = 0x10;  // acknowledged by clearing the bit
inline constexpr UINT8 kCpldSkipLiquidCooling = 0x80; // no liquid-cooling check in this boot

// Sled power.
inline constexpr UINT16 kCpldRegisterSledPower = 0x1203;
inline constexpr UINT8 kCpldBypassPowerWait = 0x08; // do not wait for the chassis' allocation

inline constexpr UINT16 kCpldPortIndexLow = 0x900;
inline constexpr UINT16 kCpldPortIndexHigh = 0x901;
inline constexpr UINT16 kCpldPortData = 0x904;
