// The scalar types, status codes and calling convention that UEFI and PI interfaces are made of
// (UEFI 2.10, section 2.3 "Calling Conventions" and appendix D "Status Codes").
//
// This is the only header that knows which calling convention the compiler speaks: every function
// that crosses a firmware interface carries EFIAPI, whichever host the code is built for.
#pragma once

#include <cstddef>
#include <cstdint>

#define EFIAPI __attribute__((ms_abi))

using UINT8 = std::uint8_t;
using UINT16 = std::uint16_t;
using UINT32 = std::uint32_t;
using UINT64 = std::uint64_t;
using INT8 = std::int8_t;
using INT16 = std::int16_t;
using INT32 = std::int32_t;
using INT64 = std::int64_t;
using UINTN = UINT64;
using INTN = INT64;
using CHAR8 = char;
using CHAR16 = char16_t;
using BOOLEAN = UINT8; // one byte, 0 or 1, as it crosses interfaces

inline constexpr BOOLEAN TRUE = 1;
inline constexpr BOOLEAN FALSE = 0;

using EFI_STATUS = UINTN;
using EFI_HANDLE = void*;
using EFI_EVENT = void*;
using EFI_TPL = UINTN;
using EFI_LBA = UINT64;
using EFI_PHYSICAL_ADDRESS = UINT64;
using EFI_VIRTUAL_ADDRESS = UINT64;

// A GUID as it lies in memory: the first three fields are little-endian.
struct EFI_GUID {
    UINT32 Data1;
    UINT16 Data2;
    UINT16 Data3;
    UINT8 Data4[8];

    friend constexpr bool operator==(const EFI_GUID&, const EFI_GUID&) = default;
};
static_assert(sizeof(EFI_GUID) == 16);

// Binds a protocol's interface type to its GUID. There is no primary definition on purpose: asking
// for the GUID of a type that has none does not compile. Each protocol header specialises it:
//     template <> struct ProtocolGuid<EFI_PCD_PROTOCOL> {
//         static constexpr const EFI_GUID& value = gEfiPcdProtocolGuid;
//     };
template <class Protocol>
struct ProtocolGuid;

inline constexpr EFI_STATUS kEfiErrorBit = 0x8000000000000000u;

constexpr EFI_STATUS EfiErrorCode(UINT64 code) {
    return kEfiErrorBit | code;
}
constexpr bool EFI_ERROR(EFI_STATUS status) {
    return (status & kEfiErrorBit) != 0;
}

inline constexpr EFI_STATUS EFI_SUCCESS = 0;
inline constexpr EFI_STATUS EFI_WARN_UNKNOWN_GLYPH = 1;
inline constexpr EFI_STATUS EFI_WARN_DELETE_FAILURE = 2;
inline constexpr EFI_STATUS EFI_WARN_WRITE_FAILURE = 3;
inline constexpr EFI_STATUS EFI_WARN_BUFFER_TOO_SMALL = 4;
inline constexpr EFI_STATUS EFI_WARN_STALE_DATA = 5;
inline constexpr EFI_STATUS EFI_WARN_FILE_SYSTEM = 6;
inline constexpr EFI_STATUS EFI_WARN_RESET_REQUIRED = 7;
inline constexpr EFI_STATUS EFI_LOAD_ERROR = EfiErrorCode(1);
inline constexpr EFI_STATUS EFI_INVALID_PARAMETER = EfiErrorCode(2);
inline constexpr EFI_STATUS EFI_UNSUPPORTED = EfiErrorCode(3);
inline constexpr EFI_STATUS EFI_BAD_BUFFER_SIZE = EfiErrorCode(4);
inline constexpr EFI_STATUS EFI_BUFFER_TOO_SMALL = EfiErrorCode(5);
inline constexpr EFI_STATUS EFI_NOT_READY = EfiErrorCode(6);
inline constexpr EFI_STATUS EFI_DEVICE_ERROR = EfiErrorCode(7);
inline constexpr EFI_STATUS EFI_WRITE_PROTECTED = EfiErrorCode(8);
inline constexpr EFI_STATUS EFI_OUT_OF_RESOURCES = EfiErrorCode(9);
inline constexpr EFI_STATUS EFI_VOLUME_CORRUPTED = EfiErrorCode(10);
inline constexpr EFI_STATUS EFI_VOLUME_FULL = EfiErrorCode(11);
inline constexpr EFI_STATUS EFI_NO_MEDIA = EfiErrorCode(12);
inline constexpr EFI_STATUS EFI_MEDIA_CHANGED = EfiErrorCode(13);
inline constexpr EFI_STATUS EFI_NOT_FOUND = EfiErrorCode(14);
inline constexpr EFI_STATUS EFI_ACCESS_DENIED = EfiErrorCode(15);
inline constexpr EFI_STATUS EFI_NO_RESPONSE = EfiErrorCode(16);
inline constexpr EFI_STATUS EFI_NO_MAPPING = EfiErrorCode(17);
inline constexpr EFI_STATUS EFI_TIMEOUT = EfiErrorCode(18);
inline constexpr EFI_STATUS EFI_NOT_STARTED = EfiErrorCode(19);
inline constexpr EFI_STATUS EFI_ALREADY_STARTED = EfiErrorCode(20);
inline constexpr EFI_STATUS EFI_ABORTED = EfiErrorCode(21);
inline constexpr EFI_STATUS EFI_ICMP_ERROR = EfiErrorCode(22);
inline constexpr EFI_STATUS EFI_TFTP_ERROR = EfiErrorCode(23);
inline constexpr EFI_STATUS EFI_PROTOCOL_ERROR = EfiErrorCode(24);
inline constexpr EFI_STATUS EFI_INCOMPATIBLE_VERSION = EfiErrorCode(25);
inline constexpr EFI_STATUS EFI_SECURITY_VIOLATION = EfiErrorCode(26);
inline constexpr EFI_STATUS EFI_CRC_ERROR = EfiErrorCode(27);
inline constexpr EFI_STATUS EFI_END_OF_MEDIA = EfiErrorCode(28);
inline constexpr EFI_STATUS EFI_END_OF_FILE = EfiErrorCode(31);
inline constexpr EFI_STATUS EFI_INVALID_LANGUAGE = EfiErrorCode(32);
inline constexpr EFI_STATUS EFI_COMPROMISED_DATA = EfiErrorCode(33);
inline constexpr EFI_STATUS EFI_IP_ADDRESS_CONFLICT = EfiErrorCode(34);
inline constexpr EFI_STATUS EFI_HTTP_ERROR = EfiErrorCode(35);
