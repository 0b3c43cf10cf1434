// EFI_SERIAL_IO_PROTOCOL: UART-like devices, their mode and control bits (UEFI 2.10, section 12.8).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiSerialIoProtocolGuid = {
    0xBB25CF6F, 0xF1D4, 0x11D2, {0x9A, 0x0C, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0xFD}};
// A DeviceTypeGuid: a terminal is connected.
inline constexpr EFI_GUID gEfiSerialTerminalDeviceTypeGuid = {
    0x6AD9A60F, 0x5815, 0x4C7C, {0x8A, 0x10, 0x50, 0x53, 0xD2, 0xBF, 0x7A, 0x1B}};

inline constexpr UINT32 EFI_SERIAL_IO_PROTOCOL_REVISION = 0x00010000;
inline constexpr UINT32 EFI_SERIAL_IO_PROTOCOL_REVISION1p1 = 0x00010001;

enum EFI_PARITY_TYPE : UINT32 {
    DefaultParity,
    NoParity,
    EvenParity,
    OddParity,
    MarkParity,
    SpaceParity
};

enum EFI_STOP_BITS_TYPE : UINT32 { DefaultStopBits, OneStopBit, OneFiveStopBits, TwoStopBits };

// Control bits. The first six can only be read.
inline constexpr UINT32 EFI_SERIAL_CLEAR_TO_SEND = 0x00000010u;
inline constexpr UINT32 EFI_SERIAL_DATA_SET_READY = 0x00000020u;
inline constexpr UINT32 EFI_SERIAL_RING_INDICATE = 0x00000040u;
inline constexpr UINT32 EFI_SERIAL_CARRIER_DETECT = 0x00000080u;
inline constexpr UINT32 EFI_SERIAL_INPUT_BUFFER_EMPTY = 0x00000100u;
inline constexpr UINT32 EFI_SERIAL_OUTPUT_BUFFER_EMPTY = 0x00000200u;
inline constexpr UINT32 EFI_SERIAL_DATA_TERMINAL_READY = 0x00000001u;
inline constexpr UINT32 EFI_SERIAL_REQUEST_TO_SEND = 0x00000002u;
inline constexpr UINT32 EFI_SERIAL_HARDWARE_LOOPBACK_ENABLE = 0x00001000u;
inline constexpr UINT32 EFI_SERIAL_SOFTWARE_LOOPBACK_ENABLE = 0x00002000u;
inline constexpr UINT32 EFI_SERIAL_HARDWARE_FLOW_CONTROL_ENABLE = 0x00004000u;

struct EFI_SERIAL_IO_MODE {
    UINT32 ControlMask; // control bits the device supports
    UINT32 Timeout;     // microseconds a character
    UINT64 BaudRate;    // 0: the device's default
    UINT32 ReceiveFifoDepth;
    UINT32 DataBits;
    UINT32 Parity;   // EFI_PARITY_TYPE
    UINT32 StopBits; // EFI_STOP_BITS_TYPE
};
static_assert(sizeof(EFI_SERIAL_IO_MODE) == 32);

struct EFI_SERIAL_IO_PROTOCOL {
    UINT32 Revision;
    EFI_STATUS(EFIAPI* Reset)(EFI_SERIAL_IO_PROTOCOL* This);
    EFI_STATUS(EFIAPI* SetAttributes)
    (EFI_SERIAL_IO_PROTOCOL* This, UINT64 BaudRate, UINT32 ReceiveFifoDepth, UINT32 Timeout,
     EFI_PARITY_TYPE Parity, UINT8 DataBits, EFI_STOP_BITS_TYPE StopBits);
    EFI_STATUS(EFIAPI* SetControl)(EFI_SERIAL_IO_PROTOCOL* This, UINT32 Control);
    EFI_STATUS(EFIAPI* GetControl)(EFI_SERIAL_IO_PROTOCOL* This, UINT32* Control);
    EFI_STATUS(EFIAPI* Write)(EFI_SERIAL_IO_PROTOCOL* This, UINTN* BufferSize, const void* Buffer);
    EFI_STATUS(EFIAPI* Read)(EFI_SERIAL_IO_PROTOCOL* This, UINTN* BufferSize, void* Buffer);
    EFI_SERIAL_IO_MODE* Mode;
    const EFI_GUID* DeviceTypeGuid; // only from revision 1.1; may be null
};
static_assert(sizeof(EFI_SERIAL_IO_PROTOCOL) == 72);

template <>
struct ProtocolGuid<EFI_SERIAL_IO_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiSerialIoProtocolGuid;
};
