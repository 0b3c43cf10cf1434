// The console of the machine: what ConOut of the system table names, in front of all outputs that
// are attached to it. What is written to it goes to each of them; its own screen is what a person
// at any of them sees, and does not change while there is none.
//
// Modes: those that all attached outputs have. 0 is 80x25, 1 is 80x50, 2 is 100x31; when the
// machine file's "console" asks for another size there is a mode 3 of that size. The power comes on
// in the mode of the machine file's size; an output that lacks it brings the console to mode 0.
//
// What reaches the console is traced: `screen` for each text as written, `screen-attribute`,
// `screen-clear`, `screen-cursor` and `screen-mode` when they change something. What the outputs do
// with it is not.
#pragma once

#include "sim/firmware/Platform.h"
#include "sim/firmware/TextOutput.h"

#include <string_view>
#include <vector>

namespace sim {

// Text modes of the machine and the one of its size.
struct ConsoleModes {
    std::vector<TextScreen::Mode> modes;
    std::size_t first;
};
// Reads "console". Throws MachineFileError.
ConsoleModes ReadConsoleModes(const MachineDescription& machine);

class Screen final : public TextOutput {
public:
    enum class Tracing { On, Off };

    // Reads "console". Throws MachineFileError. Calls are allowed up to TPL_NOTIFY; injected faults
    // name them "SimpleTextOutput.OutputString" and so on.
    explicit Screen(Platform& platform, Tracing tracing = Tracing::On);

    // A screen of its own takes part: somebody always sees what is written.
    void AttachBuiltIn() { builtIn_ = true; }
    // Brings an output to the mode, the colours and the cursor of the console, cleared, and hands
    // on to it from now on. Runs code of the output.
    void Attach(TextOutput& output);
    void Detach(TextOutput& output);
    const std::vector<TextOutput*>& Outputs() const { return outputs_; }

protected:
    EFI_STATUS Reset(bool extended) override;
    EFI_STATUS OutputString(std::u16string_view text) override;
    EFI_STATUS TestString(std::u16string_view text) override;
    EFI_STATUS SetMode(std::size_t mode) override;
    EFI_STATUS SetAttribute(UINTN attribute) override;
    EFI_STATUS ClearScreen() override;
    EFI_STATUS SetCursorPosition(std::size_t column, std::size_t row) override;
    EFI_STATUS EnableCursor(bool visible) override;
    std::optional<EFI_STATUS> Enter(const char* member) override;

private:
    bool IsSeen() const { return builtIn_ || !outputs_.empty(); }
    void TakeFirst(const TextOutput& output);
    void KeepCommonModes(const TextOutput& output);
    void BringUp(TextOutput& output);
    template <class Call>
    EFI_STATUS Forward(EFI_STATUS own, Call call);
    void Trace(std::string_view event, const Json& fields = Json::object());
    void TraceMode();
    void TraceAttribute();
    void TraceCursor();

    const bool traced_;
    const Mode wanted_; // by the machine file
    bool builtIn_ = false;
    std::vector<TextOutput*> outputs_; // in the order of their coming
};

} // namespace sim
