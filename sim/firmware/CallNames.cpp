#include "sim/firmware/CallNames.h"

#include "sim/siblings/Sibling.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

// What table functions hand to Platform::EnterService(), and the members for which the core calls
// Platform::EnterSibling() itself.
constexpr std::array kCoreCalls = std::to_array<std::string_view>({
    // clang-format off
    // Boot services
    "RaiseTPL", "RestoreTPL", "AllocatePages", "FreePages", "GetMemoryMap", "AllocatePool",
    "FreePool", "CreateEvent", "SetTimer", "WaitForEvent", "SignalEvent", "CloseEvent",
    "CheckEvent", "InstallProtocolInterface", "ReinstallProtocolInterface",
    "UninstallProtocolInterface", "HandleProtocol", "RegisterProtocolNotify", "LocateHandle",
    "LocateDevicePath", "InstallConfigurationTable", "LoadImage", "StartImage", "Exit",
    "UnloadImage", "ExitBootServices", "GetNextMonotonicCount", "Stall", "SetWatchdogTimer",
    "ConnectController", "DisconnectController", "OpenProtocol", "CloseProtocol",
    "OpenProtocolInformation", "ProtocolsPerHandle", "LocateHandleBuffer", "LocateProtocol",
    "InstallMultipleProtocolInterfaces", "UninstallMultipleProtocolInterfaces", "CalculateCrc32",
    "CopyMem", "SetMem", "CreateEventEx",
    // Runtime services
    "GetTime", "SetTime", "GetWakeupTime", "SetWakeupTime", "SetVirtualAddressMap",
    "ConvertPointer", "GetVariable", "GetNextVariableName", "SetVariable",
    "GetNextHighMonotonicCount", "ResetSystem", "UpdateCapsule", "QueryCapsuleCapabilities",
    "QueryVariableInfo",
    // DXE services
    "AddMemorySpace", "AllocateMemorySpace", "FreeMemorySpace", "RemoveMemorySpace",
    "GetMemorySpaceDescriptor", "SetMemorySpaceAttributes", "GetMemorySpaceMap", "AddIoSpace",
    "AllocateIoSpace", "FreeIoSpace", "RemoveIoSpace", "GetIoSpaceDescriptor", "GetIoSpaceMap",
    "Dispatch", "Schedule", "Trust", "ProcessFirmwareVolume", "SetMemorySpaceCapabilities",
    // Consoles
    "SimpleTextInput.Reset", "SimpleTextInput.ReadKeyStroke", "SimpleTextInputEx.Reset",
    "SimpleTextInputEx.ReadKeyStrokeEx", "SimpleTextInputEx.SetState",
    "SimpleTextInputEx.RegisterKeyNotify", "SimpleTextInputEx.UnregisterKeyNotify",
    "SimpleTextOutput.Reset", "SimpleTextOutput.OutputString", "SimpleTextOutput.TestString",
    "SimpleTextOutput.QueryMode", "SimpleTextOutput.SetMode", "SimpleTextOutput.SetAttribute",
    "SimpleTextOutput.ClearScreen", "SimpleTextOutput.SetCursorPosition",
    "SimpleTextOutput.EnableCursor",
    // The core's own protocols
    "Pcd.Get", "Pcd.GetPtr", "Pcd.Set8", "Pcd.Set16", "Pcd.Set32", "Pcd.Set64", "Pcd.SetPtr",
    "Pcd.SetBool", "Pcd.SetSku", "WatchdogTimer.RegisterHandler",
    // clang-format on
});

constexpr std::array kCoreProtocols =
    std::to_array<std::string_view>({"Pcd", "GetPcdInfo", "WatchdogTimer"});

// Protocols of devices and of what a machine may have, whose members are not looked at, as with
// siblings.
constexpr std::array kDeviceProtocols = std::to_array<std::string_view>({
    // clang-format off
    "BlockIo", "ComponentName2", "DeferredImageLoad", "DiskInfo", "DiskIo", "EdidActive", "EdidDiscovered", "File",
    "FirmwareVolume2", "GraphicsConsole", "GraphicsOutput", "LoadFile", "NetworkInterfaceIdentifier",
    "NvmExpressPassThru", "PciIo", "PciRootBridgeIo", "RamDisk", "SerialIo", "SimpleFileSystem",
    "SimpleNetwork", "SuperIo", "Terminal", "Usb2HostController", "UsbHostController", "UsbIo",
    // clang-format on
});

} // namespace

bool IsCallName(std::string_view call) {
    if (std::find(kCoreCalls.begin(), kCoreCalls.end(), call) != kCoreCalls.end()) {
        return true;
    }
    const std::size_t dot = call.find('.');
    if (dot == std::string_view::npos) {
        return false;
    }
    const std::string_view protocol = call.substr(0, dot);
    if (std::find(kCoreProtocols.begin(), kCoreProtocols.end(), protocol) != kCoreProtocols.end()) {
        return false; // all members of these stand above
    }
    if (std::find(kDeviceProtocols.begin(), kDeviceProtocols.end(), protocol) !=
        kDeviceProtocols.end()) {
        return true;
    }
    const auto& siblings = AllSiblingProtocols();
    return std::any_of(siblings.begin(), siblings.end(),
                       [&](const SiblingProtocol& row) { return row.name == protocol; });
}

} // namespace sim
