// Boot services: configuration tables, counters, checksums and plain memory operations.
#include "library/pure/Crc32.h"
#include "sim/firmware/DxeCore.h"
#include "sim/firmware/ServiceEntry.h"

#include <cstring>

namespace sim {

namespace {

EFI_STATUS EFIAPI InstallConfigurationTable(const EFI_GUID* guid, void* table) {
    if (auto injected = Enter("InstallConfigurationTable", TPL_NOTIFY)) {
        return *injected;
    }
    if (guid == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return Platform::Current().core->InstallConfigurationTable(*guid, table);
}

EFI_STATUS EFIAPI GetNextMonotonicCount(UINT64* count) {
    if (auto injected = Enter("GetNextMonotonicCount", TPL_HIGH_LEVEL)) {
        return *injected;
    }
    if (count == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *count = Platform::Current().core->NextMonotonicCount();
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI CalculateCrc32(const void* data, UINTN size, UINT32* crc) {
    if (auto injected = Enter("CalculateCrc32", TPL_HIGH_LEVEL)) {
        return *injected;
    }
    if (data == nullptr || size == 0 || crc == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *crc = kelm::Crc32(data, size);
    return EFI_SUCCESS;
}

void EFIAPI CopyMem(void* destination, const void* source, UINTN length) {
    static_cast<void>(Enter("CopyMem", TPL_HIGH_LEVEL));
    if (length != 0) {
        std::memmove(destination, source, length);
    }
}

void EFIAPI SetMem(void* buffer, UINTN size, UINT8 value) {
    static_cast<void>(Enter("SetMem", TPL_HIGH_LEVEL));
    if (size != 0) {
        std::memset(buffer, value, size);
    }
}

} // namespace

void FillMiscellaneousServices(EFI_BOOT_SERVICES& table) {
    table.InstallConfigurationTable = InstallConfigurationTable;
    table.GetNextMonotonicCount = GetNextMonotonicCount;
    table.CalculateCrc32 = CalculateCrc32;
    table.CopyMem = CopyMem;
    table.SetMem = SetMem;
}

} // namespace sim
