// The hand-off blocks that earlier phases left (PI volume 3).
#pragma once

#include "uefi/Base.h"

#include <optional>
#include <span>

namespace kelm {

// The data of the first GUID extension block with this GUID, without its header; nothing when there
// is none. The memory is the platform's.
std::optional<std::span<const UINT8>> FindGuidHob(const EFI_GUID& guid);

EFI_STATUS ConstructHob();

} // namespace kelm
