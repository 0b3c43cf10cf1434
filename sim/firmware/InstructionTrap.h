// Lets the shipped image, with its real privileged instructions, run in an ordinary process: the
// fault that each one raises is caught, the instruction decoded and carried out on the simulated
// processor. Loads and stores to a simulated device's registers go the same way.
//
// Carried out: in and out (8, 16 and 32 bits, immediate and dx), rdmsr, wrmsr, mov to and from
// control registers, invlpg, hlt, cli, sti, wbinvd, invd, and mov between a register or an
// immediate and a simulated MMIO window. Every other fault is shown to the fault handler, and then
// left to whoever handled the signal before (a sanitizer, or the default action).
#pragma once

#include "sim/firmware/SimulatedCpu.h"

#include <csignal>
#include <functional>
#include <iterator>

namespace sim {

struct CpuFault {
    int signal; // SIGSEGV, SIGBUS, SIGILL, SIGFPE or SIGTRAP
    UINT64 ip;  // of the faulting instruction
    UINT64
    address; // touched; 0 when the processor does not tell (privilege, non-canonical address)
    UINT64 stackPointer;
    bool stackOverflow; // `address` lies on the guard of the current fiber
};

inline constexpr int kTrappedSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP, SIGVTALRM};

class InstructionTrap {
public:
    // Called for a fault that is no instruction of the simulated processor, raised on a fiber while
    // armed. Ends the boot (switches away), or returns true when it mended the cause and the
    // instruction shall be tried again, or false to let the fault take its course. Must not throw.
    using FaultHandler = std::function<bool(const CpuFault&)>;

    // Installs the signal handlers; acts only while armed. Traps nest like scopes: destroy them in
    // the opposite order.
    // A halt handler, a device or a fault handler may leave the fiber for good; it must not suspend
    // it when another fiber is to run until it is resumed, because handlers share one stack.
    explicit InstructionTrap(SimulatedCpu& cpu, FaultHandler onFault = {});
    ~InstructionTrap();
    InstructionTrap(const InstructionTrap&) = delete;
    InstructionTrap& operator=(const InstructionTrap&) = delete;

    // Called from time to time while armed, with the address of the instruction that runs then on a
    // fiber: every `milliseconds` of processor time that this process uses. Where the instruction
    // belongs to the simulator, anything may be half done: the function returns at once. Otherwise
    // it may do what a fault handler may. 0 stops the ticks.
    using TickHandler = std::function<void(UINT64 ip)>;
    void SetTick(unsigned milliseconds, TickHandler onTick);
    void SetTickTime(unsigned milliseconds);

    void Arm() { armed_ = true; }
    void Disarm() { armed_ = false; }
    bool Armed() const { return armed_; }

    // Instructions carried out so far.
    UINT64 Count() const { return count_; }

private:
    static void OnSignal(int signal, siginfo_t* info, void* context);
    static void Dispatch(int signal, siginfo_t* info, void* context);
    bool Handle(int signal, const siginfo_t& info, ucontext_t& context);
    void PassOn(int signal, siginfo_t* info, void* context);

    SimulatedCpu& cpu_;
    FaultHandler onFault_;
    TickHandler onTick_;
    bool armed_ = false;
    UINT64 count_ = 0;
    InstructionTrap* previous_;
    struct sigaction before_[std::size(kTrappedSignals)];
    char* stack_ = nullptr; // handlers run on a stack of their own, so that an overflow is seen
    stack_t stackBefore_ = {};
};

} // namespace sim
