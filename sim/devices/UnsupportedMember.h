// Members of device protocols that nobody has a use for: they begin like every other member and
// answer EFI_UNSUPPORTED.
#pragma once

#include "sim/devices/Device.h"
#include "sim/siblings/ProtocolTable.h"

#include <type_traits>

namespace sim {

// `Owner` is the class behind the table, an `Interface<Protocol, Owner>`; it has a public `device`.
template <class Owner, LiteralText kProtocol, LiteralText kMember, class Protocol, class... A>
EFI_STATUS EFIAPI UnsupportedMember(Protocol* self, A...) {
    const Device& device = Interface<std::remove_const_t<Protocol>, Owner>::From(self).device;
    if (auto fault = device.Enter(kProtocol.value, kMember.value, self)) {
        return *fault;
    }
    return EFI_UNSUPPORTED;
}

//     FillUnsupported<UsbInterface, "UsbIo", "UsbIsochronousTransfer">(
//         table.UsbIsochronousTransfer);
template <class Owner, LiteralText kProtocol, LiteralText kMember, class Protocol, class... A>
void FillUnsupported(EFI_STATUS(EFIAPI*& slot)(Protocol*, A...)) {
    slot = &UnsupportedMember<Owner, kProtocol, kMember, Protocol, A...>;
}

} // namespace sim
