#include "bootopt/ShortFormPath.h"

#include "bootopt/HddPathCache.h"
#include "library/firmware/Protocol.h"
#include "library/pure/DevicePath.h"
#include "platform/Connect.h"
#include "uefi/BlockIo.h"

#include <algorithm>

namespace kelm {

namespace {

const HARDDRIVE_DEVICE_PATH* AsHardDrive(const EFI_DEVICE_PATH_PROTOCOL* node) {
    return NodeAs<HARDDRIVE_DEVICE_PATH>(node, kDevicePathTypeMedia, kMediaSubTypeHardDrive);
}

// The bytes of a node's signature; none when it has no signature, or one of an unknown type.
std::span<const UINT8> SignatureOf(const HARDDRIVE_DEVICE_PATH& node) {
    switch (node.SignatureType) {
    case SIGNATURE_TYPE_MBR:
        return {node.Signature, sizeof(UINT32)};
    case SIGNATURE_TYPE_GUID:
        return node.Signature;
    default:
        return {};
    }
}

// Whether the (first instance of the) path ends in a partition of that signature.
bool EndsInPartition(const EFI_DEVICE_PATH_PROTOCOL* path, const HARDDRIVE_DEVICE_PATH& wanted) {
    const HARDDRIVE_DEVICE_PATH* node = AsHardDrive(LastNode(path));
    if (node == nullptr || node->SignatureType != wanted.SignatureType) {
        return false;
    }
    const std::span<const UINT8> signature = SignatureOf(*node);
    const std::span<const UINT8> expected = SignatureOf(wanted);
    return !expected.empty() && std::equal(signature.begin(), signature.end(), expected.begin());
}

// The nodes and then all of `rest`, which ends the path.
PoolPtr<EFI_DEVICE_PATH_PROTOCOL> Join(std::span<const UINT8> nodes, std::span<const UINT8> rest) {
    PoolPtr<UINT8> path = AllocatePool<UINT8>(nodes.size() + rest.size());
    if (!path) {
        return {};
    }
    std::copy(rest.begin(), rest.end(), std::copy(nodes.begin(), nodes.end(), path.get()));
    return PoolPtr<EFI_DEVICE_PATH_PROTOCOL>(
        reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(path.release()));
}

bool ConnectNodes(std::span<const UINT8> nodes) {
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> path =
        Join(nodes, {reinterpret_cast<const UINT8*>(&kEndEntireNode), sizeof(kEndEntireNode)});
    return path && !EFI_ERROR(BdsConnectDevicePath(path.get()));
}

// The first instance of the cache that is the partition and can be connected; empty when none is.
std::span<const UINT8> FindInCache(const HddPathCache& cache, const HARDDRIVE_DEVICE_PATH& wanted) {
    for (const EFI_DEVICE_PATH_PROTOCOL* cursor = cache.path(); cursor != nullptr;) {
        const bool matches = EndsInPartition(cursor, wanted);
        const std::optional<std::span<const UINT8>> nodes = NextInstance(cursor);
        if (matches && nodes && ConnectNodes(*nodes)) {
            return *nodes;
        }
    }
    return {};
}

// The path, without its end, of the first block device that is the partition.
std::span<const UINT8> FindBlockDevice(const HARDDRIVE_DEVICE_PATH& wanted) {
    HandleBuffer devices;
    static_cast<void>(devices.LocateByProtocol(gEfiBlockIoProtocolGuid));
    for (EFI_HANDLE handle : devices.handles()) {
        const auto* path = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handle);
        if (path != nullptr && EndsInPartition(path, wanted)) {
            return NextInstance(path).value_or(std::span<const UINT8>());
        }
    }
    return {};
}

} // namespace

PoolPtr<EFI_DEVICE_PATH_PROTOCOL>
BdsExpandHddShortFormPath(const EFI_DEVICE_PATH_PROTOCOL* shortPath) {
    const HARDDRIVE_DEVICE_PATH* wanted = AsHardDrive(shortPath);
    if (wanted == nullptr || DevicePathSize(shortPath) == 0) {
        return {};
    }
    const HddPathCache cache;
    std::span<const UINT8> nodes = FindInCache(cache, *wanted);
    const bool isFirst =
        !nodes.empty() && nodes.data() == reinterpret_cast<const UINT8*>(cache.path());
    if (nodes.empty()) {
        BdsConnectAllDriversToAllControllers();
        nodes = FindBlockDevice(*wanted);
    }
    if (nodes.empty()) {
        return {};
    }
    PoolPtr<EFI_DEVICE_PATH_PROTOCOL> full = Join(nodes, DevicePathBytes(NextNode(shortPath)));
    if (full && !isFirst) {
        // A cache that cannot be written costs the next boot some time and nothing else.
        static_cast<void>(cache.PutFirst(nodes));
    }
    return full;
}

} // namespace kelm
