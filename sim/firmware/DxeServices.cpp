// The DXE services table.
#include "sim/devices/Devices.h"
#include "sim/firmware/DxeCore.h"
#include "sim/firmware/ServiceEntry.h"

namespace sim {

namespace {

MemorySpace& Space() {
    return Platform::Current().core->memorySpace;
}

// A service that the machine has no use for: counted, open to faults, and unsupported.
template <ServiceName kName, class... Arguments>
EFI_STATUS EFIAPI Unsupported(Arguments...) {
    if (auto injected = Enter(kName.text, TPL_NOTIFY)) {
        return *injected;
    }
    return EFI_UNSUPPORTED;
}

template <ServiceName kName, class... Arguments>
void FillUnsupported(EFI_STATUS(EFIAPI*& slot)(Arguments...)) {
    slot = &Unsupported<kName, Arguments...>;
}

EFI_STATUS EFIAPI AddMemorySpace(EFI_GCD_MEMORY_TYPE type, EFI_PHYSICAL_ADDRESS base, UINT64 length,
                                 UINT64 capabilities) {
    if (auto injected = Enter("AddMemorySpace", TPL_NOTIFY)) {
        return *injected;
    }
    return Space().Add(type, base, length, capabilities);
}

EFI_STATUS EFIAPI RemoveMemorySpace(EFI_PHYSICAL_ADDRESS base, UINT64 length) {
    if (auto injected = Enter("RemoveMemorySpace", TPL_NOTIFY)) {
        return *injected;
    }
    return Space().Remove(base, length);
}

EFI_STATUS EFIAPI GetMemorySpaceDescriptor(EFI_PHYSICAL_ADDRESS base,
                                           EFI_GCD_MEMORY_SPACE_DESCRIPTOR* descriptor) {
    if (auto injected = Enter("GetMemorySpaceDescriptor", TPL_NOTIFY)) {
        return *injected;
    }
    return Space().Descriptor(base, descriptor);
}

EFI_STATUS EFIAPI SetMemorySpaceAttributes(EFI_PHYSICAL_ADDRESS base, UINT64 length,
                                           UINT64 attributes) {
    if (auto injected = Enter("SetMemorySpaceAttributes", TPL_NOTIFY)) {
        return *injected;
    }
    return Space().SetAttributes(base, length, attributes);
}

EFI_STATUS EFIAPI SetMemorySpaceCapabilities(EFI_PHYSICAL_ADDRESS base, UINT64 length,
                                             UINT64 capabilities) {
    if (auto injected = Enter("SetMemorySpaceCapabilities", TPL_NOTIFY)) {
        return *injected;
    }
    return Space().SetCapabilities(base, length, capabilities);
}

EFI_STATUS EFIAPI GetMemorySpaceMap(UINTN* count, EFI_GCD_MEMORY_SPACE_DESCRIPTOR** map) {
    if (auto injected = Enter("GetMemorySpaceMap", TPL_NOTIFY)) {
        return *injected;
    }
    if (count == nullptr || map == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const auto& current = Space().Map();
    void* copy = Platform::Current().memory->Copy(
        current.data(), current.size() * sizeof(current[0]), "GetMemorySpaceMap");
    if (copy == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    *map = static_cast<EFI_GCD_MEMORY_SPACE_DESCRIPTOR*>(copy);
    *count = current.size();
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Dispatch() {
    if (auto injected = Enter("Dispatch", TPL_NOTIFY)) {
        return *injected;
    }
    return Platform::Current().Get<Devices>().Dispatch() ? EFI_SUCCESS : EFI_NOT_FOUND;
}

EFI_STATUS EFIAPI ProcessFirmwareVolume(const void* header, UINTN size, EFI_HANDLE* handle) {
    if (auto injected = Enter("ProcessFirmwareVolume", TPL_NOTIFY)) {
        return *injected;
    }
    return Platform::Current().core->ProcessFirmwareVolume(header, size, handle);
}

} // namespace

void FillDxeServices(EFI_DXE_SERVICES& table) {
    table.AddMemorySpace = AddMemorySpace;
    table.RemoveMemorySpace = RemoveMemorySpace;
    table.GetMemorySpaceDescriptor = GetMemorySpaceDescriptor;
    table.SetMemorySpaceAttributes = SetMemorySpaceAttributes;
    table.SetMemorySpaceCapabilities = SetMemorySpaceCapabilities;
    table.GetMemorySpaceMap = GetMemorySpaceMap;
    table.Dispatch = Dispatch;
    table.ProcessFirmwareVolume = ProcessFirmwareVolume;
    FillUnsupported<"AllocateMemorySpace">(table.AllocateMemorySpace);
    FillUnsupported<"FreeMemorySpace">(table.FreeMemorySpace);
    FillUnsupported<"AddIoSpace">(table.AddIoSpace);
    FillUnsupported<"AllocateIoSpace">(table.AllocateIoSpace);
    FillUnsupported<"FreeIoSpace">(table.FreeIoSpace);
    FillUnsupported<"RemoveIoSpace">(table.RemoveIoSpace);
    FillUnsupported<"GetIoSpaceDescriptor">(table.GetIoSpaceDescriptor);
    FillUnsupported<"GetIoSpaceMap">(table.GetIoSpaceMap);
    FillUnsupported<"Schedule">(table.Schedule);
    FillUnsupported<"Trust">(table.Trust);
}

} // namespace sim
