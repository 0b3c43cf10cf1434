#include "sim/cli/BootPrinter.h"

#include "kelm/SplashProtocol.h"
#include "sim/firmware/Screen.h"

#include <algorithm>
#include <fmt/format.h>
#include <ostream>

namespace sim {

namespace {

constexpr double kMicrosecondsPerSecond = 1e6;
constexpr std::size_t kFrameWidth = 40;
constexpr std::size_t kKeyColumns = 3; // of a key's name in the hot-key prompt

constexpr std::string_view kDim = "\033[2m";
constexpr std::string_view kBold = "\033[1m";
constexpr std::string_view kPlain = "\033[0m";

constexpr std::uint64_t kAnnouncementLevel = 0x440; // boot manager, information
constexpr std::string_view kAnnouncement = "[BDS] ";

double Seconds(std::uint64_t microseconds) {
    return double(microseconds) / kMicrosecondsPerSecond;
}

} // namespace

// These lines are those by which a person follows a boot.
std::optional<std::string> AnnouncedPhase(const Json& event) {
    if (event["event"] != "debug" || event["level"] != kAnnouncementLevel) {
        return std::nullopt;
    }
    const auto& text = event["text"].get_ref<const std::string&>();
    if (!text.starts_with(kAnnouncement)) {
        return std::nullopt;
    }
    const std::size_t end = text.find_last_not_of("\r\n") + 1;
    return text.substr(kAnnouncement.size(), end - std::min(end, kAnnouncement.size()));
}

void BootPrinter::See(const Json& event) {
    const auto& kind = event["event"].get_ref<const std::string&>();
    if (kind == "debug") {
        SeeDebug(event);
    } else if (kind == "splash") {
        SeeSplash(event);
    } else if (kind == "screen") {
        const Screen& screen = *Platform::Current().screen;
        PrintScrolled(screen);
        lines_ = screen.Lines();
    } else if (kind == "screen-clear" || kind == "screen-mode") {
        if (!choice_.screenOnly && !lines_.empty()) {
            PrintFrame(lines_);
        }
        lines_.clear();
    }
}

void BootPrinter::End(const BootResult& result, unsigned bootNumber) {
    FlushLog();
    PrintFrame(result.screen);
    for (const BootResult::Output& output : result.outputs) {
        if (output.lines != result.screen) {
            out_ << output.device << ":\n";
            PrintFrame(output.lines);
        }
    }
    lines_.clear();
    scrolled_ = 0;
    prompt_ = {};
    if (choice_.screenOnly) {
        return;
    }
    const auto style = [&](std::string_view code) {
        return choice_.colour ? code : std::string_view();
    };
    out_ << fmt::format("{}boot {} ended after {:.3f} s: {}{}", style(kBold), bootNumber,
                        Seconds(result.time), EndReasonText(result.reason), style(kPlain));
    if (!result.detail.empty()) {
        out_ << fmt::format(" ({})", result.detail);
    }
    out_ << std::endl;
}

void BootPrinter::SeeDebug(const Json& event) {
    if (!choice_.log && (choice_.screenOnly || !AnnouncedPhase(event))) {
        return;
    }
    if (logLine_.empty()) {
        logTime_ = event["t"];
    }
    for (char c : event["text"].get_ref<const std::string&>()) {
        if (c == '\n') {
            FlushLog();
            logTime_ = event["t"];
        } else if (c != '\r') {
            logLine_ += c;
        }
    }
}

void BootPrinter::FlushLog() {
    if (logLine_.empty()) {
        return;
    }
    out_ << fmt::format("{}[{:12.6f}]{} {}\n", choice_.colour ? kDim : "", Seconds(logTime_),
                        choice_.colour ? kPlain : "", logLine_);
    logLine_.clear();
}

void BootPrinter::SeeSplash(const Json& event) {
    if (choice_.screenOnly) {
        return;
    }
    if (event.contains("text") && !event["text"].get_ref<const std::string&>().empty()) {
        out_ << fmt::format("({}: {})\n", event["what"].get_ref<const std::string&>(),
                            event["text"].get_ref<const std::string&>());
    }
    if (event.contains("lines")) {
        SeePrompt(event["lines"]);
    }
}

// The lines stand in a column of their own beside the key; an arrow is at what was taken.
void BootPrinter::SeePrompt(const Json& lines) {
    if (lines == prompt_) {
        return; // drawn again, by each keyboard that reports the key
    }
    prompt_ = lines;
    for (const Json& line : lines) {
        const auto type = line["type"].get<unsigned>();
        if (type == kSplashLineEmpty) {
            continue;
        }
        const auto& text = line["text"].get_ref<const std::string&>();
        const std::size_t tab = text.find('\t');
        const bool hasKey = tab != std::string::npos;
        out_ << fmt::format("(keys:{}{:<{}}{})\n", type == kSplashLineKeyTaken ? "> " : "  ",
                            hasKey ? text.substr(0, tab) : "", hasKey ? kKeyColumns : 0,
                            hasKey ? text.substr(tab + 1) : text);
    }
}

void BootPrinter::PrintScrolled(const Screen& screen) {
    const std::vector<std::string>& lines = screen.ScrolledOff();
    for (; scrolled_ < lines.size(); scrolled_++) {
        if (!choice_.screenOnly) {
            out_ << "| " << lines[scrolled_] << '\n';
        }
    }
}

void BootPrinter::PrintFrame(const std::vector<std::string>& lines) {
    const std::string edge(kFrameWidth, '-');
    out_ << '+' << edge << "+\n";
    for (const std::string& line : lines) {
        out_ << (line.empty() ? "|" : "| ") << line << '\n';
    }
    out_ << '+' << edge << '+' << std::endl;
}

} // namespace sim
