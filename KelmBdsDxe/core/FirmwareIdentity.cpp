#include "core/FirmwareIdentity.h"

#include "kelm/HobGuids.h"
#include "library/firmware/Hob.h"
#include "library/firmware/Pool.h"
#include "library/firmware/Services.h"
#include "library/pure/Bytes.h"
#include "library/pure/Ucs2.h"
#include "platform/BoardInfo.h"

#include <cstring>
#include <span>
#include <string_view>

namespace kelm {

namespace {

constexpr std::u16string_view kFallbackVendor = u"Kelm";
constexpr UINT32 kFallbackRevision = 1;

// A block holds the address of a table that an earlier phase built.
void InstallConfigurationTables() {
    for (const EFI_GUID* guid : kConfigurationTableHobs) {
        const auto data = FindGuidHob(*guid);
        if (!data) {
            continue;
        }
        ByteReader reader(*data);
        const UINT64 address = reader.ReadU64();
        if (reader.Ok() && address != 0) {
            static_cast<void>(
                gBS->InstallConfigurationTable(guid, reinterpret_cast<void*>(address)));
        }
    }
}

// The copy lives as long as the system table does, beyond boot services.
CHAR16* CopyVendor(std::u16string_view vendor) {
    PoolPtr<CHAR16> copy = AllocateZeroPool<CHAR16>(vendor.size() + 1, EfiRuntimeServicesData);
    if (copy) {
        std::memcpy(copy.get(), vendor.data(), vendor.size() * sizeof(CHAR16));
    }
    return copy.release();
}

void SetVendorAndRevision() {
    const KelmBoardRecord* record = BdsBoardRecord();
    std::u16string_view vendor = kFallbackVendor;
    UINT32 revision = kFallbackRevision;
    if (record != nullptr) {
        vendor = Ucs2View(std::span<const CHAR16>(record->FirmwareVendor));
        revision = UINT32{record->VersionMajor} << 24 | UINT32{record->VersionMinor} << 16 |
                   UINT32{record->VersionMicro} << 8 | 1;
    }
    if (CHAR16* copy = CopyVendor(vendor)) {
        gST->FirmwareVendor = copy;
    }
    gST->FirmwareRevision = revision;
}

void UpdateChecksum(EFI_TABLE_HEADER& header, UINTN size) {
    UINT32 crc = 0;
    header.CRC32 = 0;
    if (!EFI_ERROR(gBS->CalculateCrc32(&header, size, &crc))) {
        header.CRC32 = crc;
    }
}

} // namespace

void BdsSetFirmwareIdentity() {
    InstallConfigurationTables();
    SetVendorAndRevision();
    UpdateChecksum(gST->Hdr, sizeof(EFI_SYSTEM_TABLE));
    UpdateChecksum(gBS->Hdr, gBS->Hdr.HeaderSize);
}

} // namespace kelm
