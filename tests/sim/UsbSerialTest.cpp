// USB devices, serial ports and network ports as a driver meets them: brought by connecting the
// function that they hang from, and used through their protocols.

#include "kelm/FileGuids.h"
#include "library/pure/DevicePath.h"
#include "library/pure/DevicePathText.h"
#include "sim/devices/Devices.h"
#include "sim/devices/SerialPort.h"
#include "sim/firmware/TraceText.h"
#include "tests/sim/TestMachine.h"
#include "uefi/BlockIo.h"
#include "uefi/DiskInfo.h"
#include "uefi/LoadFile.h"
#include "uefi/NetworkInterfaceIdentifier.h"
#include "uefi/SimpleNetwork.h"
#include "uefi/UsbHostController.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace simtest {
namespace {

constexpr const char* kDevices = R"json("devices": {
    "usb": {"kind": "usb-controller", "path": "PciRoot(0x0)/Pci(0x14,0x0)"},
    "keyboard": {"kind": "usb-keyboard", "path": "PciRoot(0x0)/Pci(0x14,0x0)/USB(0x2,0x0)/USB(0x0,0x0)",
                 "usb": {"vendor": "0x1234", "product": "0x5678", "serialNumber": "KB-0042"}},
    "buttons": {"kind": "usb-keyboard", "path": "PciRoot(0x0)/Pci(0x14,0x0)/USB(0x2,0x0)/USB(0x0,0x1)",
                "usb": {"vendor": "0x1234", "product": "0x5678", "class": "03 00 00"}},
    "stick": {"kind": "usb-disk", "path": "PciRoot(0x0)/Pci(0x14,0x0)/USB(0x2,0x0)/USB(0x1,0x0)",
              "usb": {"vendor": "0xABCD", "manufacturerName": "Maker", "productName": "Blade",
                      "inquiry": "00 80 04 02 1F"}},
    "disc": {"kind": "usb-optical", "path": "PciRoot(0x0)/Pci(0x14,0x0)/USB(0x3,0x0)",
             "block": {"present": false}},
    "mute": {"kind": "usb-disk", "path": "PciRoot(0x0)/Pci(0x14,0x0)/USB(0x6,0x0)",
             "usb": {"inquiryStatus": "EFI_TIMEOUT"}},
    "floppy": {"kind": "usb-floppy", "path": "PciRoot(0x0)/Pci(0x14,0x0)/USB(0x5,0x0)"},
    "old": {"kind": "usb-controller", "path": "PciRoot(0x0)/Pci(0x1D,0x0)", "pci": {"class": "0C 03 00"}},
    "adapter": {"kind": "usb-serial", "path": "PciRoot(0x0)/Pci(0x1D,0x0)/USB(0x0,0x0)",
                "serial": {"deviceType": "A8154B55-2021-4D40-AE81-2E23A02DCC46"}},
    "com1": {"kind": "serial", "path": "PciRoot(0x0)/Pci(0x1F,0x0)/Serial(0x0)",
             "serial": {"terminal": true}},
    "port": {"kind": "nic", "path": "PciRoot(0x0)/Pci(0x1,0x0)/MAC(02AF4D100000,0x1)"},
    "dark": {"kind": "nic", "path": "PciRoot(0x0)/Pci(0x1,0x1)/MAC(02AF4D100001,0x1)",
             "network": {"media": false}}
})json";

using Bytes = std::vector<UINT8>;
using Texts = std::vector<std::string>;

class UsbSerial : public TestMachine {
protected:
    UsbSerial() : TestMachine(kDevices) {}

    // One boot, in which the functions have their handles when `body` begins.
    void BootWith(const std::function<void()>& body) {
        bool ran = false;
        Boot([&] {
            EFI_HANDLE root = nullptr;
            EFI_DEVICE_PATH_PROTOCOL* path = Path(u"PciRoot(0x0)");
            bs->LocateDevicePath(&gEfiDevicePathProtocolGuid, &path, &root);
            EXPECT_EQ(bs->ConnectController(root, nullptr, nullptr, FALSE), EFI_SUCCESS);
            body();
            ran = true;
        });
        EXPECT_TRUE(ran);
    }

    static Device& Dev(const char* id) { return *Machine().Get<Devices>().Find(id); }
    // The function that a device hangs from, through hubs too.
    static Device& Function(const char* id) {
        Device* device = &Dev(id);
        while (!device->LastNodeIs(kDevicePathTypeHardware, kHardwareSubTypePci)) {
            device = device->parent;
        }
        return *device;
    }
    template <class Protocol>
    static Protocol* On(EFI_HANDLE handle) {
        return static_cast<Protocol*>(
            Machine().handles->Find(handle, ProtocolGuid<Protocol>::value));
    }
    template <class Protocol>
    static Protocol* On(const char* id) {
        return On<Protocol>(Dev(id).handle);
    }
    // A device path in the room of the machine.
    static EFI_DEVICE_PATH_PROTOCOL* Path(std::u16string_view text) {
        std::array<UINT8, 256> bytes;
        const auto parsed = kelm::DevicePathFromText(text, bytes);
        EXPECT_EQ(parsed.status, EFI_SUCCESS);
        return static_cast<EFI_DEVICE_PATH_PROTOCOL*>(
            Machine().CopyToPool(bytes.data(), parsed.size, "test"));
    }
    static EFI_STATUS Connect(const Device& device, EFI_DEVICE_PATH_PROTOCOL* remaining = nullptr,
                              bool recursive = false) {
        return bs->ConnectController(device.handle, nullptr, remaining, recursive ? TRUE : FALSE);
    }
    static void ConnectAll(const char* id) { Connect(Function(id), nullptr, true); }
    static EFI_STATUS Disconnect(const Device& device) {
        return bs->DisconnectController(device.handle, nullptr, nullptr);
    }
    // Paths of the children that are present, from the device on.
    static Texts PresentBelow(const Device& device) {
        Texts paths;
        for (const Device* child : device.children) {
            if (child->handle != nullptr) {
                paths.push_back(DevicePathText(reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(
                    child->path.data() + device.path.size() - kelm::kNodeHeaderSize)));
            }
        }
        return paths;
    }
};

// ---- USB

// A control transfer to the host: how it ended, and what came.
struct Answer {
    EFI_STATUS status;
    UINT32 result = EFI_USB_NOERROR;
    Bytes bytes;
};

Answer Control(EFI_USB_IO_PROTOCOL* usb, UINT8 type, UINT8 request, UINT16 value, UINT16 index,
               UINT16 length) {
    EFI_USB_DEVICE_REQUEST setup = {type, request, value, index, length};
    Answer answer{EFI_SUCCESS, EFI_USB_NOERROR, Bytes(length, 0xEE)};
    answer.status = usb->UsbControlTransfer(usb, &setup, EfiUsbDataIn, 1000, answer.bytes.data(),
                                            length, &answer.result);
    return answer;
}

std::u16string StringOf(EFI_USB_IO_PROTOCOL* usb, UINT8 index) {
    CHAR16* text = nullptr;
    if (EFI_ERROR(usb->UsbGetStringDescriptor(usb, 0x0409, index, &text))) {
        return u"none";
    }
    std::u16string copy(text);
    EXPECT_EQ(Platform::Current().SystemTable()->BootServices->FreePool(text), EFI_SUCCESS);
    return copy;
}

TEST_F(UsbSerial, OneBusBringsWhatIsBehindHubsTooAndTellsWhatItIs) {
    BootWith([] {
        const Device& controller = Dev("usb");
        EXPECT_EQ(Connect(controller), EFI_SUCCESS);
        auto* host = On<EFI_USB2_HC_PROTOCOL>("usb");
        ASSERT_NE(host, nullptr);
        EXPECT_EQ(On<EFI_USB_HC_PROTOCOL>("usb"), nullptr);
        UINT8 speed = 0, ports = 0, wide = 0;
        EXPECT_EQ(host->GetCapability(host, &speed, &ports, &wide), EFI_SUCCESS);
        EXPECT_EQ(speed, EFI_USB_SPEED_SUPER);
        EXPECT_EQ(ports, 7) << "the device that is plugged in last is at port 6";
        EXPECT_EQ(PresentBelow(controller),
                  (Texts{"USB(0x2,0x0)", "USB(0x3,0x0)", "USB(0x6,0x0)", "USB(0x5,0x0)"}));
        EXPECT_EQ(PresentBelow(*Dev("stick").parent),
                  (Texts{"USB(0x0,0x0)", "USB(0x0,0x1)", "USB(0x1,0x0)"}));
        EXPECT_EQ(On<EFI_BLOCK_IO_PROTOCOL>("stick"), nullptr) << "nobody connected it";
        EXPECT_EQ(Connect(controller), EFI_NOT_FOUND) << "all is there";

        auto* usb = On<EFI_USB_IO_PROTOCOL>("stick");
        ASSERT_NE(usb, nullptr);
        EFI_USB_DEVICE_DESCRIPTOR device;
        EFI_USB_INTERFACE_DESCRIPTOR interface;
        EXPECT_EQ(usb->UsbGetDeviceDescriptor(usb, &device), EFI_SUCCESS);
        EXPECT_EQ(device.IdVendor, 0xABCD);
        EXPECT_EQ(device.DeviceClass, 0) << "the class is that of its interface";
        EXPECT_EQ(usb->UsbGetInterfaceDescriptor(usb, &interface), EFI_SUCCESS);
        EXPECT_EQ(interface.InterfaceClass, kUsbClassMassStorage);
        EXPECT_EQ(interface.InterfaceSubClass, 6);
        EXPECT_EQ(interface.InterfaceProtocol, 0x50);
        EFI_USB_ENDPOINT_DESCRIPTOR endpoint;
        ASSERT_EQ(interface.NumEndpoints, 2);
        EXPECT_EQ(usb->UsbGetEndpointDescriptor(usb, 1, &endpoint), EFI_SUCCESS);
        EXPECT_EQ(usb->UsbGetEndpointDescriptor(usb, 2, &endpoint), EFI_NOT_FOUND);

        UINT16* languages = nullptr;
        UINT16 size = 0;
        EXPECT_EQ(usb->UsbGetSupportedLanguages(usb, &languages, &size), EFI_SUCCESS);
        ASSERT_EQ(size, sizeof(UINT16));
        EXPECT_EQ(*languages, 0x0409);
        EXPECT_EQ(StringOf(usb, device.StrManufacturer), u"Maker");
        EXPECT_EQ(StringOf(usb, device.StrProduct), u"Blade");
        EXPECT_EQ(device.StrSerialNumber, 0);
        EXPECT_EQ(StringOf(usb, 0), u"none");

        // The same by requests, cut to what the host asks for.
        const Answer product = Control(usb, 0x80, 6, UINT16(0x0300 | device.StrProduct), 0x0409, 6);
        EXPECT_EQ(product.bytes, (Bytes{12, 3, 'B', 0, 'l', 0}));
        EXPECT_EQ(Control(usb, 0xA1, 0xFE, 0, 0, 1).bytes, Bytes{0});
        const Answer unknown = Control(usb, 0xC0, 0x77, 0, 0, 1);
        EXPECT_EQ(unknown.status, EFI_DEVICE_ERROR);
        EXPECT_EQ(unknown.result, EFI_USB_ERR_STALL);

        // The keyboard has two interfaces in one configuration.
        auto* keyboard = On<EFI_USB_IO_PROTOCOL>("keyboard");
        EFI_USB_CONFIG_DESCRIPTOR config;
        EXPECT_EQ(keyboard->UsbGetConfigDescriptor(keyboard, &config), EFI_SUCCESS);
        EXPECT_EQ(config.NumInterfaces, 2);
        const Answer whole = Control(keyboard, 0x80, 6, 0x0200, 0, config.TotalLength);
        std::size_t at = 0;
        for (unsigned i = 0; i < 5u && at < whole.bytes.size(); i++) { // each descriptor's length
            at += whole.bytes[at];
        }
        EXPECT_EQ(at, config.TotalLength) << "one head, and an interface and an endpoint of each";
        EXPECT_EQ(whole.bytes[at - 7 - 9 + 2], 1) << "the number of the second interface";

        // What went with the controller is not called any more.
        EXPECT_EQ(Disconnect(controller), EFI_SUCCESS);
        EXPECT_EQ(Dev("stick").handle, nullptr);
        EXPECT_EQ(On<EFI_USB2_HC_PROTOCOL>("usb"), nullptr);
        EXPECT_TRUE(Machine().violations->All().empty());
        usb->UsbPortReset(usb);
        EXPECT_EQ(Machine().violations->All().size(), 1u);
        EXPECT_EQ(Connect(controller, nullptr, true), EFI_SUCCESS);
        auto* disk = On<EFI_DISK_INFO_PROTOCOL>("stick");
        ASSERT_NE(disk, nullptr);
        EXPECT_EQ(disk->Interface, gEfiDiskInfoUsbInterfaceGuid);
        EXPECT_NE(On<EFI_BLOCK_IO_PROTOCOL>("floppy"), nullptr);

        // A hub is pulled with all that is plugged into it.
        Machine().Get<Devices>().Pull(*Dev("stick").parent);
        EXPECT_EQ(Dev("keyboard").handle, nullptr);
        EXPECT_NE(Dev("disc").handle, nullptr);

        EXPECT_EQ(Connect(Dev("old")), EFI_SUCCESS);
        auto* older = On<EFI_USB_HC_PROTOCOL>("old");
        ASSERT_NE(older, nullptr);
        EXPECT_EQ(On<EFI_USB2_HC_PROTOCOL>("old"), nullptr);
        EXPECT_EQ(older->GetRootHubPortNumber(older, &ports), EFI_SUCCESS);
        EXPECT_EQ(ports, 2);
        EXPECT_NE(Dev("adapter").handle, nullptr);
    });
}

// One command over bulk-only transport. `bytes` begins with what the data stage gave; the result
// is the status of the command, 0xFF when a transfer failed.
UINT8 BulkOnly(EFI_USB_IO_PROTOCOL* usb, const Bytes& command, Bytes& bytes, Answer& data) {
    Bytes wrapper(31);
    std::memcpy(wrapper.data(), "USBC\x11\x22\x33\x44", 8);
    wrapper[8] = UINT8(bytes.size());
    wrapper[12] = 0x80;
    wrapper[14] = UINT8(command.size());
    std::copy(command.begin(), command.end(), wrapper.begin() + 15);
    UINTN size = wrapper.size();
    EXPECT_EQ(usb->UsbBulkTransfer(usb, 0x02, wrapper.data(), &size, 1000, &data.result),
              EFI_SUCCESS);
    if (!bytes.empty()) {
        size = bytes.size();
        data.status = usb->UsbBulkTransfer(usb, 0x81, bytes.data(), &size, 1000, &data.result);
        bytes.resize(size);
    }
    Bytes status(13);
    UINT32 result = 0;
    size = status.size();
    if (EFI_ERROR(usb->UsbBulkTransfer(usb, 0x81, status.data(), &size, 1000, &result))) {
        return 0xFF;
    }
    EXPECT_EQ(size, 13u);
    EXPECT_EQ(std::memcmp(status.data(), "USBS\x11\x22\x33\x44", 8), 0) << "the tag comes back";
    EXPECT_EQ(status[8], wrapper[8] - bytes.size()) << "bytes that did not come";
    return status[12];
}

TEST_F(UsbSerial, StorageDevicesAnswerInquiriesOverTheirTransport) {
    BootWith([] {
        Connect(Dev("usb"));
        const Bytes inquiry = {0x12, 0, 0, 0, 36, 0};
        Answer data{EFI_SUCCESS, EFI_USB_NOERROR, {}};

        Bytes bytes(36);
        EXPECT_EQ(BulkOnly(On<EFI_USB_IO_PROTOCOL>("stick"), inquiry, bytes, data), 0);
        EXPECT_EQ(bytes, (Bytes{0x00, 0x80, 0x04, 0x02, 0x1F})) << "as the machine file says";

        auto* disc = On<EFI_USB_IO_PROTOCOL>("disc");
        bytes.assign(36, 0);
        EXPECT_EQ(BulkOnly(disc, inquiry, bytes, data), 0);
        ASSERT_EQ(bytes.size(), 36u);
        EXPECT_EQ(bytes[0], 0x05);
        EXPECT_EQ(bytes[1], 0x80);

        // No medium: the command fails, and the sense data tell why, once.
        bytes.clear();
        EXPECT_EQ(BulkOnly(disc, {0, 0, 0, 0, 0, 0}, bytes, data), 1);
        bytes.assign(18, 0);
        EXPECT_EQ(BulkOnly(disc, {3, 0, 0, 0, 18, 0}, bytes, data), 0);
        EXPECT_EQ(bytes[2], 2);
        EXPECT_EQ(bytes[12], 0x3A);
        bytes.assign(18, 0);
        EXPECT_EQ(BulkOnly(disc, {3, 0, 0, 0, 18, 0}, bytes, data), 0);
        EXPECT_EQ(bytes[2], 0);
        bytes.clear();
        EXPECT_EQ(BulkOnly(On<EFI_USB_IO_PROTOCOL>("mute"), {0, 0, 0, 0, 0, 0}, bytes, data), 0);
        // A command that it does not know stalls its data stage.
        bytes.assign(8, 0);
        EXPECT_EQ(BulkOnly(disc, {0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}, bytes, data), 1);
        EXPECT_EQ(data.status, EFI_DEVICE_ERROR);
        EXPECT_EQ(data.result, EFI_USB_ERR_STALL);

        // Every try times out in the data stage; the device stays in step.
        auto* mute = On<EFI_USB_IO_PROTOCOL>("mute");
        for (int i = 0; i < 2; i++) {
            bytes.assign(36, 0);
            EXPECT_EQ(BulkOnly(mute, inquiry, bytes, data), 0);
            EXPECT_EQ(data.status, EFI_TIMEOUT);
            EXPECT_EQ(data.result, EFI_USB_ERR_TIMEOUT);
        }
        bytes = {'n', 'o', 'n', 'e'};
        UINTN size = bytes.size();
        UINT32 result = 0;
        EXPECT_EQ(mute->UsbBulkTransfer(mute, 0x02, bytes.data(), &size, 1000, &result),
                  EFI_DEVICE_ERROR)
            << "no wrapper";
        EXPECT_EQ(mute->UsbBulkTransfer(mute, 0x05, bytes.data(), &size, 1000, &result),
                  EFI_INVALID_PARAMETER)
            << "no such endpoint";

        // The floppy takes commands through its control pipe.
        auto* floppy = On<EFI_USB_IO_PROTOCOL>("floppy");
        Bytes command = {0x12, 0, 0, 0, 36, 0, 0, 0, 0, 0, 0, 0};
        EFI_USB_DEVICE_REQUEST request = {0x21, 0, 0, 0, UINT16(command.size())};
        EXPECT_EQ(floppy->UsbControlTransfer(floppy, &request, EfiUsbDataOut, 1000, command.data(),
                                             command.size(), &result),
                  EFI_SUCCESS);
        bytes.assign(36, 0xEE);
        size = bytes.size();
        EXPECT_EQ(floppy->UsbBulkTransfer(floppy, 0x81, bytes.data(), &size, 1000, &result),
                  EFI_SUCCESS);
        EXPECT_EQ(size, 36u);
        EXPECT_EQ(bytes[0], 0x00);
        EXPECT_EQ(bytes[1], 0x80);
        size = 2;
        EXPECT_EQ(
            floppy->UsbSyncInterruptTransfer(floppy, 0x83, bytes.data(), &size, 1000, &result),
            EFI_SUCCESS);
        EXPECT_EQ(bytes[0], 0) << "nothing to sense";
    });
    EXPECT_EQ(violations, Texts{});
}

TEST_F(UsbSerial, AShortFormConnectsWhatItFitsAndNothingElse) {
    struct Row {
        const char16_t* path;
        bool keyboard, buttons, stick;
    };
    static constexpr Row kRows[] = {
        {u"UsbClass(0xFFFF,0xFFFF,0x3,0x1,0x1)", true, false, false},
        {u"UsbClass(0x1234,0xFFFF,0xFF,0xFF,0xFF)", true, true, false},
        {u"UsbClass(0x1234,0x5679,0x3,0x1,0x1)", false, false, false},
        {u"UsbClass(0xABCD,0xFFFF,0x8,0x6,0xFF)", false, false, true},
        {u"UsbWwid(0x1234,0x5678,0x0,\"KB-0042\")", true, false, false},
        {u"UsbWwid(0x1234,0x5678,0x0,\"0042\")", true, false, false},
        {u"UsbWwid(0x1234,0x5678,0x0,\"0043\")", false, false, false},
        {u"UsbWwid(0x1234,0x5678,0x1,\"0042\")", false, false, false},
    };
    BootWith([] {
        const auto keys = [](const char* id) {
            return On<EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL>(id) != nullptr;
        };
        for (const Row& row : kRows) {
            SCOPED_TRACE(ToUtf8(row.path));
            const bool any = row.keyboard || row.buttons || row.stick;
            const auto expectFitting = [&] {
                EXPECT_EQ(keys("keyboard"), row.keyboard);
                EXPECT_EQ(keys("buttons"), row.buttons);
                EXPECT_EQ(On<EFI_BLOCK_IO_PROTOCOL>("stick") != nullptr, row.stick);
                EXPECT_EQ(On<EFI_BLOCK_IO_PROTOCOL>("disc"), nullptr);
            };
            // With the bus down, and again with the bus up.
            EXPECT_EQ(Connect(Dev("usb"), Path(row.path)), EFI_SUCCESS);
            expectFitting();
            Disconnect(Dev("usb"));
            EXPECT_EQ(Connect(Dev("usb")), EFI_SUCCESS);
            EXPECT_FALSE(keys("keyboard"));
            EXPECT_EQ(Connect(Dev("usb"), Path(row.path)), any ? EFI_SUCCESS : EFI_NOT_FOUND);
            expectFitting();
            Disconnect(Dev("usb"));
        }
        // A path to its end connects a controller without its devices.
        EXPECT_EQ(Connect(Dev("usb"), Path(u"")), EFI_SUCCESS);
        EXPECT_EQ(Dev("stick").handle, nullptr);
        EXPECT_EQ(Connect(Dev("usb"), Path(u"USB(0x2,0x0)/USB(0x1,0x0)")), EFI_SUCCESS);
        EXPECT_NE(Dev("stick").handle, nullptr);
        EXPECT_EQ(Connect(Dev("usb"), Path(u"Sata(0x0,0xFFFF,0x0)")), EFI_NOT_FOUND);
    });
    EXPECT_EQ(violations, Texts{});
}

TEST_F(UsbSerial, AllKeyboardsReadTheKeysOfOnePerson) {
    Describe(std::string(kDevices) +
             R"(, "keys": [{"at": 100, "key": "F2"}, {"at": 100, "key": "a"},
                                                   {"at": 200, "key": "Ctrl+c"}])");
    static unsigned notified;
    notified = 0;
    BootWith([] {
        ConnectAll("keyboard");
        auto* input = On<EFI_SIMPLE_TEXT_INPUT_PROTOCOL>("keyboard");
        auto* other = On<EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL>("buttons");
        ASSERT_NE(input, nullptr);
        ASSERT_NE(other, nullptr);
        EFI_INPUT_KEY key;
        EFI_KEY_DATA data;
        EXPECT_EQ(input->ReadKeyStroke(input, &key), EFI_NOT_READY);
        EFI_KEY_DATA wanted = {{SCAN_NULL, u'c'}, {0, 0}};
        void* registration = nullptr;
        const EFI_KEY_NOTIFY_FUNCTION count = [](EFI_KEY_DATA*) EFIAPI -> EFI_STATUS {
            notified++;
            return EFI_SUCCESS;
        };
        EXPECT_EQ(other->RegisterKeyNotify(other, &wanted, count, &registration), EFI_SUCCESS);

        UINTN index = 9;
        EXPECT_EQ(bs->WaitForEvent(1, &input->WaitForKey, &index), EFI_SUCCESS);
        EXPECT_EQ(input->ReadKeyStroke(input, &key), EFI_SUCCESS);
        EXPECT_EQ(key.ScanCode, SCAN_F2);
        EXPECT_EQ(other->ReadKeyStrokeEx(other, &data), EFI_SUCCESS) << "from the same queue";
        EXPECT_EQ(data.Key.UnicodeChar, u'a');
        EXPECT_EQ(bs->WaitForEvent(1, &other->WaitForKeyEx, &index), EFI_SUCCESS);
        EXPECT_EQ(notified, 1u);
        EXPECT_EQ(input->ReadKeyStroke(input, &key), EFI_SUCCESS);
        EXPECT_EQ(key.UnicodeChar, 3) << "without states, as a control character";
        EXPECT_EQ(other->UnregisterKeyNotify(other, registration), EFI_SUCCESS);

        EXPECT_EQ(Disconnect(Dev("keyboard")), EFI_SUCCESS);
        EXPECT_EQ(On<EFI_SIMPLE_TEXT_INPUT_PROTOCOL>("keyboard"), nullptr);
        EXPECT_NE(On<EFI_USB_IO_PROTOCOL>("keyboard"), nullptr) << "that is the bus driver's";
        EXPECT_EQ(Connect(Dev("keyboard")), EFI_SUCCESS);
        EXPECT_EQ(On<EFI_SIMPLE_TEXT_INPUT_PROTOCOL>("keyboard"), input);
    });
    EXPECT_EQ(violations, Texts{});
}

TEST_F(UsbSerial, AStringThatNoDescriptorCanHoldIsRefused) {
    Describe(R"json("devices": {"stick": {"kind": "usb-disk", "path":
        "PciRoot(0x0)/Pci(0x14,0x0)/USB(0x1,0x0)", "usb": {"productName": ")json" +
             std::string(127, 'x') + "\"}}}");
    try {
        Boot([] {});
        ADD_FAILURE();
    } catch (const MachineFileError& error) {
        EXPECT_NE(std::string(error.what()).find("/devices/stick/usb/productName"),
                  std::string::npos)
            << error.what();
    }
}

// ---- Serial ports

TEST_F(UsbSerial, APortHasOneUartOfThePathThatCameFirst) {
    BootWith([] {
        const Device& bridge = Function("com1");
        const Device& port = Dev("com1");
        const auto serialIo = [&]() -> EFI_SERIAL_IO_PROTOCOL* {
            for (const Device* child : port.children) {
                if (child->handle != nullptr) {
                    return On<EFI_SERIAL_IO_PROTOCOL>(child->handle);
                }
            }
            return nullptr;
        };
        EXPECT_EQ(Connect(bridge, Path(u"Serial(0x1)")), EFI_NOT_FOUND) << "there is one port";
        EXPECT_EQ(Connect(bridge, Path(u"Serial(0x0)")), EFI_SUCCESS);

        // A rate with flags in its low bits, and not the usual frame.
        EXPECT_EQ(Connect(port, Path(u"Uart(57600,9,N,1)")), EFI_NOT_FOUND) << "nine data bits";
        EXPECT_EQ(Connect(port, Path(u"Uart(57595,7,E,2)/VenVt100()")), EFI_SUCCESS);
        EXPECT_EQ(PresentBelow(port), Texts{"Uart(57595,7,E,2)"});
        EFI_SERIAL_IO_PROTOCOL* serial = serialIo();
        ASSERT_NE(serial, nullptr);
        EXPECT_EQ(serial->Revision, EFI_SERIAL_IO_PROTOCOL_REVISION1p1);
        EXPECT_EQ(serial->DeviceTypeGuid, nullptr);
        EXPECT_EQ(serial->Mode->BaudRate, 57600u);
        EXPECT_EQ(serial->Mode->DataBits, 7u);
        EXPECT_EQ(serial->Mode->Parity, EvenParity);
        EXPECT_EQ(serial->Mode->StopBits, TwoStopBits);
        EXPECT_EQ(Connect(port, Path(u"Uart(115200,8,N,1)")), EFI_NOT_FOUND) << "it is taken";
        EXPECT_EQ(PresentBelow(port), Texts{"Uart(57595,7,E,2)"});

        UINT32 control = 0;
        EXPECT_EQ(serial->GetControl(serial, &control), EFI_SUCCESS);
        EXPECT_NE(control & EFI_SERIAL_INPUT_BUFFER_EMPTY, 0u);
        EXPECT_NE(control & EFI_SERIAL_DATA_SET_READY, 0u) << "a terminal is attached";
        EXPECT_EQ(serial->SetControl(serial, EFI_SERIAL_CARRIER_DETECT), EFI_UNSUPPORTED);
        EXPECT_EQ(serial->SetAttributes(serial, 9600, 0, 2500, NoParity, 8, OneFiveStopBits),
                  EFI_INVALID_PARAMETER);
        EXPECT_EQ(serial->SetAttributes(serial, 921600, 0, 0, NoParity, 8, OneStopBit),
                  EFI_INVALID_PARAMETER);
        EXPECT_EQ(serial->Mode->BaudRate, 57600u) << "unchanged";
        EXPECT_EQ(serial->SetAttributes(serial, 0, 0, 2500, DefaultParity, 0, DefaultStopBits),
                  EFI_SUCCESS);
        EXPECT_EQ(serial->Mode->BaudRate, 115200u);

        UINTN size = 5;
        char buffer[8] = {};
        EXPECT_EQ(serial->Write(serial, &size, "hello"), EFI_SUCCESS);
        const std::uint64_t before = Machine().clock->Now();
        EXPECT_EQ(serial->Read(serial, &size, buffer), EFI_TIMEOUT);
        EXPECT_EQ(size, 0u);
        EXPECT_EQ(Machine().clock->Now() - before, 2500u);
        EXPECT_EQ(serial->SetControl(serial, EFI_SERIAL_SOFTWARE_LOOPBACK_ENABLE), EFI_SUCCESS);
        size = 4;
        EXPECT_EQ(serial->Write(serial, &size, "back"), EFI_SUCCESS);
        EXPECT_EQ(serial->Read(serial, &size, buffer), EFI_SUCCESS);
        EXPECT_EQ(std::string(buffer, size), "back");
        EXPECT_EQ(port.Find<SerialPort>()->Written(), "hello");

        // Free again, for the usual UART; and for a third with flow control.
        EXPECT_EQ(Disconnect(port), EFI_SUCCESS);
        EXPECT_EQ(serialIo(), nullptr);
        EXPECT_EQ(Connect(port), EFI_SUCCESS);
        EXPECT_EQ(PresentBelow(port), Texts{"Uart(115200,8,N,1)"});
        EXPECT_EQ(serialIo()->Mode->Timeout, 1000000u);
        EXPECT_EQ(Disconnect(bridge), EFI_SUCCESS);
        EXPECT_EQ(port.handle, nullptr);
        Connect(bridge);
        EXPECT_EQ(Connect(port, Path(u"Uart(9600,8,N,1)/UartFlowCtrl(Hardware)")), EFI_SUCCESS);
        EXPECT_EQ(PresentBelow(port), Texts{"Uart(9600,8,N,1)/VenMsg(37499A9D-542F-4C89-A026-"
                                            "35DA142094E4,01000000)"});
        EXPECT_EQ(serialIo()->Mode->BaudRate, 9600u);
    });
    EXPECT_EQ(violations, Texts{});
}

TEST_F(UsbSerial, AnAdapterIsASerialPortThatTellsItsType) {
    BootWith([] {
        ConnectAll("adapter");
        EFI_HANDLE handle = nullptr;
        EFI_DEVICE_PATH_PROTOCOL* path =
            Path(u"PciRoot(0x0)/Pci(0x1D,0x0)/USB(0x0,0x0)/Uart(115200,8,N,1)");
        EXPECT_EQ(bs->LocateDevicePath(&gEfiSerialIoProtocolGuid, &path, &handle), EFI_SUCCESS);
        auto* serial = On<EFI_SERIAL_IO_PROTOCOL>(handle);
        ASSERT_NE(serial, nullptr);
        ASSERT_NE(serial->DeviceTypeGuid, nullptr);
        EXPECT_EQ(*serial->DeviceTypeGuid, gFtdiUsbSerialDeviceTypeGuid);
        UINT32 control = 0;
        EXPECT_EQ(serial->GetControl(serial, &control), EFI_SUCCESS);
        EXPECT_EQ(control & EFI_SERIAL_DATA_SET_READY, 0u) << "nobody is at the other end";
        Machine().Get<Devices>().Pull(Dev("adapter"));
        EXPECT_FALSE(Machine().handles->IsValid(handle));
    });
    EXPECT_EQ(violations, Texts{});
}

// ---- Network ports

TEST_F(UsbSerial, APortHasItsAddressAndTheStatesOfTheStandard) {
    BootWith([] {
        EXPECT_EQ(Connect(Function("port")), EFI_SUCCESS);
        auto* network = On<EFI_SIMPLE_NETWORK_PROTOCOL>("port");
        ASSERT_NE(network, nullptr);
        EXPECT_NE(On<EFI_NETWORK_INTERFACE_IDENTIFIER_PROTOCOL>("port"), nullptr);
        const EFI_SIMPLE_NETWORK_MODE& mode = *network->Mode;
        constexpr UINT8 kAddress[] = {0x02, 0xAF, 0x4D, 0x10, 0x00, 0x00};
        EXPECT_EQ(mode.State, EfiSimpleNetworkStopped);
        ASSERT_EQ(mode.HwAddressSize, sizeof kAddress);
        EXPECT_EQ(std::memcmp(mode.CurrentAddress.Addr, kAddress, sizeof kAddress), 0);
        EXPECT_EQ(mode.IfType, 1);
        EXPECT_EQ(mode.MediaPresent, TRUE);

        UINT32 interrupts = 9;
        EXPECT_EQ(network->Initialize(network, 0, 0), EFI_NOT_STARTED);
        EXPECT_EQ(network->Start(network), EFI_SUCCESS);
        EXPECT_EQ(network->Start(network), EFI_ALREADY_STARTED);
        EXPECT_EQ(network->GetStatus(network, &interrupts, nullptr), EFI_DEVICE_ERROR);
        EXPECT_EQ(network->Initialize(network, 0, 0), EFI_SUCCESS);
        EXPECT_EQ(network->Stop(network), EFI_DEVICE_ERROR);
        EXPECT_EQ(network->GetStatus(network, &interrupts, nullptr), EFI_SUCCESS);
        EXPECT_EQ(interrupts, 0u);
        EFI_MAC_ADDRESS own = {{0x02, 1, 2, 3, 4, 5}};
        EXPECT_EQ(network->StationAddress(network, FALSE, &own), EFI_SUCCESS);
        EXPECT_EQ(mode.CurrentAddress.Addr[5], 5);
        EXPECT_EQ(network->ReceiveFilters(network, EFI_SIMPLE_NETWORK_RECEIVE_MULTICAST, 0, FALSE,
                                          MAX_MCAST_FILTER_CNT + 1, &own),
                  EFI_INVALID_PARAMETER);
        EXPECT_EQ(network->ReceiveFilters(network, EFI_SIMPLE_NETWORK_RECEIVE_MULTICAST, 0, FALSE,
                                          1, &own),
                  EFI_SUCCESS);
        EXPECT_EQ(mode.MCastFilterCount, 1u);
        UINT8 packet[60] = {};
        UINTN size = sizeof packet;
        EXPECT_EQ(network->Transmit(network, 0, size, packet, nullptr, nullptr, nullptr),
                  EFI_NOT_READY);
        EXPECT_EQ(network->Receive(network, nullptr, &size, packet, nullptr, nullptr, nullptr),
                  EFI_NOT_READY);

        // Everything is forgotten when the driver starts anew.
        EXPECT_EQ(Disconnect(Function("port")), EFI_SUCCESS);
        EXPECT_EQ(Dev("port").handle, nullptr);
        EXPECT_EQ(Connect(Function("port")), EFI_SUCCESS);
        EXPECT_EQ(mode.State, EfiSimpleNetworkStopped);
        EXPECT_EQ(std::memcmp(mode.CurrentAddress.Addr, kAddress, sizeof kAddress), 0);
        EXPECT_EQ(mode.MCastFilterCount, 0u);
    });
    EXPECT_EQ(violations, Texts{});
}

TEST_F(UsbSerial, NetworkBootTakesItsTimeAndFindsNobody) {
    BootWith([] {
        Connect(Function("port"));
        Connect(Function("dark"));
        // One of the two by its path, then both.
        EXPECT_EQ(Connect(Dev("port"), Path(u"IPv6(::)/Uri()")), EFI_SUCCESS);
        EXPECT_EQ(Dev("port").children.at(0)->handle, nullptr);
        EXPECT_EQ(Connect(Dev("port")), EFI_SUCCESS);
        EXPECT_EQ(Connect(Dev("dark"), Path(u"IPv4(0.0.0.0)")), EFI_SUCCESS);
        EXPECT_EQ(On<EFI_SIMPLE_NETWORK_PROTOCOL>("dark")->Mode->MediaPresent, FALSE);

        const auto boot = [](const Device& device, BOOLEAN policy) {
            auto* load = On<EFI_LOAD_FILE_PROTOCOL>(device.handle);
            UINTN size = 0;
            return load->LoadFile(load, Path(u""), policy, &size, nullptr);
        };
        const std::uint64_t before = Machine().clock->Now();
        EXPECT_EQ(boot(*Dev("port").children.at(0), FALSE), EFI_UNSUPPORTED);
        EXPECT_EQ(Machine().clock->Now(), before);
        EXPECT_EQ(boot(*Dev("port").children.at(0), TRUE), EFI_NOT_FOUND);
        EXPECT_EQ(boot(*Dev("port").children.at(1), TRUE), EFI_NOT_FOUND);
        EXPECT_EQ(boot(*Dev("dark").children.at(0), TRUE), EFI_NO_MEDIA);
        EXPECT_EQ(Machine().clock->Now() - before, 9000000u);
    });
    EXPECT_EQ(violations, Texts{});
}

} // namespace
} // namespace simtest
