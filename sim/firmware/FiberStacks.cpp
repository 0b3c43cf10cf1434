#include "sim/firmware/FiberStacks.h"

#include "sim/firmware/Fiber.h"
#include "sim/firmware/Sanitizer.h"

#include <sys/mman.h>

#include <cstdint>
#include <map>
#include <new>

namespace sim {

namespace {

// Stacks that nobody uses: address and size, lowest address first.
struct IdleStacks {
    std::map<char*, std::size_t> stacks;
    ~IdleStacks() {
        for (const auto& [stack, size] : stacks)
            munmap(stack - Fiber::kGuardSize, size + Fiber::kGuardSize);
    }
};
thread_local IdleStacks mIdle;

char* MapAt(void* address, std::size_t size, int extraFlags) {
    void* mapped = mmap(address, size + Fiber::kGuardSize, PROT_NONE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | extraFlags, -1, 0);
    if (mapped == MAP_FAILED)
        return nullptr;
    char* const stack = static_cast<char*>(mapped) + Fiber::kGuardSize;
    if (mprotect(stack, size, PROT_READ | PROT_WRITE) != 0) {
        munmap(mapped, size + Fiber::kGuardSize);
        return nullptr;
    }
    return stack;
}

char* MapStack(std::size_t size) {
    const std::uintptr_t whole = size + Fiber::kGuardSize;
    for (std::uintptr_t at = Fiber::kStackBase; at + whole <= Fiber::kStackLimit;
         at += Fiber::kGuardSize)
        if (char* stack = MapAt(reinterpret_cast<void*>(at), size, MAP_FIXED_NOREPLACE))
            return stack;
    return MapAt(nullptr, size, 0);
}

} // namespace

char* TakeFiberStack(std::size_t size) {
    char* stack = nullptr;
    for (auto idle = mIdle.stacks.begin(); idle != mIdle.stacks.end(); ++idle) {
        if (idle->second != size)
            continue;
        stack = idle->first;
        mIdle.stacks.erase(idle);
        break;
    }
    if (stack == nullptr)
        stack = MapStack(size);
    if (stack == nullptr)
        throw std::bad_alloc();
    RegisterRoots(stack, size);
    return stack;
}

void GiveFiberStack(char* stack, std::size_t size) {
    UnregisterRoots(stack, size);
    Unpoison(stack, size);
    mIdle.stacks.emplace(stack, size);
}

} // namespace sim
