// The platform's list of consoles, and of devices that are to be connected first. The provider owns
// both lists; BDS only reads them.
#pragma once

#include "uefi/Base.h"

#include <cstddef>

struct EFI_DEVICE_PATH_PROTOCOL;

// {7CDA053A-1E7B-4A4D-B288-0E67908515F5}
inline constexpr EFI_GUID gKelmPlatformConsoleProtocolGuid = {
    0x7CDA053A, 0x1E7B, 0x4A4D, {0xB2, 0x88, 0x0E, 0x67, 0x90, 0x85, 0x15, 0xF5}};

// Connect types, a bit mask.
inline constexpr UINTN kConsoleOut = 0x1;
inline constexpr UINTN kConsoleStdErr = 0x2;
inline constexpr UINTN kConsoleIn = 0x4;

// The table ends at the first entry whose device path is null.
struct PlatformConsoleEntry {
    EFI_DEVICE_PATH_PROTOCOL* DevicePath;
    UINTN ConnectType;
};
static_assert(sizeof(PlatformConsoleEntry) == 16);
static_assert(offsetof(PlatformConsoleEntry, ConnectType) == 8);

struct KelmPlatformConsoleProtocol {
    void* Reserved0;
    void* Reserved1;
    // *table is the console table; null or an error: the platform names no consoles.
    EFI_STATUS(EFIAPI* GetPlatformConsole)
    (KelmPlatformConsoleProtocol* This, PlatformConsoleEntry** table);
    // *sequence is a null-terminated list of device paths to connect before everything else.
    EFI_STATUS(EFIAPI* GetPlatformConnectSequence)
    (KelmPlatformConsoleProtocol* This, EFI_DEVICE_PATH_PROTOCOL*** sequence);
};
static_assert(sizeof(KelmPlatformConsoleProtocol) == 4 * sizeof(void*));

template <>
struct ProtocolGuid<KelmPlatformConsoleProtocol> {
    static constexpr const EFI_GUID& value = gKelmPlatformConsoleProtocolGuid;
};
