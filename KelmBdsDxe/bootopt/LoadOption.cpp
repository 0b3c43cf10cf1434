#include "bootopt/LoadOption.h"

#include "bootopt/LoadOptionFormat.h"
#include "bootopt/OrderVariable.h"
#include "bootopt/VariableHelpers.h"
#include "kelm/Variables.h"
#include "library/firmware/Pool.h"
#include "library/pure/Ucs2.h"
#include "uefi/GlobalVariable.h"

#include <cstddef>

namespace kelm {

namespace {

EFI_STATUS WriteOptionVariable(UINT16 optionNumber, std::span<const UINT8> bytes) {
    return gRT->SetVariable(MakeBootOptionName(optionNumber).data(), &gEfiGlobalVariableGuid,
                            kVariableNonVolatileRuntime, bytes.size(), bytes.data());
}

void AppendToList(KelmListEntry* head, KelmListEntry* link) {
    link->ForwardLink = head;
    link->BackLink = head->BackLink;
    head->BackLink->ForwardLink = link;
    head->BackLink = link;
}

} // namespace

BootOptionRecord* BdsReadBootOption(UINT16 optionNumber) {
    UINTN size = 0;
    const PoolPtr<UINT8> data =
        BdsReadVariable(MakeBootOptionName(optionNumber).data(), &gEfiGlobalVariableGuid, &size);
    const std::optional<LoadOptionView> option = ParseLoadOption({data.get(), size});
    if (!option) {
        return nullptr;
    }
    PoolPtr<BootOptionRecord> record = AllocateZeroPool<BootOptionRecord>();
    PoolPtr<EFI_DEVICE_PATH_PROTOCOL> path =
        AllocateCopyPool(option->devicePath.size(), option->path());
    const UINTN characters = option->description.size() + 1;
    PoolPtr<CHAR16> description = AllocatePool<CHAR16>(characters);
    PoolPtr<UINT8> optionalData;
    if (!option->optionalData.empty()) {
        optionalData = AllocateCopyPool(option->optionalData.size(), option->optionalData.data());
    }
    if (!record || !path || !description || (!optionalData && !option->optionalData.empty())) {
        return nullptr;
    }
    option->description.CopyTo({description.get(), characters});
    record->Signature = kBootOptionSignature;
    record->DevicePath = path.release();
    record->BootCurrent = optionNumber;
    record->Attribute = option->attributes;
    record->Description = description.release();
    record->LoadOptions = optionalData.release();
    record->LoadOptionsSize = static_cast<UINT32>(option->optionalData.size());
    return record.release();
}

EFI_STATUS BdsWriteBootOption(UINT16 optionNumber, const BootOptionRecord* record) {
    if (record == nullptr || (record->LoadOptions == nullptr && record->LoadOptionsSize != 0)) {
        return EFI_INVALID_PARAMETER;
    }
    const LoadOptionParts parts = {
        .attributes = record->Attribute,
        .description = Ucs2View(record->Description),
        .filePathList = DevicePathBytes(record->DevicePath),
        .optionalData = {record->LoadOptions, record->LoadOptionsSize},
    };
    const size_t size = parts.filePathList.empty() ? 0 : FormatLoadOption({}, parts);
    if (size == 0) {
        return EFI_INVALID_PARAMETER;
    }
    const PoolPtr<UINT8> bytes = AllocatePool<UINT8>(size);
    if (!bytes) {
        return EFI_OUT_OF_RESOURCES;
    }
    FormatLoadOption({bytes.get(), size}, parts);
    return WriteOptionVariable(optionNumber, {bytes.get(), size});
}

void BdsFreeBootOption(BootOptionRecord* record) {
    if (record == nullptr) {
        return;
    }
    FreePool(record->DevicePath);
    FreePool(record->Description);
    FreePool(record->LoadOptions);
    FreePool(record);
}

// Works on the bytes and not through a record, which would drop what else stands in the file path
// list.
EFI_STATUS BdsSetOptionActive(UINT16 optionNumber, bool enable) {
    UINTN size = 0;
    const PoolPtr<UINT8> data =
        BdsReadVariable(MakeBootOptionName(optionNumber).data(), &gEfiGlobalVariableGuid, &size);
    const std::span<UINT8> bytes(data.get(), size);
    const std::optional<LoadOptionView> option = ParseLoadOption(bytes);
    if (!option) {
        return EFI_NOT_FOUND;
    }
    ByteWriter(bytes).WriteU32(enable ? option->attributes | LOAD_OPTION_ACTIVE
                                      : option->attributes & ~LOAD_OPTION_ACTIVE);
    return WriteOptionVariable(optionNumber, bytes);
}

EFI_STATUS BdsBuildOptionListFromBootOrder(KelmListEntry* head) {
    OptionOrder order;
    if (EFI_ERROR(BdsReadOrder(kBootOrderName, &gEfiGlobalVariableGuid, order))) {
        return EFI_OUT_OF_RESOURCES;
    }
    for (const UINT16 optionNumber : order.numbers()) {
        if (BootOptionRecord* record = BdsReadBootOption(optionNumber); record != nullptr) {
            AppendToList(head, &record->Link);
        }
    }
    return EFI_SUCCESS;
}

void BdsInitOptionList(KelmListEntry* head) {
    *head = {head, head};
}

void BdsFreeOptionList(KelmListEntry* head) {
    for (KelmListEntry* link = head->ForwardLink; link != head;) {
        BootOptionRecord* record = BdsOptionOfLink(link);
        link = link->ForwardLink;
        BdsFreeBootOption(record);
    }
    BdsInitOptionList(head);
}

BootOptionRecord* BdsOptionOfLink(KelmListEntry* link) {
    return reinterpret_cast<BootOptionRecord*>(reinterpret_cast<UINT8*>(link) -
                                               offsetof(BootOptionRecord, Link));
}

EFI_STATUS BdsGetFreeOptionNumber(UINT16* optionNumber) {
    for (UINT32 number = 0; number <= kLastOptionNumber; ++number) {
        const UINT16 candidate = static_cast<UINT16>(number);
        if (!BdsVariableExists(MakeBootOptionName(candidate).data(), &gEfiGlobalVariableGuid)) {
            *optionNumber = candidate;
            return EFI_SUCCESS;
        }
    }
    return EFI_NOT_FOUND;
}

} // namespace kelm
