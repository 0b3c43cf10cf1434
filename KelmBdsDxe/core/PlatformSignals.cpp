#include "core/PlatformSignals.h"

#include "kelm/AttributeNames.h"
#include "kelm/EventGroups.h"
#include "kelm/PostMessages.h"
#include "library/firmware/Event.h"
#include "library/firmware/Protocol.h"
#include "platform/BoardInfo.h"
#include "post/PostMessages.h"
#include "services/Attributes.h"
#include "services/IpmiTransport.h"
#include "uefi/SmmReadyToLock.h"

namespace kelm {

namespace {

constexpr EFI_GUID kZeroGuid = {};

void SignalPlatformGroup(const EFI_GUID& group, UINT64 level, const char* signalLine,
                         const char* returnedLine) {
    if (group == kZeroGuid) {
        return; // the platform wants none
    }
    DebugPrint(level, signalLine, &group);
    if (!EFI_ERROR(SignalEventGroup(group))) {
        DebugPrint(level, returnedLine);
    }
}

void InstallReadyToLock() {
    DebugPrint(kDebugBdsInfo, "BDS: Installing gEfiDxeSmmReadyToLockProtocolGuid ...\n");
    EFI_HANDLE handle = nullptr;
    const EFI_STATUS status = gBS->InstallProtocolInterface(
        &handle, &gEfiDxeSmmReadyToLockProtocolGuid, EFI_NATIVE_INTERFACE, nullptr);
    DebugPrint(kDebugBdsInfo, "BDS: Installed gEfiDxeSmmReadyToLockProtocolGuid : %r\n", status);
}

} // namespace

void BdsSignalEndOfDxe() {
    DebugPrint(kDebugBdsInfo, "BDS: Signal EndOfDxe...\n");
    if (!EFI_ERROR(SignalEventGroup(gEfiEndOfDxeEventGroupGuid))) {
        DebugPrint(kDebugBdsInfo, "BDS: All EndOfDxe callbacks have returned successfully\n");
    }
    SignalPlatformGroup(gKelmAfterEndOfDxeGroupGuid, kDebugBdsInfo,
                        "BDS: Signal AfterEndOfDxe Event (%g)...\n",
                        "BDS: All AfterEndOfDxe callbacks have returned successfully\n");
    InstallReadyToLock();
    SignalPlatformGroup(gKelmAfterSmmReadyToLockGroupGuid, kDebugErrorBds,
                        "BDS: Signal AfterSmmReadyToLockEvent Event (%g)...\n",
                        "BDS: All AfterSmmReadyToLockEvent callbacks have returned successfully\n");
}

EFI_STATUS IpmiGetChassisConfiguration(UINT8* chassisValue) {
    KelmIpmiTransportProtocol* transport = nullptr;
    if (EFI_ERROR(LocateProtocol(transport))) {
        return EFI_PROTOCOL_ERROR; // the caller logs the result
    }
    IpmiResponse response;
    EFI_STATUS status = BdsSendIpmiCommandOn(transport, kIpmiNetFnOem, kIpmiGetChassisConfiguration,
                                             kIpmiChassisConfigurationRequest,
                                             kIpmiChassisConfigurationResponseSize, response);
    if (status == EFI_BUFFER_TOO_SMALL) {
        const UINT8 reported = response.size;
        status = BdsSendIpmiCommandOn(transport, kIpmiNetFnOem, kIpmiGetChassisConfiguration,
                                      kIpmiChassisConfigurationRequest, reported, response);
    }
    if (EFI_ERROR(status)) {
        return status;
    }
    if (response.size <= kIpmiChassisValueOffset) {
        return EFI_PROTOCOL_ERROR;
    }
    *chassisValue = response.bytes[kIpmiChassisValueOffset];
    return EFI_SUCCESS;
}

void BdsCheckChassisSledInfo() {
    UINT8 chassisValue = 0;
    const EFI_STATUS status = IpmiGetChassisConfiguration(&chassisValue);
    DebugPrint(EFI_ERROR(status) ? kDebugError : kDebugInfo, "%a: Status = %x\r\n",
               "IpmiGetChassisConfiguration", status);
    if (!EFI_ERROR(status)) {
        static_cast<void>(
            BdsSetAttributeData(kAttributeChassisSledInfo, &chassisValue, sizeof(chassisValue)));
        return;
    }
    const KelmBoardRecord* record = BdsBoardRecord();
    if (record != nullptr && record->ChassisCode == kChassisCodeSled) {
        static_cast<void>(RegisterPostMessage(kPostMessageInvalidChassisSledInfo));
        DebugPrint(kDebugInfo, "MSG_INVALID_CHASSIS_SLED_INFO is registerd\n");
    }
}

} // namespace kelm
