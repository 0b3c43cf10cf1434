// How enumeration describes the options that it makes, and how it knows such a description again.
#pragma once

#include "bootopt/BootType.h"
#include "uefi/Base.h"

#include <array>
#include <optional>
#include <string_view>

namespace kelm {

inline constexpr UINTN kDescriptionRoom = 256; // characters with the NUL; longer texts are cut
using DescriptionText = std::array<CHAR16, kDescriptionRoom>;

// The generic name of a removable device (one of kString...), and whether a counter follows it.
// Nothing for a boot type that gets no option.
struct GenericName {
    UINT16 string;
    bool numbered;
};
std::optional<GenericName> GenericNameOf(BootType type, UINT32 blockSize);

// Generic descriptions of one enumeration, with a counter for each kind of name, from 1.
class GenericDescriptions {
public:
    // "EFI Floppy 1", or "Tape Backup Unit".
    void Make(const GenericName& name, DescriptionText& text);

private:
    std::array<UINT32, 16> counters_{}; // by string number
};

// Whether a description is, or begins with, the generic name.
bool BeginsWithGenericName(std::u16string_view description, UINT16 string);

} // namespace kelm
