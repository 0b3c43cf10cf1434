// The EFI runtime services table, time, variable attributes, reset types and capsule headers
// (UEFI 2.10, sections 4.5 and 8).
#pragma once

#include "uefi/Base.h"
#include "uefi/BootServices.h"
#include "uefi/SystemTable.h"

// EFI_TIME::Daylight bits and the value of TimeZone for "local time, zone not known".
inline constexpr UINT8 EFI_TIME_ADJUST_DAYLIGHT = 0x01;
inline constexpr UINT8 EFI_TIME_IN_DAYLIGHT = 0x02;
inline constexpr INT16 EFI_UNSPECIFIED_TIMEZONE = 0x07FF;

struct EFI_TIME {
    UINT16 Year;  // 1900 to 9999
    UINT8 Month;  // 1 to 12
    UINT8 Day;    // 1 to 31
    UINT8 Hour;   // 0 to 23
    UINT8 Minute; // 0 to 59
    UINT8 Second; // 0 to 59
    UINT8 Pad1;
    UINT32 Nanosecond;
    INT16 TimeZone; // minutes from UTC, -1440 to 1440, or EFI_UNSPECIFIED_TIMEZONE
    UINT8 Daylight;
    UINT8 Pad2;
};
static_assert(sizeof(EFI_TIME) == 16);

struct EFI_TIME_CAPABILITIES {
    UINT32 Resolution; // counts per second
    UINT32 Accuracy;   // in 1e-6 parts per million
    BOOLEAN SetsToZero;
};
static_assert(sizeof(EFI_TIME_CAPABILITIES) == 12);

// Variable attributes.
inline constexpr UINT32 EFI_VARIABLE_NON_VOLATILE = 0x00000001u;
inline constexpr UINT32 EFI_VARIABLE_BOOTSERVICE_ACCESS = 0x00000002u;
inline constexpr UINT32 EFI_VARIABLE_RUNTIME_ACCESS = 0x00000004u;
inline constexpr UINT32 EFI_VARIABLE_HARDWARE_ERROR_RECORD = 0x00000008u;
inline constexpr UINT32 EFI_VARIABLE_AUTHENTICATED_WRITE_ACCESS = 0x00000010u; // deprecated
inline constexpr UINT32 EFI_VARIABLE_TIME_BASED_AUTHENTICATED_WRITE_ACCESS = 0x00000020u;
inline constexpr UINT32 EFI_VARIABLE_APPEND_WRITE = 0x00000040u;
inline constexpr UINT32 EFI_VARIABLE_ENHANCED_AUTHENTICATED_ACCESS = 0x00000080u;

enum EFI_RESET_TYPE : UINT32 {
    EfiResetCold,
    EfiResetWarm,
    EfiResetShutdown,
    EfiResetPlatformSpecific
};

inline constexpr UINT32 CAPSULE_FLAGS_PERSIST_ACROSS_RESET = 0x00010000u;
inline constexpr UINT32 CAPSULE_FLAGS_POPULATE_SYSTEM_TABLE = 0x00020000u;
inline constexpr UINT32 CAPSULE_FLAGS_INITIATE_RESET = 0x00040000u;

struct EFI_CAPSULE_HEADER {
    EFI_GUID CapsuleGuid;
    UINT32 HeaderSize;
    UINT32 Flags;
    UINT32 CapsuleImageSize; // header included
};
static_assert(sizeof(EFI_CAPSULE_HEADER) == 28);

struct EFI_CAPSULE_BLOCK_DESCRIPTOR {
    UINT64 Length;
    union {
        EFI_PHYSICAL_ADDRESS DataBlock;
        EFI_PHYSICAL_ADDRESS ContinuationPointer;
    } Union;
};
static_assert(sizeof(EFI_CAPSULE_BLOCK_DESCRIPTOR) == 16);

inline constexpr UINTN EFI_OPTIONAL_PTR = 0x00000001u; // ConvertPointer() DebugDisposition

// In slot order.
struct EFI_RUNTIME_SERVICES {
    EFI_TABLE_HEADER Hdr;

    // Time.
    EFI_STATUS(EFIAPI* GetTime)(EFI_TIME* Time, EFI_TIME_CAPABILITIES* Capabilities);
    EFI_STATUS(EFIAPI* SetTime)(EFI_TIME* Time);
    EFI_STATUS(EFIAPI* GetWakeupTime)(BOOLEAN* Enabled, BOOLEAN* Pending, EFI_TIME* Time);
    EFI_STATUS(EFIAPI* SetWakeupTime)(BOOLEAN Enable, EFI_TIME* Time);

    // Virtual memory.
    EFI_STATUS(EFIAPI* SetVirtualAddressMap)
    (UINTN MemoryMapSize, UINTN DescriptorSize, UINT32 DescriptorVersion,
     EFI_MEMORY_DESCRIPTOR* VirtualMap);
    EFI_STATUS(EFIAPI* ConvertPointer)(UINTN DebugDisposition, void** Address);

    // Variables. DataSize is in bytes; VariableNameSize too, the terminating null included.
    EFI_STATUS(EFIAPI* GetVariable)
    (const CHAR16* VariableName, const EFI_GUID* VendorGuid, UINT32* Attributes, UINTN* DataSize,
     void* Data);
    EFI_STATUS(EFIAPI* GetNextVariableName)
    (UINTN* VariableNameSize, CHAR16* VariableName, EFI_GUID* VendorGuid);
    EFI_STATUS(EFIAPI* SetVariable)
    (const CHAR16* VariableName, const EFI_GUID* VendorGuid, UINT32 Attributes, UINTN DataSize,
     const void* Data);

    // Miscellaneous.
    EFI_STATUS(EFIAPI* GetNextHighMonotonicCount)(UINT32* HighCount);
    void(EFIAPI* ResetSystem)(EFI_RESET_TYPE ResetType, EFI_STATUS ResetStatus, UINTN DataSize,
                              const void* ResetData);

    // Capsules.
    EFI_STATUS(EFIAPI* UpdateCapsule)
    (EFI_CAPSULE_HEADER** CapsuleHeaderArray, UINTN CapsuleCount,
     EFI_PHYSICAL_ADDRESS ScatterGatherList);
    EFI_STATUS(EFIAPI* QueryCapsuleCapabilities)
    (EFI_CAPSULE_HEADER** CapsuleHeaderArray, UINTN CapsuleCount, UINT64* MaximumCapsuleSize,
     EFI_RESET_TYPE* ResetType);

    EFI_STATUS(EFIAPI* QueryVariableInfo)
    (UINT32 Attributes, UINT64* MaximumVariableStorageSize, UINT64* RemainingVariableStorageSize,
     UINT64* MaximumVariableSize);
};
static_assert(sizeof(EFI_RUNTIME_SERVICES) == 136);
static_assert(offsetof(EFI_RUNTIME_SERVICES, GetVariable) == 72);
static_assert(offsetof(EFI_RUNTIME_SERVICES, ResetSystem) == 104);
