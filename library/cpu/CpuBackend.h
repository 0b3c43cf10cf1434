// What stands behind CpuSimulated.cpp: a table of operations that the simulator supplies. Widths
// are 1, 2, 4 or (memory only) 8 bytes; values are zero-extended. Register operations name the
// register by its number (0, 3 or 4).
#pragma once

#include "uefi/Base.h"

namespace kelm {

struct CpuBackend {
    void* context;
    UINT32 (*ioRead)(void* context, UINT16 port, UINT32 width);
    void (*ioWrite)(void* context, UINT16 port, UINT32 width, UINT32 value);
    UINT64 (*mmioRead)(void* context, UINT64 address, UINT32 width);
    void (*mmioWrite)(void* context, UINT64 address, UINT32 width, UINT64 value);
    UINT64 (*readMsr)(void* context, UINT32 index);
    void (*writeMsr)(void* context, UINT32 index, UINT64 value);
    UINT64 (*readControlRegister)(void* context, UINT32 number);
    void (*writeControlRegister)(void* context, UINT32 number, UINT64 value);
    void (*flushTlbEntry)(void* context, UINT64 address);
    void (*setInterrupts)(void* context, bool enabled);
    void (*halt)(void* context);
};

// Sets the backend of every later call; all members must be set. The table is not copied and must
// outlive its use. nullptr takes it away: then reads give all ones and everything else is dropped.
void SetCpuBackend(const CpuBackend* backend);

} // namespace kelm
