// The terminal to sit at, driven as a person would through a pseudo-terminal. Nothing here depends
// on how fast the host is: keys are typed before the boot begins, or while it waits for one.

#include "sim/trace/Trace.h"
#include "tests/Paths.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr auto kPatience = std::chrono::seconds(90); // only a hang takes so long

// What terminals of type xterm send and are sent.
constexpr std::string_view kF1 = "\033OP";
constexpr std::string_view kQuit = "\x1D";
constexpr std::string_view kOtherScreen = "\033[?1049h";
constexpr std::string_view kFirstScreen = "\033[?1049l";
constexpr std::string_view kShowCursor = "\033[?25h";

// kelm-sim on a terminal of its own, in a folder of its own.
class ATerminal : public testing::Test {
protected:
    ATerminal() {
        folder_ =
            fs::path(testing::TempDir()) /
            (std::string("pty-") + testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(folder_);
        fs::create_directories(folder_);
    }
    ~ATerminal() override {
        if (child_ > 0) {
            kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
        if (terminal_ >= 0) {
            close(terminal_);
        }
        fs::remove_all(folder_);
    }

    // Starts it with what somebody has typed already.
    void Start(std::vector<std::string> arguments, std::string_view typed = "") {
        arguments.insert(arguments.begin(), {paths::kSimProgram, "boot", "--interactive"});
        shown_.clear();
        winsize size = {30, 90, 0, 0};
        int start[2]; // the child waits for it
        ASSERT_EQ(pipe(start), 0);
        if (terminal_ >= 0) {
            close(terminal_);
        }
        child_ = forkpty(&terminal_, nullptr, nullptr, &size);
        ASSERT_GE(child_, 0);
        if (child_ == 0) {
            char byte = 0;
            close(start[1]);
            static_cast<void>(!read(start[0], &byte, 1));
            std::vector<char*> words;
            for (std::string& argument : arguments) {
                words.push_back(argument.data());
            }
            words.push_back(nullptr);
            setenv("TERM", "xterm", 1);
            setenv("LC_ALL", "C", 1);
            unsetenv("NO_COLOR");
            if (chdir(folder_.c_str()) == 0) {
                execv(words[0], words.data());
            }
            _exit(127);
        }
        close(start[0]);
        ASSERT_EQ(tcgetattr(terminal_, &modes_), 0);
        Type(typed);
        close(start[1]);
    }

    void Type(std::string_view keys) {
        ASSERT_EQ(write(terminal_, keys.data(), keys.size()), ssize_t(keys.size()));
    }

    // Reads what is shown until `text` is, `times` times. False when the program ends before.
    bool Shows(std::string_view text, unsigned times = 1) {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (std::chrono::steady_clock::now() < deadline) {
            std::size_t found = 0;
            for (std::size_t at = 0; (at = shown_.find(text, at)) != std::string::npos; at++) {
                found++;
            }
            if (found >= times) {
                return true;
            }
            if (!ReadMore()) {
                return false;
            }
        }
        return false;
    }

    // Reads to the end and gives the status of waitpid().
    int End() {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (std::chrono::steady_clock::now() < deadline && ReadMore()) {
        }
        int status = 0;
        waitpid(child_, &status, 0);
        child_ = -1;
        return status;
    }

    // A program that is shown to be raw while it runs restores something.
    bool IsRaw() const {
        termios modes;
        return tcgetattr(terminal_, &modes) == 0 && (modes.c_lflag & (ICANON | ECHO | ISIG)) == 0;
    }
    void ExpectRestored() const {
        termios modes;
        ASSERT_EQ(tcgetattr(terminal_, &modes), 0);
        EXPECT_EQ(modes.c_iflag, modes_.c_iflag);
        EXPECT_EQ(modes.c_oflag, modes_.c_oflag);
        EXPECT_EQ(modes.c_lflag, modes_.c_lflag);
        EXPECT_EQ(std::memcmp(modes.c_cc, modes_.c_cc, sizeof(modes.c_cc)), 0);
        const std::size_t left = shown_.rfind(kFirstScreen);
        ASSERT_NE(left, std::string::npos) << shown_;
        EXPECT_EQ(shown_.find(kOtherScreen, left), std::string::npos) << "the other screen is left";
        EXPECT_GT(shown_.rfind(kShowCursor), shown_.rfind("\033[?25l") + 1) << shown_;
    }

    std::string Read(const std::string& name) const {
        std::ifstream stream(folder_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    // The trace of the same boot without a terminal, with the keys that were recorded.
    std::string Repeated(const std::string& machine) {
        const std::string command = "cd '" + folder_.string() + "' && '" + paths::kSimProgram +
                                    "' boot '" + machine +
                                    "' --keys @keys.json --trace repeated.jsonl >/dev/null 2>err";
        static_cast<void>(!std::system(command.c_str()));
        EXPECT_EQ(Read("err"), "");
        return Read("repeated.jsonl");
    }

    static std::string Shipped(const std::string& machine) {
        return std::string(paths::kRepository) + "/machines/" + machine;
    }

    fs::path folder_;
    pid_t child_ = -1;
    int terminal_ = -1;
    termios modes_{};
    std::string shown_; // every byte since the start

private:
    bool ReadMore() {
        pollfd watched = {terminal_, POLLIN, 0};
        if (poll(&watched, 1, 1000) == 0) {
            return true;
        }
        std::array<char, 4096> bytes;
        const ssize_t count = read(terminal_, bytes.data(), bytes.size());
        if (count > 0) {
            shown_.append(bytes.data(), std::size_t(count));
        }
        return count > 0 || errno == EINTR;
    }
};

TEST_F(ATerminal, ShowsABootToTheOperatingSystemAndRepeatsIt) {
    Start({"--speed", "0", "--trace", "t.jsonl", "--record", "keys.json"}, "xy\033[A");
    const int status = End();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << shown_;
    ExpectRestored();
    // On the screen, in the terminal; and then how it ended, in the shell's.
    const std::size_t left = shown_.rfind(kFirstScreen);
    EXPECT_LT(shown_.find("Booting from Kelm OS"), left) << shown_;
    EXPECT_LT(shown_.find("Ctrl+] quits"), left) << shown_;
    EXPECT_NE(shown_.find("os-started", left), std::string::npos) << shown_;

    const sim::Json keys = sim::Json::parse(Read("keys.json"));
    ASSERT_EQ(keys.size(), 3u) << keys;
    EXPECT_EQ(keys[0]["key"], "x");
    EXPECT_EQ(keys[2]["key"], "Up");
    EXPECT_FALSE(Read("t.jsonl").empty());
    EXPECT_TRUE(Read("t.jsonl") == Repeated("default"));
}

TEST_F(ATerminal, WaitsForKeysAndIsSwitchedOff) {
    const std::string machine = Shipped("no-boot-device.json");
    Start({machine, "--speed", "100", "--trace", "t.jsonl", "--record", "keys.json"});
    ASSERT_TRUE(Shows("F1 to Continue")) << shown_;
    ASSERT_TRUE(Shows("waiting for a key")) << shown_;
    EXPECT_TRUE(IsRaw());
    // A smaller terminal says what it lacks.
    winsize size = {20, 60, 0, 0};
    ioctl(terminal_, TIOCSWINSZ, &size);
    ASSERT_TRUE(Shows("60x20 is too small, 80x26 is needed")) << shown_;
    size = {30, 90, 0, 0};
    ioctl(terminal_, TIOCSWINSZ, &size);
    // Stopping leaves the terminal; the process has no shell here that it could stop for.
    kill(child_, SIGTSTP);
    ASSERT_TRUE(Shows(kOtherScreen, 2)) << shown_;
    ASSERT_TRUE(Shows("F11 for Boot Manager", 2)) << shown_;
    EXPECT_TRUE(IsRaw());
    Type(std::string("\x10") + std::string(kF1)); // Pause
    Type(kQuit);
    const int status = End();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 8) << status << shown_;
    ExpectRestored();
    EXPECT_NE(shown_.find("switched-off"), std::string::npos) << shown_;

    const sim::Json keys = sim::Json::parse(Read("keys.json"));
    ASSERT_EQ(keys.size(), 2u) << keys;
    EXPECT_EQ(keys[0]["key"], "Pause");
    EXPECT_EQ(keys[1]["key"], "F1");
    // The same as far as it went.
    const std::string trace = Read("t.jsonl");
    const std::size_t end = trace.rfind("\n{") + 1;
    EXPECT_NE(trace.find("switched-off", end), std::string::npos);
    EXPECT_EQ(trace.substr(0, end), Repeated(machine).substr(0, end));
}

TEST_F(ATerminal, IsRestoredWhenASignalEndsTheBoot) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGSEGV}) {
        Start({Shipped("no-boot-device.json"), "--speed", "0"});
        ASSERT_TRUE(Shows("waiting for a key")) << shown_;
        EXPECT_TRUE(IsRaw());
        kill(child_, signal);
        const int status = End();
        // A sanitizer reports the exception and exits.
        EXPECT_TRUE(WIFSIGNALED(status) ? WTERMSIG(status) == signal : signal == SIGSEGV)
            << signal << ": " << status;
        ExpectRestored();
    }
}

} // namespace
