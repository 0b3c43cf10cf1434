// The memory map of the global coherency domain (PI 1.8, volume 2, section 7.2): what lies where in
// the address space of the machine, and with which attributes.
#pragma once

#include "uefi/DxeServices.h"

#include <vector>

namespace sim {

class MemorySpace {
public:
    // The map of the server: low memory, the window below 1 MiB, the arena and the rest of memory,
    // the windows of devices and flash below 4 GiB.
    MemorySpace(UINT64 arenaBase, UINT64 arenaSize);

    // The statuses are those of the DXE services of the same names.
    EFI_STATUS Add(EFI_GCD_MEMORY_TYPE type, UINT64 base, UINT64 length, UINT64 capabilities);
    EFI_STATUS Remove(UINT64 base, UINT64 length);
    EFI_STATUS Descriptor(UINT64 address, EFI_GCD_MEMORY_SPACE_DESCRIPTOR* descriptor) const;
    EFI_STATUS SetAttributes(UINT64 base, UINT64 length, UINT64 attributes);
    EFI_STATUS SetCapabilities(UINT64 base, UINT64 length, UINT64 capabilities);
    // Sorted, without gaps, from 0 to the end of the address space.
    const std::vector<EFI_GCD_MEMORY_SPACE_DESCRIPTOR>& Map() const { return map_; }

private:
    bool IsInside(UINT64 base, UINT64 length) const;
    std::size_t IndexOf(UINT64 address) const;
    void SplitAt(UINT64 address);
    // Changes all of a range when every descriptor in it passes the check.
    template <class Check, class Change>
    EFI_STATUS Apply(UINT64 base, UINT64 length, Check check, Change change);
    void Join();

    std::vector<EFI_GCD_MEMORY_SPACE_DESCRIPTOR> map_;
};

} // namespace sim
