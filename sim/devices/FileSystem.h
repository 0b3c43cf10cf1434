// EFI_SIMPLE_FILE_SYSTEM_PROTOCOL and EFI_FILE_PROTOCOL over the files of a medium (UEFI 2.10,
// sections 13.4 and 13.5). The file system cannot be written.
//
// A handle of a file that is used after it was closed, or after its file system has gone, is a
// violation; such a call answers EFI_INVALID_PARAMETER or EFI_MEDIA_CHANGED.
#pragma once

#include "sim/devices/FileTree.h"
#include "sim/siblings/Sibling.h"
#include "uefi/SimpleFileSystem.h"

#include <deque>
#include <string>
#include <vector>

namespace sim {

class FileSystem final : public DeviceObject {
public:
    FileSystem(Device& owner, const FileTree& files);
    EFI_SIMPLE_FILE_SYSTEM_PROTOCOL* Protocol() { return &table_.protocol; }

    // The paths of the files that are open, in the order in which they were opened.
    std::vector<std::u16string> OpenFiles() const;

private:
    // A handle, valid from Open() to Close().
    struct OpenFile {
        Interface<EFI_FILE_PROTOCOL, FileSystem> table;
        const FileNode* node = nullptr;
        UINT64 position = 0; // in bytes; of a directory, the entries that were read
        bool open = true;
    };
    using File = EFI_FILE_PROTOCOL;

    static OpenFile& Handle(const File* self) {
        return *reinterpret_cast<OpenFile*>(const_cast<File*>(self));
    }
    static std::optional<EFI_STATUS> Enter(const char* member, const File* self);
    File* NewHandle(const FileNode& node);
    EFI_STATUS ReadEntry(OpenFile& file, UINTN* size, void* buffer) const;
    EFI_STATUS SystemInfo(UINTN* size, void* buffer) const;

    static EFI_STATUS EFIAPI OpenVolume(EFI_SIMPLE_FILE_SYSTEM_PROTOCOL* self, File** root);
    static EFI_STATUS EFIAPI Open(File* self, File** handle, const CHAR16* name, UINT64 mode,
                                  UINT64 attributes);
    static EFI_STATUS EFIAPI Close(File* self);
    static EFI_STATUS EFIAPI Delete(File* self);
    static EFI_STATUS EFIAPI Read(File* self, UINTN* size, void* buffer);
    static EFI_STATUS EFIAPI Write(File* self, UINTN* size, const void* buffer);
    static EFI_STATUS EFIAPI GetPosition(File* self, UINT64* position);
    static EFI_STATUS EFIAPI SetPosition(File* self, UINT64 position);
    static EFI_STATUS EFIAPI GetInfo(File* self, const EFI_GUID* type, UINTN* size, void* buffer);
    static EFI_STATUS EFIAPI SetInfo(File* self, const EFI_GUID* type, UINTN size,
                                     const void* buffer);
    static EFI_STATUS EFIAPI Flush(File* self);

    Device& device_;
    const FileTree& files_;
    Interface<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL, FileSystem> table_;
    std::deque<OpenFile> handles_; // closed ones too
};

} // namespace sim
