#include "sim/firmware/MemorySpace.h"

#include <algorithm>
#include <iterator>

namespace sim {

namespace {

constexpr UINT64 kMemoryCapabilities = EFI_MEMORY_UC | EFI_MEMORY_WC | EFI_MEMORY_WT |
                                       EFI_MEMORY_WB | EFI_MEMORY_RP | EFI_MEMORY_XP |
                                       EFI_MEMORY_RO | EFI_MEMORY_RUNTIME;
constexpr UINT64 kDeviceCapabilities = EFI_MEMORY_UC | EFI_MEMORY_WC | EFI_MEMORY_RUNTIME;
constexpr UINT64 kAddressSpace = UINT64(1) << 46;

constexpr UINT64 kLowMemoryEnd = 0xA0000;
constexpr UINT64 kOneMegabyte = 0x100000;
constexpr UINT64 kMemoryTop = 0x80000000;      // of memory below 4 GiB; devices stand above
constexpr UINT64 kFlashStart = 0xFE000000;     // flash, APICs, up to 4 GiB
constexpr UINT64 kFourGigabytes = 0x100000000; // memory goes on here
constexpr UINT64 kHighMemoryEnd = 0x1080000000;

} // namespace

MemorySpace::MemorySpace(UINT64 arenaBase, UINT64 arenaSize) {
    map_.push_back({0, kAddressSpace, 0, 0, EfiGcdMemoryTypeNonExistent, nullptr, nullptr});
    const auto memory = [&](UINT64 from, UINT64 to) {
        Add(EfiGcdMemoryTypeSystemMemory, from, to - from, kMemoryCapabilities);
        SetAttributes(from, to - from, EFI_MEMORY_WB);
    };
    const auto device = [&](UINT64 from, UINT64 to) {
        Add(EfiGcdMemoryTypeMemoryMappedIo, from, to - from, kDeviceCapabilities);
        SetAttributes(from, to - from, EFI_MEMORY_UC);
    };
    memory(0, kLowMemoryEnd);
    device(kLowMemoryEnd, 0xC0000); // the legacy video window
    Add(EfiGcdMemoryTypeReserved, 0xC0000, kOneMegabyte - 0xC0000, kMemoryCapabilities);
    memory(kOneMegabyte, std::max(kMemoryTop, arenaBase + arenaSize));
    device(std::max(kMemoryTop, arenaBase + arenaSize), kFlashStart);
    device(kFlashStart, kFourGigabytes);
    memory(kFourGigabytes, kHighMemoryEnd);
}

bool MemorySpace::IsInside(UINT64 base, UINT64 length) const {
    return length != 0 && base < kAddressSpace && length <= kAddressSpace - base;
}

std::size_t MemorySpace::IndexOf(UINT64 address) const {
    const auto next = std::upper_bound(map_.begin(), map_.end(), address,
                                       [](UINT64 value, const EFI_GCD_MEMORY_SPACE_DESCRIPTOR& d) {
                                           return value < d.BaseAddress;
                                       });
    return std::size_t(std::distance(map_.begin(), next)) - 1;
}

void MemorySpace::SplitAt(UINT64 address) {
    if (address >= kAddressSpace) {
        return;
    }
    const std::size_t index = IndexOf(address);
    if (map_[index].BaseAddress == address) {
        return;
    }
    EFI_GCD_MEMORY_SPACE_DESCRIPTOR upper = map_[index];
    upper.Length -= address - upper.BaseAddress;
    upper.BaseAddress = address;
    map_[index].Length -= upper.Length;
    map_.insert(map_.begin() + std::ptrdiff_t(index) + 1, upper);
}

void MemorySpace::Join() {
    for (std::size_t i = 0; i + 1 < map_.size();) {
        const auto& next = map_[i + 1];
        if (map_[i].GcdMemoryType == next.GcdMemoryType && map_[i].Attributes == next.Attributes &&
            map_[i].Capabilities == next.Capabilities) {
            map_[i].Length += next.Length;
            map_.erase(map_.begin() + std::ptrdiff_t(i) + 1);
        } else {
            i++;
        }
    }
}

template <class Check, class Change>
EFI_STATUS MemorySpace::Apply(UINT64 base, UINT64 length, Check check, Change change) {
    if (!IsInside(base, length)) {
        return length == 0 ? EFI_INVALID_PARAMETER : EFI_UNSUPPORTED;
    }
    const std::size_t last = IndexOf(base + length - 1);
    for (std::size_t i = IndexOf(base); i <= last; i++) {
        if (const EFI_STATUS status = check(map_[i]); EFI_ERROR(status)) {
            return status;
        }
    }
    SplitAt(base);
    SplitAt(base + length);
    for (auto& descriptor : map_) {
        if (descriptor.BaseAddress >= base && descriptor.BaseAddress < base + length) {
            change(descriptor);
        }
    }
    Join();
    return EFI_SUCCESS;
}

EFI_STATUS MemorySpace::Add(EFI_GCD_MEMORY_TYPE type, UINT64 base, UINT64 length,
                            UINT64 capabilities) {
    if (type == EfiGcdMemoryTypeNonExistent || type >= EfiGcdMemoryTypeMaximum) {
        return EFI_INVALID_PARAMETER;
    }
    return Apply(
        base, length,
        [](const auto& old) {
            return old.GcdMemoryType == EfiGcdMemoryTypeNonExistent ? EFI_SUCCESS
                                                                    : EFI_ACCESS_DENIED;
        },
        [&](auto& descriptor) {
            descriptor.GcdMemoryType = type;
            descriptor.Capabilities = capabilities;
            descriptor.Attributes = 0;
        });
}

EFI_STATUS MemorySpace::Remove(UINT64 base, UINT64 length) {
    return Apply(
        base, length,
        [](const auto& old) {
            return old.GcdMemoryType == EfiGcdMemoryTypeNonExistent ? EFI_NOT_FOUND : EFI_SUCCESS;
        },
        [](auto& descriptor) {
            descriptor.GcdMemoryType = EfiGcdMemoryTypeNonExistent;
            descriptor.Capabilities = 0;
            descriptor.Attributes = 0;
        });
}

EFI_STATUS MemorySpace::Descriptor(UINT64 address,
                                   EFI_GCD_MEMORY_SPACE_DESCRIPTOR* descriptor) const {
    if (descriptor == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (address >= kAddressSpace) {
        return EFI_NOT_FOUND;
    }
    *descriptor = map_[IndexOf(address)];
    return EFI_SUCCESS;
}

EFI_STATUS MemorySpace::SetAttributes(UINT64 base, UINT64 length, UINT64 attributes) {
    return Apply(
        base, length,
        [&](const auto& old) {
            return (attributes & ~old.Capabilities) != 0 ? EFI_UNSUPPORTED : EFI_SUCCESS;
        },
        [&](auto& descriptor) { descriptor.Attributes = attributes; });
}

EFI_STATUS MemorySpace::SetCapabilities(UINT64 base, UINT64 length, UINT64 capabilities) {
    return Apply(
        base, length,
        [&](const auto& old) {
            return (old.Attributes & ~capabilities) != 0 ? EFI_UNSUPPORTED : EFI_SUCCESS;
        },
        [&](auto& descriptor) { descriptor.Capabilities = capabilities; });
}

} // namespace sim
