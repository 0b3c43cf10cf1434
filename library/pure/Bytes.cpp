#include "library/pure/Bytes.h"

#include <algorithm>

namespace kelm {

size_t Ucs2Bytes::CopyTo(std::span<char16_t> out) const {
    if (out.empty()) {
        return 0;
    }
    const size_t count = std::min(size(), out.size() - 1);
    for (size_t i = 0; i < count; i++) {
        out[i] = (*this)[i];
    }
    out[count] = 0;
    return count;
}

bool Ucs2Bytes::Equals(std::u16string_view text) const {
    if (text.size() != size()) {
        return false;
    }
    for (size_t i = 0; i < text.size(); i++) {
        if ((*this)[i] != text[i]) {
            return false;
        }
    }
    return true;
}

UINT64 ByteReader::ReadInteger(size_t width) {
    UINT64 value = 0;
    unsigned shift = 0;
    for (const UINT8 byte : ReadBytes(width)) {
        value |= UINT64(byte) << shift;
        shift += 8;
    }
    return value;
}

EFI_GUID ByteReader::ReadGuid() {
    EFI_GUID guid = {};
    if (Remaining() < sizeof(guid)) {
        ok_ = false;
        return guid;
    }
    guid.Data1 = ReadU32();
    guid.Data2 = ReadU16();
    guid.Data3 = ReadU16();
    ReadInto(guid.Data4);
    return guid;
}

std::span<const UINT8> ByteReader::ReadBytes(size_t count) {
    if (count > Remaining()) {
        ok_ = false;
        return {};
    }
    const auto bytes = bytes_.subspan(position_, count);
    position_ += count;
    return bytes;
}

bool ByteReader::ReadInto(std::span<UINT8> out) {
    const auto bytes = ReadBytes(out.size());
    std::copy(bytes.begin(), bytes.end(), out.begin());
    return bytes.size() == out.size();
}

Ucs2Bytes ByteReader::ReadUcs2String() {
    const auto rest = bytes_.subspan(position_);
    for (size_t at = 0; at + 2 <= rest.size(); at += 2) {
        if (rest[at] == 0 && rest[at + 1] == 0) {
            position_ += at + 2;
            return Ucs2Bytes(rest.first(at));
        }
    }
    ok_ = false;
    return {};
}

std::string_view ByteReader::ReadAsciiString() {
    const auto rest = bytes_.subspan(position_);
    const auto null = std::find(rest.begin(), rest.end(), UINT8(0));
    if (null == rest.end()) {
        ok_ = false;
        return {};
    }
    const size_t length = size_t(null - rest.begin());
    position_ += length + 1;
    return {reinterpret_cast<const char*>(rest.data()), length};
}

// Where the next count bytes go, or null when they do not fit.
UINT8* ByteWriter::Reserve(size_t count) {
    const size_t at = needed_;
    needed_ += count;
    if (!ok_ || count > out_.size() - at) {
        ok_ = false;
        return nullptr;
    }
    return out_.data() + at;
}

void ByteWriter::WriteInteger(UINT64 value, size_t width) {
    if (UINT8* to = Reserve(width)) {
        for (size_t i = 0; i < width; i++) {
            to[i] = UINT8(value >> (8 * i));
        }
    }
}

void ByteWriter::WriteGuid(const EFI_GUID& guid) {
    WriteU32(guid.Data1);
    WriteU16(guid.Data2);
    WriteU16(guid.Data3);
    WriteBytes(guid.Data4);
}

void ByteWriter::WriteBytes(std::span<const UINT8> bytes) {
    if (UINT8* to = Reserve(bytes.size())) {
        std::copy(bytes.begin(), bytes.end(), to);
    }
}

void ByteWriter::WriteZeros(size_t count) {
    if (UINT8* to = Reserve(count)) {
        std::fill_n(to, count, UINT8(0));
    }
}

void ByteWriter::WriteUcs2(std::u16string_view text) {
    for (const char16_t c : text) {
        WriteU16(c);
    }
}

void ByteWriter::WriteUcs2String(std::u16string_view text) {
    WriteUcs2(text);
    WriteU16(0);
}

void ByteWriter::WriteAscii(std::string_view text) {
    WriteBytes(text.data(), text.size());
}

void ByteWriter::WriteAsciiString(std::string_view text) {
    WriteAscii(text);
    WriteU8(0);
}

void ByteWriter::PatchU16(size_t offset, UINT16 value) {
    if (offset + 2 <= Written().size()) {
        out_[offset] = UINT8(value);
        out_[offset + 1] = UINT8(value >> 8);
    }
}

} // namespace kelm
