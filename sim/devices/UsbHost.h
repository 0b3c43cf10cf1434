// A USB host controller as its driver shows it: the USB2 host controller protocol (UEFI 2.10,
// section 17.1) for xHCI and EHCI, its predecessor (EFI 1.10) for UHCI and OHCI.
//
// What hangs from the controller is known from the tree of devices; nothing is found by transfers.
// So the members that move data or look after ports answer EFI_UNSUPPORTED.
#pragma once

#include "sim/devices/PciFunction.h"
#include "uefi/UsbHostController.h"

namespace sim {

class UsbHost final : public DeviceObject {
public:
    // `function` is a USB controller that IsUsbHost() has accepted.
    explicit UsbHost(const PciFunction& function);

    static UsbHost* Of(const Device& owner) { return owner.Find<UsbHost>(); }

    const Device& device;
    // Publishes the protocol that it has on the handle of its function. The controller is halted.
    void PublishOn(Device& function);
    bool WithdrawFrom(Device& function);

private:
    using Newer = Interface<EFI_USB2_HC_PROTOCOL, UsbHost>;
    using Older = Interface<EFI_USB_HC_PROTOCOL, UsbHost>;

    template <LiteralText kName, class Table>
    void FillCommon(Table& table);

    // What both have, each under its name.
    template <class Table>
    static std::optional<EFI_STATUS> Enter(const char* member, const Table* self);
    template <class Table>
    static EFI_STATUS EFIAPI Reset(Table* self, UINT16 attributes);
    template <class Table>
    static EFI_STATUS EFIAPI GetState(Table* self, EFI_USB_HC_STATE* state);
    template <class Table>
    static EFI_STATUS EFIAPI SetState(Table* self, EFI_USB_HC_STATE state);
    static EFI_STATUS EFIAPI GetCapability(EFI_USB2_HC_PROTOCOL* self, UINT8* maxSpeed,
                                           UINT8* portNumber, UINT8* is64BitCapable);
    static EFI_STATUS EFIAPI GetRootHubPortNumber(EFI_USB_HC_PROTOCOL* self, UINT8* portNumber);
    UINT8 Ports() const;

    const UINT8 interface_; // PCI_IF_XHCI, ...
    EFI_USB_HC_STATE state_ = EfiUsbHcStateHalt;
    Newer newer_;
    Older older_;
};

// Whether a function is a USB host controller of a kind that has a driver.
bool IsUsbHost(const Device& device);

} // namespace sim
