// The class of a PCI function.
#pragma once

#include "uefi/PciIo.h"

namespace kelm {

// As it stands in configuration space at PCI_CLASSCODE_OFFSET.
struct PciClassCode {
    UINT8 programmingInterface;
    UINT8 subClass;
    UINT8 baseClass;
};
static_assert(sizeof(PciClassCode) == 3);

// Statuses as a read of configuration space.
inline EFI_STATUS ReadPciClassCode(EFI_PCI_IO_PROTOCOL* pci, PciClassCode& classCode) {
    return pci->Pci.Read(pci, EfiPciIoWidthUint8, PCI_CLASSCODE_OFFSET, sizeof(classCode),
                         &classCode);
}

} // namespace kelm
