// The CRC that UEFI uses everywhere (IEEE 802.3, reflected polynomial 0xEDB88320): table headers,
// GPT, CalculateCrc32.
#pragma once

#include <span>

#include "uefi/Base.h"

namespace kelm {

// Continues a checksum over more bytes; start with 0. Crc32Update(Crc32Update(0, a), b) is the
// checksum of a followed by b.
UINT32 Crc32Update(UINT32 crc, std::span<const UINT8> bytes);

UINT32 Crc32(std::span<const UINT8> bytes);
UINT32 Crc32(const void* data, size_t size);

} // namespace kelm
