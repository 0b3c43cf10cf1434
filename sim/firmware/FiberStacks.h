// The stacks of fibers: mapped at predictable addresses, kept for the next fiber when one ends.
#pragma once

#include <cstddef>

namespace sim {

// Returns the lowest byte of a stack of `size` bytes (whole pages) above Fiber::kGuardSize bytes
// that cannot be touched. Throws std::bad_alloc.
char* TakeFiberStack(std::size_t size);

// Gives back what TakeFiberStack() returned, whatever state its frames are in.
void GiveFiberStack(char* stack, std::size_t size);

} // namespace sim
