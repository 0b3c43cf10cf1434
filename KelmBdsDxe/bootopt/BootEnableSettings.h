// The settings that tell remote management which boot devices are enabled and which are not, and
// by which it enables and disables them. Each of the two lists takes two settings.
#pragma once

#include "bootopt/OptionCache.h"
#include "kelm/AttributeNames.h"
#include "library/firmware/Pool.h"
#include "uefi/Base.h"

#include <array>

namespace kelm {

inline constexpr UINTN kBootEnableGroups = 2;              // settings that make up one list
inline constexpr UINTN kBootEnableSettingCharacters = 254; // in each
inline constexpr std::array<const CHAR16*, kBootEnableGroups> kBootEnabledSettings = {
    kAttributeSetBootOrderEn, kAttributeSetBootOrderEn2};
inline constexpr std::array<const CHAR16*, kBootEnableGroups> kBootDisabledSettings = {
    kAttributeSetBootOrderDis, kAttributeSetBootOrderDis2};

// One setting as it was read.
struct BootEnableSetting {
    const CHAR16* name;
    PoolPtr<CHAR16> value; // null: it could not be read
    EFI_STATUS status;
};

// Both lists as they were read, once.
class BootEnableSettings {
public:
    BootEnableSettings();

    using List = std::array<BootEnableSetting, kBootEnableGroups>;
    const List& enabled() const { return enabled_; }
    const List& disabled() const { return disabled_; }
    // Shows all of them in the log.
    void Dump() const;

private:
    List enabled_;
    List disabled_;
};

// Heeds the lists whose flags say that they were changed, takes the flags back and describes the
// options as they are. The last error, else EFI_SUCCESS. When the lists could not be read or heeded
// for a reason that another boot may not meet, flags and lists stay for that.
EFI_STATUS BdsProcessBootEnableSettings(OptionCache& options);

} // namespace kelm
