// A second stack on the same thread. The driver's entry never returns, and an image may leave by
// Exit(): both run on a fiber, which the host can drop at any moment without unwinding its frames.
//
//     Fiber boot(kStackSize, [&] { entry(handle, table); });
//     boot.Resume();              // until it waits, ends the boot or returns
//     ... inside a service:
//     boot.Leave();               // never comes back: Resume() above returns, state Left
//
// Fibers nest: a fiber may create and resume another one. Leave() and Suspend() of the outer one
// work from inside the inner one and take it along; a Fiber object that stands on a dropped stack
// is released with it, so keep nested fibers as locals or members of the host, not on the heap.
//
// Frames that are dropped run no destructors: whoever calls Leave() must hold nothing that owns
// heap. C++ exceptions may be thrown and caught on a fiber; one that escapes its entry ends the
// process.
#pragma once

#include <cstddef>
#include <functional>

namespace sim {

class Fiber {
public:
    enum class State {
        Ready,     // never resumed
        Running,   // on it, or on a fiber that it resumed
        Suspended, // may be resumed
        Finished,  // its entry returned
        Left,      // dropped by Leave()
    };
    static constexpr std::size_t kDefaultStackSize = 1u << 20;
    static constexpr std::size_t kGuardSize = 1u << 16;
    static constexpr std::size_t kStackBase = 0x10000000u;
    static constexpr std::size_t kStackLimit = 0x20000000u;

    // Takes a stack of at least `stackSize` bytes with a guard page below it. Throws
    // std::bad_alloc.
    Fiber(std::size_t stackSize, std::function<void()> entry);
    // A suspended fiber is dropped as by Leave(); a running one must not be destroyed.
    ~Fiber();
    Fiber(const Fiber&) = delete;
    Fiber& operator=(const Fiber&) = delete;

    // Runs the fiber until it suspends, leaves or finishes, and returns its state then. Only for a
    // fiber that is Ready or Suspended; otherwise nothing happens.
    State Resume();

    // From inside: goes back to the caller of Resume(); returns at the next Resume().
    void Suspend();

    // From inside: goes back to the caller of Resume() for good.
    [[noreturn]] void Leave();

    State GetState() const { return state_; }

    // The fiber whose stack is in use now; nullptr on the host's own stack.
    static Fiber* Current();

    // The fiber that resumed this one; nullptr when the host did. Only while running.
    Fiber* Outer() const { return outer_; }

    bool OnStack(const void* address) const;
    // Whether `address` lies on the pages below the stack: then the stack has overflowed.
    bool OnGuard(const void* address) const;

private:
    // What one side of a switch needs to come back.
    struct Side {
        void* stackPointer = nullptr;
        void* fakeStack = nullptr;                // the address sanitizer's bookkeeping
        void* exceptions[2] = {nullptr, nullptr}; // the C++ runtime's exceptions in flight
    };

    static void Start();
    static void SaveExceptions(Side& side);
    static void RestoreExceptions(const Side& side);
    void SwitchBack(State state);
    void ReleaseChain(Fiber* innermost);
    void Release();

    std::function<void()> entry_;
    char* stack_ = nullptr; // lowest usable byte; the guard ends here
    std::size_t stackSize_ = 0;
    State state_ = State::Ready;
    Fiber* outer_ = nullptr;
    Fiber* innermost_ = nullptr; // whose stack to continue on, when suspended
    Side inside_;
    Side outside_;
    const void* outsideBottom_ = nullptr; // the resumer's stack, for the address sanitizer
    std::size_t outsideSize_ = 0;
};

} // namespace sim
