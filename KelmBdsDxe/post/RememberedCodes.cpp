#include "post/RememberedCodes.h"

#include "kelm/AttributeNames.h"
#include "kelm/PostMessageProtocol.h"
#include "library/pure/Ucs2.h"
#include "services/Attributes.h"

#include <string_view>

namespace kelm {

namespace {

constexpr const CHAR16* kSettings[] = {kAttributeF1F2ErrCode1, kAttributeF1F2ErrCode2};

// Whether a setting holds a code. One that is longer than any identifier counts as unreadable; one
// for which there was no memory may hold a code and is spared.
bool IsTaken(const CHAR16* setting) {
    PoolPtr<CHAR16> value;
    const EFI_STATUS status = BdsGetAttributeString(setting, value.out());
    if (EFI_ERROR(status)) {
        return status == EFI_OUT_OF_RESOURCES;
    }
    const std::u16string_view code = Ucs2View(value.get());
    return code.size() <= kPostMessageIdentifierLength && code != kAttributeErrCodeFree;
}

} // namespace

void BdsRememberErrorCode(const CHAR16* identifier) {
    if (Ucs2Length(identifier) != kPostMessageIdentifierLength) {
        return;
    }
    for (const CHAR16* setting : kSettings) {
        if (!IsTaken(setting)) {
            static_cast<void>(BdsSetAttributeString(setting, identifier));
            return;
        }
    }
}

void BdsClearErrorCodes() {
    for (const CHAR16* setting : kSettings) {
        if (!BdsCompareAttribute(setting, kAttributeErrCodeFree)) {
            static_cast<void>(BdsSetAttributeString(setting, kAttributeErrCodeFree));
        }
    }
}

} // namespace kelm
