// Text from outside as a machine file: it is a machine or a clear error, never anything else.

#include "sim/machine/MachineDescription.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        static_cast<void>(sim::ParseMachine({reinterpret_cast<const char*>(data), size}, "fuzzed"));
    } catch (const sim::MachineFileError&) {
    }
    return 0;
}
