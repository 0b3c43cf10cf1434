// The variable that keeps the full device paths of hard-drive partitions which were found by their
// short-form paths, as the instances of one device path: most recently used first.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"
#include "uefi/DevicePath.h"

#include <span>

namespace kelm {

// The cache as it was read. Content that is no device path counts as an empty cache.
class HddPathCache {
public:
    HddPathCache();

    // All instances; null when there is none.
    const EFI_DEVICE_PATH_PROTOCOL* path() const {
        return pathSize_ == 0 ? nullptr
                              : reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(data_.get());
    }
    // Writes the cache with these nodes (a path without its end, perhaps an instance of this cache)
    // as its first instance, without what equals them further behind and without what comes after
    // the twelfth. Nothing is written when that is what the variable holds. EFI_OUT_OF_RESOURCES;
    // otherwise the status of SetVariable.
    EFI_STATUS PutFirst(std::span<const UINT8> nodes) const;

private:
    PoolPtr<UINT8> data_;
    UINTN size_ = 0;     // of the variable
    UINTN pathSize_ = 0; // of the path that it begins with
};

} // namespace kelm
