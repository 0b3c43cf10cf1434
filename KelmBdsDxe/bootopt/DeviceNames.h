// The names that devices report of themselves.
#pragma once

#include "library/firmware/Pool.h"
#include "library/firmware/Protocol.h"
#include "uefi/Base.h"

#include <array>

namespace kelm {

// Looks the language and the naming drivers up once.
class DeviceNames {
public:
    DeviceNames();

    // The name of the device behind a handle, in the language of PlatformLang: its USB product
    // string, or else what a driver calls it. Null when nobody has a name for it.
    PoolPtr<CHAR16> Find(EFI_HANDLE handle) const;

private:
    PoolPtr<CHAR16> NameByDrivers(EFI_HANDLE controller, EFI_HANDLE child) const;

    std::array<CHAR8, 16> language_;
    HandleBuffer namers_; // handles with the component name protocol
};

} // namespace kelm
