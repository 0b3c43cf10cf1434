// Device paths as bytes (UEFI 2.10, section 10.3): looking at nodes, checking paths that came from
// outside, splitting multi-instance paths and putting paths together in a caller's buffer.
//
// Functions that take a pointer and no size trust the path to be one that IsDevicePathValid has
// accepted or that firmware handed out; they still stop at a node shorter than its own header, so
// they never loop for ever. Functions that take a span or a size never read past it.
#pragma once

#include <optional>
#include <span>

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

inline constexpr size_t kNodeHeaderSize = sizeof(EFI_DEVICE_PATH_PROTOCOL);
inline constexpr size_t kMaxNodeSize = 0xFFFF;
inline constexpr EFI_DEVICE_PATH_PROTOCOL kEndEntireNode = {
    kDevicePathTypeEnd, kEndSubTypeEntire, {kNodeHeaderSize, 0}};
inline constexpr EFI_DEVICE_PATH_PROTOCOL kEndInstanceNode = {
    kDevicePathTypeEnd, kEndSubTypeInstance, {kNodeHeaderSize, 0}};

// ---- Nodes

inline size_t NodeLength(const EFI_DEVICE_PATH_PROTOCOL* node) {
    return size_t(node->Length[0] | node->Length[1] << 8);
}
inline void SetNodeHeader(EFI_DEVICE_PATH_PROTOCOL* node, UINT8 type, UINT8 subType,
                          UINT16 length) {
    *node = {type, subType, {UINT8(length), UINT8(length >> 8)}};
}
inline bool IsNode(const EFI_DEVICE_PATH_PROTOCOL* node, UINT8 type, UINT8 subType) {
    return node->Type == type && node->SubType == subType;
}
// Any end node, of an instance or of the path.
inline bool IsEndNode(const EFI_DEVICE_PATH_PROTOCOL* node) {
    return node->Type == kDevicePathTypeEnd;
}
inline bool IsEndEntire(const EFI_DEVICE_PATH_PROTOCOL* node) {
    return IsNode(node, kDevicePathTypeEnd, kEndSubTypeEntire);
}
inline bool IsEndInstance(const EFI_DEVICE_PATH_PROTOCOL* node) {
    return IsNode(node, kDevicePathTypeEnd, kEndSubTypeInstance);
}
inline const EFI_DEVICE_PATH_PROTOCOL* NextNode(const EFI_DEVICE_PATH_PROTOCOL* node) {
    return reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(reinterpret_cast<const UINT8*>(node) +
                                                             NodeLength(node));
}
inline EFI_DEVICE_PATH_PROTOCOL* NextNode(EFI_DEVICE_PATH_PROTOCOL* node) {
    return reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(reinterpret_cast<UINT8*>(node) +
                                                       NodeLength(node));
}
// The whole node, header included.
inline std::span<const UINT8> NodeBytes(const EFI_DEVICE_PATH_PROTOCOL* node) {
    return {reinterpret_cast<const UINT8*>(node), NodeLength(node)};
}

// The node as its record (PCI_DEVICE_PATH and the like): null when node is null, is of another
// kind, or is too short for the record.
template <class Record>
const Record* NodeAs(const EFI_DEVICE_PATH_PROTOCOL* node, UINT8 type, UINT8 subType) {
    static_assert(alignof(Record) == 1, "nodes lie unaligned");
    if (node == nullptr || !IsNode(node, type, subType) || NodeLength(node) < sizeof(Record)) {
        return nullptr;
    }
    return reinterpret_cast<const Record*>(node);
}

// ---- Walking

// The nodes before the first end node, of either kind:
//     for (const EFI_DEVICE_PATH_PROTOCOL* node : DevicePathNodes(path)) ...
// Over a span it also stops at its end or at a node that does not fit.
class DevicePathNodes {
public:
    class Iterator {
    public:
        Iterator(const UINT8* at, const UINT8* limit) : at_(at), limit_(limit) { StopIfEnd(); }
        const EFI_DEVICE_PATH_PROTOCOL* operator*() const {
            return reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(at_);
        }
        Iterator& operator++() {
            at_ += NodeLength(**this);
            StopIfEnd();
            return *this;
        }
        bool operator!=(const Iterator& other) const { return at_ != other.at_; }

    private:
        void StopIfEnd();

        const UINT8* at_; // null behind the last node
        const UINT8* limit_;
    };

    explicit DevicePathNodes(const EFI_DEVICE_PATH_PROTOCOL* path)
        : begin_(reinterpret_cast<const UINT8*>(path)), limit_(nullptr) {}
    explicit DevicePathNodes(std::span<const UINT8> bytes)
        : begin_(bytes.data()), limit_(bytes.data() + bytes.size()) {}
    Iterator begin() const { return {begin_, limit_}; }
    Iterator end() const { return {nullptr, nullptr}; }

private:
    const UINT8* begin_;
    const UINT8* limit_; // null when the path is trusted
};

// The last node before the first end node; null when there is none.
const EFI_DEVICE_PATH_PROTOCOL* LastNode(const EFI_DEVICE_PATH_PROTOCOL* path);
// The first node of that kind before the first end node; null when there is none.
const EFI_DEVICE_PATH_PROTOCOL* FindNode(const EFI_DEVICE_PATH_PROTOCOL* path, UINT8 type,
                                         UINT8 subType);
// The end node (of either kind) that ends the first instance; null for a null or broken path.
const EFI_DEVICE_PATH_PROTOCOL* FirstEndNode(const EFI_DEVICE_PATH_PROTOCOL* path);

// ---- Whole paths

// True when path ends with an end-entire node within maxSize bytes and every node on the way has a
// sane length. Bytes behind the end are allowed.
bool IsDevicePathValid(const EFI_DEVICE_PATH_PROTOCOL* path, size_t maxSize);
// Bytes with the end-entire node; 0 for a null path or one that is broken on the way.
size_t DevicePathSize(const EFI_DEVICE_PATH_PROTOCOL* path);
// The same, bounded: 0 when bytes does not begin with a valid path.
size_t DevicePathSizeOf(std::span<const UINT8> bytes);
// The path's bytes with its end-entire node; empty for a null or broken path.
std::span<const UINT8> DevicePathBytes(const EFI_DEVICE_PATH_PROTOCOL* path);
// All instances, bytes for bytes. Two null paths are not equal.
bool DevicePathsEqual(const EFI_DEVICE_PATH_PROTOCOL* a, const EFI_DEVICE_PATH_PROTOCOL* b);
// True when path begins with the nodes of prefix (its end left out); an empty prefix always fits.
bool DevicePathStartsWith(const EFI_DEVICE_PATH_PROTOCOL* path,
                          const EFI_DEVICE_PATH_PROTOCOL* prefix);

// ---- Instances

// Cuts the next instance off: its bytes without an end node (empty for an empty instance), with
// cursor moved to the one behind or to null after the last. Nothing when cursor is null or broken.
//     for (auto* cursor = path; auto instance = NextInstance(cursor);) ...
std::optional<std::span<const UINT8>> NextInstance(const EFI_DEVICE_PATH_PROTOCOL*& cursor);
// The same in the memory of the path: its next instance, ended by an end-entire node that replaces
// the one between the two; null when cursor is null or broken.
//     for (auto* cursor = path; auto* instance = CutInstance(cursor);) ...
EFI_DEVICE_PATH_PROTOCOL* CutInstance(EFI_DEVICE_PATH_PROTOCOL*& cursor);
size_t InstanceCount(const EFI_DEVICE_PATH_PROTOCOL* path);
bool IsMultiInstance(const EFI_DEVICE_PATH_PROTOCOL* path);

// ---- Putting together
//
// Each returns the bytes that the result takes, end included, and writes it only when out is that
// large; 0 when a path is broken. out must not overlap a source. A null path counts as empty.

// A copy of path; an empty path for null.
size_t CopyDevicePath(std::span<UINT8> out, const EFI_DEVICE_PATH_PROTOCOL* path);
// first, then second, as one path.
size_t AppendDevicePath(std::span<UINT8> out, const EFI_DEVICE_PATH_PROTOCOL* first,
                        const EFI_DEVICE_PATH_PROTOCOL* second);
// path with one more node; a null node adds nothing.
size_t AppendDevicePathNode(std::span<UINT8> out, const EFI_DEVICE_PATH_PROTOCOL* path,
                            const EFI_DEVICE_PATH_PROTOCOL* node);
// path with the instances of instance behind its own; a null path gives a copy of instance.
size_t AppendDevicePathInstance(std::span<UINT8> out, const EFI_DEVICE_PATH_PROTOCOL* path,
                                const EFI_DEVICE_PATH_PROTOCOL* instance);
// Nodes as NextInstance or a search returned them, made a path of their own.
size_t MakeDevicePath(std::span<UINT8> out, std::span<const UINT8> nodes);

} // namespace kelm
