// A port of a network adapter: the simple network protocol (UEFI 2.10, section 24.1) and the
// network interface identifier on the handle with its MAC address.
//
// The port has the states and the mode record of a real one, but nobody on the other end of the
// cable: nothing is ever received, and what shall be sent is not taken.
#pragma once

#include "sim/devices/Device.h"
#include "sim/siblings/Sibling.h"
#include "uefi/NetworkInterfaceIdentifier.h"
#include "uefi/SimpleNetwork.h"

namespace sim {

class NetworkPort final : public DeviceObject {
public:
    // Reads "network" of the device; throws MachineFileError. `node` is its MAC address node.
    NetworkPort(const Device& owner, const MAC_ADDR_DEVICE_PATH& node);

    static NetworkPort* Of(const Device& owner) { return owner.Find<NetworkPort>(); }

    // Creates the wait event, which is the machine's and of no phase of a boot.
    void PowerOn();
    // Publishes both protocols; the port is stopped.
    void PublishOn(Device& port);

    const Device& device;
    const EFI_SIMPLE_NETWORK_MODE& Mode() const { return mode_; }
    // Whether a cable is plugged in.
    bool HasMedia() const { return media_; }

private:
    using Table = Interface<EFI_SIMPLE_NETWORK_PROTOCOL, NetworkPort>;

    void FillMode(const MAC_ADDR_DEVICE_PATH& node);
    void FillTable();
    // What a member answers that needs the port initialized.
    EFI_STATUS NeedInitialized() const;
    EFI_STATUS SetFilters(UINT32 enable, UINT32 disable, bool resetMulticast, UINTN count,
                          const EFI_MAC_ADDRESS* addresses);

    static EFI_STATUS EFIAPI Start(EFI_SIMPLE_NETWORK_PROTOCOL* self);
    static EFI_STATUS EFIAPI Stop(EFI_SIMPLE_NETWORK_PROTOCOL* self);
    static EFI_STATUS EFIAPI Initialize(EFI_SIMPLE_NETWORK_PROTOCOL* self, UINTN extraReceive,
                                        UINTN extraTransmit);
    static EFI_STATUS EFIAPI Reset(EFI_SIMPLE_NETWORK_PROTOCOL* self, BOOLEAN extended);
    static EFI_STATUS EFIAPI Shutdown(EFI_SIMPLE_NETWORK_PROTOCOL* self);
    static EFI_STATUS EFIAPI ReceiveFilters(EFI_SIMPLE_NETWORK_PROTOCOL* self, UINT32 enable,
                                            UINT32 disable, BOOLEAN resetMulticast, UINTN count,
                                            EFI_MAC_ADDRESS* addresses);
    static EFI_STATUS EFIAPI StationAddress(EFI_SIMPLE_NETWORK_PROTOCOL* self, BOOLEAN reset,
                                            EFI_MAC_ADDRESS* address);
    static EFI_STATUS EFIAPI GetStatus(EFI_SIMPLE_NETWORK_PROTOCOL* self, UINT32* interrupts,
                                       void** buffer);
    static EFI_STATUS EFIAPI Transmit(EFI_SIMPLE_NETWORK_PROTOCOL* self, UINTN headerSize,
                                      UINTN size, void* buffer, EFI_MAC_ADDRESS* source,
                                      EFI_MAC_ADDRESS* destination, UINT16* protocol);
    static EFI_STATUS EFIAPI Receive(EFI_SIMPLE_NETWORK_PROTOCOL* self, UINTN* headerSize,
                                     UINTN* size, void* buffer, EFI_MAC_ADDRESS* source,
                                     EFI_MAC_ADDRESS* destination, UINT16* protocol);
    static void EFIAPI OnWait(EFI_EVENT event, void* context);

    bool media_ = true;
    EFI_SIMPLE_NETWORK_MODE mode_{};
    Table table_;
    EFI_NETWORK_INTERFACE_IDENTIFIER_PROTOCOL identifier_{};
};

} // namespace sim
