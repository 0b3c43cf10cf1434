// The HII database and the HII string protocol over the package lists that drivers register. Lists
// are kept as they came; creating and changing single strings is not supported.
#pragma once

#include "sim/siblings/HiiPackages.h"
#include "sim/siblings/ProtocolTable.h"
#include "uefi/HiiDatabase.h"
#include "uefi/HiiString.h"

#include <string>
#include <string_view>
#include <vector>

namespace sim {

class HiiDatabase final : public Sibling {
public:
    using Sibling::Sibling;
    void Install() override;

    // The list of a GUID, or nullptr.
    const HiiPackageList* FindList(const EFI_GUID& guid) const;
    // A list of another sibling: these strings in one language, from identifier 2 on.
    EFI_HII_HANDLE AddStrings(std::string_view language,
                              const std::vector<std::u16string>& strings);

private:
    struct Entry {
        EFI_HII_HANDLE handle;
        EFI_HANDLE driver;
        HiiPackageList list;
        std::vector<UINT8> bytes;
    };

    EFI_STATUS NewPackageList(const EFI_HII_PACKAGE_LIST_HEADER* list, EFI_HANDLE driver,
                              EFI_HII_HANDLE* handle);
    EFI_STATUS RemovePackageList(EFI_HII_HANDLE handle);
    EFI_STATUS UpdatePackageList(EFI_HII_HANDLE handle, const EFI_HII_PACKAGE_LIST_HEADER* list);
    EFI_STATUS ListPackageLists(UINT8 type, const EFI_GUID* guid, UINTN* size,
                                EFI_HII_HANDLE* handles);
    EFI_STATUS ExportPackageLists(EFI_HII_HANDLE handle, UINTN* size,
                                  EFI_HII_PACKAGE_LIST_HEADER* buffer);
    EFI_STATUS GetPackageListHandle(EFI_HII_HANDLE handle, EFI_HANDLE* driver);
    EFI_STATUS GetString(const CHAR8* language, EFI_HII_HANDLE handle, EFI_STRING_ID id,
                         CHAR16* string, UINTN* size, EFI_FONT_INFO** font);
    EFI_STATUS GetLanguages(EFI_HII_HANDLE handle, CHAR8* languages, UINTN* size);

    Entry* Find(EFI_HII_HANDLE handle);
    bool ReadList(const EFI_HII_PACKAGE_LIST_HEADER* list, Entry& entry);

    std::vector<Entry> entries_;
    UINTN lastHandle_ = 0;
    ProtocolTable<EFI_HII_DATABASE_PROTOCOL, "HiiDatabase"> database_;
    ProtocolTable<EFI_HII_STRING_PROTOCOL, "HiiString"> strings_;
};

} // namespace sim
