// The hand-off blocks that the phases before DXE leave: a hand-off table, the GUID extensions of
// the machine file's "hobs", the end (PI 1.8, volume 3, section 5).
#pragma once

#include "uefi/Base.h"

#include <vector>

namespace sim {

class Platform;

class HobList {
public:
    // Reads "hobs". Throws MachineFileError.
    explicit HobList(Platform& platform);
    HobList(const HobList&) = delete;
    HobList& operator=(const HobList&) = delete;

    // Writes the list into memory and hangs it into the configuration table.
    void Install();

    // The list as it lies in memory; nullptr before Install().
    void* Start() const { return start_; }
    // The data of the first extension with that GUID, as the machine file has it; nullptr when
    // there is none.
    const std::vector<UINT8>* Find(const EFI_GUID& guid) const;

private:
    struct Extension {
        EFI_GUID guid;
        std::vector<UINT8> data;
    };

    Platform& platform_;
    std::vector<Extension> extensions_;
    void* start_ = nullptr;
};

} // namespace sim
