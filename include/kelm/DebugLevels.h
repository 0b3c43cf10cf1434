// Levels of the debug log. A text goes out when its level shares a bit with the sink's mask; the
// combinations below are the ones that the drivers use, so that a log can be filtered by them.
#pragma once

#include "uefi/Base.h"

// Single bits.
inline constexpr UINT64 kDebugWarn = 0x00000002;
inline constexpr UINT64 kDebugLoad = 0x00000004;
inline constexpr UINT64 kDebugInfo = 0x00000040;
inline constexpr UINT64 kDebugBds = 0x00000400; // boot manager
inline constexpr UINT64 kDebugVerbose = 0x00400000;
inline constexpr UINT64 kDebugError = 0x80000000;

// Combinations.
inline constexpr UINT64 kDebugInfoLoad = kDebugInfo | kDebugLoad;                // 0x44
inline constexpr UINT64 kDebugBdsWarn = kDebugBds | kDebugWarn;                  // 0x402
inline constexpr UINT64 kDebugBdsLoad = kDebugBds | kDebugLoad;                  // 0x404
inline constexpr UINT64 kDebugBdsInfo = kDebugBds | kDebugInfo;                  // 0x440
inline constexpr UINT64 kDebugBdsInfoLoad = kDebugBds | kDebugInfo | kDebugLoad; // 0x444
inline constexpr UINT64 kDebugErrorLoad = kDebugError | kDebugLoad;              // 0x80000004
inline constexpr UINT64 kDebugErrorInfo = kDebugError | kDebugInfo;              // 0x80000040
inline constexpr UINT64 kDebugErrorBds = kDebugError | kDebugBds;                // 0x80000400
inline constexpr UINT64 kDebugErrorVerbose = kDebugError | kDebugVerbose;        // 0x80400000
