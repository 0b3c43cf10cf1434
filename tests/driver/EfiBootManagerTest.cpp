// The boot options that the driver keeps, as the tool that administrators use under Linux lists and
// edits them, and its edits as the driver reads them in the next boot.

#include "bootopt/LoadOption.h"
#include "bootopt/LoadOptionFormat.h"
#include "bootopt/OrderVariable.h"
#include "library/firmware/Services.h"
#include "library/pure/DevicePath.h"
#include "library/pure/DevicePathText.h"
#include "tests/driver/DriverBoot.h"
#include "uefi/GlobalVariable.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <regex>
#include <sstream>
#include <sys/wait.h>

namespace kelm::test {

namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<UINT8>;
using Order = std::vector<UINT16>;

constexpr UINT32 kOptionAttributes =
    EFI_VARIABLE_NON_VOLATILE | EFI_VARIABLE_BOOTSERVICE_ACCESS | EFI_VARIABLE_RUNTIME_ACCESS;

struct Option {
    UINT16 number;
    UINT32 attribute;
    std::u16string description;
    std::u16string path;
    Bytes data;

    bool operator==(const Option&) const = default;
};

const std::u16string kDisk = u"HD(1,GPT,03020100-0504-0706-0809-0A0B0C0D0E0F,0x800,0x64000)";

const std::vector<Option> kOptions = {
    {0x0000, LOAD_OPTION_ACTIVE, u"Debian", kDisk + u"/\\EFI\\debian\\shimx64.efi", {}},
    {0x0007,
     kLoadOptionEnumerated | LOAD_OPTION_ACTIVE,
     u"NIC in Slot 2: \u00DCberall",
     u"PciRoot(0x0)/Pci(0x1,0x0)",
     {'o', 'k'}},
    {0x00AB, 0, u"Virtual Floppy Drive", u"PciRoot(0x0)/Pci(0x14,0x0)/USB(0x3,0x0)", {}},
    {0x1F00, LOAD_OPTION_ACTIVE, u"In no order", u"PciRoot(0x0)/Pci(0x2,0x0)", {}},
};
const Order kOrder = {0x00AB, 0x0000, 0x0007};

// ---- The options in the simulated machine

Bytes PathOf(const std::u16string& text) {
    Bytes bytes(512);
    const DevicePathParse parse = DevicePathFromText(text, bytes);
    EXPECT_EQ(parse.status, EFI_SUCCESS);
    bytes.resize(parse.size);
    return bytes;
}

std::u16string TextOf(const EFI_DEVICE_PATH_PROTOCOL* path) {
    std::u16string text(512, u'\0');
    const auto length = DevicePathToText(path, DevicePathSize(path), text, {});
    text.resize(length.value_or(0));
    return text;
}

void Write(Option option) {
    Bytes path = PathOf(option.path);
    BootOptionRecord record{};
    record.Signature = kBootOptionSignature;
    record.DevicePath = reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(path.data());
    record.Attribute = option.attribute;
    record.Description = option.description.data();
    record.LoadOptions = option.data.data();
    record.LoadOptionsSize = UINT32(option.data.size());
    EXPECT_EQ(BdsWriteBootOption(option.number, &record), EFI_SUCCESS);
}

std::optional<Option> Read(UINT16 number) {
    const OwnedBootOption record(BdsReadBootOption(number));
    if (!record) {
        return std::nullopt;
    }
    return Option{record->BootCurrent, record->Attribute, record->Description,
                  TextOf(record->DevicePath),
                  Bytes(record->LoadOptions, record->LoadOptions + record->LoadOptionsSize)};
}

// An array of 16-bit numbers; its attributes have to be those of an option.
Order Numbers(const CHAR16* name) {
    Order numbers(64);
    UINTN size = numbers.size() * sizeof(UINT16);
    UINT32 attributes = 0;
    EXPECT_EQ(gRT->GetVariable(name, &gEfiGlobalVariableGuid, &attributes, &size, numbers.data()),
              EFI_SUCCESS);
    EXPECT_EQ(attributes, kOptionAttributes);
    EXPECT_EQ(size % sizeof(UINT16), 0u);
    numbers.resize(size / sizeof(UINT16));
    return numbers;
}

// ---- The tool

struct Listing {
    std::map<std::string, std::string> fields;
    std::map<unsigned, std::string> options; // "* Debian<tab>HD(...", without "*" when not active
};

Listing Parse(const std::string& text) {
    const std::regex option("Boot([0-9A-F]{4})([* ] .*)");
    const std::regex field("([A-Za-z]+): (.*)");
    Listing listing;
    std::istringstream lines(text);
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, match, option)) {
            listing.options[unsigned(std::stoul(match[1], nullptr, 16))] = match[2];
        } else if (std::regex_match(line, match, field)) {
            listing.fields[match[1]] = match[2];
        }
    }
    return listing;
}

class EfiBootManager : public testing::Test {
protected:
    void SetUp() override {
        if (std::system("command -v efibootmgr >/dev/null") != 0) {
            GTEST_SKIP() << "efibootmgr is not installed";
        }
        folder_ =
            fs::path(testing::TempDir()) /
            (std::string("boot-") + testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(folder_);
        Boot([] {
            for (const Option& option : kOptions) {
                Write(option);
            }
            for (const UINT16 number : kOrder) {
                EXPECT_EQ(BdsAppendToOrder(kBootOrderName, &gEfiGlobalVariableGuid, number),
                          EFI_SUCCESS);
            }
        });
    }
    void TearDown() override { fs::remove_all(folder_); }

    // A boot from the store, whose files are all good ones.
    void Boot(const std::function<void()>& body) {
        std::ostringstream diagnostics;
        const sim::BootResult result = RunInFirmware(
            "{}", [&](sim::Platform&) { body(); }, nullptr,
            sim::NvStore(folder_ / "store", diagnostics));
        EXPECT_EQ(result.violations, std::vector<std::string>{});
        EXPECT_EQ(diagnostics.str(), "");
    }

    // What the tool prints; it has to succeed.
    Listing Run(const std::string& arguments) {
        const std::string out = (folder_ / "out").string();
        // The slash at the end has to be there.
        const std::string command = "LC_ALL=C.UTF-8 EFIVARFS_PATH='" +
                                    (folder_ / "store").string() + "/' efibootmgr " + arguments +
                                    " >'" + out + "' 2>&1";
        const int status = std::system(command.c_str());
        std::ifstream stream(out, std::ios::binary);
        const std::string text(std::istreambuf_iterator<char>(stream), {});
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << arguments << ": " << text;
        return Parse(text);
    }

private:
    fs::path folder_;
};

TEST_F(EfiBootManager, ListsWhatTheDriverWrote) {
    const Listing listing = Run("-v");
    EXPECT_EQ(listing.fields.at("BootOrder"), "00AB,0000,0007");
    EXPECT_FALSE(listing.fields.contains("BootNext"));
    const std::map<unsigned, std::string> expected = {
        {0x0000, "* Debian\tHD(1,GPT,03020100-0504-0706-0809-0a0b0c0d0e0f,0x800,0x64000)"
                 "/File(\\EFI\\debian\\shimx64.efi)"},
        {0x0007, "* NIC in Slot 2: \u00DCberall\tPciRoot(0x0)/Pci(0x1,0x0)ok"},
        {0x00AB, "  Virtual Floppy Drive\tPciRoot(0x0)/Pci(0x14,0x0)/USB(3,0)"},
        {0x1F00, "* In no order\tPciRoot(0x0)/Pci(0x2,0x0)"},
    };
    EXPECT_EQ(listing.options, expected);

    Boot([] {
        EXPECT_EQ(BdsSetOptionActive(0x00AB, true), EFI_SUCCESS);
        EXPECT_EQ(BdsMoveToFrontOfOrder(kBootOrderName, &gEfiGlobalVariableGuid, 7), EFI_SUCCESS);
        OptionOrder order;
        EXPECT_EQ(BdsReadOrder(kBootOrderName, &gEfiGlobalVariableGuid, order), EFI_SUCCESS);
        UINTN size = order.numbers().size_bytes();
        EXPECT_EQ(BdsDeleteOptionAndRemoveFromOrder(0, order.numbers().data(), &size), EFI_SUCCESS);
        EXPECT_EQ(BdsWriteOrder(kBootOrderName, &gEfiGlobalVariableGuid,
                                order.numbers().first(size / sizeof(UINT16))),
                  EFI_SUCCESS);
    });
    const Listing changed = Run("-v");
    EXPECT_EQ(changed.fields.at("BootOrder"), "0007,00AB");
    EXPECT_EQ(changed.options.size(), 3u);
    EXPECT_EQ(changed.options.at(0x00AB).front(), '*');
}

TEST_F(EfiBootManager, EditsWhatTheDriverReads) {
    Run("-o 0007,1F00,00AB"); // as many as before: the tool does not shorten an ordinary file
    Run("-A -b 0000");
    Run("-a -b 00AB");
    EXPECT_EQ(Run("-n 00AB").fields.at("BootNext"), "00AB");
    Boot([] {
        EXPECT_EQ(Numbers(kBootOrderName), (Order{0x0007, 0x1F00, 0x00AB}));
        EXPECT_EQ(Numbers(kBootNextName), (Order{0x00AB}));
        for (Option option : kOptions) {
            if (option.number == 0x0000 || option.number == 0x00AB) {
                option.attribute ^= LOAD_OPTION_ACTIVE;
            }
            EXPECT_TRUE(Read(option.number) == option) << option.number;
        }
    });
}

} // namespace

} // namespace kelm::test
