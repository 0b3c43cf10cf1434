// The consoles of a console variable while they are edited: the instances of a device path, one
// behind the other in one buffer.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/DevicePath.h"

#include <span>

namespace kelm {

class ConsoleInstances {
public:
    // Starts with a copy of `path` (null: empty), with room for `extra` bytes of paths to be
    // placed. False when memory is out.
    bool Take(const EFI_DEVICE_PATH_PROTOCOL* path, UINTN extra);
    // Removes the instances that begin with `nodes` or that `nodes` begins with. No nodes match
    // nothing.
    void RemoveMatching(std::span<const UINT8> nodes);
    // Puts `nodes` last in place of the instances that match them, unless they stand there exactly.
    void Place(std::span<const UINT8> nodes);
    // The device path; empty when no instance is left.
    std::span<const UINT8> Bytes() const { return {buffer_.get(), size_}; }

private:
    const EFI_DEVICE_PATH_PROTOCOL* Path() const;
    bool Holds(std::span<const UINT8> nodes) const;
    void Append(std::span<const UINT8> nodes);
    void Put(std::span<const UINT8> bytes);

    PoolPtr<UINT8> buffer_;
    UINTN size_ = 0; // with the end of the path; 0: no instances
};

} // namespace kelm
