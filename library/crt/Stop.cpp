// Where the C++ library goes when a contract of its own was broken (`string_view::substr` past the
// end, `optional::value` of nothing, a pure virtual call). There are no exceptions to throw, and
// whoever gets here has no state worth going on with: the processor takes an invalid-opcode fault,
// which the platform's exception handler reports with the address.
#include <cstddef>

extern "C" {

[[noreturn]] void abort() {
    __builtin_trap();
}

[[noreturn]] void __cxa_pure_virtual() {
    __builtin_trap();
}

} // extern "C"

namespace std {

[[noreturn]] void __throw_out_of_range_fmt(const char*, ...) {
    __builtin_trap();
}

[[noreturn]] void __throw_out_of_range(const char*) {
    __builtin_trap();
}

[[noreturn]] void __throw_length_error(const char*) {
    __builtin_trap();
}

[[noreturn]] void __throw_logic_error(const char*) {
    __builtin_trap();
}

[[noreturn]] void __throw_invalid_argument(const char*) {
    __builtin_trap();
}

[[noreturn]] void __throw_bad_function_call() {
    __builtin_trap();
}

} // namespace std
