// Which memory types a caller may ask for (UEFI 2.10, AllocatePages() and AllocatePool()).
#pragma once

#include "uefi/BootServices.h"

namespace sim {

// Not conventional, persistent or unaccepted memory, and nothing between the standard
// types and those of vendors.
constexpr bool CanAllocate(EFI_MEMORY_TYPE type) {
    return type != EfiConventionalMemory && type != EfiPersistentMemory &&
           type != EfiUnacceptedMemoryType &&
           (type < EfiMaxMemoryType || type >= MEMORY_TYPE_OEM_RESERVED_MIN);
}

} // namespace sim
