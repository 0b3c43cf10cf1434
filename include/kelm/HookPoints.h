// Hook points: GUIDs under which BDS installs a null protocol on its hook handle at fixed places of
// the boot. A driver that registers an installation notification on one of them runs its code
// there. A hook that is signalled again is uninstalled first, so that every signal notifies.
#pragma once

#include "uefi/Base.h"

// The main sequence, in the order of a boot.

// PCI enumeration begins: nothing is connected yet.
// {C5FEEF6F-1B0A-463F-9A22-1DEDBBA2D5ED}
inline constexpr EFI_GUID gKelmHookPciEnumerationGuid = {
    0xC5FEEF6F, 0x1B0A, 0x463F, {0x9A, 0x22, 0x1D, 0xED, 0xBB, 0xA2, 0xD5, 0xED}};
// The consoles are about to be built and connected.
// {A6994392-BD37-4429-B429-5F7E67BC0A32}
inline constexpr EFI_GUID gKelmHookBeforeConsolesGuid = {
    0xA6994392, 0xBD37, 0x4429, {0xB4, 0x29, 0x5F, 0x7E, 0x67, 0xBC, 0x0A, 0x32}};
// The consoles are connected and text wraps at its width.
// {2C73FFA0-F99C-484C-A497-C766A8C6E25B}
inline constexpr EFI_GUID gKelmHookAfterConsolesGuid = {
    0x2C73FFA0, 0xF99C, 0x484C, {0xA4, 0x97, 0xC7, 0x66, 0xA8, 0xC6, 0xE2, 0x5B}};
// All controllers are about to be connected.
// {B91E6E10-F0A7-4F6C-AA6C-90C127D1D4DE}
inline constexpr EFI_GUID gKelmHookBeforeConnectAllGuid = {
    0xB91E6E10, 0xF0A7, 0x4F6C, {0xAA, 0x6C, 0x90, 0xC1, 0x27, 0xD1, 0xD4, 0xDE}};
// All controllers are connected.
// {F08017AB-AE01-484E-8680-984A5171B20D}
inline constexpr EFI_GUID gKelmHookAfterConnectAllGuid = {
    0xF08017AB, 0xAE01, 0x484E, {0x86, 0x80, 0x98, 0x4A, 0x51, 0x71, 0xB2, 0x0D}};
// Only in a boot that applies a configuration: devices are connected, options are not enumerated.
// {336836D8-4974-954E-344B-E08EA8D2CBD9}
inline constexpr EFI_GUID gKelmHookConfigurationBootGuid = {
    0x336836D8, 0x4974, 0x954E, {0x34, 0x4B, 0xE0, 0x8E, 0xA8, 0xD2, 0xCB, 0xD9}};
// The controller has been told of the end of POST.
// {A1B056D9-527F-4C83-8848-02109875CD98}
inline constexpr EFI_GUID gKelmHookEndOfPostGuid = {
    0xA1B056D9, 0x527F, 0x4C83, {0x88, 0x48, 0x02, 0x10, 0x98, 0x75, 0xCD, 0x98}};
// The hot key is about to be acted on.
// {627E3726-1EF1-407C-CF1C-EA329542DE94}
inline constexpr EFI_GUID gKelmHookProcessHotKeysGuid = {
    0x627E3726, 0x1EF1, 0x407C, {0xCF, 0x1C, 0xEA, 0x32, 0x95, 0x42, 0xDE, 0x94}};
// The default boot loop is about to begin.
// {3F4F84CB-5800-457A-9F7F-CA0BA64BB2F4}
inline constexpr EFI_GUID gKelmHookBeforeDefaultBootGuid = {
    0x3F4F84CB, 0x5800, 0x457A, {0x9F, 0x7F, 0xCA, 0x0B, 0xA6, 0x4B, 0xB2, 0xF4}};

// Entries into tools.

// The Forgeline tool is about to be started, with its user interface or for a configuration.
// {710A34E5-F1B1-4BAE-275B-0EC2061EF6A1}
inline constexpr EFI_GUID gKelmHookBeforeForgelineGuid = {
    0x710A34E5, 0xF1B1, 0x4BAE, {0x27, 0x5B, 0x0E, 0xC2, 0x06, 0x1E, 0xF6, 0xA1}};
// Setup is about to be entered.
// {F3E07FB0-CC19-44A9-BA95-8B65D86A0E9C}
inline constexpr EFI_GUID gKelmHookBeforeSetupGuid = {
    0xF3E07FB0, 0xCC19, 0x44A9, {0xBA, 0x95, 0x8B, 0x65, 0xD8, 0x6A, 0x0E, 0x9C}};
// Setup has been left.
// {321A6F5C-DE84-49FB-896C-5EB1726ACD00}
inline constexpr EFI_GUID gKelmHookAfterSetupGuid = {
    0x321A6F5C, 0xDE84, 0x49FB, {0x89, 0x6C, 0x5E, 0xB1, 0x72, 0x6A, 0xCD, 0x00}};
// The boot menu is about to be entered.
// {E51BA11F-B844-4B82-B703-0FA77DE0B551}
inline constexpr EFI_GUID gKelmHookBeforeBootManagerGuid = {
    0xE51BA11F, 0xB844, 0x4B82, {0xB7, 0x03, 0x0F, 0xA7, 0x7D, 0xE0, 0xB5, 0x51}};
// The boot menu has been left.
// {F733FD1A-0DEE-453A-B995-ACB93D3E669A}
inline constexpr EFI_GUID gKelmHookAfterBootManagerGuid = {
    0xF733FD1A, 0x0DEE, 0x453A, {0xB9, 0x95, 0xAC, 0xB9, 0x3D, 0x3E, 0x66, 0x9A}};

// Inside operations.

// Boot options are about to be enumerated.
// {DD8AF83B-5EA3-4315-989B-2D6DD6B7FC44}
inline constexpr EFI_GUID gKelmHookBeforeEnumerateBootOptionsGuid = {
    0xDD8AF83B, 0x5EA3, 0x4315, {0x98, 0x9B, 0x2D, 0x6D, 0xD6, 0xB7, 0xFC, 0x44}};
// Boot options are enumerated and their orders settled; also signalled when that failed.
// {7DF9094E-495F-4F84-8B35-1D13957BC320}
inline constexpr EFI_GUID gKelmHookAfterEnumerateBootOptionsGuid = {
    0x7DF9094E, 0x495F, 0x4F84, {0x8B, 0x35, 0x1D, 0x13, 0x95, 0x7B, 0xC3, 0x20}};
// Unhealthy drivers have been reported and repaired.
// {C4F4FFE9-238E-42A1-98F4-A786D17A2CCF}
inline constexpr EFI_GUID gKelmHookAfterDriverHealthGuid = {
    0xC4F4FFE9, 0x238E, 0x42A1, {0x98, 0xF4, 0xA7, 0x86, 0xD1, 0x7A, 0x2C, 0xCF}};
