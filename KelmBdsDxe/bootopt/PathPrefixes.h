// Which of many device paths begin with the nodes of a device? Answered from the paths' beginnings,
// sorted by hash, instead of by comparing each path with each device.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace kelm {

inline constexpr UINT32 kPathHashStart = 0x811C9DC5;

// Goes on with the hash (FNV-1a) of the bytes before these.
inline UINT32 HashPathBytes(std::span<const UINT8> bytes, UINT32 hash = kPathHashStart) {
    for (const UINT8 byte : bytes) {
        hash = (hash ^ byte) * 0x01000193;
    }
    return hash;
}

class PathPrefixes {
public:
    // A path to look up, up to and with its end, and what its owner calls it. Paths are valid and
    // stay where they are.
    struct Path {
        std::span<const UINT8> bytes;
        UINT16 owner;
        UINT16 kind;
    };

    // EFI_OUT_OF_RESOURCES.
    EFI_STATUS Build(std::span<const Path> paths);
    // Calls visit(path) for each path that begins with `nodes`: whole nodes, at least one. A path
    // is met once.
    template <class Visitor>
    void ForEachBeginningWith(std::span<const UINT8> nodes, Visitor visit) const {
        const UINT32 hash = HashPathBytes(nodes);
        const std::span<const Prefix> all(prefixes_.get(), count_);
        for (auto at = std::ranges::lower_bound(all, hash, {}, &Prefix::hash);
             at != all.end() && at->hash == hash; ++at) {
            if (at->size == nodes.size() &&
                std::memcmp(at->path->bytes.data(), nodes.data(), nodes.size()) == 0) {
                visit(*at->path);
            }
        }
    }

private:
    struct Prefix {
        UINT32 hash;
        UINT32 size; // bytes of the path that it stands for
        const Path* path;
    };

    PoolPtr<Prefix> prefixes_;
    UINTN count_ = 0;
};

} // namespace kelm
