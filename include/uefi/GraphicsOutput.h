// EFI_GRAPHICS_OUTPUT_PROTOCOL: modes, frame buffer and block transfers (UEFI 2.10, section 12.9).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiGraphicsOutputProtocolGuid = {
    0x9042A9DE, 0x23DC, 0x4A38, {0x96, 0xFB, 0x7A, 0xDE, 0xD0, 0x80, 0x51, 0x6A}};

struct EFI_PIXEL_BITMASK {
    UINT32 RedMask;
    UINT32 GreenMask;
    UINT32 BlueMask;
    UINT32 ReservedMask;
};
static_assert(sizeof(EFI_PIXEL_BITMASK) == 16);

enum EFI_GRAPHICS_PIXEL_FORMAT : UINT32 {
    PixelRedGreenBlueReserved8BitPerColor,
    PixelBlueGreenRedReserved8BitPerColor,
    PixelBitMask,
    PixelBltOnly,
    PixelFormatMax
};

struct EFI_GRAPHICS_OUTPUT_MODE_INFORMATION {
    UINT32 Version;
    UINT32 HorizontalResolution;
    UINT32 VerticalResolution;
    EFI_GRAPHICS_PIXEL_FORMAT PixelFormat;
    EFI_PIXEL_BITMASK PixelInformation;
    UINT32 PixelsPerScanLine;
};
static_assert(sizeof(EFI_GRAPHICS_OUTPUT_MODE_INFORMATION) == 36);

struct EFI_GRAPHICS_OUTPUT_PROTOCOL_MODE {
    UINT32 MaxMode;
    UINT32 Mode;
    EFI_GRAPHICS_OUTPUT_MODE_INFORMATION* Info;
    UINTN SizeOfInfo;
    EFI_PHYSICAL_ADDRESS FrameBufferBase;
    UINTN FrameBufferSize; // in bytes
};
static_assert(sizeof(EFI_GRAPHICS_OUTPUT_PROTOCOL_MODE) == 40);

struct EFI_GRAPHICS_OUTPUT_BLT_PIXEL {
    UINT8 Blue;
    UINT8 Green;
    UINT8 Red;
    UINT8 Reserved;
};
static_assert(sizeof(EFI_GRAPHICS_OUTPUT_BLT_PIXEL) == 4);

enum EFI_GRAPHICS_OUTPUT_BLT_OPERATION : UINT32 {
    EfiBltVideoFill,
    EfiBltVideoToBltBuffer,
    EfiBltBufferToVideo,
    EfiBltVideoToVideo,
    EfiGraphicsOutputBltOperationMax
};

struct EFI_GRAPHICS_OUTPUT_PROTOCOL {
    // Info comes from pool and is freed by the caller.
    EFI_STATUS(EFIAPI* QueryMode)
    (EFI_GRAPHICS_OUTPUT_PROTOCOL* This, UINT32 ModeNumber, UINTN* SizeOfInfo,
     EFI_GRAPHICS_OUTPUT_MODE_INFORMATION** Info);
    EFI_STATUS(EFIAPI* SetMode)(EFI_GRAPHICS_OUTPUT_PROTOCOL* This, UINT32 ModeNumber);
    // Delta: bytes in a row of BltBuffer; 0 when the whole buffer is used.
    EFI_STATUS(EFIAPI* Blt)
    (EFI_GRAPHICS_OUTPUT_PROTOCOL* This, EFI_GRAPHICS_OUTPUT_BLT_PIXEL* BltBuffer,
     EFI_GRAPHICS_OUTPUT_BLT_OPERATION BltOperation, UINTN SourceX, UINTN SourceY,
     UINTN DestinationX, UINTN DestinationY, UINTN Width, UINTN Height, UINTN Delta);
    EFI_GRAPHICS_OUTPUT_PROTOCOL_MODE* Mode;
};
static_assert(sizeof(EFI_GRAPHICS_OUTPUT_PROTOCOL) == 32);

template <>
struct ProtocolGuid<EFI_GRAPHICS_OUTPUT_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiGraphicsOutputProtocolGuid;
};
