// GUID HOBs that earlier phases leave for BDS. Data sizes are in bytes, without the HOB header.
#pragma once

#include "uefi/Base.h"

// One byte or more; the first is non-zero when page 0 is kept unmapped to catch null pointers.
// {528F01C0-6F61-4366-B878-FA2D73B409EC}
inline constexpr EFI_GUID gKelmNullPageDetectionHobGuid = {
    0x528F01C0, 0x6F61, 0x4366, {0xB8, 0x78, 0xFA, 0x2D, 0x73, 0xB4, 0x09, 0xEC}};

// Present when the board has the internal M.2 slots; the data is not looked at.
// {C3FD9399-0E95-4277-4B93-F8054B642412}
inline constexpr EFI_GUID gKelmInternalM2SlotsHobGuid = {
    0xC3FD9399, 0x0E95, 0x4277, {0x4B, 0x93, 0xF8, 0x05, 0x4B, 0x64, 0x24, 0x12}};

// Records of memory type and pages that were pre-allocated in this boot. The same GUID names the
// configuration table of what was used, and the namespace of the variable for the next boot.
// {4C19049F-4137-4DD3-9C10-8B97A83FFDFA}
inline constexpr EFI_GUID gKelmMemoryTypeInformationGuid = {
    0x4C19049F, 0x4137, 0x4DD3, {0x9C, 0x10, 0x8B, 0x97, 0xA8, 0x3F, 0xFD, 0xFA}};

// Configuration tables that were built before DXE: the data is the table's address (UINT64), and
// BDS installs it in the system table under the HOB's own GUID, which is the standard one.
// {8868E871-E4F1-11D3-BC22-0080C73C8881}
inline constexpr EFI_GUID gKelmAcpiTableHobGuid = {
    0x8868E871, 0xE4F1, 0x11D3, {0xBC, 0x22, 0x00, 0x80, 0xC7, 0x3C, 0x88, 0x81}};
// {EB9D2D31-2D88-11D3-9A16-0090273FC14D}
inline constexpr EFI_GUID gKelmSmbiosTableHobGuid = {
    0xEB9D2D31, 0x2D88, 0x11D3, {0x9A, 0x16, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
// {F2FD1544-9794-4A2C-992E-E5BBCF20E394}
inline constexpr EFI_GUID gKelmSmbios3TableHobGuid = {
    0xF2FD1544, 0x9794, 0x4A2C, {0x99, 0x2E, 0xE5, 0xBB, 0xCF, 0x20, 0xE3, 0x94}};
// {EB9D2D2F-2D88-11D3-9A16-0090273FC14D}
inline constexpr EFI_GUID gKelmMpsTableHobGuid = {
    0xEB9D2D2F, 0x2D88, 0x11D3, {0x9A, 0x16, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};

inline constexpr const EFI_GUID* kConfigurationTableHobs[] = {
    &gKelmAcpiTableHobGuid,
    &gKelmSmbiosTableHobGuid,
    &gKelmSmbios3TableHobGuid,
    &gKelmMpsTableHobGuid,
};
