// Services of the firmware core that stand behind protocols: variable policy, the processors, and
// messages into system management mode.
#pragma once

#include "sim/siblings/ProtocolTable.h"
#include "uefi/MpServices.h"
#include "uefi/SmmCommunication.h"
#include "uefi/VariablePolicy.h"

#include <array>
#include <vector>

namespace sim {

// The protocol over the policy engine of the variable service.
class VariablePolicy final : public Sibling {
public:
    using Sibling::Sibling;
    void Install() override;

private:
    EFI_STATUS Disable();
    EFI_STATUS IsEnabled(BOOLEAN* state);
    EFI_STATUS Register(const VARIABLE_POLICY_ENTRY* entry);
    EFI_STATUS Dump(UINT8* policy, UINT32* size);
    EFI_STATUS Lock();

    ProtocolTable<EDKII_VARIABLE_POLICY_PROTOCOL, "VariablePolicy"> protocol_;
};

// Two sockets of four cores. Processor 0 runs the boot; the procedures of the others run one after
// the other on its stack while it waits.
class Processors final : public Sibling {
public:
    static constexpr UINTN kPackages = 2;
    static constexpr UINTN kCores = 4; // of one package
    static constexpr UINTN kCount = kPackages * kCores;

    explicit Processors(Platform& owner) : Sibling(owner) { enabled.fill(true); }
    void Install() override;

    std::array<bool, kCount> enabled;

private:
    EFI_STATUS GetNumberOfProcessors(UINTN* number, UINTN* enabledNumber);
    EFI_STATUS GetProcessorInfo(UINTN number, EFI_PROCESSOR_INFORMATION* info);
    EFI_STATUS StartupAllAPs(EFI_AP_PROCEDURE procedure, BOOLEAN singleThread, EFI_EVENT waitEvent,
                             UINTN timeout, void* argument, UINTN** failedCpus);
    EFI_STATUS StartupThisAP(EFI_AP_PROCEDURE procedure, UINTN number, EFI_EVENT waitEvent,
                             UINTN timeout, void* argument, BOOLEAN* finished);
    EFI_STATUS EnableDisableAP(UINTN number, BOOLEAN enable, UINT32* healthFlag);
    EFI_STATUS WhoAmI(UINTN* number);
    void RunOn(UINTN number, EFI_AP_PROCEDURE procedure, void* argument);

    UINTN current_ = 0;
    ProtocolTable<EFI_MP_SERVICES_PROTOCOL, "MpServices"> protocol_;
};

// Takes every message and does nothing with it.
class SmmCommunication final : public Sibling {
public:
    struct Message {
        EFI_GUID guid;
        std::vector<UINT8> buffer; // header included
    };

    using Sibling::Sibling;
    void Install() override;

    const std::vector<Message>& Messages() const { return messages_; }

private:
    EFI_STATUS Communicate(void* buffer, UINTN* size);

    std::vector<Message> messages_;
    ProtocolTable<EFI_SMM_COMMUNICATION_PROTOCOL, "SmmCommunication"> protocol_;
};

} // namespace sim
