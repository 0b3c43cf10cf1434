#include "sim/firmware/InstructionTrap.h"

#include "sim/firmware/Fiber.h"
#include "sim/firmware/InstructionDecoder.h"
#include "sim/firmware/Sanitizer.h"

#include <sys/mman.h>
#include <sys/time.h>

#include <stdexcept>

namespace sim {

namespace {

constexpr std::size_t kHandlerStackSize = 256 * 1024;
constexpr UINT64 kCanonicalEnd = UINT64{1} << 47;

constexpr unsigned kRax = 0;
constexpr unsigned kRcx = 1;
constexpr unsigned kRdx = 2;

InstructionTrap* mNewest = nullptr;

UINT64 Register(const ucontext_t& context, int reg) {
    return static_cast<UINT64>(context.uc_mcontext.gregs[reg]);
}

bool TouchesMemory(const Instruction& instruction) {
    return instruction.kind == Instruction::Kind::Load ||
           instruction.kind == Instruction::Kind::StoreRegister ||
           instruction.kind == Instruction::Kind::StoreImmediate;
}

void Execute(const Instruction& instruction, SimulatedCpu& cpu, mcontext_t& context) {
    using Kind = Instruction::Kind;
    const auto get = [&](unsigned reg, unsigned width) {
        return ReadRegister(context, reg, width);
    };
    const unsigned width = instruction.width;
    const unsigned reg = instruction.reg;
    switch (instruction.kind) {
    case Kind::In:
        WriteRegister(context, kRax, width,
                      cpu.In(static_cast<UINT16>(instruction.operand), width));
        break;
    case Kind::Out:
        cpu.Out(static_cast<UINT16>(instruction.operand), width,
                static_cast<UINT32>(get(kRax, width)));
        break;
    case Kind::ReadMsr: {
        const UINT64 value = cpu.ReadMsr(static_cast<UINT32>(get(kRcx, 4)));
        WriteRegister(context, kRax, 4, value);
        WriteRegister(context, kRdx, 4, value >> 32);
        break;
    }
    case Kind::WriteMsr:
        cpu.WriteMsr(static_cast<UINT32>(get(kRcx, 4)), get(kRdx, 4) << 32 | get(kRax, 4));
        break;
    case Kind::MoveFromControl:
        WriteRegister(context, reg, 8, cpu.ReadControlRegister(instruction.control));
        break;
    case Kind::MoveToControl:
        cpu.WriteControlRegister(instruction.control, get(reg, 8));
        break;
    case Kind::FlushTlb:
        cpu.FlushTlbEntry(instruction.address);
        break;
    case Kind::FlushCache:
        cpu.FlushCache();
        break;
    case Kind::DisableInterrupts:
        cpu.SetInterrupts(false);
        break;
    case Kind::EnableInterrupts:
        cpu.SetInterrupts(true);
        break;
    case Kind::Halt:
        cpu.Halt();
        break;
    case Kind::Load:
        WriteRegister(context, reg, width, cpu.ReadMmio(instruction.address, width),
                      instruction.highByte);
        break;
    case Kind::StoreRegister:
        cpu.WriteMmio(instruction.address, width,
                      ReadRegister(context, reg, width, instruction.highByte));
        break;
    case Kind::StoreImmediate:
        cpu.WriteMmio(instruction.address, width, instruction.operand);
        break;
    }
}

} // namespace

InstructionTrap::InstructionTrap(SimulatedCpu& cpu, FaultHandler onFault)
    : cpu_(cpu), onFault_(std::move(onFault)), previous_(mNewest) {
    void* const mapped = mmap(nullptr, kHandlerStackSize, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapped == MAP_FAILED)
        throw std::runtime_error("no memory for the fault handler's stack");
    stack_ = static_cast<char*>(mapped);
    stack_t ours = {};
    ours.ss_sp = stack_;
    ours.ss_size = kHandlerStackSize;
    sigaltstack(&ours, &stackBefore_);

    // Not deferred: the handler may be left for good, with no return that would unblock the signal.
    struct sigaction action = {};
    action.sa_sigaction = &InstructionTrap::OnSignal;
    action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_ONSTACK | SA_RESTART;
    mNewest = this;
    for (std::size_t i = 0; i < std::size(kTrappedSignals); ++i)
        sigaction(kTrappedSignals[i], &action, &before_[i]);
}

InstructionTrap::~InstructionTrap() {
    if (onTick_)
        SetTickTime(0);
    for (std::size_t i = 0; i < std::size(kTrappedSignals); ++i)
        sigaction(kTrappedSignals[i], &before_[i], nullptr);
    sigaltstack(&stackBefore_, nullptr);
    Unpoison(stack_, kHandlerStackSize);
    munmap(stack_, kHandlerStackSize);
    mNewest = previous_;
}

void InstructionTrap::SetTick(unsigned milliseconds, TickHandler onTick) {
    onTick_ = std::move(onTick);
    SetTickTime(milliseconds);
}

void InstructionTrap::SetTickTime(unsigned milliseconds) {
    itimerval timer = {};
    timer.it_interval = {milliseconds / 1000, static_cast<suseconds_t>(milliseconds % 1000 * 1000)};
    timer.it_value = timer.it_interval;
    setitimer(ITIMER_VIRTUAL, &timer, nullptr);
}

// A handler that was left for good has not cleaned up its frames in the sanitizer's eyes; whatever
// is below this frame is free.
__attribute__((no_sanitize("address"))) void InstructionTrap::OnSignal(int signal, siginfo_t* info,
                                                                       void* context) {
    const char* const frame = static_cast<const char*>(__builtin_frame_address(0));
    if (kAddressSanitizer && mNewest != nullptr && frame >= mNewest->stack_ &&
        frame < mNewest->stack_ + kHandlerStackSize)
        Unpoison(mNewest->stack_, static_cast<std::size_t>(frame - mNewest->stack_));
    Dispatch(signal, info, context);
}

void InstructionTrap::Dispatch(int signal, siginfo_t* info, void* context) {
    InstructionTrap* oldest = nullptr;
    for (InstructionTrap* trap = mNewest; trap != nullptr; trap = trap->previous_) {
        if (trap->armed_ && trap->Handle(signal, *info, *static_cast<ucontext_t*>(context)))
            return;
        oldest = trap;
    }
    // A tick that nobody wants any more is over.
    if (oldest != nullptr && signal != SIGVTALRM)
        oldest->PassOn(signal, info, context);
}

bool InstructionTrap::Handle(int signal, const siginfo_t& info, ucontext_t& context) {
    if (signal == SIGVTALRM) {
        if (onTick_ && Fiber::Current() != nullptr)
            onTick_(Register(context, REG_RIP));
        return onTick_ != nullptr;
    }
    const bool memoryFault = signal == SIGSEGV || signal == SIGBUS;
    const bool privileged = signal == SIGSEGV && info.si_code == SI_KERNEL;
    const UINT64 ip = Register(context, REG_RIP);
    const UINT64 address = memoryFault && !privileged ? reinterpret_cast<UINT64>(info.si_addr) : 0;

    const bool device = memoryFault && !privileged && ip != address && cpu_.IsMmio(address);
    if ((privileged && ip < kCanonicalEnd) || device) {
        const auto instruction = DecodeInstruction(context.uc_mcontext);
        if (instruction && TouchesMemory(*instruction) == device) {
            // First: a halt may end the boot, and one that is resumed goes on behind it.
            context.uc_mcontext.gregs[REG_RIP] += instruction->length;
            ++count_;
            Execute(*instruction, cpu_, context.uc_mcontext);
            return true;
        }
    }
    Fiber* const fiber = Fiber::Current();
    if (fiber == nullptr || !onFault_)
        return false;
    const bool overflow = fiber->OnGuard(reinterpret_cast<const void*>(address));
    return onFault_({signal, ip, address, Register(context, REG_RSP), overflow});
}

void InstructionTrap::PassOn(int signal, siginfo_t* info, void* context) {
    std::size_t index = 0;
    while (kTrappedSignals[index] != signal)
        ++index;
    const struct sigaction& before = before_[index];
    if ((before.sa_flags & SA_SIGINFO) != 0) {
        before.sa_sigaction(signal, info, context);
    } else if (before.sa_handler != SIG_DFL && before.sa_handler != SIG_IGN) {
        before.sa_handler(signal);
    } else {
        // The instruction faults again, now with the default action: the core dump shows it. A
        // breakpoint and a signal that somebody sent do not come again by themselves.
        std::signal(signal, SIG_DFL);
        if (signal == SIGTRAP || info->si_code <= 0)
            raise(signal);
    }
}

} // namespace sim
