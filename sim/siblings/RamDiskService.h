// The RAM disk service (UEFI 2.10, section 13.17): memory becomes a block device. RAM disks of the
// machine file are registered at power-on, in memory of the service's own.
#pragma once

#include "sim/siblings/ProtocolTable.h"
#include "uefi/RamDisk.h"

#include <vector>

namespace sim {

class Device;

class RamDiskService final : public Sibling {
public:
    using Sibling::Sibling;
    // Needs Devices to be installed.
    void Install() override;

    // The devices of the RAM disks that are registered, oldest first.
    const std::vector<Device*>& Disks() const { return disks_; }

private:
    void PutInPlace(Device& device);
    EFI_STATUS Register(UINT64 base, UINT64 size, const EFI_GUID* type,
                        EFI_DEVICE_PATH_PROTOCOL* parent, EFI_DEVICE_PATH_PROTOCOL** path);
    EFI_STATUS Unregister(EFI_DEVICE_PATH_PROTOCOL* path);

    std::vector<Device*> disks_;
    ProtocolTable<EFI_RAM_DISK_PROTOCOL, "RamDisk"> protocol_;
};

} // namespace sim
