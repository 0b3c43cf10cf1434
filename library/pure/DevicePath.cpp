#include "library/pure/DevicePath.h"

#include <algorithm>
#include <initializer_list>

namespace kelm {
namespace {

const EFI_DEVICE_PATH_PROTOCOL* NodeAt(const UINT8* at) {
    return reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(at);
}

bool SameBytes(std::span<const UINT8> a, std::span<const UINT8> b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

std::span<const UINT8> WithoutEnd(std::span<const UINT8> path) {
    return path.first(path.size() - kNodeHeaderSize);
}

std::span<const UINT8> HeaderBytes(const EFI_DEVICE_PATH_PROTOCOL& node) {
    return {reinterpret_cast<const UINT8*>(&node), kNodeHeaderSize};
}

size_t Join(std::span<UINT8> out, std::initializer_list<std::span<const UINT8>> pieces) {
    size_t size = 0;
    for (const auto piece : pieces) {
        size += piece.size();
    }
    if (size <= out.size()) {
        UINT8* to = out.data();
        for (const auto piece : pieces) {
            to = std::copy(piece.begin(), piece.end(), to);
        }
    }
    return size;
}

// The nodes of a path without its end: empty for null, nothing when the path is broken.
std::optional<std::span<const UINT8>> Nodes(const EFI_DEVICE_PATH_PROTOCOL* path) {
    if (path == nullptr) {
        return std::span<const UINT8>();
    }
    const auto bytes = DevicePathBytes(path);
    if (bytes.empty()) {
        return std::nullopt;
    }
    return WithoutEnd(bytes);
}

} // namespace

void DevicePathNodes::Iterator::StopIfEnd() {
    if (at_ == nullptr) {
        return;
    }
    const size_t left = limit_ == nullptr ? kMaxNodeSize : size_t(limit_ - at_);
    if (left < kNodeHeaderSize || IsEndNode(NodeAt(at_)) ||
        NodeLength(NodeAt(at_)) < kNodeHeaderSize || NodeLength(NodeAt(at_)) > left) {
        at_ = nullptr;
    }
}

const EFI_DEVICE_PATH_PROTOCOL* LastNode(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const EFI_DEVICE_PATH_PROTOCOL* last = nullptr;
    for (const auto* node : DevicePathNodes(path)) {
        last = node;
    }
    return last;
}

const EFI_DEVICE_PATH_PROTOCOL* FindNode(const EFI_DEVICE_PATH_PROTOCOL* path, UINT8 type,
                                         UINT8 subType) {
    for (const auto* node : DevicePathNodes(path)) {
        if (IsNode(node, type, subType)) {
            return node;
        }
    }
    return nullptr;
}

const EFI_DEVICE_PATH_PROTOCOL* FirstEndNode(const EFI_DEVICE_PATH_PROTOCOL* path) {
    if (path == nullptr) {
        return nullptr;
    }
    const EFI_DEVICE_PATH_PROTOCOL* last = LastNode(path);
    const EFI_DEVICE_PATH_PROTOCOL* end = last == nullptr ? path : NextNode(last);
    return IsEndNode(end) ? end : nullptr;
}

bool IsDevicePathValid(const EFI_DEVICE_PATH_PROTOCOL* path, size_t maxSize) {
    return path != nullptr &&
           DevicePathSizeOf({reinterpret_cast<const UINT8*>(path), maxSize}) != 0;
}

size_t DevicePathSize(const EFI_DEVICE_PATH_PROTOCOL* path) {
    if (path == nullptr) {
        return 0;
    }
    const EFI_DEVICE_PATH_PROTOCOL* node = path;
    while (!IsEndEntire(node)) {
        if (NodeLength(node) < kNodeHeaderSize) {
            return 0;
        }
        node = NextNode(node);
    }
    return size_t(reinterpret_cast<const UINT8*>(node) - reinterpret_cast<const UINT8*>(path)) +
           kNodeHeaderSize;
}

size_t DevicePathSizeOf(std::span<const UINT8> bytes) {
    size_t at = 0;
    while (bytes.size() - at >= kNodeHeaderSize) {
        const EFI_DEVICE_PATH_PROTOCOL* node = NodeAt(bytes.data() + at);
        const size_t length = NodeLength(node);
        if (length < kNodeHeaderSize || length > bytes.size() - at) {
            return 0;
        }
        at += length;
        if (IsEndNode(node)) {
            if (length != kNodeHeaderSize || !(IsEndEntire(node) || IsEndInstance(node))) {
                return 0;
            }
            if (IsEndEntire(node)) {
                return at;
            }
        }
    }
    return 0;
}

std::span<const UINT8> DevicePathBytes(const EFI_DEVICE_PATH_PROTOCOL* path) {
    return {reinterpret_cast<const UINT8*>(path), DevicePathSize(path)};
}

bool DevicePathsEqual(const EFI_DEVICE_PATH_PROTOCOL* a, const EFI_DEVICE_PATH_PROTOCOL* b) {
    const auto bytes = DevicePathBytes(a);
    return !bytes.empty() && SameBytes(bytes, DevicePathBytes(b));
}

bool DevicePathStartsWith(const EFI_DEVICE_PATH_PROTOCOL* path,
                          const EFI_DEVICE_PATH_PROTOCOL* prefix) {
    const auto whole = Nodes(path);
    const auto head = Nodes(prefix);
    return path != nullptr && prefix != nullptr && whole && head && head->size() <= whole->size() &&
           SameBytes(whole->first(head->size()), *head);
}

std::optional<std::span<const UINT8>> NextInstance(const EFI_DEVICE_PATH_PROTOCOL*& cursor) {
    const EFI_DEVICE_PATH_PROTOCOL* end = FirstEndNode(cursor);
    if (end == nullptr) {
        cursor = nullptr;
        return std::nullopt;
    }
    const UINT8* begin = reinterpret_cast<const UINT8*>(cursor);
    const std::span<const UINT8> instance(begin,
                                          size_t(reinterpret_cast<const UINT8*>(end) - begin));
    cursor = IsEndInstance(end) && NodeLength(end) >= kNodeHeaderSize ? NextNode(end) : nullptr;
    return instance;
}

EFI_DEVICE_PATH_PROTOCOL* CutInstance(EFI_DEVICE_PATH_PROTOCOL*& cursor) {
    // Found in writable memory, so it may be written.
    auto* end = const_cast<EFI_DEVICE_PATH_PROTOCOL*>(FirstEndNode(cursor));
    if (end == nullptr) {
        cursor = nullptr;
        return nullptr;
    }
    const bool another = IsEndInstance(end) && NodeLength(end) >= kNodeHeaderSize;
    EFI_DEVICE_PATH_PROTOCOL* instance = cursor;
    cursor = another ? NextNode(end) : nullptr;
    *end = kEndEntireNode;
    return instance;
}

size_t InstanceCount(const EFI_DEVICE_PATH_PROTOCOL* path) {
    size_t count = 0;
    while (NextInstance(path)) {
        count++;
    }
    return count;
}

bool IsMultiInstance(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const EFI_DEVICE_PATH_PROTOCOL* end = FirstEndNode(path);
    return end != nullptr && IsEndInstance(end);
}

size_t CopyDevicePath(std::span<UINT8> out, const EFI_DEVICE_PATH_PROTOCOL* path) {
    return AppendDevicePath(out, path, nullptr);
}

size_t AppendDevicePath(std::span<UINT8> out, const EFI_DEVICE_PATH_PROTOCOL* first,
                        const EFI_DEVICE_PATH_PROTOCOL* second) {
    const auto head = Nodes(first);
    const auto tail = Nodes(second);
    if (!head || !tail) {
        return 0;
    }
    return Join(out, {*head, *tail, HeaderBytes(kEndEntireNode)});
}

size_t AppendDevicePathNode(std::span<UINT8> out, const EFI_DEVICE_PATH_PROTOCOL* path,
                            const EFI_DEVICE_PATH_PROTOCOL* node) {
    const auto head = Nodes(path);
    if (!head || (node != nullptr && NodeLength(node) < kNodeHeaderSize)) {
        return 0;
    }
    const auto tail = node == nullptr ? std::span<const UINT8>() : NodeBytes(node);
    return Join(out, {*head, tail, HeaderBytes(kEndEntireNode)});
}

size_t AppendDevicePathInstance(std::span<UINT8> out, const EFI_DEVICE_PATH_PROTOCOL* path,
                                const EFI_DEVICE_PATH_PROTOCOL* instance) {
    if (path == nullptr || instance == nullptr) {
        return CopyDevicePath(out, path == nullptr ? instance : path);
    }
    const auto head = Nodes(path);
    const auto tail = Nodes(instance);
    if (!head || !tail) {
        return 0;
    }
    return Join(out, {*head, HeaderBytes(kEndInstanceNode), *tail, HeaderBytes(kEndEntireNode)});
}

size_t MakeDevicePath(std::span<UINT8> out, std::span<const UINT8> nodes) {
    return Join(out, {nodes, HeaderBytes(kEndEntireNode)});
}

} // namespace kelm
