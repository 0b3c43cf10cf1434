// The keyboard of the machine: keys that arrive at virtual times, behind the simple text input and
// simple text input ex protocols (UEFI 2.10, sections 12.2 and 12.3).
//
// Keys come from the machine file's "keys". A key arrives when the clock passes its time: it joins
// the queue that both protocols read, is traced as `key`, and runs the notifications that were
// registered for it, at TPL_CALLBACK. A read that finds no key is an idle poll of the event
// service.
#pragma once

#include "sim/firmware/Platform.h"
#include "sim/machine/KeyNames.h"
#include "uefi/SimpleTextInput.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

class Keyboard {
public:
    // Reads "keys". Throws MachineFileError.
    explicit Keyboard(Platform& platform);
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    // Creates the wait events and schedules the keys; the core calls it before the driver is loaded
    // and installs the two interfaces on the console handle. Reads are allowed up to TPL_CALLBACK,
    // so that a key notification can wait for another key.
    void PowerOn();

    EFI_SIMPLE_TEXT_INPUT_PROTOCOL* Protocol() { return &table_.protocol; }
    EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* ProtocolEx() { return &tableEx_.protocol; }

    // Presses a key now. `name` is what the trace calls it.
    void Press(const EFI_KEY_DATA& key, std::string_view name);
    // Presses a key later, ahead of everything else of that time; a time in the past counts as now.
    void Schedule(std::uint64_t microseconds, const EFI_KEY_DATA& key, std::string_view name);

    // Number of keys that have arrived and were not read.
    std::size_t Waiting() const { return queue_.size(); }
    EFI_KEY_TOGGLE_STATE ToggleState() const { return toggle_; }
    // Notifications that were registered and not taken back.
    std::size_t NotificationCount() const { return notifications_.size(); }

    // The tables of a keyboard, each with the keyboard behind it. Other devices that the person can
    // type on show copies of their own (sim/devices/KeyboardPort.h).
    struct Table {
        EFI_SIMPLE_TEXT_INPUT_PROTOCOL protocol{};
        Keyboard* owner = nullptr;
    };
    struct TableEx {
        EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL protocol{};
        Keyboard* owner = nullptr;
    };
    const Table& InputTable() const { return table_; }
    const TableEx& InputTableEx() const { return tableEx_; }

private:
    struct Notification {
        EFI_KEY_DATA key{};
        EFI_KEY_NOTIFY_FUNCTION function = nullptr;
    };
    struct ComingKey {
        std::uint64_t time;
        std::string name;
        EFI_KEY_DATA data;
    };

    static Keyboard& From(EFI_SIMPLE_TEXT_INPUT_PROTOCOL* self) {
        return *reinterpret_cast<Table*>(self)->owner;
    }
    static Keyboard& From(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* self) {
        return *reinterpret_cast<TableEx*>(self)->owner;
    }

    static EFI_STATUS EFIAPI Reset(EFI_SIMPLE_TEXT_INPUT_PROTOCOL* self, BOOLEAN extended);
    static EFI_STATUS EFIAPI ReadKeyStroke(EFI_SIMPLE_TEXT_INPUT_PROTOCOL* self,
                                           EFI_INPUT_KEY* key);
    static EFI_STATUS EFIAPI ResetEx(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* self, BOOLEAN extended);
    static EFI_STATUS EFIAPI ReadKeyStrokeEx(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* self,
                                             EFI_KEY_DATA* key);
    static EFI_STATUS EFIAPI SetState(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* self,
                                      EFI_KEY_TOGGLE_STATE* state);
    static EFI_STATUS EFIAPI RegisterKeyNotify(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* self,
                                               EFI_KEY_DATA* key, EFI_KEY_NOTIFY_FUNCTION function,
                                               void** handle);
    static EFI_STATUS EFIAPI UnregisterKeyNotify(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* self,
                                                 void* handle);

    static void EFIAPI OnWait(EFI_EVENT event, void* context);
    static void EFIAPI OnNotify(EFI_EVENT event, void* context);

    // Every call of a table begins with this.
    std::optional<EFI_STATUS> Enter(const char* call, const void* self);
    void Empty();
    std::optional<EFI_KEY_DATA> Next();

    Platform& platform_;
    Table table_;
    TableEx tableEx_;
    EFI_KEY_TOGGLE_STATE toggle_ = EFI_TOGGLE_STATE_VALID;
    std::vector<ComingKey> coming_; // from the machine file, until the power comes on
    std::deque<EFI_KEY_DATA> queue_;
    std::vector<std::unique_ptr<Notification>> notifications_;
    std::deque<EFI_KEY_DATA> unannounced_; // arrived, notifications still to be run
    EFI_EVENT notifyEvent_ = nullptr;
};

} // namespace sim
