// A bounds-checked reader and writer for little-endian records: variables, device path nodes,
// controller commands. Neither assumes alignment. Both keep a failure flag that stays set: read or
// write a whole record, then look at Ok() once.
#pragma once

#include <span>
#include <string_view>

#include "uefi/Base.h"

namespace kelm {

// UCS-2 characters that lie somewhere in a byte buffer, possibly at an odd address.
class Ucs2Bytes {
public:
    Ucs2Bytes() = default;
    // bytes holds the characters without a terminating null; an odd last byte is ignored.
    explicit Ucs2Bytes(std::span<const UINT8> bytes) : bytes_(bytes) {}

    size_t size() const { return bytes_.size() / 2; } // characters
    bool empty() const { return size() == 0; }
    char16_t operator[](size_t index) const {
        return char16_t(bytes_[2 * index] | bytes_[2 * index + 1] << 8);
    }
    std::span<const UINT8> Bytes() const { return bytes_.first(2 * size()); }
    // Copies what fits and a null; returns the characters copied.
    size_t CopyTo(std::span<char16_t> out) const;
    bool Equals(std::u16string_view text) const;

private:
    std::span<const UINT8> bytes_;
};

// Every read past the end returns zeros or nothing, consumes nothing and clears Ok() for good.
class ByteReader {
public:
    explicit ByteReader(std::span<const UINT8> bytes) : bytes_(bytes) {}
    ByteReader(const void* data, size_t size)
        : bytes_(static_cast<const UINT8*>(data), data == nullptr ? 0 : size) {}

    UINT8 ReadU8() { return UINT8(ReadInteger(1)); }
    UINT16 ReadU16() { return UINT16(ReadInteger(2)); }
    UINT32 ReadU32() { return UINT32(ReadInteger(4)); }
    UINT64 ReadU64() { return ReadInteger(8); }
    EFI_GUID ReadGuid();
    // The next count bytes, in place.
    std::span<const UINT8> ReadBytes(size_t count);
    // Copies the next out.size() bytes; false, with out untouched, when there are fewer.
    bool ReadInto(std::span<UINT8> out);
    // All that is left.
    std::span<const UINT8> ReadRest() { return ReadBytes(Remaining()); }
    // Up to a terminating null, which is consumed too; fails when there is none.
    Ucs2Bytes ReadUcs2String();
    std::string_view ReadAsciiString();

    void Skip(size_t count) { ReadBytes(count); }
    size_t Remaining() const { return bytes_.size() - position_; }
    size_t Position() const { return position_; }
    bool Ok() const { return ok_; }
    // Nothing failed and nothing is left.
    bool AtEnd() const { return ok_ && Remaining() == 0; }

private:
    UINT64 ReadInteger(size_t width);

    std::span<const UINT8> bytes_;
    size_t position_ = 0;
    bool ok_ = true;
};

// A write that does not fit writes nothing and clears Ok() for good, but is still counted: Needed()
// is the size that the whole record takes, so a first pass over an empty span measures it.
class ByteWriter {
public:
    explicit ByteWriter(std::span<UINT8> out) : out_(out) {}

    void WriteU8(UINT8 value) { WriteInteger(value, 1); }
    void WriteU16(UINT16 value) { WriteInteger(value, 2); }
    void WriteU32(UINT32 value) { WriteInteger(value, 4); }
    void WriteU64(UINT64 value) { WriteInteger(value, 8); }
    void WriteGuid(const EFI_GUID& guid);
    void WriteBytes(std::span<const UINT8> bytes);
    void WriteBytes(const void* data, size_t size) {
        WriteBytes({static_cast<const UINT8*>(data), size});
    }
    void WriteZeros(size_t count);
    // Characters only, or with a terminating null.
    void WriteUcs2(std::u16string_view text);
    void WriteUcs2String(std::u16string_view text);
    void WriteAscii(std::string_view text);
    void WriteAsciiString(std::string_view text);
    // Overwrites two bytes that were written before; ignored when they are not there.
    void PatchU16(size_t offset, UINT16 value);

    size_t Needed() const { return needed_; }
    size_t Remaining() const { return ok_ ? out_.size() - needed_ : 0; }
    // What was written; meaningless once Ok() is false.
    std::span<UINT8> Written() const { return out_.first(ok_ ? needed_ : 0); }
    bool Ok() const { return ok_; }

private:
    UINT8* Reserve(size_t count);
    void WriteInteger(UINT64 value, size_t width);

    std::span<UINT8> out_;
    size_t needed_ = 0;
    bool ok_ = true;
};

} // namespace kelm
