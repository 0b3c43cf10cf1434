#include "sim/terminal/TerminalSignals.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace sim {

namespace {

// What the handlers use.
struct {
    char goodbye[TerminalSignals::kMostBytes];
    std::size_t goodbyeSize;
    termios modes;
    int wake;
    const struct sigaction* fatalBefore;
} mHandled;
volatile std::sig_atomic_t mStop;
volatile std::sig_atomic_t mContinued;
volatile std::sig_atomic_t mResized;

bool Take(volatile std::sig_atomic_t& flag) {
    const bool set = flag != 0;
    flag = 0;
    return set;
}

} // namespace

TerminalSignals::TerminalSignals(const termios& modes) {
    if (pipe2(pipe_, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::runtime_error("no pipe can be made");
    }
    mHandled.goodbyeSize = 0;
    mHandled.modes = modes;
    mHandled.wake = pipe_[1];
    mHandled.fatalBefore = fatalBefore_;
    mStop = 0;
    mContinued = 0;
    mResized = 0;
    for (std::size_t i = 0; i < std::size(kFatal); i++) {
        Install(kFatal[i], &fatalBefore_[i]);
    }
    for (std::size_t i = 0; i < std::size(kNoted); i++) {
        Install(kNoted[i], &notedBefore_[i]);
    }
}

TerminalSignals::~TerminalSignals() {
    for (std::size_t i = 0; i < std::size(kFatal); i++) {
        sigaction(kFatal[i], &fatalBefore_[i], nullptr);
    }
    for (std::size_t i = 0; i < std::size(kNoted); i++) {
        sigaction(kNoted[i], &notedBefore_[i], nullptr);
    }
    close(pipe_[0]);
    close(pipe_[1]);
}

void TerminalSignals::SetGoodbye(std::string_view bytes) {
    const std::size_t size = std::min(bytes.size(), kMostBytes);
    std::memcpy(mHandled.goodbye, bytes.data(), size);
    mHandled.goodbyeSize = size;
}

// A signal that the process was told to ignore stays ignored.
void TerminalSignals::Install(int signal, struct sigaction* before) {
    sigaction(signal, nullptr, before);
    if ((before->sa_flags & SA_SIGINFO) == 0 && before->sa_handler == SIG_IGN) {
        return;
    }
    struct sigaction action = {};
    sigfillset(&action.sa_mask);
    if (std::find(std::begin(kFatal), std::end(kFatal), signal) != std::end(kFatal)) {
        action.sa_sigaction = &OnFatal;
        action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    } else {
        action.sa_handler = &OnNoted;
        action.sa_flags = SA_ONSTACK | SA_RESTART;
    }
    sigaction(signal, &action, nullptr);
}

void TerminalSignals::OnFatal(int signal, siginfo_t* info, void*) {
    const int error = errno;
    // A terminal that has gone takes nothing any more; that is no reason to stay.
    static_cast<void>(!write(STDOUT_FILENO, mHandled.goodbye, mHandled.goodbyeSize));
    tcsetattr(STDIN_FILENO, TCSANOW, &mHandled.modes);
    const auto index = std::find(std::begin(kFatal), std::end(kFatal), signal) - std::begin(kFatal);
    sigaction(signal, &mHandled.fatalBefore[index], nullptr);
    // A processor exception comes again with its instruction, everything else only when it is sent.
    const bool comesAgain =
        info->si_code > 0 && signal != SIGABRT &&
        (signal == SIGSEGV || signal == SIGBUS || signal == SIGILL || signal == SIGFPE);
    if (!comesAgain) {
        raise(signal); // blocked until this returns
    }
    errno = error;
}

void TerminalSignals::OnNoted(int signal) {
    const int error = errno;
    (signal == SIGTSTP ? mStop : signal == SIGCONT ? mContinued : mResized) = 1;
    const char byte = 0;
    // A pipe that is full wakes as well.
    static_cast<void>(!write(mHandled.wake, &byte, 1));
    errno = error;
}

bool TerminalSignals::TakeStop() {
    return Take(mStop);
}

bool TerminalSignals::TakeContinued() {
    return Take(mContinued);
}

bool TerminalSignals::TakeResized() {
    return Take(mResized);
}

void TerminalSignals::Stop() {
    struct sigaction noted;
    struct sigaction standard = {};
    standard.sa_handler = SIG_DFL;
    sigaction(SIGTSTP, &standard, &noted);
    raise(SIGTSTP);
    sigaction(SIGTSTP, &noted, nullptr);
}

void TerminalSignals::Drain() {
    char bytes[64];
    while (read(pipe_[0], bytes, sizeof(bytes)) > 0) {
    }
}

} // namespace sim
