// Executable images as UEFI knows them: PE32+ for x86-64 (Microsoft PE and COFF Specification).
// ReadPeHeader() looks at any bytes, PeImage maps a good image at an address of its own, relocates
// it and gives its sections the protection that they ask for.
//
// The bytes come from disks and networks and are not trusted: nothing outside of the given span is
// read and nothing outside of the image's own mapping is written, whatever the headers say.
#pragma once

#include "uefi/Base.h"

#include <cstddef>
#include <map>
#include <memory>
#include <span>
#include <vector>

namespace sim {

inline constexpr UINT16 kPeMachineIa32 = 0x014C;
inline constexpr UINT16 kPeMachineX64 = 0x8664;
inline constexpr UINT16 kPeMachineAArch64 = 0xAA64;
inline constexpr UINT16 kPeSubsystemEfiApplication = 10;
inline constexpr UINT16 kPeSubsystemEfiBootServiceDriver = 11;
inline constexpr UINT16 kPeSubsystemEfiRuntimeDriver = 12;

enum class PeResult {
    Ok,
    NotAnImage,         // no MZ or PE signature                        EFI_UNSUPPORTED
    WrongFormat,        // a PE image, but not PE32+                    EFI_UNSUPPORTED
    WrongMachine,       // PE32+ for another processor                  EFI_UNSUPPORTED
    WrongSubsystem,     // not a UEFI application or driver             EFI_UNSUPPORTED
    Truncated,          // headers or section data beyond the bytes     EFI_LOAD_ERROR
    BadHeader,          // contradicting sizes or alignments            EFI_LOAD_ERROR
    BadSection,         // a section outside of the image, or overlapping   EFI_LOAD_ERROR
    BadEntryPoint,      // no executable section holds it               EFI_LOAD_ERROR
    BadRelocation,      // a malformed or outlying relocation           EFI_LOAD_ERROR
    RelocationStripped, // fixed to an address that it cannot have      EFI_LOAD_ERROR
    TooLarge,           // beyond kMaxImageSize                         EFI_OUT_OF_RESOURCES
    NoMemory,           // the address range is taken or full           EFI_OUT_OF_RESOURCES
};

EFI_STATUS PeStatus(PeResult result);
const char* PeResultText(PeResult result);

struct PeSection {
    char name[9]; // NUL-terminated
    UINT32 virtualAddress;
    UINT32 virtualSize; // bytes in memory: never less than dataSize
    UINT32 dataOffset;
    UINT32 dataSize; // bytes from the file
    bool readable;
    bool writable;
    bool executable;
};

struct PeHeader {
    UINT16 machine = 0;
    UINT16 subsystem = 0;
    UINT16 characteristics = 0;
    UINT32 entryPoint = 0; // offset from the image's base
    UINT64 imageBase = 0;
    UINT32 imageSize = 0;
    UINT32 headerSize = 0;
    UINT32 sectionAlignment = 0;
    UINT32 relocationOffset = 0; // in the image; 0 when there are none
    UINT32 relocationSize = 0;
    std::vector<PeSection> sections;
};

inline constexpr UINT32 kMaxImageSize = 256u << 20;

// Checks everything that can be checked without mapping the image. Any machine and subsystem is Ok
// here. On WrongFormat `machine` and `subsystem` are filled in nevertheless; on other failures
// `header` holds what was read so far.
PeResult ReadPeHeader(std::span<const UINT8> bytes, PeHeader& header);

// Whether this machine can start such an image: x86-64 and a UEFI subsystem.
PeResult CheckPeTarget(const PeHeader& header);

// Hands out address ranges for images, lowest first, so that every boot finds the same addresses.
// Below 2 GiB: ordinary memory also under the address sanitizer.
class PeImageRegion {
public:
    static constexpr UINT64 kDefaultBase = 0x60000000u;
    static constexpr UINT64 kDefaultSize = 0x1F000000u;

    // Whether an address is one that the default region hands out.
    static constexpr bool Holds(UINT64 address) {
        return address >= kDefaultBase && address - kDefaultBase < kDefaultSize;
    }

    explicit PeImageRegion(UINT64 base = kDefaultBase, UINT64 size = kDefaultSize);

    // Returns the lowest free page-aligned range of `size` bytes, 0 when there is none.
    UINT64 Allocate(UINT64 size);
    // Takes exactly this range; false when it is outside or taken.
    bool AllocateAt(UINT64 address, UINT64 size);
    void Free(UINT64 address);

private:
    UINT64 base_;
    UINT64 size_;
    std::map<UINT64, UINT64> taken_; // start, size
};

// A mapped image. Unmaps and gives its range back when destroyed.
class PeImage {
public:
    // Maps `bytes` (which may go away afterwards) into a range of `region`, which must outlive the
    // image; `image` is set only on Ok.
    static PeResult Load(std::span<const UINT8> bytes, PeImageRegion& region,
                         std::unique_ptr<PeImage>& image);
    // The same at `address` (page-aligned).
    static PeResult LoadAt(std::span<const UINT8> bytes, PeImageRegion& region, UINT64 address,
                           std::unique_ptr<PeImage>& image);
    ~PeImage();
    PeImage(const PeImage&) = delete;
    PeImage& operator=(const PeImage&) = delete;

    const PeHeader& Header() const { return header_; }
    void* Base() const { return base_; }
    UINT64 Size() const { return size_; } // of the mapping: whole pages
    void* EntryPoint() const { return base_ + header_.entryPoint; }
    bool Contains(const void* address) const;

private:
    PeImage(PeHeader header, PeImageRegion& region, UINT8* base, UINT64 size);
    static PeResult Map(std::span<const UINT8> bytes, PeHeader header, PeImageRegion& region,
                        UINT64 address, std::unique_ptr<PeImage>& image);
    void CopySections(std::span<const UINT8> bytes);
    PeResult Relocate();
    bool Protect();

    PeHeader header_;
    PeImageRegion& region_;
    UINT8* base_;
    UINT64 size_;
};

} // namespace sim
