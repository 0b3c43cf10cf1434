// Hard-drive media nodes: which partition a device path names (UEFI 2.10, section 10.3.5.1).
#pragma once

#include "library/pure/DevicePath.h"

#include <cstring>

namespace kelm {

// The first hard-drive node of a path; null when there is none.
inline const HARDDRIVE_DEVICE_PATH* FindPartitionNode(const EFI_DEVICE_PATH_PROTOCOL* path) {
    return NodeAs<HARDDRIVE_DEVICE_PATH>(
        FindNode(path, kDevicePathTypeMedia, kMediaSubTypeHardDrive), kDevicePathTypeMedia,
        kMediaSubTypeHardDrive);
}

// Whether two nodes name the same partition: by its GUID, or by the signature of its disk and its
// number. A partition without signature equals none.
inline bool IsSamePartition(const HARDDRIVE_DEVICE_PATH& a, const HARDDRIVE_DEVICE_PATH& b) {
    if (a.SignatureType != b.SignatureType || a.MBRType != b.MBRType) {
        return false;
    }
    switch (a.SignatureType) {
    case SIGNATURE_TYPE_MBR:
        return a.PartitionNumber == b.PartitionNumber &&
               std::memcmp(a.Signature, b.Signature, sizeof(UINT32)) == 0;
    case SIGNATURE_TYPE_GUID:
        return std::memcmp(a.Signature, b.Signature, sizeof(a.Signature)) == 0;
    default:
        return false;
    }
}

} // namespace kelm
