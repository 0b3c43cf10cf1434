// A set of 16-bit numbers, such as option numbers: one bit for each that there is.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"

#include <span>

namespace kelm {

class NumberSet {
public:
    NumberSet() : bits_(AllocateZeroPool<UINT8>(kNumbers / 8)) {}

    // False: there was no memory for the set, and nothing else may be called.
    explicit operator bool() const { return static_cast<bool>(bits_); }

    bool Contains(UINT16 number) const { return (bits_[number / 8] & Bit(number)) != 0; }
    // True when the number was not in the set yet.
    bool Insert(UINT16 number) {
        const bool isNew = !Contains(number);
        bits_[number / 8] = static_cast<UINT8>(bits_[number / 8] | Bit(number));
        return isNew;
    }
    void Insert(std::span<const UINT16> numbers) {
        for (const UINT16 number : numbers) {
            Insert(number);
        }
    }
    // Calls visit(number) for each, in ascending order.
    template <class Visitor>
    void ForEach(Visitor visit) const {
        for (UINT32 number = 0; number < kNumbers; ++number) {
            if (Contains(static_cast<UINT16>(number))) {
                visit(static_cast<UINT16>(number));
            }
        }
    }

private:
    static constexpr UINT32 kNumbers = 0x10000;
    static constexpr UINT8 Bit(UINT16 number) { return static_cast<UINT8>(1 << number % 8); }

    PoolPtr<UINT8> bits_;
};

} // namespace kelm
