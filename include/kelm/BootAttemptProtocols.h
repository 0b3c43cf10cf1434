// Two services that are told of every boot attempt, and one that boots the service partition of a
// system in BIOS boot mode. Missing providers are skipped, statuses of the first two are not looked
// at.
#pragma once

#include "uefi/Base.h"

// {072F916F-4E6F-41F0-20CD-AA1B9D6BA889}
inline constexpr EFI_GUID gKelmUefiBootStartProtocolGuid = {
    0x072F916F, 0x4E6F, 0x41F0, {0x20, 0xCD, 0xAA, 0x1B, 0x9D, 0x6B, 0xA8, 0x89}};
// {ABD42415-C454-4718-BE06-4123E143685A}
inline constexpr EFI_GUID gKelmReadyToBootNotifyProtocolGuid = {
    0xABD42415, 0xC454, 0x4718, {0xBE, 0x06, 0x41, 0x23, 0xE1, 0x43, 0x68, 0x5A}};
// {995BCF95-D105-4B64-9793-C7304A40451C}
inline constexpr EFI_GUID gKelmLegacyPartitionBootProtocolGuid = {
    0x995BCF95, 0xD105, 0x4B64, {0x97, 0x93, 0xC7, 0x30, 0x4A, 0x40, 0x45, 0x1C}};

struct KelmUefiBootStartProtocol {
    void* Reserved0;
    // A boot attempt in UEFI mode begins; the first thing of the attempt.
    EFI_STATUS(EFIAPI* BootStarting)(KelmUefiBootStartProtocol* This);
};
static_assert(sizeof(KelmUefiBootStartProtocol) == 2 * sizeof(void*));

struct KelmReadyToBootNotifyProtocol {
    void* Reserved0;
    void* Reserved1;
    void* Reserved2;
    void* Reserved3;
    // The controller's ready-to-boot step is done and its SMA interface is about to be closed.
    // Called twice in an attempt.
    EFI_STATUS(EFIAPI* ReadyToBoot)(KelmReadyToBootNotifyProtocol* This);
};
static_assert(sizeof(KelmReadyToBootNotifyProtocol) == 5 * sizeof(void*));

struct KelmLegacyPartitionBootProtocol {
    // Boots the partition on this handle.
    EFI_STATUS(EFIAPI* Boot)(KelmLegacyPartitionBootProtocol* This, EFI_HANDLE partition);
};
static_assert(sizeof(KelmLegacyPartitionBootProtocol) == 1 * sizeof(void*));

template <>
struct ProtocolGuid<KelmUefiBootStartProtocol> {
    static constexpr const EFI_GUID& value = gKelmUefiBootStartProtocolGuid;
};
template <>
struct ProtocolGuid<KelmReadyToBootNotifyProtocol> {
    static constexpr const EFI_GUID& value = gKelmReadyToBootNotifyProtocolGuid;
};
template <>
struct ProtocolGuid<KelmLegacyPartitionBootProtocol> {
    static constexpr const EFI_GUID& value = gKelmLegacyPartitionBootProtocolGuid;
};
