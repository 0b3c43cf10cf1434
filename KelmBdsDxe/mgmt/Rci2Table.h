// The RCI2 table: the configuration inventory that the interactive tools read.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Builds the table. EFI_NOT_FOUND: there is no table builder. Otherwise its status.
EFI_STATUS BdsBuildRci2Table();
// The same unless this boot has tried already.
void BdsBuildRci2TableOnce();

} // namespace kelm
