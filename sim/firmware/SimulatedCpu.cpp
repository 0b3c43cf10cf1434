#include "sim/firmware/SimulatedCpu.h"

#include <cstring>
#include <iterator>

namespace sim {

namespace {

struct PowerOnMsr {
    UINT32 index;
    UINT64 value;
};

// What firmware has set up by the time that a boot manager runs.
constexpr PowerOnMsr kPowerOnMsrs[] = {
    {0x01B, SimulatedCpu::kLocalApicBase | 0x900}, // APIC enabled, bootstrap processor
    {0x0FE, 0xD0A},                                // 10 variable MTRRs, fixed ones, WC, SMRR
    {0x277, 0x0007040600070406},                   // PAT as after reset
    {0x2FF, 0xC06},                                // MTRRs on, memory is write-back
    {0x832, 0x00020020},                           // the x2APIC's timer: periodic, vector 0x20
};

constexpr UINT64 kPowerOnCr0 = 0x80010033;
constexpr UINT64 kPowerOnCr4 = 0x668;

constexpr UINT64 kLvtTimerOffset = 0x320;
constexpr UINT64 kLvtTimerPeriodic = 0x00020020;

constexpr const char* kOperationNames[] = {
    "in8",          "in16",         "in32",        "out8",        "out16",       "out32",
    "mmio-read8",   "mmio-read16",  "mmio-read32", "mmio-read64", "mmio-write8", "mmio-write16",
    "mmio-write32", "mmio-write64", "rdmsr",       "wrmsr",       "read-cr0",    "read-cr2",
    "read-cr3",     "read-cr4",     "read-cr8",    "write-cr0",   "write-cr2",   "write-cr3",
    "write-cr4",    "write-cr8",    "invlpg",      "wbinvd",      "cli",         "sti",
    "hlt",
};
static_assert(std::size(kOperationNames) == static_cast<std::size_t>(CpuOperation::Halt) + 1);

// Widths 1, 2, 4, 8 name consecutive operations.
CpuOperation WithWidth(CpuOperation first, unsigned width) {
    const int step = width == 1 ? 0 : width == 2 ? 1 : width == 4 ? 2 : 3;
    return static_cast<CpuOperation>(static_cast<int>(first) + step);
}

UINT64 WidthMask(unsigned width) {
    return width >= 8 ? ~UINT64{0} : (UINT64{1} << (8 * width)) - 1;
}

bool IsControlRegister(unsigned number) {
    return number == 0 || (number >= 2 && number <= 4) || number == 8;
}

CpuOperation WithNumber(CpuOperation first, unsigned number) {
    const int step = number == 0 ? 0 : number == 8 ? 4 : static_cast<int>(number) - 1;
    return static_cast<CpuOperation>(static_cast<int>(first) + step);
}

SimulatedCpu& Self(void* context) {
    return *static_cast<SimulatedCpu*>(context);
}

template <class Ranges>
auto FindLast(const Ranges& ranges, UINT64 address) {
    for (std::size_t i = ranges.size(); i-- > 0;)
        if (address >= ranges[i].first && address <= ranges[i].last)
            return &ranges[i];
    return static_cast<decltype(&ranges[0])>(nullptr);
}

} // namespace

const char* CpuOperationName(CpuOperation operation) {
    return kOperationNames[static_cast<std::size_t>(operation)];
}

UINT64 RegisterPage::Read(UINT64 offset, unsigned width) {
    UINT64 value = 0;
    if (offset + width > kSize)
        return WidthMask(width);
    std::memcpy(&value, &bytes_[offset], width);
    return value;
}

void RegisterPage::Write(UINT64 offset, unsigned width, UINT64 value) {
    if (offset + width <= kSize)
        std::memcpy(&bytes_[offset], &value, width);
}

SimulatedCpu::SimulatedCpu()
    : backend_{
          .context = this,
          .ioRead = [](void* c, UINT16 port, UINT32 width) { return Self(c).In(port, width); },
          .ioWrite = [](void* c, UINT16 port, UINT32 width,
                        UINT32 value) { Self(c).Out(port, width, value); },
          .mmioRead = [](void* c, UINT64 address,
                         UINT32 width) { return Self(c).ReadMmio(address, width); },
          .mmioWrite = [](void* c, UINT64 address, UINT32 width,
                          UINT64 value) { Self(c).WriteMmio(address, width, value); },
          .readMsr = [](void* c, UINT32 index) { return Self(c).ReadMsr(index); },
          .writeMsr = [](void* c, UINT32 index, UINT64 value) { Self(c).WriteMsr(index, value); },
          .readControlRegister = [](void* c,
                                    UINT32 number) { return Self(c).ReadControlRegister(number); },
          .writeControlRegister = [](void* c, UINT32 number,
                                     UINT64 value) { Self(c).WriteControlRegister(number, value); },
          .flushTlbEntry = [](void* c, UINT64 address) { Self(c).FlushTlbEntry(address); },
          .setInterrupts = [](void* c, bool enabled) { Self(c).SetInterrupts(enabled); },
          .halt = [](void* c) { Self(c).Halt(); },
      } {
    AddMmioDevice(kLocalApicBase, RegisterPage::kSize, localApic_);
    Reset();
}

void SimulatedCpu::Reset() {
    msrs_.clear();
    for (const PowerOnMsr& msr : kPowerOnMsrs)
        msrs_[msr.index] = msr.value;
    controlRegisters_.fill(0);
    controlRegisters_[0] = kPowerOnCr0;
    controlRegisters_[4] = kPowerOnCr4;
    interruptsEnabled_ = true;
    localApic_.Clear();
    localApic_.Write(kLvtTimerOffset, 4, kLvtTimerPeriodic);
}

void SimulatedCpu::AddPortDevice(UINT16 first, UINT32 count, PortDevice& device) {
    if (count != 0)
        ports_.push_back({first, UINT64{first} + count - 1, &device});
}

void SimulatedCpu::RemovePortDevice(const PortDevice& device) {
    std::erase_if(ports_, [&](const auto& range) { return range.device == &device; });
}

void SimulatedCpu::AddMmioDevice(UINT64 base, UINT64 size, MmioDevice& device) {
    if (size != 0)
        windows_.push_back({base, base + size - 1, &device});
}

void SimulatedCpu::RemoveMmioDevice(const MmioDevice& device) {
    std::erase_if(windows_, [&](const auto& range) { return range.device == &device; });
}

void SimulatedCpu::SetMsrHandler(UINT32 index, MsrRead read, MsrWrite write) {
    msrHandlers_[index] = {std::move(read), std::move(write)};
}

const SimulatedCpu::Range<PortDevice>* SimulatedCpu::FindPort(UINT16 port) const {
    return FindLast(ports_, port);
}

const SimulatedCpu::Range<MmioDevice>* SimulatedCpu::FindMmio(UINT64 address) const {
    return FindLast(windows_, address);
}

void SimulatedCpu::Observe(CpuOperation operation, UINT64 location, UINT64 value, bool claimed) {
    if (observer_)
        observer_({operation, location, value, claimed});
}

UINT32 SimulatedCpu::In(UINT16 port, unsigned width) {
    const auto* range = FindPort(port);
    const UINT32 answer = range != nullptr ? range->device->In(port, width) : ~UINT32{0};
    const UINT32 value = answer & static_cast<UINT32>(WidthMask(width));
    Observe(WithWidth(CpuOperation::In8, width), port, value, range != nullptr);
    return value;
}

void SimulatedCpu::Out(UINT16 port, unsigned width, UINT32 value) {
    value &= static_cast<UINT32>(WidthMask(width));
    const auto* range = FindPort(port);
    Observe(WithWidth(CpuOperation::Out8, width), port, value, range != nullptr);
    if (range != nullptr)
        range->device->Out(port, width, value);
}

UINT64 SimulatedCpu::ReadMmio(UINT64 address, unsigned width) {
    const auto* range = FindMmio(address);
    const UINT64 answer =
        range != nullptr ? range->device->Read(address - range->first, width) : ~UINT64{0};
    const UINT64 value = answer & WidthMask(width);
    Observe(WithWidth(CpuOperation::MmioRead8, width), address, value, range != nullptr);
    return value;
}

void SimulatedCpu::WriteMmio(UINT64 address, unsigned width, UINT64 value) {
    value &= WidthMask(width);
    const auto* range = FindMmio(address);
    Observe(WithWidth(CpuOperation::MmioWrite8, width), address, value, range != nullptr);
    if (range != nullptr)
        range->device->Write(address - range->first, width, value);
}

UINT64 SimulatedCpu::ReadMsr(UINT32 index) {
    const auto handler = msrHandlers_.find(index);
    const bool computed = handler != msrHandlers_.end() && handler->second.read;
    const auto stored = msrs_.find(index);
    const UINT64 value = computed                ? handler->second.read(index)
                         : stored != msrs_.end() ? stored->second
                                                 : 0;
    Observe(CpuOperation::ReadMsr, index, value, computed || stored != msrs_.end());
    return value;
}

void SimulatedCpu::WriteMsr(UINT32 index, UINT64 value) {
    const auto handler = msrHandlers_.find(index);
    const bool computed = handler != msrHandlers_.end() && handler->second.write;
    Observe(CpuOperation::WriteMsr, index, value, computed || msrs_.contains(index));
    if (computed)
        handler->second.write(index, value);
    else
        msrs_[index] = value;
}

UINT64 SimulatedCpu::ReadControlRegister(unsigned number) {
    if (!IsControlRegister(number))
        return 0;
    Observe(WithNumber(CpuOperation::ReadCr0, number), 0, controlRegisters_[number]);
    return controlRegisters_[number];
}

void SimulatedCpu::WriteControlRegister(unsigned number, UINT64 value) {
    if (!IsControlRegister(number))
        return;
    controlRegisters_[number] = value;
    Observe(WithNumber(CpuOperation::WriteCr0, number), 0, value);
}

void SimulatedCpu::FlushTlbEntry(UINT64 address) {
    Observe(CpuOperation::FlushTlb, address, 0);
}

void SimulatedCpu::FlushCache() {
    Observe(CpuOperation::FlushCache, 0, 0);
}

void SimulatedCpu::SetInterrupts(bool enabled) {
    interruptsEnabled_ = enabled;
    Observe(enabled ? CpuOperation::EnableInterrupts : CpuOperation::DisableInterrupts, 0, 0);
}

void SimulatedCpu::Halt() {
    Observe(CpuOperation::Halt, 0, 0);
    if (haltHandler_)
        haltHandler_();
}

UINT64 SimulatedCpu::PeekMsr(UINT32 index) const {
    const auto stored = msrs_.find(index);
    return stored != msrs_.end() ? stored->second : 0;
}

UINT64 SimulatedCpu::PeekControlRegister(unsigned number) const {
    return IsControlRegister(number) ? controlRegisters_[number] : 0;
}

void SimulatedCpu::PokeControlRegister(unsigned number, UINT64 value) {
    if (IsControlRegister(number))
        controlRegisters_[number] = value;
}

} // namespace sim
