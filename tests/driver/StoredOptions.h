// The boot options of a server between two boots: what its store holds, and what an operating
// system or an administrator changes there.
#pragma once

#include "bootopt/LoadOptionFormat.h"
#include "kelm/Variables.h"
#include "library/pure/DevicePath.h"
#include "library/pure/DevicePathText.h"
#include "sim/machine/NvStore.h"
#include "tests/driver/OptionBytes.h"
#include "tests/driver/OptionMachine.h"
#include "uefi/GlobalVariable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace kelm::test {

// An option without its number.
struct StoredOption {
    UINT32 attributes = 0;
    std::string description;
    std::string path;

    auto operator<=>(const StoredOption&) const = default;
    bool IsEnumerated() const { return (attributes & kLoadOptionEnumerated) != 0; }
    friend std::ostream& operator<<(std::ostream& out, const StoredOption& option) {
        return out << fmt::format("{:X} {} {}", option.attributes, option.description, option.path);
    }
};

inline const StoredOption kNoSuchOption{0, "(no such option)", ""};

inline std::u16string OptionName(UINT16 number) {
    return MakeBootOptionName(number).data();
}

// The numbers that an order variable lists; none without the variable.
inline Numbers NumbersIn(const sim::NvStore& store, std::u16string_view name = u"BootOrder",
                         const EFI_GUID& guid = gEfiGlobalVariableGuid) {
    Numbers numbers;
    if (const sim::StoredVariable* found = store.Find(name, guid)) {
        for (std::size_t i = 0; i + 1 < found->data.size(); i += 2) {
            numbers.push_back(UINT16(found->data[i] | found->data[i + 1] << 8));
        }
    }
    return numbers;
}

inline StoredOption OptionIn(const sim::NvStore& store, UINT16 number) {
    const sim::StoredVariable* found = store.Find(OptionName(number), gEfiGlobalVariableGuid);
    const auto view = found != nullptr ? ParseLoadOption(found->data) : std::nullopt;
    if (!view) {
        return kNoSuchOption;
    }
    std::u16string description;
    for (std::size_t i = 4 + 2; i + 1 < found->data.size(); i += 2) {
        const auto character = char16_t(found->data[i] | found->data[i + 1] << 8);
        if (character == 0) {
            break;
        }
        description += character;
    }
    std::u16string path(512, u'\0');
    path.resize(DevicePathToText(view->path(), view->devicePath.size(), path, {}).value_or(0));
    return {view->attributes, sim::ToUtf8(description), sim::ToUtf8(path)};
}

// The options in the order of a variable.
inline std::vector<StoredOption> OptionsIn(const sim::NvStore& store,
                                           std::u16string_view name = u"BootOrder",
                                           const EFI_GUID& guid = gEfiGlobalVariableGuid) {
    std::vector<StoredOption> options;
    for (const UINT16 number : NumbersIn(store, name, guid)) {
        options.push_back(OptionIn(store, number));
    }
    return options;
}

inline std::vector<std::string> Descriptions(const sim::NvStore& store,
                                             const KelmVariable* order = nullptr) {
    std::vector<std::string> descriptions;
    const auto options =
        order == nullptr ? OptionsIn(store) : OptionsIn(store, order->name, *order->guid);
    for (const StoredOption& option : options) {
        descriptions.push_back(option.description);
    }
    return descriptions;
}

// The numbers of all options that there are, in an order or not.
inline Numbers AllOptionNumbers(const sim::NvStore& store) {
    Numbers numbers;
    for (const sim::StoredVariable& variable : store.All()) {
        if (variable.guid == gEfiGlobalVariableGuid && variable.name.size() == 8 &&
            variable.name.starts_with(u"Boot") && variable.name != u"BootNext") {
            numbers.push_back(
                UINT16(std::stoul(sim::ToUtf8(variable.name.substr(4)), nullptr, 16)));
        }
    }
    return numbers;
}

// Everything in the store, to compare.
inline std::map<std::string, std::string> EverythingIn(const sim::NvStore& store) {
    std::map<std::string, std::string> content;
    for (const sim::StoredVariable& variable : store.All()) {
        content[sim::VariableFileName(variable.name, variable.guid)] =
            fmt::format("{:X} {:02X}", variable.attributes, fmt::join(variable.data, ""));
    }
    return content;
}

// The same without a variable that holds an address, which is another one after a longer boot.
inline std::map<std::string, std::string> ContentOf(const sim::NvStore& store) {
    auto content = EverythingIn(store);
    std::erase_if(content,
                  [](const auto& item) { return item.first.starts_with("BootDevicePath-"); });
    return content;
}

inline void StoreOrder(sim::NvStore& store, const Numbers& numbers) {
    ASSERT_TRUE(store.Set({u"BootOrder", gEfiGlobalVariableGuid, 7, AsBytes(numbers)}));
}

inline void StoreOption(sim::NvStore& store, UINT16 number, std::u16string_view description,
                        std::u16string_view path, UINT32 attributes = LOAD_OPTION_ACTIVE) {
    ASSERT_TRUE(store.Set({OptionName(number), gEfiGlobalVariableGuid, 7,
                           OptionBytes(attributes, description, PathOf(path))}));
}

// As an installer does it: an option of its own, in the order before or behind all others.
enum class Place { First, Last };
inline void InstallOption(sim::NvStore& store, UINT16 number, std::u16string_view description,
                          std::u16string_view path, Place place) {
    StoreOption(store, number, description, path);
    Numbers order = NumbersIn(store);
    order.insert(place == Place::First ? order.begin() : order.end(), number);
    StoreOrder(store, order);
}

// Expects that each order names options that are there, each once. Returns the numbers of options
// that are in no order.
inline Numbers ExpectGoodOrders(const sim::NvStore& store) {
    Numbers named;
    for (const KelmVariable& order :
         {KelmVariable{u"BootOrder", &gEfiGlobalVariableGuid, 7, 0}, kVariableLegacyBootOrder,
          kVariableUefiBootOrder, kVariableDefaultUefiBootOrder}) {
        Numbers numbers = NumbersIn(store, order.name, *order.guid);
        for (const UINT16 number : numbers) {
            EXPECT_NE(OptionIn(store, number), kNoSuchOption)
                << sim::ToUtf8(order.name) << " names " << number;
        }
        named.insert(named.end(), numbers.begin(), numbers.end());
        std::ranges::sort(numbers);
        EXPECT_EQ(std::ranges::adjacent_find(numbers), numbers.end()) << sim::ToUtf8(order.name);
    }
    Numbers orphans = AllOptionNumbers(store);
    std::erase_if(orphans,
                  [&](UINT16 number) { return std::ranges::find(named, number) != named.end(); });
    return orphans;
}

} // namespace kelm::test
