#include "sim/siblings/FirmwareServices.h"

#include "library/pure/Bytes.h"
#include "sim/firmware/EventService.h"
#include "sim/firmware/VariableService.h"

#include <algorithm>

namespace sim {

// ---- Variable policy

void VariablePolicy::Install() {
    using P = EDKII_VARIABLE_POLICY_PROTOCOL;
    protocol_.protocol.Revision = EDKII_VARIABLE_POLICY_PROTOCOL_REVISION;
    protocol_.Serve<"DisableVariablePolicy", &VariablePolicy::Disable>(&P::DisableVariablePolicy)
        .Serve<"IsVariablePolicyEnabled", &VariablePolicy::IsEnabled>(&P::IsVariablePolicyEnabled)
        .Serve<"RegisterVariablePolicy", &VariablePolicy::Register>(&P::RegisterVariablePolicy)
        .Serve<"DumpVariablePolicy", &VariablePolicy::Dump>(&P::DumpVariablePolicy)
        .Serve<"LockVariablePolicy", &VariablePolicy::Lock>(&P::LockVariablePolicy);
    InstallTable(protocol_);
}

EFI_STATUS VariablePolicy::Disable() {
    return platform.variables->policy.Disable();
}

EFI_STATUS VariablePolicy::IsEnabled(BOOLEAN* state) {
    if (state == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *state = platform.variables->policy.IsEnabled();
    return EFI_SUCCESS;
}

EFI_STATUS VariablePolicy::Register(const VARIABLE_POLICY_ENTRY* entry) {
    if (entry == nullptr || entry->Size < sizeof(*entry)) {
        return EFI_INVALID_PARAMETER;
    }
    return platform.variables->policy.Register(
        std::span(reinterpret_cast<const UINT8*>(entry), entry->Size));
}

EFI_STATUS VariablePolicy::Dump(UINT8* policy, UINT32* size) {
    if (size == nullptr || (policy == nullptr && *size != 0)) {
        return EFI_INVALID_PARAMETER;
    }
    const std::vector<UINT8> dump = platform.variables->policy.Dump();
    const bool fits = dump.size() <= *size;
    *size = UINT32(dump.size());
    if (!fits) {
        return EFI_BUFFER_TOO_SMALL;
    }
    std::copy(dump.begin(), dump.end(), policy);
    return EFI_SUCCESS;
}

EFI_STATUS VariablePolicy::Lock() {
    return platform.variables->policy.Lock();
}

// ---- Processors

void Processors::Install() {
    using P = EFI_MP_SERVICES_PROTOCOL;
    protocol_
        .Serve<"GetNumberOfProcessors", &Processors::GetNumberOfProcessors>(
            &P::GetNumberOfProcessors)
        .Serve<"GetProcessorInfo", &Processors::GetProcessorInfo>(&P::GetProcessorInfo)
        .Serve<"StartupAllAPs", &Processors::StartupAllAPs>(&P::StartupAllAPs)
        .Serve<"StartupThisAP", &Processors::StartupThisAP>(&P::StartupThisAP)
        .Serve<"SwitchBSP", EFI_UNSUPPORTED>(&P::SwitchBSP)
        .Serve<"EnableDisableAP", &Processors::EnableDisableAP>(&P::EnableDisableAP)
        .Serve<"WhoAmI", &Processors::WhoAmI>(&P::WhoAmI);
    InstallTable(protocol_);
}

EFI_STATUS Processors::GetNumberOfProcessors(UINTN* number, UINTN* enabledNumber) {
    if (number == nullptr || enabledNumber == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *number = kCount;
    *enabledNumber = UINTN(std::count(enabled.begin(), enabled.end(), true));
    return EFI_SUCCESS;
}

EFI_STATUS Processors::GetProcessorInfo(UINTN number, EFI_PROCESSOR_INFORMATION* info) {
    const bool extended = (number & CPU_V2_EXTENDED_TOPOLOGY) != 0;
    number &= ~CPU_V2_EXTENDED_TOPOLOGY;
    if (info == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (number >= kCount) {
        return EFI_NOT_FOUND;
    }
    const UINT32 package = UINT32(number / kCores);
    const UINT32 core = UINT32(number % kCores);
    info->ProcessorId = number;
    info->StatusFlag = PROCESSOR_HEALTH_STATUS_BIT | (number == 0 ? PROCESSOR_AS_BSP_BIT : 0) |
                       (enabled[number] ? PROCESSOR_ENABLED_BIT : 0);
    info->Location = {package, core, 0};
    if (extended) {
        info->ExtendedInformation.Location2 = {package, 0, 0, 0, core, 0};
    }
    return EFI_SUCCESS;
}

void Processors::RunOn(UINTN number, EFI_AP_PROCEDURE procedure, void* argument) {
    current_ = number;
    procedure(argument);
    current_ = 0;
}

EFI_STATUS Processors::StartupAllAPs(EFI_AP_PROCEDURE procedure, BOOLEAN, EFI_EVENT waitEvent,
                                     UINTN, void* argument, UINTN** failedCpus) {
    if (procedure == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (current_ != 0) {
        return EFI_DEVICE_ERROR; // only the boot processor starts others
    }
    if (std::count(enabled.begin() + 1, enabled.end(), true) == 0) {
        return EFI_NOT_STARTED;
    }
    if (failedCpus != nullptr) {
        *failedCpus = nullptr;
    }
    for (UINTN number = 1; number < kCount; number++) {
        if (enabled[number]) {
            RunOn(number, procedure, argument);
        }
    }
    return waitEvent == nullptr ? EFI_SUCCESS : platform.events->SignalEvent(waitEvent);
}

EFI_STATUS Processors::StartupThisAP(EFI_AP_PROCEDURE procedure, UINTN number, EFI_EVENT waitEvent,
                                     UINTN, void* argument, BOOLEAN* finished) {
    if (current_ != 0) {
        return EFI_DEVICE_ERROR;
    }
    if (number >= kCount) {
        return EFI_NOT_FOUND;
    }
    if (procedure == nullptr || number == 0 || !enabled[number]) {
        return EFI_INVALID_PARAMETER;
    }
    RunOn(number, procedure, argument);
    if (finished != nullptr) {
        *finished = TRUE;
    }
    return waitEvent == nullptr ? EFI_SUCCESS : platform.events->SignalEvent(waitEvent);
}

EFI_STATUS Processors::EnableDisableAP(UINTN number, BOOLEAN enable, UINT32*) {
    if (number >= kCount) {
        return EFI_NOT_FOUND;
    }
    if (number == 0) {
        return EFI_INVALID_PARAMETER;
    }
    enabled[number] = enable != FALSE;
    return EFI_SUCCESS;
}

EFI_STATUS Processors::WhoAmI(UINTN* number) {
    if (number == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *number = current_;
    return EFI_SUCCESS;
}

// ---- Messages into system management mode

void SmmCommunication::Install() {
    protocol_.Serve<"Communicate", &SmmCommunication::Communicate>(
        &EFI_SMM_COMMUNICATION_PROTOCOL::Communicate);
    InstallTable(protocol_);
}

EFI_STATUS SmmCommunication::Communicate(void* buffer, UINTN* size) {
    if (buffer == nullptr || size == nullptr || *size < kSmmCommunicateHeaderSize) {
        return EFI_INVALID_PARAMETER;
    }
    kelm::ByteReader reader(buffer, *size);
    const EFI_GUID guid = reader.ReadGuid();
    if (reader.ReadU64() > reader.Remaining()) {
        return EFI_BAD_BUFFER_SIZE; // the message is longer than its buffer
    }
    const auto* bytes = static_cast<const UINT8*>(buffer);
    messages_.push_back({guid, {bytes, bytes + *size}});
    return EFI_SUCCESS;
}

} // namespace sim
