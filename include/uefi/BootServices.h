// The EFI boot services table and the types, constants and event groups its services use
// (UEFI 2.10, sections 4.4 and 7; PI 1.8 volume 2 for the end-of-DXE event group).
#pragma once

#include "uefi/Base.h"
#include "uefi/SystemTable.h"

struct EFI_DEVICE_PATH_PROTOCOL;

// Task priority levels.
inline constexpr EFI_TPL TPL_APPLICATION = 4;
inline constexpr EFI_TPL TPL_CALLBACK = 8;
inline constexpr EFI_TPL TPL_NOTIFY = 16;
inline constexpr EFI_TPL TPL_HIGH_LEVEL = 31;

// Event types.
inline constexpr UINT32 EVT_TIMER = 0x80000000u;
inline constexpr UINT32 EVT_RUNTIME = 0x40000000u;
inline constexpr UINT32 EVT_NOTIFY_WAIT = 0x00000100u;
inline constexpr UINT32 EVT_NOTIFY_SIGNAL = 0x00000200u;
inline constexpr UINT32 EVT_SIGNAL_EXIT_BOOT_SERVICES = 0x00000201u;
inline constexpr UINT32 EVT_SIGNAL_VIRTUAL_ADDRESS_CHANGE = 0x60000202u;

// Event groups.
inline constexpr EFI_GUID gEfiEventExitBootServicesGuid = {
    0x27ABF055, 0xB1B8, 0x4C26, {0x80, 0x48, 0x74, 0x8F, 0x37, 0xBA, 0xA2, 0xDF}};
inline constexpr EFI_GUID gEfiEventBeforeExitBootServicesGuid = {
    0x8BE0E274, 0x3970, 0x4B44, {0x80, 0xC5, 0x1A, 0xB9, 0x50, 0x2F, 0x3B, 0xFC}};
inline constexpr EFI_GUID gEfiEventVirtualAddressChangeGuid = {
    0x13FA7698, 0xC831, 0x49C7, {0x87, 0xEA, 0x8F, 0x43, 0xFC, 0xC2, 0x51, 0x96}};
inline constexpr EFI_GUID gEfiEventMemoryMapChangeGuid = {
    0x78BEE926, 0x692F, 0x48FD, {0x9E, 0xDB, 0x01, 0x42, 0x2E, 0xF0, 0xD7, 0xAB}};
inline constexpr EFI_GUID gEfiEventReadyToBootGuid = {
    0x7CE88FB3, 0x4BD7, 0x4679, {0x87, 0xA8, 0xA8, 0xD8, 0xDE, 0xE5, 0x0D, 0x2B}};
inline constexpr EFI_GUID gEfiEventAfterReadyToBootGuid = {
    0x3A2A00AD, 0x98B9, 0x4CDF, {0xA4, 0x78, 0x70, 0x27, 0x77, 0xF1, 0xC1, 0x0B}};
inline constexpr EFI_GUID gEfiEndOfDxeEventGroupGuid = {
    0x02CE967A, 0xDD7E, 0x4FFC, {0x9E, 0xE7, 0x81, 0x0C, 0xF0, 0x47, 0x08, 0x80}};

enum EFI_TIMER_DELAY : UINT32 { TimerCancel, TimerPeriodic, TimerRelative };

enum EFI_ALLOCATE_TYPE : UINT32 {
    AllocateAnyPages,
    AllocateMaxAddress,
    AllocateAddress,
    MaxAllocateType
};

enum EFI_MEMORY_TYPE : UINT32 {
    EfiReservedMemoryType,
    EfiLoaderCode,
    EfiLoaderData,
    EfiBootServicesCode,
    EfiBootServicesData,
    EfiRuntimeServicesCode,
    EfiRuntimeServicesData,
    EfiConventionalMemory,
    EfiUnusableMemory,
    EfiACPIReclaimMemory,
    EfiACPIMemoryNVS,
    EfiMemoryMappedIO,
    EfiMemoryMappedIOPortSpace,
    EfiPalCode,
    EfiPersistentMemory,
    EfiUnacceptedMemoryType,
    EfiMaxMemoryType
};
inline constexpr UINT32 MEMORY_TYPE_OEM_RESERVED_MIN = 0x70000000u;
inline constexpr UINT32 MEMORY_TYPE_OS_RESERVED_MIN = 0x80000000u;

inline constexpr UINT64 EFI_MEMORY_UC = 0x0000000000000001u;
inline constexpr UINT64 EFI_MEMORY_WC = 0x0000000000000002u;
inline constexpr UINT64 EFI_MEMORY_WT = 0x0000000000000004u;
inline constexpr UINT64 EFI_MEMORY_WB = 0x0000000000000008u;
inline constexpr UINT64 EFI_MEMORY_UCE = 0x0000000000000010u;
inline constexpr UINT64 EFI_MEMORY_WP = 0x0000000000001000u;
inline constexpr UINT64 EFI_MEMORY_RP = 0x0000000000002000u;
inline constexpr UINT64 EFI_MEMORY_XP = 0x0000000000004000u;
inline constexpr UINT64 EFI_MEMORY_NV = 0x0000000000008000u;
inline constexpr UINT64 EFI_MEMORY_MORE_RELIABLE = 0x0000000000010000u;
inline constexpr UINT64 EFI_MEMORY_RO = 0x0000000000020000u;
inline constexpr UINT64 EFI_MEMORY_SP = 0x0000000000040000u;
inline constexpr UINT64 EFI_MEMORY_CPU_CRYPTO = 0x0000000000080000u;
inline constexpr UINT64 EFI_MEMORY_ISA_VALID = 0x4000000000000000u;
inline constexpr UINT64 EFI_MEMORY_RUNTIME = 0x8000000000000000u;
inline constexpr UINT64 EFI_MEMORY_CACHETYPE_MASK =
    EFI_MEMORY_UC | EFI_MEMORY_WC | EFI_MEMORY_WT | EFI_MEMORY_WB | EFI_MEMORY_UCE | EFI_MEMORY_WP;

inline constexpr UINTN EFI_PAGE_SIZE = 0x1000;
inline constexpr UINTN EFI_PAGE_MASK = 0xFFF;
inline constexpr UINTN EFI_PAGE_SHIFT = 12;

// Pages needed to hold `size` bytes. Does not overflow for any size.
constexpr UINTN EFI_SIZE_TO_PAGES(UINTN size) {
    return (size >> EFI_PAGE_SHIFT) + ((size & EFI_PAGE_MASK) != 0 ? 1 : 0);
}
constexpr UINTN EFI_PAGES_TO_SIZE(UINTN pages) {
    return pages << EFI_PAGE_SHIFT;
}

inline constexpr UINT32 EFI_MEMORY_DESCRIPTOR_VERSION = 1;

// Walk a memory map by the descriptor size that GetMemoryMap() returned, never by sizeof.
struct EFI_MEMORY_DESCRIPTOR {
    UINT32 Type;
    EFI_PHYSICAL_ADDRESS PhysicalStart;
    EFI_VIRTUAL_ADDRESS VirtualStart;
    UINT64 NumberOfPages;
    UINT64 Attribute;
};
static_assert(sizeof(EFI_MEMORY_DESCRIPTOR) == 40);

enum EFI_INTERFACE_TYPE : UINT32 { EFI_NATIVE_INTERFACE };

enum EFI_LOCATE_SEARCH_TYPE : UINT32 { AllHandles, ByRegisterNotify, ByProtocol };

// OpenProtocol() attributes.
inline constexpr UINT32 EFI_OPEN_PROTOCOL_BY_HANDLE_PROTOCOL = 0x00000001u;
inline constexpr UINT32 EFI_OPEN_PROTOCOL_GET_PROTOCOL = 0x00000002u;
inline constexpr UINT32 EFI_OPEN_PROTOCOL_TEST_PROTOCOL = 0x00000004u;
inline constexpr UINT32 EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER = 0x00000008u;
inline constexpr UINT32 EFI_OPEN_PROTOCOL_BY_DRIVER = 0x00000010u;
inline constexpr UINT32 EFI_OPEN_PROTOCOL_EXCLUSIVE = 0x00000020u;

struct EFI_OPEN_PROTOCOL_INFORMATION_ENTRY {
    EFI_HANDLE AgentHandle;
    EFI_HANDLE ControllerHandle;
    UINT32 Attributes;
    UINT32 OpenCount;
};
static_assert(sizeof(EFI_OPEN_PROTOCOL_INFORMATION_ENTRY) == 24);

using EFI_EVENT_NOTIFY = void(EFIAPI*)(EFI_EVENT Event, void* Context);

// In slot order.
struct EFI_BOOT_SERVICES {
    EFI_TABLE_HEADER Hdr;

    // Task priority.
    EFI_TPL(EFIAPI* RaiseTPL)(EFI_TPL NewTpl);
    void(EFIAPI* RestoreTPL)(EFI_TPL OldTpl);

    // Memory.
    EFI_STATUS(EFIAPI* AllocatePages)
    (EFI_ALLOCATE_TYPE Type, EFI_MEMORY_TYPE MemoryType, UINTN Pages, EFI_PHYSICAL_ADDRESS* Memory);
    EFI_STATUS(EFIAPI* FreePages)(EFI_PHYSICAL_ADDRESS Memory, UINTN Pages);
    EFI_STATUS(EFIAPI* GetMemoryMap)
    (UINTN* MemoryMapSize, EFI_MEMORY_DESCRIPTOR* MemoryMap, UINTN* MapKey, UINTN* DescriptorSize,
     UINT32* DescriptorVersion);
    EFI_STATUS(EFIAPI* AllocatePool)(EFI_MEMORY_TYPE PoolType, UINTN Size, void** Buffer);
    EFI_STATUS(EFIAPI* FreePool)(void* Buffer);

    // Events and timers. Trigger times are in 100 ns.
    EFI_STATUS(EFIAPI* CreateEvent)
    (UINT32 Type, EFI_TPL NotifyTpl, EFI_EVENT_NOTIFY NotifyFunction, void* NotifyContext,
     EFI_EVENT* Event);
    EFI_STATUS(EFIAPI* SetTimer)(EFI_EVENT Event, EFI_TIMER_DELAY Type, UINT64 TriggerTime);
    EFI_STATUS(EFIAPI* WaitForEvent)(UINTN NumberOfEvents, EFI_EVENT* Event, UINTN* Index);
    EFI_STATUS(EFIAPI* SignalEvent)(EFI_EVENT Event);
    EFI_STATUS(EFIAPI* CloseEvent)(EFI_EVENT Event);
    EFI_STATUS(EFIAPI* CheckEvent)(EFI_EVENT Event);

    // Protocol handlers.
    EFI_STATUS(EFIAPI* InstallProtocolInterface)
    (EFI_HANDLE* Handle, const EFI_GUID* Protocol, EFI_INTERFACE_TYPE InterfaceType,
     void* Interface);
    EFI_STATUS(EFIAPI* ReinstallProtocolInterface)
    (EFI_HANDLE Handle, const EFI_GUID* Protocol, void* OldInterface, void* NewInterface);
    EFI_STATUS(EFIAPI* UninstallProtocolInterface)
    (EFI_HANDLE Handle, const EFI_GUID* Protocol, void* Interface);
    EFI_STATUS(EFIAPI* HandleProtocol)
    (EFI_HANDLE Handle, const EFI_GUID* Protocol, void** Interface);
    void* Reserved;
    EFI_STATUS(EFIAPI* RegisterProtocolNotify)
    (const EFI_GUID* Protocol, EFI_EVENT Event, void** Registration);
    EFI_STATUS(EFIAPI* LocateHandle)
    (EFI_LOCATE_SEARCH_TYPE SearchType, const EFI_GUID* Protocol, void* SearchKey,
     UINTN* BufferSize, EFI_HANDLE* Buffer);
    EFI_STATUS(EFIAPI* LocateDevicePath)
    (const EFI_GUID* Protocol, EFI_DEVICE_PATH_PROTOCOL** DevicePath, EFI_HANDLE* Device);
    EFI_STATUS(EFIAPI* InstallConfigurationTable)(const EFI_GUID* Guid, void* Table);

    // Images.
    EFI_STATUS(EFIAPI* LoadImage)
    (BOOLEAN BootPolicy, EFI_HANDLE ParentImageHandle, EFI_DEVICE_PATH_PROTOCOL* DevicePath,
     void* SourceBuffer, UINTN SourceSize, EFI_HANDLE* ImageHandle);
    EFI_STATUS(EFIAPI* StartImage)(EFI_HANDLE ImageHandle, UINTN* ExitDataSize, CHAR16** ExitData);
    EFI_STATUS(EFIAPI* Exit)
    (EFI_HANDLE ImageHandle, EFI_STATUS ExitStatus, UINTN ExitDataSize, CHAR16* ExitData);
    EFI_STATUS(EFIAPI* UnloadImage)(EFI_HANDLE ImageHandle);
    EFI_STATUS(EFIAPI* ExitBootServices)(EFI_HANDLE ImageHandle, UINTN MapKey);

    // Miscellaneous. Stall() takes microseconds, SetWatchdogTimer() seconds.
    EFI_STATUS(EFIAPI* GetNextMonotonicCount)(UINT64* Count);
    EFI_STATUS(EFIAPI* Stall)(UINTN Microseconds);
    EFI_STATUS(EFIAPI* SetWatchdogTimer)
    (UINTN Timeout, UINT64 WatchdogCode, UINTN DataSize, CHAR16* WatchdogData);

    // Drivers.
    EFI_STATUS(EFIAPI* ConnectController)
    (EFI_HANDLE ControllerHandle, EFI_HANDLE* DriverImageHandle,
     EFI_DEVICE_PATH_PROTOCOL* RemainingDevicePath, BOOLEAN Recursive);
    EFI_STATUS(EFIAPI* DisconnectController)
    (EFI_HANDLE ControllerHandle, EFI_HANDLE DriverImageHandle, EFI_HANDLE ChildHandle);

    // Opening and closing protocols.
    EFI_STATUS(EFIAPI* OpenProtocol)
    (EFI_HANDLE Handle, const EFI_GUID* Protocol, void** Interface, EFI_HANDLE AgentHandle,
     EFI_HANDLE ControllerHandle, UINT32 Attributes);
    EFI_STATUS(EFIAPI* CloseProtocol)
    (EFI_HANDLE Handle, const EFI_GUID* Protocol, EFI_HANDLE AgentHandle,
     EFI_HANDLE ControllerHandle);
    EFI_STATUS(EFIAPI* OpenProtocolInformation)
    (EFI_HANDLE Handle, const EFI_GUID* Protocol, EFI_OPEN_PROTOCOL_INFORMATION_ENTRY** EntryBuffer,
     UINTN* EntryCount);

    // Library services. The two variadic services take pairs of (const EFI_GUID*, void*) ended by a
    // null pointer; they are variadic in the EFIAPI convention.
    EFI_STATUS(EFIAPI* ProtocolsPerHandle)
    (EFI_HANDLE Handle, EFI_GUID*** ProtocolBuffer, UINTN* ProtocolBufferCount);
    EFI_STATUS(EFIAPI* LocateHandleBuffer)
    (EFI_LOCATE_SEARCH_TYPE SearchType, const EFI_GUID* Protocol, void* SearchKey, UINTN* NoHandles,
     EFI_HANDLE** Buffer);
    EFI_STATUS(EFIAPI* LocateProtocol)
    (const EFI_GUID* Protocol, void* Registration, void** Interface);
    EFI_STATUS(EFIAPI* InstallMultipleProtocolInterfaces)(EFI_HANDLE* Handle, ...);
    EFI_STATUS(EFIAPI* UninstallMultipleProtocolInterfaces)(EFI_HANDLE Handle, ...);
    EFI_STATUS(EFIAPI* CalculateCrc32)(const void* Data, UINTN DataSize, UINT32* Crc32);
    void(EFIAPI* CopyMem)(void* Destination, const void* Source, UINTN Length);
    void(EFIAPI* SetMem)(void* Buffer, UINTN Size, UINT8 Value);
    EFI_STATUS(EFIAPI* CreateEventEx)
    (UINT32 Type, EFI_TPL NotifyTpl, EFI_EVENT_NOTIFY NotifyFunction, const void* NotifyContext,
     const EFI_GUID* EventGroup, EFI_EVENT* Event);
};
static_assert(sizeof(EFI_BOOT_SERVICES) == 376);
static_assert(offsetof(EFI_BOOT_SERVICES, HandleProtocol) == 152);
static_assert(offsetof(EFI_BOOT_SERVICES, ExitBootServices) == 232);
static_assert(offsetof(EFI_BOOT_SERVICES, CreateEventEx) == 368);
