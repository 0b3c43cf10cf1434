// The options that enumeration makes, on machines of a few devices.
#pragma once

#include "bootopt/LoadOptionFormat.h"
#include "bootopt/UefiEnumeration.h"
#include "platform/Connect.h"
#include "tests/driver/OptionMachine.h"
#include "tests/driver/OrderBench.h"

#include <fmt/format.h>

#include <string>

namespace kelm::test {

inline constexpr char16_t kUefiOrder[] = u"UefiBootOrder";
inline constexpr UINT32 kEnumerated = 0x80000001;
inline constexpr UINT32 kOperatingSystems = 1; // attributes of an option that the system got

// Files of a file system, for a machine file.
inline constexpr char kLoader[] =
    R"("files": {"\\EFI\\BOOT\\BOOTX64.EFI": {"payload": "success"}})";
inline constexpr char kOtherFiles[] = R"("files": {"\\readme.txt": {"text": "Nothing to boot."}})";

// A machine of these devices and settings only.
inline std::string MachineOf(const Texts& devices, std::string_view settings = "",
                             std::string_view rest = "") {
    return fmt::format(R"({{"extends": "empty", "devices": {{{}}}, "attributes": {{{}}}{}}})",
                       fmt::join(devices, ", "), settings, rest);
}

inline std::string Narrow(std::u16string_view text) {
    return {text.begin(), text.end()};
}

// Puts an option in, behind all others of the order.
inline void AddOption(UINT16 number, UINT32 attributes, std::u16string_view description,
                      std::u16string_view path) {
    Store(sim::Platform::Current(), OptionName(number).c_str(),
          OptionBytes(attributes, description, PathOf(path)));
    Numbers order = Order(kUefiOrder);
    order.push_back(number);
    SetOrder(kUefiOrder, order);
}

// "0003 A description", with "*" behind the number of an option that enumeration did not make, and
// "0003 -" for a number without an option; for each entry of the order.
inline Texts Listed(const char16_t* order = kUefiOrder) {
    Texts texts;
    for (const UINT16 number : Order(order)) {
        const auto bytes = Stored(sim::Platform::Current(), OptionName(number).c_str());
        const auto option = bytes ? ParseLoadOption(*bytes) : std::nullopt;
        std::string description = "-";
        if (option) {
            std::u16string text(option->description.size() + 1, u'\0');
            text.resize(option->description.CopyTo(text));
            description = Narrow(text);
            EXPECT_TRUE((option->attributes & 0x80000000) == 0 ||
                        (option->attributes == kEnumerated && option->optionalData.empty()));
        }
        const bool own = option && (option->attributes & 0x80000000) == 0;
        texts.push_back(fmt::format("{:04X}{} {}", number, own ? "*" : "", description));
    }
    return texts;
}

// One more enumeration: what it leaves in the order.
inline Texts Enumerate(EFI_STATUS expected = EFI_SUCCESS) {
    EXPECT_EQ(BdsEnumerateUefiBootOptions(), expected);
    EXPECT_EQ(gBS->RaiseTPL(TPL_HIGH_LEVEL), EFI_TPL(TPL_APPLICATION));
    gBS->RestoreTPL(TPL_APPLICATION);
    return Listed();
}

} // namespace kelm::test
