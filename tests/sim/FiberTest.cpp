#include "sim/firmware/Fiber.h"

#include <gtest/gtest.h>

#include <xmmintrin.h>

#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using sim::Fiber;
using State = Fiber::State;

constexpr std::size_t kStack = 256 * 1024;

// Fills frames of changing sizes, then does something at the bottom: leaves behind what a sanitizer
// would take for the redzones of live variables.
[[gnu::noinline]] int Descend(int depth, const std::function<void()>& bottom) {
    volatile char local[64] = {};
    char other[24];
    std::memset(other, depth, sizeof(other));
    local[depth % 64] = other[depth % 24];
    if (depth == 0)
        bottom();
    else
        Descend(depth - 1, bottom);
    return local[depth % 64] + other[0];
}

TEST(Fiber, SwitchesBackAndForthAndKeepsEachSidesState) {
    std::vector<int> steps;
    const unsigned hostModes = _mm_getcsr();
    Fiber fiber(kStack, [&] {
        steps.push_back(1);
        _mm_setcsr(hostModes | 0x8000);
        Fiber::Current()->Suspend();
        EXPECT_EQ(_mm_getcsr() & 0x8000u, 0x8000u);
        steps.push_back(3);
        int here = 0;
        EXPECT_TRUE(Fiber::Current()->OnStack(__builtin_frame_address(0)));
        EXPECT_FALSE(Fiber::Current()->OnGuard(&here));
    });
    EXPECT_EQ(fiber.GetState(), State::Ready);
    EXPECT_EQ(fiber.Resume(), State::Suspended);
    steps.push_back(2);
    EXPECT_EQ(_mm_getcsr() & 0x8000u, 0u);
    EXPECT_EQ(Fiber::Current(), nullptr);
    EXPECT_EQ(fiber.Resume(), State::Finished);
    EXPECT_EQ(fiber.Resume(), State::Finished) << "a finished fiber does not start again";
    EXPECT_EQ(steps, (std::vector{1, 2, 3}));
}

TEST(Fiber, BootsThousandTimesOnTheSameStackThoughNobodyUnwindsIt) {
    const void* place = nullptr;
    for (int boot = 0; boot < 1000; ++boot) {
        auto owned = std::make_shared<int>(boot);
        const std::weak_ptr<int> watch = owned;
        Fiber fiber(kStack, [&, held = std::move(owned)] {
            const void* here = __builtin_frame_address(0);
            EXPECT_TRUE(place == nullptr || place == here);
            place = here;
            Descend(boot % 50, [&] {
                if (boot % 3 == 0)
                    Fiber::Current()->Leave();
                if (boot % 3 == 1)
                    Fiber::Current()->Suspend();
            });
        });
        constexpr State kExpected[] = {State::Left, State::Suspended, State::Finished};
        ASSERT_EQ(fiber.Resume(), kExpected[boot % 3]);
        // What the entry captured goes with the fiber's end, suspended ones with the object.
        EXPECT_EQ(watch.expired(), boot % 3 != 1);
    }
}

TEST(Fiber, NestedFibersFollowTheOuterOne) {
    std::vector<std::string> log;
    auto captured = std::make_shared<int>(0);
    const std::weak_ptr<int> watch = captured;
    Fiber boot(kStack, [&, held = std::move(captured)] {
        Fiber* const outer = Fiber::Current();
        Fiber tool(kStack, [&, outer] {
            EXPECT_EQ(Fiber::Current()->Outer(), outer);
            Descend(5, [] { Fiber::Current()->Leave(); });
        });
        log.push_back(tool.Resume() == State::Left ? "tool left" : "tool?");
        Fiber loader(kStack, [&, outer, kept = held] {
            log.push_back("loader waits for a key");
            outer->Suspend();
            log.push_back("loader goes on");
            Descend(7, [&] { outer->Leave(); });
        });
        loader.Resume();
        log.push_back("unreachable");
    });
    EXPECT_EQ(boot.Resume(), State::Suspended);
    EXPECT_EQ(Fiber::Current(), nullptr);
    log.push_back("host");
    EXPECT_EQ(boot.Resume(), State::Left);
    EXPECT_EQ(log, (std::vector<std::string>{"tool left", "loader waits for a key", "host",
                                             "loader goes on"}));
    EXPECT_TRUE(watch.expired()) << "the inner fiber's captures are gone as well";
}

TEST(Fiber, ExceptionsOfBothSidesStayApart) {
    std::string inside;
    Fiber fiber(kStack, [&] {
        try {
            Descend(9, [] { throw std::runtime_error("inner"); });
        } catch (const std::exception&) {
            Fiber::Current()->Suspend(); // with an exception in flight
            try {
                throw;
            } catch (const std::exception& error) {
                inside = error.what();
            }
        }
    });
    try {
        throw std::runtime_error("outer");
    } catch (const std::exception&) {
        EXPECT_EQ(fiber.Resume(), State::Suspended);
        try {
            throw;
        } catch (const std::exception& error) {
            EXPECT_STREQ(error.what(), "outer");
        }
    }
    EXPECT_EQ(std::current_exception(), nullptr);
    EXPECT_EQ(fiber.Resume(), State::Finished);
    EXPECT_EQ(inside, "inner");
}

TEST(FiberDeathTest, AnEscapingExceptionEndsTheProcessWithItsMessage) {
    EXPECT_DEATH(
        {
            Fiber fiber(kStack, [] { throw std::runtime_error("lost"); });
            fiber.Resume();
        },
        "left the entry of a fiber: lost");
}

} // namespace
