// The names of the calls that a fault of the machine file can hit.
#pragma once

#include <string_view>

namespace sim {

// Whether `call` is a service ("SetVariable"), a member of a protocol that the firmware core serves
// itself ("Pcd.Get"), or "Protocol.Member" of a protocol that a sibling or a device serves
// ("BlockIo.ReadBlocks"). Which members such a protocol has is not looked at.
bool IsCallName(std::string_view call);

} // namespace sim
