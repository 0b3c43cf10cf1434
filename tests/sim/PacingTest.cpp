// A person at the server: what is typed while the boot runs must meet it at the very points at
// which the same keys meet it when they are known from the start.

#include "tests/sim/TestMachine.h"

#include "sim/firmware/Keyboard.h"

#include <fmt/format.h>

namespace {

using namespace simtest;

constexpr std::uint64_t kMillisecond = 1000;
constexpr unsigned kSteps = 600;

// Types as soon as nothing else can go on, and whenever chance has it; without a seed it never has.
class Typist final : public Pacing {
public:
    explicit Typist(unsigned seed = 0) : seeded_(seed != 0), state_(seed) {}

    std::uint64_t Wait(std::uint64_t from, std::uint64_t until) override {
        EXPECT_LT(from, until);
        EXPECT_GE(from, settled_) << "what was settled is settled";
        settled_ = until;
        if (seeded_ && Chance(5)) {
            // Now, some time before the end of the wait, or just behind it.
            const std::uint64_t later = Chance(3) ? until - from : (until - from) / 2;
            settled_ = std::min(Type(from + (Chance(2) ? later : 0)), until);
        }
        return settled_;
    }
    void AwaitInput(std::uint64_t from) override {
        EXPECT_GE(from, settled_);
        awaited++;
        Type(from);
    }

    std::string typed; // as "keys" has it
    unsigned awaited = 0;

private:
    bool Chance(unsigned of) {
        state_ = state_ * 1103515245 + 12345;
        return (state_ >> 16) % of == 0;
    }
    std::uint64_t Type(std::uint64_t notBefore) {
        const std::uint64_t at = notBefore / kMillisecond + 1;
        const std::string name(1, char('a' + at % 26));
        Platform::Current().keyboard->Schedule(at * kMillisecond, *KeyFromName(name), name);
        typed +=
            fmt::format("{}{{\"at\": {}, \"key\": \"{}\"}}", typed.empty() ? "" : ",", at, name);
        return at * kMillisecond;
    }

    bool seeded_;
    unsigned state_;
    std::uint64_t settled_ = 0;
};

class APacedBoot : public TestMachine {
protected:
    // Every way in which a driver lets time pass, over and over, with timers all around. The trace
    // tells when it went on, and with which key.
    std::string TraceOf(Pacing* pacing) {
        server.boots = 0;
        Boot([&] {
            Machine().clock->SetPacing(pacing);
            EFI_SIMPLE_TEXT_INPUT_PROTOCOL& in = *st->ConIn;
            EFI_EVENT tick = nullptr;
            bs->CreateEvent(EVT_TIMER | EVT_NOTIFY_SIGNAL, TPL_CALLBACK, &Tick, nullptr, &tick);
            EFI_EVENT once = nullptr;
            bs->CreateEvent(EVT_TIMER, 0, nullptr, nullptr, &once);
            for (unsigned step = 0; step < kSteps; step++) {
                EFI_EVENT events[] = {in.WaitForKey, once};
                UINTN index = 0;
                bs->SetTimer(tick, step / 100 % 2 == 0 ? TimerCancel : TimerPeriodic, 70000);
                bs->SetTimer(once, step % 7 == 0 ? TimerCancel : TimerRelative, 120000);
                switch (step % 6) {
                case 0:
                    bs->Stall(step * 37 % 9000);
                    break;
                case 1:
                    bs->WaitForEvent(1, events, &index);
                    break;
                case 2:
                    bs->WaitForEvent(2, events, &index);
                    break;
                case 3:
                    static_cast<void>(bs->CheckEvent(once));
                    break;
                case 4:
                    Machine().cpu->Halt();
                    break;
                default:
                    break;
                }
                EFI_INPUT_KEY key{};
                in.ReadKeyStroke(&in, &key);
                Machine().trace.Record("step", {{"step", step},
                                                {"key", std::uint64_t(key.UnicodeChar)},
                                                {"event", std::uint64_t(index)}});
            }
        });
        return trace.Text();
    }

private:
    static void EFIAPI Tick(EFI_EVENT, void*) { Machine().trace.Record("tick"); }
};

TEST_F(APacedBoot, IsTheSameAgainWithTheKeysThatWereTyped) {
    for (unsigned seed = 1; seed <= 20; seed++) {
        Describe("");
        Typist typist(seed);
        const std::string typed = TraceOf(&typist);
        EXPECT_GT(typist.awaited, 0u);
        Describe("\"keys\": [" + typist.typed + "]");
        const std::string repeated = TraceOf(nullptr);
        ASSERT_TRUE(typed == repeated) << "seed " << seed << ": " << typist.typed;
    }
}

TEST_F(APacedBoot, WaitsForThePersonAsLongAsItTakes) {
    // Where the boot would end for want of a key, one is waited for.
    Describe(R"("limits": {"keyWaitSeconds": 1})");
    Typist typist;
    const BootResult result = Boot([&] {
        Machine().clock->SetPacing(&typist);
        EFI_INPUT_KEY key{};
        for (unsigned keys = 0; keys < 3;) {
            keys += st->ConIn->ReadKeyStroke(st->ConIn, &key) == EFI_SUCCESS ? 1 : 0;
        }
    });
    EXPECT_EQ(result.reason, EndReason::Halted) << result.detail;
    EXPECT_EQ(typist.awaited, 3u);
}

TEST_F(APacedBoot, KeysOfOnePowerOnComeOnlyThen) {
    Describe(R"("keys": [{"at": 1, "key": "a"}, {"at": 1, "key": "b", "boot": 2}])");
    for (const char* keys : {"a", "ab", "a"}) {
        Boot([] { bs->Stall(2000); });
        std::string arrived;
        for (const Json& event : trace.EventsOf("key")) {
            arrived += event["key"];
        }
        EXPECT_EQ(arrived, keys);
    }
}

} // namespace
