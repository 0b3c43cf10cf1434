// Device path helpers that the platform publishes as protocols: conversion to and from text and the
// utilities (UEFI 2.10, sections 10.5 and 10.6). Everything they return comes from pool and is
// freed by the caller; null means out of memory or a bad argument.
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

inline constexpr EFI_GUID gEfiDevicePathToTextProtocolGuid = {
    0x8B843E20, 0x8132, 0x4852, {0x90, 0xCC, 0x55, 0x1A, 0x4E, 0x4A, 0x7F, 0x1C}};
inline constexpr EFI_GUID gEfiDevicePathFromTextProtocolGuid = {
    0x05C99A21, 0xC70F, 0x4AD2, {0x8A, 0x5F, 0x35, 0xDF, 0x33, 0x43, 0xF5, 0x1E}};
inline constexpr EFI_GUID gEfiDevicePathUtilitiesProtocolGuid = {
    0x0379BE4E, 0xD706, 0x437D, {0xB0, 0x37, 0xED, 0xB8, 0x2F, 0xB7, 0x72, 0xA4}};

struct EFI_DEVICE_PATH_TO_TEXT_PROTOCOL {
    CHAR16*(EFIAPI* ConvertDeviceNodeToText)(const EFI_DEVICE_PATH_PROTOCOL* DeviceNode,
                                             BOOLEAN DisplayOnly, BOOLEAN AllowShortcuts);
    CHAR16*(EFIAPI* ConvertDevicePathToText)(const EFI_DEVICE_PATH_PROTOCOL* DevicePath,
                                             BOOLEAN DisplayOnly, BOOLEAN AllowShortcuts);
};
static_assert(sizeof(EFI_DEVICE_PATH_TO_TEXT_PROTOCOL) == 16);

struct EFI_DEVICE_PATH_FROM_TEXT_PROTOCOL {
    EFI_DEVICE_PATH_PROTOCOL*(EFIAPI* ConvertTextToDeviceNode)(const CHAR16* TextDeviceNode);
    EFI_DEVICE_PATH_PROTOCOL*(EFIAPI* ConvertTextToDevicePath)(const CHAR16* TextDevicePath);
};
static_assert(sizeof(EFI_DEVICE_PATH_FROM_TEXT_PROTOCOL) == 16);

struct EFI_DEVICE_PATH_UTILITIES_PROTOCOL {
    UINTN(EFIAPI* GetDevicePathSize)(const EFI_DEVICE_PATH_PROTOCOL* DevicePath);
    EFI_DEVICE_PATH_PROTOCOL*(EFIAPI* DuplicateDevicePath)(
        const EFI_DEVICE_PATH_PROTOCOL* DevicePath);
    EFI_DEVICE_PATH_PROTOCOL*(EFIAPI* AppendDevicePath)(const EFI_DEVICE_PATH_PROTOCOL* Src1,
                                                        const EFI_DEVICE_PATH_PROTOCOL* Src2);
    EFI_DEVICE_PATH_PROTOCOL*(EFIAPI* AppendDeviceNode)(const EFI_DEVICE_PATH_PROTOCOL* DevicePath,
                                                        const EFI_DEVICE_PATH_PROTOCOL* DeviceNode);
    EFI_DEVICE_PATH_PROTOCOL*(EFIAPI* AppendDevicePathInstance)(
        const EFI_DEVICE_PATH_PROTOCOL* DevicePath,
        const EFI_DEVICE_PATH_PROTOCOL* DevicePathInstance);
    EFI_DEVICE_PATH_PROTOCOL*(EFIAPI* GetNextDevicePathInstance)(
        EFI_DEVICE_PATH_PROTOCOL** DevicePathInstance, UINTN* DevicePathInstanceSize);
    BOOLEAN(EFIAPI* IsDevicePathMultiInstance)(const EFI_DEVICE_PATH_PROTOCOL* DevicePath);
    EFI_DEVICE_PATH_PROTOCOL*(EFIAPI* CreateDeviceNode)(UINT8 NodeType, UINT8 NodeSubType,
                                                        UINT16 NodeLength);
};
static_assert(sizeof(EFI_DEVICE_PATH_UTILITIES_PROTOCOL) == 64);

template <>
struct ProtocolGuid<EFI_DEVICE_PATH_TO_TEXT_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiDevicePathToTextProtocolGuid;
};

template <>
struct ProtocolGuid<EFI_DEVICE_PATH_FROM_TEXT_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiDevicePathFromTextProtocolGuid;
};

template <>
struct ProtocolGuid<EFI_DEVICE_PATH_UTILITIES_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiDevicePathUtilitiesProtocolGuid;
};
