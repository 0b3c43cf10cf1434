#include "bootopt/FqddTexts.h"

#include "library/pure/Ucs2.h"

namespace kelm {

FqddTexts::~FqddTexts() {
    entries_.ForEach([](Entry& entry) { FreePool(entry.text); });
}

EFI_STATUS FqddTexts::Load(UINT16 number, const Entry*& loaded) {
    Entry* entry = entries_.Reach(number);
    loaded = entry;
    if (entry == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    if (!entry->known) {
        const EFI_STATUS status =
            mode_ == kFqddOfOption || mode_ == kFqddOfOptionPlain
                ? BdsGetCachedOptionFqddText(options_, number, mode_, &entry->text)
                : BdsGetOptionFqddText(number, mode_, &entry->text);
        if (status == EFI_OUT_OF_RESOURCES) {
            return status; // asked again, it may do better
        }
        entry->known = true;
    }
    return EFI_SUCCESS;
}

EFI_STATUS FqddTexts::Load(std::span<const UINT16> numbers) {
    for (const UINT16 number : numbers) {
        const Entry* entry = nullptr;
        const EFI_STATUS status = Load(number, entry);
        if (EFI_ERROR(status)) {
            return status;
        }
    }
    return EFI_SUCCESS;
}

const CHAR16* FqddTexts::Find(UINT16 number) {
    const Entry* entry = nullptr;
    return EFI_ERROR(Load(number, entry)) ? nullptr : entry->text;
}

bool FqddTexts::IsMatching(const CHAR16* pattern, UINT16 number) {
    const CHAR16* text = Find(number);
    return text != nullptr && IsFqddMatching(Ucs2View(pattern), Ucs2View(text));
}

} // namespace kelm
