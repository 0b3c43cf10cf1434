// The default boot: the options of BootOrder one after another, again and again.
#pragma once

namespace kelm {

// Does not return: an image takes the machine, the user goes elsewhere, or the system is reset.
void BdsDefaultBoot();

} // namespace kelm
