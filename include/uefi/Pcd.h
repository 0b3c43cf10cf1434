// Dynamic platform configuration values: EFI_PCD_PROTOCOL and EFI_GET_PCD_INFO_PROTOCOL
// (PI 1.8, volume 3, section 8).
//
// The protocol has no This: there is one PCD database. A null token space GUID means the default
// one. Set services other than SetPtr() return EFI_SUCCESS, EFI_INVALID_PARAMETER (size differs) or
// EFI_NOT_FOUND; the Get services have no status: asking for an unknown token is undefined.
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiPcdProtocolGuid = {
    0x13A3F0F6, 0x264A, 0x3EF0, {0xF2, 0xE0, 0xDE, 0xC5, 0x12, 0x34, 0x2F, 0x34}};
inline constexpr EFI_GUID gEfiGetPcdInfoProtocolGuid = {
    0xFD0F4478, 0x0EFD, 0x461D, {0xBA, 0x2D, 0xE5, 0x8C, 0x45, 0xFD, 0x5F, 0x5E}};

inline constexpr UINTN PCD_INVALID_TOKEN_NUMBER = 0;

using EFI_PCD_PROTOCOL_CALLBACK = void(EFIAPI*)(const EFI_GUID* Guid, UINTN CallBackToken,
                                                void* TokenData, UINTN TokenDataSize);

struct EFI_PCD_PROTOCOL {
    void(EFIAPI* SetSku)(UINTN SkuId);

    UINT8(EFIAPI* Get8)(const EFI_GUID* Guid, UINTN TokenNumber);
    UINT16(EFIAPI* Get16)(const EFI_GUID* Guid, UINTN TokenNumber);
    UINT32(EFIAPI* Get32)(const EFI_GUID* Guid, UINTN TokenNumber);
    UINT64(EFIAPI* Get64)(const EFI_GUID* Guid, UINTN TokenNumber);
    void*(EFIAPI* GetPtr)(const EFI_GUID* Guid, UINTN TokenNumber);
    BOOLEAN(EFIAPI* GetBool)(const EFI_GUID* Guid, UINTN TokenNumber);
    UINTN(EFIAPI* GetSize)(const EFI_GUID* Guid, UINTN TokenNumber); // in bytes

    EFI_STATUS(EFIAPI* Set8)(const EFI_GUID* Guid, UINTN TokenNumber, UINT8 Value);
    EFI_STATUS(EFIAPI* Set16)(const EFI_GUID* Guid, UINTN TokenNumber, UINT16 Value);
    EFI_STATUS(EFIAPI* Set32)(const EFI_GUID* Guid, UINTN TokenNumber, UINT32 Value);
    EFI_STATUS(EFIAPI* Set64)(const EFI_GUID* Guid, UINTN TokenNumber, UINT64 Value);
    // SizeOfBuffer: in, the size of Buffer; out, on EFI_INVALID_PARAMETER, the maximum size.
    EFI_STATUS(EFIAPI* SetPtr)
    (const EFI_GUID* Guid, UINTN TokenNumber, UINTN* SizeOfBuffer, const void* Buffer);
    EFI_STATUS(EFIAPI* SetBool)(const EFI_GUID* Guid, UINTN TokenNumber, BOOLEAN Value);

    EFI_STATUS(EFIAPI* CallbackOnSet)
    (const EFI_GUID* Guid, UINTN TokenNumber, EFI_PCD_PROTOCOL_CALLBACK CallBackFunction);
    EFI_STATUS(EFIAPI* CancelCallback)
    (const EFI_GUID* Guid, UINTN TokenNumber, EFI_PCD_PROTOCOL_CALLBACK CallBackFunction);
    // TokenNumber: in, the previous token or PCD_INVALID_TOKEN_NUMBER; out, the next one.
    EFI_STATUS(EFIAPI* GetNextToken)(const EFI_GUID* Guid, UINTN* TokenNumber);
    EFI_STATUS(EFIAPI* GetNextTokenSpace)(const EFI_GUID** Guid);
};
static_assert(sizeof(EFI_PCD_PROTOCOL) == 144);
static_assert(offsetof(EFI_PCD_PROTOCOL, Set8) == 64);

enum EFI_PCD_TYPE : UINT32 {
    EFI_PCD_TYPE_8,
    EFI_PCD_TYPE_16,
    EFI_PCD_TYPE_32,
    EFI_PCD_TYPE_64,
    EFI_PCD_TYPE_BOOL,
    EFI_PCD_TYPE_PTR
};

struct EFI_PCD_INFO {
    EFI_PCD_TYPE PcdType;
    UINTN PcdSize;
    CHAR8* PcdName;
};
static_assert(sizeof(EFI_PCD_INFO) == 24);

struct EFI_GET_PCD_INFO_PROTOCOL {
    EFI_STATUS(EFIAPI* GetInfo)(const EFI_GUID* Guid, UINTN TokenNumber, EFI_PCD_INFO* PcdInfo);
    UINTN(EFIAPI* GetSku)();
};
static_assert(sizeof(EFI_GET_PCD_INFO_PROTOCOL) == 16);

template <>
struct ProtocolGuid<EFI_PCD_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiPcdProtocolGuid;
};

template <>
struct ProtocolGuid<EFI_GET_PCD_INFO_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiGetPcdInfoProtocolGuid;
};
