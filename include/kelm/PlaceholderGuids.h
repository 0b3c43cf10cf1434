// Devices that exist in the boot order before (or without) any hardware: each is a handle whose
// device path is one hardware vendor node with the GUID below and an end node, 24 bytes in all.
#pragma once

#include "uefi/Base.h"

// Carried, with a null interface, by every network boot device handle.
// {C3D5E845-0E1A-4A3D-97D3-9EA156095A25}
inline constexpr EFI_GUID gKelmNetworkBootDeviceMarkerGuid = {
    0xC3D5E845, 0x0E1A, 0x4A3D, {0x97, 0xD3, 0x9E, 0xA1, 0x56, 0x09, 0x5A, 0x25}};

// Network boot devices.
// {3A191845-5F86-4E78-8FCE-C4CFF59F9DAA}
inline constexpr EFI_GUID gKelmPxeDev1Guid = {
    0x3A191845, 0x5F86, 0x4E78, {0x8F, 0xCE, 0xC4, 0xCF, 0xF5, 0x9F, 0x9D, 0xAA}};
// {D227C733-F75F-4341-B749-4D1759EC8538}
inline constexpr EFI_GUID gKelmPxeDev2Guid = {
    0xD227C733, 0xF75F, 0x4341, {0xB7, 0x49, 0x4D, 0x17, 0x59, 0xEC, 0x85, 0x38}};
// {56E94A54-7C81-443A-BB9F-C0D240845F54}
inline constexpr EFI_GUID gKelmPxeDev3Guid = {
    0x56E94A54, 0x7C81, 0x443A, {0xBB, 0x9F, 0xC0, 0xD2, 0x40, 0x84, 0x5F, 0x54}};
// {D5A9B8FE-4303-4BDA-A6FC-1ACA23B5A2ED}
inline constexpr EFI_GUID gKelmPxeDev4Guid = {
    0xD5A9B8FE, 0x4303, 0x4BDA, {0xA6, 0xFC, 0x1A, 0xCA, 0x23, 0xB5, 0xA2, 0xED}};
// {05FE3853-E996-448C-D5F6-1DE6984C83AB}
inline constexpr EFI_GUID gKelmPxeDev5Guid = {
    0x05FE3853, 0xE996, 0x448C, {0xD5, 0xF6, 0x1D, 0xE6, 0x98, 0x4C, 0x83, 0xAB}};
// {5A65E082-EB9E-4519-6302-9F4BB33DE48C}
inline constexpr EFI_GUID gKelmPxeDev6Guid = {
    0x5A65E082, 0xEB9E, 0x4519, {0x63, 0x02, 0x9F, 0x4B, 0xB3, 0x3D, 0xE4, 0x8C}};
// {45542C13-E30C-4823-EB3A-E77C82C06A87}
inline constexpr EFI_GUID gKelmPxeDev7Guid = {
    0x45542C13, 0xE30C, 0x4823, {0xEB, 0x3A, 0xE7, 0x7C, 0x82, 0xC0, 0x6A, 0x87}};
// {19EE78EE-DD5B-48C2-20A0-B5BD41BABD8D}
inline constexpr EFI_GUID gKelmPxeDev8Guid = {
    0x19EE78EE, 0xDD5B, 0x48C2, {0x20, 0xA0, 0xB5, 0xBD, 0x41, 0xBA, 0xBD, 0x8D}};
// {BC9CF5E1-2100-4B8D-D2C3-E911301E72A4}
inline constexpr EFI_GUID gKelmPxeDev9Guid = {
    0xBC9CF5E1, 0x2100, 0x4B8D, {0xD2, 0xC3, 0xE9, 0x11, 0x30, 0x1E, 0x72, 0xA4}};
// {C40E2E6D-6A29-4516-50B8-B790AE9A439E}
inline constexpr EFI_GUID gKelmPxeDev10Guid = {
    0xC40E2E6D, 0x6A29, 0x4516, {0x50, 0xB8, 0xB7, 0x90, 0xAE, 0x9A, 0x43, 0x9E}};
// {BE9F0F73-CBA7-49DA-74D0-028E786421BD}
inline constexpr EFI_GUID gKelmPxeDev11Guid = {
    0xBE9F0F73, 0xCBA7, 0x49DA, {0x74, 0xD0, 0x02, 0x8E, 0x78, 0x64, 0x21, 0xBD}};
// {7863D82E-1531-4D1E-6AA3-6DF6DD4F9791}
inline constexpr EFI_GUID gKelmPxeDev12Guid = {
    0x7863D82E, 0x1531, 0x4D1E, {0x6A, 0xA3, 0x6D, 0xF6, 0xDD, 0x4F, 0x97, 0x91}};
// {C23D619B-BBD9-4F41-7295-C163EE1038A8}
inline constexpr EFI_GUID gKelmPxeDev13Guid = {
    0xC23D619B, 0xBBD9, 0x4F41, {0x72, 0x95, 0xC1, 0x63, 0xEE, 0x10, 0x38, 0xA8}};
// {F2759FAC-DAD0-486A-F757-D89EDDF51692}
inline constexpr EFI_GUID gKelmPxeDev14Guid = {
    0xF2759FAC, 0xDAD0, 0x486A, {0xF7, 0x57, 0xD8, 0x9E, 0xDD, 0xF5, 0x16, 0x92}};
// {A6F44A75-6225-4444-F499-B8C050DA1EB2}
inline constexpr EFI_GUID gKelmPxeDev15Guid = {
    0xA6F44A75, 0x6225, 0x4444, {0xF4, 0x99, 0xB8, 0xC0, 0x50, 0xDA, 0x1E, 0xB2}};
// {6BA89DF0-7369-48C3-510B-26CD4497A8AB}
inline constexpr EFI_GUID gKelmPxeDev16Guid = {
    0x6BA89DF0, 0x7369, 0x48C3, {0x51, 0x0B, 0x26, 0xCD, 0x44, 0x97, 0xA8, 0xAB}};
// {986D1755-B9D0-4F8D-A0DA-D1DB18672045}
inline constexpr EFI_GUID gKelmHttpDev1Guid = {
    0x986D1755, 0xB9D0, 0x4F8D, {0xA0, 0xDA, 0xD1, 0xDB, 0x18, 0x67, 0x20, 0x45}};
// {B70F5F85-BAC8-4AE1-9707-5B1A50286C58}
inline constexpr EFI_GUID gKelmHttpDev2Guid = {
    0xB70F5F85, 0xBAC8, 0x4AE1, {0x97, 0x07, 0x5B, 0x1A, 0x50, 0x28, 0x6C, 0x58}};
// {C8B0CDEC-FCF3-489C-B016-BF90ACB0D219}
inline constexpr EFI_GUID gKelmHttpDev3Guid = {
    0xC8B0CDEC, 0xFCF3, 0x489C, {0xB0, 0x16, 0xBF, 0x90, 0xAC, 0xB0, 0xD2, 0x19}};
// {C272451E-E20D-489C-AD10-3DD51C425F64}
inline constexpr EFI_GUID gKelmHttpDev4Guid = {
    0xC272451E, 0xE20D, 0x489C, {0xAD, 0x10, 0x3D, 0xD5, 0x1C, 0x42, 0x5F, 0x64}};
// {8A0A35D5-7677-4AE3-BA6E-20895D207DE1}
inline constexpr EFI_GUID gKelmIscsiDev1Guid = {
    0x8A0A35D5, 0x7677, 0x4AE3, {0xBA, 0x6E, 0x20, 0x89, 0x5D, 0x20, 0x7D, 0xE1}};
// {4C4867BE-AE8D-4BC7-B8D9-9B1EDF06F345}
inline constexpr EFI_GUID gKelmNvmeofSubsys1Guid = {
    0x4C4867BE, 0xAE8D, 0x4BC7, {0xB8, 0xD9, 0x9B, 0x1E, 0xDF, 0x06, 0xF3, 0x45}};
// {6371F8A3-D4E4-43E8-BD5B-152969D975C4}
inline constexpr EFI_GUID gKelmNvmeofSubsys2Guid = {
    0x6371F8A3, 0xD4E4, 0x43E8, {0xBD, 0x5B, 0x15, 0x29, 0x69, 0xD9, 0x75, 0xC4}};
// {0ECFE123-30CF-4BE2-B48F-5314B561266A}
inline constexpr EFI_GUID gKelmNvmeofSubsys3Guid = {
    0x0ECFE123, 0x30CF, 0x4BE2, {0xB4, 0x8F, 0x53, 0x14, 0xB5, 0x61, 0x26, 0x6A}};
// {B736518D-933D-4D85-9881-CA2DD7308243}
inline constexpr EFI_GUID gKelmNvmeofSubsys4Guid = {
    0xB736518D, 0x933D, 0x4D85, {0x98, 0x81, 0xCA, 0x2D, 0xD7, 0x30, 0x82, 0x43}};

enum class NetworkBootKind : UINT8 { Pxe, Http, Iscsi, Nvmeof };

struct NetworkBootPlaceholder {
    NetworkBootKind kind;
    UINT8 number; // from 1, within its kind
    const EFI_GUID* guid;
    const CHAR16* prefix; // of the device's settings
};

// All network boot devices, in the order in which their handles are installed.
inline constexpr NetworkBootPlaceholder kNetworkBootPlaceholders[] = {
    {NetworkBootKind::Pxe, 1, &gKelmPxeDev1Guid, u"PxeDev1"},
    {NetworkBootKind::Pxe, 2, &gKelmPxeDev2Guid, u"PxeDev2"},
    {NetworkBootKind::Pxe, 3, &gKelmPxeDev3Guid, u"PxeDev3"},
    {NetworkBootKind::Pxe, 4, &gKelmPxeDev4Guid, u"PxeDev4"},
    {NetworkBootKind::Pxe, 5, &gKelmPxeDev5Guid, u"PxeDev5"},
    {NetworkBootKind::Pxe, 6, &gKelmPxeDev6Guid, u"PxeDev6"},
    {NetworkBootKind::Pxe, 7, &gKelmPxeDev7Guid, u"PxeDev7"},
    {NetworkBootKind::Pxe, 8, &gKelmPxeDev8Guid, u"PxeDev8"},
    {NetworkBootKind::Pxe, 9, &gKelmPxeDev9Guid, u"PxeDev9"},
    {NetworkBootKind::Pxe, 10, &gKelmPxeDev10Guid, u"PxeDev10"},
    {NetworkBootKind::Pxe, 11, &gKelmPxeDev11Guid, u"PxeDev11"},
    {NetworkBootKind::Pxe, 12, &gKelmPxeDev12Guid, u"PxeDev12"},
    {NetworkBootKind::Pxe, 13, &gKelmPxeDev13Guid, u"PxeDev13"},
    {NetworkBootKind::Pxe, 14, &gKelmPxeDev14Guid, u"PxeDev14"},
    {NetworkBootKind::Pxe, 15, &gKelmPxeDev15Guid, u"PxeDev15"},
    {NetworkBootKind::Pxe, 16, &gKelmPxeDev16Guid, u"PxeDev16"},
    {NetworkBootKind::Http, 1, &gKelmHttpDev1Guid, u"HttpDev1"},
    {NetworkBootKind::Http, 2, &gKelmHttpDev2Guid, u"HttpDev2"},
    {NetworkBootKind::Http, 3, &gKelmHttpDev3Guid, u"HttpDev3"},
    {NetworkBootKind::Http, 4, &gKelmHttpDev4Guid, u"HttpDev4"},
    {NetworkBootKind::Iscsi, 1, &gKelmIscsiDev1Guid, u"IscsiDev1"},
    {NetworkBootKind::Nvmeof, 1, &gKelmNvmeofSubsys1Guid, u"NvmeofSubsys1"},
    {NetworkBootKind::Nvmeof, 2, &gKelmNvmeofSubsys2Guid, u"NvmeofSubsys2"},
    {NetworkBootKind::Nvmeof, 3, &gKelmNvmeofSubsys3Guid, u"NvmeofSubsys3"},
    {NetworkBootKind::Nvmeof, 4, &gKelmNvmeofSubsys4Guid, u"NvmeofSubsys4"},
};
inline constexpr UINTN kNetworkBootPlaceholderCount = 25;
static_assert(sizeof(kNetworkBootPlaceholders) / sizeof(kNetworkBootPlaceholders[0]) ==
              kNetworkBootPlaceholderCount);

// The generic USB boot device: stands for the first external medium that can boot.
// {0C8CB6CC-13AE-45F4-BBCD-6A25E98AC250}
inline constexpr EFI_GUID gKelmGenericUsbBootGuid = {
    0x0C8CB6CC, 0x13AE, 0x45F4, {0xBB, 0xCD, 0x6A, 0x25, 0xE9, 0x8A, 0xC2, 0x50}};

// The group of legacy hard disks, as the first node of a legacy option's path.
// {D6C0639F-C705-4EB9-AA4F-5802D8823DE6}
inline constexpr EFI_GUID gKelmLegacyHardDiskGuid = {
    0xD6C0639F, 0xC705, 0x4EB9, {0xAA, 0x4F, 0x58, 0x02, 0xD8, 0x82, 0x3D, 0xE6}};
