#include "sim/devices/UsbHost.h"

#include "sim/devices/UnsupportedMember.h"
#include "sim/devices/UsbInterface.h"

#include <algorithm>

namespace sim {

namespace {

constexpr UINT8 kFewestPorts = 2;

const char* NameOf(const EFI_USB2_HC_PROTOCOL*) {
    return "Usb2HostController";
}
const char* NameOf(const EFI_USB_HC_PROTOCOL*) {
    return "UsbHostController";
}

bool IsNewer(UINT8 interface) {
    return interface == PCI_IF_XHCI || interface == PCI_IF_EHCI;
}

} // namespace

bool IsUsbHost(const Device& device) {
    const PciFunction* function = PciFunction::Of(device);
    if (function == nullptr || !function->Class().Is(PCI_CLASS_SERIAL, PCI_CLASS_SERIAL_USB)) {
        return false;
    }
    const UINT8 interface = function->Class().interface;
    return IsNewer(interface) || interface == PCI_IF_UHCI || interface == PCI_IF_OHCI;
}

UsbHost::UsbHost(const PciFunction& function)
    : device(function.device), interface_(function.Class().interface) {
    newer_.owner = this;
    FillCommon<"Usb2HostController">(newer_.protocol);
    newer_.protocol.GetCapability = &GetCapability;
    newer_.protocol.MajorRevision = interface_ == PCI_IF_XHCI ? 3 : 2;
    older_.owner = this;
    FillCommon<"UsbHostController">(older_.protocol);
    older_.protocol.GetRootHubPortNumber = &GetRootHubPortNumber;
    older_.protocol.MajorRevision = 1;
    older_.protocol.MinorRevision = 1;
}

void UsbHost::PublishOn(Device& function) {
    state_ = EfiUsbHcStateHalt;
    if (IsNewer(interface_)) {
        function.Publish(gEfiUsb2HcProtocolGuid, &newer_.protocol);
    } else {
        function.Publish(gEfiUsbHcProtocolGuid, &older_.protocol);
    }
}

bool UsbHost::WithdrawFrom(Device& function) {
    return function.Withdraw(IsNewer(interface_) ? gEfiUsb2HcProtocolGuid : gEfiUsbHcProtocolGuid);
}

template <LiteralText kName, class Table>
void UsbHost::FillCommon(Table& table) {
    table.Reset = &Reset<Table>;
    table.GetState = &GetState<Table>;
    table.SetState = &SetState<Table>;
    FillUnsupported<UsbHost, kName, "ControlTransfer">(table.ControlTransfer);
    FillUnsupported<UsbHost, kName, "BulkTransfer">(table.BulkTransfer);
    FillUnsupported<UsbHost, kName, "AsyncInterruptTransfer">(table.AsyncInterruptTransfer);
    FillUnsupported<UsbHost, kName, "SyncInterruptTransfer">(table.SyncInterruptTransfer);
    FillUnsupported<UsbHost, kName, "IsochronousTransfer">(table.IsochronousTransfer);
    FillUnsupported<UsbHost, kName, "AsyncIsochronousTransfer">(table.AsyncIsochronousTransfer);
    FillUnsupported<UsbHost, kName, "GetRootHubPortStatus">(table.GetRootHubPortStatus);
    FillUnsupported<UsbHost, kName, "SetRootHubPortFeature">(table.SetRootHubPortFeature);
    FillUnsupported<UsbHost, kName, "ClearRootHubPortFeature">(table.ClearRootHubPortFeature);
}

UINT8 UsbHost::Ports() const {
    UINT8 ports = kFewestPorts;
    for (const Device* child : device.children) {
        if (const UsbInterface* interface = UsbInterface::Of(*child)) {
            ports = std::max(ports, UINT8(interface->port + 1));
        }
    }
    return ports;
}

// ---- The protocols

template <class Table>
std::optional<EFI_STATUS> UsbHost::Enter(const char* member, const Table* self) {
    return Interface<Table, UsbHost>::From(self).device.Enter(NameOf(self), member, self);
}

template <class Table>
EFI_STATUS EFIAPI UsbHost::Reset(Table* self, UINT16 attributes) {
    if (auto fault = Enter("Reset", self)) {
        return *fault;
    }
    if (attributes != EFI_USB_HC_RESET_GLOBAL && attributes != EFI_USB_HC_RESET_HOST_CONTROLLER) {
        return EFI_UNSUPPORTED; // a reset of a debug port, of which there is none
    }
    Interface<Table, UsbHost>::From(self).state_ = EfiUsbHcStateHalt;
    return EFI_SUCCESS;
}

template <class Table>
EFI_STATUS EFIAPI UsbHost::GetState(Table* self, EFI_USB_HC_STATE* state) {
    if (auto fault = Enter("GetState", self)) {
        return *fault;
    }
    if (state == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *state = Interface<Table, UsbHost>::From(self).state_;
    return EFI_SUCCESS;
}

template <class Table>
EFI_STATUS EFIAPI UsbHost::SetState(Table* self, EFI_USB_HC_STATE state) {
    if (auto fault = Enter("SetState", self)) {
        return *fault;
    }
    if (state >= EfiUsbHcStateMaximum) {
        return EFI_INVALID_PARAMETER;
    }
    Interface<Table, UsbHost>::From(self).state_ = state;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI UsbHost::GetCapability(EFI_USB2_HC_PROTOCOL* self, UINT8* maxSpeed,
                                         UINT8* portNumber, UINT8* is64BitCapable) {
    if (auto fault = Enter("GetCapability", self)) {
        return *fault;
    }
    if (maxSpeed == nullptr || portNumber == nullptr || is64BitCapable == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const UsbHost& host = Newer::From(self);
    *maxSpeed = host.interface_ == PCI_IF_XHCI ? EFI_USB_SPEED_SUPER : EFI_USB_SPEED_HIGH;
    *portNumber = host.Ports();
    *is64BitCapable = TRUE;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI UsbHost::GetRootHubPortNumber(EFI_USB_HC_PROTOCOL* self, UINT8* portNumber) {
    if (auto fault = Enter("GetRootHubPortNumber", self)) {
        return *fault;
    }
    if (portNumber == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *portNumber = Older::From(self).Ports();
    return EFI_SUCCESS;
}

} // namespace sim
