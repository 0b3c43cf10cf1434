#include "core/KeyWatch.h"

#include "library/firmware/Event.h"
#include "library/firmware/Pool.h"
#include "library/firmware/Protocol.h"

#include <algorithm>
#include <utility>

namespace kelm {

struct WatchedKey {
    WatchedKey* next;
    EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* input;
    void* notification;
};

namespace {

using TextInput = EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL;

// A device that comes again at the address of one that went does not know what the old one was
// told.
void ForgetDevice(KeyWatch& watch, const TextInput* input) {
    for (WatchedKey** link = &watch.keys; *link != nullptr;) {
        if ((*link)->input == input) {
            FreePool(std::exchange(*link, (*link)->next));
        } else {
            link = &(*link)->next;
        }
    }
}

// A registration finds the devices that were there before it, too.
void EFIAPI OnInstalled(EFI_EVENT, void* context) {
    KeyWatch& watch = *static_cast<KeyWatch*>(context);
    void* found = nullptr;
    while (!EFI_ERROR(
        gBS->LocateProtocol(&ProtocolGuid<TextInput>::value, watch.registration, &found))) {
        auto* input = static_cast<TextInput*>(found);
        ForgetDevice(watch, input);
        watch.onDevice(input);
    }
}

bool IsInstalled(const HandleBuffer& buffer, const TextInput* input) {
    const auto handles = buffer.handles();
    return std::any_of(handles.begin(), handles.end(), [&](EFI_HANDLE handle) {
        return ProtocolOnHandle<TextInput>(handle) == input;
    });
}

} // namespace

EFI_STATUS StartKeyWatch(KeyWatch& watch, KeyWatch::OnDevice onDevice) {
    StopKeyWatch(watch);
    watch.onDevice = onDevice;
    Event installed;
    EFI_STATUS status = installed.Create(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, OnInstalled, &watch);
    if (EFI_ERROR(status)) {
        return status;
    }
    status = gBS->RegisterProtocolNotify(&ProtocolGuid<TextInput>::value, installed.get(),
                                         &watch.registration);
    if (EFI_ERROR(status)) {
        return status;
    }
    watch.installed = installed.release();
    static_cast<void>(gBS->SignalEvent(watch.installed));
    return EFI_SUCCESS;
}

EFI_STATUS WatchKey(KeyWatch& watch, TextInput* input, UINT16 scanCode,
                    EFI_KEY_NOTIFY_FUNCTION onKey) {
    PoolPtr<WatchedKey> key = AllocatePool<WatchedKey>();
    if (!key) {
        return EFI_OUT_OF_RESOURCES;
    }
    *key = {.next = watch.keys, .input = input, .notification = nullptr};
    EFI_KEY_DATA data{};
    data.Key.ScanCode = scanCode;
    const EFI_STATUS status = input->RegisterKeyNotify(input, &data, onKey, &key->notification);
    if (!EFI_ERROR(status)) {
        watch.keys = key.release();
    }
    return status;
}

void StopKeyWatch(KeyWatch& watch) {
    if (watch.installed != nullptr) {
        gBS->CloseEvent(std::exchange(watch.installed, nullptr));
    }
    if (watch.keys == nullptr) {
        return;
    }
    HandleBuffer buffer;
    static_cast<void>(buffer.LocateByProtocol(ProtocolGuid<TextInput>::value));
    while (watch.keys != nullptr) {
        const PoolPtr<WatchedKey> key(std::exchange(watch.keys, watch.keys->next));
        // A device that has gone took its registrations along.
        if (IsInstalled(buffer, key->input)) {
            static_cast<void>(key->input->UnregisterKeyNotify(key->input, key->notification));
        }
    }
}

} // namespace kelm
