#include "bootopt/PathPrefixes.h"

#include "library/pure/DevicePath.h"

namespace kelm {

namespace {

// Calls visit(size, hash) for every beginning of whole nodes. The nodes between two instances are
// nodes like others here.
template <class Visitor>
void ForEachPrefix(std::span<const UINT8> path, Visitor visit) {
    UINT32 hash = kPathHashStart;
    const UINTN end = path.size() < kNodeHeaderSize ? 0 : path.size() - kNodeHeaderSize;
    for (UINTN at = 0; at < end;) {
        const auto* node = reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(path.data() + at);
        const UINTN length = NodeLength(node);
        hash = HashPathBytes(path.subspan(at, length), hash);
        at += length;
        visit(at, hash);
    }
}

} // namespace

EFI_STATUS PathPrefixes::Build(std::span<const Path> paths) {
    UINTN room = 0;
    for (const Path& path : paths) {
        ForEachPrefix(path.bytes, [&](UINTN, UINT32) { ++room; });
    }
    count_ = 0;
    prefixes_ = AllocatePool<Prefix>(room);
    if (!prefixes_ && room != 0) {
        return EFI_OUT_OF_RESOURCES;
    }
    for (const Path& path : paths) {
        ForEachPrefix(path.bytes, [&](UINTN size, UINT32 hash) {
            prefixes_[count_++] = {hash, static_cast<UINT32>(size), &path};
        });
    }
    std::sort(prefixes_.get(), prefixes_.get() + count_,
              [](const Prefix& a, const Prefix& b) { return a.hash < b.hash; });
    return EFI_SUCCESS;
}

} // namespace kelm
