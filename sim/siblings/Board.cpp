#include "sim/siblings/Board.h"

#include "kelm/FileGuids.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace sim {

// ---- Board information

BoardInfo::BoardInfo(Platform& owner) : Sibling(owner) {
    const auto& machine = platform.machine;
    const Json& vendor = machine.At("/board/vendor");
    if (!vendor.is_null()) {
        const std::u16string text = ReadText(machine, vendor, "/board/vendor");
        if (text.size() >= std::size(record.FirmwareVendor)) {
            throw MachineFileError(machine.file, "/board/vendor", "longer than 39 characters");
        }
        text.copy(record.FirmwareVendor, text.size());
        readable = true;
    }
    record.VersionMicro = UINT8(NumberAt(machine, "/board/version/0", 0, 0xFF));
    record.VersionMinor = UINT8(NumberAt(machine, "/board/version/1", 0, 0xFF));
    record.VersionMajor = UINT8(NumberAt(machine, "/board/version/2", 0, 0xFF));
    if (!FlagAt(machine, "/board/passwordJumper", true)) {
        jumpers.erase(kBoardJumperPassword);
    }
    record.ChassisCode = UINT16(NumberAt(machine, "/board/chassisCode", 0, 0xFFFF));
}

void BoardInfo::Install() {
    using P = KelmBoardInfoProtocol;
    protocol_.Serve<"GetBoardRecord", &BoardInfo::GetBoardRecord>(&P::GetBoardRecord)
        .Serve<"IsFeatureSupported", &BoardInfo::IsFeatureSupported>(&P::IsFeatureSupported)
        .Serve<"IsJumperSet", &BoardInfo::IsJumperSet>(&P::IsJumperSet)
        .Serve<"GetChassisValue", &BoardInfo::GetChassisValue>(&P::GetChassisValue)
        .ReserveRest();
    InstallTable(protocol_);
}

EFI_STATUS BoardInfo::GetBoardRecord(const KelmBoardRecord** out) {
    if (out == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (!readable) {
        return EFI_NOT_FOUND;
    }
    *out = &record;
    return EFI_SUCCESS;
}

BOOLEAN BoardInfo::IsFeatureSupported(UINT32 feature) {
    return features.contains(feature);
}
BOOLEAN BoardInfo::IsJumperSet(UINT32 jumper) {
    return jumpers.contains(jumper);
}
UINT8 BoardInfo::GetChassisValue() {
    return chassisValue;
}

// ---- Platform policy

namespace {

struct NamedPolicy {
    std::size_t slot;
    const char* name;
    bool hasStatus = false; // the member returns a status, the others a BOOLEAN
};
constexpr NamedPolicy kNamedPolicies[] = {
    {10, "AreHotKeysBlocked"},
    {11, "IsForgelineBlocked"},
    {17, "IsFrontBackUsbFirst"},
    {22, "IsErrorPromptTimed"},
    {26, "ApplySecureBootOffPolicy", true},
    {29, "EarlyInit", true},
    {35, "IsF10Hidden"},
    {37, "IsF2Hidden"},
    {38, "IsSetupDenied"},
    {39, "IsPxePasswordRequired"},
};

NamedPolicy PolicyOf(std::size_t slot) {
    for (const NamedPolicy& policy : kNamedPolicies) {
        if (policy.slot == slot) {
            return policy;
        }
    }
    return {slot, "Reserved"};
}

} // namespace

PlatformPolicy::PlatformPolicy(Platform& owner) : Sibling(owner) {
    const auto& machine = platform.machine;
    for (const auto& [key, value] : machine.At("/policies").items()) {
        const std::string place = PlaceOf("/policies", key);
        const bool number = !key.empty() && key.size() <= 2 &&
                            key.find_first_not_of("0123456789") == std::string::npos;
        if (!number || std::stoul(key) >= kSlots) {
            throw MachineFileError(machine.file, place, "not a slot number from 0 to 39");
        }
        answers[std::stoul(key)] = ReadNumber(machine, value, place);
    }
}

template <std::size_t kSlot>
UINT64 EFIAPI PlatformPolicy::Answer(KelmPlatformPolicyProtocol* self) {
    return Platform::Current().Get<PlatformPolicy>().AnswerSlot(kSlot, self);
}

UINT64 PlatformPolicy::AnswerSlot(std::size_t slot, const KelmPlatformPolicyProtocol* self) {
    calls[slot]++;
    const NamedPolicy policy = PolicyOf(slot);
    const auto injected = platform.Get<CallBook>().Enter(protocol_.Name(), policy.name, true, self);
    if (injected) {
        return policy.hasStatus ? *injected : FALSE;
    }
    return answers[slot];
}

// Whatever a slot's argument and result types are: the callers read the low bytes of one register,
// and the calling convention leaves all clearing up to them.
template <std::size_t... kSlot>
void PlatformPolicy::Fill(std::index_sequence<kSlot...>) {
    using Function = UINT64(EFIAPI*)(KelmPlatformPolicyProtocol*);
    const std::array<Function, kSlots> slots = {&Answer<kSlot>...};
    static_assert(sizeof(slots) == sizeof(protocol_.protocol));
    std::memcpy(static_cast<void*>(&protocol_.protocol), slots.data(), sizeof(slots));
}

void PlatformPolicy::Install() {
    Fill(std::make_index_sequence<kSlots>());
    InstallTable(protocol_);
}

// ---- CPLD

Cpld::Cpld(Platform& owner)
    : Sibling(owner),
      accessible_(FlagAt(owner.machine, "/cpld/accessible", true)),
      failWrites_(FlagAt(owner.machine, "/cpld/failWrites", false)) {
    const auto& machine = platform.machine;
    for (const auto& [key, value] : machine.At("/cpld/registers").items()) {
        const std::string place = PlaceOf("/cpld/registers", key);
        const std::uint64_t number = ReadNumber(machine, Json(key), place);
        const std::uint64_t content = ReadNumber(machine, value, place);
        if (number > 0xFFFF || content > 0xFF) {
            throw MachineFileError(machine.file, place, "not a 16-bit register with 8-bit content");
        }
        registers[UINT16(number)] = UINT8(content);
    }
}

void Cpld::Install() {
    protocol_.Serve<"ReadRegister", &Cpld::ReadRegister>(&KelmCpldProtocol::ReadRegister)
        .Serve<"WriteRegister", &Cpld::WriteRegister>(&KelmCpldProtocol::WriteRegister);
    lock_.Serve<"GetLockState", &Cpld::GetLockState>(&KelmCpldLockProtocol::GetLockState)
        .Serve<"Lock", &Cpld::Lock>(&KelmCpldLockProtocol::Lock)
        .ReserveRest();
    if (accessible_) {
        InstallTable(protocol_);
    }
    InstallTable(lock_);
}

UINT8 Cpld::Register(UINT16 number) const {
    auto found = registers.find(number);
    return found == registers.end() ? 0 : found->second;
}

EFI_STATUS Cpld::ReadRegister(UINT16 number, UINT8* value) {
    if (value == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *value = Register(number);
    return EFI_SUCCESS;
}

EFI_STATUS Cpld::WriteRegister(UINT16 number, UINT8 value) {
    if (locked) {
        return EFI_WRITE_PROTECTED;
    }
    if (failWrites_) {
        return EFI_DEVICE_ERROR;
    }
    registers[number] = value;
    return EFI_SUCCESS;
}

EFI_STATUS Cpld::GetLockState() {
    return locked ? EFI_UNSUPPORTED : EFI_SUCCESS;
}

EFI_STATUS Cpld::Lock() {
    locked = true;
    return EFI_SUCCESS;
}

// ---- Flash

namespace {

constexpr UINT8 kErased = 0xFF;

// Where the fields of a firmware volume's header lie, and its signature.
constexpr std::size_t kVolumeLengthOffset = 32;
constexpr std::size_t kVolumeSignatureOffset = 40;
constexpr UINT8 kVolumeSignature[] = {'_', 'F', 'V', 'H'};

} // namespace

SpiFlash::SpiFlash(Platform& owner)
    : Sibling(owner),
      fontVolumePresent_(FlagAt(owner.machine, "/flash/fontVolume/present", true)),
      readStatus_(StatusAt(owner.machine, "/flash/fontVolume/readStatus", EFI_SUCCESS)) {}

void SpiFlash::Install() {
    protocol_.Serve<"Read", &SpiFlash::Read>(&KelmSpiFlashProtocol::Read).ReserveRest();
    InstallTable(protocol_);
}

EFI_STATUS SpiFlash::Read(UINT64 address, UINTN size, void* buffer) {
    if (buffer == nullptr && size != 0) {
        return EFI_INVALID_PARAMETER;
    }
    const bool fontVolume =
        address == kFontVolumeAddress && size >= kVolumeSignatureOffset + sizeof(kVolumeSignature);
    if (fontVolume && EFI_ERROR(readStatus_)) {
        return readStatus_;
    }
    auto* bytes = static_cast<UINT8*>(buffer);
    std::fill_n(bytes, size, kErased);
    if (fontVolume && fontVolumePresent_) {
        const UINT64 length = kFontVolumeSize;
        std::memcpy(bytes + kVolumeLengthOffset, &length, sizeof(length));
        std::memcpy(bytes + kVolumeSignatureOffset, kVolumeSignature, sizeof(kVolumeSignature));
    }
    return EFI_SUCCESS;
}

} // namespace sim
