#include "library/firmware/DevicePathPool.h"

#include "library/pure/Ucs2.h"

namespace kelm {

PoolPtr<EFI_DEVICE_PATH_PROTOCOL> DuplicateDevicePath(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const UINTN size = DevicePathSize(path);
    return size == 0 ? PoolPtr<EFI_DEVICE_PATH_PROTOCOL>{} : AllocateCopyPool(size, path);
}

PoolPtr<EFI_DEVICE_PATH_PROTOCOL> AppendDevicePaths(const EFI_DEVICE_PATH_PROTOCOL* first,
                                                    const EFI_DEVICE_PATH_PROTOCOL* second) {
    const size_t size = AppendDevicePath({}, first, second);
    PoolPtr<UINT8> bytes = AllocatePool<UINT8>(size);
    if (size == 0 || !bytes) {
        return {};
    }
    AppendDevicePath({bytes.get(), size}, first, second);
    return PoolPtr<EFI_DEVICE_PATH_PROTOCOL>(
        reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(bytes.release()));
}

PoolPtr<EFI_DEVICE_PATH_PROTOCOL> FileDevicePath(const EFI_DEVICE_PATH_PROTOCOL* device,
                                                 const CHAR16* fileName) {
    const size_t nameSize = Ucs2Size(fileName);
    const size_t nodeSize = kNodeHeaderSize + nameSize;
    PoolPtr<UINT8> file = AllocatePool<UINT8>(nodeSize + kNodeHeaderSize);
    if (nodeSize > kMaxNodeSize || !file) {
        return {};
    }
    auto* node = reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(file.get());
    SetNodeHeader(node, kDevicePathTypeMedia, kMediaSubTypeFilePath, UINT16(nodeSize));
    std::memcpy(file.get() + kNodeHeaderSize, fileName, nameSize);
    std::memcpy(file.get() + nodeSize, &kEndEntireNode, sizeof(kEndEntireNode));
    return AppendDevicePaths(device, node);
}

PoolPtr<EFI_DEVICE_PATH_PROTOCOL> DevicePathOfText(const CHAR16* text) {
    const DevicePathParse parse = DevicePathFromText(Ucs2View(text), {});
    PoolPtr<UINT8> bytes = AllocatePool<UINT8>(parse.size);
    if ((EFI_ERROR(parse.status) && parse.status != EFI_BUFFER_TOO_SMALL) || parse.size == 0 ||
        !bytes) {
        return {};
    }
    if (EFI_ERROR(DevicePathFromText(Ucs2View(text), {bytes.get(), parse.size}).status)) {
        return {};
    }
    return PoolPtr<EFI_DEVICE_PATH_PROTOCOL>(
        reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(bytes.release()));
}

PoolPtr<CHAR16> DevicePathText(const EFI_DEVICE_PATH_PROTOCOL* path,
                               const DevicePathTextOptions& options) {
    const UINTN size = DevicePathSize(path);
    const std::optional<size_t> length = DevicePathToText(path, size, {}, options);
    if (size == 0 || !length) {
        return {};
    }
    PoolPtr<CHAR16> text = AllocateZeroPool<CHAR16>(*length + 1);
    if (text) {
        static_cast<void>(DevicePathToText(path, size, {text.get(), *length + 1}, options));
    }
    return text;
}

} // namespace kelm
