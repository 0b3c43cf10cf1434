#include "bootopt/HddPathCache.h"

#include "bootopt/VariableHelpers.h"
#include "kelm/Variables.h"
#include "library/pure/Bytes.h"
#include "library/pure/DevicePath.h"

#include <algorithm>

namespace kelm {

namespace {

bool SameBytes(std::span<const UINT8> a, std::span<const UINT8> b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

} // namespace

HddPathCache::HddPathCache() {
    data_ = BdsReadVariable(kVariableHddPathCache.name, kVariableHddPathCache.guid, &size_);
    pathSize_ = DevicePathSizeOf({data_.get(), size_});
}

EFI_STATUS HddPathCache::PutFirst(std::span<const UINT8> nodes) const {
    const UINTN room = nodes.size() + kNodeHeaderSize + pathSize_;
    const PoolPtr<UINT8> bytes = AllocatePool<UINT8>(room);
    if (!bytes) {
        return EFI_OUT_OF_RESOURCES;
    }
    ByteWriter writer({bytes.get(), room});
    writer.WriteBytes(nodes);
    UINTN count = 1;
    const EFI_DEVICE_PATH_PROTOCOL* cursor = path();
    for (auto instance = NextInstance(cursor); instance && count < kHddPathCacheInstances;
         instance = NextInstance(cursor)) {
        if (instance->empty() || SameBytes(*instance, nodes)) {
            continue;
        }
        writer.WriteBytes(&kEndInstanceNode, kNodeHeaderSize);
        writer.WriteBytes(*instance);
        ++count;
    }
    writer.WriteBytes(&kEndEntireNode, kNodeHeaderSize);
    if (SameBytes(writer.Written(), {data_.get(), size_})) {
        return EFI_SUCCESS;
    }
    return gRT->SetVariable(kVariableHddPathCache.name, kVariableHddPathCache.guid,
                            kVariableHddPathCache.attributes, writer.Written().size(),
                            writer.Written().data());
}

} // namespace kelm
