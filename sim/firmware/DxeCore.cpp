#include "sim/firmware/DxeCore.h"

#include "kelm/FileGuids.h"
#include "library/pure/Crc32.h"
#include "sim/firmware/CalendarTime.h"
#include "sim/firmware/ConsoleSplitter.h"
#include "sim/firmware/Platform.h"
#include "sim/firmware/TraceText.h"
#include "uefi/WatchdogTimerArch.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace sim {

namespace {

constexpr char16_t kVendor[] = u"Simulated Server";
constexpr UINT32 kFirmwareRevision = 0x00010000;
constexpr UINTN kMaxConfigurationTables = 128;
constexpr UINT64 kMicrosecondsPerSecond = 1000000;
constexpr UINT64 kTicksPerSecond = 10000000; // of 100 ns

// Where a firmware volume's header holds its signature.
constexpr UINTN kVolumeSignatureOffset = 40;
constexpr char kVolumeSignature[] = {'_', 'F', 'V', 'H'};

// The device path of a firmware volume that has no name of its own: where it lies.
struct VolumePath {
    MEMMAP_DEVICE_PATH volume;
    EFI_DEVICE_PATH_PROTOCOL end;
};

void UpdateCrc(EFI_TABLE_HEADER& header) {
    header.CRC32 = 0;
    header.CRC32 = kelm::Crc32(&header, header.HeaderSize);
}

template <class Table>
Table* MakeTable(MemoryService& memory, UINT64 signature, UINT32 revision) {
    Table* table = memory.New<Table>();
    table->Hdr = {signature, revision, sizeof(Table), 0, 0};
    return table;
}

const char* ResetName(EFI_RESET_TYPE type) {
    switch (type) {
    case EfiResetCold:
        return "cold";
    case EfiResetWarm:
        return "warm";
    case EfiResetShutdown:
        return "shutdown";
    default:
        return "platform-specific";
    }
}

} // namespace

DxeCore::DxeCore(Platform& platform)
    : memorySpace(platform.arena->Base(), platform.arena->Size()),
      platform_(platform),
      monotonicCount_(UINT64(platform.bootNumber) << 32),
      secondsAtPowerOn_(PowerOnSeconds()) {
    const MachineDescription& machine = platform.machine;
    const Json& present = machine.At("/flash/fontVolume/present");
    fontVolumePresent_ = !present.is_boolean() || present.get<bool>();
    const Json& status = machine.At("/flash/fontVolume/processStatus");
    if (!status.is_null()) {
        fontVolumeStatus_ = ReadStatus(machine, status, "/flash/fontVolume/processStatus");
    }
}

void DxeCore::Install() {
    MemoryService& memory = *platform_.memory;
    bootServices_ = MakeTable<EFI_BOOT_SERVICES>(memory, EFI_BOOT_SERVICES_SIGNATURE,
                                                 EFI_BOOT_SERVICES_REVISION);
    runtimeServices_ = MakeTable<EFI_RUNTIME_SERVICES>(memory, EFI_RUNTIME_SERVICES_SIGNATURE,
                                                       EFI_RUNTIME_SERVICES_REVISION);
    dxeServices_ =
        MakeTable<EFI_DXE_SERVICES>(memory, DXE_SERVICES_SIGNATURE, DXE_SERVICES_REVISION);
    systemTable_ =
        MakeTable<EFI_SYSTEM_TABLE>(memory, EFI_SYSTEM_TABLE_SIGNATURE, EFI_SYSTEM_TABLE_REVISION);
    FillPriorityAndEventServices(*bootServices_);
    FillMemoryServices(*bootServices_);
    FillProtocolServices(*bootServices_);
    FillImageServices(*bootServices_);
    FillMiscellaneousServices(*bootServices_);
    FillRuntimeServices(*runtimeServices_);
    FillDxeServices(*dxeServices_);
    UpdateCrc(bootServices_->Hdr);
    UpdateCrc(runtimeServices_->Hdr);
    UpdateCrc(dxeServices_->Hdr);

    systemTable_->FirmwareVendor =
        static_cast<CHAR16*>(memory.Copy(kVendor, sizeof kVendor, kOwnerFirmware));
    systemTable_->FirmwareRevision = kFirmwareRevision;
    systemTable_->BootServices = bootServices_;
    systemTable_->RuntimeServices = runtimeServices_;
    systemTable_->ConfigurationTable = static_cast<EFI_CONFIGURATION_TABLE*>(
        memory.Allocate(kMaxConfigurationTables * sizeof(EFI_CONFIGURATION_TABLE), kOwnerFirmware));
    platform_.splitter->Install();
    SystemTableChanged();
    InstallConfigurationTable(gEfiDxeServicesTableGuid, dxeServices_);
}

void DxeCore::SystemTableChanged() {
    UpdateCrc(systemTable_->Hdr);
}

EFI_STATUS DxeCore::InstallConfigurationTable(const EFI_GUID& guid, void* table) {
    EFI_CONFIGURATION_TABLE* first = systemTable_->ConfigurationTable;
    EFI_CONFIGURATION_TABLE* last = first + systemTable_->NumberOfTableEntries;
    EFI_CONFIGURATION_TABLE* entry =
        std::find_if(first, last, [&](const auto& old) { return old.VendorGuid == guid; });
    const char* operation = "add";
    if (entry != last && table != nullptr) {
        operation = "update";
        entry->VendorTable = table;
    } else if (entry != last) {
        operation = "remove";
        std::copy(entry + 1, last, entry);
        systemTable_->NumberOfTableEntries--;
    } else if (table == nullptr) {
        return EFI_NOT_FOUND;
    } else if (systemTable_->NumberOfTableEntries == kMaxConfigurationTables) {
        return EFI_OUT_OF_RESOURCES;
    } else {
        *last = {guid, table};
        systemTable_->NumberOfTableEntries++;
    }
    SystemTableChanged();
    platform_.trace.Record("configuration-table", {{"guid", GuidText(guid)}, {"op", operation}});
    platform_.events->SignalGroup(guid, false);
    return EFI_SUCCESS;
}

void* DxeCore::ConfigurationTable(const EFI_GUID& guid) const {
    for (UINTN i = 0; i < systemTable_->NumberOfTableEntries; i++) {
        if (systemTable_->ConfigurationTable[i].VendorGuid == guid) {
            return systemTable_->ConfigurationTable[i].VendorTable;
        }
    }
    return nullptr;
}

EFI_STATUS DxeCore::ProcessFirmwareVolume(const void* header, UINTN size, EFI_HANDLE* handle) {
    const UINT64 address = reinterpret_cast<UINT64>(header);
    EFI_STATUS status = fontVolumeStatus_;
    if (header == nullptr || handle == nullptr || size == 0) {
        status = EFI_INVALID_PARAMETER;
    } else if (platform_.arena->Contains(address)) {
        const auto block = platform_.arena->FindBlock(address);
        const bool readable = block && address + size <= block->address + block->size &&
                              size >= kVolumeSignatureOffset + sizeof kVolumeSignature;
        if (!readable || std::memcmp(static_cast<const UINT8*>(header) + kVolumeSignatureOffset,
                                     kVolumeSignature, sizeof kVolumeSignature) != 0) {
            status = EFI_VOLUME_CORRUPTED;
        }
    } else if (address != kFontVolumeAddress || !fontVolumePresent_) {
        status = EFI_VOLUME_CORRUPTED;
    }
    platform_.trace.Record("firmware-volume",
                           {{"address", address}, {"size", size}, {"status", StatusText(status)}});
    if (EFI_ERROR(status)) {
        return status;
    }
    VolumePath path{};
    path.volume = {{kDevicePathTypeHardware, kHardwareSubTypeMemoryMapped, {sizeof path.volume, 0}},
                   platform_.arena->Contains(address) ? UINT32(EfiBootServicesData)
                                                      : UINT32(EfiMemoryMappedIO),
                   address,
                   address + size - 1};
    path.end = {kDevicePathTypeEnd, kEndSubTypeEntire, {sizeof path.end, 0}};
    void* copy = platform_.memory->Copy(&path, sizeof path, kOwnerFirmware);
    if (copy == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    *handle = nullptr;
    return platform_.handles->Install(handle, gEfiDevicePathProtocolGuid, copy);
}

UINT64 DxeCore::NextHighMonotonicCount() {
    monotonicCount_ = ((monotonicCount_ >> 32) + 1) << 32;
    return monotonicCount_;
}

EFI_TIME DxeCore::Time() const {
    const UINT64 now = platform_.clock->Now();
    return TimeOf(secondsAtPowerOn_ + now / kMicrosecondsPerSecond,
                  UINT32(now % kMicrosecondsPerSecond * 1000));
}

void DxeCore::SetTime(const EFI_TIME& time) {
    const UINT64 running = platform_.clock->Now() / kMicrosecondsPerSecond;
    const UINT64 seconds = SecondsOf(time);
    secondsAtPowerOn_ = seconds > running ? seconds - running : 0;
}

EFI_STATUS DxeCore::SetWatchdogTimer(UINTN seconds) {
    auto* watchdog = static_cast<EFI_WATCHDOG_TIMER_ARCH_PROTOCOL*>(
        platform_.handles->FindFirst(gEfiWatchdogTimerArchProtocolGuid));
    if (watchdog == nullptr) {
        return EFI_UNSUPPORTED;
    }
    return watchdog->SetTimerPeriod(watchdog, seconds * kTicksPerSecond);
}

bool DxeCore::BeginsExitBootServices() {
    return !std::exchange(exitsBootServices_, true);
}

void DxeCore::Reset(EFI_RESET_TYPE type, EFI_STATUS status) {
    platform_.trace.Record("reset", {{"type", ResetName(type)}, {"status", StatusText(status)}});
    switch (type) {
    case EfiResetWarm:
        platform_.End(EndReason::ResetWarm);
    case EfiResetShutdown:
        platform_.End(EndReason::Shutdown);
    default:
        platform_.End(EndReason::ResetCold);
    }
}

} // namespace sim
