#include "library/pure/Crc32.h"

#include <array>

namespace kelm {
namespace {

constexpr UINT32 kPolynomial = 0xEDB88320u;

constexpr std::array<UINT32, 256> kTable = [] {
    std::array<UINT32, 256> table{};
    for (UINT32 i = 0; i < table.size(); i++) {
        UINT32 value = i;
        for (int bit = 0; bit < 8; bit++) {
            value = (value & 1) != 0 ? value >> 1 ^ kPolynomial : value >> 1;
        }
        table[i] = value;
    }
    return table;
}();

} // namespace

UINT32 Crc32Update(UINT32 crc, std::span<const UINT8> bytes) {
    UINT32 value = ~crc;
    for (const UINT8 byte : bytes) {
        value = kTable[(value ^ byte) & 0xFF] ^ value >> 8;
    }
    return ~value;
}

UINT32 Crc32(std::span<const UINT8> bytes) {
    return Crc32Update(0, bytes);
}

UINT32 Crc32(const void* data, size_t size) {
    return Crc32Update(0, {static_cast<const UINT8*>(data), size});
}

} // namespace kelm
