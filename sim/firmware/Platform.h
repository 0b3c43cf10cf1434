// One power-on of the simulated server: everything that lives from reset to the end of the boot.
//
// The platform owns the services, the handle database, the clock, the memory and the sibling
// drivers of one boot. It runs the driver on a stack of its own, because the driver never returns:
// the boot ends when some service calls End(), which leaves that stack for good. Code that runs on
// the driver's stack must therefore own no heap memory across a call that may end the boot.
//
// There is one platform at a time; C service tables reach it through Platform::Current().
#pragma once

#include "sim/firmware/Arena.h"
#include "sim/firmware/BootLocal.h"
#include "sim/firmware/EventService.h"
#include "sim/firmware/HandleDatabase.h"
#include "sim/firmware/MemoryService.h"
#include "sim/firmware/SimulatedCpu.h"
#include "sim/machine/MachineDescription.h"
#include "sim/trace/Trace.h"
#include "uefi/Base.h"
#include "uefi/SystemTable.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelm {
struct CpuBackend;
}

namespace sim {

class Clock;
class Violations;
class Faults;
struct Fault;
class PhaseWatch;
class DriverModel;
class ImageService;
class VariableService;
class PcdDatabase;
class HobList;
class PageTables;
class Watchdog;
class DxeCore;
class Sibling;
class Screen;
class Keyboard;
class ConsoleSplitter;
class NvStore;
struct CpuFault;

enum class EndReason {
    OsStarted, // an image called ExitBootServices
    ResetWarm,
    ResetCold,
    Shutdown,
    Halted, // the driver stopped the processor for good, or the BDS entry was missing or returned
    WaitingForKey, // nothing scheduled can ever wake the driver
    TimeLimit,
    SwitchedOff, // by the person at the terminal
};
// "os-started", "reset-warm", ... as traces and the last line of the tool spell them.
std::string_view EndReasonText(EndReason reason);

// The driver to boot with: linked into this program, or a PE32+ image.
struct DriverImage {
    EFI_STATUS(EFIAPI* nativeEntry)(EFI_HANDLE, EFI_SYSTEM_TABLE*) = nullptr;
    std::vector<std::uint8_t> peImage; // used when nativeEntry is null
    // Of a linked driver: where its privileged instructions go (kelm::SetCpuBackend). The platform
    // hands over the processor of the boot, and nullptr when the boot has ended.
    void (*setCpuBackend)(const kelm::CpuBackend* backend) = nullptr;
};

struct BootResult {
    EndReason reason = EndReason::Halted;
    std::string detail;     // one sentence for people, may be empty
    std::uint64_t time = 0; // virtual microseconds since power-on
    std::vector<std::string> violations;
    // The lines of the console screen at the end, trailing blanks cut.
    std::vector<std::string> screen;
    // The same for each output that the console or standard error had at the end.
    struct Output {
        std::string device;
        std::vector<std::string> lines;
    };
    std::vector<Output> outputs;
};

class Platform {
public:
    // Called once everything of the machine is installed and before the driver is loaded; tests
    // install their own protocols, notifications and state changes here. Runs on the driver's
    // stack.
    using Prepare = std::function<void(Platform&)>;

    // Constructs every part from the description (throws MachineFileError), but starts nothing.
    // `bootNumber` counts power-ons from 1.
    Platform(const MachineDescription& machine, NvStore& store, Trace& trace, unsigned bootNumber);
    ~Platform();
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

    static Platform& Current();

    // Runs the boot to its end.
    BootResult Run(const DriverImage& driver, const Prepare& prepare = {});

    // Ends the boot: records why, and leaves the driver's stack for good.
    [[noreturn]] void End(EndReason reason, const char* detail = "");

    // Every firmware service begins with this. Counts the call, checks the task priority against
    // the highest level at which the service may be called (records a violation when above), and
    // answers the status of a fault that the machine file injects into this call, if any.
    std::optional<EFI_STATUS> EnterService(const char* name, EFI_TPL highestTpl);
    // Every call of a sibling protocol begins with this: records `protocol-call` unless `traced` is
    // false (services with events of their own), and answers an injected fault, named
    // "Protocol.Member".
    std::optional<EFI_STATUS> EnterSibling(const char* protocol, const char* member,
                                           bool traced = true);

    // Code that is loaded is about to run: from now on its privileged instructions are carried out,
    // and a processor exception in it, or in a place that it should not have jumped to, ends the
    // boot. While it calls no service for long, virtual time passes on its own, so that timers and
    // the watchdog reach an image that loops.
    void RunsImages();

    // A number of the machine file's "limits", or `otherwise`.
    std::uint64_t LimitOf(const char* name, std::uint64_t otherwise) const;

    // True when the machine file leaves the protocol out ("missing" names it by name or GUID).
    bool IsMissing(std::string_view name, const EFI_GUID& guid) const;

    // A copy of `size` bytes in pool that the driver will free; nullptr when memory is out. `owner`
    // is a literal that says who answers it.
    void* CopyToPool(const void* data, std::size_t size, const char* owner);

    const MachineDescription& machine;
    Trace& trace;
    NvStore& store;
    const unsigned bootNumber;

    // Heap memory of code that runs on the driver's stack (BootLocal.h).
    BootLocals locals;

    // The parts, in the order in which they are constructed.
    std::unique_ptr<Clock> clock;
    std::unique_ptr<Violations> violations;
    std::unique_ptr<Faults> faults;
    std::unique_ptr<Arena> arena;
    std::unique_ptr<SimulatedCpu> cpu;
    std::unique_ptr<MemoryService> memory;
    std::unique_ptr<EventService> events;
    std::unique_ptr<HandleDatabase> handles;
    std::unique_ptr<PhaseWatch> phases;
    std::unique_ptr<DriverModel> drivers;
    std::unique_ptr<ImageService> images;
    std::unique_ptr<VariableService> variables;
    std::unique_ptr<PcdDatabase> pcds;
    std::unique_ptr<HobList> hobs;
    std::unique_ptr<PageTables> pageTables;
    std::unique_ptr<Screen> screen;
    std::unique_ptr<Keyboard> keyboard;
    std::unique_ptr<ConsoleSplitter> splitter; // ConIn, ConOut and StdErr
    std::unique_ptr<Watchdog> watchdog;
    std::unique_ptr<DxeCore> core; // system table, boot, runtime and DXE services tables
    std::vector<std::unique_ptr<Sibling>> siblings;

    // The sibling of a type, for tests that look at its state. Throws when the machine has none.
    template <class T>
    T& Get();

    EFI_SYSTEM_TABLE* SystemTable();

private:
    struct Boot;
    void WireProcessor();
    void PowerOn(const Prepare& prepare);
    [[noreturn]] void RunDriver(const DriverImage& driver);
    [[noreturn]] void LosePower(const char* call);
    bool Describe(const CpuFault& fault);
    void Tick(std::uint64_t ip);
    std::optional<EFI_STATUS> Inject(const Fault* fault);

    std::unique_ptr<Boot> boot_;
};

template <class T>
T& Platform::Get() {
    for (auto& sibling : siblings) {
        if (auto* found = dynamic_cast<T*>(sibling.get())) {
            return *found;
        }
    }
    throw std::logic_error("the machine has no such sibling");
}

} // namespace sim
