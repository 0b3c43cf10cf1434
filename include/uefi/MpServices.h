// EFI_MP_SERVICES_PROTOCOL: the application processors (PI 1.8, volume 2, section 13.4).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiMpServiceProtocolGuid = {
    0x3FDDA605, 0xA76E, 0x4F46, {0xAD, 0x29, 0x12, 0xF4, 0x53, 0x1B, 0x3D, 0x08}};

inline constexpr UINTN END_OF_CPU_LIST = 0xFFFFFFFF; // ends FailedCpuList
// Bit 24 of a processor number asks for ExtendedInformation.
inline constexpr UINTN CPU_V2_EXTENDED_TOPOLOGY = UINTN(1) << 24;

// EFI_PROCESSOR_INFORMATION::StatusFlag.
inline constexpr UINT32 PROCESSOR_AS_BSP_BIT = 0x00000001u;
inline constexpr UINT32 PROCESSOR_ENABLED_BIT = 0x00000002u;
inline constexpr UINT32 PROCESSOR_HEALTH_STATUS_BIT = 0x00000004u;

struct EFI_CPU_PHYSICAL_LOCATION {
    UINT32 Package;
    UINT32 Core;
    UINT32 Thread;
};
static_assert(sizeof(EFI_CPU_PHYSICAL_LOCATION) == 12);

struct EFI_CPU_PHYSICAL_LOCATION2 {
    UINT32 Package;
    UINT32 Module;
    UINT32 Tile;
    UINT32 Die;
    UINT32 Core;
    UINT32 Thread;
};
static_assert(sizeof(EFI_CPU_PHYSICAL_LOCATION2) == 24);

union EXTENDED_PROCESSOR_INFORMATION {
    EFI_CPU_PHYSICAL_LOCATION2 Location2;
};

struct EFI_PROCESSOR_INFORMATION {
    UINT64 ProcessorId; // local APIC identifier
    UINT32 StatusFlag;
    EFI_CPU_PHYSICAL_LOCATION Location;
    EXTENDED_PROCESSOR_INFORMATION ExtendedInformation;
};
static_assert(sizeof(EFI_PROCESSOR_INFORMATION) == 48);

using EFI_AP_PROCEDURE = void(EFIAPI*)(void* Buffer);

// A null WaitEvent makes a start blocking. A timeout of 0 waits for ever.
struct EFI_MP_SERVICES_PROTOCOL {
    EFI_STATUS(EFIAPI* GetNumberOfProcessors)
    (EFI_MP_SERVICES_PROTOCOL* This, UINTN* NumberOfProcessors, UINTN* NumberOfEnabledProcessors);
    EFI_STATUS(EFIAPI* GetProcessorInfo)
    (EFI_MP_SERVICES_PROTOCOL* This, UINTN ProcessorNumber,
     EFI_PROCESSOR_INFORMATION* ProcessorInfoBuffer);
    // EFI_NOT_STARTED when there is no enabled application processor.
    EFI_STATUS(EFIAPI* StartupAllAPs)
    (EFI_MP_SERVICES_PROTOCOL* This, EFI_AP_PROCEDURE Procedure, BOOLEAN SingleThread,
     EFI_EVENT WaitEvent, UINTN TimeoutInMicroSeconds, void* ProcedureArgument,
     UINTN** FailedCpuList);
    EFI_STATUS(EFIAPI* StartupThisAP)
    (EFI_MP_SERVICES_PROTOCOL* This, EFI_AP_PROCEDURE Procedure, UINTN ProcessorNumber,
     EFI_EVENT WaitEvent, UINTN TimeoutInMicroseconds, void* ProcedureArgument, BOOLEAN* Finished);
    EFI_STATUS(EFIAPI* SwitchBSP)
    (EFI_MP_SERVICES_PROTOCOL* This, UINTN ProcessorNumber, BOOLEAN EnableOldBSP);
    EFI_STATUS(EFIAPI* EnableDisableAP)
    (EFI_MP_SERVICES_PROTOCOL* This, UINTN ProcessorNumber, BOOLEAN EnableAP, UINT32* HealthFlag);
    EFI_STATUS(EFIAPI* WhoAmI)(EFI_MP_SERVICES_PROTOCOL* This, UINTN* ProcessorNumber);
};
static_assert(sizeof(EFI_MP_SERVICES_PROTOCOL) == 56);

template <>
struct ProtocolGuid<EFI_MP_SERVICES_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiMpServiceProtocolGuid;
};
