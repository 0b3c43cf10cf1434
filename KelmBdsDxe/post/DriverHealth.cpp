#include "post/DriverHealth.h"

#include "bootopt/DeviceLocation.h"
#include "console/Print.h"
#include "core/DriverState.h"
#include "core/HookPoints.h"
#include "kelm/DeviceLocationProtocol.h"
#include "kelm/HookPoints.h"
#include "kelm/PostMessages.h"
#include "library/firmware/HiiStrings.h"
#include "library/firmware/Measurement.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"
#include "post/ControllerName.h"
#include "post/DriverRepair.h"
#include "post/PostMessages.h"
#include "strings/Strings.h"
#include "uefi/DriverBinding.h"
#include "uefi/DriverHealth.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

namespace kelm {

namespace {

constexpr CHAR16 kNoMessages[] =
    u"Unhealthy status reported by this UEFI driver without specific error message(s).\n\r";
// The drivers of the controller's settings pages, by either name of the controller.
constexpr std::u16string_view kControllerSettings[] = {u"Nimbor Settings", u"BMC Settings"};
constexpr UINTN kMaxMessages = 256; // a list without an end
// What other vendors' drivers call English, the likelier first.
constexpr const CHAR8* kLanguages[] = {kStringLanguage, "en"};

struct UnhealthyDriver {
    EFI_HANDLE handle = nullptr;
    EFI_DRIVER_HEALTH_PROTOCOL* protocol = nullptr;
    EFI_DRIVER_HEALTH_STATUS status = EfiDriverHealthStatusHealthy;
    PoolPtr<EFI_DRIVER_HEALTH_HII_MESSAGE> messages;
    EFI_HII_HANDLE form = nullptr;
    PoolPtr<CHAR16> location;
    const CHAR16* name = nullptr; // the driver's
    UnhealthyDriver* next = nullptr;
};

// The records of one report, in the order of the drivers.
class UnhealthyDrivers {
public:
    UnhealthyDrivers() = default;
    UnhealthyDrivers(const UnhealthyDrivers&) = delete;
    UnhealthyDrivers& operator=(const UnhealthyDrivers&) = delete;
    ~UnhealthyDrivers() {
        while (first_ != nullptr) {
            UnhealthyDriver* gone = std::exchange(first_, first_->next);
            gone->~UnhealthyDriver();
            FreePool(gone);
        }
    }

    const UnhealthyDriver* First() const { return first_; }
    EFI_STATUS Add(UnhealthyDriver driver) {
        UnhealthyDriver* memory = AllocatePool<UnhealthyDriver>().release();
        if (memory == nullptr) {
            return EFI_OUT_OF_RESOURCES;
        }
        *end_ = new (memory) UnhealthyDriver(std::move(driver));
        end_ = &memory->next;
        return EFI_SUCCESS;
    }

private:
    UnhealthyDriver* first_ = nullptr;
    UnhealthyDriver** end_ = &first_;
};

const CHAR16* DriverName(EFI_HANDLE handle) {
    auto* names = ProtocolOnHandle<EFI_COMPONENT_NAME2_PROTOCOL>(handle);
    for (const CHAR8* language : kLanguages) {
        CHAR16* name = nullptr;
        if (names != nullptr && !EFI_ERROR(names->GetDriverName(names, language, &name))) {
            return name;
        }
    }
    return nullptr;
}

// The combined health of all controllers of one driver. One that does not say is healthy.
void Ask(UnhealthyDriver& driver) {
    const Measurement measurement("DriverHealth:", "BDS");
    if (EFI_ERROR(driver.protocol->GetHealthStatus(driver.protocol, nullptr, nullptr,
                                                   &driver.status, driver.messages.out(),
                                                   &driver.form))) {
        driver.status = EfiDriverHealthStatusHealthy;
    }
}

void Describe(UnhealthyDriver& driver) {
    driver.location =
        BdsGetDeviceLocationText(ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(driver.handle));
    driver.name = DriverName(driver.handle);
    DebugPrint(kDebugInfo, "--- Found an DHP instance that is NOT healthy---: \n");
    DebugPrint(kDebugInfo, "DriverHandle = %x  HealthStatus = %d\n", driver.handle, driver.status);
    DebugPrint(kDebugInfo, "DriverLocation: %s\n", driver.location.get());
    DebugPrint(kDebugInfo, "DriverName: %s\n", driver.name);
}

EFI_STATUS Collect(std::span<const EFI_HANDLE> handles, UnhealthyDrivers& unhealthy) {
    for (const EFI_HANDLE handle : handles) {
        UnhealthyDriver driver;
        driver.handle = handle;
        driver.protocol = ProtocolOnHandle<EFI_DRIVER_HEALTH_PROTOCOL>(handle);
        if (driver.protocol == nullptr) {
            continue;
        }
        Ask(driver);
        if (driver.status == EfiDriverHealthStatusHealthy) {
            continue;
        }
        Describe(driver);
        const EFI_STATUS status = unhealthy.Add(std::move(driver));
        if (EFI_ERROR(status)) {
            return status;
        }
    }
    return EFI_SUCCESS;
}

void ShowHiiMessage(const EFI_DRIVER_HEALTH_HII_MESSAGE& message) {
    for (const CHAR8* language : kLanguages) {
        PoolPtr<CHAR16> text;
        if (!EFI_ERROR(GetHiiString(message.HiiHandle, message.StringId, language, text))) {
            static_cast<void>(BdsGeneralizeControllerName(text.get()));
            PrintString(text.get());
            PrintString(u"\n\r");
            return;
        }
    }
}

void Show(const UnhealthyDriver& driver) {
    const EFI_DRIVER_HEALTH_HII_MESSAGE* messages = driver.messages.get();
    if (messages != nullptr) {
        PrintString(u"\r\n");
        PrintString(driver.location ? driver.location.get() : driver.name);
        PrintString(u": ");
        PrintString(u"\r\n");
    }
    if (messages == nullptr || messages->HiiHandle == nullptr) {
        PrintString(kNoMessages);
        return;
    }
    for (UINTN i = 0; i < kMaxMessages && messages[i].HiiHandle != nullptr; ++i) {
        ShowHiiMessage(messages[i]);
    }
}

bool IsControllerSettings(const UnhealthyDriver& driver) {
    return std::find(std::begin(kControllerSettings), std::end(kControllerSettings),
                     Ucs2View(driver.name)) != std::end(kControllerSettings);
}

} // namespace

EFI_STATUS BdsReportDriverHealth() {
    KelmDeviceLocationProtocol* locations = nullptr;
    EFI_STATUS status = BdsLocateDeviceLocation(locations);
    if (EFI_ERROR(status)) {
        DebugPrint(kDebugError,
                   "Error !!! Unable to locate Kelm Device Location Protocol. Status=%r\n", status);
        return status;
    }
    HandleBuffer drivers;
    status = drivers.LocateByProtocol(gEfiDriverHealthProtocolGuid);
    if (EFI_ERROR(status)) {
        return status;
    }
    UnhealthyDrivers unhealthy;
    status = Collect(drivers.handles(), unhealthy);
    if (EFI_ERROR(status)) {
        return status;
    }
    for (const UnhealthyDriver* driver = unhealthy.First(); driver != nullptr;
         driver = driver->next) {
        Show(*driver);
        if (IsControllerSettings(*driver)) {
            gDriver.post.promptRequired = true;
        }
    }
    if (unhealthy.First() != nullptr) {
        static_cast<void>(RegisterPostMessage(kPostMessageDriverUnhealthy));
    }
    BdsRepairAllControllers(drivers.handles());
    BdsSignalHookPoint(gKelmHookAfterDriverHealthGuid);
    return EFI_SUCCESS;
}

} // namespace kelm
