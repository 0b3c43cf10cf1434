// The BIOS settings of the machine, behind the attribute protocol and the secondary reader.
//
// A setting starts as the machine file's "attributes" say. What a boot changes is kept in the
// non-volatile variable KelmSetup, and survives power-ons with the same store until the machine
// file gives that setting another start value.
#pragma once

#include "kelm/AttributeProtocol.h"
#include "kelm/SecondaryAttributeReader.h"
#include "sim/siblings/ProtocolTable.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace sim {

class AttributeService final : public Sibling {
public:
    // Reads "attributes"; throws MachineFileError.
    explicit AttributeService(Platform& owner);
    void Install() override;

    using Value = std::vector<std::uint8_t>;
    // The value in force; nothing when there is no such setting.
    std::optional<Value> Find(std::u16string_view name) const;
    // The value as text without its NUL; nothing when it is not text or not there.
    std::optional<std::u16string> Text(std::u16string_view name) const;
    // Changes a setting as if the user had, before or during a boot. False: the store is broken.
    bool Change(std::u16string_view name, Value value);

private:
    EFI_STATUS GetValue(const EFI_GUID* nameSpace, const CHAR16* name, UINTN selector, UINT16* size,
                        void* buffer);
    EFI_STATUS SetValue(const EFI_GUID* nameSpace, const CHAR16* name, UINTN selector, UINT16 size,
                        const void* data);
    EFI_STATUS GetValueSecondary(const EFI_GUID* nameSpace, const CHAR16* name, UINT16* size,
                                 void** buffer);
    const Value* Lookup(const EFI_GUID* nameSpace, const CHAR16* name, bool startValue) const;
    void LoadChanges();
    bool StoreChanges();
    void TraceCall(const char* op, const CHAR16* name, const void* data, std::size_t size,
                   EFI_STATUS status);

    struct Setting {
        Value start; // as the machine file says
        Value value;
        bool changed = false;
    };
    std::map<std::u16string, Setting, std::less<>> settings_;
    ProtocolTable<KelmAttributeProtocol, "KelmAttributeProtocol"> protocol_;
    ProtocolTable<KelmSecondaryAttributeReader, "KelmSecondaryAttributeReader"> secondary_;
};

} // namespace sim
