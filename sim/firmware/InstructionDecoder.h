// Decodes the few x86-64 instructions that a process may not execute, or that reach a simulated
// device's registers (Intel SDM volume 2).
#pragma once

#include "uefi/Base.h"

#include <ucontext.h>

#include <optional>

namespace sim {

struct Instruction {
    enum class Kind {
        In,
        Out,
        ReadMsr,
        WriteMsr,
        MoveFromControl,
        MoveToControl,
        FlushTlb,
        FlushCache,
        DisableInterrupts,
        EnableInterrupts,
        Halt,
        Load,           // register from memory
        StoreRegister,  // register to memory
        StoreImmediate, // constant to memory
    };
    Kind kind;
    unsigned length = 0;
    unsigned width = 0;    // in, out, load and store: bytes
    unsigned reg = 0;      // general register, 0...15 in encoding order
    bool highByte = false; // `reg` is 0...3 and means ah, ch, dh or bh
    unsigned control = 0;  // control register
    UINT64 operand = 0;    // port, immediate, or...
    UINT64 address = 0;    // ...the effective address
};

// Decodes the instruction at the context's instruction pointer, which must be readable. Nothing
// when it is none of these.
std::optional<Instruction> DecodeInstruction(const mcontext_t& context);

// General registers by encoding. Writing 4 bytes clears the upper half, as the processor does.
UINT64 ReadRegister(const mcontext_t& context, unsigned reg, unsigned width, bool highByte = false);
void WriteRegister(mcontext_t& context, unsigned reg, unsigned width, UINT64 value,
                   bool highByte = false);

} // namespace sim
