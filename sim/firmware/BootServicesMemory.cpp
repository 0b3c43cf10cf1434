// Boot services: pages, pool and the memory map.
#include "sim/firmware/DxeCore.h"
#include "sim/firmware/ServiceEntry.h"

#include <algorithm>

namespace sim {

namespace {

EFI_STATUS EFIAPI AllocatePages(EFI_ALLOCATE_TYPE kind, EFI_MEMORY_TYPE type, UINTN pages,
                                EFI_PHYSICAL_ADDRESS* memory) {
    if (auto injected = Enter("AllocatePages", kMemoryServices)) {
        return *injected;
    }
    if (memory == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return Platform::Current().arena->AllocatePages(kind, type, pages, memory, kOwnerDriver);
}

EFI_STATUS EFIAPI FreePages(EFI_PHYSICAL_ADDRESS memory, UINTN pages) {
    if (auto injected = Enter("FreePages", kMemoryServices)) {
        return *injected;
    }
    return Platform::Current().arena->FreePages(memory, pages);
}

EFI_STATUS EFIAPI AllocatePool(EFI_MEMORY_TYPE type, UINTN size, void** buffer) {
    if (auto injected = Enter("AllocatePool", kMemoryServices)) {
        return *injected;
    }
    if (buffer == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return Platform::Current().arena->AllocatePool(type, size, buffer, kOwnerDriver);
}

EFI_STATUS EFIAPI FreePool(void* buffer) {
    if (auto injected = Enter("FreePool", kMemoryServices)) {
        return *injected;
    }
    if (buffer == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return Platform::Current().arena->FreePool(buffer);
}

EFI_STATUS EFIAPI GetMemoryMap(UINTN* mapSize, EFI_MEMORY_DESCRIPTOR* map, UINTN* mapKey,
                               UINTN* descriptorSize, UINT32* descriptorVersion) {
    if (auto injected = Enter("GetMemoryMap", kMemoryServices)) {
        return *injected;
    }
    if (mapSize == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const Arena& arena = *Platform::Current().arena;
    const std::vector<EFI_MEMORY_DESCRIPTOR> current = arena.MemoryMap();
    const UINTN needed = current.size() * sizeof(EFI_MEMORY_DESCRIPTOR);
    const bool fits = *mapSize >= needed;
    *mapSize = needed;
    if (descriptorSize != nullptr) {
        *descriptorSize = sizeof(EFI_MEMORY_DESCRIPTOR);
    }
    if (descriptorVersion != nullptr) {
        *descriptorVersion = EFI_MEMORY_DESCRIPTOR_VERSION;
    }
    if (!fits) {
        return EFI_BUFFER_TOO_SMALL;
    }
    if (map == nullptr || mapKey == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    std::copy(current.begin(), current.end(), map);
    *mapKey = arena.MapKey();
    return EFI_SUCCESS;
}

} // namespace

void FillMemoryServices(EFI_BOOT_SERVICES& table) {
    table.AllocatePages = AllocatePages;
    table.FreePages = FreePages;
    table.AllocatePool = AllocatePool;
    table.FreePool = FreePool;
    table.GetMemoryMap = GetMemoryMap;
}

} // namespace sim
