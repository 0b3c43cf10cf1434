// The indexed settings that hold FQDD lists, such as SetBootOrderFqdd1 to SetBootOrderFqdd16: read
// once, checked, and emptied when they ask for something to be done once.
//
// A value may be anything. One that is longer than kFqddSettingCharacters is cut there.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"

#include <array>

namespace kelm {

inline constexpr UINTN kFqddSettingCharacters = 255;

// The value of one setting, cut, in new pool memory. Statuses as BdsGetAttributeString.
EFI_STATUS BdsReadFqddSetting(const CHAR16* stem, UINTN index, PoolPtr<CHAR16>& value);
// Whether any of the settings with this stem holds a text.
bool BdsIsAnyFqddSettingSet(const CHAR16* stem, UINTN count);

class FqddSettings {
public:
    static constexpr UINTN kMost = 16;

    // Reads the settings 1 to `count` of a stem; the log tells of lists that are not valid.
    FqddSettings(const CHAR16* stem, UINTN count);

    // EFI_OUT_OF_RESOURCES: there was no memory to read one of them. What they ask for is then not
    // known, and they are to be left for the next boot. EFI_INVALID_PARAMETER: one is missing or
    // invalid, and the others count. EFI_SUCCESS: all were read; some or all may be empty.
    EFI_STATUS status() const { return status_; }
    bool AreKnown() const { return status_ != EFI_OUT_OF_RESOURCES; }
    // Shows those that hold a text in the log.
    void Log() const;
    // Whether any holds a valid list.
    bool HasLists() const;
    // Calls visit(list) for each valid list, in the order of their numbers, until it returns an
    // error, which is returned.
    template <class Visitor>
    EFI_STATUS ForEachList(Visitor visit) const {
        for (UINTN i = 0; i < count_; ++i) {
            const EFI_STATUS status = settings_[i].valid ? visit(Text(i)) : EFI_SUCCESS;
            if (EFI_ERROR(status)) {
                return status;
            }
        }
        return EFI_SUCCESS;
    }
    // Empties each one that holds a text or could not be read. EFI_OUT_OF_RESOURCES, and nothing is
    // written, when they are not known; otherwise the last failure to write.
    EFI_STATUS Empty() const;

private:
    struct Setting {
        PoolPtr<CHAR16> value; // null: it could not be read
        bool valid;
    };

    const CHAR16* Text(UINTN i) const { return settings_[i].value.get(); }
    bool IsEmpty(UINTN i) const { return Text(i) != nullptr && Text(i)[0] == u'\0'; }

    const CHAR16* stem_;
    UINTN count_;
    EFI_STATUS status_ = EFI_SUCCESS;
    std::array<Setting, kMost> settings_{};
};

} // namespace kelm
