#include "sim/devices/FileSystem.h"

#include "library/pure/Bytes.h"
#include "library/pure/Ucs2.h"
#include "sim/devices/BlockMedia.h"
#include "sim/devices/Devices.h"
#include "sim/firmware/Violations.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

constexpr EFI_TIME kFileTime = {2024, 1, 1, 0, 0, 0, 0, 0, EFI_UNSPECIFIED_TIMEZONE, 0, 0};
constexpr UINT64 kEndOfFile = ~UINT64{0};

// Hands out a record of a fixed part and a text behind it.
EFI_STATUS HandOut(const void* head, std::size_t headSize, std::u16string_view text, UINTN* size,
                   void* buffer) {
    const std::size_t whole = headSize + (text.size() + 1) * sizeof(CHAR16);
    const UINTN room = *size;
    *size = whole;
    if (room < whole) {
        return EFI_BUFFER_TOO_SMALL;
    }
    kelm::ByteWriter record({static_cast<UINT8*>(buffer), whole});
    record.WriteBytes(head, headSize);
    record.WriteUcs2String(text);
    return EFI_SUCCESS;
}

EFI_STATUS FileInfo(const FileNode& node, UINTN* size, void* buffer) {
    EFI_FILE_INFO info{};
    info.Size = sizeof info + (node.name.size() + 1) * sizeof(CHAR16);
    info.FileSize = node.content.size();
    info.PhysicalSize = (info.FileSize + 511) & ~UINT64{511};
    info.CreateTime = info.LastAccessTime = info.ModificationTime = kFileTime;
    info.Attribute = node.directory ? EFI_FILE_DIRECTORY : EFI_FILE_ARCHIVE;
    return HandOut(&info, sizeof info, node.name, size, buffer);
}

bool IsMode(UINT64 mode) {
    return mode == EFI_FILE_MODE_READ || mode == (EFI_FILE_MODE_READ | EFI_FILE_MODE_WRITE) ||
           mode == (EFI_FILE_MODE_READ | EFI_FILE_MODE_WRITE | EFI_FILE_MODE_CREATE);
}

} // namespace

FileSystem::FileSystem(Device& owner, const FileTree& files) : device_(owner), files_(files) {
    table_.protocol = {EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_REVISION, &OpenVolume};
    table_.owner = this;
}

std::vector<std::u16string> FileSystem::OpenFiles() const {
    std::vector<std::u16string> names;
    for (const OpenFile& file : handles_) {
        if (file.open) {
            names.push_back(file.node->Path());
        }
    }
    return names;
}

FileSystem::File* FileSystem::NewHandle(const FileNode& node) {
    OpenFile& file = handles_.emplace_back();
    file.node = &node;
    file.table.owner = this;
    file.table.protocol = {.Revision = EFI_FILE_PROTOCOL_REVISION,
                           .Open = &Open,
                           .Close = &Close,
                           .Delete = &Delete,
                           .Read = &Read,
                           .Write = &Write,
                           .GetPosition = &GetPosition,
                           .SetPosition = &SetPosition,
                           .GetInfo = &GetInfo,
                           .SetInfo = &SetInfo,
                           .Flush = &Flush,
                           .OpenEx = nullptr,
                           .ReadEx = nullptr,
                           .WriteEx = nullptr,
                           .FlushEx = nullptr};
    return &file.table.protocol;
}

// The beginning of every call of a file; closing is allowed when the file system has gone.
std::optional<EFI_STATUS> FileSystem::Enter(const char* member, const File* self) {
    const OpenFile& file = Handle(self);
    const FileSystem& system = *file.table.owner;
    Platform& platform = system.device_.devices.platform;
    const bool closing = std::string_view(member) == "Close";
    const bool gone = platform.handles->WasUninstalled(&system.table_.protocol);
    if (!file.open || (gone && !closing)) {
        platform.violations->Record(std::string("File.") + member + " of " +
                                    ToUtf8(file.node->Path()) + " called after " +
                                    (file.open ? "its file system had gone" : "it was closed"));
    }
    if (auto fault = platform.EnterSibling("File", member, false)) {
        return fault;
    }
    if (!file.open) {
        return EFI_INVALID_PARAMETER;
    }
    return gone && !closing ? std::optional(EFI_MEDIA_CHANGED) : std::nullopt;
}

EFI_STATUS EFIAPI FileSystem::OpenVolume(EFI_SIMPLE_FILE_SYSTEM_PROTOCOL* self, File** root) {
    FileSystem& system = decltype(table_)::From(self);
    if (auto fault = system.device_.Enter("SimpleFileSystem", "OpenVolume", self)) {
        return *fault;
    }
    if (root == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *root = system.NewHandle(system.files_.Root());
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI FileSystem::Open(File* self, File** handle, const CHAR16* name, UINT64 mode,
                                   UINT64) {
    if (auto status = Enter("Open", self)) {
        return *status;
    }
    if (handle == nullptr || name == nullptr || !IsMode(mode)) {
        return EFI_INVALID_PARAMETER;
    }
    const OpenFile& from = Handle(self);
    FileSystem& system = *from.table.owner;
    const FileNode* node = system.files_.Find(*from.node, name);
    if ((mode & EFI_FILE_MODE_WRITE) != 0 &&
        (node != nullptr || (mode & EFI_FILE_MODE_CREATE) != 0)) {
        return EFI_WRITE_PROTECTED;
    }
    if (node == nullptr) {
        return EFI_NOT_FOUND;
    }
    *handle = system.NewHandle(*node);
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI FileSystem::Close(File* self) {
    if (auto status = Enter("Close", self)) {
        return *status;
    }
    Handle(self).open = false;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI FileSystem::Delete(File* self) {
    if (auto status = Enter("Delete", self)) {
        return *status;
    }
    Handle(self).open = false; // as the standard has it, also when nothing is deleted
    return EFI_WARN_DELETE_FAILURE;
}

// The next entry of a directory; 0 bytes behind the last one.
EFI_STATUS FileSystem::ReadEntry(OpenFile& file, UINTN* size, void* buffer) const {
    if (file.position >= file.node->children.size()) {
        *size = 0;
        return EFI_SUCCESS;
    }
    const EFI_STATUS status = FileInfo(*file.node->children[file.position], size, buffer);
    if (!EFI_ERROR(status)) {
        file.position++;
    }
    return status;
}

EFI_STATUS EFIAPI FileSystem::Read(File* self, UINTN* size, void* buffer) {
    if (auto status = Enter("Read", self)) {
        return *status;
    }
    OpenFile& file = Handle(self);
    if (size == nullptr || (buffer == nullptr && *size != 0)) {
        return EFI_INVALID_PARAMETER;
    }
    if (file.node->directory) {
        return file.table.owner->ReadEntry(file, size, buffer);
    }
    const auto& content = file.node->content;
    if (file.position > content.size()) {
        return EFI_DEVICE_ERROR;
    }
    *size = std::min<UINTN>(*size, content.size() - file.position);
    std::copy_n(content.begin() + std::ptrdiff_t(file.position), *size,
                static_cast<UINT8*>(buffer));
    file.position += *size;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI FileSystem::Write(File* self, UINTN*, const void*) {
    if (auto status = Enter("Write", self)) {
        return *status;
    }
    return Handle(self).node->directory ? EFI_UNSUPPORTED : EFI_WRITE_PROTECTED;
}

EFI_STATUS EFIAPI FileSystem::GetPosition(File* self, UINT64* position) {
    if (auto status = Enter("GetPosition", self)) {
        return *status;
    }
    const OpenFile& file = Handle(self);
    if (file.node->directory) {
        return EFI_UNSUPPORTED;
    }
    *position = file.position;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI FileSystem::SetPosition(File* self, UINT64 position) {
    if (auto status = Enter("SetPosition", self)) {
        return *status;
    }
    OpenFile& file = Handle(self);
    if (file.node->directory && position != 0) {
        return EFI_UNSUPPORTED;
    }
    file.position = position == kEndOfFile ? file.node->content.size() : position;
    return EFI_SUCCESS;
}

EFI_STATUS FileSystem::SystemInfo(UINTN* size, void* buffer) const {
    const auto* media = device_.Find<BlockMedia>();
    EFI_FILE_SYSTEM_INFO info{};
    info.Size = kFileSystemInfoLabelOffset + sizeof(CHAR16);
    info.ReadOnly = TRUE;
    info.VolumeSize = media != nullptr ? media->geometry.Bytes() : files_.Bytes();
    info.BlockSize = media != nullptr ? media->geometry.blockSize : 512;
    return HandOut(&info, kFileSystemInfoLabelOffset, {}, size, buffer);
}

EFI_STATUS EFIAPI FileSystem::GetInfo(File* self, const EFI_GUID* type, UINTN* size, void* buffer) {
    if (auto status = Enter("GetInfo", self)) {
        return *status;
    }
    const OpenFile& file = Handle(self);
    if (*type == gEfiFileInfoGuid) {
        return FileInfo(*file.node, size, buffer);
    }
    if (*type == gEfiFileSystemInfoGuid) {
        return file.table.owner->SystemInfo(size, buffer);
    }
    if (*type == gEfiFileSystemVolumeLabelInfoIdGuid) {
        return HandOut(nullptr, 0, {}, size, buffer);
    }
    return EFI_UNSUPPORTED;
}

EFI_STATUS EFIAPI FileSystem::SetInfo(File* self, const EFI_GUID* type, UINTN, const void*) {
    if (auto status = Enter("SetInfo", self)) {
        return *status;
    }
    const bool known = *type == gEfiFileInfoGuid || *type == gEfiFileSystemInfoGuid ||
                       *type == gEfiFileSystemVolumeLabelInfoIdGuid;
    return known ? EFI_WRITE_PROTECTED : EFI_UNSUPPORTED;
}

EFI_STATUS EFIAPI FileSystem::Flush(File* self) {
    if (auto status = Enter("Flush", self)) {
        return *status;
    }
    return EFI_SUCCESS;
}

} // namespace sim
