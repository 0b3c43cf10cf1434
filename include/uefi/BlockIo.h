// EFI_BLOCK_IO_PROTOCOL and EFI_BLOCK_IO2_PROTOCOL: block devices and their media (UEFI 2.10,
// sections 13.9 and 13.10).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiBlockIoProtocolGuid = {
    0x964E5B21, 0x6459, 0x11D2, {0x8E, 0x39, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};
inline constexpr EFI_GUID gEfiBlockIo2ProtocolGuid = {
    0xA77B2472, 0xE282, 0x4E9F, {0xA2, 0x45, 0xC2, 0xC0, 0xE2, 0x7B, 0xBC, 0xC1}};

inline constexpr UINT64 EFI_BLOCK_IO_PROTOCOL_REVISION = 0x00010000;
inline constexpr UINT64 EFI_BLOCK_IO_PROTOCOL_REVISION2 = 0x00020001;
inline constexpr UINT64 EFI_BLOCK_IO_PROTOCOL_REVISION3 = (2 << 16) | 31;

struct EFI_BLOCK_IO_MEDIA {
    UINT32 MediaId;
    BOOLEAN RemovableMedia;
    BOOLEAN MediaPresent;
    BOOLEAN LogicalPartition;
    BOOLEAN ReadOnly;
    BOOLEAN WriteCaching;
    UINT32 BlockSize; // in bytes
    UINT32 IoAlign;   // 0 and 1: buffers need no alignment
    EFI_LBA LastBlock;
    EFI_LBA LowestAlignedLba;                // from revision 2
    UINT32 LogicalBlocksPerPhysicalBlock;    // from revision 2
    UINT32 OptimalTransferLengthGranularity; // from revision 3
};
static_assert(sizeof(EFI_BLOCK_IO_MEDIA) == 48);

struct EFI_BLOCK_IO_PROTOCOL {
    UINT64 Revision;
    EFI_BLOCK_IO_MEDIA* Media;
    EFI_STATUS(EFIAPI* Reset)(EFI_BLOCK_IO_PROTOCOL* This, BOOLEAN ExtendedVerification);
    EFI_STATUS(EFIAPI* ReadBlocks)
    (EFI_BLOCK_IO_PROTOCOL* This, UINT32 MediaId, EFI_LBA Lba, UINTN BufferSize, void* Buffer);
    EFI_STATUS(EFIAPI* WriteBlocks)
    (EFI_BLOCK_IO_PROTOCOL* This, UINT32 MediaId, EFI_LBA Lba, UINTN BufferSize,
     const void* Buffer);
    EFI_STATUS(EFIAPI* FlushBlocks)(EFI_BLOCK_IO_PROTOCOL* This);
};
static_assert(sizeof(EFI_BLOCK_IO_PROTOCOL) == 48);

struct EFI_BLOCK_IO2_TOKEN {
    EFI_EVENT Event;
    EFI_STATUS TransactionStatus;
};
static_assert(sizeof(EFI_BLOCK_IO2_TOKEN) == 16);

struct EFI_BLOCK_IO2_PROTOCOL {
    EFI_BLOCK_IO_MEDIA* Media;
    EFI_STATUS(EFIAPI* Reset)(EFI_BLOCK_IO2_PROTOCOL* This, BOOLEAN ExtendedVerification);
    EFI_STATUS(EFIAPI* ReadBlocksEx)
    (EFI_BLOCK_IO2_PROTOCOL* This, UINT32 MediaId, EFI_LBA Lba, EFI_BLOCK_IO2_TOKEN* Token,
     UINTN BufferSize, void* Buffer);
    EFI_STATUS(EFIAPI* WriteBlocksEx)
    (EFI_BLOCK_IO2_PROTOCOL* This, UINT32 MediaId, EFI_LBA Lba, EFI_BLOCK_IO2_TOKEN* Token,
     UINTN BufferSize, const void* Buffer);
    EFI_STATUS(EFIAPI* FlushBlocksEx)(EFI_BLOCK_IO2_PROTOCOL* This, EFI_BLOCK_IO2_TOKEN* Token);
};
static_assert(sizeof(EFI_BLOCK_IO2_PROTOCOL) == 40);

template <>
struct ProtocolGuid<EFI_BLOCK_IO_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiBlockIoProtocolGuid;
};

template <>
struct ProtocolGuid<EFI_BLOCK_IO2_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiBlockIo2ProtocolGuid;
};
