#include "mgmt/ConfigLock.h"

#include "kelm/Variables.h"
#include "library/firmware/Services.h"

namespace kelm {

namespace {

constexpr UINT8 kConfigurationLocked = 1;

} // namespace

EFI_STATUS BdsGetConfigLock(UINT8* lock) {
    const KelmVariable& variable = kVariableConfigLockDetect;
    UINT8 value = 0;
    UINTN size = sizeof(value);
    const EFI_STATUS status =
        gRT->GetVariable(const_cast<CHAR16*>(variable.name), variable.guid, nullptr, &size, &value);
    *lock = EFI_ERROR(status) ? 0 : value;
    return status;
}

bool BdsIsConfigLocked() {
    UINT8 lock = 0;
    static_cast<void>(BdsGetConfigLock(&lock));
    return lock == kConfigurationLocked;
}

} // namespace kelm
