#include "sim/firmware/Screen.h"

#include "uefi/BootServices.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace sim {

ConsoleModes ReadConsoleModes(const MachineDescription& machine) {
    const auto size = [&](const char* place, std::size_t fallback) {
        const Json& value = machine.At(place);
        return value.is_null() ? fallback : std::size_t(ReadNumber(machine, value, place));
    };
    const TextScreen::Mode wanted = {size("/console/columns", 80), size("/console/rows", 25)};
    ConsoleModes modes = {StandardTextModes(), 0};
    const auto found = std::find(modes.modes.begin(), modes.modes.end(), wanted);
    modes.first = std::size_t(found - modes.modes.begin());
    if (found == modes.modes.end()) {
        modes.modes.push_back(wanted);
    }
    return modes;
}

Screen::Screen(Platform& owner, Tracing tracing)
    : TextOutput(owner, "SimpleTextOutput", ReadConsoleModes(owner.machine).modes,
                 ReadConsoleModes(owner.machine).first),
      traced_(tracing == Tracing::On),
      wanted_(Size()) {}

// ---- Outputs

void Screen::Attach(TextOutput& output) {
    const bool first = !IsSeen();
    outputs_.push_back(&output);
    if (first) {
        TakeFirst(output);
    } else {
        KeepCommonModes(output);
    }
    BringUp(output);
}

void Screen::Detach(TextOutput& output) {
    std::erase(outputs_, &output);
}

// The console begins afresh with the modes of its only output.
void Screen::TakeFirst(const TextOutput& output) {
    const Mode before = Size();
    ReplaceModes(output.Modes());
    UseMode(ModeOf(wanted_).value_or(0));
    if (Size() != before) {
        TraceMode();
    }
    if (!Written().empty()) {
        Trace("screen-clear");
    }
}

void Screen::KeepCommonModes(const TextOutput& output) {
    const Mode current = Size();
    std::vector<Mode> common = Modes();
    std::erase_if(common, [&](const Mode& mode) { return !output.ModeOf(mode); });
    ReplaceModes(std::move(common));
    if (const auto mode = ModeOf(current)) {
        record_.Mode = INT32(*mode);
    } else {
        static_cast<void>(SetMode(0));
    }
}

void Screen::BringUp(TextOutput& output) {
    EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* out = output.Protocol();
    // An output that fails here fails again when it is written to.
    static_cast<void>(out->SetMode(out, output.ModeOf(Size()).value_or(0)));
    static_cast<void>(out->SetAttribute(out, UINTN(record_.Attribute)));
    static_cast<void>(out->ClearScreen(out));
    static_cast<void>(
        out->SetCursorPosition(out, UINTN(record_.CursorColumn), UINTN(record_.CursorRow)));
    static_cast<void>(out->EnableCursor(out, record_.CursorVisible));
}

// The calls of all outputs; an error of any of them, else a warning, is the answer.
template <class Call>
EFI_STATUS Screen::Forward(EFI_STATUS own, Call call) {
    EFI_STATUS status = own;
    // By index: an output may go while another one takes its time.
    for (std::size_t i = 0; i < outputs_.size(); i++) {
        const EFI_STATUS answer = call(*outputs_[i]);
        if (EFI_ERROR(answer) || status == EFI_SUCCESS) {
            status = answer;
        }
    }
    return status;
}

// ---- Tracing

void Screen::Trace(std::string_view event, const Json& fields) {
    if (traced_ && IsSeen()) {
        platform.trace.Record(event, fields);
    }
}

void Screen::TraceMode() {
    Trace("screen-mode", {{"mode", record_.Mode}, {"columns", Columns()}, {"rows", Rows()}});
}

void Screen::TraceAttribute() {
    Trace("screen-attribute", {{"value", record_.Attribute}});
}

void Screen::TraceCursor() {
    Trace("screen-cursor", {{"column", record_.CursorColumn},
                            {"row", record_.CursorRow},
                            {"visible", record_.CursorVisible != FALSE}});
}

// ---- The calls

std::optional<EFI_STATUS> Screen::Enter(const char* member) {
    std::array<char, 64> call; // on the stack: the fault may cut the power
    std::snprintf(call.data(), call.size(), "%s.%s", callName_, member);
    return platform.EnterService(call.data(), TPL_NOTIFY);
}

EFI_STATUS Screen::Reset(bool extended) {
    const bool recoloured = record_.Attribute != kDefaultAttribute;
    const bool resized = record_.Mode != 0;
    static_cast<void>(TextOutput::Reset(extended));
    if (recoloured) {
        TraceAttribute();
    }
    if (resized) {
        TraceMode();
    }
    Trace("screen-clear");
    return Forward(EFI_SUCCESS, [&](TextOutput& output) {
        return output.Protocol()->Reset(output.Protocol(), extended ? TRUE : FALSE);
    });
}

EFI_STATUS Screen::OutputString(std::u16string_view text) {
    if (!IsSeen()) {
        return EFI_SUCCESS;
    }
    const EFI_STATUS own = TextOutput::OutputString(text);
    Trace("screen", {{"text", ToUtf8(text)}});
    return Forward(own, [&](TextOutput& output) {
        return output.Protocol()->OutputString(output.Protocol(), text.data());
    });
}

EFI_STATUS Screen::TestString(std::u16string_view text) {
    return Forward(TextOutput::TestString(text), [&](TextOutput& output) {
        return output.Protocol()->TestString(output.Protocol(), text.data());
    });
}

EFI_STATUS Screen::SetMode(std::size_t mode) {
    const bool changed = std::size_t(record_.Mode) != mode;
    static_cast<void>(TextOutput::SetMode(mode));
    if (changed) {
        TraceMode();
    }
    Trace("screen-clear");
    return Forward(EFI_SUCCESS, [&](TextOutput& output) {
        return output.Protocol()->SetMode(output.Protocol(), output.ModeOf(Size()).value_or(0));
    });
}

EFI_STATUS Screen::SetAttribute(UINTN attribute) {
    const bool changed = UINTN(record_.Attribute) != attribute;
    static_cast<void>(TextOutput::SetAttribute(attribute));
    if (changed) {
        TraceAttribute();
    }
    return Forward(EFI_SUCCESS, [&](TextOutput& output) {
        return output.Protocol()->SetAttribute(output.Protocol(), attribute);
    });
}

EFI_STATUS Screen::ClearScreen() {
    static_cast<void>(TextOutput::ClearScreen());
    Trace("screen-clear");
    return Forward(EFI_SUCCESS, [&](TextOutput& output) {
        return output.Protocol()->ClearScreen(output.Protocol());
    });
}

EFI_STATUS Screen::SetCursorPosition(std::size_t column, std::size_t row) {
    const bool changed =
        std::size_t(record_.CursorColumn) != column || std::size_t(record_.CursorRow) != row;
    static_cast<void>(TextOutput::SetCursorPosition(column, row));
    if (changed) {
        TraceCursor();
    }
    return Forward(EFI_SUCCESS, [&](TextOutput& output) {
        return output.Protocol()->SetCursorPosition(output.Protocol(), column, row);
    });
}

EFI_STATUS Screen::EnableCursor(bool visible) {
    const bool changed = (record_.CursorVisible != FALSE) != visible;
    static_cast<void>(TextOutput::EnableCursor(visible));
    if (changed) {
        TraceCursor();
    }
    return Forward(EFI_SUCCESS, [&](TextOutput& output) {
        return output.Protocol()->EnableCursor(output.Protocol(), visible ? TRUE : FALSE);
    });
}

} // namespace sim
