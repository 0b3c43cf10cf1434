// The platform's small services: each is told that its moment of the boot has come, or answers one
// question. What they were told is counted by the CallBook.
#pragma once

#include "kelm/EndOfPostProtocols.h"
#include "kelm/EsrtInjectionProtocol.h"
#include "kelm/ManufacturingModeProtocol.h"
#include "kelm/MemoryTestProtocol.h"
#include "kelm/PciDevice2Protocol.h"
#include "kelm/PciPostEnumerationProtocol.h"
#include "kelm/PcieSsdLocationProtocol.h"
#include "kelm/PlatformTpmProtocol.h"
#include "kelm/RipsProtocol.h"
#include "kelm/VamProtocol.h"
#include "sim/siblings/ProtocolTable.h"

#include <optional>
#include <vector>

namespace sim {

class PlatformSteps final : public Sibling {
public:
    // Reads "esrt", "manufacturing" and "memoryTest"; throws MachineFileError.
    explicit PlatformSteps(Platform& owner);
    void Install() override;

    UINT32 manufacturingMode;
    UINT32 memoryTestState;
    UINT64 postEnumerationVersion = kPciPostEnumerationBaseVersion + 1;
    EFI_HANDLE onboardVideo = nullptr; // what the PCI device service names
    EFI_HANDLE addinVideo = nullptr;
    std::optional<EFI_GUID> esrtNamespace; // of the last injection
    std::vector<UINT32> tpmRequests;       // arguments of ProcessOsRequests, in order

private:
    EFI_STATUS InjectEsrt(const EFI_GUID* variableNamespace);
    UINT32 GetManufacturingMode();
    UINT32 GetMemoryTestState();
    UINT64 GetPostEnumerationVersion();
    EFI_STATUS GetVideoControllers(EFI_HANDLE* onboard, EFI_HANDLE* addin);
    EFI_STATUS ProcessTpmRequests(UINT32 noUpdatePending);

    bool esrtPresent_;
    ProtocolTable<KelmEsrtInjectionProtocol, "KelmEsrtInjectionProtocol"> esrt_;
    ProtocolTable<KelmVamProtocol, "KelmVamProtocol"> vam_;
    ProtocolTable<KelmPciPostEnumerationProtocol, "KelmPciPostEnumerationProtocol">
        postEnumeration_;
    ProtocolTable<KelmPciDevice2Protocol, "KelmPciDevice2Protocol"> pciDevice_;
    ProtocolTable<KelmPcieSsdLocationProtocol, "KelmPcieSsdLocationProtocol"> pcieSsd_;
    ProtocolTable<KelmRipsProtocol, "KelmRipsProtocol"> rips_;
    ProtocolTable<KelmUsbEndOfPostProtocol, "KelmUsbEndOfPostProtocol"> usbEndOfPost_;
    ProtocolTable<KelmTxtEndOfPostProtocol, "KelmTxtEndOfPostProtocol"> txtEndOfPost_;
    ProtocolTable<KelmManufacturingModeProtocol, "KelmManufacturingModeProtocol"> manufacturing_;
    ProtocolTable<KelmMemoryTestProtocol, "KelmMemoryTestProtocol"> memoryTest_;
    ProtocolTable<KelmPlatformTpmProtocol, "KelmPlatformTpmProtocol"> tpm_;
};

} // namespace sim
