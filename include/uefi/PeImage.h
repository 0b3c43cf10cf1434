// PE32+ images: the headers, sections and base relocations that a loader reads (Microsoft Portable
// Executable and Common Object File Format; UEFI 2.10, section 2.1.1). Headers may lie unaligned.
#pragma once

#include "uefi/Base.h"

inline constexpr UINT16 EFI_IMAGE_DOS_SIGNATURE = 0x5A4D;    // "MZ"
inline constexpr UINT32 EFI_IMAGE_NT_SIGNATURE = 0x00004550; // "PE\0\0"
inline constexpr UINT16 EFI_IMAGE_NT_OPTIONAL_HDR32_MAGIC = 0x010B;
inline constexpr UINT16 EFI_IMAGE_NT_OPTIONAL_HDR64_MAGIC = 0x020B;

// Machine types.
inline constexpr UINT16 IMAGE_FILE_MACHINE_I386 = 0x014C;
inline constexpr UINT16 IMAGE_FILE_MACHINE_EBC = 0x0EBC;
inline constexpr UINT16 IMAGE_FILE_MACHINE_X64 = 0x8664;
inline constexpr UINT16 IMAGE_FILE_MACHINE_ARMTHUMB_MIXED = 0x01C2;
inline constexpr UINT16 IMAGE_FILE_MACHINE_ARM64 = 0xAA64;
inline constexpr UINT16 IMAGE_FILE_MACHINE_RISCV64 = 0x5064;
inline constexpr UINT16 IMAGE_FILE_MACHINE_LOONGARCH64 = 0x6264;

// Subsystems.
inline constexpr UINT16 EFI_IMAGE_SUBSYSTEM_EFI_APPLICATION = 10;
inline constexpr UINT16 EFI_IMAGE_SUBSYSTEM_EFI_BOOT_SERVICE_DRIVER = 11;
inline constexpr UINT16 EFI_IMAGE_SUBSYSTEM_EFI_RUNTIME_DRIVER = 12;

// File characteristics.
inline constexpr UINT16 EFI_IMAGE_FILE_RELOCS_STRIPPED = 0x0001;
inline constexpr UINT16 EFI_IMAGE_FILE_EXECUTABLE_IMAGE = 0x0002;
inline constexpr UINT16 EFI_IMAGE_FILE_DLL = 0x2000;

struct [[gnu::packed]] EFI_IMAGE_DOS_HEADER {
    UINT16 e_magic;
    UINT16 e_unused[29];
    UINT32 e_lfanew; // file offset of the PE signature
};
static_assert(sizeof(EFI_IMAGE_DOS_HEADER) == 64);

struct [[gnu::packed]] EFI_IMAGE_FILE_HEADER {
    UINT16 Machine;
    UINT16 NumberOfSections;
    UINT32 TimeDateStamp;
    UINT32 PointerToSymbolTable;
    UINT32 NumberOfSymbols;
    UINT16 SizeOfOptionalHeader;
    UINT16 Characteristics;
};
static_assert(sizeof(EFI_IMAGE_FILE_HEADER) == 20);

struct [[gnu::packed]] EFI_IMAGE_DATA_DIRECTORY {
    UINT32 VirtualAddress;
    UINT32 Size;
};
static_assert(sizeof(EFI_IMAGE_DATA_DIRECTORY) == 8);

// Indexes into DataDirectory.
inline constexpr UINTN EFI_IMAGE_DIRECTORY_ENTRY_EXPORT = 0;
inline constexpr UINTN EFI_IMAGE_DIRECTORY_ENTRY_IMPORT = 1;
inline constexpr UINTN EFI_IMAGE_DIRECTORY_ENTRY_RESOURCE = 2;
inline constexpr UINTN EFI_IMAGE_DIRECTORY_ENTRY_SECURITY = 4;
inline constexpr UINTN EFI_IMAGE_DIRECTORY_ENTRY_BASERELOC = 5;
inline constexpr UINTN EFI_IMAGE_DIRECTORY_ENTRY_DEBUG = 6;
inline constexpr UINTN EFI_IMAGE_NUMBER_OF_DIRECTORY_ENTRIES = 16;

struct [[gnu::packed]] EFI_IMAGE_OPTIONAL_HEADER64 {
    UINT16 Magic;
    UINT8 MajorLinkerVersion;
    UINT8 MinorLinkerVersion;
    UINT32 SizeOfCode;
    UINT32 SizeOfInitializedData;
    UINT32 SizeOfUninitializedData;
    UINT32 AddressOfEntryPoint;
    UINT32 BaseOfCode;
    UINT64 ImageBase;
    UINT32 SectionAlignment;
    UINT32 FileAlignment;
    UINT16 MajorOperatingSystemVersion;
    UINT16 MinorOperatingSystemVersion;
    UINT16 MajorImageVersion;
    UINT16 MinorImageVersion;
    UINT16 MajorSubsystemVersion;
    UINT16 MinorSubsystemVersion;
    UINT32 Win32VersionValue;
    UINT32 SizeOfImage;
    UINT32 SizeOfHeaders;
    UINT32 CheckSum;
    UINT16 Subsystem;
    UINT16 DllCharacteristics;
    UINT64 SizeOfStackReserve;
    UINT64 SizeOfStackCommit;
    UINT64 SizeOfHeapReserve;
    UINT64 SizeOfHeapCommit;
    UINT32 LoaderFlags;
    UINT32 NumberOfRvaAndSizes; // directories that the file really has; at most 16 are used
    EFI_IMAGE_DATA_DIRECTORY DataDirectory[EFI_IMAGE_NUMBER_OF_DIRECTORY_ENTRIES];
};
static_assert(sizeof(EFI_IMAGE_OPTIONAL_HEADER64) == 240);
static_assert(offsetof(EFI_IMAGE_OPTIONAL_HEADER64, DataDirectory) == 112);

struct [[gnu::packed]] EFI_IMAGE_NT_HEADERS64 {
    UINT32 Signature;
    EFI_IMAGE_FILE_HEADER FileHeader;
    EFI_IMAGE_OPTIONAL_HEADER64 OptionalHeader;
};
static_assert(sizeof(EFI_IMAGE_NT_HEADERS64) == 264);

// Section headers follow the optional header, whose size is FileHeader.SizeOfOptionalHeader.
struct [[gnu::packed]] EFI_IMAGE_SECTION_HEADER {
    UINT8 Name[8];
    UINT32 VirtualSize;
    UINT32 VirtualAddress;
    UINT32 SizeOfRawData;
    UINT32 PointerToRawData;
    UINT32 PointerToRelocations;
    UINT32 PointerToLinenumbers;
    UINT16 NumberOfRelocations;
    UINT16 NumberOfLinenumbers;
    UINT32 Characteristics;
};
static_assert(sizeof(EFI_IMAGE_SECTION_HEADER) == 40);

inline constexpr UINT32 EFI_IMAGE_SCN_CNT_CODE = 0x00000020u;
inline constexpr UINT32 EFI_IMAGE_SCN_CNT_INITIALIZED_DATA = 0x00000040u;
inline constexpr UINT32 EFI_IMAGE_SCN_CNT_UNINITIALIZED_DATA = 0x00000080u;
inline constexpr UINT32 EFI_IMAGE_SCN_MEM_DISCARDABLE = 0x02000000u;
inline constexpr UINT32 EFI_IMAGE_SCN_MEM_EXECUTE = 0x20000000u;
inline constexpr UINT32 EFI_IMAGE_SCN_MEM_READ = 0x40000000u;
inline constexpr UINT32 EFI_IMAGE_SCN_MEM_WRITE = 0x80000000u;

// Followed by UINT16 entries: type in the high 4 bits, offset in the page in the low 12.
struct [[gnu::packed]] EFI_IMAGE_BASE_RELOCATION {
    UINT32 VirtualAddress;
    UINT32 SizeOfBlock; // header included
};
static_assert(sizeof(EFI_IMAGE_BASE_RELOCATION) == 8);

inline constexpr UINT16 EFI_IMAGE_REL_BASED_ABSOLUTE = 0; // padding
inline constexpr UINT16 EFI_IMAGE_REL_BASED_HIGH = 1;
inline constexpr UINT16 EFI_IMAGE_REL_BASED_LOW = 2;
inline constexpr UINT16 EFI_IMAGE_REL_BASED_HIGHLOW = 3;
inline constexpr UINT16 EFI_IMAGE_REL_BASED_HIGHADJ = 4;
inline constexpr UINT16 EFI_IMAGE_REL_BASED_DIR64 = 10;
