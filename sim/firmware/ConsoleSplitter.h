// The consoles of the system table: ConIn, ConOut and StdErr, each a virtual device in front of the
// devices that are attached to it, as the console splitter of a firmware makes them.
//
// The virtual devices are there from power-on, on handles of their own. The system table names one
// from the moment at which the first device is attached to it, and goes on naming it when all
// devices have gone; what is written then goes nowhere.
//
// A machine whose file describes no console device (no device of kind "video", "serial",
// "usb-keyboard" or "usb-serial", and no "consoles") has a console built in: a screen and a
// keyboard that ConIn, ConOut and StdErr name from power-on.
#pragma once

#include "sim/firmware/Platform.h"
#include "sim/firmware/Screen.h"

#include <string>
#include <vector>

namespace sim {

class ConsoleSplitter {
public:
    // Reads "console", "consoles" and "devices". Throws MachineFileError.
    explicit ConsoleSplitter(Platform& platform);
    ConsoleSplitter(const ConsoleSplitter&) = delete;
    ConsoleSplitter& operator=(const ConsoleSplitter&) = delete;

    // Installs the virtual devices; the core calls it while it fills the system table.
    void Install();

    // The drivers of console devices call these; `device` is the device's name, which for an output
    // lives as long as it. All are traced as `console`. An output may be attached to ConOut and to
    // StdErr.
    void AttachInput(const std::string& device);
    void DetachInput(const std::string& device);
    void AttachOutput(TextOutput& output, const std::string& device);
    void DetachOutput(TextOutput& output);
    void AttachError(TextOutput& output, const std::string& device);
    void DetachError(TextOutput& output);

    // What a person sees at each output that is attached now to ConOut or StdErr, in the order of
    // their coming. The built-in console is called "console".
    struct Output {
        std::string device;
        const TextScreen* screen;
    };
    std::vector<Output> Outputs() const;
    // Names of the inputs that are attached to ConIn now.
    const std::vector<std::string>& Inputs() const { return inputs_; }
    bool HasBuiltInConsole() const { return builtIn_; }

private:
    void AddName(TextOutput& output, const std::string& device);
    void DropName(TextOutput& output);
    std::string NameOf(const TextOutput& output) const;
    void NameConIn();
    void NameConOut();
    void NameStdErr();

    Platform& platform_;
    bool builtIn_;
    Screen error_; // the virtual device behind StdErr
    EFI_HANDLE inputHandle_ = nullptr;
    EFI_HANDLE outputHandle_ = nullptr;
    EFI_HANDLE errorHandle_ = nullptr;
    std::vector<std::string> inputs_;
    std::vector<std::pair<TextOutput*, std::string>> outputs_; // of ConOut, StdErr or both
};

} // namespace sim
