// The variable store as a directory: what other tools wrote is read, what we write they can read,
// and nothing is touched that did not change.

#include "sim/machine/NvStore.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>

namespace sim {
namespace {

namespace fs = std::filesystem;

constexpr EFI_GUID kGlobal = {
    0x8BE4DF61, 0x93CA, 0x11D2, {0xAA, 0x0D, 0x00, 0xE0, 0x98, 0x03, 0x2B, 0x8C}};
constexpr EFI_GUID kOther = {
    0x55E1FC65, 0xA898, 0x4214, {0xA8, 0xA9, 0x1A, 0xE8, 0x39, 0xCD, 0x32, 0x9A}};
const std::string kGlobalText = "8be4df61-93ca-11d2-aa0d-00e098032b8c";

class NvStoreDirectory : public testing::Test {
protected:
    NvStoreDirectory() {
        directory_ = fs::path(testing::TempDir()) /
                     testing::UnitTest::GetInstance()->current_test_info()->name();
        fs::remove_all(directory_);
    }
    ~NvStoreDirectory() override { fs::remove_all(directory_); }

    void Write(const std::string& name, const std::string& content) {
        fs::create_directories(directory_);
        std::ofstream(directory_ / name, std::ios::binary) << content;
    }
    std::string Read(const std::string& name) {
        std::ifstream stream(directory_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    std::vector<std::string> Files() {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory_)) {
            names.push_back(entry.path().filename());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    fs::path directory_;
    std::ostringstream diagnostics_;
};

using namespace std::string_literals;

TEST_F(NvStoreDirectory, KeepsVariablesAsFilesThatToolsRead) {
    NvStore store(directory_, diagnostics_);
    EXPECT_TRUE(store.Set({u"BootOrder", kGlobal, 7, {1, 0}}));
    EXPECT_TRUE(store.Set({u"Boot0001", kGlobal, 7, {0xAA}}));
    EXPECT_TRUE(store.Set({u"Boot0001", kOther, 3, {0xBB, 0xCC}}));
    EXPECT_TRUE(store.Set({u"BootOrder", kGlobal, 7, {2}}));
    EXPECT_EQ(Read("BootOrder-" + kGlobalText), "\x07\0\0\0\x02"s);
    EXPECT_TRUE(store.Erase(u"Boot0001", kGlobal));
    EXPECT_TRUE(store.Erase(u"Boot0001", kGlobal));
    EXPECT_EQ(Files(), (std::vector<std::string>{"Boot0001-55e1fc65-a898-4214-a8a9-1ae839cd329a",
                                                 "BootOrder-" + kGlobalText}));

    // A second power-on finds the same, in the same order.
    const NvStore again(directory_, diagnostics_);
    ASSERT_EQ(again.All().size(), 2u);
    EXPECT_EQ(again.All()[0].name, u"Boot0001");
    EXPECT_EQ(again.All()[1].name, u"BootOrder");
    EXPECT_EQ(again.Find(u"Boot0001", kOther)->data, (std::vector<std::uint8_t>{0xBB, 0xCC}));
    EXPECT_EQ(again.Find(u"Boot0001", kOther)->attributes, 3u);
    EXPECT_EQ(again.Find(u"Boot0001", kGlobal), nullptr);
    EXPECT_EQ(again.UsedBytes(), store.UsedBytes());
    EXPECT_EQ(diagnostics_.str(), "");
}

TEST_F(NvStoreDirectory, ReportsBadFilesOnceAndLeavesThemAlone) {
    Write("Short-" + kGlobalText, "\x07\0\0"s);
    Write("NoGuid", "\x07\0\0\0x"s);
    Write("-" + kGlobalText, "\x07\0\0\0x"s);
    Write("Bad\xFFName-" + kGlobalText, "\x07\0\0\0x"s);
    Write("BadGuid-8be4df61-93ca-11d2-aa0d-00e098032b8g", "\x07\0\0\0x"s);
    Write("Twice-" + kGlobalText, "\x07\0\0\0a"s);
    Write("Twice-8BE4DF61-93CA-11D2-AA0D-00E098032B8C", "\x07\0\0\0b"s);
    Write("BootCurrent-" + kGlobalText, "\x06\0\0\0\x01\0"s); // volatile: copied from a machine
    Write(".hidden", "x");
    fs::create_directories(directory_ / "folder");
    fs::create_directories(directory_ / ("Folder-" + kGlobalText));
    Write("Huge-" + kGlobalText, "\x07\0\0\0"s);
    fs::resize_file(directory_ / ("Huge-" + kGlobalText), 1024 * 1024 + 1);
    // Nobody ever writes into the pipe; the device never ends.
    ASSERT_EQ(mkfifo((directory_ / ("Pipe-" + kGlobalText)).c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", directory_ / ("Device-" + kGlobalText));
    fs::create_symlink("nowhere", directory_ / ("Dangling-" + kGlobalText));
    fs::create_symlink("Twice-" + kGlobalText, directory_ / ("Link-" + kGlobalText));
    const std::vector<std::string> before = Files();

    NvStore store(directory_, diagnostics_);
    ASSERT_EQ(store.All().size(), 2u);
    EXPECT_EQ(store.All()[0].name, u"Link");
    EXPECT_EQ(store.All()[1].name, u"Twice");
    EXPECT_TRUE(store.Set({u"New", kGlobal, 7, {1}}));
    EXPECT_TRUE(store.Erase(u"New", kGlobal));
    EXPECT_EQ(Files(), before);
    EXPECT_EQ(Read("Short-" + kGlobalText), "\x07\0\0"s);

    std::istringstream lines(diagnostics_.str());
    std::vector<std::string> reports;
    for (std::string line; std::getline(lines, line);) {
        reports.push_back(line);
    }
    EXPECT_EQ(reports.size(), 11u) << diagnostics_.str();
    EXPECT_NE(diagnostics_.str().find("Short-" + kGlobalText + ": ignored: shorter than the four"),
              std::string::npos);
    EXPECT_NE(diagnostics_.str().find("NoGuid: ignored: the name is not Name-GUID"),
              std::string::npos);
    EXPECT_NE(diagnostics_.str().find("Huge-" + kGlobalText + ": ignored: longer than 1 MiB"),
              std::string::npos);
    EXPECT_NE(diagnostics_.str().find("Pipe-" + kGlobalText + ": ignored: not a regular file"),
              std::string::npos);
}

TEST_F(NvStoreDirectory, TouchesOnlyWhatChangesAndReplacesWholeFiles) {
    // As tools and other systems leave them: GUID in upper case.
    Write("Kept-8BE4DF61-93CA-11D2-AA0D-00E098032B8C", "\x07\0\0\0abc"s);
    Write("Changed-8BE4DF61-93CA-11D2-AA0D-00E098032B8C", "\x07\0\0\0long content"s);
    Write(".kelm-new-variable", "half"); // the tool died while it wrote
    const fs::path kept = directory_ / "Kept-8BE4DF61-93CA-11D2-AA0D-00E098032B8C";
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(1);
    fs::last_write_time(kept, old);
    const auto stamp = fs::last_write_time(kept);

    NvStore store(directory_, diagnostics_);
    EXPECT_TRUE(store.Set({u"Kept", kGlobal, 7, {'a', 'b', 'c'}}));
    EXPECT_TRUE(store.Set({u"Changed", kGlobal, 7, {'s'}}));
    EXPECT_EQ(fs::last_write_time(kept), stamp);
    // The file keeps the name under which it was found.
    EXPECT_EQ(Files(), (std::vector<std::string>{"Changed-8BE4DF61-93CA-11D2-AA0D-00E098032B8C",
                                                 "Kept-8BE4DF61-93CA-11D2-AA0D-00E098032B8C"}));
    EXPECT_EQ(Read("Changed-8BE4DF61-93CA-11D2-AA0D-00E098032B8C"), "\x07\0\0\0s"s);

    // A directory that is gone: the write fails, and the store still says what is on disk.
    fs::remove_all(directory_);
    EXPECT_FALSE(store.Set({u"Kept", kGlobal, 7, {'x'}}));
    EXPECT_EQ(store.Find(u"Kept", kGlobal)->data.size(), 3u);
    EXPECT_NE(diagnostics_.str().find("not written"), std::string::npos);
    EXPECT_THROW(NvStore("/proc/version", diagnostics_), std::runtime_error);
}

TEST(NvStoreFileName, EveryNameMakesTheRoundTrip) {
    const std::u16string names[] = {u"BootOrder",
                                    u"a-b-c",
                                    u"a/b",
                                    u"/",
                                    std::u16string(u"a\0b", 3),
                                    u"..",
                                    u".x",
                                    u"x.y",
                                    u"100%",
                                    u"%2F",
                                    u"%252F",
                                    u"%%2F/%00",
                                    u"\u00e4\u20ac",
                                    u"\xD800",
                                    u"%2e",
                                    u"\uFF12%\uFF12F"};
    for (const std::u16string& name : names) {
        const std::string file = VariableFileName(name, kGlobal);
        EXPECT_EQ(file.find('/'), std::string::npos);
        EXPECT_EQ(file.find('\0'), std::string::npos);
        EXPECT_NE(file[0], '.');
        const auto parsed = ParseVariableFileName(file);
        ASSERT_TRUE(parsed) << file;
        EXPECT_EQ(parsed->first, name) << file;
        EXPECT_EQ(parsed->second, kGlobal);
    }
    EXPECT_EQ(VariableFileName(u"100%", kGlobal), "100%-" + kGlobalText);
    EXPECT_FALSE(ParseVariableFileName("\xF0\x9F\x98\x80-" + kGlobalText));
}

} // namespace
} // namespace sim
