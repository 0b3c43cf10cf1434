// Writes small PE32+ images for tests: one code section, one data section with an absolute pointer
// in it, one relocation section, each on a page of its own. Fields can be changed before Write(),
// bytes after it at the offsets that are named here.
#pragma once

#include "uefi/Base.h"

#include <cstring>
#include <vector>

namespace simtest {

struct PeWriter {
    static constexpr UINT32 kNewHeader = 0x80;
    static constexpr UINT32 kCoff = kNewHeader + 4;
    static constexpr UINT32 kOptional = kCoff + 20;
    static constexpr UINT32 kOptionalSize = 112 + 16 * 8;
    static constexpr UINT32 kSections = kOptional + kOptionalSize;
    static constexpr UINT32 kFileUnit = 0x200;
    static constexpr UINT32 kCode = 0x1000; // where the sections are in memory
    static constexpr UINT32 kData = 0x2000;
    static constexpr UINT32 kRelocations = 0x3000;
    static constexpr UINT32 kImageSize = 0x4000;
    static constexpr UINT32 kCodeInFile = 0x200; // and in the file
    static constexpr UINT32 kDataInFile = 0x400;
    static constexpr UINT32 kRelocationsInFile = 0x600;
    static constexpr UINT32 kAnswer = 0x5AFE5EED; // what the entry returns

    UINT16 machine = 0x8664;
    UINT16 subsystem = 10;
    UINT16 characteristics = 0x22;
    UINT64 imageBase = 0x140000000u;

    template <class Value>
    static void Put(std::vector<UINT8>& bytes, UINT32 offset, Value value) {
        std::memcpy(bytes.data() + offset, &value, sizeof(value));
    }

    std::vector<UINT8> Write() const {
        std::vector<UINT8> bytes(0x800);
        std::memcpy(bytes.data(), "MZ", 2);
        Put<UINT32>(bytes, 0x3C, kNewHeader);
        std::memcpy(bytes.data() + kNewHeader, "PE\0\0", 4);
        Put<UINT16>(bytes, kCoff, machine);
        Put<UINT16>(bytes, kCoff + 2, 3);
        Put<UINT16>(bytes, kCoff + 16, kOptionalSize);
        Put<UINT16>(bytes, kCoff + 18, characteristics);
        Put<UINT16>(bytes, kOptional, 0x20B);
        Put<UINT32>(bytes, kOptional + 16, kCode);
        Put<UINT64>(bytes, kOptional + 24, imageBase);
        Put<UINT32>(bytes, kOptional + 32, 0x1000);
        Put<UINT32>(bytes, kOptional + 36, kFileUnit);
        Put<UINT32>(bytes, kOptional + 56, kImageSize);
        Put<UINT32>(bytes, kOptional + 60, kFileUnit);
        Put<UINT16>(bytes, kOptional + 68, subsystem);
        Put<UINT32>(bytes, kOptional + 108, 16);
        Put<UINT32>(bytes, kOptional + 112 + 5 * 8, kRelocations);
        Put<UINT32>(bytes, kOptional + 112 + 5 * 8 + 4, 12);
        Section(bytes, 0, ".text", kCode, 11, kCodeInFile, 0x60000020);
        // A long tail that is not in the file.
        Section(bytes, 1, ".data", kData, 0x1000, kDataInFile, 0xC0000040);
        Section(bytes, 2, ".reloc", kRelocations, 12, kRelocationsInFile, 0x42000040);

        // mov rax, [rip + pointer]; mov eax, [rax]; ret
        const UINT8 code[] = {0x48, 0x8B, 0x05, 0xF9, 0x0F, 0x00, 0x00, 0x8B, 0x00, 0xC3};
        std::memcpy(bytes.data() + kCodeInFile, code, sizeof(code));
        Put<UINT64>(bytes, kDataInFile, imageBase + kData + 8); // points to the next field
        Put<UINT32>(bytes, kDataInFile + 8, kAnswer);
        Put<UINT32>(bytes, kRelocationsInFile, kData);
        Put<UINT32>(bytes, kRelocationsInFile + 4, 12);
        Put<UINT16>(bytes, kRelocationsInFile + 8, 0xA000);
        return bytes;
    }

private:
    static void Section(std::vector<UINT8>& bytes, UINT32 index, const char* name, UINT32 address,
                        UINT32 size, UINT32 offset, UINT32 flags) {
        const UINT32 at = kSections + index * 40;
        std::memcpy(bytes.data() + at, name, std::strlen(name));
        Put<UINT32>(bytes, at + 8, size);
        Put<UINT32>(bytes, at + 12, address);
        Put<UINT32>(bytes, at + 16, kFileUnit);
        Put<UINT32>(bytes, at + 20, offset);
        Put<UINT32>(bytes, at + 36, flags);
    }
};

} // namespace simtest
