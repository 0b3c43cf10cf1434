// Signals while the terminal is not in the modes that the shell left it in.
//
// A signal that ends the process puts the terminal back first, by means that a signal handler may
// use, wherever the process is; then the signal has the effect that it would have had. The others
// are noted for whoever asks, and wake a poll() of WakeDescriptor().
#pragma once

#include <csignal>
#include <iterator>
#include <string_view>
#include <termios.h>

namespace sim {

class TerminalSignals {
public:
    static constexpr std::size_t kMostBytes = 256;

    // `modes` is what has to be set on standard input to restore the terminal. One object at a
    // time.
    explicit TerminalSignals(const termios& modes);
    ~TerminalSignals();
    TerminalSignals(const TerminalSignals&) = delete;
    TerminalSignals& operator=(const TerminalSignals&) = delete;

    // What has to be written to standard output besides; at most kMostBytes of it are used.
    void SetGoodbye(std::string_view bytes);

    // Each tells once that such a signal came.
    bool TakeStop();      // SIGTSTP
    bool TakeContinued(); // SIGCONT
    bool TakeResized();   // SIGWINCH

    // Stops the process as SIGTSTP does; returns when it goes on. The terminal must be restored.
    void Stop();

    // Readable once a signal was noted, until Drain().
    int WakeDescriptor() const { return pipe_[0]; }
    void Drain();

private:
    static constexpr int kFatal[] = {SIGINT,  SIGTERM, SIGHUP, SIGQUIT, SIGABRT,
                                     SIGSEGV, SIGBUS,  SIGILL, SIGFPE};
    static constexpr int kNoted[] = {SIGTSTP, SIGCONT, SIGWINCH};

    static void OnFatal(int signal, siginfo_t* info, void* context);
    static void OnNoted(int signal);
    static void Install(int signal, struct sigaction* before);

    struct sigaction fatalBefore_[std::size(kFatal)];
    struct sigaction notedBefore_[std::size(kNoted)];
    int pipe_[2];
};

} // namespace sim
