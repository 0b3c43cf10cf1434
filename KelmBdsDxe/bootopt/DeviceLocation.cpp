#include "bootopt/DeviceLocation.h"

#include "bootopt/LoadOptionFormat.h"
#include "bootopt/ReservedDescription.h"
#include "core/DriverState.h"
#include "kelm/DeviceLocationProtocol.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"

#include <array>

namespace kelm {

namespace {

std::u16string_view WithoutTrailingBlanks(std::u16string_view text) {
    while (!text.empty() && text.back() == u' ') {
        text.remove_suffix(1);
    }
    return text;
}

} // namespace

EFI_STATUS BdsLocateDeviceLocation(KelmDeviceLocationProtocol*& service) {
    KelmDeviceLocationProtocol*& kept = gDriver.bootOpt.deviceLocation;
    const EFI_STATUS status = kept != nullptr ? EFI_SUCCESS : LocateProtocol(kept);
    service = kept;
    return status;
}

EFI_STATUS BdsInitDeviceLocations() {
    KelmDeviceLocationProtocol* service = nullptr;
    const EFI_STATUS status = BdsLocateDeviceLocation(service);
    if (EFI_ERROR(status)) {
        DebugPrint(kDebugError,
                   "Error !!! Unable to locate Kelm Device Location Protocol. Status=%r\n", status);
        return status;
    }
    return service->InitializeDeviceLocations(service);
}

EFI_STATUS BdsRegisterDeviceLocationEvent() {
    KelmDeviceLocationProtocol* service = nullptr;
    const EFI_STATUS status = BdsLocateDeviceLocation(service);
    return EFI_ERROR(status) ? status : service->RegisterDeviceLocationEvent(service);
}

EFI_STATUS BdsGetDeviceLocation(const EFI_DEVICE_PATH_PROTOCOL* path, PoolPtr<CHAR16>* location,
                                PoolPtr<CHAR16>* fqdd, PoolPtr<CHAR16>* shortName) {
    const std::array wanted = {location, fqdd, shortName};
    std::array<CHAR16**, wanted.size()> outputs{};
    for (size_t i = 0; i < wanted.size(); ++i) {
        outputs[i] = wanted[i] == nullptr ? nullptr : wanted[i]->out();
    }
    KelmDeviceLocationProtocol* service = nullptr;
    EFI_STATUS status = path == nullptr ? EFI_INVALID_PARAMETER : BdsLocateDeviceLocation(service);
    if (!EFI_ERROR(status)) {
        status = service->GetDeviceLocation(service, path, kDeviceLocationLanguage, outputs[0],
                                            outputs[1], outputs[2]);
    }
    for (PoolPtr<CHAR16>* text : wanted) {
        // A call that failed may have filled some of them.
        if (text != nullptr && *text && (EFI_ERROR(status) || (*text)[0] == u'\0')) {
            text->reset();
        }
    }
    return status;
}

PoolPtr<CHAR16> BdsGetDeviceLocationText(const EFI_DEVICE_PATH_PROTOCOL* path) {
    PoolPtr<CHAR16> location;
    static_cast<void>(BdsGetDeviceLocation(path, &location));
    return location;
}

PoolPtr<CHAR16> BdsGetLocationDescription(const EFI_DEVICE_PATH_PROTOCOL* path, UINT32 attributes,
                                          const CHAR16* description) {
    const PoolPtr<CHAR16> locationText = BdsGetDeviceLocationText(path);
    const std::u16string_view location = Ucs2View(locationText.get());
    std::u16string_view own = Ucs2View(description);
    if ((attributes & kLoadOptionEnumerated) != 0 && BdsIsReservedDescription(locationText.get())) {
        own = {};
    }
    if (location.empty() && own.empty()) {
        return {};
    }
    const std::u16string_view separator =
        location.empty() || own.empty() ? std::u16string_view() : u": ";
    const size_t room = location.size() + separator.size() + own.size() + 1;
    PoolPtr<CHAR16> text = AllocateZeroPool<CHAR16>(room);
    if (!text) {
        return {};
    }
    for (const std::u16string_view piece : {location, separator, own}) {
        static_cast<void>(Ucs2Append({text.get(), room}, piece));
    }
    if (!own.empty()) {
        text[WithoutTrailingBlanks(Ucs2View(text.get())).size()] = u'\0';
    }
    return text;
}

} // namespace kelm
