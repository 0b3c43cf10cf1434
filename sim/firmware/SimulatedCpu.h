// The boot processor of the simulated server as its firmware sees it: I/O ports, memory-mapped
// device registers, model-specific and control registers. Devices register for ranges; what no
// device answers reads as all ones (ports, memory) or as what was last written (MSRs, which start
// at 0 unless the power-on table names them).
//
// Both builds of the driver end here: the native one through Backend(), the shipped image through
// InstructionTrap. Every access is shown to one observer, in order and with the same words.
//
// Callbacks and devices run below frames of the driver: they must not throw.
#pragma once

#include "library/cpu/CpuBackend.h"

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <utility>
#include <vector>

namespace sim {

enum class CpuOperation {
    In8,
    In16,
    In32,
    Out8,
    Out16,
    Out32,
    MmioRead8,
    MmioRead16,
    MmioRead32,
    MmioRead64,
    MmioWrite8,
    MmioWrite16,
    MmioWrite32,
    MmioWrite64,
    ReadMsr,
    WriteMsr,
    ReadCr0,
    ReadCr2,
    ReadCr3,
    ReadCr4,
    ReadCr8,
    WriteCr0,
    WriteCr2,
    WriteCr3,
    WriteCr4,
    WriteCr8,
    FlushTlb,
    FlushCache,
    DisableInterrupts,
    EnableInterrupts,
    Halt,
};

// The operation as traces spell it: "in8", "out16", "mmio-read32", "rdmsr", "write-cr0", "invlpg",
// "wbinvd", "cli", "sti", "hlt".
const char* CpuOperationName(CpuOperation operation);

struct CpuAccess {
    CpuOperation operation;
    UINT64 location; // port, address, MSR index; 0 for control registers and the operations without
    UINT64 value;    // read or written; 0 for operations without
    bool claimed;    // false when no device answered or the MSR was never heard of
};

// A device on I/O ports. `port` is the absolute port, `width` is 1, 2 or 4 bytes.
class PortDevice {
public:
    virtual ~PortDevice() = default;
    virtual UINT32 In(UINT16 port, unsigned width) = 0;
    virtual void Out(UINT16 port, unsigned width, UINT32 value) = 0;
};

// A device in memory. `offset` counts from the start of its window, `width` is 1, 2, 4 or 8 bytes.
class MmioDevice {
public:
    virtual ~MmioDevice() = default;
    virtual UINT64 Read(UINT64 offset, unsigned width) = 0;
    virtual void Write(UINT64 offset, unsigned width, UINT64 value) = 0;
};

// A page of registers that read back what was written.
class RegisterPage : public MmioDevice {
public:
    static constexpr std::size_t kSize = 0x1000;
    UINT64 Read(UINT64 offset, unsigned width) override;
    void Write(UINT64 offset, unsigned width, UINT64 value) override;
    void Clear() { bytes_.fill(0); }

private:
    std::array<UINT8, kSize> bytes_ = {};
};

class SimulatedCpu {
public:
    static constexpr UINT64 kLocalApicBase = 0xFEE00000u;

    SimulatedCpu();
    SimulatedCpu(const SimulatedCpu&) = delete;
    SimulatedCpu& operator=(const SimulatedCpu&) = delete;

    // Puts registers and the local APIC page to their power-on values. Devices and callbacks stay.
    void Reset();

    // Registers a device (not owned) for `count` ports or `size` bytes. The last registration of an
    // overlapping range wins while it lasts. Removing takes away all ranges of that device.
    void AddPortDevice(UINT16 first, UINT32 count, PortDevice& device);
    void RemovePortDevice(const PortDevice& device);
    void AddMmioDevice(UINT64 base, UINT64 size, MmioDevice& device);
    void RemoveMmioDevice(const MmioDevice& device);
    bool IsMmio(UINT64 address) const { return FindMmio(address) != nullptr; }

    // A computed MSR: `read` and `write` stand in for the stored value; either may be empty.
    using MsrRead = std::function<UINT64(UINT32 index)>;
    using MsrWrite = std::function<void(UINT32 index, UINT64 value)>;
    void SetMsrHandler(UINT32 index, MsrRead read, MsrWrite write);

    // Called for each access of the firmware: before a device takes a write, after it gave a read.
    using Observer = std::function<void(const CpuAccess&)>;
    void SetObserver(Observer observer) { observer_ = std::move(observer); }

    // Called when the firmware halts. It ends the boot, or returns to let the processor go on as
    // after an interrupt. Without one a halt returns at once.
    using HaltHandler = std::function<void()>;
    void SetHaltHandler(HaltHandler handler) { haltHandler_ = std::move(handler); }

    // The firmware's accesses: observed, routed to devices.
    UINT32 In(UINT16 port, unsigned width);
    void Out(UINT16 port, unsigned width, UINT32 value);
    UINT64 ReadMmio(UINT64 address, unsigned width);
    void WriteMmio(UINT64 address, unsigned width, UINT64 value);
    UINT64 ReadMsr(UINT32 index);
    void WriteMsr(UINT32 index, UINT64 value);
    UINT64 ReadControlRegister(unsigned number); // 0, 2, 3, 4 or 8; others read 0
    void WriteControlRegister(unsigned number, UINT64 value);
    void FlushTlbEntry(UINT64 address);
    void FlushCache();
    void SetInterrupts(bool enabled);
    void Halt();

    // The host's view of the same registers: not observed, no handlers.
    UINT64 PeekMsr(UINT32 index) const;
    void PokeMsr(UINT32 index, UINT64 value) { msrs_[index] = value; }
    UINT64 PeekControlRegister(unsigned number) const;
    void PokeControlRegister(unsigned number, UINT64 value);
    bool InterruptsEnabled() const { return interruptsEnabled_; }
    RegisterPage& LocalApic() { return localApic_; }

    // The table for kelm::SetCpuBackend(); valid as long as this object.
    const kelm::CpuBackend& Backend() const { return backend_; }

private:
    template <class Device>
    struct Range {
        UINT64 first;
        UINT64 last;
        Device* device;
    };
    struct MsrHandler {
        MsrRead read;
        MsrWrite write;
    };

    const Range<PortDevice>* FindPort(UINT16 port) const;
    const Range<MmioDevice>* FindMmio(UINT64 address) const;
    void Observe(CpuOperation operation, UINT64 location, UINT64 value, bool claimed = true);

    std::vector<Range<PortDevice>> ports_;
    std::vector<Range<MmioDevice>> windows_;
    std::map<UINT32, UINT64> msrs_;
    std::map<UINT32, MsrHandler> msrHandlers_;
    std::array<UINT64, 9> controlRegisters_ = {};
    bool interruptsEnabled_ = true;
    RegisterPage localApic_;
    Observer observer_;
    HaltHandler haltHandler_;
    kelm::CpuBackend backend_;
};

} // namespace sim
