#include "services/Attributes.h"

#include "core/DriverState.h"
#include "kelm/AttributeNames.h"
#include "kelm/AttributeProtocol.h"
#include "kelm/SecondaryAttributeReader.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"

#include <array>
#include <cstring>

namespace kelm {

namespace {

// Rooms of the first read; most settings are one short word.
constexpr UINT16 kFirstStringRead = 32;
constexpr UINT16 kComparisonRead = 62;

// A read value never claims more than the room it was given, whatever the service says.
EFI_STATUS ReadValue(KelmAttributeProtocol* service, const CHAR16* name, void* buffer, UINT16 room,
                     UINT16& size) {
    size = room;
    const EFI_STATUS status = service->GetValue(service, &gKelmAttributeNamespaceGuid, name,
                                                kAttributeGetCurrent, &size, buffer);
    return !EFI_ERROR(status) && size > room ? EFI_BAD_BUFFER_SIZE : status;
}

// Zeroed room for a value and a NUL behind it, whether or not its size is even.
PoolPtr<UINT8> AllocateStringBytes(UINT16 size) {
    const UINTN wholeCharacters = (UINTN{size} + 1) & ~UINTN{1};
    return AllocateZeroPool<UINT8>(wholeCharacters + sizeof(CHAR16));
}

CHAR16* ReleaseAsString(PoolPtr<UINT8>& bytes) {
    return reinterpret_cast<CHAR16*>(bytes.release());
}

EFI_STATUS ReadExactly(const CHAR16* name, void* value, UINT16 expected) {
    if (name == nullptr || value == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    KelmAttributeProtocol* service = nullptr;
    EFI_STATUS status = LocateProtocol(service);
    if (EFI_ERROR(status)) {
        return status;
    }
    std::array<UINT8, sizeof(UINT16)> bytes{};
    UINT16 size = 0;
    status = ReadValue(service, name, bytes.data(), expected, size);
    if (EFI_ERROR(status)) {
        return status;
    }
    if (size != expected) {
        return EFI_BAD_BUFFER_SIZE;
    }
    std::memcpy(value, bytes.data(), expected);
    return EFI_SUCCESS;
}

UINTN ComparedLength(const void* value, UINT16 length) {
    return length != 0 ? UINTN{length} : Ucs2Size(static_cast<const CHAR16*>(value));
}

// The secondary reader's answer in pool memory. EFI_NOT_FOUND for a success without a buffer.
EFI_STATUS ReadSecondary(const CHAR16* name, PoolPtr<void>& value, UINT16& size) {
    KelmSecondaryAttributeReader* reader = nullptr;
    EFI_STATUS status = LocateProtocol(reader);
    if (EFI_ERROR(status)) {
        return status;
    }
    status = reader->GetValue(reader, &gKelmAttributeNamespaceGuid, name, &size, value.out());
    return !EFI_ERROR(status) && !value ? EFI_NOT_FOUND : status;
}

} // namespace

EFI_STATUS BdsGetAttributeString(const CHAR16* name, CHAR16** string) {
    if (string != nullptr) {
        *string = nullptr;
    }
    if (name == nullptr || string == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    KelmAttributeProtocol* service = nullptr;
    EFI_STATUS status = LocateProtocol(service);
    if (EFI_ERROR(status)) {
        return status;
    }
    std::array<UINT8, kFirstStringRead> first{};
    UINT16 size = 0;
    status = ReadValue(service, name, first.data(), kFirstStringRead, size);
    if (EFI_ERROR(status) && status != EFI_BUFFER_TOO_SMALL) {
        return status;
    }
    PoolPtr<UINT8> copy = AllocateStringBytes(size);
    if (!copy) {
        return EFI_OUT_OF_RESOURCES;
    }
    if (status == EFI_BUFFER_TOO_SMALL) {
        const UINT16 room = size;
        status = ReadValue(service, name, copy.get(), room, size);
        if (EFI_ERROR(status)) {
            return status;
        }
        // A value that has shrunk in between leaves nothing of the service's scratch behind it.
        std::memset(copy.get() + size, 0, UINTN{room} - size);
    } else {
        std::memcpy(copy.get(), first.data(), size);
    }
    *string = ReleaseAsString(copy);
    return EFI_SUCCESS;
}

bool BdsCompareAttribute(const CHAR16* name, const void* value, UINT16 length) {
    if (name == nullptr || value == nullptr) {
        return false;
    }
    KelmAttributeProtocol*& service = gDriver.services.attributes;
    if (service == nullptr && EFI_ERROR(LocateProtocol(service))) {
        return false;
    }
    std::array<UINT8, kComparisonRead> usual{};
    PoolPtr<UINT8> large;
    UINT8* buffer = usual.data();
    UINT16 room = kComparisonRead;
    if (length > room) {
        large = AllocatePool<UINT8>(length);
        if (!large) {
            return false;
        }
        buffer = large.get();
        room = length;
    }
    UINT16 size = 0;
    if (EFI_ERROR(ReadValue(service, name, buffer, room, size))) {
        return false;
    }
    return size == ComparedLength(value, length) && std::memcmp(buffer, value, size) == 0;
}

bool BdsAttributeIsEnabled(const CHAR16* name) {
    PoolPtr<CHAR16> value;
    return !EFI_ERROR(BdsGetAttributeString(name, value.out())) &&
           Ucs2View(value.get()) == kAttributeEnabled;
}

EFI_STATUS BdsSetAttributeString(const CHAR16* name, const CHAR16* value) {
    if (name == nullptr || value == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const UINTN size = Ucs2Size(value);
    if (size > kAttributeMaxStringSize) {
        return EFI_INVALID_PARAMETER;
    }
    return BdsSetAttributeData(name, value, static_cast<UINT16>(size));
}

EFI_STATUS BdsGetAttributeByte(const CHAR16* name, UINT8* value) {
    return ReadExactly(name, value, sizeof(*value));
}

EFI_STATUS BdsGetAttributeWord(const CHAR16* name, UINT16* value) {
    return ReadExactly(name, value, sizeof(*value));
}

EFI_STATUS BdsSetAttributeData(const CHAR16* name, const void* data, UINT16 size) {
    if (name == nullptr || data == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    KelmAttributeProtocol* service = nullptr;
    const EFI_STATUS status = LocateProtocol(service);
    if (EFI_ERROR(status)) {
        return status;
    }
    return service->SetValue(service, &gKelmAttributeNamespaceGuid, name, kAttributeSetCurrent,
                             size, data);
}

EFI_STATUS BdsSetAttributeByte(const CHAR16* name, UINT8 value) {
    return BdsSetAttributeData(name, &value, sizeof(value));
}

EFI_STATUS BdsGetSecondaryAttributeString(const CHAR16* name, CHAR16** string) {
    if (string != nullptr) {
        *string = nullptr;
    }
    if (name == nullptr || string == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    UINT16 size = 0;
    PoolPtr<void> value;
    const EFI_STATUS status = ReadSecondary(name, value, size);
    if (EFI_ERROR(status)) {
        return status;
    }
    PoolPtr<UINT8> copy = AllocateStringBytes(size);
    if (!copy) {
        return EFI_OUT_OF_RESOURCES;
    }
    std::memcpy(copy.get(), value.get(), size);
    *string = ReleaseAsString(copy);
    return EFI_SUCCESS;
}

bool BdsCompareSecondaryAttribute(const CHAR16* name, const void* value, UINT16 length) {
    if (name == nullptr || value == nullptr) {
        return false;
    }
    UINT16 size = 0;
    PoolPtr<void> read;
    if (EFI_ERROR(ReadSecondary(name, read, size))) {
        return false;
    }
    return size == ComparedLength(value, length) && std::memcmp(read.get(), value, size) == 0;
}

} // namespace kelm
