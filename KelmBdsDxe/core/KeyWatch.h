// Keys that are acted on the moment they are pressed, on every keyboard that is there or appears
// (UEFI 2.10, section 12.3: key notifications).
//
// A watch hands each text-input device to its owner once: those that are there when it starts, and
// each one that is installed later. The owner then names the keys that it wants of that device.
// Owner and key notifications run at TPL_CALLBACK.
#pragma once

#include "uefi/Base.h"
#include "uefi/SimpleTextInput.h"

namespace kelm {

struct WatchedKey;

struct KeyWatch {
    using OnDevice = void (*)(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* input);

    OnDevice onDevice = nullptr;
    EFI_EVENT installed = nullptr; // signalled for every new device
    void* registration = nullptr;
    WatchedKey* keys = nullptr; // what was registered, newest first
};

// Hands out all devices from now on. The watch stays where it is until it is stopped; one that was
// started before is stopped first. The status of the event's creation or registration: nothing is
// watched then. Devices are handed out at once when this is called below TPL_CALLBACK.
EFI_STATUS StartKeyWatch(KeyWatch& watch, KeyWatch::OnDevice onDevice);
// Has `onKey` called whenever the key is pressed on that device, with any shift state. The status
// of the registration, or EFI_OUT_OF_RESOURCES.
EFI_STATUS WatchKey(KeyWatch& watch, EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* input, UINT16 scanCode,
                    EFI_KEY_NOTIFY_FUNCTION onKey);
// Takes back every registration and closes the event. A watch that was not started has none.
void StopKeyWatch(KeyWatch& watch);

} // namespace kelm
