// What every table function begins with, and the highest task priorities at which services may be
// called (UEFI 2.10, section 7.1, "TPL Restrictions").
#pragma once

#include "sim/firmware/Clock.h"
#include "sim/firmware/Platform.h"

#include <algorithm>

namespace sim {

// The name of a service as a template argument.
template <std::size_t N>
struct ServiceName {
    char text[N];
    constexpr ServiceName(const char (&name)[N]) { std::copy_n(name, N, text); }
};

inline constexpr EFI_TPL kBelowHighLevel = TPL_HIGH_LEVEL - 1;
inline constexpr EFI_TPL kBelowCallback = TPL_CALLBACK - 1;
inline constexpr EFI_TPL kProtocolServices = TPL_NOTIFY;
inline constexpr EFI_TPL kMemoryServices = TPL_NOTIFY;
inline constexpr EFI_TPL kVariableServices = TPL_CALLBACK;
inline constexpr EFI_TPL kTimeServices = TPL_CALLBACK;

inline std::optional<EFI_STATUS> Enter(const char* name, EFI_TPL highestTpl) {
    return Platform::Current().EnterService(name, highestTpl);
}

} // namespace sim
