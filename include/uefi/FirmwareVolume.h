// Firmware volumes as they lie in memory: volume, file and section headers, and the block protocol
// beneath them (PI 1.8, volume 3, sections 3.2 and 3.4).
#pragma once

#include "uefi/Base.h"
#include "uefi/FirmwareVolume2.h"

inline constexpr EFI_GUID gEfiFirmwareFileSystem2Guid = {
    0x8C8CE578, 0x8A3D, 0x4F1C, {0x99, 0x35, 0x89, 0x61, 0x85, 0xC3, 0x2D, 0xD3}};
inline constexpr EFI_GUID gEfiFirmwareFileSystem3Guid = {
    0x5473C07A, 0x3DCB, 0x4DCA, {0xBD, 0x6F, 0x1E, 0x96, 0x89, 0xE7, 0x34, 0x9A}};
inline constexpr EFI_GUID gEfiFirmwareVolumeBlock2ProtocolGuid = {
    0x8F644FA9, 0xE850, 0x4DB1, {0x9C, 0xE2, 0x0B, 0x44, 0x69, 0x8E, 0x8D, 0xA4}};

using EFI_FVB_ATTRIBUTES_2 = UINT32;

inline constexpr UINT32 EFI_FVH_SIGNATURE = 0x4856465Fu; // "_FVH"
inline constexpr UINT8 EFI_FVH_REVISION = 0x02;
inline constexpr EFI_FVB_ATTRIBUTES_2 EFI_FVB2_MEMORY_MAPPED = 0x00000400u;
inline constexpr EFI_FVB_ATTRIBUTES_2 EFI_FVB2_ERASE_POLARITY = 0x00000800u;
inline constexpr EFI_FVB_ATTRIBUTES_2 EFI_FVB2_ALIGNMENT = 0x001F0000u; // log2, bits 16-20

struct EFI_FV_BLOCK_MAP_ENTRY {
    UINT32 NumBlocks;
    UINT32 Length;
};
static_assert(sizeof(EFI_FV_BLOCK_MAP_ENTRY) == 8);

// Followed by the block map, ended by an entry of zeros; HeaderLength counts it. All 16-bit words
// of the header add up to zero.
struct EFI_FIRMWARE_VOLUME_HEADER {
    UINT8 ZeroVector[16];
    EFI_GUID FileSystemGuid;
    UINT64 FvLength; // of the whole volume
    UINT32 Signature;
    EFI_FVB_ATTRIBUTES_2 Attributes;
    UINT16 HeaderLength;
    UINT16 Checksum;
    UINT16 ExtHeaderOffset; // 0: none
    UINT8 Reserved;
    UINT8 Revision;
};
static_assert(sizeof(EFI_FIRMWARE_VOLUME_HEADER) == 56);

struct [[gnu::packed]] EFI_FIRMWARE_VOLUME_EXT_HEADER {
    EFI_GUID FvName;
    UINT32 ExtHeaderSize;
};
static_assert(sizeof(EFI_FIRMWARE_VOLUME_EXT_HEADER) == 20);

// File attributes and states. States are written by clearing or setting bits one after another, by
// the volume's erase polarity.
inline constexpr UINT8 FFS_ATTRIB_LARGE_FILE = 0x01;
inline constexpr UINT8 FFS_ATTRIB_DATA_ALIGNMENT_2 = 0x02;
inline constexpr UINT8 FFS_ATTRIB_FIXED = 0x04;
inline constexpr UINT8 FFS_ATTRIB_DATA_ALIGNMENT = 0x38;
inline constexpr UINT8 FFS_ATTRIB_CHECKSUM = 0x40;
inline constexpr UINT8 EFI_FILE_HEADER_CONSTRUCTION = 0x01;
inline constexpr UINT8 EFI_FILE_HEADER_VALID = 0x02;
inline constexpr UINT8 EFI_FILE_DATA_VALID = 0x04;
inline constexpr UINT8 EFI_FILE_MARKED_FOR_UPDATE = 0x08;
inline constexpr UINT8 EFI_FILE_DELETED = 0x10;
inline constexpr UINT8 EFI_FILE_HEADER_INVALID = 0x20;
inline constexpr UINT8 FFS_FIXED_CHECKSUM = 0xAA;

// Files start at multiples of 8 from the start of the volume.
struct [[gnu::packed]] EFI_FFS_FILE_HEADER {
    EFI_GUID Name;
    UINT8 HeaderChecksum;
    UINT8 FileChecksum;
    EFI_FV_FILETYPE Type;
    UINT8 Attributes;
    UINT8 Size[3]; // little-endian, header included
    UINT8 State;
};
static_assert(sizeof(EFI_FFS_FILE_HEADER) == 24);

// With FFS_ATTRIB_LARGE_FILE: Size is zero and ExtendedSize counts.
struct [[gnu::packed]] EFI_FFS_FILE_HEADER2 {
    EFI_FFS_FILE_HEADER Header;
    UINT64 ExtendedSize;
};
static_assert(sizeof(EFI_FFS_FILE_HEADER2) == 32);

// Sections start at multiples of 4 from the start of the first one. A Size of 0xFFFFFF means that a
// 32-bit size follows the header.
struct [[gnu::packed]] EFI_COMMON_SECTION_HEADER {
    UINT8 Size[3]; // little-endian, header included
    EFI_SECTION_TYPE Type;
};
static_assert(sizeof(EFI_COMMON_SECTION_HEADER) == 4);

struct EFI_FIRMWARE_VOLUME_BLOCK2_PROTOCOL {
    EFI_STATUS(EFIAPI* GetAttributes)
    (const EFI_FIRMWARE_VOLUME_BLOCK2_PROTOCOL* This, EFI_FVB_ATTRIBUTES_2* Attributes);
    EFI_STATUS(EFIAPI* SetAttributes)
    (const EFI_FIRMWARE_VOLUME_BLOCK2_PROTOCOL* This, EFI_FVB_ATTRIBUTES_2* Attributes);
    EFI_STATUS(EFIAPI* GetPhysicalAddress)
    (const EFI_FIRMWARE_VOLUME_BLOCK2_PROTOCOL* This, EFI_PHYSICAL_ADDRESS* Address);
    EFI_STATUS(EFIAPI* GetBlockSize)
    (const EFI_FIRMWARE_VOLUME_BLOCK2_PROTOCOL* This, EFI_LBA Lba, UINTN* BlockSize,
     UINTN* NumberOfBlocks);
    EFI_STATUS(EFIAPI* Read)
    (const EFI_FIRMWARE_VOLUME_BLOCK2_PROTOCOL* This, EFI_LBA Lba, UINTN Offset, UINTN* NumBytes,
     UINT8* Buffer);
    EFI_STATUS(EFIAPI* Write)
    (const EFI_FIRMWARE_VOLUME_BLOCK2_PROTOCOL* This, EFI_LBA Lba, UINTN Offset, UINTN* NumBytes,
     UINT8* Buffer);
    // Pairs of (EFI_LBA, UINTN) ended by EFI_LBA_LIST_TERMINATOR.
    EFI_STATUS(EFIAPI* EraseBlocks)(const EFI_FIRMWARE_VOLUME_BLOCK2_PROTOCOL* This, ...);
    EFI_HANDLE ParentHandle;
};
static_assert(sizeof(EFI_FIRMWARE_VOLUME_BLOCK2_PROTOCOL) == 64);

inline constexpr EFI_LBA EFI_LBA_LIST_TERMINATOR = 0xFFFFFFFFFFFFFFFFu;

template <>
struct ProtocolGuid<EFI_FIRMWARE_VOLUME_BLOCK2_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiFirmwareVolumeBlock2ProtocolGuid;
};
