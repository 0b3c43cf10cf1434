// The device location service: where a device sits and how it is called.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"
#include "uefi/DevicePath.h"

struct KelmDeviceLocationProtocol;

namespace kelm {

// Starts the service, before controllers are connected. The status of its lookup or of the call.
EFI_STATUS BdsInitDeviceLocations();
// Asks the service to refresh itself once all controllers are connected. The status of its lookup
// or of the call.
EFI_STATUS BdsRegisterDeviceLocationEvent();

// The service, kept once found. EFI_NOT_FOUND (and null) while there is none.
EFI_STATUS BdsLocateDeviceLocation(KelmDeviceLocationProtocol*& service);

// What the service says of the device that a path names. A text that is not wanted is passed as
// null. A text that the service does not know comes back null, and so does an empty one; all of
// them do with any error. EFI_INVALID_PARAMETER: no path. EFI_NOT_FOUND: no service, or an unknown
// device. Otherwise the status of the service.
EFI_STATUS BdsGetDeviceLocation(const EFI_DEVICE_PATH_PROTOCOL* path, PoolPtr<CHAR16>* location,
                                PoolPtr<CHAR16>* fqdd = nullptr,
                                PoolPtr<CHAR16>* shortName = nullptr);
// Its location text alone; null when there is none.
PoolPtr<CHAR16> BdsGetDeviceLocationText(const EFI_DEVICE_PATH_PROTOCOL* path);

// The text to show for a boot option: the device's location text, ": " and the option's
// description, trailing blanks removed. One that is missing or empty is left out, and so is the
// description of an option made by enumeration (kLoadOptionEnumerated in `attributes`) when the
// location text is a reserved description. Null when neither is left, or memory is out.
PoolPtr<CHAR16> BdsGetLocationDescription(const EFI_DEVICE_PATH_PROTOCOL* path, UINT32 attributes,
                                          const CHAR16* description);

} // namespace kelm
