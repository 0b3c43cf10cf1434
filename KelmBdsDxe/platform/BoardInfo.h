// The board's identity record.
#pragma once

#include "kelm/BoardInfoProtocol.h"

namespace kelm {

// The record, owned by its provider for the whole boot; null when it cannot be read.
const KelmBoardRecord* BdsBoardRecord();

} // namespace kelm
