// Machines with boot options: the sections of a machine file that hold them.
#pragma once

#include "tests/driver/OptionBytes.h"

#include <fmt/format.h>
#include <numeric>

namespace kelm::test {

// The first partition of the default machine's disk.
inline constexpr char16_t kPartition[] =
    u"HD(1,GPT,6E5D7A40-29C8-4B13-8F52-D0A41C97E3B6,0x800,0x100000)";
inline std::string Hex(const Bytes& bytes) {
    return fmt::format("{:02X}", fmt::join(bytes, ""));
}

struct Option {
    std::u16string path;
    std::u16string description = u"An option";
    Bytes optionalData = {};
};

// The inside of "variables": these options in this order.
inline std::string OptionVariables(const std::vector<Option>& options) {
    constexpr char kGlobal[] = "8BE4DF61-93CA-11D2-AA0D-00E098032B8C";
    Numbers order(options.size());
    std::iota(order.begin(), order.end(), UINT16(0));
    std::string text =
        fmt::format(R"("BootOrder-{}": {{"hex": "{}"}})", kGlobal, Hex(AsBytes(order)));
    for (const UINT16 number : order) {
        const Option& option = options[number];
        text += fmt::format(R"(, "Boot{:04X}-{}": {{"hex": "{}"}})", number, kGlobal,
                            Hex(OptionBytes(LOAD_OPTION_ACTIVE, option.description,
                                            PathOf(option.path), option.optionalData)));
    }
    return text;
}

} // namespace kelm::test
