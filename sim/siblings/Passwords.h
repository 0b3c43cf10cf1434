// The password service: keeps the passwords of the machine file and compares what is typed.
#pragma once

#include "kelm/PasswordProtocol.h"
#include "sim/siblings/ProtocolTable.h"

#include <string>

namespace sim {

class Passwords final : public Sibling {
public:
    // Reads "passwords"; throws MachineFileError.
    explicit Passwords(Platform& owner);
    void Install() override;

    int openEntries = 0; // PasswordEntryBegin calls that no PasswordEntryEnd has followed
    bool accepted;       // the setup password, in this boot
    bool noPasswordState = false;
    unsigned wrong = 0; // passwords that were not accepted

private:
    EFI_STATUS GetProperties(UINT8 passwordType, UINT8* attributes, UINT64* ignored1,
                             UINT64* ignored2, UINT16* maximumLength, UINT64* ignored3);
    EFI_STATUS ValidatePassword(UINT8 source, UINT8 passwordType, const CHAR16* text,
                                UINT16* detail);
    EFI_STATUS GetValidationState(UINT8* state);
    EFI_STATUS SetNoPasswordState();
    EFI_STATUS PasswordEntryBegin();
    EFI_STATUS PasswordEntryEnd();
    EFI_STATUS GetEntryMode(UINT8* mode);
    const std::u16string* Find(UINT8 passwordType) const;

    std::u16string system_; // empty: there is none
    std::u16string setup_;
    UINT16 maximumLength_;
    UINT8 entryMode_;
    ProtocolTable<KelmPasswordProtocol, "KelmPasswordProtocol"> protocol_;
};

} // namespace sim
