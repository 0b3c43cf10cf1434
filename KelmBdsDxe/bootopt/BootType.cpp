#include "bootopt/BootType.h"

#include "library/pure/DevicePath.h"

namespace kelm {

namespace {

constexpr UINT32 kFloppyHidProduct = 0x0604;

bool IsFloppy(const EFI_DEVICE_PATH_PROTOCOL* node) {
    if (const auto* acpi =
            NodeAs<ACPI_HID_DEVICE_PATH>(node, kDevicePathTypeAcpi, kAcpiSubTypeAcpi)) {
        return acpi->HID >> 16 == kFloppyHidProduct;
    }
    const auto* extended =
        NodeAs<ACPI_EXTENDED_HID_DEVICE_PATH>(node, kDevicePathTypeAcpi, kAcpiSubTypeExpanded);
    return extended != nullptr && extended->HID >> 16 == kFloppyHidProduct;
}

// Ends the path, but for one logical unit node.
bool EndsPath(const EFI_DEVICE_PATH_PROTOCOL* node) {
    const EFI_DEVICE_PATH_PROTOCOL* next = NextNode(node);
    if (IsNode(next, kDevicePathTypeMessaging, kMessagingSubTypeLogicalUnit)) {
        next = NextNode(next);
    }
    return IsEndNode(next);
}

BootType MessagingType(UINT8 subType) {
    switch (subType) {
    case kMessagingSubTypeAtapi:
        return BootType::Atapi;
    case kMessagingSubTypeScsi:
        return BootType::Scsi;
    case kMessagingSubTypeUsb:
        return BootType::Usb;
    case kMessagingSubTypeVendor:
        return BootType::MessagingVendor;
    case kMessagingSubTypeMacAddress:
    case kMessagingSubTypeIpv4:
    case kMessagingSubTypeIpv6:
    case kMessagingSubTypeVlan:
        return BootType::Network;
    case kMessagingSubTypeSata:
        return BootType::Sata;
    default:
        return BootType::MessagingOther;
    }
}

// What this node alone tells.
BootType TypeOfNode(const EFI_DEVICE_PATH_PROTOCOL* node) {
    switch (node->Type) {
    case kDevicePathTypeAcpi:
        return IsFloppy(node) ? BootType::Floppy : BootType::Unknown;
    case kDevicePathTypeMessaging:
        return EndsPath(node) ? MessagingType(node->SubType) : BootType::Unknown;
    case kDevicePathTypeMedia:
        return node->SubType == kMediaSubTypeHardDrive ? BootType::HardDrive
               : node->SubType == kMediaSubTypeCdRom   ? BootType::CdRom
                                                       : BootType::Unknown;
    case kDevicePathTypeBbs:
        return BootType::Bbs;
    default:
        return BootType::Unknown;
    }
}

} // namespace

BootType BdsGetBootType(const EFI_DEVICE_PATH_PROTOCOL* path) {
    for (const EFI_DEVICE_PATH_PROTOCOL* node : DevicePathNodes(path)) {
        if (const BootType type = TypeOfNode(node); type != BootType::Unknown) {
            return type;
        }
    }
    return BootType::Unknown;
}

} // namespace kelm
