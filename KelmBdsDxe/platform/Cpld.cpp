#include "platform/Cpld.h"

#include "kelm/CpldProtocol.h"
#include "library/firmware/Protocol.h"

namespace kelm {

EFI_STATUS BdsReadCpldRegister(UINT16 reg, UINT8* value) {
    KelmCpldProtocol* cpld = nullptr;
    EFI_STATUS status = LocateService(cpld);
    if (EFI_ERROR(status)) {
        return status;
    }
    UINT8 read = 0;
    status = cpld->ReadRegister(cpld, reg, &read);
    if (!EFI_ERROR(status)) {
        *value = read;
    }
    return status;
}

EFI_STATUS BdsWriteCpldRegister(UINT16 reg, UINT8 value) {
    KelmCpldProtocol* cpld = nullptr;
    const EFI_STATUS status = LocateService(cpld);
    return EFI_ERROR(status) ? status : cpld->WriteRegister(cpld, reg, value);
}

} // namespace kelm
