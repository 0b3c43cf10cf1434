#include "library/firmware/Hob.h"

#include "library/firmware/Services.h"
#include "uefi/Hob.h"

#include <cstring>

namespace kelm {

namespace {

constinit const UINT8* mHobList = nullptr;

} // namespace

EFI_STATUS ConstructHob() {
    mHobList = static_cast<const UINT8*>(FindConfigurationTable(gEfiHobListGuid));
    return mHobList == nullptr ? EFI_NOT_FOUND : EFI_SUCCESS;
}

std::optional<std::span<const UINT8>> FindGuidHob(const EFI_GUID& guid) {
    for (const UINT8* hob = mHobList; hob != nullptr;) {
        EFI_HOB_GENERIC_HEADER header;
        std::memcpy(&header, hob, sizeof(header));
        if (header.HobType == EFI_HOB_TYPE_END_OF_HOB_LIST || header.HobLength < sizeof(header)) {
            break; // a zero length would never end
        }
        if (header.HobType == EFI_HOB_TYPE_GUID_EXTENSION &&
            header.HobLength >= sizeof(EFI_HOB_GUID_TYPE)) {
            EFI_HOB_GUID_TYPE extension;
            std::memcpy(&extension, hob, sizeof(extension));
            if (extension.Name == guid) {
                return std::span<const UINT8>(hob + sizeof(extension),
                                              header.HobLength - sizeof(extension));
            }
        }
        hob += header.HobLength;
    }
    return std::nullopt;
}

} // namespace kelm
