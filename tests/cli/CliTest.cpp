// The command line tool as a user meets it: what it prints where, and how it ends.

#include "sim/trace/Trace.h"
#include "tests/Paths.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;

struct Result {
    int status = -1;
    std::string out;
    std::string err;
};

class CommandLine : public testing::Test {
protected:
    CommandLine() {
        folder_ =
            fs::path(testing::TempDir()) /
            (std::string("cli-") + testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(folder_);
        fs::create_directories(folder_);
    }
    ~CommandLine() override { fs::remove_all(folder_); }

    // Runs kelm-sim in the test's folder.
    Result Run(const std::string& arguments) {
        const std::string command = "cd '" + folder_.string() + "' && '" + paths::kSimProgram +
                                    "' " + arguments + " >out 2>err";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Read("out"), Read("err")};
    }
    void Write(const std::string& name, const std::string& text) {
        std::ofstream(folder_ / name, std::ios::binary) << text;
    }
    std::string Read(const std::string& name) {
        std::ifstream stream(folder_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    fs::path folder_;
};

std::string LastLine(const std::string& text) {
    const std::string body = text.substr(0, text.find_last_not_of('\n') + 1);
    return body.substr(body.rfind('\n') + 1);
}

TEST_F(CommandLine, BadInputEndsWithStatusTwoAndOneLineThatSaysWhy) {
    struct Row {
        const char* arguments;
        const char* message;
    };
    constexpr Row kRows[] = {
        {"", "subcommand is required"},
        {"fly", "required"},
        {"boot --no-such-option", "--no-such-option"},
        {"boot --boots 0", "--boots"},
        {"boot nobody.json", "nobody.json: No such file or directory"},
        {"boot typo.json", "typo.json: /colour: unknown key"},
        {"boot broken.json", "broken.json: line 2, column 1: "},
        {"boot absent.json", "absent.json: /missing/0: there is no protocol \"KelmToaster\""},
        {"boot --set attribute.NumLock", "--set: attribute.NumLock: a setting is TARGET=VALUE"},
        {"boot --keys F2@1,F99@2", "--keys: F99@2: there is no key \"F99\""},
        {"boot --driver typo.json", "typo.json: not a usable driver"},
        {"boot --driver nobody.efi", "nobody.efi: No such file or directory"},
        {"boot --trace no/such/folder/t.jsonl", "no/such/folder/t.jsonl: No such file"},
        {"boot --nvram typo.json", "typo.json: cannot be used as a directory of variables"},
    };
    Write("typo.json", R"({"colour": "red"})");
    Write("broken.json", "{\n");
    Write("absent.json", R"({"missing": ["KelmToaster"]})");
    for (const Row& row : kRows) {
        const Result result = Run(row.arguments);
        EXPECT_EQ(result.status, 2) << row.arguments;
        EXPECT_NE(result.err.find(row.message), std::string::npos)
            << row.arguments << ": " << result.err;
        EXPECT_EQ(result.out, "") << row.arguments;
    }
}

TEST_F(CommandLine, OtherVerbsPrintWhatABootTakes) {
    const Result help = Run("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("Exit statuses:"), std::string::npos);
    EXPECT_NE(Run("boot --help").out.find("--nvram"), std::string::npos);
    EXPECT_TRUE(sim::Json::accept(Run("schema").out));
    const Result protocols = Run("protocols");
    EXPECT_EQ(protocols.status, 0);
    EXPECT_NE(protocols.out.find("85A3C2A8-0B8A-41D9-9153-1447AC375EFF"), std::string::npos);
}

TEST_F(CommandLine, BootSaysHowItEndedAndWritesWhatItWasAskedFor) {
    const Result boot = Run("boot --trace t.jsonl --nvram nv --set limits.keyWaitSeconds=5");
    const sim::Json last = sim::Json::parse(LastLine(Read("t.jsonl")));
    ASSERT_EQ(last["event"], "end");
    const std::string reason = last["reason"];
    EXPECT_EQ(boot.status, reason == "waiting-for-key" ? 4 : 6) << boot.err;
    EXPECT_TRUE(LastLine(boot.out).starts_with("boot 1 ended after ")) << boot.out;
    EXPECT_NE(LastLine(boot.out).find(" s: " + reason), std::string::npos) << boot.out;
    EXPECT_EQ(boot.out.find('\033'), std::string::npos);
    EXPECT_TRUE(fs::exists(folder_ / "nv" / "Timeout-8be4df61-93ca-11d2-aa0d-00e098032b8c"));

    // Nothing was written on the console, and nothing else is asked for.
    EXPECT_EQ(Run("boot --screen").out, "");

    // The log is told with times, and a second boot from the same start is the same.
    const Result log = Run("boot --log --trace u.jsonl --set limits.keyWaitSeconds=5");
    EXPECT_NE(log.out.find("] [BDS] Early Init\n"), std::string::npos);
    EXPECT_EQ(Read("u.jsonl"), Read("t.jsonl"));
}

TEST_F(CommandLine, BadFilesOfTheStoreAreReportedOnceAndKept) {
    fs::create_directories(folder_ / "nv");
    Write("nv/Short-8be4df61-93ca-11d2-aa0d-00e098032b8c", "abc");
    Write("nv/readme.txt", "not a variable");
    const Result boot = Run("boot --nvram nv --boots 3 --set limits.timeSeconds=5");
    EXPECT_EQ(std::count(boot.err.begin(), boot.err.end(), '\n'), 2) << boot.err;
    EXPECT_NE(boot.err.find("readme.txt: ignored: the name is not Name-GUID"), std::string::npos);
    EXPECT_EQ(Read("nv/Short-8be4df61-93ca-11d2-aa0d-00e098032b8c"), "abc");
    EXPECT_EQ(Read("nv/readme.txt"), "not a variable");
}

TEST_F(CommandLine, TimeLimitsAndPowerCutsHaveStatusesOfTheirOwn) {
    const Result limit = Run("boot --set limits.timeSeconds=1");
    EXPECT_EQ(limit.status, 6) << limit.err;
    EXPECT_NE(LastLine(limit.out).find("time-limit"), std::string::npos);

    const Result cut = Run(R"(boot --set '/faults=[{"call": "SetVariable", "powerCut": true}]')");
    EXPECT_EQ(cut.status, 5) << cut.err;
    EXPECT_NE(LastLine(cut.out).find("halted (the power failed in SetVariable)"),
              std::string::npos);
}

} // namespace
