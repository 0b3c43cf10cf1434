// Registering numbered POST messages with the POST message service. Any phase does it; the end of
// POST and every boot attempt show what has come together (post/PostDisplay.h).
#pragma once

#include "library/pure/Format.h"
#include "uefi/Base.h"
#include "uefi/DevicePath.h"

#include <array>

namespace kelm {

// Registers a message without arguments and without a device; the numbers stand in
// kelm/PostMessages.h. EFI_NOT_FOUND: there is no service, or it has no such message for this
// platform. EFI_OUT_OF_RESOURCES. Otherwise the status of the service.
EFI_STATUS RegisterPostMessage(UINT32 number);

// The same for a message about a device (null: none) whose text has arguments; statuses as above.
// The formatted text is cut at 255 characters. The first argument, when it is a text, also goes to
// the controller's log; ASCII is widened for that.
EFI_STATUS RegisterPostMessageWithArgumentList(UINT32 number,
                                               const EFI_DEVICE_PATH_PROTOCOL* device,
                                               FormatArguments arguments);
template <class... Arguments>
EFI_STATUS RegisterPostMessageWithArgs(UINT32 number, const EFI_DEVICE_PATH_PROTOCOL* device,
                                       const Arguments&... arguments) {
    const std::array<FormatArgument, sizeof...(Arguments)> packed{FormatArgument(arguments)...};
    return RegisterPostMessageWithArgumentList(number, device, packed);
}

} // namespace kelm
