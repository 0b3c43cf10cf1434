#include "sim/firmware/Platform.h"

#include "sim/firmware/Clock.h"
#include "sim/firmware/ConsoleSplitter.h"
#include "sim/firmware/DriverModel.h"
#include "sim/firmware/DxeCore.h"
#include "sim/firmware/Faults.h"
#include "sim/firmware/Fiber.h"
#include "sim/firmware/HobList.h"
#include "sim/firmware/ImageService.h"
#include "sim/firmware/InstructionTrap.h"
#include "sim/firmware/Keyboard.h"
#include "sim/firmware/PageTables.h"
#include "sim/firmware/PcdDatabase.h"
#include "sim/firmware/PeImage.h"
#include "sim/firmware/PhaseWatch.h"
#include "sim/firmware/Screen.h"
#include "sim/firmware/TraceText.h"
#include "sim/firmware/VariableService.h"
#include "sim/firmware/Violations.h"
#include "sim/firmware/Watchdog.h"
#include "sim/siblings/Sibling.h"
#include "uefi/BdsArch.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <exception>
#include <stdexcept>

#include <dlfcn.h>

// The linker's: where this program's own code begins and ends.
extern "C" const char __executable_start;
extern "C" const char etext;

namespace sim {

namespace {

constexpr const char* kDriverName = "KelmBdsDxe";
constexpr std::size_t kStackSize = 4u << 20; // sanitized code needs far more than firmware has
constexpr std::uint64_t kSecond = 1000000;

// An image that computes without any call for this many ticks of host time is one that waits: from
// then on a second of virtual time passes with each of the short ticks, until it calls.
constexpr unsigned kSilentTicks = 8;
constexpr unsigned kTickMilliseconds = 250;
constexpr unsigned kShortTickMilliseconds = 5;

Platform* mCurrent = nullptr;

bool IsOwnCode(UINT64 address) {
    return address >= reinterpret_cast<UINT64>(&__executable_start) &&
           address < reinterpret_cast<UINT64>(&etext);
}

// What the processor found wrong.
std::string ExceptionText(const CpuFault& fault) {
    switch (fault.signal) {
    case SIGFPE:
        return "division";
    case SIGILL:
        return "invalid instruction";
    case SIGTRAP:
        return "breakpoint";
    default:
        return fault.address != 0 ? "access to " + HexNumber(fault.address)
                                  : "address 0 or general protection";
    }
}

// Code of a library that this program uses, for instance a copy on behalf of a service.
bool IsLibraryCode(UINT64 address) {
    Dl_info info;
    return dladdr(reinterpret_cast<const void*>(address), &info) != 0;
}

} // namespace

// What a boot needs while it runs.
struct Platform::Boot {
    std::unique_ptr<Fiber> fiber;
    std::unique_ptr<InstructionTrap> trap;
    std::exception_ptr failure;     // of the simulator itself, before the driver runs
    std::array<char, 512> detail{}; // text for End() that outlives the stack
    std::vector<std::string> missing;
    BootResult result;
    bool ended = false;
    bool driverIsPe = false;
    bool faulted = false; // a processor exception is being told
    unsigned silentTicks = 0;
    std::uint64_t callsAtTick = 0;
};

std::string_view EndReasonText(EndReason reason) {
    switch (reason) {
    case EndReason::OsStarted:
        return "os-started";
    case EndReason::ResetWarm:
        return "reset-warm";
    case EndReason::ResetCold:
        return "reset-cold";
    case EndReason::Shutdown:
        return "shutdown";
    case EndReason::Halted:
        return "halted";
    case EndReason::WaitingForKey:
        return "waiting-for-key";
    case EndReason::TimeLimit:
        return "time-limit";
    case EndReason::SwitchedOff:
        return "switched-off";
    }
    return "unknown";
}

BootLocals& BootLocals::Current() {
    return Platform::Current().locals;
}

Platform& Platform::Current() {
    if (mCurrent == nullptr) {
        throw std::logic_error("no platform is powered on");
    }
    return *mCurrent;
}

Platform::Platform(const MachineDescription& machineIn, NvStore& storeIn, Trace& traceIn,
                   unsigned bootNumberIn)
    : machine(machineIn),
      trace(traceIn),
      store(storeIn),
      bootNumber(bootNumberIn),
      boot_(std::make_unique<Boot>()) {
    if (mCurrent != nullptr) {
        throw std::logic_error("one platform at a time");
    }
    mCurrent = this;
    try {
        for (const Json& name : machine.At("/missing")) {
            boot_->missing.push_back(name.get<std::string>());
        }
        clock = std::make_unique<Clock>(LimitOf("timeSeconds", 3600) * kSecond, [this] {
            End(EndReason::TimeLimit, "the machine's limit of virtual time is reached");
        });
        trace.SetClock([this] { return clock->Now(); });
        violations = std::make_unique<Violations>(trace);
        faults = std::make_unique<Faults>(machine);
        arena = std::make_unique<Arena>();
        cpu = std::make_unique<SimulatedCpu>();
        memory = std::make_unique<MemoryService>(*this);
        events = std::make_unique<EventService>(*this);
        handles = std::make_unique<HandleDatabase>(*this);
        phases = std::make_unique<PhaseWatch>(*this);
        drivers = std::make_unique<DriverModel>(*this);
        images = std::make_unique<ImageService>(*this);
        variables = std::make_unique<VariableService>(*this);
        pcds = std::make_unique<PcdDatabase>(*this);
        hobs = std::make_unique<HobList>(*this);
        pageTables = std::make_unique<PageTables>(*this);
        screen = std::make_unique<Screen>(*this);
        keyboard = std::make_unique<Keyboard>(*this);
        splitter = std::make_unique<ConsoleSplitter>(*this);
        watchdog = std::make_unique<Watchdog>(*this);
        core = std::make_unique<DxeCore>(*this);
        siblings = MakeSiblings(*this);
        WireProcessor();
    } catch (...) {
        trace.SetClock({});
        mCurrent = nullptr;
        throw;
    }
}

Platform::~Platform() {
    boot_->fiber.reset();
    boot_->trap.reset();
    locals.Clear();
    trace.SetClock([end = clock->Now()] { return end; });
    mCurrent = nullptr;
}

// What the driver does to the processor is traced; a halt ends the boot or waits for an interrupt.
void Platform::WireProcessor() {
    cpu->SetObserver([this](const CpuAccess& access) {
        const char* place = "register";
        if (access.operation <= CpuOperation::Out32) {
            place = "port";
        } else if (access.operation <= CpuOperation::MmioWrite64) {
            place = "address";
        }
        trace.Record("io", {{"op", CpuOperationName(access.operation)},
                            {place, access.location},
                            {"value", access.value}});
    });
    cpu->SetHaltHandler([this] {
        if (!cpu->InterruptsEnabled()) {
            End(EndReason::Halted, "the processor was halted with interrupts off");
        }
        // The next interrupt is the next happening; without one it is the timer's, in vain.
        events->NoteIdlePoll();
        clock->AdvanceTo(clock->AwaitNext().value_or(0));
    });
}

std::uint64_t Platform::LimitOf(const char* name, std::uint64_t otherwise) const {
    const std::string place = std::string("/limits/") + name;
    const Json& value = machine.At(place);
    return value.is_null() ? otherwise : ReadNumber(machine, value, place);
}

bool Platform::IsMissing(std::string_view name, const EFI_GUID& guid) const {
    const std::string guidText = GuidText(guid);
    return std::any_of(boot_->missing.begin(), boot_->missing.end(), [&](const std::string& item) {
        return item == name ||
               std::equal(
                   item.begin(), item.end(), guidText.begin(), guidText.end(),
                   [](char a, char b) { return std::toupper(static_cast<unsigned char>(a)) == b; });
    });
}

void* Platform::CopyToPool(const void* data, std::size_t size, const char* owner) {
    return memory->Copy(data, size, owner);
}

EFI_SYSTEM_TABLE* Platform::SystemTable() {
    return core->SystemTable();
}

BootResult Platform::Run(const DriverImage& driver, const Prepare& prepare) {
    Boot& boot = *boot_;
    boot.fiber = std::make_unique<Fiber>(kStackSize, [&] {
        // No exception can pass the driver's frames; these come from before it runs.
        try {
            PowerOn(prepare);
        } catch (...) {
            boot.failure = std::current_exception();
            return;
        }
        RunDriver(driver);
    });
    if (driver.setCpuBackend != nullptr) {
        driver.setCpuBackend(&cpu->Backend());
    }
    boot.fiber->Resume();
    if (driver.setCpuBackend != nullptr) {
        driver.setCpuBackend(nullptr);
    }
    if (boot.trap != nullptr) {
        boot.trap->Disarm();
    }
    if (boot.failure) {
        std::rethrow_exception(boot.failure);
    }
    boot.result.time = clock->Now();
    boot.result.violations = violations->All();
    boot.result.screen = screen->Lines();
    for (const ConsoleSplitter::Output& output : splitter->Outputs()) {
        boot.result.outputs.push_back({output.device, output.screen->Lines()});
    }
    return boot.result;
}

void Platform::PowerOn(const Prepare& prepare) {
    core->Install();
    images->Install();
    hobs->Install();
    pageTables->Install();
    pcds->Install();
    watchdog->Install();
    for (auto& sibling : siblings) {
        sibling->Install();
    }
    if (prepare) {
        prepare(*this);
    }
}

void Platform::RunDriver(const DriverImage& driver) {
    EFI_HANDLE image = nullptr;
    EFI_STATUS status = EFI_SUCCESS;
    if (driver.nativeEntry != nullptr) {
        status = images->AddNative(driver.nativeEntry, kDriverName, &image);
    } else {
        boot_->driverIsPe = true;
        status = images->AddPe(driver.peImage, kDriverName, &image);
    }
    char* detail = boot_->detail.data();
    const std::size_t room = boot_->detail.size();
    if (EFI_ERROR(status)) {
        std::snprintf(detail, room, "the driver could not be loaded: %s",
                      StatusText(status).c_str());
        End(EndReason::Halted, detail);
    }
    status = images->Start(image, nullptr, nullptr);
    if (EFI_ERROR(status)) {
        std::snprintf(detail, room, "the driver's entry returned %s", StatusText(status).c_str());
        End(EndReason::Halted, detail);
    }
    auto* bds = static_cast<EFI_BDS_ARCH_PROTOCOL*>(handles->FindFirst(gEfiBdsArchProtocolGuid));
    if (bds == nullptr) {
        End(EndReason::Halted, "there is no BDS architectural protocol");
    }
    bds->Entry(bds);
    End(EndReason::Halted, "the BDS entry returned");
}

void Platform::RunsImages() {
    if (boot_->trap != nullptr) {
        return;
    }
    boot_->trap = std::make_unique<InstructionTrap>(*cpu, [this](const CpuFault& fault) {
        // A second one while the first is told is our own.
        if (boot_->ended || boot_->faulted || !Describe(fault)) {
            return false;
        }
        boot_->faulted = true;
        violations->Record(boot_->detail.data());
        End(EndReason::Halted, boot_->detail.data());
    });
    boot_->trap->SetTick(kTickMilliseconds, [this](UINT64 ip) { Tick(ip); });
    boot_->trap->Arm();
}

// The timer interrupt of an image that does not call.
void Platform::Tick(std::uint64_t ip) {
    Boot& boot = *boot_;
    if (boot.ended || !PeImageRegion::Holds(ip)) {
        return;
    }
    const std::uint64_t calls = events->ServiceCalls();
    if (calls != boot.callsAtTick) {
        boot.callsAtTick = calls;
        if (boot.silentTicks >= kSilentTicks) {
            boot.trap->SetTickTime(kTickMilliseconds);
        }
        boot.silentTicks = 0;
        return;
    }
    boot.silentTicks++;
    if (boot.silentTicks == kSilentTicks) {
        boot.trap->SetTickTime(kShortTickMilliseconds);
    } else if (boot.silentTicks > kSilentTicks) {
        clock->Advance(kSecond);
        // What happened meanwhile was not the image's doing.
        boot.callsAtTick = events->ServiceCalls();
    }
}

// Writes what happened into the boot's detail. False when it is our own fault, which a debugger or
// sanitizer shall see.
bool Platform::Describe(const CpuFault& fault) {
    char* detail = boot_->detail.data();
    const std::size_t room = boot_->detail.size();
    const std::string where = images->Locate(fault.ip);
    if (fault.stackOverflow || !where.empty()) {
        if (fault.stackOverflow) {
            std::snprintf(detail, room, "stack overflow in %s", where.c_str());
        } else {
            std::snprintf(detail, room, "processor exception (%s) in %s",
                          ExceptionText(fault).c_str(), where.c_str());
        }
        return true;
    }
    const char* culprit = images->RunningPe();
    if (culprit == nullptr && boot_->driverIsPe) {
        culprit = kDriverName;
    }
    if (culprit == nullptr) {
        return false;
    }
    if (IsOwnCode(fault.ip) && !images->RunsApplication()) {
        std::fprintf(stderr, "processor exception in the server's own code while %s runs\n",
                     culprit);
        return false;
    }
    if (IsOwnCode(fault.ip) || IsLibraryCode(fault.ip)) {
        // The place is the host's; what was touched is the image's.
        std::snprintf(detail, room, "processor exception in a service that %s called, at %s",
                      culprit, HexNumber(fault.address).c_str());
    } else {
        std::snprintf(detail, room, "processor exception outside any image, at %s, from %s",
                      HexNumber(fault.ip).c_str(), culprit);
    }
    return true;
}

void Platform::End(EndReason reason, const char* detail) {
    Boot& boot = *boot_;
    if (boot.fiber == nullptr || boot.ended) {
        throw std::logic_error("no boot runs that could end");
    }
    boot.ended = true;
    boot.result.reason = reason;
    boot.result.detail = detail;
    static_cast<void>(arena->CheckAll());
    phases->BootEnded(reason);
    trace.Record("end", {{"reason", EndReasonText(reason)}, {"boot", bootNumber}});
    boot.fiber->Leave();
}

void Platform::LosePower(const char* call) {
    trace.Record("power-failure", {{"call", call}});
    std::snprintf(boot_->detail.data(), boot_->detail.size(), "the power failed in %s", call);
    End(EndReason::Halted, boot_->detail.data());
}

std::optional<EFI_STATUS> Platform::Inject(const Fault* fault) {
    if (fault == nullptr) {
        return std::nullopt;
    }
    if (fault->powerCut) {
        LosePower(fault->call.c_str());
    }
    trace.Record("fault", {{"call", fault->call}, {"status", StatusText(fault->status)}});
    return fault->status;
}

std::optional<EFI_STATUS> Platform::EnterService(const char* name, EFI_TPL highestTpl) {
    events->NoteServiceCall();
    const EFI_TPL level = events->Tpl();
    if (level > highestTpl) {
        violations->Record(std::string(name) + " called at level " + std::to_string(level) +
                           ", allowed up to " + std::to_string(highestTpl));
    }
    return Inject(faults->Count(name));
}

std::optional<EFI_STATUS> Platform::EnterSibling(const char* protocol, const char* member,
                                                 bool traced) {
    events->NoteServiceCall();
    if (traced) {
        trace.Record("protocol-call", {{"protocol", protocol}, {"member", member}});
    }
    return Inject(faults->Count(protocol, member));
}

} // namespace sim
