// EFI_DISK_INFO_PROTOCOL of a simulated disk (PI 1.8, volume 5): inquiry or identify data as a
// device on that bus would answer them, made from what the machine file says of it.
#pragma once

#include "sim/devices/BlockDevice.h"
#include "sim/devices/BlockMedia.h"
#include "sim/siblings/Sibling.h"
#include "uefi/DiskInfo.h"

#include <span>
#include <vector>

namespace sim {

class DiskInfo final : public DeviceObject {
public:
    DiskInfo(const Device& device, const BlockMedia& media, DiskInfoBus bus);
    EFI_DISK_INFO_PROTOCOL* Protocol() { return &table_.protocol; }

private:
    using Table = Interface<EFI_DISK_INFO_PROTOCOL, DiskInfo>;
    static EFI_STATUS HandOut(std::span<const std::uint8_t> data, void* buffer, UINT32* size);
    static EFI_STATUS EFIAPI Inquiry(EFI_DISK_INFO_PROTOCOL* self, void* data, UINT32* size);
    static EFI_STATUS EFIAPI Identify(EFI_DISK_INFO_PROTOCOL* self, void* data, UINT32* size);
    static EFI_STATUS EFIAPI SenseData(EFI_DISK_INFO_PROTOCOL* self, void* data, UINT32* size,
                                       UINT8* number);
    static EFI_STATUS EFIAPI WhichIde(EFI_DISK_INFO_PROTOCOL* self, UINT32* channel,
                                      UINT32* device);

    const Device& device_;
    Table table_;
    std::vector<std::uint8_t> inquiry_; // empty: the bus has no such data
    std::vector<std::uint8_t> identify_;
    bool hasPort_ = false;
    UINT32 port_ = 0;
    UINT32 multiplierPort_ = 0;
};

} // namespace sim
