#include "library/firmware/DevicePathPool.h"

namespace kelm {

PoolPtr<EFI_DEVICE_PATH_PROTOCOL> DuplicateDevicePath(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const UINTN size = DevicePathSize(path);
    return size == 0 ? PoolPtr<EFI_DEVICE_PATH_PROTOCOL>{} : AllocateCopyPool(size, path);
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
