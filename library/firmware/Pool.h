// Ownership of pool memory. A PoolPtr frees what it holds; handing over is an explicit release().
#pragma once

#include "library/firmware/Services.h"

#include <cstddef>
#include <cstring>
#include <utility>

namespace kelm {

// Frees pool memory; null is allowed.
inline void FreePool(void* memory) {
    if (memory != nullptr) {
        gBS->FreePool(memory);
    }
}

template <class T>
class PoolPtr {
public:
    constexpr PoolPtr() = default;
    constexpr explicit PoolPtr(T* memory) : memory_(memory) {}
    PoolPtr(PoolPtr&& other) noexcept : memory_(other.release()) {}
    PoolPtr& operator=(PoolPtr&& other) noexcept {
        reset(other.release());
        return *this;
    }
    PoolPtr(const PoolPtr&) = delete;
    PoolPtr& operator=(const PoolPtr&) = delete;
    ~PoolPtr() { FreePool(memory_); }

    T* get() const { return memory_; }
    T* operator->() const { return memory_; }
    template <class U = T>
    U& operator*() const {
        return *memory_;
    }
    template <class U = T>
    U& operator[](std::size_t index) const {
        return memory_[index];
    }
    explicit operator bool() const { return memory_ != nullptr; }

    [[nodiscard]] T* release() { return std::exchange(memory_, nullptr); }
    void reset(T* memory = nullptr) { FreePool(std::exchange(memory_, memory)); }
    // For services that answer a new buffer through a T**. Whatever was held is freed first.
    T** out() {
        reset();
        return &memory_;
    }

private:
    T* memory_ = nullptr;
};

// `count` objects of boot-services pool with undefined content; null when memory is out.
template <class T>
PoolPtr<T> AllocatePool(std::size_t count = 1, EFI_MEMORY_TYPE type = EfiBootServicesData) {
    void* memory = nullptr;
    if (EFI_ERROR(gBS->AllocatePool(type, count * sizeof(T), &memory))) {
        return {};
    }
    return PoolPtr<T>(static_cast<T*>(memory));
}

// The same, filled with zeros.
template <class T>
PoolPtr<T> AllocateZeroPool(std::size_t count = 1, EFI_MEMORY_TYPE type = EfiBootServicesData) {
    PoolPtr<T> memory = AllocatePool<T>(count, type);
    if (memory) {
        std::memset(static_cast<void*>(memory.get()), 0, count * sizeof(T));
    }
    return memory;
}

// A copy of `size` bytes; null when memory is out.
template <class T>
PoolPtr<T> AllocateCopyPool(std::size_t size, const T* source,
                            EFI_MEMORY_TYPE type = EfiBootServicesData) {
    void* memory = nullptr;
    if (EFI_ERROR(gBS->AllocatePool(type, size, &memory))) {
        return {};
    }
    std::memcpy(memory, source, size);
    return PoolPtr<T>(static_cast<T*>(memory));
}

// Boot-services pages that are freed unless released.
class Pages {
public:
    Pages() = default;
    // `count` pages of 4096 bytes anywhere; IsNull() when memory is out.
    explicit Pages(UINTN count, EFI_MEMORY_TYPE type = EfiBootServicesData) : count_(count) {
        if (EFI_ERROR(gBS->AllocatePages(AllocateAnyPages, type, count, &address_))) {
            address_ = 0;
        }
    }
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;
    ~Pages() {
        if (address_ != 0) {
            gBS->FreePages(address_, count_);
        }
    }

    bool IsNull() const { return address_ == 0; }
    EFI_PHYSICAL_ADDRESS address() const { return address_; }
    void* get() const { return reinterpret_cast<void*>(address_); }
    [[nodiscard]] EFI_PHYSICAL_ADDRESS release() { return std::exchange(address_, 0); }

private:
    EFI_PHYSICAL_ADDRESS address_ = 0;
    UINTN count_ = 0;
};

} // namespace kelm
