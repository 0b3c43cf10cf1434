// The maker's own command transport to the management controller, for what does not fit an IPMI
// message. A request begins with SmaRequestHeader; a response carries a 16-bit data length at
// offset 2 and the data from offset 6. Command codes stand in kelm/SmaCommands.h.
#pragma once

#include "uefi/Base.h"

// {C1B630C1-32C0-49A1-B440-0FCAEE43EC9E}
inline constexpr EFI_GUID gKelmNimborSmaProtocolGuid = {
    0xC1B630C1, 0x32C0, 0x49A1, {0xB4, 0x40, 0x0F, 0xCA, 0xEE, 0x43, 0xEC, 0x9E}};

// First bytes of every single-part request; both fields little-endian.
struct SmaRequestHeader {
    UINT16 Command;
    UINT16 PayloadLength; // bytes after this header
};
static_assert(sizeof(SmaRequestHeader) == 4);

inline constexpr UINTN kSmaRequestHeaderSize = 4;
inline constexpr UINTN kSmaResponseLengthOffset = 2; // UINT16: bytes of data
inline constexpr UINTN kSmaResponseDataOffset = 6;

struct KelmNimborSmaProtocol {
    void* Reserved0;
    void* Reserved1;
    void* Reserved2;
    void* Reserved3;
    void* Reserved4;
    // One request, one response, both in buffers of the caller. *responseSize is the room on entry
    // and the bytes received on return.
    EFI_STATUS(EFIAPI* SendSmaIpmiCommand)
    (KelmNimborSmaProtocol* This, const UINT8* request, UINT16 requestSize, UINT8* response,
     UINT16* responseSize);
    // Multi-part transfer: the payload (without header) may be larger than one message. On success
    // *response is new pool memory of *responseLength bytes that the caller frees.
    EFI_STATUS(EFIAPI* SendSmaIpmiMTCommand)
    (KelmNimborSmaProtocol* This, UINT16 command, const UINT8* payload, UINT32 payloadLength,
     UINT8** response, UINT32* responseLength);
};
static_assert(sizeof(KelmNimborSmaProtocol) == 7 * sizeof(void*));

template <>
struct ProtocolGuid<KelmNimborSmaProtocol> {
    static constexpr const EFI_GUID& value = gKelmNimborSmaProtocolGuid;
};
