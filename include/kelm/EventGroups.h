// Event groups and named events that BDS signals or listens to, besides the UEFI standard's own. A
// listener creates an event in the group; a signaller creates one, signals it and closes it.
#pragma once

#include "uefi/Base.h"

// Boot services are about to end. The same group as the UEFI standard's exit-boot-services group.
// {27ABF055-B1B8-4C26-8048-748F37BAA2DF}
inline constexpr EFI_GUID gKelmExitBootServicesGroupGuid = {
    0x27ABF055, 0xB1B8, 0x4C26, {0x80, 0x48, 0x74, 0x8F, 0x37, 0xBA, 0xA2, 0xDF}};
// End of DXE is over: every end-of-DXE listener has run. All zero: the platform does not use it.
// {701C2FBA-98E9-4184-9137-DE395F222AAE}
inline constexpr EFI_GUID gKelmAfterEndOfDxeGroupGuid = {
    0x701C2FBA, 0x98E9, 0x4184, {0x91, 0x37, 0xDE, 0x39, 0x5F, 0x22, 0x2A, 0xAE}};
// SMM is ready to lock and every listener has run. All zero: the platform does not use it.
// {1C5FDAF2-9FB3-431B-8ECD-B7D35CBEFAE9}
inline constexpr EFI_GUID gKelmAfterSmmReadyToLockGroupGuid = {
    0x1C5FDAF2, 0x9FB3, 0x431B, {0x8E, 0xCD, 0xB7, 0xD3, 0x5C, 0xBE, 0xFA, 0xE9}};
// The console variables are about to be rebuilt for legacy video.
// {21A862E4-5DE5-4D7E-A278-6A38102853BB}
inline constexpr EFI_GUID gKelmLegacyVideoConsoleEventGuid = {
    0x21A862E4, 0x5DE5, 0x4D7E, {0xA2, 0x78, 0x6A, 0x38, 0x10, 0x28, 0x53, 0xBB}};
// A redirection terminal is connected and is the console.
// {C4161E7A-9BD6-4E13-B5AD-18CA3061FEE4}
inline constexpr EFI_GUID gKelmConsoleRedirectionActiveGuid = {
    0xC4161E7A, 0x9BD6, 0x4E13, {0xB5, 0xAD, 0x18, 0xCA, 0x30, 0x61, 0xFE, 0xE4}};
// The SMBIOS tables are complete.
// {B787B2E7-6900-490D-9E1D-C7F9FB429FB5}
inline constexpr EFI_GUID gKelmSmbiosTableInstallationCompleteGuid = {
    0xB787B2E7, 0x6900, 0x490D, {0x9E, 0x1D, 0xC7, 0xF9, 0xFB, 0x42, 0x9F, 0xB5}};
