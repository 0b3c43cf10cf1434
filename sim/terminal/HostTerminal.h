// The user's own terminal while a person sits at the server: it shows a picture and hands out keys.
// One at a time, because there is one terminal.
//
// While it is open the terminal is in raw mode on its other screen. It is restored when the object
// goes, and also when a signal ends the process: SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGABRT and the
// signals of processor exceptions restore the terminal and then have the effect that they would
// have had. SIGTSTP stops the process with the terminal restored; SIGCONT and SIGWINCH redraw.
#pragma once

#include "sim/firmware/TextScreen.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace sim {

// There is no terminal that could be used. what() says why.
class TerminalError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What a person sees: the screen of the server, and one line about it underneath.
struct Picture {
    TextScreen::Mode size;
    std::vector<TextScreen::Cell> cells; // rows from the top, each from the left
    std::size_t cursorColumn = 0;
    std::size_t cursorRow = 0;
    bool cursorVisible = false;
    std::string status;     // ASCII; at the left of the line
    std::string statusHelp; // ASCII; at its right, left out where there is no room
};

// What a person typed.
struct Typed {
    std::string key; // as KeyFromName() takes it; empty when it means to quit
    bool Quits() const { return key.empty(); }
};

// Throws TerminalError unless standard input and output are a terminal.
void RequireTerminal();

class HostTerminal {
public:
    using Microseconds = std::chrono::microseconds;

    // Opens the terminal on standard input and output. Throws TerminalError when there is none, or
    // one of a type that cannot show a screen. `colour` false asks for two colours only.
    explicit HostTerminal(bool colour);
    ~HostTerminal();
    HostTerminal(const HostTerminal&) = delete;
    HostTerminal& operator=(const HostTerminal&) = delete;

    // Shows a picture. On a terminal that is too small, the part around the cursor, and how large
    // the terminal would have to be.
    void Draw(const Picture& picture);

    // The next key that was typed and means something; nothing when none waits. A terminal that has
    // gone counts as a wish to quit.
    std::optional<Typed> ReadKey();

    // Sleeps until something is typed, the picture has to be drawn again, or the time is over;
    // without a time, as long as nothing happens.
    void Sleep(std::optional<Microseconds> time);

    // Does what signals have asked for. True when the picture has to be drawn again.
    bool FollowSignals();
    // True, once, after the process was stopped for a while.
    bool WasStopped();

private:
    struct Curses;

    void Resize();

    Curses* curses_;
    bool stopped_ = false;
};

} // namespace sim
