// The numbers of the options that an enumeration has made, in the order in which it made them.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"

#include <span>

namespace kelm {

class NewOptions {
public:
    // Room for as many numbers as there are candidates.
    explicit NewOptions(UINTN room) : numbers_(AllocatePool<UINT16>(room)), room_(room) {}

    bool HasMemory() const { return static_cast<bool>(numbers_); }
    void Record(UINT16 number) {
        if (numbers_ && count_ < room_) {
            numbers_[count_++] = number;
        }
    }
    std::span<const UINT16> numbers() const { return {numbers_.get(), count_}; }

private:
    PoolPtr<UINT16> numbers_;
    UINTN room_;
    UINTN count_ = 0;
};

} // namespace kelm
