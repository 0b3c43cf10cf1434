// Boot orders that were asked for by FQDD settings.
#pragma once

namespace kelm {

// True when a setting asks for a legacy boot order; never on a system without legacy support.
bool BdsIsLegacyOrderRequested();

} // namespace kelm
