#include "sim/firmware/Fiber.h"

#include "sim/firmware/FiberStacks.h"
#include "sim/firmware/Sanitizer.h"

#include <cxxabi.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <utility>

namespace sim {

// Saves what a callee must keep (SysV ABI) with the floating-point modes, stores the stack pointer
// to *save and goes on from the one in `load`, as left there by an earlier call or by the
// constructor. The switch is a call like any other to its caller, so Microsoft-ABI frames above it
// have already kept their own further registers.
extern "C" void SimSwitchStack(void** save, void* load);
asm(R"(
.text
.p2align 4
.type SimSwitchStack, @function
SimSwitchStack:
    pushq %rbp
    pushq %rbx
    pushq %r12
    pushq %r13
    pushq %r14
    pushq %r15
    subq $8, %rsp
    stmxcsr (%rsp)
    fnstcw 4(%rsp)
    movq %rsp, (%rdi)
    movq %rsi, %rsp
    ldmxcsr (%rsp)
    fldcw 4(%rsp)
    addq $8, %rsp
    popq %r15
    popq %r14
    popq %r13
    popq %r12
    popq %rbx
    popq %rbp
    ret
.size SimSwitchStack, . - SimSwitchStack
)");

namespace {

constexpr std::size_t kPageSize = 4096;
constexpr std::uint64_t kInitialFloatModes = 0x1F80 | std::uint64_t{0x037F} << 32; // mxcsr, x87 cw

// What SimSwitchStack() finds on a fresh stack.
struct InitialFrame {
    std::uint64_t floatModes;
    std::uint64_t registers[6];
    void (*start)();
    std::uint64_t noCaller; // ends a debugger's walk
};

thread_local Fiber* mCurrent = nullptr;

} // namespace

Fiber::Fiber(std::size_t stackSize, std::function<void()> entry)
    : entry_(std::move(entry)), stackSize_((stackSize + kPageSize - 1) / kPageSize * kPageSize) {
    stack_ = TakeFiberStack(stackSize_);
    auto* const frame = reinterpret_cast<InitialFrame*>(stack_ + stackSize_) - 1;
    *frame = {kInitialFloatModes, {}, &Fiber::Start, 0};
    static_assert(sizeof(InitialFrame) % 16 == 8, "the entry's stack must be aligned after a call");
    inside_.stackPointer = frame;
}

Fiber::~Fiber() {
    if (state_ == State::Running) {
        std::fputs("a running fiber was destroyed\n", stderr);
        std::abort();
    }
    if (state_ == State::Suspended)
        ReleaseChain(innermost_);
    Release();
}

Fiber* Fiber::Current() {
    return mCurrent;
}

void Fiber::SaveExceptions(Side& side) {
    std::memcpy(side.exceptions, abi::__cxa_get_globals(), sizeof(side.exceptions));
}

void Fiber::RestoreExceptions(const Side& side) {
    std::memcpy(static_cast<void*>(abi::__cxa_get_globals()), side.exceptions,
                sizeof(side.exceptions));
}

void Fiber::Start() {
    Fiber* const self = mCurrent;
    FinishStackSwitch(nullptr, &self->outsideBottom_, &self->outsideSize_);
    try {
        self->entry_();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "an exception left the entry of a fiber: %s\n", error.what());
        std::abort();
    } catch (...) {
        std::fputs("an exception left the entry of a fiber\n", stderr);
        std::abort();
    }
    self->SwitchBack(State::Finished);
    __builtin_unreachable();
}

Fiber::State Fiber::Resume() {
    if (state_ != State::Ready && state_ != State::Suspended)
        return state_;
    Fiber* const target = state_ == State::Ready ? this : innermost_;
    state_ = State::Running;
    outer_ = mCurrent;
    mCurrent = target;
    SaveExceptions(outside_);
    RestoreExceptions(target->inside_);
    StartStackSwitch(&outside_.fakeStack, target->stack_, target->stackSize_);
    SimSwitchStack(&outside_.stackPointer, target->inside_.stackPointer);
    FinishStackSwitch(outside_.fakeStack, nullptr, nullptr);
    RestoreExceptions(outside_);
    Fiber* const left = mCurrent;
    mCurrent = outer_;
    if (state_ != State::Suspended) {
        ReleaseChain(left);
        Release();
    }
    return state_;
}

void Fiber::Suspend() {
    SwitchBack(State::Suspended);
}

void Fiber::Leave() {
    SwitchBack(State::Left);
    __builtin_unreachable();
}

// From the stack in use, which may be that of a fiber inside this one, to this one's resumer.
void Fiber::SwitchBack(State state) {
    Fiber* const current = mCurrent;
    state_ = state;
    innermost_ = current;
    SaveExceptions(current->inside_);
    StartStackSwitch(state == State::Suspended ? &current->inside_.fakeStack : nullptr,
                     outsideBottom_, outsideSize_);
    SimSwitchStack(&current->inside_.stackPointer, outside_.stackPointer);
    FinishStackSwitch(current->inside_.fakeStack, &outsideBottom_, &outsideSize_);
}

// Drops the fibers inside this one. Innermost first: each object stands on the stack of the next.
void Fiber::ReleaseChain(Fiber* innermost) {
    for (Fiber* fiber = innermost; fiber != this;) {
        Fiber* const next = fiber->outer_;
        fiber->state_ = State::Left;
        fiber->Release();
        fiber = next;
    }
}

void Fiber::Release() {
    entry_ = nullptr;
    if (stack_ != nullptr)
        GiveFiberStack(std::exchange(stack_, nullptr), stackSize_);
}

bool Fiber::OnStack(const void* address) const {
    return stack_ != nullptr && address >= stack_ && address < stack_ + stackSize_;
}

bool Fiber::OnGuard(const void* address) const {
    return stack_ != nullptr && address >= stack_ - kGuardSize && address < stack_;
}

} // namespace sim
