#include "bootopt/OptionDescription.h"

#include "library/pure/Format.h"
#include "strings/Strings.h"

namespace kelm {

namespace {

constexpr UINT32 kOpticalBlockSize = 2048;
constexpr UINT32 kTapeBlockSize = 512;

} // namespace

std::optional<GenericName> GenericNameOf(BootType type, UINT32 blockSize) {
    switch (type) {
    case BootType::Floppy:
        return GenericName{kStringFloppy, true};
    case BootType::Usb:
        return GenericName{kStringUsbDevice, true};
    case BootType::Scsi:
        return GenericName{kStringScsiDevice, true};
    case BootType::Sata:
        return GenericName{kStringDvdCdrom, true};
    case BootType::MessagingOther:
        return GenericName{kStringMiscDevice, true};
    case BootType::Atapi:
        switch (blockSize) {
        case kOpticalBlockSize:
            return GenericName{kStringDvdCdrom, true};
        case kTapeBlockSize:
            return GenericName{kStringTapeBackupUnit, false};
        default:
            return GenericName{kStringMiscDevice, false};
        }
    default:
        return {};
    }
}

void GenericDescriptions::Make(const GenericName& name, DescriptionText& text) {
    if (name.numbered) {
        FormatUcs2(text, u"%s %d", BdsStringText(name.string), ++counters_[name.string]);
    } else {
        FormatUcs2(text, u"%s", BdsStringText(name.string));
    }
}

bool BeginsWithGenericName(std::u16string_view description, UINT16 string) {
    return description.starts_with(BdsStringText(string));
}

} // namespace kelm
