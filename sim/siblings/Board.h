// The board: its identity record, the platform's policy answers, the CPLD with its lock, and the
// firmware flash.
#pragma once

#include "kelm/BoardInfoProtocol.h"
#include "kelm/CpldProtocol.h"
#include "kelm/PlatformPolicyProtocol.h"
#include "kelm/SpiFlashProtocol.h"
#include "sim/siblings/ProtocolTable.h"

#include <array>
#include <map>
#include <set>

namespace sim {

class BoardInfo final : public Sibling {
public:
    // Reads "board"; throws MachineFileError.
    explicit BoardInfo(Platform& owner);
    void Install() override;

    KelmBoardRecord record{};
    bool readable = false; // the machine file names a vendor
    std::set<UINT32> features;
    std::set<UINT32> jumpers{kBoardJumperPassword};
    UINT8 chassisValue = 0;

private:
    EFI_STATUS GetBoardRecord(const KelmBoardRecord** out);
    BOOLEAN IsFeatureSupported(UINT32 feature);
    BOOLEAN IsJumperSet(UINT32 jumper);
    UINT8 GetChassisValue();

    ProtocolTable<KelmBoardInfoProtocol, "KelmBoardInfoProtocol"> protocol_;
};

// Every slot of the policy protocol answers the number that the machine file gives for it.
class PlatformPolicy final : public Sibling {
public:
    static constexpr std::size_t kSlots = sizeof(KelmPlatformPolicyProtocol) / sizeof(void*);

    // Reads "policies"; throws MachineFileError.
    explicit PlatformPolicy(Platform& owner);
    void Install() override;

    std::array<UINT64, kSlots> answers{};
    std::array<unsigned, kSlots> calls{};

private:
    template <std::size_t kSlot>
    static UINT64 EFIAPI Answer(KelmPlatformPolicyProtocol* self);
    UINT64 AnswerSlot(std::size_t slot, const KelmPlatformPolicyProtocol* self);
    template <std::size_t... kSlot>
    void Fill(std::index_sequence<kSlot...>);

    ProtocolTable<KelmPlatformPolicyProtocol, "KelmPlatformPolicyProtocol"> protocol_;
};

class Cpld final : public Sibling {
public:
    // Reads "cpld"; throws MachineFileError.
    explicit Cpld(Platform& owner);
    void Install() override;

    UINT8 Register(UINT16 number) const;
    std::map<UINT16, UINT8> registers; // a register that is not here reads as 0
    bool locked = false;

private:
    EFI_STATUS ReadRegister(UINT16 number, UINT8* value);
    EFI_STATUS WriteRegister(UINT16 number, UINT8 value);
    EFI_STATUS GetLockState();
    EFI_STATUS Lock();

    bool accessible_;
    bool failWrites_;
    ProtocolTable<KelmCpldProtocol, "KelmCpldProtocol"> protocol_;
    ProtocolTable<KelmCpldLockProtocol, "KelmCpldLockProtocol"> lock_;
};

// Erased flash, except for the font volume.
class SpiFlash final : public Sibling {
public:
    // Reads "flash"; throws MachineFileError.
    explicit SpiFlash(Platform& owner);
    void Install() override;

private:
    EFI_STATUS Read(UINT64 address, UINTN size, void* buffer);

    bool fontVolumePresent_;
    EFI_STATUS readStatus_;
    ProtocolTable<KelmSpiFlashProtocol, "KelmSpiFlashProtocol"> protocol_;
};

} // namespace sim
