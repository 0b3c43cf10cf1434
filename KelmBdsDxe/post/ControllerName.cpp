#include "post/ControllerName.h"

#include "kelm/BootTaskTypes.h"
#include "library/pure/Ucs2.h"
#include "services/ControllerType.h"

#include <algorithm>
#include <string_view>

namespace kelm {

namespace {

constexpr std::u16string_view kOwnName = u"Nimbor";
constexpr std::u16string_view kGenericName = u"BMC";
static_assert(kGenericName.size() <= kOwnName.size());

} // namespace

bool BdsGeneralizeControllerName(CHAR16* text) {
    if (GetBmcSupportLevel() == kBmcTypeNimbor || text == nullptr) {
        return false;
    }
    const CHAR16* from = text;
    CHAR16* to = text;
    while (*from != u'\0') {
        const bool here = std::equal(kOwnName.begin(), kOwnName.end(), from,
                                     [&](CHAR16 wanted, CHAR16 is) { return wanted == is; });
        if (here) {
            to = std::copy(kGenericName.begin(), kGenericName.end(), to);
            from += kOwnName.size();
        } else {
            *to++ = *from++;
        }
    }
    *to = u'\0';
    return from != to;
}

} // namespace kelm
