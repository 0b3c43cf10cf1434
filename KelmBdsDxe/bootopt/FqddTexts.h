// The FQDD texts of options or legacy devices, for work that holds many patterns against them:
// each option is read, and the location service asked, once.
#pragma once

#include "bootopt/FqddMatch.h"
#include "bootopt/NumberTable.h"
#include "bootopt/OptionCache.h"

#include <span>

namespace kelm {

class FqddTexts {
public:
    // `mode` is one of kFqddOf...; `options` must live longer.
    FqddTexts(OptionCache& options, UINTN mode) : options_(options), mode_(mode) {}
    FqddTexts(const FqddTexts&) = delete;
    FqddTexts& operator=(const FqddTexts&) = delete;
    ~FqddTexts();

    OptionCache& options() const { return options_; }
    // Asks for the texts of all numbers. EFI_OUT_OF_RESOURCES: for want of memory it is not known
    // whether one has a text.
    EFI_STATUS Load(std::span<const UINT16> numbers);
    // The text of a number as BdsGetOptionFqddText has it; null when there is none. The texts' own.
    const CHAR16* Find(UINT16 number);
    // IsFqddMatching of the pattern and that text; false when there is no text.
    bool IsMatching(const CHAR16* pattern, UINT16 number);

private:
    struct Entry {
        CHAR16* text; // pool
        bool known;
    };

    EFI_STATUS Load(UINT16 number, const Entry*& loaded);

    OptionCache& options_;
    UINTN mode_;
    NumberTable<Entry> entries_;
};

} // namespace kelm
