#include "strings/Strings.h"

#include "core/DriverState.h"
#include "kelm/FileGuids.h"
#include "library/firmware/HiiStrings.h"

#include <array>

namespace kelm {

namespace {

// kStrings[i] has the number i + 1.
constexpr std::array<const CHAR16*, kStringEmpty> kStrings = [] {
    std::array<const CHAR16*, kStringEmpty> strings{};
    const auto set = [&strings](UINT16 number, const CHAR16* text) { strings[number - 1] = text; };
    set(kStringLanguageName, u"English");
    set(kStringFloppy, u"EFI Floppy");
    set(kStringDvdCdrom, u"EFI DVD/CDROM");
    set(kStringTapeBackupUnit, u"Tape Backup Unit");
    set(kStringUsbDevice, u"EFI USB Device");
    set(kStringScsiDevice, u"EFI SCSI Device");
    set(kStringMiscDevice, u"EFI Misc Device");
    set(kStringNonBlockBootDevice, u"EFI Non-Block Boot Device");
    set(kStringFixedDisk, u"EFI Fixed Disk Boot Device");
    set(kStringRaidDiskPlaceholder, u"EFI RAID Disk PlaceHolder");
    set(kStringNoPxeDevice, u"No PXE-capable device available.");
    set(kStringBootFailed, u"Boot Failed: ");
    set(kStringUnableToBoot, u"UEFI0073: Unable to boot ");
    set(kStringSecureBootPolicy, u" because of the Secure Boot policy.");
    set(kStringPxeVlanConflict, u"UEFI0133: Unable to perform PXE boot because the VLAN settings "
                                u"conflict with that of the iSCSI device settings.");
    set(kStringNoBootDevice, u"No boot device available or Operating System detected. ");
    set(kStringEnsureBootableMedia, u"Please ensure a compatible bootable media is available.");
    set(kStringUsbPortsDisabled,
        u"Local keyboard may not work because all user accessible USB ports are disabled.\r\n"
        u"If operating locally, power cycle the system and enter system setup program\r\n"
        u"to change settings.");
    set(kStringPressF1, u"Press F1 to continue.");
    set(kStringActionsWithForgeline, u"Available Actions:\r\n"
                                     u"F1 to Continue and Retry Boot Order\r\n"
                                     u"F2 for System Setup (BIOS)\r\n"
                                     u"F10 for Forgeline\r\n"
                                     u"- Enable/Configure Nimbor\r\n"
                                     u"- Update Server Firmware\r\n"
                                     u"- Help Install an Operating System\r\n"
                                     u"F11 for Boot Manager");
    set(kStringActions, u"Available Actions:\r\n"
                        u"F1 to Continue and Retry Boot Order\r\n"
                        u"F2 for System Setup (BIOS)\r\n"
                        u"F11 for Boot Manager");
    set(kStringHalted, u"System has halted due to critical issue(s)!");
    set(kStringSecureBootConfigured, u"Finished processing Secure Boot configuration requests. "
                                     u"See Forgeline Log for more details.\r\n");
    set(kStringPaused, u"*** POST has been paused. Press any key to continue. ***");
    set(kStringResuming, u"Resuming POST...");
    set(kStringResetting, u"Resetting the system...");
    set(kStringEmpty, u"");
    return strings;
}();

} // namespace

const CHAR16* BdsStringText(UINT16 number) {
    return kStrings[number - 1];
}

EFI_STATUS BdsRegisterStrings() {
    return RegisterHiiStrings(gKelmBdsStringPackageGuid, kStringLanguage, kStrings,
                              &gDriver.strings.packageList);
}

} // namespace kelm
