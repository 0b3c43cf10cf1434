// PCI devices whose drivers are wanted before the consoles: a short fixed list.
#pragma once

namespace kelm {

// Logs every PCI function and connects those of the list, not recursively.
void BdsConnectSpecialPciDevices();

} // namespace kelm
