#include "bootopt/VariableHelpers.h"

namespace kelm {

PoolPtr<UINT8> BdsReadVariable(const CHAR16* name, const EFI_GUID* guid, UINTN* size) {
    PoolPtr<UINT8> data;
    static_cast<void>(BdsReadVariable(name, guid, data, size));
    return data;
}

EFI_STATUS BdsReadVariable(const CHAR16* name, const EFI_GUID* guid, PoolPtr<UINT8>& data,
                           UINTN* size) {
    data.reset();
    *size = 0;
    UINTN reported = 0;
    const EFI_STATUS asked = gRT->GetVariable(name, guid, nullptr, &reported, nullptr);
    if (asked != EFI_BUFFER_TOO_SMALL) {
        return EFI_ERROR(asked) ? asked : EFI_NOT_FOUND;
    }
    PoolPtr<UINT8> buffer = AllocatePool<UINT8>(reported);
    if (!buffer) {
        return EFI_OUT_OF_RESOURCES;
    }
    const UINTN room = reported;
    const EFI_STATUS status = gRT->GetVariable(name, guid, nullptr, &reported, buffer.get());
    if (EFI_ERROR(status)) {
        return status;
    }
    if (reported == 0 || reported > room) {
        return EFI_NOT_FOUND;
    }
    data = std::move(buffer);
    *size = reported;
    return EFI_SUCCESS;
}

EFI_STATUS BdsDeleteVariable(const CHAR16* name, const EFI_GUID* guid) {
    UINT32 attributes = 0;
    UINT8 room = 0; // one without bytes is not told of without a buffer
    UINTN size = sizeof(room);
    const EFI_STATUS status = gRT->GetVariable(name, guid, &attributes, &size, &room);
    if (EFI_ERROR(status) && status != EFI_BUFFER_TOO_SMALL) {
        return status;
    }
    return gRT->SetVariable(name, guid, attributes, 0, nullptr);
}

bool BdsVariableExists(const CHAR16* name, const EFI_GUID* guid) {
    UINTN size = 0;
    return gRT->GetVariable(name, guid, nullptr, &size, nullptr) != EFI_NOT_FOUND;
}

} // namespace kelm
