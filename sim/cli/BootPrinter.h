// What the tool prints of a boot while it runs: each phase as it begins, the screen whenever it is
// about to change for good (cleared, scrolled, ended), splash texts, and the whole debug log when
// asked for.
#pragma once

#include "sim/firmware/Platform.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace sim {

// The phase that an event announces as it begins, if it does: "Early Init".
std::optional<std::string> AnnouncedPhase(const Json& event);

class BootPrinter {
public:
    struct Choice {
        bool log = false;        // print all debug lines, not only those that announce a phase
        bool screenOnly = false; // nothing but the final screen
        bool colour = false;     // the stream is a terminal that takes colours
    };

    BootPrinter(std::ostream& out, const Choice& choice) : out_(out), choice_(choice) {}

    // One trace event, as it is recorded.
    void See(const Json& event);
    // The end of a power-on: the rest of the log, the final screen, the outputs that show something
    // else, each under its name, and, unless only that is wanted, the line that says how it ended.
    void End(const BootResult& result, unsigned bootNumber);

private:
    void SeeDebug(const Json& event);
    void SeeSplash(const Json& event);
    void SeePrompt(const Json& lines);
    void FlushLog();
    void PrintScrolled(const Screen& screen);
    void PrintFrame(const std::vector<std::string>& lines);

    std::ostream& out_;
    Choice choice_;
    Json prompt_;         // the hot-key prompt that was printed last
    std::string logLine_; // the debug line that has no end yet
    std::uint64_t logTime_ = 0;
    std::vector<std::string> lines_; // the screen as it was after the last text
    std::size_t scrolled_ = 0;       // lines that left it and are printed
};

} // namespace sim
