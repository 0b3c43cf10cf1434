#include "sim/firmware/InstructionTrap.h"

#include "library/cpu/CpuBackend.h"
#include "sim/firmware/Fiber.h"
#include "tests/sim/CpuScenario.h"

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <string>

namespace realcpu {
std::vector<UINT64> RunRealCpuScenario(UINT64 device);
}

namespace {

using namespace sim;

constexpr UINT64 kDevice = 0xFED10000;

class Latch : public PortDevice {
public:
    UINT32 In(UINT16, unsigned) override { return value; }
    void Out(UINT16, unsigned, UINT32 written) override { value = written; }
    UINT32 value = 0;
};

class ASimulatedCpu : public testing::Test {
protected:
    ASimulatedCpu() {
        cpu.AddPortDevice(0x80, 4, latch);
        cpu.AddMmioDevice(kDevice, RegisterPage::kSize, page);
        cpu.SetObserver([this](const CpuAccess& access) {
            char line[100];
            std::snprintf(line, sizeof(line), "%s %llx %llx%s", CpuOperationName(access.operation),
                          static_cast<unsigned long long>(access.location),
                          static_cast<unsigned long long>(access.value),
                          access.claimed ? "" : " ?");
            log.push_back(line);
        });
    }
    ~ASimulatedCpu() override { kelm::SetCpuBackend(nullptr); }

    SimulatedCpu cpu;
    Latch latch;
    RegisterPage page;
    std::vector<std::string> log;
};

TEST_F(ASimulatedCpu, SeesTheSameAccessesFromBothBuilds) {
    kelm::SetCpuBackend(&cpu.Backend());
    const std::vector<UINT64> called = kelm::RunCpuScenario(kDevice);
    std::vector<std::string> calledLog;
    calledLog.swap(log);
    EXPECT_EQ(cpu.PeekMsr(0x832), 0x30020u);
    EXPECT_EQ(cpu.LocalApic().Read(0x320, 4), 0x30020u);
    cpu.Reset();
    EXPECT_EQ(cpu.LocalApic().Read(0x320, 4), 0x20020u);
    EXPECT_EQ(cpu.PeekControlRegister(3), 0u);
    page.Clear();
    latch.value = 0;

    InstructionTrap trap(cpu);
    trap.Arm();
    const std::vector<UINT64> trapped = realcpu::RunRealCpuScenario(kDevice);
    trap.Disarm();
    EXPECT_EQ(trapped, called);
    EXPECT_EQ(log, calledLog);
    EXPECT_EQ(trap.Count(), log.size());

    const std::vector<UINT64> expected = {0xDE,   0xBCDE,     0x789ABCDE,         0xFF,
                                          0xFFFF, 0xFFFFFFFF, 0x112233445566FF88, 0x99AABBCC,
                                          0xDDEE, 0xFF,       0x0007010600070106, 0xD0A,
                                          0,      0x80000033, 0x20001000,         0x668};
    EXPECT_EQ(called, expected);
    EXPECT_EQ(log[0], "out8 80 12");
    EXPECT_EQ(log[6], "in8 ffff ff ?");
    EXPECT_EQ(log.back(), "hlt 0 0");
}

TEST_F(ASimulatedCpu, DecodesTheEncodingsThatCompilersChoose) {
    InstructionTrap trap(cpu);
    trap.Arm();
    latch.value = 0xA1B2C3D4;
    UINT64 rax = 0x1111111111111111;
    asm volatile("in $0x80, %%al" : "+a"(rax));
    EXPECT_EQ(rax, 0x11111111111111D4u) << "the rest of the register stays";
    asm volatile("in $0x80, %%ax" : "+a"(rax));
    EXPECT_EQ(rax, 0x111111111111C3D4u);
    asm volatile("in $0x80, %%eax" : "+a"(rax));
    EXPECT_EQ(rax, 0xA1B2C3D4u) << "32 bits clear the upper half";
    asm volatile("out %%ax, $0x81" : : "a"(0xFFFF1234));
    EXPECT_EQ(latch.value, 0x1234u);

    cpu.PokeMsr(0x277, 0x0007040600070406);
    UINT64 high = ~UINT64{0};
    asm volatile("mov $-1, %%rax; rdmsr" : "=&a"(rax), "=&d"(high) : "c"(0x277));
    EXPECT_EQ(rax, 0x00070406u);
    EXPECT_EQ(high, 0x00070406u);

    UINT64 value = 0x123456789ABCDEF0;
    asm volatile("mov %0, %%cr8; mov %%cr8, %%r14; mov %%r14, %0" : "+r"(value) : : "r14");
    EXPECT_EQ(value, 0x123456789ABCDEF0u);
    log.clear();
    asm volatile("lea 0x500, %%r13\n invlpg 0x10(%%r13,%%r13,2)\n invlpg 1f(%%rip)\n1: wbinvd"
                 :
                 :
                 : "r13");
    EXPECT_EQ(log[0], "invlpg f10 0");
    EXPECT_EQ(log[2], "wbinvd 0 0");

    // Memory operands with an index, displacements, high registers, constants.
    UINT64 index = 4;
    asm volatile("movl $0x11223344, 0x10(%1,%0,4)\n"
                 "movw $0x5566, 0x24(%1)\n"
                 "movb $0x77, 0x26(%1)\n"
                 "movq $-2, 0x28(%1)\n"
                 "mov %1, %%r12\n mov 0x20(%%r12), %%r15\n mov %%r15d, 0x130(%%r12)\n"
                 "mov %%r12, %%rax\n mov $0xAB, %%dh\n mov %%dh, 0x140(%%rax)\n"
                 "mov 0x23(%%rax), %%ch\n mov %%ch, 0x141(%%rax)\n"
                 "mov %%r15w, 0x142(%%rax)\n mov %%sil, 0x144(%%rax)"
                 :
                 : "r"(index), "r"(kDevice), "S"(UINT64{0xEE})
                 : "r12", "r15", "rax", "rdx", "rcx", "memory");
    EXPECT_EQ(page.Read(0x20, 8), 0x0077556611223344u);
    EXPECT_EQ(page.Read(0x28, 8), ~UINT64{1});
    EXPECT_EQ(page.Read(0x130, 8), 0x11223344u);
    EXPECT_EQ(page.Read(0x140, 8), 0xEE334411ABu);
}

volatile int mDeepest = 1 << 30;

[[gnu::noinline]] int Overflow(int depth) {
    volatile char frame[512];
    frame[depth % 512] = 1;
    return depth == mDeepest ? 0 : Overflow(depth + 1) + frame[depth % 512];
}

TEST_F(ASimulatedCpu, EndsABootAtAHaltOrAFaultAndBootsAgain) {
    std::vector<CpuFault> faults;
    InstructionTrap trap(cpu, [&](const CpuFault& fault) -> bool {
        faults.push_back(fault);
        Fiber::Current()->Leave();
    });
    cpu.SetHaltHandler([] { Fiber::Current()->Leave(); });
    trap.Arm();
    struct Crash {
        int signal;
        UINT64 address;
        bool overflow;
        void (*body)();
    };
    const Crash crashes[] = {
        {SIGSEGV, 0x10, false, [] { asm volatile("movl $0, 0x10"); }},
        {SIGSEGV, 0, false,
         [] {
             asm volatile("mov $0x8000000000000000, %%rax; mov (%%rax), %%eax" : : : "rax");
         }},
        {SIGSEGV, 0x40, false, [] { asm volatile("mov $0x40, %%eax; jmp *%%rax"
                                                 :
                                                 :
                                                 : "rax"); }},
        {SIGILL, 0, false, [] { asm volatile("ud2"); }},
        {SIGFPE, 0, false,
         [] {
             asm volatile("xor %%ecx, %%ecx; mov %%ecx, %%edx; div %%ecx"
                          :
                          :
                          : "rax", "rcx", "rdx");
         }},
        {SIGTRAP, 0, false, [] { asm volatile("int3"); }},
        {SIGSEGV, 0, true, [] { Overflow(0); }},
    };
    for (int boot = 0; boot < 100; ++boot) {
        faults.clear();
        Fiber fiber(256 * 1024, [] {
            asm volatile("cli; hlt");
            ADD_FAILURE() << "ran on after the end";
        });
        EXPECT_EQ(fiber.Resume(), Fiber::State::Left);
        EXPECT_TRUE(faults.empty());
        EXPECT_EQ(log.back(), "hlt 0 0");
        EXPECT_FALSE(cpu.InterruptsEnabled());

        const Crash& crash = crashes[static_cast<std::size_t>(boot) % std::size(crashes)];
        Fiber bad(256 * 1024, crash.body);
        EXPECT_EQ(bad.Resume(), Fiber::State::Left);
        ASSERT_EQ(faults.size(), 1u);
        EXPECT_EQ(faults[0].signal, crash.signal);
        EXPECT_EQ(faults[0].stackOverflow, crash.overflow);
        if (!crash.overflow) {
            EXPECT_EQ(faults[0].address, crash.address);
        }
    }
    // A halt that an interrupt ends goes on behind it.
    cpu.SetHaltHandler([] { Fiber::Current()->Suspend(); });
    bool awake = false;
    Fiber sleeper(256 * 1024, [&] {
        asm volatile("hlt");
        awake = true;
    });
    EXPECT_EQ(sleeper.Resume(), Fiber::State::Suspended);
    EXPECT_EQ(sleeper.Resume(), Fiber::State::Finished);
    EXPECT_TRUE(awake);
}

void* mMended = nullptr;

void Mend(int, siginfo_t* info, void*) {
    EXPECT_EQ(info->si_addr, mMended);
    mprotect(mMended, 4096, PROT_READ | PROT_WRITE);
}

TEST_F(ASimulatedCpu, LeavesOtherFaultsToWhoeverHandledThemBefore) {
    mMended = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    struct sigaction mend = {};
    struct sigaction before;
    mend.sa_sigaction = Mend;
    mend.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &mend, &before);
    {
        InstructionTrap outer(cpu);
        outer.Arm();
        SimulatedCpu other;
        InstructionTrap inner(other);
        *static_cast<volatile int*>(mMended) = 5; // reaches Mend() and is tried again
        EXPECT_EQ(*static_cast<volatile int*>(mMended), 5);
        asm volatile("outb %%al, $0x80" : : "a"(0x42));
        EXPECT_EQ(latch.value, 0x42u) << "an unarmed trap lets the one around it act";
    }
    struct sigaction now;
    sigaction(SIGSEGV, &before, &now);
    EXPECT_EQ(now.sa_sigaction, Mend) << "put back";
    munmap(mMended, 4096);
}

TEST_F(ASimulatedCpu, WithoutABackendReadsFloatAndWritesVanish) {
    kelm::SetCpuBackend(nullptr);
    const std::vector<UINT64> read = kelm::RunCpuScenario(kDevice);
    EXPECT_EQ(read[0], 0xFFu);
    EXPECT_EQ(read[2], 0xFFFFFFFFu);
    EXPECT_EQ(read.back(), ~UINT64{0});
    EXPECT_TRUE(log.empty());
}

TEST(InstructionTrapDeathTest, ADisarmedTrapLetsAPrivilegedInstructionCrash) {
    EXPECT_DEATH(
        {
            SimulatedCpu cpu;
            InstructionTrap trap(cpu);
            asm volatile("hlt");
        },
        "");
}

} // namespace
