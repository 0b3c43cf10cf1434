// Placeholders for managed disks that nothing boots from yet.
#pragma once

#include "bootopt/NewOptions.h"
#include "bootopt/UefiOptions.h"

#include <span>

namespace kelm {

// Makes a placeholder for each candidate that is such a disk and has no option, unless
// `diskGotOption`: this enumeration has already made an option for one of them. Takes the
// placeholder of a disk away that has another option by now. Nothing unless the setting
// HddPlaceholder is "Enabled".
void BdsCreateHddPlaceholders(UefiOptions& options, std::span<const EFI_HANDLE> candidates,
                              bool diskGotOption, NewOptions& created);

} // namespace kelm
