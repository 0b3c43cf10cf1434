#include "library/firmware/Stopwatch.h"

#include "library/firmware/Protocol.h"
#include "uefi/Timestamp.h"

namespace kelm {

namespace {

constexpr UINT64 kNanosecondsPerSecond = 1'000'000'000;

} // namespace

Stopwatch::Stopwatch() : counter_(FindProtocol<EFI_TIMESTAMP_PROTOCOL>()) {
    if (counter_ != nullptr) {
        start_ = counter_->GetTimestamp();
    }
}

UINT64 Stopwatch::Nanoseconds() const {
    EFI_TIMESTAMP_PROPERTIES properties{};
    if (counter_ == nullptr || EFI_ERROR(counter_->GetProperties(&properties)) ||
        properties.Frequency == 0) {
        return 0;
    }
    const UINT64 now = counter_->GetTimestamp();
    const UINT64 ticks = now >= start_ ? now - start_ : properties.EndValue - start_ + now + 1;
    // Whole seconds apart, so that the product stays within 64 bits.
    return ticks / properties.Frequency * kNanosecondsPerSecond +
           ticks % properties.Frequency * kNanosecondsPerSecond / properties.Frequency;
}

} // namespace kelm
