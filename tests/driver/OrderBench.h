// Boot orders at work: options and orders put in and looked at, and boots with a test's body in the
// driver's place that keep one variable store.
#pragma once

#include "core/DriverState.h"
#include "kelm/Variables.h"
#include "sim/firmware/Faults.h"
#include "sim/siblings/AttributeService.h"
#include "tests/driver/OptionBytes.h"

#include <fmt/format.h>

#include <map>
#include <string>

namespace kelm::test {

using Texts = std::vector<std::string>;

inline std::u16string Wide(std::string_view text) {
    return {text.begin(), text.end()};
}

inline std::u16string OptionName(UINT16 number) {
    return Wide(fmt::format("Boot{:04X}", number));
}

inline Numbers AsNumbers(const Bytes& bytes) {
    Numbers numbers;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        numbers.push_back(UINT16(bytes[i] | bytes[i + 1] << 8));
    }
    return numbers;
}

// Of the running boot; a missing order is an empty one.
inline Numbers Order(const char16_t* name = kBootOrderName) {
    const bool global = std::u16string_view(name) == kBootOrderName;
    return AsNumbers(Stored(sim::Platform::Current(), name,
                            global ? gEfiGlobalVariableGuid : gKelmSystemVariableGuid)
                         .value_or(Bytes()));
}

inline void SetOrder(const char16_t* name, const Numbers& numbers) {
    const bool global = std::u16string_view(name) == kBootOrderName;
    const EFI_GUID& guid = global ? gEfiGlobalVariableGuid : gKelmSystemVariableGuid;
    sim::Platform& platform = sim::Platform::Current();
    if (platform.variables->Find(name, guid) != nullptr || !numbers.empty()) {
        Store(platform, name, AsBytes(numbers), guid);
    }
}

inline void SetSetting(std::string_view name, std::string_view text) {
    Bytes bytes;
    for (const char c : text) {
        Put(bytes, static_cast<unsigned char>(c), 2);
    }
    Put(bytes, 0, 2);
    ASSERT_TRUE(sim::Platform::Current().Get<sim::AttributeService>().Change(Wide(name), bytes));
}

// Boot#### and what it holds.
inline std::map<UINT16, Bytes> AllOptions() {
    std::map<UINT16, Bytes> options;
    sim::Platform& platform = sim::Platform::Current();
    for (UINT32 number = 0; number < 0x100; ++number) {
        if (auto bytes = Stored(platform, OptionName(UINT16(number)).c_str())) {
            options[UINT16(number)] = std::move(*bytes);
        }
    }
    return options;
}

inline std::vector<std::string> TextsOf(const sim::Trace& trace, std::uint64_t level) {
    std::vector<std::string> texts;
    for (const sim::Json& event : trace.EventsOf("debug")) {
        if (event.at("level") == level) {
            texts.push_back(event.at("text"));
        }
    }
    return texts;
}

class Bench {
public:
    using Body = std::function<void(sim::Platform&)>;

    // `look` runs when a boot has ended, also in a power failure.
    Bench(std::string_view machine, std::function<Texts()> look)
        : boot_(machine), look_(std::move(look)) {
        boot_.server.driver.nativeEntry = &Entry;
        boot_.AtTheEnd([this](sim::Platform&) { seen_ = look_(); });
    }
    // What `look` saw.
    Texts Boot(const Body& body) {
        mBody = &body;
        boot_.PowerOn();
        return seen_;
    }
    bool PowerFailed() const { return !boot_.Events("power-failure").empty(); }

private:
    static EFI_STATUS EFIAPI Entry(EFI_HANDLE image, EFI_SYSTEM_TABLE* table) {
        ResetDriverState();
        RunLibraryConstructors(image, table);
        (*mBody)(sim::Platform::Current());
        return EFI_ABORTED; // nothing to boot
    }

    static inline const Body* mBody = nullptr;

    DriverBoot boot_;
    std::function<Texts()> look_;
    Texts seen_;
};

// Cuts the power at each write of `work` in turn, in a boot that `prepare` has prepared. Two boots
// later everything looks as it does without a cut. Returns how many writes there were.
inline unsigned CutAtEveryWrite(std::string_view machine, const std::function<Texts()>& look,
                                const Bench::Body& prepare, const Bench::Body& work) {
    Bench uncut(machine, look);
    uncut.Boot([&](sim::Platform& platform) {
        prepare(platform);
        work(platform);
    });
    const Texts expected = uncut.Boot(work);
    for (unsigned nth = 1;; ++nth) {
        SCOPED_TRACE(fmt::format("write {}", nth));
        Bench bench(machine, look);
        bench.Boot([&](sim::Platform& platform) {
            prepare(platform);
            platform.faults->Add({.call = "SetVariable", .nth = nth, .powerCut = true}, true);
            work(platform);
        });
        if (!bench.PowerFailed()) {
            return nth - 1;
        }
        bench.Boot(work);
        EXPECT_EQ(bench.Boot(work), expected);
    }
}

} // namespace kelm::test
