// Names of UEFI status codes: the words that %r prints in a log line ("Not Found") and the
// constants' own names for traces and machine files ("EFI_NOT_FOUND").
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "uefi/Base.h"

namespace kelm {

inline constexpr size_t kStatusTextSize = 32; // enough for every text and its null

// Writes the words for status and a null, cut to what fits; a status without words is written as
// upper-case hexadecimal without leading zeros. Returns the characters written without the null.
size_t StatusToText(EFI_STATUS status, std::span<char> out);

// "EFI_..."; empty when the standard has no such status.
std::string_view StatusName(EFI_STATUS status);

// The status of exactly that name; nothing when there is none.
std::optional<EFI_STATUS> StatusFromName(std::string_view name);

} // namespace kelm
