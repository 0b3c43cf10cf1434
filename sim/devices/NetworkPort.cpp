#include "sim/devices/NetworkPort.h"

#include "sim/devices/Devices.h"
#include "sim/devices/UnsupportedMember.h"
#include "sim/firmware/EventService.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>

namespace sim {

namespace {

constexpr UINT32 kEthernetAddressSize = 6;
constexpr UINT32 kEthernetHeaderSize = 14;
constexpr UINT32 kEthernetPacketSize = 1500;
constexpr UINT32 kFilters =
    EFI_SIMPLE_NETWORK_RECEIVE_UNICAST | EFI_SIMPLE_NETWORK_RECEIVE_MULTICAST |
    EFI_SIMPLE_NETWORK_RECEIVE_BROADCAST | EFI_SIMPLE_NETWORK_RECEIVE_PROMISCUOUS |
    EFI_SIMPLE_NETWORK_RECEIVE_PROMISCUOUS_MULTICAST;

} // namespace

NetworkPort::NetworkPort(const Device& owner, const MAC_ADDR_DEVICE_PATH& node) : device(owner) {
    if (!device.place.empty()) {
        media_ = FlagAt(device.devices.platform.machine, device.place + "/network/media", true);
    }
    FillMode(node);
    FillTable();
    identifier_.Revision = EFI_NETWORK_INTERFACE_IDENTIFIER_PROTOCOL_REVISION;
    std::copy_n("UNDI", sizeof(identifier_.StringId), identifier_.StringId);
    identifier_.Type = EfiNetworkInterfaceUndi;
    identifier_.MajorVer = 3;
    identifier_.MinorVer = 1;
    identifier_.Ipv6Supported = TRUE;
}

void NetworkPort::FillMode(const MAC_ADDR_DEVICE_PATH& node) {
    mode_.State = EfiSimpleNetworkStopped;
    mode_.HwAddressSize = kEthernetAddressSize;
    mode_.MediaHeaderSize = kEthernetHeaderSize;
    mode_.MaxPacketSize = kEthernetPacketSize;
    mode_.ReceiveFilterMask = kFilters;
    mode_.MaxMCastFilterCount = MAX_MCAST_FILTER_CNT;
    std::copy_n(node.MacAddress, kEthernetAddressSize, mode_.PermanentAddress.Addr);
    mode_.CurrentAddress = mode_.PermanentAddress;
    std::fill_n(mode_.BroadcastAddress.Addr, kEthernetAddressSize, UINT8{0xFF});
    mode_.IfType = node.IfType;
    mode_.MacAddressChangeable = TRUE;
    mode_.MediaPresentSupported = TRUE;
    mode_.MediaPresent = media_ ? TRUE : FALSE;
}

void NetworkPort::FillTable() {
    table_.owner = this;
    EFI_SIMPLE_NETWORK_PROTOCOL& table = table_.protocol;
    table.Revision = EFI_SIMPLE_NETWORK_PROTOCOL_REVISION;
    table.Start = &Start;
    table.Stop = &Stop;
    table.Initialize = &Initialize;
    table.Reset = &Reset;
    table.Shutdown = &Shutdown;
    table.ReceiveFilters = &ReceiveFilters;
    table.StationAddress = &StationAddress;
    table.GetStatus = &GetStatus;
    table.Transmit = &Transmit;
    table.Receive = &Receive;
    table.Mode = &mode_;
    FillUnsupported<NetworkPort, "SimpleNetwork", "Statistics">(table.Statistics);
    FillUnsupported<NetworkPort, "SimpleNetwork", "MCastIpToMac">(table.MCastIpToMac);
    FillUnsupported<NetworkPort, "SimpleNetwork", "NvData">(table.NvData);
}

void NetworkPort::PowerOn() {
    static_cast<void>(device.devices.platform.events->CreateEvent(
        EVT_NOTIFY_WAIT, TPL_NOTIFY, &OnWait, this, nullptr, &table_.protocol.WaitForPacket));
}

void NetworkPort::PublishOn(Device& port) {
    mode_.State = EfiSimpleNetworkStopped;
    mode_.ReceiveFilterSetting = 0;
    mode_.MCastFilterCount = 0;
    mode_.CurrentAddress = mode_.PermanentAddress;
    port.Publish(gEfiNetworkInterfaceIdentifierProtocolGuid_31, &identifier_);
    port.Publish(gEfiSimpleNetworkProtocolGuid, &table_.protocol);
}

// No packet ever comes.
void EFIAPI NetworkPort::OnWait(EFI_EVENT, void*) {}

// ---- States

EFI_STATUS EFIAPI NetworkPort::Start(EFI_SIMPLE_NETWORK_PROTOCOL* self) {
    NetworkPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SimpleNetwork", "Start", self)) {
        return *fault;
    }
    if (port.mode_.State != EfiSimpleNetworkStopped) {
        return EFI_ALREADY_STARTED;
    }
    port.mode_.State = EfiSimpleNetworkStarted;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI NetworkPort::Stop(EFI_SIMPLE_NETWORK_PROTOCOL* self) {
    NetworkPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SimpleNetwork", "Stop", self)) {
        return *fault;
    }
    if (port.mode_.State != EfiSimpleNetworkStarted) {
        return port.mode_.State == EfiSimpleNetworkStopped ? EFI_NOT_STARTED : EFI_DEVICE_ERROR;
    }
    port.mode_.State = EfiSimpleNetworkStopped;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI NetworkPort::Initialize(EFI_SIMPLE_NETWORK_PROTOCOL* self, UINTN, UINTN) {
    NetworkPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SimpleNetwork", "Initialize", self)) {
        return *fault;
    }
    if (port.mode_.State != EfiSimpleNetworkStarted) {
        return port.mode_.State == EfiSimpleNetworkStopped ? EFI_NOT_STARTED : EFI_DEVICE_ERROR;
    }
    port.mode_.State = EfiSimpleNetworkInitialized;
    port.mode_.MediaPresent = port.media_ ? TRUE : FALSE;
    return EFI_SUCCESS;
}

EFI_STATUS NetworkPort::NeedInitialized() const {
    if (mode_.State == EfiSimpleNetworkStopped) {
        return EFI_NOT_STARTED;
    }
    return mode_.State == EfiSimpleNetworkInitialized ? EFI_SUCCESS : EFI_DEVICE_ERROR;
}

EFI_STATUS EFIAPI NetworkPort::Reset(EFI_SIMPLE_NETWORK_PROTOCOL* self, BOOLEAN) {
    NetworkPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SimpleNetwork", "Reset", self)) {
        return *fault;
    }
    return port.NeedInitialized();
}

EFI_STATUS EFIAPI NetworkPort::Shutdown(EFI_SIMPLE_NETWORK_PROTOCOL* self) {
    NetworkPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SimpleNetwork", "Shutdown", self)) {
        return *fault;
    }
    if (const EFI_STATUS status = port.NeedInitialized(); EFI_ERROR(status)) {
        return status;
    }
    port.mode_.State = EfiSimpleNetworkStarted;
    port.mode_.ReceiveFilterSetting = 0;
    port.mode_.MCastFilterCount = 0;
    return EFI_SUCCESS;
}

// ---- Settings

EFI_STATUS NetworkPort::SetFilters(UINT32 enable, UINT32 disable, bool resetMulticast, UINTN count,
                                   const EFI_MAC_ADDRESS* addresses) {
    if (((enable | disable) & ~mode_.ReceiveFilterMask) != 0) {
        return EFI_INVALID_PARAMETER;
    }
    if (!resetMulticast && count != 0 &&
        (addresses == nullptr || count > mode_.MaxMCastFilterCount)) {
        return EFI_INVALID_PARAMETER;
    }
    mode_.ReceiveFilterSetting = (mode_.ReceiveFilterSetting | enable) & ~disable;
    if (resetMulticast) {
        mode_.MCastFilterCount = 0;
    } else if (count != 0) {
        std::copy_n(addresses, count, mode_.MCastFilter);
        mode_.MCastFilterCount = UINT32(count);
    }
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI NetworkPort::ReceiveFilters(EFI_SIMPLE_NETWORK_PROTOCOL* self, UINT32 enable,
                                              UINT32 disable, BOOLEAN resetMulticast, UINTN count,
                                              EFI_MAC_ADDRESS* addresses) {
    NetworkPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SimpleNetwork", "ReceiveFilters", self)) {
        return *fault;
    }
    const EFI_STATUS status = port.NeedInitialized();
    return EFI_ERROR(status)
               ? status
               : port.SetFilters(enable, disable, resetMulticast != FALSE, count, addresses);
}

EFI_STATUS EFIAPI NetworkPort::StationAddress(EFI_SIMPLE_NETWORK_PROTOCOL* self, BOOLEAN reset,
                                              EFI_MAC_ADDRESS* address) {
    NetworkPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SimpleNetwork", "StationAddress", self)) {
        return *fault;
    }
    if (const EFI_STATUS status = port.NeedInitialized(); EFI_ERROR(status)) {
        return status;
    }
    if (reset == FALSE && address == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    port.mode_.CurrentAddress = reset != FALSE ? port.mode_.PermanentAddress : *address;
    return EFI_SUCCESS;
}

// ---- Packets

EFI_STATUS EFIAPI NetworkPort::GetStatus(EFI_SIMPLE_NETWORK_PROTOCOL* self, UINT32* interrupts,
                                         void** buffer) {
    NetworkPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SimpleNetwork", "GetStatus", self)) {
        return *fault;
    }
    if (interrupts == nullptr && buffer == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (const EFI_STATUS status = port.NeedInitialized(); EFI_ERROR(status)) {
        return status;
    }
    port.mode_.MediaPresent = port.media_ ? TRUE : FALSE;
    if (interrupts != nullptr) {
        *interrupts = 0;
    }
    if (buffer != nullptr) {
        *buffer = nullptr; // none has been sent
    }
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI NetworkPort::Transmit(EFI_SIMPLE_NETWORK_PROTOCOL* self, UINTN headerSize,
                                        UINTN size, void* buffer, EFI_MAC_ADDRESS*,
                                        EFI_MAC_ADDRESS* destination, UINT16* protocol) {
    const NetworkPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SimpleNetwork", "Transmit", self)) {
        return *fault;
    }
    if (const EFI_STATUS status = port.NeedInitialized(); EFI_ERROR(status)) {
        return status;
    }
    if (buffer == nullptr || (headerSize != 0 && (headerSize != port.mode_.MediaHeaderSize ||
                                                  destination == nullptr || protocol == nullptr))) {
        return EFI_INVALID_PARAMETER;
    }
    return size < port.mode_.MediaHeaderSize ? EFI_BUFFER_TOO_SMALL : EFI_NOT_READY;
}

EFI_STATUS EFIAPI NetworkPort::Receive(EFI_SIMPLE_NETWORK_PROTOCOL* self, UINTN*, UINTN* size,
                                       void* buffer, EFI_MAC_ADDRESS*, EFI_MAC_ADDRESS*, UINT16*) {
    const NetworkPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SimpleNetwork", "Receive", self)) {
        return *fault;
    }
    if (const EFI_STATUS status = port.NeedInitialized(); EFI_ERROR(status)) {
        return status;
    }
    return size == nullptr || buffer == nullptr ? EFI_INVALID_PARAMETER : EFI_NOT_READY;
}

} // namespace sim
