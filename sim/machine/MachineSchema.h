// The check of one machine file, or of a whole machine after merging, against machine.schema.json.
#pragma once

#include "sim/machine/MachineDescription.h"

namespace sim {

// Checks what a file says, before it is merged over anything, and brings its keys into their
// canonical spelling. Null members stand for keys to be removed and need only be known. Throws
// MachineFileError that names the most specific place.
void CheckMachineFile(const std::string& file, Json& root);

// Checks what only a merged machine can show: a value that is left without its type, a variable
// with two values, a device without a path. Throws MachineFileError.
void CheckMachine(const MachineDescription& machine);

// Brings GUIDs and numbers in keys into one spelling. Throws MachineFileError when two keys of a
// file turn out to be the same.
void MakeKeysCanonical(const std::string& file, Json& root);

// Adds a step to a JSON pointer, escaped as RFC 6901 asks for.
std::string PointerStep(std::string_view pointer, std::string_view key);

} // namespace sim
