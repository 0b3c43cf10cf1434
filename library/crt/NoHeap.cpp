// There is no heap below the C++ library. Its stable algorithms ask for a buffer all the same, and
// work in place when they get none.
#include <cstddef>
#include <new>

namespace std {
const nothrow_t nothrow{};
} // namespace std

void* operator new(std::size_t, const std::nothrow_t&) noexcept {
    return nullptr;
}

void operator delete(void*) noexcept {}
