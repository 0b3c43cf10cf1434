// Machine files: what a good one means after merging, and what a bad one is told.

#include "sim/machine/Embedded.h"
#include "sim/machine/MachineDescription.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace sim {
namespace {

namespace fs = std::filesystem;

constexpr const char* kGuid = "8BE4DF61-93CA-11D2-AA0D-00E098032B8C";

std::string ErrorOf(const std::function<void()>& load) {
    try {
        load();
    } catch (const MachineFileError& error) {
        return error.what();
    }
    return "no error";
}

// A folder of machine files, empty at first.
class MachineFolder : public testing::Test {
protected:
    MachineFolder() {
        folder_ = fs::path(testing::TempDir()) /
                  testing::UnitTest::GetInstance()->current_test_info()->name();
        fs::remove_all(folder_);
        fs::create_directories(folder_ / "deep");
    }
    ~MachineFolder() override { fs::remove_all(folder_); }

    std::string Write(const std::string& name, const std::string& text) {
        std::ofstream(folder_ / name) << text;
        return (folder_ / name).string();
    }

    fs::path folder_;
};

TEST(MachineFile, DefaultMachineIsCompleteAndEveryOtherOneStandsOnIt) {
    const MachineDescription machine = LoadMachine("");
    EXPECT_EQ(machine.file, "default");
    EXPECT_EQ(machine.At("/board/vendor"), "Kelm");
    EXPECT_EQ(machine.At("/devices/raid/fqdd"), "RAID.Integrated.1-1");
    EXPECT_TRUE(machine.At("/extends").is_null());
    EXPECT_TRUE(machine.At("/no/such/place").is_null());

    const MachineDescription other = ParseMachine(R"({"attributes": {"NumLock": "Off"}})");
    EXPECT_EQ(other.At("/attributes/NumLock"), "Off");
    EXPECT_EQ(other.At("/attributes/UsbPorts"), machine.At("/attributes/UsbPorts"));
    EXPECT_EQ(ParseMachine(R"({"extends": "empty"})").root, Json::object());
}

TEST(MachineFile, MergesObjectsReplacesArraysAndRemovesWithNull) {
    const MachineDescription machine = ParseMachine(R"({
        "attributes": {"NumLock": null, "SerialComm": {"hex": "0102"}},
        "board": {"vendor": null},
        "devices": {"raid": {"location": "Elsewhere"}, "nvme1": null},
        "hobs": [],
        "cpld": {"registers": {"0x0201": 255}},
        "variables": {"SetupMode-8be4df61-93ca-11d2-aa0d-00e098032b8c": {"u8": 0}},
        "pcds": {"3df141ba-47eb-45b3-98c2-3041af59da19/0x50000028": null,
                 "3df141ba-47eb-45b3-98c2-3041af59da19/0x0000000a": {"type": "u8", "value": 1}}})");
    EXPECT_FALSE(machine.At("/attributes").contains("NumLock"));
    EXPECT_EQ(machine.At("/attributes/SerialComm/hex"), "0102");
    EXPECT_TRUE(machine.At("/board/vendor").is_null());
    EXPECT_EQ(machine.At("/devices/raid/location"), "Elsewhere");
    EXPECT_EQ(machine.At("/devices/raid/kind"), "raid");
    EXPECT_FALSE(machine.At("/devices").contains("nvme1"));
    EXPECT_EQ(machine.At("/hobs"), Json::array());
    EXPECT_EQ(machine.At("/cpld/registers/0x201"), 255);
    // Keys with GUIDs and numbers meet however they are spelled.
    const std::string setupMode = std::string("/variables/SetupMode-") + kGuid;
    EXPECT_EQ(machine.At(setupMode + "/u8"), 0);
    EXPECT_EQ(machine.At(setupMode + "/attributes"), 6);
    EXPECT_FALSE(machine.At("/pcds").contains("3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000028"));
    EXPECT_TRUE(machine.At("/pcds").contains("3DF141BA-47EB-45B3-98C2-3041AF59DA19/0xA"));
}

TEST_F(MachineFolder, ExtendsIsRelativeToTheFileAndNotCircular) {
    Write("base.json", R"({"extends": "empty", "name": "base", "board": {"chassisCode": 7}})");
    const std::string child =
        Write("deep/child.json", R"({"extends": "../base.json", "name": "child"})");
    const MachineDescription machine = LoadMachine(child);
    EXPECT_EQ(machine.At("/name"), "child");
    EXPECT_EQ(machine.At("/board/chassisCode"), 7);
    EXPECT_EQ(machine.root.size(), 2u);

    const std::string first = Write("first.json", R"({"extends": "deep/second.json"})");
    Write("deep/second.json", R"({"extends": "../deep/../first.json"})");
    EXPECT_NE(ErrorOf([&] { LoadMachine(first); }).find("extends itself"), std::string::npos);
    const std::string orphan = Write("orphan.json", R"({"extends": "nobody.json"})");
    EXPECT_NE(ErrorOf([&] { LoadMachine(orphan); }).find("nobody.json: No such file"),
              std::string::npos);
    EXPECT_NE(ErrorOf([&] { LoadMachine(folder_.string()); }).find("is a directory"),
              std::string::npos);
    // A mistake further down is told with the name of the file that holds it.
    Write("base.json", R"({"bord": {}})");
    EXPECT_NE(ErrorOf([&] { LoadMachine(child); }).find("base.json: /bord: unknown key"),
              std::string::npos);
}

struct BadFile {
    const char* text;
    const char* error; // behind "m.json: "
};

constexpr BadFile kBadFiles[] = {
    // Not JSON, or not only one thing.
    {"", "line 1, column 1: syntax error while parsing value - unexpected end of input"},
    {"{\n  \"name\": \"x\",\n  oops\n}", "line 3, column 3: syntax error"},
    {"{\"name\": \"\xFF\"}", "line 1, column 11: syntax error"},
    {"[]", "/: a machine file is a JSON object"},
    {R"({"board": {"vendor": "a", "vendor": "b"}})", "/board/vendor: the key occurs twice"},
    {R"({"cpld": {"registers": {"0x1": 1, "0x01": 2}}})",
     "/cpld/registers/0x01: the key occurs twice"},
    {R"({"policies": {"1": 1, "01": 2}})", "/policies/01: the key occurs twice"},
    {R"({"policies": {"00": 1, "0": 2}})", "/policies/0: the key occurs twice"},
    // Keys.
    {R"({"colour": 1})", "/colour: unknown key"},
    {R"({"colour": null})", "/colour: unknown key"},
    {R"({"controller": {"ipmi": [{"netfn": 6, "command": 1, "respnse": ""}]}})",
     "/controller/ipmi/0/respnse: unknown key"},
    {R"j({"devices": {"x": {"path": "Pci(0x0,0x0)", "kind": "nic", "size": 1}}})j",
     "/devices/x/size: unknown key"},
    {R"({"tpm": {"version": 2}})", "/tpm/version: unknown key"},
    {R"({"hobs": [{"guid": "528F01C0-6F61-4366-B878-FA2D73B409EC"}]})",
     "/hobs/0: the key \"hex\" is missing"},
    {R"({"variables": {"BootOrder": {"hex": ""}}})", "/variables/BootOrder: the key is not a var"},
    {R"({"pcds": {"123/0x1": {"type": "u8", "value": 1}}})", "/pcds/123~10x1: the key is not a c"},
    {R"({"attributes": {"a b": "x"}})", "/attributes/a b: the key is not a setting's name"},
    {R"({"cpld": {"registers": {"201": 1}}})", "/cpld/registers/201: the key is not a register"},
    {R"({"policies": {"200": 1}})", "/policies/200: the key is not a slot number"},
    // Types and ranges.
    {R"({"attributes": {"NumLock": 1}})",
     "/attributes/NumLock: must be a string or an object, is 1"},
    {R"({"splash": {"on": "yes"}})", "/splash/on: must be a boolean, is \"yes\""},
    {R"({"keys": {"at": 1}})", "/keys: must be an array, is {\"at\":1}"},
    {R"({"board": {"version": [1, 2, 256]}})", "/board/version/2: must be from 0 to 255, is 256"},
    {R"({"board": {"chassisCode": -1}})", "/board/chassisCode: must be from 0 to 65535, is -1"},
    {R"({"board": {"chassisCode": 1.5}})", "/board/chassisCode: must be an integer or a string"},
    {R"({"board": {"chassisCode": "0x10000"}})", "/board/chassisCode: \"0x10000\" is not a number"},
    {R"({"limits": {"timeSeconds": 0}})", "/limits/timeSeconds: must be from 1 to 1000000, is 0"},
    {R"j({"devices": {"x": {"path": "Pci(0x0,0x0)", "kind": "toaster"}}})j",
     "/devices/x/kind: must be one of [\"pci\","},
    {R"({"keys": [{"at": 5, "key": null}]})", "/keys/0/key: must be a string, is null"},
    // Texts with a form.
    {R"({"hobs": [{"guid": "528F01C0", "hex": "00"}]})",
     "/hobs/0/guid: \"528F01C0\" is not a GUID (XXXXXXXX-"},
    {R"({"hobs": [{"guid": "528F01C0-6F61-4366-B878-FA2D73B409EC", "hex": "0"}]})",
     "/hobs/0/hex: hexadecimal text ends with half a byte"},
    {R"({"attributes": {"X": {"hex": "0 1"}}})",
     "/attributes/X/hex: hexadecimal text goes wrong at character 2"},
    {R"({"controller": {"sma": [{"command": 1, "response": "0g"}]}})",
     "/controller/sma/0/response: hexadecimal text goes wrong at character 2"},
    {R"j({"devices": {"x": {"kind": "nic", "path": "PciRoot(0x0)/Pci(0x1C"}}})j",
     "/devices/x/path: device path text goes wrong at character"},
    {R"({"controller": {"initializeStatus": "EFI_OOPS"}})",
     "/controller/initializeStatus: there is no status \"EFI_OOPS\""},
    {R"({"keys": [{"at": 5, "key": "F25"}]})", "/keys/0/key: there is no key \"F25\""},
    {R"({"board": {"vendor": "\ud83d\ude00"}})", "/board/vendor: text may hold the characters"},
    // What only the merged machine shows.
    {R"({"devices": {"x": {"kind": "nic"}}})", "/devices/x: the key \"path\" is missing"},
    {R"({"attributes": {"NumLock": {}}})", "/attributes/NumLock: the key \"hex\" is missing"},
    {R"({"variables": {"A-8BE4DF61-93CA-11D2-AA0D-00E098032B8C": {"u8": 1, "text": "x"}}})",
     "/variables/A-8BE4DF61-93CA-11D2-AA0D-00E098032B8C: has both \"text\" and \"u8\""},
    {R"({"variables": {"A-8BE4DF61-93CA-11D2-AA0D-00E098032B8C": {"attributes": 7}}})",
     "/variables/A-8BE4DF61-93CA-11D2-AA0D-00E098032B8C: has no value"},
    {R"({"pcds": {"3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000028": {"value": 256}}})",
     "/pcds/3DF141BA-47EB-45B3-98C2-3041AF59DA19~10x50000028/value: 256 does not fit into 8 bits"},
    {R"({"pcds": {"3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000022": {"value": 1}}})",
     "/pcds/3DF141BA-47EB-45B3-98C2-3041AF59DA19~10x50000022/value: must be true or false"},
    {R"({"devices": {"x": {"kind": "nic", "path": ""}}})",
     "/devices/x/path: the device path is empty"},
    {R"({"variables": {"A-8BE4DF61-93CA-11D2-AA0D-00E098032B8C": {"attributes": 0, "u8": 1}}})",
     "/variables/A-8BE4DF61-93CA-11D2-AA0D-00E098032B8C/attributes: a variable needs boot"},
    {R"({"variables": {"A-8BE4DF61-93CA-11D2-AA0D-00E098032B8C": {"attributes": 5, "u8": 1}}})",
     "/variables/A-8BE4DF61-93CA-11D2-AA0D-00E098032B8C/attributes: a variable needs boot"},
    {R"({"variables": {"A-8BE4DF61-93CA-11D2-AA0D-00E098032B8C": {"attributes": "0x117", "u8": 1}}})",
     "/variables/A-8BE4DF61-93CA-11D2-AA0D-00E098032B8C/attributes: the bits 0x110 are not"},
    {R"({"extends": "other.json"})", "/extends: a machine that is not a file extends"},
};

TEST(MachineFile, BadInputIsToldWithPlaceAndReason) {
    for (const BadFile& bad : kBadFiles) {
        const std::string error = ErrorOf([&] { ParseMachine(bad.text, "m.json"); });
        EXPECT_TRUE(error.starts_with(std::string("m.json: ") + bad.error))
            << bad.text << "\n  expected " << bad.error << "\n  got      " << error;
    }
}

TEST(MachineFile, HugeInputIsAnsweredAndNotDiedOf) {
    std::string deep = R"({"controller": )";
    for (int i = 0; i < 200'000; i++) {
        deep += "[";
    }
    EXPECT_EQ(ErrorOf([&] { ParseMachine(deep); }), "machine: /: is nested too deeply");

    // Longer than regular expressions can take.
    const std::string digits(2'000'000, '0');
    const std::string text = R"({"attributes": {"X": {"hex": ")" + digits + R"("}}})";
    EXPECT_EQ(ParseMachine(text).At("/attributes/X/hex"), digits);
    const std::string longName(100'000, 'x');
    EXPECT_NE(ErrorOf([&] { ParseMachine(R"({"missing": [")" + longName + R"("]})"); }),
              "no error");
    EXPECT_NE(ErrorOf([&] { ParseMachine(R"({"variables": {")" + longName + R"(": {}}})"); }),
              "no error");
}

TEST(MachineFile, SettingsChangeWhatTheyNameAndNothingElse) {
    MachineDescription machine = LoadMachine("default");
    const MachineDescription before = machine;
    ApplySetting(machine, "attribute.PowerCycleRequest=FullPowerCycle");
    ApplySetting(machine, "attribute.BootOrderEnChanged=hex:01");
    ApplySetting(machine, "attribute.AssetTag=a=b.c");
    ApplySetting(machine, "pcd.3df141ba-47eb-45b3-98c2-3041af59da19/0x50000019=true");
    ApplySetting(machine, "limits.timeSeconds=10");
    ApplySetting(machine, std::string("variable.SetupMode-") + kGuid + "=00");
    ApplySetting(machine, R"(/keys/-={"at": 1500, "key": "F2"})");
    ApplySetting(machine, R"(/keys/0/key="F10")");
    ApplySetting(machine, "/cpld/registers/0x1203=8");
    ApplySetting(machine, "/board/vendor=null");

    Json expected = before.root;
    expected["attributes"]["PowerCycleRequest"] = "FullPowerCycle";
    expected["attributes"]["BootOrderEnChanged"] = {{"hex", "01"}};
    expected["attributes"]["AssetTag"] = "a=b.c";
    expected["pcds"]["3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x50000019"]["value"] = true;
    expected["limits"]["timeSeconds"] = 10;
    expected["variables"][std::string("SetupMode-") + kGuid] = {{"attributes", 6}, {"hex", "00"}};
    expected["keys"] = {{{"at", 1500}, {"key", "F10"}}};
    expected["cpld"]["registers"]["0x1203"] = 8;
    expected["board"].erase("vendor");
    EXPECT_EQ(machine.root, expected);
}

TEST(MachineFile, BadSettingsAreToldAndChangeNothing) {
    constexpr std::pair<const char*, const char*> kBad[] = {
        {"NumLock", "--set: NumLock: a setting is TARGET=VALUE"},
        {"=x", "--set: =x: a setting is TARGET=VALUE"},
        {"NumLock=Off", "--set: NumLock: a target is attribute.NAME"},
        {"colour.x=1", "--set: colour.x: \"colour\" cannot be set"},
        {"attribute.=x", "--set: /attributes/: the key is not a setting's name"},
        {"attribute.X=hex:0", "--set: /attributes/X/hex: hexadecimal text ends with half a byte"},
        {"variable.X=00", "--set: /variables/X: the key is not a variable"},
        {"pcd.3DF141BA-47EB-45B3-98C2-3041AF59DA19/0x99=1", "the key \"type\" is missing"},
        {"limits.timeSeconds=soon", "--set: /limits/timeSeconds: must be an integer, is \"soon\""},
        {"limits.patience=1", "--set: /limits/patience: unknown key"},
        {"/board/vendor=Kelm",
         "--set: /board/vendor: the value behind a JSON pointer must be JSON"},
        {"/board/vendor/x=1", "--set: /board/vendor/x: the machine has no such place"},
        {"/hobs/99=1", "--set: /hobs/99: the array has no element 99"},
        {"/board/colour=1", "--set: /board/colour: unknown key"},
    };
    MachineDescription machine = LoadMachine("default");
    const Json before = machine.root;
    for (const auto& [setting, expected] : kBad) {
        const std::string error = ErrorOf([&, s = setting] { ApplySetting(machine, s); });
        EXPECT_NE(error.find(expected), std::string::npos) << setting << ": " << error;
    }
    EXPECT_EQ(machine.root, before);
}

TEST(MachineFile, ReadersTakeEveryFormThatTheSchemaAllows) {
    MachineDescription machine;
    EXPECT_EQ(ReadNumber(machine, 12, "/"), 12u);
    EXPECT_EQ(ReadNumber(machine, "0xFFFFFFFFFFFFFFFF", "/"), ~0ull);
    EXPECT_EQ(ReadNumber(machine, ~0ull, "/"), ~0ull);
    EXPECT_EQ(ReadHex(machine, "0A 0b0C", "/"), (std::vector<std::uint8_t>{10, 11, 12}));
    EXPECT_EQ(ReadStatus(machine, "EFI_NOT_FOUND", "/"), EFI_NOT_FOUND);
    EXPECT_EQ(ReadText(machine, "\u00e4\u20ac", "/"), u"\u00e4\u20ac");
    EXPECT_EQ(ToUtf8(u"a\u00e4\u20ac\xD800z"), "a\u00e4\u20ac\ufffdz");
    EXPECT_EQ(ToUcs2("a\xFFz"), u"a\ufffdz");
    EXPECT_EQ(ReadDevicePath(machine, "PciRoot(0x0)/Pci(0x1F,0x2)", "/").size(), 12u + 6u + 4u);
    // A path longer than the first buffer.
    std::string longPath = "PciRoot(0x0)";
    for (int i = 0; i < 100; i++) {
        longPath += "/Pci(0x1,0x0)";
    }
    EXPECT_EQ(ReadDevicePath(machine, longPath, "/").size(), 12u + 600u + 4u);
}

} // namespace
} // namespace sim
