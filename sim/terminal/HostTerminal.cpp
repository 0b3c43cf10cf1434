#include "sim/terminal/HostTerminal.h"

#include "sim/terminal/TerminalKeys.h"
#include "sim/terminal/TerminalSignals.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <fmt/format.h>
#include <iostream>
#include <langinfo.h>
#include <memory>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#define NCURSES_NOMACROS
#include <curses.h>

namespace sim {

namespace {

constexpr int kEscapeMilliseconds = 25; // an escape that nothing follows for so long is the key
constexpr char32_t kEscape = 0x1B;
constexpr char16_t kNotShown = u'?';

// UEFI counts colours by bits of blue, green and red, terminals the other way round.
constexpr short kColours[8] = {COLOR_BLACK, COLOR_BLUE,    COLOR_GREEN,  COLOR_CYAN,
                               COLOR_RED,   COLOR_MAGENTA, COLOR_YELLOW, COLOR_WHITE};
constexpr int kBackgrounds = 8;
constexpr int kShades = 16; // of the foreground: the eight, and the eight bright ones
constexpr int kBright = 8;

// What terminals send for keys before they have changed to the mode that curses asks for, or
// whatever it asks for.
constexpr std::pair<const char*, int> kMoreSequences[] = {
    {"\033[A", KEY_UP},     {"\033[B", KEY_DOWN},   {"\033[C", KEY_RIGHT},  {"\033[D", KEY_LEFT},
    {"\033[H", KEY_HOME},   {"\033[F", KEY_END},    {"\033[1~", KEY_HOME},  {"\033[4~", KEY_END},
    {"\033[7~", KEY_HOME},  {"\033[8~", KEY_END},   {"\033[2~", KEY_IC},    {"\033[3~", KEY_DC},
    {"\033[5~", KEY_PPAGE}, {"\033[6~", KEY_NPAGE}, {"\033OP", KEY_F(1)},   {"\033OQ", KEY_F(2)},
    {"\033OR", KEY_F(3)},   {"\033OS", KEY_F(4)},   {"\033[11~", KEY_F(1)}, {"\033[12~", KEY_F(2)},
    {"\033[13~", KEY_F(3)}, {"\033[14~", KEY_F(4)},
};

// A sequence of the terminal without the delays that stand in it.
std::string Sequence(const char* capability) {
    const char* text = tigetstr(const_cast<char*>(capability));
    if (text == nullptr || text == reinterpret_cast<const char*>(-1)) {
        return {};
    }
    std::string sequence = text;
    for (std::size_t at = 0; (at = sequence.find("$<", at)) != std::string::npos;) {
        sequence.erase(at, sequence.find('>', at) - at + 1);
    }
    return sequence;
}

// The first of `room` places of `size` so that `wanted` is among them.
std::size_t FirstShown(std::size_t size, std::size_t room, std::size_t wanted) {
    return size <= room || wanted < room ? 0 : std::min(wanted + 1 - room, size - room);
}

// Characters as the user has them; a terminal about which nobody said anything takes UTF-8.
class CharacterSet {
public:
    CharacterSet() : before_(std::setlocale(LC_CTYPE, nullptr)) {
        std::setlocale(LC_CTYPE, "");
        if (std::strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0) {
            std::setlocale(LC_CTYPE, "C.UTF-8");
        }
    }
    ~CharacterSet() { std::setlocale(LC_CTYPE, before_.c_str()); }

private:
    std::string before_;
};

} // namespace

struct HostTerminal::Curses {
    CharacterSet characters;
    SCREEN* screen = nullptr;
    std::unique_ptr<TerminalSignals> signals;
    bool colour = false;
    int shades = 0;    // of the foreground that are colours of their own: 16 or 8
    bool gone = false; // the terminal

    // The attributes of curses for one of UEFI.
    std::pair<attr_t, short> Style(std::uint8_t attribute) const;
    void Put(std::size_t row, std::size_t column, const TextScreen::Cell& cell);
    void PutStatus(std::size_t row, const Picture& picture, bool fits);
};

namespace {

// What an escape turns out to be that begins no sequence of the terminal.
std::optional<Typed> BehindEscape() {
    wint_t next = 0;
    switch (wget_wch(stdscr, &next)) {
    case OK:
        return TypedWithAlt(next);
    case KEY_CODE_YES:
        ungetch(int(next));
        break;
    default:
        break;
    }
    return TypedCharacter(kEscape);
}

} // namespace

void RequireTerminal() {
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0) {
        throw TerminalError("standard input and output must be a terminal");
    }
}

HostTerminal::HostTerminal(bool colour) : curses_(nullptr) {
    RequireTerminal();
    auto curses = std::make_unique<Curses>();
    termios modes;
    tcgetattr(STDIN_FILENO, &modes);
    std::cout << std::flush;
    // Before curses, which catches signals that nobody has caught yet.
    curses->signals = std::make_unique<TerminalSignals>(modes);
    const char* given = std::getenv("TERM");
    const std::string type = given == nullptr ? "" : given;
    curses->screen = newterm(nullptr, stdout, stdin);
    if (curses->screen == nullptr) {
        throw TerminalError(fmt::format("TERM=\"{}\" is no type of terminal that is known", type));
    }
    if (Sequence("cup").empty()) {
        endwin();
        delscreen(curses->screen);
        throw TerminalError(fmt::format("a terminal of type \"{}\" cannot show a screen", type));
    }
    std::string goodbye = "\r\n";
    for (const char* capability : {"sgr0", "op", "cnorm", "rmcup", "rmkx"}) {
        goodbye += Sequence(capability);
    }
    curses->signals->SetGoodbye(goodbye);
    raw();
    noecho();
    nonl();
    intrflush(stdscr, FALSE);
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    set_escdelay(kEscapeMilliseconds);
    for (const auto& [sequence, code] : kMoreSequences) {
        define_key(sequence, code);
    }
    if (colour && has_colors()) {
        start_color();
        curses->shades = COLORS >= kShades && COLOR_PAIRS >= kShades * kBackgrounds ? kShades : 8;
        curses->colour = COLORS >= kBackgrounds && COLOR_PAIRS >= curses->shades * kBackgrounds;
    }
    if (curses->colour) {
        assume_default_colors(COLOR_WHITE, COLOR_BLACK);
        for (int pair = 1; pair < curses->shades * kBackgrounds; pair++) {
            const int foreground = (pair % curses->shades) ^ EFI_LIGHTGRAY;
            init_pair(short(pair), short(kColours[foreground % kBright] + (foreground & kBright)),
                      kColours[pair / curses->shades]);
        }
    }
    curses_ = curses.release();
}

HostTerminal::~HostTerminal() {
    flushinp(); // what was typed for the server shall not reach the shell
    endwin();
    curses_->signals.reset();
    delscreen(curses_->screen);
    delete curses_;
}

// Pair 0 is light gray on black, which it is for curses in any case.
std::pair<attr_t, short> HostTerminal::Curses::Style(std::uint8_t attribute) const {
    const int foreground = attribute & 0x0F;
    const int background = (attribute >> 4) & 0x07;
    if (!colour) {
        const bool bright = (foreground & kBright) != 0;
        return {(bright ? A_BOLD : A_NORMAL) | (background != 0 ? A_REVERSE : A_NORMAL), short(0)};
    }
    const bool bold = shades < kShades && (foreground & kBright) != 0;
    const int pair = ((foreground % shades) ^ EFI_LIGHTGRAY) + shades * background;
    return {bold ? A_BOLD : A_NORMAL, short(pair)};
}

void HostTerminal::Curses::Put(std::size_t row, std::size_t column, const TextScreen::Cell& cell) {
    const auto [attributes, pair] = Style(cell.attribute);
    const bool narrow = wcwidth(wchar_t(cell.character)) == 1;
    const wchar_t text[] = {wchar_t(narrow ? cell.character : kNotShown), 0};
    cchar_t shown;
    setcchar(&shown, text, attributes, pair, nullptr);
    mvwadd_wch(stdscr, int(row), int(column), &shown);
}

void HostTerminal::Curses::PutStatus(std::size_t row, const Picture& picture, bool fits) {
    const auto width = std::size_t(COLS);
    std::string line = " " + picture.status;
    if (!fits) {
        line = fmt::format(" {}x{} is too small, {}x{} is needed {}", COLS, LINES,
                           picture.size.columns, picture.size.rows + 1, line);
    }
    const std::string help = picture.statusHelp + " ";
    const std::size_t room = width > help.size() ? width - help.size() : 0;
    line.resize(room, ' ');
    line += help;
    line.resize(width, ' ');
    wattrset(stdscr, int(A_REVERSE));
    mvwaddnstr(stdscr, int(row), 0, line.c_str(), COLS);
    wattrset(stdscr, int(A_NORMAL));
}

void HostTerminal::Draw(const Picture& picture) {
    const auto columns = std::size_t(COLS);
    const auto lines = std::size_t(LINES);
    const std::size_t rows = lines - 1; // the last one is for the status
    const bool fits = columns >= picture.size.columns && rows >= picture.size.rows;
    const std::size_t top = FirstShown(picture.size.rows, rows, picture.cursorRow);
    const std::size_t left = FirstShown(picture.size.columns, columns, picture.cursorColumn);
    const std::size_t shownRows = std::min(picture.size.rows, rows);
    const std::size_t shownColumns = std::min(picture.size.columns, columns);
    werase(stdscr);
    for (std::size_t row = 0; row < shownRows; row++) {
        for (std::size_t column = 0; column < shownColumns; column++) {
            curses_->Put(row, column,
                         picture.cells[(row + top) * picture.size.columns + column + left]);
        }
    }
    curses_->PutStatus(shownRows, picture, fits);
    static_cast<void>(curs_set(picture.cursorVisible ? 1 : 0));
    if (picture.cursorVisible) {
        wmove(stdscr, int(picture.cursorRow - top), int(picture.cursorColumn - left));
    }
    wrefresh(stdscr);
}

std::optional<Typed> HostTerminal::ReadKey() {
    if (curses_->gone) {
        return Typed{};
    }
    for (;;) {
        wint_t code = 0;
        const int kind = wget_wch(stdscr, &code);
        if (kind == ERR) {
            return std::nullopt;
        }
        std::optional<Typed> typed;
        if (kind == KEY_CODE_YES) {
            typed = TypedFunctionKey(int(code));
        } else if (code == kEscape) {
            typed = BehindEscape();
        } else {
            typed = TypedCharacter(code);
        }
        if (typed) {
            return typed;
        }
    }
}

void HostTerminal::Sleep(std::optional<Microseconds> time) {
    pollfd watched[] = {{STDIN_FILENO, POLLIN, 0}, {curses_->signals->WakeDescriptor(), POLLIN, 0}};
    timespec limit = {};
    if (time) {
        limit.tv_sec = time->count() / 1000000;
        limit.tv_nsec = time->count() % 1000000 * 1000;
    }
    if (ppoll(watched, std::size(watched), time ? &limit : nullptr, nullptr) > 0) {
        curses_->gone = (watched[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
        curses_->signals->Drain();
    }
}

bool HostTerminal::FollowSignals() {
    TerminalSignals& signals = *curses_->signals;
    bool redraw = false;
    if (signals.TakeStop()) {
        endwin();
        signals.Stop();
        static_cast<void>(signals.TakeContinued());
        stopped_ = true;
        redraw = true;
        Resize(); // the next refresh takes the terminal back
    }
    if (signals.TakeContinued()) {
        // It was stopped without a word; whoever had the terminal may have changed everything.
        reset_prog_mode();
        stopped_ = true;
        redraw = true;
    }
    if (signals.TakeResized()) {
        Resize();
        redraw = true;
    }
    if (redraw) {
        clearok(stdscr, TRUE);
    }
    return redraw;
}

bool HostTerminal::WasStopped() {
    return std::exchange(stopped_, false);
}

void HostTerminal::Resize() {
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0) {
        resizeterm(size.ws_row, size.ws_col);
    }
}

} // namespace sim
