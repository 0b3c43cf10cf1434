#include "library/firmware/HiiStrings.h"

#include "library/firmware/Protocol.h"
#include "library/pure/Bytes.h"
#include "library/pure/Ucs2.h"
#include "uefi/HiiString.h"

#include <cstring>

namespace kelm {

namespace {

constexpr EFI_STRING_ID kLanguageName = 1;

// A package header is one number: 24 bits of length, 8 bits of type.
void WritePackageHeader(ByteWriter& writer, UINT32 length, UINT8 type) {
    writer.WriteU32(length | UINT32{type} << 24);
}

void WriteStringBlocks(ByteWriter& writer, std::span<const CHAR16* const> strings) {
    for (const CHAR16* string : strings) {
        if (string == nullptr) {
            writer.WriteU8(EFI_HII_SIBT_SKIP1);
            writer.WriteU8(1);
        } else {
            writer.WriteU8(EFI_HII_SIBT_STRING_UCS2);
            writer.WriteUcs2String(string);
        }
    }
    writer.WriteU8(EFI_HII_SIBT_END);
}

void WritePackageList(ByteWriter& writer, const EFI_GUID& guid, std::string_view language,
                      std::span<const CHAR16* const> strings) {
    ByteWriter measuring({});
    WriteStringBlocks(measuring, strings);
    const UINTN stringsOffset = sizeof(EFI_HII_STRING_PACKAGE_HDR) + language.size() + 1;
    const UINTN packageSize = stringsOffset + measuring.Needed();
    const UINTN listSize =
        sizeof(EFI_HII_PACKAGE_LIST_HEADER) + packageSize + sizeof(EFI_HII_PACKAGE_HEADER);

    writer.WriteGuid(guid);
    writer.WriteU32(static_cast<UINT32>(listSize));

    WritePackageHeader(writer, static_cast<UINT32>(packageSize), EFI_HII_PACKAGE_STRINGS);
    writer.WriteU32(static_cast<UINT32>(stringsOffset)); // header size
    writer.WriteU32(static_cast<UINT32>(stringsOffset)); // where the blocks begin
    writer.WriteZeros(sizeof(EFI_HII_STRING_PACKAGE_HDR::LanguageWindow));
    writer.WriteU16(kLanguageName);
    writer.WriteAsciiString(language);
    WriteStringBlocks(writer, strings);

    WritePackageHeader(writer, sizeof(EFI_HII_PACKAGE_HEADER), EFI_HII_PACKAGE_END);
}

} // namespace

EFI_STATUS RegisterHiiStrings(const EFI_GUID& packageListGuid, const CHAR8* language,
                              std::span<const CHAR16* const> strings, EFI_HII_HANDLE* handle) {
    EFI_HII_DATABASE_PROTOCOL* database = nullptr;
    const EFI_STATUS status = LocateProtocol(database);
    if (EFI_ERROR(status)) {
        return status;
    }
    ByteWriter measuring({});
    WritePackageList(measuring, packageListGuid, language, strings);
    const PoolPtr<UINT8> list = AllocatePool<UINT8>(measuring.Needed());
    if (!list) {
        return EFI_OUT_OF_RESOURCES;
    }
    ByteWriter writer({list.get(), measuring.Needed()});
    WritePackageList(writer, packageListGuid, language, strings);
    return database->NewPackageList(
        database, reinterpret_cast<const EFI_HII_PACKAGE_LIST_HEADER*>(list.get()), gImageHandle,
        handle);
}

EFI_STATUS GetHiiString(EFI_HII_HANDLE handle, EFI_STRING_ID number, const CHAR8* language,
                        PoolPtr<CHAR16>& text) {
    text.reset();
    EFI_HII_STRING_PROTOCOL* strings = nullptr;
    if (number == 0 || handle == nullptr || EFI_ERROR(LocateProtocol(strings))) {
        return EFI_NOT_FOUND;
    }
    UINTN size = 0;
    EFI_STATUS status =
        strings->GetString(strings, language, handle, number, nullptr, &size, nullptr);
    if (status != EFI_BUFFER_TOO_SMALL) {
        return EFI_NOT_FOUND;
    }
    PoolPtr<CHAR16> copy = AllocateZeroPool<CHAR16>((size + 1) / sizeof(CHAR16) + 1);
    if (!copy) {
        return EFI_OUT_OF_RESOURCES;
    }
    status = strings->GetString(strings, language, handle, number, copy.get(), &size, nullptr);
    if (EFI_ERROR(status)) {
        return status;
    }
    text = std::move(copy);
    return EFI_SUCCESS;
}

} // namespace kelm
