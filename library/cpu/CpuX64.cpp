// The real processor: one instruction a function.
//
// The memory accessors use one fixed encoding each, a plain mov between (%rdx) and the accumulator,
// so that a monitor which catches the access can tell exactly what it was.
#include "library/cpu/Cpu.h"

namespace kelm {

UINT8 IoRead8(UINT16 port) {
    UINT8 value;
    asm volatile("inb %%dx, %%al" : "=a"(value) : "d"(port) : "memory");
    return value;
}

UINT16 IoRead16(UINT16 port) {
    UINT16 value;
    asm volatile("inw %%dx, %%ax" : "=a"(value) : "d"(port) : "memory");
    return value;
}

UINT32 IoRead32(UINT16 port) {
    UINT32 value;
    asm volatile("inl %%dx, %%eax" : "=a"(value) : "d"(port) : "memory");
    return value;
}

void IoWrite8(UINT16 port, UINT8 value) {
    asm volatile("outb %%al, %%dx" : : "a"(value), "d"(port) : "memory");
}

void IoWrite16(UINT16 port, UINT16 value) {
    asm volatile("outw %%ax, %%dx" : : "a"(value), "d"(port) : "memory");
}

void IoWrite32(UINT16 port, UINT32 value) {
    asm volatile("outl %%eax, %%dx" : : "a"(value), "d"(port) : "memory");
}

UINT8 MmioRead8(UINT64 address) {
    UINT8 value;
    asm volatile("movb (%%rdx), %%al" : "=a"(value) : "d"(address) : "memory");
    return value;
}

UINT16 MmioRead16(UINT64 address) {
    UINT16 value;
    asm volatile("movw (%%rdx), %%ax" : "=a"(value) : "d"(address) : "memory");
    return value;
}

UINT32 MmioRead32(UINT64 address) {
    UINT32 value;
    asm volatile("movl (%%rdx), %%eax" : "=a"(value) : "d"(address) : "memory");
    return value;
}

UINT64 MmioRead64(UINT64 address) {
    UINT64 value;
    asm volatile("movq (%%rdx), %%rax" : "=a"(value) : "d"(address) : "memory");
    return value;
}

void MmioWrite8(UINT64 address, UINT8 value) {
    asm volatile("movb %%al, (%%rdx)" : : "a"(value), "d"(address) : "memory");
}

void MmioWrite16(UINT64 address, UINT16 value) {
    asm volatile("movw %%ax, (%%rdx)" : : "a"(value), "d"(address) : "memory");
}

void MmioWrite32(UINT64 address, UINT32 value) {
    asm volatile("movl %%eax, (%%rdx)" : : "a"(value), "d"(address) : "memory");
}

void MmioWrite64(UINT64 address, UINT64 value) {
    asm volatile("movq %%rax, (%%rdx)" : : "a"(value), "d"(address) : "memory");
}

UINT64 ReadMsr(UINT32 index) {
    UINT32 low;
    UINT32 high;
    asm volatile("rdmsr" : "=a"(low), "=d"(high) : "c"(index) : "memory");
    return UINT64{high} << 32 | low;
}

void WriteMsr(UINT32 index, UINT64 value) {
    asm volatile("wrmsr"
                 :
                 : "a"(static_cast<UINT32>(value)), "d"(static_cast<UINT32>(value >> 32)),
                   "c"(index)
                 : "memory");
}

UINT64 ReadCr0() {
    UINT64 value;
    asm volatile("movq %%cr0, %0" : "=r"(value) : : "memory");
    return value;
}

UINT64 ReadCr3() {
    UINT64 value;
    asm volatile("movq %%cr3, %0" : "=r"(value) : : "memory");
    return value;
}

UINT64 ReadCr4() {
    UINT64 value;
    asm volatile("movq %%cr4, %0" : "=r"(value) : : "memory");
    return value;
}

void WriteCr0(UINT64 value) {
    asm volatile("movq %0, %%cr0" : : "r"(value) : "memory");
}

void WriteCr3(UINT64 value) {
    asm volatile("movq %0, %%cr3" : : "r"(value) : "memory");
}

void FlushTlbEntry(UINT64 address) {
    asm volatile("invlpg (%0)" : : "r"(address) : "memory");
}

void DisableInterrupts() {
    asm volatile("cli" : : : "memory");
}

void EnableInterrupts() {
    asm volatile("sti" : : : "memory");
}

void Halt() {
    asm volatile("hlt" : : : "memory");
}

} // namespace kelm
