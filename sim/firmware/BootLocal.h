// Heap memory for code that runs on the driver's stack. That stack may be dropped in the middle of
// any call that reaches a notification or a driver, without running destructors; what such code
// keeps in a BootLocal belongs to the platform and is freed with it in that case.
//
//     BootLocal<std::vector<EFI_HANDLE>> handles;
//     handles->push_back(handle);
#pragma once

#include <list>
#include <memory>

namespace sim {

class BootLocals {
public:
    using Item = std::list<std::shared_ptr<void>>::iterator;
    Item Add(std::shared_ptr<void> value) { return items_.insert(items_.end(), std::move(value)); }
    void Remove(Item item) { items_.erase(item); }
    // Frees what a dropped stack left behind.
    void Clear() { items_.clear(); }

    // The locals of the platform that runs.
    static BootLocals& Current();

private:
    std::list<std::shared_ptr<void>> items_;
};

template <class T>
class BootLocal {
public:
    BootLocal() : item_(BootLocals::Current().Add(std::make_shared<T>())) {}
    explicit BootLocal(T value)
        : item_(BootLocals::Current().Add(std::make_shared<T>(std::move(value)))) {}
    ~BootLocal() { BootLocals::Current().Remove(item_); }
    BootLocal(const BootLocal&) = delete;
    BootLocal& operator=(const BootLocal&) = delete;

    T& operator*() const { return *static_cast<T*>(item_->get()); }
    T* operator->() const { return static_cast<T*>(item_->get()); }

private:
    BootLocals::Item item_;
};

} // namespace sim
