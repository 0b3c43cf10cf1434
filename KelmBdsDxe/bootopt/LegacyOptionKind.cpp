#include "bootopt/LegacyOptionKind.h"

#include "bootopt/LoadOptionFormat.h"
#include "bootopt/OrderVariable.h"
#include "bootopt/VariableHelpers.h"
#include "kelm/PlaceholderGuids.h"
#include "library/pure/DevicePath.h"
#include "uefi/GlobalVariable.h"

namespace kelm {

namespace {

// A device record of a legacy option up to the length of its device path: a BBS table entry, a BBS
// index and a signature.
constexpr UINTN kRecordHeadSize = 79;

// The BBS device type when the path is a legacy option's.
std::optional<UINT16> LegacyType(const EFI_DEVICE_PATH_PROTOCOL* path) {
    if (const auto* bbs = NodeAs<BBS_BBS_DEVICE_PATH>(path, kDevicePathTypeBbs, kBbsSubTypeBbs)) {
        return bbs->DeviceType;
    }
    const auto* vendor =
        NodeAs<VENDOR_DEVICE_PATH>(path, kDevicePathTypeHardware, kHardwareSubTypeVendor);
    if (vendor != nullptr && EFI_GUID(vendor->Guid) == gKelmLegacyHardDiskGuid) {
        return BBS_TYPE_HARDDRIVE;
    }
    return std::nullopt;
}

// An option, read for a look at it.
class ReadOption {
public:
    explicit ReadOption(UINT16 optionNumber) {
        UINTN size = 0;
        data_ = BdsReadVariable(MakeBootOptionName(optionNumber).data(), &gEfiGlobalVariableGuid,
                                &size);
        view_ = ParseLoadOption({data_.get(), size});
    }

    // Statuses as BdsGetLegacyOptionType.
    EFI_STATUS GetLegacyType(UINT16* type) const {
        if (!view_) {
            return EFI_NOT_FOUND;
        }
        const std::optional<UINT16> found = LegacyType(view_->path());
        if (!found) {
            return EFI_INVALID_PARAMETER;
        }
        *type = *found;
        return EFI_SUCCESS;
    }
    const LoadOptionView& view() const { return *view_; }

private:
    PoolPtr<UINT8> data_;
    std::optional<LoadOptionView> view_;
};

} // namespace

bool BdsIsLegacyOption(UINT16 optionNumber) {
    UINT16 type = 0;
    return !EFI_ERROR(BdsGetLegacyOptionType(optionNumber, &type));
}

EFI_STATUS BdsGetLegacyOptionType(UINT16 optionNumber, UINT16* type) {
    return ReadOption(optionNumber).GetLegacyType(type);
}

EFI_STATUS BdsCountLegacyOptionRecords(UINT16 optionNumber, UINTN* count) {
    *count = 0;
    const ReadOption option(optionNumber);
    UINT16 type = 0;
    const EFI_STATUS status = option.GetLegacyType(&type);
    if (EFI_ERROR(status)) {
        return status;
    }
    ByteReader reader(option.view().optionalData);
    while (reader.Remaining() != 0) {
        reader.Skip(kRecordHeadSize);
        reader.Skip(reader.ReadU16()); // the device path
        static_cast<void>(reader.ReadUcs2String());
        if (!reader.Ok()) {
            break;
        }
        ++*count;
    }
    return EFI_SUCCESS;
}

EFI_STATUS BdsFindFirstLegacyHddOption(const CHAR16* orderName, const EFI_GUID* guid,
                                       UINT16* optionNumber) {
    OptionOrder order;
    if (EFI_ERROR(BdsReadOrder(orderName, guid, order))) {
        return EFI_NOT_FOUND;
    }
    for (const UINT16 number : order.numbers()) {
        UINT16 type = 0;
        if (!EFI_ERROR(BdsGetLegacyOptionType(number, &type)) && type == BBS_TYPE_HARDDRIVE) {
            *optionNumber = number;
            return EFI_SUCCESS;
        }
    }
    return EFI_NOT_FOUND;
}

} // namespace kelm
