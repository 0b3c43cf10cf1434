#include "console/ConsoleInstances.h"

#include "library/pure/DevicePath.h"

#include <algorithm>
#include <cstring>

namespace kelm {

namespace {

std::span<const UINT8> HeaderOf(const EFI_DEVICE_PATH_PROTOCOL& node) {
    return {reinterpret_cast<const UINT8*>(&node), kNodeHeaderSize};
}

bool MatchPartially(std::span<const UINT8> a, std::span<const UINT8> b) {
    const UINTN shorter = std::min(a.size(), b.size());
    return std::equal(a.begin(), a.begin() + shorter, b.begin());
}

} // namespace

bool ConsoleInstances::Take(const EFI_DEVICE_PATH_PROTOCOL* path, UINTN extra) {
    const std::span<const UINT8> bytes = DevicePathBytes(path);
    size_ = 0;
    buffer_ = AllocatePool<UINT8>(bytes.size() + extra + kNodeHeaderSize);
    if (!buffer_) {
        return false;
    }
    Put(bytes);
    return true;
}

void ConsoleInstances::RemoveMatching(std::span<const UINT8> nodes) {
    if (nodes.empty()) {
        return;
    }
    const EFI_DEVICE_PATH_PROTOCOL* cursor = Path();
    // What stays moves down over what goes, never beyond where it was read.
    size_ = 0;
    while (const auto instance = NextInstance(cursor)) {
        if (!MatchPartially(*instance, nodes)) {
            Append(*instance);
        }
    }
}

void ConsoleInstances::Place(std::span<const UINT8> nodes) {
    if (nodes.empty() || Holds(nodes)) {
        return;
    }
    RemoveMatching(nodes);
    Append(nodes);
}

const EFI_DEVICE_PATH_PROTOCOL* ConsoleInstances::Path() const {
    return size_ == 0 ? nullptr : reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(buffer_.get());
}

bool ConsoleInstances::Holds(std::span<const UINT8> nodes) const {
    for (auto* cursor = Path(); const auto instance = NextInstance(cursor);) {
        if (std::equal(instance->begin(), instance->end(), nodes.begin(), nodes.end())) {
            return true;
        }
    }
    return false;
}

void ConsoleInstances::Append(std::span<const UINT8> nodes) {
    if (size_ != 0) {
        size_ -= kNodeHeaderSize;
        Put(HeaderOf(kEndInstanceNode));
    }
    Put(nodes);
    Put(HeaderOf(kEndEntireNode));
}

void ConsoleInstances::Put(std::span<const UINT8> bytes) {
    if (!bytes.empty()) {
        std::memmove(buffer_.get() + size_, bytes.data(), bytes.size());
    }
    size_ += bytes.size();
}

} // namespace kelm
