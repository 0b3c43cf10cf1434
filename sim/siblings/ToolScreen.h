// What the tools have in common that a person enters during POST: a page of text on the console, a
// few keys, and how the tool is left. Everything goes through the system table, as the firmware's
// own tools would have it.
#pragma once

#include "sim/firmware/BootLocal.h"
#include "sim/firmware/Platform.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// How a tool is left: by Esc, or by itself after a while; to go on with the boot, or by a reset.
struct ToolLeaving {
    std::optional<std::uint64_t> after; // microseconds
    bool resets = false;
};
// Reads "leaveAfter" and "leave" of a section, "/setup". Throws MachineFileError.
ToolLeaving ReadToolLeaving(const MachineDescription& machine, const std::string& section);

struct ToolPage {
    std::u16string title;
    std::vector<std::u16string> lines;
    std::optional<std::size_t> chosen; // the line that is shown as such
    std::u16string foot;

    // Adds a line; `text` is ASCII.
    void Add(std::string_view text);
    void Add(std::string_view name, std::string_view value);
};

enum class ToolKey { Up, Down, Enter, Leave };

// A tool while it runs, on the driver's stack. A machine without a console shows nothing; without a
// keyboard, or above TPL_APPLICATION, a tool is left at once.
class ToolScreen {
public:
    // Drops the keys that were pressed before.
    ToolScreen(Platform& platform, const ToolLeaving& leaving);
    ToolScreen(const ToolScreen&) = delete;
    ToolScreen& operator=(const ToolScreen&) = delete;
    ~ToolScreen();

    ToolPage& page() { return *page_; }
    void Draw();
    // The next key that means something; Leave for Esc and when the time is over.
    ToolKey WaitForKey();
    // Draws, and waits until the tool is to be left.
    void ShowUntilLeft();
    // Clears the screen, and resets the machine when the tool is left that way.
    void Leave();

private:
    void DrawLine(const std::u16string& text, std::size_t row, UINTN attribute,
                  std::size_t columns);

    Platform& platform_;
    const ToolLeaving& leaving_;
    BootLocal<ToolPage> page_;
    EFI_EVENT timer_ = nullptr;
};

} // namespace sim
