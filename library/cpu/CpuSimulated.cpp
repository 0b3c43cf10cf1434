// The processor of a simulated machine: every operation is the backend's.
#include "library/cpu/Cpu.h"
#include "library/cpu/CpuBackend.h"

namespace kelm {

namespace {

constinit const CpuBackend* mBackend = nullptr;

template <class Value>
Value IoRead(UINT16 port) {
    return mBackend == nullptr
               ? static_cast<Value>(~Value{0})
               : static_cast<Value>(mBackend->ioRead(mBackend->context, port, sizeof(Value)));
}

template <class Value>
void IoWrite(UINT16 port, Value value) {
    if (mBackend != nullptr)
        mBackend->ioWrite(mBackend->context, port, sizeof(Value), value);
}

template <class Value>
Value MmioRead(UINT64 address) {
    return mBackend == nullptr
               ? static_cast<Value>(~Value{0})
               : static_cast<Value>(mBackend->mmioRead(mBackend->context, address, sizeof(Value)));
}

template <class Value>
void MmioWrite(UINT64 address, Value value) {
    if (mBackend != nullptr)
        mBackend->mmioWrite(mBackend->context, address, sizeof(Value), value);
}

UINT64 ReadControlRegister(UINT32 number) {
    return mBackend == nullptr ? ~UINT64{0}
                               : mBackend->readControlRegister(mBackend->context, number);
}

void WriteControlRegister(UINT32 number, UINT64 value) {
    if (mBackend != nullptr)
        mBackend->writeControlRegister(mBackend->context, number, value);
}

void SetInterrupts(bool enabled) {
    if (mBackend != nullptr)
        mBackend->setInterrupts(mBackend->context, enabled);
}

} // namespace

void SetCpuBackend(const CpuBackend* backend) {
    mBackend = backend;
}

UINT8 IoRead8(UINT16 port) {
    return IoRead<UINT8>(port);
}
UINT16 IoRead16(UINT16 port) {
    return IoRead<UINT16>(port);
}
UINT32 IoRead32(UINT16 port) {
    return IoRead<UINT32>(port);
}
void IoWrite8(UINT16 port, UINT8 value) {
    IoWrite(port, value);
}
void IoWrite16(UINT16 port, UINT16 value) {
    IoWrite(port, value);
}
void IoWrite32(UINT16 port, UINT32 value) {
    IoWrite(port, value);
}

UINT8 MmioRead8(UINT64 address) {
    return MmioRead<UINT8>(address);
}
UINT16 MmioRead16(UINT64 address) {
    return MmioRead<UINT16>(address);
}
UINT32 MmioRead32(UINT64 address) {
    return MmioRead<UINT32>(address);
}
UINT64 MmioRead64(UINT64 address) {
    return MmioRead<UINT64>(address);
}
void MmioWrite8(UINT64 address, UINT8 value) {
    MmioWrite(address, value);
}
void MmioWrite16(UINT64 address, UINT16 value) {
    MmioWrite(address, value);
}
void MmioWrite32(UINT64 address, UINT32 value) {
    MmioWrite(address, value);
}
void MmioWrite64(UINT64 address, UINT64 value) {
    MmioWrite(address, value);
}

UINT64 ReadMsr(UINT32 index) {
    return mBackend == nullptr ? ~UINT64{0} : mBackend->readMsr(mBackend->context, index);
}
void WriteMsr(UINT32 index, UINT64 value) {
    if (mBackend != nullptr)
        mBackend->writeMsr(mBackend->context, index, value);
}

UINT64 ReadCr0() {
    return ReadControlRegister(0);
}
UINT64 ReadCr3() {
    return ReadControlRegister(3);
}
UINT64 ReadCr4() {
    return ReadControlRegister(4);
}
void WriteCr0(UINT64 value) {
    WriteControlRegister(0, value);
}
void WriteCr3(UINT64 value) {
    WriteControlRegister(3, value);
}

void FlushTlbEntry(UINT64 address) {
    if (mBackend != nullptr)
        mBackend->flushTlbEntry(mBackend->context, address);
}
void DisableInterrupts() {
    SetInterrupts(false);
}
void EnableInterrupts() {
    SetInterrupts(true);
}
void Halt() {
    if (mBackend != nullptr)
        mBackend->halt(mBackend->context);
}

} // namespace kelm
