#include "platform/SpecialPciDevices.h"

#include "library/firmware/Protocol.h"
#include "platform/PciClassCode.h"

#include <array>

namespace kelm {

namespace {

struct SpecialPciDevice {
    UINT16 vendorId;
    UINT16 deviceId;
    UINT8 baseClass;
    UINT8 subClass;
};
static_assert(sizeof(SpecialPciDevice) == 6);

constexpr SpecialPciDevice kSpecialDevices[] = {
    {.vendorId = 0x8086, .deviceId = 0x24F0, .baseClass = 0x02, .subClass = 0x08},
};

struct PciIdentity {
    PciClassCode classCode;
    UINT16 vendorId;
    UINT16 deviceId;
    UINT16 subsystemVendorId;
    UINT16 subsystemId;
};

EFI_STATUS ReadIdentity(EFI_PCI_IO_PROTOCOL* pci, PciIdentity& identity) {
    EFI_STATUS status = ReadPciClassCode(pci, identity.classCode);
    const std::array fields = {
        std::pair{PCI_VENDOR_ID_OFFSET, &identity.vendorId},
        std::pair{PCI_DEVICE_ID_OFFSET, &identity.deviceId},
        std::pair{PCI_SUBSYSTEM_VENDOR_ID_OFFSET, &identity.subsystemVendorId},
        std::pair{PCI_SUBSYSTEM_ID_OFFSET, &identity.subsystemId},
    };
    for (const auto& [offset, value] : fields) {
        if (!EFI_ERROR(status)) {
            status = pci->Pci.Read(pci, EfiPciIoWidthUint16, offset, 1, value);
        }
    }
    return status;
}

void LogIdentity(UINTN number, const PciIdentity& identity) {
    DebugPrint(kDebugBdsInfo, " PCI Handle #%d\n", number);
    DebugPrint(kDebugBdsInfo, "   VID   0x%04x\n", identity.vendorId);
    DebugPrint(kDebugBdsInfo, "   DID   0x%04x\n", identity.deviceId);
    DebugPrint(kDebugBdsInfo, "   Svid  0x%04x\n", identity.subsystemVendorId);
    DebugPrint(kDebugBdsInfo, "   Sdid  0x%04x\n", identity.subsystemId);
    DebugPrint(kDebugBdsInfo, "   ClassCode    0x%02x\n", identity.classCode.baseClass);
    DebugPrint(kDebugBdsInfo, "   SubClassCode 0x%02x\n", identity.classCode.subClass);
    DebugPrint(kDebugBdsInfo, "\n");
}

bool IsSpecial(const PciIdentity& identity) {
    for (const SpecialPciDevice& device : kSpecialDevices) {
        if (identity.vendorId == device.vendorId && identity.deviceId == device.deviceId &&
            identity.classCode.baseClass == device.baseClass &&
            identity.classCode.subClass == device.subClass) {
            return true;
        }
    }
    return false;
}

} // namespace

void BdsConnectSpecialPciDevices() {
    DebugPrint(kDebugBdsInfo, "%a Entry\n", "BdsConnectSpecialPciDevices");
    HandleBuffer functions;
    if (EFI_ERROR(functions.LocateByProtocol(gEfiPciIoProtocolGuid))) {
        return;
    }
    DebugPrint(kDebugBdsInfo, "  NumOfPciDeviceHandle = 0x%x\n", functions.handles().size());
    for (UINTN number = 0; number < functions.handles().size(); ++number) {
        EFI_HANDLE handle = functions.handles()[number];
        auto* pci = ProtocolOnHandle<EFI_PCI_IO_PROTOCOL>(handle);
        PciIdentity identity{};
        if (pci == nullptr || EFI_ERROR(ReadIdentity(pci, identity))) {
            continue;
        }
        LogIdentity(number, identity);
        if (IsSpecial(identity)) {
            DebugPrint(kDebugBdsInfo,
                       "  Initialize special PCI device (0x%04x/0x%04x) (0x%02x/0x%02x)\n",
                       identity.vendorId, identity.deviceId, identity.classCode.baseClass,
                       identity.classCode.subClass);
            static_cast<void>(gBS->ConnectController(handle, nullptr, nullptr, FALSE));
        }
    }
}

} // namespace kelm
