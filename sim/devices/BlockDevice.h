// Block I/O and disk information on the handle of a storage device (UEFI 2.10, section 13.9), for
// whichever driver finds the device on its bus.
//
// What the medium holds was read from the machine file before power-on (BlockMedia.h): a device of
// a kind that carries media has its BlockMedia from then on.
#pragma once

#include "sim/devices/Device.h"

namespace sim {

// How the device is reached: chooses the interface GUID of the disk information protocol and the
// form of its identify data.
enum class DiskInfoBus {
    None, // no disk information protocol: a RAM disk, a partition
    Scsi,
    Ahci,
    Nvme,
    Usb,
};

// Publishes EFI_BLOCK_IO_PROTOCOL and, but for DiskInfoBus::None, EFI_DISK_INFO_PROTOCOL on the
// handle of a present device. Call it in Bring() of a bus driver or in Attach() of a device driver.
void PublishBlockDevice(Device& device, DiskInfoBus bus);

// Takes both back, for Detach(); the children of Bring() need it not. False when somebody who has
// one of them open does not let go.
bool WithdrawBlockDevice(Device& device);

// Whether devices of this kind carry media: "virtual-disk", "usb-floppy", "ram-disk", ...
bool CarriesMedia(std::string_view kind);

} // namespace sim
