#include "sim/firmware/TextOutput.h"

#include <utility>

namespace sim {

namespace {

constexpr UINTN kAttributeMask = 0x7F;

// What a call with a null text writes: nothing.
std::u16string_view View(const CHAR16* text) {
    return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

} // namespace

// The members of the table.
struct TextOutput::Calls {
    using Self = EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL*;

    static EFI_STATUS EFIAPI Reset(Self self, BOOLEAN extended) {
        TextOutput& output = From(self);
        const auto fault = output.Enter("Reset");
        return fault ? *fault : output.Reset(extended != FALSE);
    }
    static EFI_STATUS EFIAPI OutputString(Self self, const CHAR16* text) {
        TextOutput& output = From(self);
        const auto fault = output.Enter("OutputString");
        return fault ? *fault : output.OutputString(View(text));
    }
    static EFI_STATUS EFIAPI TestString(Self self, const CHAR16* text) {
        TextOutput& output = From(self);
        const auto fault = output.Enter("TestString");
        return fault ? *fault : output.TestString(View(text));
    }
    static EFI_STATUS EFIAPI QueryMode(Self self, UINTN mode, UINTN* columns, UINTN* rows) {
        TextOutput& output = From(self);
        if (const auto fault = output.Enter("QueryMode")) {
            return *fault;
        }
        if (mode >= output.Modes().size()) {
            return EFI_UNSUPPORTED;
        }
        *columns = output.Modes()[mode].columns;
        *rows = output.Modes()[mode].rows;
        return EFI_SUCCESS;
    }
    static EFI_STATUS EFIAPI SetMode(Self self, UINTN mode) {
        TextOutput& output = From(self);
        if (const auto fault = output.Enter("SetMode")) {
            return *fault;
        }
        return mode < output.Modes().size() ? output.SetMode(mode) : EFI_UNSUPPORTED;
    }
    static EFI_STATUS EFIAPI SetAttribute(Self self, UINTN attribute) {
        TextOutput& output = From(self);
        if (const auto fault = output.Enter("SetAttribute")) {
            return *fault;
        }
        return (attribute & ~kAttributeMask) == 0 ? output.SetAttribute(attribute)
                                                  : EFI_UNSUPPORTED;
    }
    static EFI_STATUS EFIAPI ClearScreen(Self self) {
        TextOutput& output = From(self);
        const auto fault = output.Enter("ClearScreen");
        return fault ? *fault : output.ClearScreen();
    }
    static EFI_STATUS EFIAPI SetCursorPosition(Self self, UINTN column, UINTN row) {
        TextOutput& output = From(self);
        if (const auto fault = output.Enter("SetCursorPosition")) {
            return *fault;
        }
        if (column >= output.Columns() || row >= output.Rows()) {
            return EFI_UNSUPPORTED;
        }
        return output.SetCursorPosition(column, row);
    }
    static EFI_STATUS EFIAPI EnableCursor(Self self, BOOLEAN visible) {
        TextOutput& output = From(self);
        const auto fault = output.Enter("EnableCursor");
        return fault ? *fault : output.EnableCursor(visible != FALSE);
    }
};

TextOutput::TextOutput(Platform& owner, const char* callName, std::vector<Mode> modes,
                       std::size_t first)
    : TextScreen(std::move(modes), first), platform(owner), callName_(callName) {
    table_.owner = this;
    table_.protocol = {&Calls::Reset,        &Calls::OutputString,
                       &Calls::TestString,   &Calls::QueryMode,
                       &Calls::SetMode,      &Calls::SetAttribute,
                       &Calls::ClearScreen,  &Calls::SetCursorPosition,
                       &Calls::EnableCursor, &record_};
}

EFI_STATUS TextOutput::Reset(bool) {
    record_.Attribute = kDefaultAttribute;
    UseMode(0);
    return EFI_SUCCESS;
}

EFI_STATUS TextOutput::OutputString(std::u16string_view text) {
    return Put(text) ? EFI_SUCCESS : EFI_WARN_UNKNOWN_GLYPH;
}

EFI_STATUS TextOutput::TestString(std::u16string_view text) {
    return CanShow(text) ? EFI_SUCCESS : EFI_UNSUPPORTED;
}

EFI_STATUS TextOutput::SetMode(std::size_t mode) {
    UseMode(mode);
    return EFI_SUCCESS;
}

EFI_STATUS TextOutput::SetAttribute(UINTN attribute) {
    record_.Attribute = INT32(attribute);
    return EFI_SUCCESS;
}

EFI_STATUS TextOutput::ClearScreen() {
    Clear();
    return EFI_SUCCESS;
}

EFI_STATUS TextOutput::SetCursorPosition(std::size_t column, std::size_t row) {
    record_.CursorColumn = INT32(column);
    record_.CursorRow = INT32(row);
    return EFI_SUCCESS;
}

EFI_STATUS TextOutput::EnableCursor(bool visible) {
    record_.CursorVisible = visible ? TRUE : FALSE;
    return EFI_SUCCESS;
}

} // namespace sim
