// The tree of devices: what the machine file describes, and what the paths imply.
#include "library/pure/DevicePath.h"
#include "sim/devices/Devices.h"
#include "sim/siblings/DeviceLocations.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

using Nodes = std::span<const std::uint8_t>;

const EFI_DEVICE_PATH_PROTOCOL* NodeOf(Nodes nodes) {
    return reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(nodes.data());
}

bool IsNode(Nodes node, UINT8 type, UINT8 subType) {
    return node.size() >= kelm::kNodeHeaderSize && kelm::IsNode(NodeOf(node), type, subType);
}

// The node at the beginning, and what is behind it.
Nodes FirstNode(Nodes nodes) {
    return nodes.empty() ? nodes : nodes.first(kelm::NodeLength(NodeOf(nodes)));
}

Nodes LastNode(Nodes nodes) {
    for (Nodes node = FirstNode(nodes); node.size() < nodes.size(); node = FirstNode(nodes)) {
        nodes = nodes.subspan(node.size());
    }
    return nodes;
}

bool IsPciRootNode(Nodes node) {
    // The extended form begins with the same fields.
    if (!IsNode(node, kDevicePathTypeAcpi, kAcpiSubTypeAcpi) &&
        !IsNode(node, kDevicePathTypeAcpi, kAcpiSubTypeExpanded)) {
        return false;
    }
    if (node.size() < sizeof(ACPI_HID_DEVICE_PATH)) {
        return false;
    }
    const UINT32 hid = reinterpret_cast<const ACPI_HID_DEVICE_PATH*>(node.data())->HID;
    return hid == kEisaIdPciRoot || hid == kEisaIdPcieRoot;
}

bool IsPciNode(Nodes node) {
    return IsNode(node, kDevicePathTypeHardware, kHardwareSubTypePci) &&
           node.size() >= sizeof(PCI_DEVICE_PATH);
}

bool IsUsbNode(Nodes node) {
    return IsNode(node, kDevicePathTypeMessaging, kMessagingSubTypeUsb);
}

// What a Pci node with `next` behind it is.
std::string_view FunctionKind(Nodes next) {
    if (IsPciNode(next)) {
        return "pci-bridge";
    }
    if (IsUsbNode(next)) {
        return "usb-controller";
    }
    if (IsNode(next, kDevicePathTypeMessaging, kMessagingSubTypeSata)) {
        return "sata-controller";
    }
    if (IsNode(next, kDevicePathTypeMessaging, kMessagingSubTypeScsi)) {
        return "raid";
    }
    return "pci";
}

// The kind of the implied device that `node` names below `parent`; empty when it implies none.
std::string_view ImpliedKind(const Device* parent, Nodes node, Nodes next) {
    if (parent == nullptr) {
        return IsPciRootNode(node) ? "root-bridge" : "";
    }
    if (IsPciNode(node) && (parent->kind == "root-bridge" || IsPciNode(parent->lastNode))) {
        return FunctionKind(next);
    }
    return IsUsbNode(node) && IsUsbNode(next) ? "usb-hub" : "";
}

} // namespace

Device* Devices::Find(std::string_view id) const {
    const auto found = std::find_if(all_.begin(), all_.end(), [&](const auto& device) {
        return !id.empty() && device->id == id;
    });
    return found != all_.end() ? found->get() : nullptr;
}

Device* Devices::FindPath(std::span<const std::uint8_t> nodes) const {
    const auto found = byPath_.find({nodes.begin(), nodes.end()});
    return found != byPath_.end() ? found->second : nullptr;
}

Device& Devices::Add(Device* parent, std::span<const std::uint8_t> node, std::string kind,
                     std::string place) {
    std::vector<std::uint8_t> path;
    if (parent != nullptr) {
        path.assign(parent->path.begin(), parent->path.end() - kelm::kNodeHeaderSize);
    }
    path.insert(path.end(), node.begin(), node.end());
    if (Device* known = FindPath(path)) {
        return *known;
    }
    const Nodes last = LastNode(node);
    auto device = std::make_unique<Device>(*this, parent);
    device->kind = std::move(kind);
    device->place = std::move(place);
    device->lastNode.assign(last.begin(), last.end());
    byPath_[path] = device.get();
    const auto end = kelm::NodeBytes(&kelm::kEndEntireNode);
    path.insert(path.end(), end.begin(), end.end());
    device->path = std::move(path);
    if (parent != nullptr) {
        device->gone = parent->gone;
        parent->children.push_back(device.get());
    }
    all_.push_back(std::move(device));
    return *all_.back();
}

std::vector<Devices::Entry> Devices::ReadEntries() const {
    const auto& machine = platform.machine;
    std::vector<Entry> entries;
    std::map<std::vector<std::uint8_t>, std::string> ids; // by nodes
    for (const auto& [id, section] : machine.At("/devices").items()) {
        Entry entry{id, PlaceOf("/devices", id), {}};
        const std::string place = entry.place + "/path";
        const auto bytes = ReadDevicePath(machine, machine.At(place), place);
        const auto* path = reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(bytes.data());
        const auto nodes = PathNodes(path);
        if (nodes.size() + kelm::kNodeHeaderSize != bytes.size()) {
            throw MachineFileError(machine.file, place, "a device has one path, not several");
        }
        entry.nodes.assign(nodes.begin(), nodes.end());
        if (const auto [other, isFirst] = ids.try_emplace(entry.nodes, id); !isFirst) {
            throw MachineFileError(machine.file, place, "is the path of " + other->second + " too");
        }
        entries.push_back(std::move(entry));
    }
    return entries;
}

// Adds the device of an entry and those above it that are not there yet.
void Devices::Grow(const Entry& entry) {
    const auto& machine = platform.machine;
    const Nodes nodes(entry.nodes);
    Device* parent = nullptr;
    std::size_t begin = 0; // of what the next device has besides its parent
    for (std::size_t end = 0; end < nodes.size();) {
        end += FirstNode(nodes.subspan(end)).size();
        const Nodes prefix = nodes.first(end);
        if (Device* known = FindPath(prefix)) {
            parent = known;
            begin = end;
            continue;
        }
        const Nodes own = nodes.subspan(begin, end - begin);
        const Nodes first = FirstNode(own);
        const std::string_view implied =
            first.size() == own.size() ? ImpliedKind(parent, own, FirstNode(nodes.subspan(end)))
                                       : std::string_view();
        const auto found = entries_.find({prefix.begin(), prefix.end()});
        const Entry* described = found != entries_.end() ? found->second : nullptr;
        if (described == nullptr && implied.empty()) {
            continue; // belongs to the device behind it
        }
        if (described == nullptr) {
            parent = &Add(parent, own, std::string(implied));
        } else {
            const Json& kind = machine.At(described->place + "/kind");
            const bool named = kind.is_string() && implied != "root-bridge";
            parent = &Add(parent, own, named ? kind.get<std::string>() : std::string(implied),
                          described->place);
            parent->id = described->id;
        }
        begin = end;
    }
}

void Devices::BuildTree(const std::vector<Entry>& entries) {
    for (const Entry& entry : entries) {
        entries_[entry.nodes] = &entry;
    }
    for (const Entry& entry : entries) {
        Grow(entry);
    }
    entries_.clear();
    for (auto& device : all_) {
        if (!device->id.empty()) {
            ReadKeys(*device);
        }
    }
}

void Devices::ReadKeys(Device& device) {
    const auto& machine = platform.machine;
    constexpr std::array<std::string_view, 3> kOneBehindFunction = {"nic", "nvme", "video"};
    Device* function = device.parent;
    if (function != nullptr && function->id.empty() && IsPciNode(function->lastNode) &&
        function->children.size() == 1 &&
        std::find(kOneBehindFunction.begin(), kOneBehindFunction.end(), device.kind) !=
            kOneBehindFunction.end()) {
        device.hardware_ = function;
    }
    Device& driven = *device.hardware_;
    const Json& driver = machine.At(device.place + "/driver");
    if (!driver.is_null()) {
        driven.driver_ = driver.get<std::string>();
        if (!lateDrivers_.contains(driven.driver_)) {
            throw MachineFileError(machine.file, device.place + "/driver",
                                   "\"drivers\" has no \"" + driven.driver_ + "\"");
        }
    }
    if (!machine.At(device.place + "/connect").is_null()) {
        const std::string place = device.place + "/connect";
        driven.startStatus_ = StatusAt(machine, place + "/status", EFI_DEVICE_ERROR);
        if (!EFI_ERROR(driven.startStatus_)) {
            throw MachineFileError(machine.file, place + "/status", "is no error");
        }
        driven.failingStarts_ = NumberAt(machine, place + "/times", ~std::uint64_t{0});
    }
    if (!machine.At(device.place + "/vanishAt").is_null()) {
        device.vanishAt_ = NumberAt(machine, device.place + "/vanishAt", 0);
    }
}

} // namespace sim
