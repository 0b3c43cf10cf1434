#include "platform/NetworkPermission.h"

#include "kelm/Variables.h"
#include "library/firmware/Services.h"

namespace kelm {

namespace {

EFI_STATUS WritePermission(UINT8 allowed) {
    const KelmVariable& variable = kVariableAllowNetworkConnection;
    return gRT->SetVariable(const_cast<CHAR16*>(variable.name), variable.guid, variable.attributes,
                            sizeof(allowed), &allowed);
}

} // namespace

EFI_STATUS BdsAllowNetworkConnection() {
    return WritePermission(1);
}

EFI_STATUS BdsDisallowNetworkConnection() {
    return WritePermission(0);
}

} // namespace kelm
