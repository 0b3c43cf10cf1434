// What the tests of consoles share: console variables as text, machines with consoles, and the
// lines that tell of connecting them.
#pragma once

#include "kelm/DebugLevels.h"
#include "library/pure/DevicePath.h"
#include "library/pure/DevicePathText.h"
#include "sim/firmware/VariableService.h"
#include "tests/driver/DriverBoot.h"
#include "uefi/GlobalVariable.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace kelm::test {

using Texts = std::vector<std::string>;
using Bytes = std::vector<UINT8>;

inline constexpr UINT32 kNonVolatile = 7;

inline Bytes PathBytes(std::u16string_view text) {
    Bytes bytes(2048);
    const DevicePathParse parse = DevicePathFromText(text, bytes);
    EXPECT_EQ(parse.status, EFI_SUCCESS);
    bytes.resize(parse.size);
    return bytes;
}

// A device path out of its text; none out of none.
class Path {
public:
    explicit Path(std::u16string_view text) : bytes_(text.empty() ? Bytes() : PathBytes(text)) {}
    EFI_DEVICE_PATH_PROTOCOL* get() {
        return bytes_.empty() ? nullptr
                              : reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(bytes_.data());
    }

private:
    Bytes bytes_;
};

inline void Store(sim::Platform& platform, std::u16string_view name, const Bytes& data,
                  UINT32 attributes = kNonVolatile) {
    ASSERT_EQ(platform.variables->Write(name, gEfiGlobalVariableGuid, attributes, data.data(),
                                        data.size()),
              EFI_SUCCESS);
}

inline void Store(sim::Platform& platform, std::u16string_view name, std::u16string_view text) {
    Store(platform, name, text.empty() ? Bytes() : PathBytes(text));
}

inline const sim::StoredVariable* Find(sim::Platform& platform, std::u16string_view name) {
    return platform.variables->Find(name, gEfiGlobalVariableGuid);
}

// The text of a console variable; empty when there is none.
inline std::u16string Stored(sim::Platform& platform, std::u16string_view name) {
    const sim::StoredVariable* variable = Find(platform, name);
    if (variable == nullptr) {
        return u"";
    }
    std::u16string text(2048, u'\0');
    const auto length =
        DevicePathToText(reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(variable->data.data()),
                         variable->data.size(), text);
    text.resize(length.value_or(0));
    return length ? text : u"(broken)";
}

inline Texts DebugLines(const sim::Trace& trace, UINT64 level) {
    Texts lines;
    for (const sim::Json& event : trace.EventsOf("debug")) {
        if ((event.at("level").get<UINT64>() & level) != 0) {
            lines.push_back(event.at("text"));
        }
    }
    return lines;
}

// Runs `body` and expects that it misuses nothing and leaves no memory behind.
inline void Check(std::string_view machine, const std::function<void(sim::Platform&)>& body,
                  sim::Trace* trace = nullptr) {
    const sim::BootResult result = RunInFirmware(
        machine,
        [&](sim::Platform& platform) {
            const auto before = platform.arena->LiveBlocks().size();
            body(platform);
            EXPECT_EQ(platform.arena->LiveBlocks().size(), before);
        },
        trace);
    EXPECT_EQ(result.violations, Texts{});
}

inline std::u16string Joined(std::initializer_list<std::u16string_view> paths) {
    std::u16string text;
    for (const std::u16string_view path : paths) {
        text += (text.empty() ? u"" : u",") + std::u16string(path);
    }
    return text;
}

// Two video outputs; the table names one, and a console that is not there.
inline constexpr char kTwoOutputs[] = R"j({
    "devices": {
        "onboard": {"path": "PciRoot(0x7)/Pci(0x1,0x0)/AcpiAdr(0x80010100)", "kind": "video"},
        "card": {"path": "PciRoot(0x7)/Pci(0x2,0x0)/AcpiAdr(0x80010100)", "kind": "video"}},
    "consoles": [
        {"path": "PciRoot(0x7)/Pci(0x1,0x0)/AcpiAdr(0x80010100)", "for": ["out", "error"]},
        {"path": "PciRoot(0x9)/Pci(0x3,0x0)", "for": ["in", "out"]}]})j";
inline constexpr char16_t kOutput[] = u"PciRoot(0x7)/Pci(0x1,0x0)/AcpiAdr(0x80010100)";
inline constexpr char16_t kSecondOutput[] = u"PciRoot(0x7)/Pci(0x2,0x0)/AcpiAdr(0x80010100)";

inline Texts ConnectingLines(const sim::Trace& trace) {
    Texts lines = DebugLines(trace, kDebugBds);
    std::erase_if(lines, [](const std::string& line) {
        return line.find("Connecting console varirable") == std::string::npos;
    });
    return lines;
}

} // namespace kelm::test
