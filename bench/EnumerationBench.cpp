// The enumeration of boot options by itself, in a server that has come as far: how long it takes on
// this host, how often it reads and writes variables, and how much pool it takes meanwhile. Prints
// what is wanted of it below the figures.

#include "bootopt/BootOrder.h"
#include "bootopt/DefaultUefiOrder.h"
#include "bootopt/EnumerateBootOptions.h"
#include "bootopt/FqddAttributes.h"
#include "bootopt/OsBootEntries.h"
#include "bootopt/UefiEnumeration.h"
#include "library/cpu/CpuBackend.h"
#include "library/firmware/Services.h"
#include "sim/firmware/Arena.h"
#include "sim/firmware/Faults.h"
#include "sim/firmware/Server.h"
#include "uefi/GlobalVariable.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <set>

extern "C" EFI_STATUS EFIAPI _ModuleEntryPoint(EFI_HANDLE, EFI_SYSTEM_TABLE*);

namespace {

constexpr unsigned kRepetitions = 10;
constexpr unsigned kDisksBehindController = 16;
constexpr unsigned kControllersBehindRoot = 32;
constexpr unsigned kFirstRoot = 0x10;
constexpr char kPhase[] = "[BDS] Enum Boot Options";
constexpr char kGlobal[] = "8BE4DF61-93CA-11D2-AA0D-00E098032B8C";

enum Boot : int { kFirst, kUnchanged };

struct Sizes {
    unsigned devices;
    unsigned options;
    // Options of devices; the others are those of operating systems.
    unsigned DeviceOptions() const { return std::min(devices, (options + 1) / 2); }
    unsigned SystemOptions() const { return options - DeviceOptions(); }
};

// ---- The machine

std::string Signature(unsigned disk) {
    return fmt::format("{:08X}-4B4C-4D00-8000-02AF4D100000", disk + 1);
}

enum Bus : unsigned { kRaid, kSata, kNvme, kUsb, kBuses };

// Every fourth disk is on the same bus. Only a disk with a loader is worth an option, but for those
// on USB, which always get one.
sim::Json Disk(unsigned i, bool boots) {
    const unsigned bus = i % kBuses == kUsb && !boots ? unsigned(kNvme) : i % kBuses;
    const unsigned controller = i / (kBuses * kDisksBehindController) * kBuses + i % kBuses;
    const unsigned place = i / kBuses % kDisksBehindController;
    struct Row {
        const char* kind;
        const char* node;
        const char* fqdd;
    };
    static constexpr Row kRows[kBuses] = {
        {"virtual-disk", "Scsi(0x{:X},0x0)", "RAID.Slot.{}-1"},
        {"sata-disk", "Sata(0x{:X},0xFFFF,0x0)", "Disk.SATAEmbedded.{}-1"},
        {"nvme", "NVMe(0x{:X},01-00-00-00-01-EE-25-38)", "PCIeSSD.Slot.{}-1"},
        {"usb-disk", "USB(0x{:X},0x0)", "Disk.USBBack.{}-1"},
    };
    const Row& row = kRows[bus];
    sim::Json disk;
    disk["kind"] = row.kind;
    disk["path"] = fmt::format("PciRoot(0x{:X})/Pci(0x{:X},0x{:X})/{}",
                               kFirstRoot + controller / kControllersBehindRoot,
                               controller % kControllersBehindRoot, bus == i % kBuses ? 0 : 1,
                               fmt::format(fmt::runtime(row.node), place + 1));
    disk["location"] = fmt::format("Disk {} of controller {}", place, controller);
    disk["fqdd"] = fmt::format(fmt::runtime(row.fqdd), i + 1);
    sim::Json files;
    if (boots) {
        files["\\EFI\\BOOT\\BOOTX64.EFI"]["payload"] = "os-loader";
    } else {
        files["\\readme.txt"]["text"] = "Nothing boots from here.";
    }
    disk["partitions"] = sim::Json::array(
        {{{"signature", Signature(i)}, {"start", 2048}, {"blocks", 65536}, {"files", files}}});
    return disk;
}

void Put(std::string& hex, std::uint64_t value, unsigned bytes) {
    for (; bytes > 0; bytes--, value >>= 8) {
        hex += fmt::format("{:02X}", value & 0xFF);
    }
}

void PutText(std::string& hex, std::string_view text) {
    for (const char character : text) {
        Put(hex, std::uint8_t(character), 2);
    }
    Put(hex, 0, 2);
}

// An option as an operating system writes it: a loader on a partition, by the short form.
std::string SystemOption(unsigned number, unsigned disk) {
    const std::string loader = fmt::format("\\EFI\\os{}\\loader.efi", number);
    std::string path;
    Put(path, 0x002A0104, 4); // hard drive
    Put(path, 1, 4);
    Put(path, 2048, 8);
    Put(path, 65536, 8);
    Put(path, disk + 1, 4); // the signature
    Put(path, 0x4D004B4C, 4);
    path += "800002AF4D100000";
    Put(path, 0x0202, 2); // GPT, by GUID
    Put(path, 0x0404, 2); // file
    Put(path, 4 + 2 * (loader.size() + 1), 2);
    PutText(path, loader);
    Put(path, 0x0004FF7F, 4);
    std::string hex;
    Put(hex, 1, 4); // active
    Put(hex, path.size() / 2, 2);
    PutText(hex, fmt::format("Operating system {}", number));
    return hex + path;
}

sim::MachineDescription MachineOf(const Sizes& sizes) {
    sim::MachineDescription machine = sim::LoadMachine("default");
    sim::Json& root = machine.root;
    for (const char* id : {"usb-front", "usb-back", "optical", "system-disk", "nvme1", "nvme2"}) {
        root["devices"].erase(id);
    }
    for (unsigned i = 0; i < sizes.devices; i++) {
        root["devices"][fmt::format("disk-{:04}", i)] = Disk(i, i < sizes.DeviceOptions());
    }
    sim::Json& variables = root["variables"];
    variables.erase(fmt::format("Boot0000-{}", kGlobal));
    std::string order;
    for (unsigned i = 0; i < sizes.SystemOptions(); i++) {
        Put(order, i, 2);
        variables[fmt::format("Boot{:04X}-{}", i, kGlobal)]["hex"] =
            SystemOption(i, i % sizes.devices);
    }
    variables[fmt::format("BootOrder-{}", kGlobal)] = {{"hex", order}};
    // As on a server in the field: nobody reads the log.
    root["debug"]["mask"] = 0;
    root["limits"]["storeBytes"] = 1u << 20;
    root["limits"]["timeSeconds"] = 60;
    return machine;
}

// ---- What is counted

using Name = std::u16string;

// Stands before the variable services while it lives.
class VariableWatch {
public:
    VariableWatch() : get_(kelm::gRT->GetVariable), set_(kelm::gRT->SetVariable) {
        mWatch = this;
        kelm::gRT->GetVariable = &Get;
        kelm::gRT->SetVariable = &Set;
    }
    ~VariableWatch() {
        kelm::gRT->GetVariable = get_;
        kelm::gRT->SetVariable = set_;
    }
    VariableWatch(const VariableWatch&) = delete;
    VariableWatch& operator=(const VariableWatch&) = delete;

    // How often the content of the variable that was read most often was handed out.
    unsigned MostReads() const {
        unsigned most = 0;
        for (const auto& [name, reads] : reads_) {
            most = std::max(most, reads);
        }
        return most;
    }
    // Writes of anything else than what every enumeration writes.
    unsigned OtherWrites() const {
        static const std::set<Name> kOrdered = {u"BootOrder", u"UefiBootOrder",
                                                u"DefaultUefiBootOrder", u"PlaceHolderNum"};
        return unsigned(std::count_if(writes_.begin(), writes_.end(),
                                      [](const Name& name) { return !kOrdered.contains(name); }));
    }

private:
    static EFI_STATUS EFIAPI Get(const CHAR16* name, const EFI_GUID* guid, UINT32* attributes,
                                 UINTN* size, void* data) {
        const EFI_STATUS status = mWatch->get_(name, guid, attributes, size, data);
        mWatch->reads_[name] += status == EFI_SUCCESS ? 1 : 0;
        return status;
    }
    static EFI_STATUS EFIAPI Set(const CHAR16* name, const EFI_GUID* guid, UINT32 attributes,
                                 UINTN size, const void* data) {
        mWatch->writes_.push_back(name);
        return mWatch->set_(name, guid, attributes, size, data);
    }

    static inline VariableWatch* mWatch = nullptr;
    decltype(kelm::gRT->GetVariable) get_;
    decltype(kelm::gRT->SetVariable) set_;
    std::map<Name, unsigned> reads_;
    std::vector<Name> writes_;
};

// The parts of an enumeration that walk the options, one after the other.
constexpr void (*kOperations[])() = {
    [] { kelm::BdsDumpBootOrder(kBootOrderName, &gEfiGlobalVariableGuid); },
    [] { kelm::BdsBootOrderSanityCheck(); },
    [] { static_cast<void>(kelm::BdsPositionOsBootManager()); },
    [] { static_cast<void>(kelm::BdsSyncBootOrder()); },
    [] { static_cast<void>(kelm::BdsEnumerateUefiBootOptions()); },
    [] { static_cast<void>(kelm::BdsBuildDefaultUefiBootOrder()); },
    [] { static_cast<void>(kelm::BdsSetBootOrderFromModeOrder()); },
    [] { static_cast<void>(kelm::BdsUpdateOsBootEntries()); },
    [] { static_cast<void>(kelm::BdsApplyBootSeqDefault()); },
    [] { static_cast<void>(kelm::BdsProcessFqddBootOrderAttributes()); },
    [] { static_cast<void>(kelm::BdsProcessInternalFqddOrderAttributes()); },
    [] { static_cast<void>(kelm::BdsApplyBootOrderDefaults()); },
};

// ---- The figures and what is wanted of them

struct Figures {
    double milliseconds = 0;
    unsigned readsPerOperation = 0;
    unsigned otherWrites = 0;
};
std::map<std::tuple<int, unsigned, unsigned>, Figures> mFigures; // by boot, options and devices

void Run(benchmark::State& state, sim::Platform& platform, Boot boot, const Sizes& sizes) {
    const sim::NvStore store = platform.store;
    if (boot == kUnchanged) {
        static_cast<void>(kelm::EnumerateBootOptions());
        static_cast<void>(kelm::EnumerateBootOptions());
    }
    double seconds = 0;
    const std::uint64_t reads = platform.faults->Calls("GetVariable");
    const std::uint64_t writes = platform.faults->Calls("SetVariable");
    std::uint64_t pool = 0;
    for (auto _ : state) {
        if (boot == kFirst) {
            platform.store = store;
        }
        platform.arena->RestartPeak();
        const std::uint64_t before = platform.arena->Statistics().liveBytes;
        const auto start = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(kelm::EnumerateBootOptions());
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(taken.count());
        seconds += taken.count();
        pool = std::max(pool, platform.arena->Statistics().peakBytes - before);
    }
    const auto perRun = [&](const char* call, std::uint64_t before) {
        return double(platform.faults->Calls(call) - before) / double(state.iterations());
    };
    state.counters["GetVariable"] = perRun("GetVariable", reads);
    state.counters["SetVariable"] = perRun("SetVariable", writes);
    state.counters["pool_peak_bytes"] = double(pool);

    Figures& figures = mFigures[{boot, sizes.options, sizes.devices}];
    figures.milliseconds = seconds * 1000 / double(state.iterations());
    {
        const VariableWatch watch;
        static_cast<void>(kelm::EnumerateBootOptions());
        figures.otherWrites = watch.OtherWrites();
    }
    if (boot == kFirst) {
        platform.store = store;
    }
    for (const auto operation : kOperations) {
        const VariableWatch watch;
        operation();
        figures.readsPerOperation = std::max(figures.readsPerOperation, watch.MostReads());
    }
    state.counters["reads_per_operation"] = figures.readsPerOperation;
}

void Enumeration(benchmark::State& state) {
    const Sizes sizes{unsigned(state.range(0)), unsigned(state.range(1))};
    const auto boot = Boot(state.range(2));
    sim::Trace trace;
    sim::Server server(
        MachineOf(sizes), sim::NvStore(),
        {.nativeEntry = _ModuleEntryPoint, .peImage = {}, .setCpuBackend = &kelm::SetCpuBackend},
        trace);
    bool ran = false;
    trace.SetListener([&](const sim::Json& event) {
        if (!ran && event.at("event") == "measure" && event.at("edge") == "start" &&
            event.at("token") == kPhase) {
            ran = true;
            Run(state, sim::Platform::Current(), boot, sizes);
        }
    });
    static_cast<void>(server.PowerOn());
    if (!ran) {
        state.SkipWithError("the boot came to no enumeration");
    }
}
BENCHMARK(Enumeration)
    ->ArgNames({"devices", "options", "unchanged"})
    ->ArgsProduct({{8, 64, 512, 4096}, {4, 32, 255}, {kFirst, kUnchanged}})
    ->Iterations(kRepetitions)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void PrintTarget(const char* wanted, bool met, const std::string& figure) {
    fmt::print("{:<6} {:<68} {}\n", met ? "met" : "MISSED", wanted, figure);
}

void PrintTargets() {
    unsigned reads = 0;
    unsigned writes = 0;
    double growth = 0; // for ten times the devices
    for (const auto& [key, figures] : mFigures) {
        const auto& [boot, options, devices] = key;
        reads = std::max(reads, figures.readsPerOperation);
        writes = std::max(writes, boot == kUnchanged ? figures.otherWrites : 0);
        const auto fewer = mFigures.find({boot, options, devices / 8});
        if (devices >= 512 && fewer != mFigures.end()) {
            const double factor = figures.milliseconds / fewer->second.milliseconds;
            growth = std::max(growth, std::pow(factor, 1 / std::log10(8)));
        }
    }
    fmt::print("\n");
    PrintTarget("each variable is read at most once by an operation", reads <= 1,
                fmt::format("{}", reads));
    if (growth > 0) {
        PrintTarget("ten times the devices take at most twelve times the time", growth <= 12,
                    fmt::format("{:.1f}", growth));
    }
    PrintTarget("an unchanged boot writes orders and nothing else", writes == 0,
                fmt::format("{} others", writes));
    const auto largest = mFigures.find({kUnchanged, 255, 4096});
    if (largest != mFigures.end()) {
        const double slowest =
            std::max(largest->second.milliseconds, mFigures[{kFirst, 255, 4096}].milliseconds);
        PrintTarget("4096 devices with 255 options take less than 50 ms", slowest < 50,
                    fmt::format("{:.1f} ms", slowest));
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    PrintTargets();
    return 0;
}
