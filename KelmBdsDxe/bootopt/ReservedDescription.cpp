#include "bootopt/ReservedDescription.h"

#include "library/pure/Ucs2.h"

#include <algorithm>
#include <array>

namespace kelm {

namespace {

constexpr std::array<std::u16string_view, 8> kReserved = {
    u"System UEFI Shell",    u"Virtual Optical Drive", u"Virtual Floppy Drive", u"Virtual Disk",
    u"Virtual Network File", u"vStash Media",          u"Hard drive C:",        u"Generic USB Boot",
};

} // namespace

bool BdsIsReservedDescription(const CHAR16* text) {
    return std::any_of(kReserved.begin(), kReserved.end(), [&](std::u16string_view reserved) {
        return Ucs2FindNoCase(Ucs2View(text), reserved) != kNotFound;
    });
}

} // namespace kelm
