// What the address sanitizer must be told, and nothing when the build has none.
#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define SIM_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SIM_ADDRESS_SANITIZER 1
#endif
#endif

#ifdef SIM_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#include <sanitizer/common_interface_defs.h>
#include <sanitizer/lsan_interface.h>
#endif

namespace sim {

#ifdef SIM_ADDRESS_SANITIZER

inline constexpr bool kAddressSanitizer = true;

inline void Poison(const volatile void* start, std::size_t size) {
    __asan_poison_memory_region(start, size);
}
inline void Unpoison(const volatile void* start, std::size_t size) {
    __asan_unpoison_memory_region(start, size);
}
// Memory in which the leak checker shall look for pointers.
inline void RegisterRoots(const void* start, std::size_t size) {
    __lsan_register_root_region(start, size);
}
inline void UnregisterRoots(const void* start, std::size_t size) {
    __lsan_unregister_root_region(start, size);
}
// Around a switch of stacks. nullptr as `save` says that the stack left behind is given up.
inline void StartStackSwitch(void** save, const void* bottom, std::size_t size) {
    __sanitizer_start_switch_fiber(save, bottom, size);
}
inline void FinishStackSwitch(void* saved, const void** oldBottom, std::size_t* oldSize) {
    __sanitizer_finish_switch_fiber(saved, oldBottom, oldSize);
}

#else

inline constexpr bool kAddressSanitizer = false;

inline void Poison(const volatile void*, std::size_t) {}
inline void Unpoison(const volatile void*, std::size_t) {}
inline void RegisterRoots(const void*, std::size_t) {}
inline void UnregisterRoots(const void*, std::size_t) {}
inline void StartStackSwitch(void**, const void*, std::size_t) {}
inline void FinishStackSwitch(void*, const void**, std::size_t*) {}

#endif

} // namespace sim
