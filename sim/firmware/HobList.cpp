#include "sim/firmware/HobList.h"

#include "sim/firmware/DxeCore.h"
#include "sim/firmware/Platform.h"
#include "uefi/Hob.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

constexpr std::size_t kMaxHobLength = 0xFFF8;

std::size_t Rounded(std::size_t size) {
    return (size + 7) & ~std::size_t(7);
}

} // namespace

HobList::HobList(Platform& platform) : platform_(platform) {
    const MachineDescription& machine = platform.machine;
    const Json& list = machine.At("/hobs");
    for (std::size_t i = 0; i < list.size(); i++) {
        const std::string place = "/hobs/" + std::to_string(i);
        Extension extension;
        extension.guid = ReadGuid(machine, list[i].value("guid", Json()), place + "/guid");
        extension.data = ReadHex(machine, list[i].value("hex", Json("")), place + "/hex");
        if (sizeof(EFI_HOB_GUID_TYPE) + extension.data.size() > kMaxHobLength) {
            throw MachineFileError(machine.file, place + "/hex", "more than a HOB holds");
        }
        extensions_.push_back(std::move(extension));
    }
}

void HobList::Install() {
    std::vector<UINT8> bytes;
    const auto append = [&](const void* data, std::size_t size) {
        const auto* first = static_cast<const UINT8*>(data);
        bytes.insert(bytes.end(), first, first + size);
        bytes.resize(Rounded(bytes.size()));
    };
    EFI_HOB_HANDOFF_INFO_TABLE handoff{};
    handoff.Header = {EFI_HOB_TYPE_HANDOFF, sizeof handoff, 0};
    handoff.Version = EFI_HOB_HANDOFF_TABLE_VERSION;
    handoff.BootMode = BOOT_WITH_FULL_CONFIGURATION;
    handoff.EfiMemoryBottom = platform_.arena->Base();
    handoff.EfiMemoryTop = platform_.arena->Base() + platform_.arena->Size();
    handoff.EfiFreeMemoryBottom = handoff.EfiMemoryBottom;
    handoff.EfiFreeMemoryTop = handoff.EfiMemoryTop;
    append(&handoff, sizeof handoff);
    for (const Extension& extension : extensions_) {
        EFI_HOB_GUID_TYPE header{};
        header.Header = {EFI_HOB_TYPE_GUID_EXTENSION,
                         UINT16(Rounded(sizeof header + extension.data.size())), 0};
        header.Name = extension.guid;
        append(&header, sizeof header);
        append(extension.data.data(), extension.data.size());
    }
    const EFI_HOB_GENERIC_HEADER end = {EFI_HOB_TYPE_END_OF_HOB_LIST, sizeof end, 0};
    append(&end, sizeof end);
    start_ = platform_.memory->Copy(bytes.data(), bytes.size(), kOwnerFirmware);
    auto* table = static_cast<EFI_HOB_HANDOFF_INFO_TABLE*>(start_);
    table->EfiEndOfHobList = reinterpret_cast<UINT64>(start_) + bytes.size();
    platform_.core->InstallConfigurationTable(gEfiHobListGuid, start_);
}

const std::vector<UINT8>* HobList::Find(const EFI_GUID& guid) const {
    const auto found =
        std::find_if(extensions_.begin(), extensions_.end(),
                     [&](const Extension& extension) { return extension.guid == guid; });
    return found != extensions_.end() ? &found->data : nullptr;
}

} // namespace sim
