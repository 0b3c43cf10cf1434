#include "boot/OemId.h"

#include "bootopt/VariableHelpers.h"
#include "console/Print.h"
#include "core/DriverState.h"
#include "core/PlatformPolicy.h"
#include "kelm/DebugLevels.h"
#include "kelm/OemIdProtocols.h"
#include "kelm/Variables.h"
#include "library/firmware/Protocol.h"
#include "uefi/GlobalVariable.h"

namespace kelm {

namespace {

constexpr CHAR8 kBackup[] = "BdsPersonalityModuleOemSmbiosBackup"; // as the log calls it

// The status with which the backup ends.
EFI_STATUS BackUpOemSmbiosStrings() {
    KelmOemIdProtocol* service = nullptr;
    EFI_STATUS status = LocateProtocol(service);
    if (EFI_ERROR(status)) {
        DebugPrint(kDebugError, "[%a]: Failed to locate PersonalityModuleBrandingProtocol\n",
                   kBackup);
        return status;
    }
    const KelmVariable& variable = kVariableOemSmbiosStringsBackup;
    UINT8 requested = 0;
    UINTN size = sizeof(requested);
    status = gRT->GetVariable(const_cast<CHAR16*>(variable.name), variable.guid, nullptr, &size,
                              &requested);
    if (EFI_ERROR(status)) {
        DebugPrint(kDebugError, "[%a]: Error! GetVariable failed. Status=%r\n", kBackup, status);
        return status;
    }
    if (requested == 1) {
        status = service->BackupOemSmbiosStrings(service);
        if (EFI_ERROR(status)) {
            DebugPrint(kDebugError, "[%a]: Error! BackupOemSmbiosStrings failed. Status=%r\n",
                       kBackup, status);
        }
    }
    status = BdsDeleteVariable(variable.name, variable.guid);
    if (EFI_ERROR(status)) {
        DebugPrint(kDebugError, "[%a]: Error! SetVariable failed. Status=%r\n", kBackup, status);
    }
    DebugPrint(kDebugInfo, "[%a]: Exit, Status=%r\n", kBackup, status);
    return status;
}

} // namespace

void BdsProcessOemId() {
    const bool rebrand = gDriver.boot.rebrandRequested;
    const bool debrand = gDriver.boot.debrandRequested;
    if (!rebrand && !debrand) {
        return;
    }
    auto* service = FindProtocol<KelmOemIdProtocol>();
    if (service == nullptr) {
        PrintFormatted(u"Could not locate the OEM ID protocol needed to %s the system.\n",
                       rebrand ? u"rebrand" : u"debrand");
    } else if (rebrand) {
        static_cast<void>(service->Rebrand(service));
    } else {
        static_cast<void>(service->Debrand(service));
    }
}

void BdsOemIdEndOfPost() {
    if (auto* service = FindProtocol<KelmOemIdEndOfPostProtocol>()) {
        static_cast<void>(service->EndOfPost(service));
    }
    UINT8 secureBoot = 0;
    UINTN size = sizeof(secureBoot);
    const EFI_STATUS status = gRT->GetVariable(
        const_cast<CHAR16*>(kSecureBootName), &gEfiGlobalVariableGuid, nullptr, &size, &secureBoot);
    auto* policy = BdsPlatformPolicy();
    if (!EFI_ERROR(status) && secureBoot != 1 && policy != nullptr) {
        static_cast<void>(policy->ApplySecureBootOffPolicy(policy));
    }
}

void BdsPersonalityModuleOemSmbiosBackup() {
    DebugPrint(kDebugInfo, "[%a]: Entry\n", kBackup);
    static_cast<void>(BackUpOemSmbiosStrings());
}

} // namespace kelm
