// The engine for jobs that the management controller has queued: firmware updates, configuration,
// shutdown, erase. BDS asks which jobs wait and has them run at fixed points of the boot; what a
// job does is the engine's business. No member takes the protocol itself. The pending-job bits
// stand in kelm/BootTaskTypes.h.
#pragma once

#include "uefi/Base.h"

// {DA98735E-8FA7-43B9-A596-3AE468165BCF}
inline constexpr EFI_GUID gKelmSmaJobProtocolGuid = {
    0xDA98735E, 0x8FA7, 0x43B9, {0xA5, 0x96, 0x3A, 0xE4, 0x68, 0x16, 0x5B, 0xCF}};

// Job flags of ProcessJob.
inline constexpr UINT32 kSmaProcessUpdate = 0x01;
inline constexpr UINT32 kSmaProcessConfiguration = 0x02;
inline constexpr UINT32 kSmaProcessInventorySent = 0x04;
inline constexpr UINT32 kSmaProcessForSystemConfiguration =
    0x08; // added to update, configuration, set
inline constexpr UINT32 kSmaProcessConfigurationSet = 0x10;

struct KelmSmaJobProtocol {
    // Runs the jobs that the flags select. May reset the system instead of returning.
    EFI_STATUS(EFIAPI* ProcessJob)(UINT32 jobFlags);
    // TRUE when any job waits. *pendingMask, a mask of SmaJobType bits, is filled either way.
    BOOLEAN(EFIAPI* GetPendingJobs)(UINT32* pendingMask);
    // Sends the finished SMBIOS tables. Only for controllers above level 3.
    EFI_STATUS(EFIAPI* SendSmbiosToNimbor)();
    // Sends the system configuration profile. The argument is always 0.
    EFI_STATUS(EFIAPI* SendScp)(UINT32 reserved);
};
static_assert(sizeof(KelmSmaJobProtocol) == 4 * sizeof(void*));

template <>
struct ProtocolGuid<KelmSmaJobProtocol> {
    static constexpr const EFI_GUID& value = gKelmSmaJobProtocolGuid;
};
