#include "sim/firmware/Keyboard.h"

#include "library/pure/Ucs2.h"
#include "sim/firmware/Clock.h"
#include "sim/firmware/EventService.h"
#include "sim/firmware/HandleDatabase.h"
#include "sim/firmware/Violations.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace sim {

namespace {

constexpr std::uint64_t kMicrosecondsPerMillisecond = 1000;

// A registered key matches any shift or toggle state that it leaves at 0.
bool Matches(const EFI_KEY_DATA& registered, const EFI_KEY_DATA& pressed) {
    const EFI_KEY_STATE& wanted = registered.KeyState;
    return registered.Key.ScanCode == pressed.Key.ScanCode &&
           registered.Key.UnicodeChar == pressed.Key.UnicodeChar &&
           (wanted.KeyShiftState == 0 || wanted.KeyShiftState == pressed.KeyState.KeyShiftState) &&
           (wanted.KeyToggleState == 0 || wanted.KeyToggleState == pressed.KeyState.KeyToggleState);
}

// The extended protocol reports the letter and the Ctrl state; the simple one has no states and
// reports the control character.
CHAR16 WithoutState(const EFI_KEY_DATA& key) {
    constexpr UINT32 kControl = EFI_LEFT_CONTROL_PRESSED | EFI_RIGHT_CONTROL_PRESSED;
    const CHAR16 upper = kelm::ToUpperAscii(key.Key.UnicodeChar);
    const bool letter = upper >= u'A' && upper <= u'Z';
    return letter && (key.KeyState.KeyShiftState & kControl) != 0 ? CHAR16(upper - u'A' + 1)
                                                                  : key.Key.UnicodeChar;
}

} // namespace

Keyboard::Keyboard(Platform& platform) : platform_(platform) {
    std::size_t index = 0;
    for (const Json& entry : platform.machine.At("/keys")) {
        const std::string place = fmt::format("/keys/{}", index++);
        const std::string name = entry.at("key");
        const auto data = KeyFromName(name);
        if (!data) {
            throw MachineFileError(platform.machine.file, place + "/key",
                                   fmt::format("there is no key \"{}\"", name));
        }
        const std::uint64_t at = ReadNumber(platform.machine, entry.at("at"), place + "/at");
        const Json boot = entry.value("boot", Json());
        if (boot.is_null() ||
            ReadNumber(platform.machine, boot, place + "/boot") == platform.bootNumber) {
            coming_.push_back({at * kMicrosecondsPerMillisecond, name, *data});
        }
    }
    table_.owner = this;
    table_.protocol = {&Reset, &ReadKeyStroke, nullptr};
    tableEx_.owner = this;
    tableEx_.protocol = {&ResetEx,  &ReadKeyStrokeEx,   nullptr,
                         &SetState, &RegisterKeyNotify, &UnregisterKeyNotify};
}

void Keyboard::PowerOn() {
    EventService& events = *platform_.events;
    events.CreateEvent(EVT_NOTIFY_WAIT, TPL_NOTIFY, &OnWait, this, nullptr,
                       &table_.protocol.WaitForKey);
    events.CreateEvent(EVT_NOTIFY_WAIT, TPL_NOTIFY, &OnWait, this, nullptr,
                       &tableEx_.protocol.WaitForKeyEx);
    events.CreateEvent(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, &OnNotify, this, nullptr, &notifyEvent_);
    for (const ComingKey& key : coming_) {
        Schedule(key.time, key.data, key.name);
    }
    coming_.clear();
}

void Keyboard::Schedule(std::uint64_t microseconds, const EFI_KEY_DATA& key,
                        std::string_view name) {
    platform_.clock->ScheduleInput(microseconds,
                                   [this, key, name = std::string(name)] { Press(key, name); });
}

void Keyboard::Press(const EFI_KEY_DATA& key, std::string_view name) {
    platform_.trace.Record("key", {{"key", name}});
    EFI_KEY_DATA arrived = key;
    arrived.KeyState.KeyToggleState = toggle_;
    queue_.push_back(arrived);
    if (!notifications_.empty()) {
        unannounced_.push_back(arrived);
        platform_.events->SignalEvent(notifyEvent_); // may end the boot
    }
}

void EFIAPI Keyboard::OnWait(EFI_EVENT event, void* context) {
    auto& keyboard = *static_cast<Keyboard*>(context);
    if (!keyboard.queue_.empty()) {
        keyboard.platform_.events->SignalEvent(event);
    }
}

void EFIAPI Keyboard::OnNotify(EFI_EVENT, void* context) {
    auto& keyboard = *static_cast<Keyboard*>(context);
    while (!keyboard.unannounced_.empty()) {
        EFI_KEY_DATA key = keyboard.unannounced_.front();
        keyboard.unannounced_.pop_front();
        // By index: a notification may register or take back others.
        for (std::size_t i = 0; i < keyboard.notifications_.size(); i++) {
            if (Matches(keyboard.notifications_[i]->key, key)) {
                keyboard.notifications_[i]->function(&key);
            }
        }
    }
}

void Keyboard::Empty() {
    queue_.clear();
    unannounced_.clear();
    toggle_ = EFI_TOGGLE_STATE_VALID;
}

std::optional<EFI_KEY_DATA> Keyboard::Next() {
    if (queue_.empty()) {
        // Time passes for whoever polls; a key that arrives now is found by the next poll.
        platform_.events->NoteIdlePoll();
        return std::nullopt;
    }
    const EFI_KEY_DATA key = queue_.front();
    queue_.pop_front();
    return key;
}

std::optional<EFI_STATUS> Keyboard::Enter(const char* call, const void* self) {
    if (platform_.handles->WasUninstalled(self)) {
        platform_.violations->Record(fmt::format("{} called after it was uninstalled", call));
    }
    return platform_.EnterService(call, TPL_CALLBACK);
}

EFI_STATUS EFIAPI Keyboard::Reset(EFI_SIMPLE_TEXT_INPUT_PROTOCOL* self, BOOLEAN) {
    Keyboard& keyboard = From(self);
    if (auto fault = keyboard.Enter("SimpleTextInput.Reset", self)) {
        return *fault;
    }
    keyboard.Empty();
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Keyboard::ReadKeyStroke(EFI_SIMPLE_TEXT_INPUT_PROTOCOL* self,
                                          EFI_INPUT_KEY* key) {
    Keyboard& keyboard = From(self);
    if (auto fault = keyboard.Enter("SimpleTextInput.ReadKeyStroke", self)) {
        return *fault;
    }
    if (key == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const auto next = keyboard.Next();
    if (!next) {
        return EFI_NOT_READY;
    }
    *key = {next->Key.ScanCode, WithoutState(*next)};
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Keyboard::ResetEx(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* self, BOOLEAN) {
    Keyboard& keyboard = From(self);
    if (auto fault = keyboard.Enter("SimpleTextInputEx.Reset", self)) {
        return *fault;
    }
    keyboard.Empty();
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Keyboard::ReadKeyStrokeEx(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* self,
                                            EFI_KEY_DATA* key) {
    Keyboard& keyboard = From(self);
    if (auto fault = keyboard.Enter("SimpleTextInputEx.ReadKeyStrokeEx", self)) {
        return *fault;
    }
    if (key == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const auto next = keyboard.Next();
    if (!next) {
        // The states are valid even without a key.
        *key = {{SCAN_NULL, CHAR_NULL}, {EFI_SHIFT_STATE_VALID, keyboard.toggle_}};
        return EFI_NOT_READY;
    }
    *key = *next;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Keyboard::SetState(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* self,
                                     EFI_KEY_TOGGLE_STATE* state) {
    Keyboard& keyboard = From(self);
    if (auto fault = keyboard.Enter("SimpleTextInputEx.SetState", self)) {
        return *fault;
    }
    if (state == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if ((*state & EFI_TOGGLE_STATE_VALID) == 0) {
        return EFI_UNSUPPORTED;
    }
    if (keyboard.toggle_ != *state) {
        keyboard.toggle_ = *state;
        keyboard.platform_.trace.Record("key-toggle", {{"value", *state}});
    }
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Keyboard::RegisterKeyNotify(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* self,
                                              EFI_KEY_DATA* key, EFI_KEY_NOTIFY_FUNCTION function,
                                              void** handle) {
    Keyboard& keyboard = From(self);
    if (auto fault = keyboard.Enter("SimpleTextInputEx.RegisterKeyNotify", self)) {
        return *fault;
    }
    if (key == nullptr || function == nullptr || handle == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    keyboard.notifications_.push_back(std::make_unique<Notification>(Notification{*key, function}));
    *handle = keyboard.notifications_.back().get();
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Keyboard::UnregisterKeyNotify(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* self,
                                                void* handle) {
    Keyboard& keyboard = From(self);
    if (auto fault = keyboard.Enter("SimpleTextInputEx.UnregisterKeyNotify", self)) {
        return *fault;
    }
    const auto found =
        std::find_if(keyboard.notifications_.begin(), keyboard.notifications_.end(),
                     [&](const auto& notification) { return notification.get() == handle; });
    if (found == keyboard.notifications_.end()) {
        return EFI_INVALID_PARAMETER;
    }
    keyboard.notifications_.erase(found);
    return EFI_SUCCESS;
}

} // namespace sim
