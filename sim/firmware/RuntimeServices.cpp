// The runtime services table.
#include "sim/firmware/CalendarTime.h"
#include "sim/firmware/DxeCore.h"
#include "sim/firmware/ServiceEntry.h"
#include "sim/firmware/VariableService.h"

namespace sim {

namespace {

EFI_STATUS EFIAPI GetTime(EFI_TIME* time, EFI_TIME_CAPABILITIES* capabilities) {
    if (auto injected = Enter("GetTime", kTimeServices)) {
        return *injected;
    }
    if (time == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *time = Platform::Current().core->Time();
    if (capabilities != nullptr) {
        *capabilities = {1, 50000000, FALSE};
    }
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI SetTime(EFI_TIME* time) {
    if (auto injected = Enter("SetTime", kTimeServices)) {
        return *injected;
    }
    if (time == nullptr || !IsValidTime(*time)) {
        return EFI_INVALID_PARAMETER;
    }
    Platform::Current().core->SetTime(*time);
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI GetWakeupTime(BOOLEAN* enabled, BOOLEAN* pending, EFI_TIME* time) {
    if (auto injected = Enter("GetWakeupTime", kTimeServices)) {
        return *injected;
    }
    return enabled == nullptr || pending == nullptr || time == nullptr ? EFI_INVALID_PARAMETER
                                                                       : EFI_UNSUPPORTED;
}

EFI_STATUS EFIAPI SetWakeupTime(BOOLEAN, EFI_TIME*) {
    if (auto injected = Enter("SetWakeupTime", kTimeServices)) {
        return *injected;
    }
    return EFI_UNSUPPORTED;
}

// Only for an operating system that has taken over, and then the boot has ended.
EFI_STATUS EFIAPI SetVirtualAddressMap(UINTN, UINTN, UINT32, EFI_MEMORY_DESCRIPTOR*) {
    if (auto injected = Enter("SetVirtualAddressMap", TPL_HIGH_LEVEL)) {
        return *injected;
    }
    return EFI_UNSUPPORTED;
}

EFI_STATUS EFIAPI ConvertPointer(UINTN, void**) {
    if (auto injected = Enter("ConvertPointer", TPL_HIGH_LEVEL)) {
        return *injected;
    }
    return EFI_UNSUPPORTED;
}

EFI_STATUS EFIAPI GetVariable(const CHAR16* name, const EFI_GUID* guid, UINT32* attributes,
                              UINTN* size, void* data) {
    if (auto injected = Enter("GetVariable", kVariableServices)) {
        return *injected;
    }
    return Platform::Current().variables->Get(name, guid, attributes, size, data);
}

EFI_STATUS EFIAPI GetNextVariableName(UINTN* nameSize, CHAR16* name, EFI_GUID* guid) {
    if (auto injected = Enter("GetNextVariableName", kVariableServices)) {
        return *injected;
    }
    return Platform::Current().variables->GetNextName(nameSize, name, guid);
}

EFI_STATUS EFIAPI SetVariable(const CHAR16* name, const EFI_GUID* guid, UINT32 attributes,
                              UINTN size, const void* data) {
    if (auto injected = Enter("SetVariable", kVariableServices)) {
        Platform::Current().variables->TraceRefused(name, guid, attributes, size, data, *injected);
        return *injected;
    }
    return Platform::Current().variables->Set(name, guid, attributes, size, data);
}

EFI_STATUS EFIAPI QueryVariableInfo(UINT32 attributes, UINT64* maximumStorage,
                                    UINT64* remainingStorage, UINT64* maximumSize) {
    if (auto injected = Enter("QueryVariableInfo", kVariableServices)) {
        return *injected;
    }
    return Platform::Current().variables->QueryInfo(attributes, maximumStorage, remainingStorage,
                                                    maximumSize);
}

EFI_STATUS EFIAPI GetNextHighMonotonicCount(UINT32* count) {
    if (auto injected = Enter("GetNextHighMonotonicCount", TPL_HIGH_LEVEL)) {
        return *injected;
    }
    if (count == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *count = UINT32(Platform::Current().core->NextHighMonotonicCount() >> 32);
    return EFI_SUCCESS;
}

void EFIAPI ResetSystem(EFI_RESET_TYPE type, EFI_STATUS status, UINTN, const void*) {
    static_cast<void>(Enter("ResetSystem", TPL_HIGH_LEVEL));
    Platform::Current().core->Reset(type, status);
}

EFI_STATUS EFIAPI UpdateCapsule(EFI_CAPSULE_HEADER** capsules, UINTN count, EFI_PHYSICAL_ADDRESS) {
    if (auto injected = Enter("UpdateCapsule", TPL_NOTIFY)) {
        return *injected;
    }
    return capsules == nullptr || count == 0 ? EFI_INVALID_PARAMETER : EFI_UNSUPPORTED;
}

EFI_STATUS EFIAPI QueryCapsuleCapabilities(EFI_CAPSULE_HEADER** capsules, UINTN count,
                                           UINT64* maximumSize, EFI_RESET_TYPE* resetType) {
    if (auto injected = Enter("QueryCapsuleCapabilities", TPL_NOTIFY)) {
        return *injected;
    }
    return capsules == nullptr || count == 0 || maximumSize == nullptr || resetType == nullptr
               ? EFI_INVALID_PARAMETER
               : EFI_UNSUPPORTED;
}

} // namespace

void FillRuntimeServices(EFI_RUNTIME_SERVICES& table) {
    table.GetTime = GetTime;
    table.SetTime = SetTime;
    table.GetWakeupTime = GetWakeupTime;
    table.SetWakeupTime = SetWakeupTime;
    table.SetVirtualAddressMap = SetVirtualAddressMap;
    table.ConvertPointer = ConvertPointer;
    table.GetVariable = GetVariable;
    table.GetNextVariableName = GetNextVariableName;
    table.SetVariable = SetVariable;
    table.GetNextHighMonotonicCount = GetNextHighMonotonicCount;
    table.ResetSystem = ResetSystem;
    table.UpdateCapsule = UpdateCapsule;
    table.QueryCapsuleCapabilities = QueryCapsuleCapabilities;
    table.QueryVariableInfo = QueryVariableInfo;
}

} // namespace sim
