#include "sim/siblings/Passwords.h"

#include "library/pure/Ucs2.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>
#include <fmt/format.h>

namespace sim {

namespace {

constexpr UINT16 kOrdinaryMaximum = 32; // characters

std::u16string PasswordAt(const MachineDescription& machine, const std::string& place,
                          std::size_t maximum) {
    const Json& value = machine.At(place);
    if (value.is_null()) {
        return {};
    }
    std::u16string text = ReadText(machine, value, place);
    if (text.size() > maximum) {
        throw MachineFileError(machine.file, place,
                               fmt::format("longer than {} characters", maximum));
    }
    return text;
}

} // namespace

Passwords::Passwords(Platform& owner)
    : Sibling(owner),
      accepted(FlagAt(owner.machine, "/passwords/accepted", false)),
      maximumLength_(
          UINT16(NumberAt(owner.machine, "/passwords/maximumLength", kOrdinaryMaximum, 0xFFFF))),
      entryMode_(UINT8(NumberAt(owner.machine, "/passwords/entryMode", 0, 0xFF))) {
    system_ = PasswordAt(owner.machine, "/passwords/system", maximumLength_);
    setup_ = PasswordAt(owner.machine, "/passwords/setup", maximumLength_);
}

void Passwords::Install() {
    using P = KelmPasswordProtocol;
    protocol_.Serve<"GetProperties", &Passwords::GetProperties>(&P::GetProperties)
        .Serve<"ValidatePassword", &Passwords::ValidatePassword>(&P::ValidatePassword)
        .Serve<"GetValidationState", &Passwords::GetValidationState>(&P::GetValidationState)
        .Serve<"SetNoPasswordState", &Passwords::SetNoPasswordState>(&P::SetNoPasswordState)
        .Serve<"PasswordEntryBegin", &Passwords::PasswordEntryBegin>(&P::PasswordEntryBegin)
        .Serve<"PasswordEntryEnd", &Passwords::PasswordEntryEnd>(&P::PasswordEntryEnd)
        .Serve<"GetEntryMode", &Passwords::GetEntryMode>(&P::GetEntryMode)
        .ReserveRest();
    InstallTable(protocol_);
}

const std::u16string* Passwords::Find(UINT8 passwordType) const {
    switch (passwordType) {
    case kPasswordTypeSystem:
        return &system_;
    case kPasswordTypeSetup:
        return &setup_;
    default:
        return nullptr;
    }
}

EFI_STATUS Passwords::GetProperties(UINT8 passwordType, UINT8* attributes, UINT64* ignored1,
                                    UINT64* ignored2, UINT16* maximumLength, UINT64* ignored3) {
    const std::u16string* password = Find(passwordType);
    if (password == nullptr || attributes == nullptr || ignored1 == nullptr ||
        ignored2 == nullptr || maximumLength == nullptr || ignored3 == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *attributes = password->empty() ? 0 : kPasswordInstalled;
    *ignored1 = *ignored2 = *ignored3 = 0;
    *maximumLength = maximumLength_;
    return EFI_SUCCESS;
}

EFI_STATUS Passwords::ValidatePassword(UINT8 source, UINT8 passwordType, const CHAR16* text,
                                       UINT16* detail) {
    const std::u16string* password = Find(passwordType);
    if (source != kPasswordTypedAtPost || password == nullptr || text == nullptr ||
        detail == nullptr || kelm::Ucs2Length(text, maximumLength_ + 1u) > maximumLength_) {
        return EFI_INVALID_PARAMETER;
    }
    *detail = 0;
    if (password->empty() || kelm::Ucs2View(text) != *password) {
        wrong++;
        return EFI_ACCESS_DENIED;
    }
    accepted |= passwordType == kPasswordTypeSetup;
    return EFI_SUCCESS;
}

EFI_STATUS Passwords::GetValidationState(UINT8* state) {
    if (state == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *state = accepted ? 1 : 0;
    return EFI_SUCCESS;
}

EFI_STATUS Passwords::SetNoPasswordState() {
    noPasswordState = true;
    return EFI_SUCCESS;
}

EFI_STATUS Passwords::PasswordEntryBegin() {
    openEntries++;
    return EFI_SUCCESS;
}

EFI_STATUS Passwords::PasswordEntryEnd() {
    openEntries = std::max(0, openEntries - 1); // BDS closes once without having opened
    return EFI_SUCCESS;
}

EFI_STATUS Passwords::GetEntryMode(UINT8* mode) {
    if (mode == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *mode = entryMode_;
    return EFI_SUCCESS;
}

} // namespace sim
