#include "sim/devices/FirmwareVolumes.h"

#include "library/pure/Bytes.h"
#include "sim/devices/Devices.h"
#include "sim/devices/FileTree.h"
#include "sim/siblings/MachineReader.h"
#include "uefi/FirmwareVolume2.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr EFI_FV_ATTRIBUTES kReadable = 0x6; // can be read, and is enabled for reading
constexpr std::size_t kSectionHeader = 4;
constexpr std::size_t kSectionAlignment = 4;

struct VolumeFile {
    struct Section {
        EFI_SECTION_TYPE type;
        Bytes content;
    };
    EFI_GUID name;
    EFI_FV_FILETYPE type;
    std::vector<Section> sections;
    Bytes stream; // all of them with their headers, or the content of a raw file
};

Bytes TextBytes(std::u16string_view text) {
    Bytes bytes((text.size() + 1) * sizeof(char16_t));
    kelm::ByteWriter(bytes).WriteUcs2String(text);
    return bytes;
}

Bytes SectionStream(const std::vector<VolumeFile::Section>& sections) {
    Bytes stream;
    for (const auto& section : sections) {
        stream.resize((stream.size() + kSectionAlignment - 1) / kSectionAlignment *
                      kSectionAlignment);
        const std::size_t size = kSectionHeader + section.content.size();
        for (const unsigned shift : {0, 8, 16}) {
            stream.push_back(std::uint8_t(size >> shift));
        }
        stream.push_back(section.type);
        stream.insert(stream.end(), section.content.begin(), section.content.end());
    }
    return stream;
}

class FirmwareVolume final : public DeviceObject {
public:
    FirmwareVolume(const Device& owner, const MachineDescription& machine,
                   const std::string& place);
    EFI_FIRMWARE_VOLUME2_PROTOCOL* Protocol() { return &table_.protocol; }

private:
    using Protocol2 = EFI_FIRMWARE_VOLUME2_PROTOCOL;
    using Table = Interface<Protocol2, FirmwareVolume>;
    // A section is 24 bits long.
    static constexpr std::uint64_t kMostBytes = (1u << 24) - 1 - kSectionHeader;

    static std::optional<EFI_STATUS> Enter(const char* member, const Protocol2* self) {
        return Table::From(self).device_.Enter("FirmwareVolume2", member, self);
    }
    const VolumeFile* Find(const EFI_GUID& name) const;
    EFI_STATUS HandOut(const Bytes& bytes, void** buffer, UINTN* size) const;

    static EFI_STATUS EFIAPI GetVolumeAttributes(const Protocol2* self, EFI_FV_ATTRIBUTES* out);
    static EFI_STATUS EFIAPI SetVolumeAttributes(const Protocol2* self, EFI_FV_ATTRIBUTES*);
    static EFI_STATUS EFIAPI ReadFile(const Protocol2* self, const EFI_GUID* name, void** buffer,
                                      UINTN* size, EFI_FV_FILETYPE* type,
                                      EFI_FV_FILE_ATTRIBUTES* attributes, UINT32* authentication);
    static EFI_STATUS EFIAPI ReadSection(const Protocol2* self, const EFI_GUID* name,
                                         EFI_SECTION_TYPE type, UINTN instance, void** buffer,
                                         UINTN* size, UINT32* authentication);
    static EFI_STATUS EFIAPI WriteFile(const Protocol2* self, UINT32, EFI_FV_WRITE_POLICY,
                                       EFI_FV_WRITE_FILE_DATA*);
    static EFI_STATUS EFIAPI GetNextFile(const Protocol2* self, void* key, EFI_FV_FILETYPE* type,
                                         EFI_GUID* name, EFI_FV_FILE_ATTRIBUTES* attributes,
                                         UINTN* size);
    static EFI_STATUS EFIAPI GetInfo(const Protocol2* self, const EFI_GUID*, UINTN*, void*);
    static EFI_STATUS EFIAPI SetInfo(const Protocol2* self, const EFI_GUID*, UINTN, const void*);

    const Device& device_;
    std::vector<VolumeFile> files_;
    Table table_;
};

FirmwareVolume::FirmwareVolume(const Device& owner, const MachineDescription& machine,
                               const std::string& place)
    : device_(owner) {
    for (std::size_t i = 0; i < machine.At(place).size(); i++) {
        const std::string at = place + "/" + std::to_string(i);
        VolumeFile file;
        file.name = ReadGuid(machine, machine.At(at + "/guid"), at + "/guid");
        if (Find(file.name) != nullptr) {
            throw MachineFileError(machine.file, at + "/guid", "the volume has this file already");
        }
        file.type =
            EFI_FV_FILETYPE(NumberAt(machine, at + "/type", EFI_FV_FILETYPE_APPLICATION, 0xFF));
        Bytes content = ReadFileContent(machine, at + "/content", kMostBytes);
        if (file.type == EFI_FV_FILETYPE_RAW) {
            file.stream = std::move(content);
        } else {
            const bool data = file.type == EFI_FV_FILETYPE_FREEFORM;
            file.sections.push_back(
                {data ? EFI_SECTION_RAW : EFI_SECTION_PE32, std::move(content)});
            if (const Json& name = machine.At(at + "/name"); !name.is_null()) {
                file.sections.push_back(
                    {EFI_SECTION_USER_INTERFACE, TextBytes(ReadText(machine, name, at + "/name"))});
            }
            Bytes version = {0, 0}; // build number
            const Bytes text = TextBytes(u"1.0");
            version.insert(version.end(), text.begin(), text.end());
            file.sections.push_back({EFI_SECTION_VERSION, std::move(version)});
            file.stream = SectionStream(file.sections);
        }
        files_.push_back(std::move(file));
    }
    table_.owner = this;
    table_.protocol = {
        &GetVolumeAttributes, &SetVolumeAttributes, &ReadFile, &ReadSection, &WriteFile,
        &GetNextFile,         sizeof(UINT32),       nullptr,   &GetInfo,     &SetInfo};
}

const VolumeFile* FirmwareVolume::Find(const EFI_GUID& name) const {
    const auto found = std::find_if(files_.begin(), files_.end(),
                                    [&](const VolumeFile& file) { return file.name == name; });
    return found != files_.end() ? &*found : nullptr;
}

// Into the caller's buffer, as much as fits, or into pool that the caller frees.
EFI_STATUS FirmwareVolume::HandOut(const Bytes& bytes, void** buffer, UINTN* size) const {
    if (*buffer == nullptr) {
        *buffer = Platform::Current().CopyToPool(bytes.data(), bytes.size(), "FirmwareVolume2");
        *size = *buffer != nullptr ? bytes.size() : 0;
        return *buffer != nullptr ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
    }
    const UINTN room = *size;
    *size = bytes.size();
    std::memcpy(*buffer, bytes.data(), std::min<UINTN>(room, bytes.size()));
    return room < bytes.size() ? EFI_WARN_BUFFER_TOO_SMALL : EFI_SUCCESS;
}

EFI_STATUS EFIAPI FirmwareVolume::GetVolumeAttributes(const Protocol2* self,
                                                      EFI_FV_ATTRIBUTES* out) {
    if (auto fault = Enter("GetVolumeAttributes", self)) {
        return *fault;
    }
    *out = kReadable;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI FirmwareVolume::SetVolumeAttributes(const Protocol2* self, EFI_FV_ATTRIBUTES*) {
    return Enter("SetVolumeAttributes", self).value_or(EFI_UNSUPPORTED);
}

EFI_STATUS EFIAPI FirmwareVolume::ReadFile(const Protocol2* self, const EFI_GUID* name,
                                           void** buffer, UINTN* size, EFI_FV_FILETYPE* type,
                                           EFI_FV_FILE_ATTRIBUTES* attributes,
                                           UINT32* authentication) {
    if (auto fault = Enter("ReadFile", self)) {
        return *fault;
    }
    const FirmwareVolume& volume = Table::From(self);
    const VolumeFile* file = volume.Find(*name);
    if (file == nullptr) {
        return EFI_NOT_FOUND;
    }
    *type = file->type;
    *attributes = 0;
    *authentication = 0;
    if (buffer == nullptr) {
        *size = file->stream.size();
        return EFI_SUCCESS;
    }
    return volume.HandOut(file->stream, buffer, size);
}

EFI_STATUS EFIAPI FirmwareVolume::ReadSection(const Protocol2* self, const EFI_GUID* name,
                                              EFI_SECTION_TYPE type, UINTN instance, void** buffer,
                                              UINTN* size, UINT32* authentication) {
    if (auto fault = Enter("ReadSection", self)) {
        return *fault;
    }
    const FirmwareVolume& volume = Table::From(self);
    const VolumeFile* file = volume.Find(*name);
    if (file == nullptr) {
        return EFI_NOT_FOUND;
    }
    *authentication = 0;
    for (const auto& section : file->sections) {
        if (section.type == type && instance-- == 0) {
            return volume.HandOut(section.content, buffer, size);
        }
    }
    return EFI_NOT_FOUND;
}

EFI_STATUS EFIAPI FirmwareVolume::WriteFile(const Protocol2* self, UINT32, EFI_FV_WRITE_POLICY,
                                            EFI_FV_WRITE_FILE_DATA*) {
    return Enter("WriteFile", self).value_or(EFI_UNSUPPORTED);
}

EFI_STATUS EFIAPI FirmwareVolume::GetNextFile(const Protocol2* self, void* key,
                                              EFI_FV_FILETYPE* type, EFI_GUID* name,
                                              EFI_FV_FILE_ATTRIBUTES* attributes, UINTN* size) {
    if (auto fault = Enter("GetNextFile", self)) {
        return *fault;
    }
    const auto& files = Table::From(self).files_;
    UINT32 next = 0; // the key: how many files were looked at
    std::memcpy(&next, key, sizeof next);
    while (next < files.size() && *type != EFI_FV_FILETYPE_ALL && files[next].type != *type) {
        next++;
    }
    if (next >= files.size()) {
        return EFI_NOT_FOUND;
    }
    const VolumeFile& file = files[next++];
    std::memcpy(key, &next, sizeof next);
    *type = file.type;
    *name = file.name;
    *attributes = 0;
    *size = file.stream.size();
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI FirmwareVolume::GetInfo(const Protocol2* self, const EFI_GUID*, UINTN*, void*) {
    return Enter("GetInfo", self).value_or(EFI_UNSUPPORTED);
}

EFI_STATUS EFIAPI FirmwareVolume::SetInfo(const Protocol2* self, const EFI_GUID*, UINTN,
                                          const void*) {
    return Enter("SetInfo", self).value_or(EFI_UNSUPPORTED);
}

} // namespace

FirmwareVolumes::FirmwareVolumes(Devices& owner)
    : DeviceDriver(owner, "FirmwareVolumes", gEfiFirmwareVolume2ProtocolGuid) {
    const auto& machine = owner.platform.machine;
    for (const auto& device : owner.All()) {
        const std::string place = device->place + "/volume";
        if (device->id.empty()) {
            continue;
        }
        if (device->kind == "firmware-volume") {
            device->Keep<FirmwareVolume>(*device, machine, place);
        } else if (!machine.At(place).is_null()) {
            throw MachineFileError(machine.file, place, "a device of this kind has no files");
        }
    }
}

void FirmwareVolumes::PowerOn() {
    for (std::size_t i = 0; i < devices.All().size(); i++) {
        Device& device = *devices.All()[i];
        if (auto* volume = device.Find<FirmwareVolume>()) {
            device.Publish(gEfiFirmwareVolume2ProtocolGuid, volume->Protocol());
        }
    }
}

} // namespace sim
