// The command line tool as a user meets it: what it prints where, and how it ends.

#include "sim/trace/Trace.h"
#include "tests/Paths.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
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

// All files of a folder with their content.
std::map<std::string, std::string> Files(const fs::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::directory_iterator(folder)) {
        std::ifstream stream(entry.path(), std::ios::binary);
        files[entry.path().filename()] = {std::istreambuf_iterator<char>(stream), {}};
    }
    return files;
}

std::string Shipped(const std::string& machine) {
    return "'" + std::string(paths::kRepository) + "/machines/" + machine + "'";
}

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
        {"boot --keys @nobody.json", "nobody.json: No such file or directory"},
        {"boot --keys @typo.json", "typo.json: /: keys are a JSON array"},
        {"boot --keys '[{\"at\": 1, \"key\": \"F99\"}]'", "--keys: /keys/0/key: "},
        {"boot --interactive", "--interactive: standard input and output must be a terminal"},
        {"boot --interactive --log", "excludes"},
        {"boot --speed 2", "--interactive"},
        {"boot --record keys.json", "--interactive"},
        {"boot --driver typo.json", "typo.json: not a usable driver"},
        {"boot --driver nobody.efi", "nobody.efi: No such file or directory"},
        {"boot --driver .", ".: not a usable driver: not a regular file"},
        {"boot --driver huge.efi", "huge.efi: not a usable driver: the file is longer than 64 MiB"},
        {"boot .", ".: is a directory, not a machine file"},
        {"boot ''", "machine: the name is empty"},
        {"boot --driver ''", "--driver: the name is empty"},
        {"boot --nvram ''", "--nvram: the name is empty"},
        {"boot --trace ''", "--trace: the name is empty"},
        {"boot orphan.json", "orphan.json: /extends: nobody.json: No such file or directory"},
        {"boot loud.json", "loud.json: /splash/on: must be a boolean, is \"xxx"},
        {"boot rude.json", "rude.json: /hobs/0/guid: \"\\u001b[2Jxxx"},
        {"boot --trace no/such/folder/t.jsonl", "no/such/folder/t.jsonl: No such file"},
        {"boot --nvram typo.json", "typo.json: cannot be used as a directory of variables"},
    };
    Write("typo.json", R"({"colour": "red"})");
    Write("broken.json", "{\n");
    Write("absent.json", R"({"missing": ["KelmToaster"]})");
    const std::string longText(1000, 'x');
    Write("orphan.json", R"({"extends": "nobody.json"})");
    Write("loud.json", R"({"splash": {"on": ")" + longText + "\"}}");
    Write("rude.json", R"({"hobs": [{"hex": "", "guid": "\u001b[2J)" + longText + "\"}]}");
    Write("huge.efi", "MZ");
    fs::resize_file(folder_ / "huge.efi", 64 * 1024 * 1024 + 1); // takes no room on the disk
    for (const Row& row : kRows) {
        const Result result = Run(row.arguments);
        EXPECT_EQ(result.status, 2) << row.arguments;
        EXPECT_NE(result.err.find(row.message), std::string::npos)
            << row.arguments << ": " << result.err;
        EXPECT_EQ(result.out, "") << row.arguments;
        EXPECT_LT(result.err.size(), 300u) << row.arguments << ": " << result.err;
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
    EXPECT_EQ(boot.status, 0) << boot.err;
    const sim::Json last = sim::Json::parse(LastLine(Read("t.jsonl")));
    EXPECT_EQ(last["event"], "end");
    EXPECT_EQ(last["reason"], "os-started");
    const std::string closing = LastLine(boot.out);
    EXPECT_TRUE(closing.starts_with("boot 1 ended after ")) << boot.out;
    EXPECT_NE(closing.find(" s: os-started"), std::string::npos) << boot.out;
    // A person can follow the boot.
    const std::size_t first = boot.out.find("[BDS] Early Init");
    const std::size_t later = boot.out.find("[BDS] Default Boot");
    EXPECT_LT(first, later);
    EXPECT_LT(later, boot.out.rfind("boot 1 ended after ")) << boot.out;
    EXPECT_EQ(boot.out.find('\033'), std::string::npos);

    const Result screen = Run("boot --screen");
    EXPECT_TRUE(screen.out.starts_with("+-")) << screen.out;
    EXPECT_NE(screen.out.find("-+\n"), std::string::npos) << screen.out;
    EXPECT_NE(screen.out.find("| Booting from "), std::string::npos) << screen.out;
    EXPECT_NE(screen.out.find("Kelm OS"), std::string::npos) << screen.out;
    // Without a system on the disk the boot ends at the prompt.
    const Result prompt = Run("boot --screen " + Shipped("no-boot-device.json"));
    EXPECT_EQ(prompt.status, 4) << prompt.err;
    EXPECT_NE(prompt.out.find("| No boot device available or Operating System detected."),
              std::string::npos)
        << prompt.out;
    EXPECT_EQ(screen.out.find("[BDS]"), std::string::npos) << screen.out;

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

TEST_F(CommandLine, ResetsAreFollowedAsFarAsAskedFor) {
    const std::string machine = "boot " + Shipped("secure-boot-task.json");
    const Result once = Run(machine);
    EXPECT_EQ(once.status, 3) << once.err;
    EXPECT_NE(LastLine(once.out).find(" s: reset-warm"), std::string::npos) << once.out;

    // The task is done in the first boot; the second one is ordinary, whichever run it belongs to.
    const Result twice = Run(machine + " --boots 2");
    EXPECT_EQ(twice.status, 0) << twice.err;
    const std::size_t first = twice.out.find("boot 1 ended after ");
    ASSERT_NE(first, std::string::npos) << twice.out;
    EXPECT_NE(twice.out.find("reset-warm", first), std::string::npos) << twice.out;
    EXPECT_TRUE(LastLine(twice.out).starts_with("boot 2 ended after ")) << twice.out;
    EXPECT_NE(LastLine(twice.out).find("os-started"), std::string::npos) << twice.out;
    EXPECT_EQ(Run(machine + " --nvram nv").status, 3);
    EXPECT_EQ(Run(machine + " --nvram nv").status, 0);
}

TEST_F(CommandLine, ViolationsAreListedAndDecideTheStatus) {
    // A variable that a boot writes, stored with other attributes than it writes it with.
    Write("odd.json", R"({"variables": {
        "Timeout-8BE4DF61-93CA-11D2-AA0D-00E098032B8C": {"attributes": 3, "u16": 5}}})");
    const Result boot = Run("boot odd.json");
    EXPECT_EQ(boot.status, 7) << boot.out;
    EXPECT_TRUE(boot.err.starts_with("boot 1: violation: ")) << boot.err;
    EXPECT_NE(boot.err.find("Timeout"), std::string::npos) << boot.err;
}

TEST_F(CommandLine, FaultsThatNoCallMetAreTold) {
    Write("faults.json", R"({"faults": [
        {"call": "KelmNimborProtocol.EarlyInit", "status": "EFI_TIMEOUT"},
        {"call": "KelmNimborProtocol.EarlyInnit", "nth": 2, "status": "EFI_TIMEOUT"}]})");
    const Result boot = Run("boot faults.json");
    EXPECT_EQ(boot.status, 0);
    EXPECT_EQ(boot.err,
              "kelm-sim: a fault never happened: KelmNimborProtocol.EarlyInnit, call 2\n");
}

TEST_F(CommandLine, VariablesStayInTheirDirectory) {
    // The first boot finds the disk, the second one remembers it; from then on nothing changes.
    ASSERT_EQ(Run("boot --nvram nv").status, 0);
    ASSERT_EQ(Run("boot --nvram nv").status, 0);
    const auto files = Files(folder_ / "nv");
    const auto timeout = files.find("Timeout-8be4df61-93ca-11d2-aa0d-00e098032b8c");
    ASSERT_NE(timeout, files.end());
    ASSERT_EQ(timeout->second.size(), 6u) << "attributes and sixteen bits";
    EXPECT_EQ(timeout->second.substr(0, 4), std::string("\x07\0\0\0", 4));
    ASSERT_EQ(Run("boot --nvram nv").status, 0);
    EXPECT_EQ(Files(folder_ / "nv"), files);
}

TEST_F(CommandLine, TheImageBootsAsTheBuiltInDriverDoes) {
    const fs::path image =
        fs::path(paths::kSimProgram).parent_path().parent_path() / "driver" / "KelmBdsDxe.efi";
    if (!fs::exists(image)) {
        GTEST_SKIP() << "the image is not built";
    }
    const Result native = Run("boot --trace native.jsonl");
    const Result loaded = Run("boot --trace image.jsonl --driver '" + image.string() + "'");
    EXPECT_EQ(loaded.status, native.status) << loaded.err;
    EXPECT_EQ(loaded.out, native.out);
    EXPECT_FALSE(Read("image.jsonl").empty());
    EXPECT_TRUE(Read("image.jsonl") == Read("native.jsonl"));
}

} // namespace
