// Devices that only a boot option cares for: drives of old kinds, files without a disk, names that
// drivers tell, drives that are slow to answer.

#include "library/pure/DevicePath.h"
#include "sim/devices/Devices.h"
#include "tests/sim/TestMachine.h"
#include "uefi/BlockIo.h"
#include "uefi/DriverBinding.h"
#include "uefi/PciIo.h"
#include "uefi/SimpleFileSystem.h"
#include "uefi/UsbIo.h"

#include <algorithm>
#include <array>

namespace sim {
namespace {

constexpr char kMachine[] = R"json("devices": {
    "floppy": {"kind": "floppy", "path": "PciRoot(0x0)/Pci(0x1F,0x0)/Floppy(0x0)"},
    "disc": {"kind": "atapi-optical", "name": "Kelm DVD",
             "path": "PciRoot(0x0)/Pci(0x1F,0x1)/Ata(Primary,Master,0x0)"},
    "tape": {"kind": "atapi-tape",
             "path": "PciRoot(0x0)/Pci(0x1F,0x1)/Ata(Secondary,Master,0x0)"},
    "key": {"kind": "usb-disk", "name": "Kelm Key", "usb": {"inquiryFailures": 2},
            "path": "PciRoot(0x0)/Pci(0x14,0x0)/USB(0x0,0x0)"},
    "files": {"kind": "file-system", "path": "VenHw(5B0E2C77-4D19-4A63-8F0E-7C5A2B916D38)",
              "files": {"\\readme.txt": {"text": "Read me."}}}})json";

class BootDevices : public simtest::TestMachine {
protected:
    BootDevices() : TestMachine(kMachine) {}

    static Device& Dev(const char* id) { return *Machine().Get<Devices>().Find(id); }
    template <class Protocol>
    static Protocol* On(EFI_HANDLE handle) {
        return static_cast<Protocol*>(
            Machine().handles->Find(handle, ProtocolGuid<Protocol>::value));
    }
    static void ConnectAll() {
        for (int pass = 0; pass < 3; pass++) {
            for (EFI_HANDLE handle : Machine().handles->All()) {
                static_cast<void>(bs->ConnectController(handle, nullptr, nullptr, TRUE));
            }
        }
    }
    // What the driver of the device calls it; empty when no driver has a name for it.
    static std::u16string NameOf(EFI_HANDLE controller, EFI_HANDLE child,
                                 const char* language = "en-US") {
        std::u16string found;
        for (EFI_HANDLE handle : Machine().handles->WithProtocol(gEfiComponentName2ProtocolGuid)) {
            auto* names = On<EFI_COMPONENT_NAME2_PROTOCOL>(handle);
            CHAR16* name = nullptr;
            if (names->GetControllerName(names, controller, child, language, &name) ==
                EFI_SUCCESS) {
                EXPECT_EQ(found, u"") << "two drivers drive it";
                found = name;
            }
        }
        return found;
    }
    // The status of one inquiry's data.
    static EFI_STATUS Inquire(EFI_USB_IO_PROTOCOL* usb) {
        std::array<UINT8, 31> wrapper = {'U', 'S', 'B',  'C', 1, 0,    0, 0, 36, 0,
                                         0,   0,   0x80, 0,   6, 0x12, 0, 0, 0,  36};
        std::array<UINT8, 36> data{};
        std::array<UINT8, 13> end{};
        UINT32 result = 0;
        UINTN size = wrapper.size();
        EXPECT_EQ(usb->UsbBulkTransfer(usb, 0x02, wrapper.data(), &size, 1000, &result),
                  EFI_SUCCESS);
        size = data.size();
        const EFI_STATUS status =
            usb->UsbBulkTransfer(usb, 0x81, data.data(), &size, 1000, &result);
        size = end.size();
        EXPECT_EQ(usb->UsbBulkTransfer(usb, 0x81, end.data(), &size, 1000, &result), EFI_SUCCESS);
        return status;
    }
};

TEST_F(BootDevices, AreThereWithTheirMediaAndNames) {
    Boot([] {
        EXPECT_NE(On<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL>(Dev("files").handle), nullptr);
        EXPECT_EQ(On<EFI_BLOCK_IO_PROTOCOL>(Dev("files").handle), nullptr);
        EXPECT_EQ(NameOf(Dev("disc").handle, nullptr), u"") << "nothing is connected yet";
        ConnectAll();
        const struct {
            const char* id;
            UINT32 blockSize;
        } rows[] = {{"floppy", 512}, {"disc", 2048}, {"tape", 512}, {"key", 512}};
        for (const auto& row : rows) {
            const auto* io = On<EFI_BLOCK_IO_PROTOCOL>(Dev(row.id).handle);
            if (io == nullptr) {
                ADD_FAILURE() << row.id;
                continue;
            }
            EXPECT_TRUE(io->Media->RemovableMedia) << row.id;
            EXPECT_EQ(io->Media->BlockSize, row.blockSize) << row.id;
        }

        // By the controller and the child of a bus driver, by the device alone otherwise.
        EXPECT_EQ(NameOf(Dev("disc").parent->handle, Dev("disc").handle), u"Kelm DVD");
        EXPECT_EQ(NameOf(Dev("disc").handle, nullptr), u"");
        EXPECT_EQ(NameOf(Dev("disc").parent->handle, nullptr), u"");
        EXPECT_EQ(NameOf(Dev("tape").parent->handle, Dev("tape").handle), u"");
        EXPECT_EQ(NameOf(Dev("tape").parent->handle, Dev("key").handle), u"") << "not its child";
        EXPECT_EQ(NameOf(Dev("key").handle, nullptr), u"Kelm Key");
        EXPECT_EQ(NameOf(Dev("key").handle, nullptr, "de-DE"), u"");
    });
    EXPECT_EQ(violations, std::vector<std::string>{});
}

TEST_F(BootDevices, MayFailTheFirstInquiries) {
    Boot([] {
        ConnectAll();
        auto* usb = On<EFI_USB_IO_PROTOCOL>(Dev("key").handle);
        EXPECT_EQ(Inquire(usb), EFI_DEVICE_ERROR);
        EXPECT_EQ(Inquire(usb), EFI_DEVICE_ERROR);
        EXPECT_EQ(Inquire(usb), EFI_SUCCESS);
        EXPECT_EQ(Inquire(usb), EFI_SUCCESS);
    });
    EXPECT_EQ(violations, std::vector<std::string>{});
}

// The deepest device of a path is found among many, by what its handle says at that moment.
TEST_F(BootDevices, AreFoundByTheirPathAsLongAsTheyAreThere) {
    Boot([] {
        const auto find = [](Device& device, const EFI_GUID& protocol) {
            auto* path = const_cast<EFI_DEVICE_PATH_PROTOCOL*>(device.Path());
            EFI_HANDLE handle = nullptr;
            static_cast<void>(bs->LocateDevicePath(&protocol, &path, &handle));
            return handle;
        };
        ConnectAll();
        Device& disc = Dev("disc");
        EXPECT_EQ(find(disc, gEfiDevicePathProtocolGuid), disc.handle);
        EXPECT_EQ(find(disc, gEfiPciIoProtocolGuid), disc.parent->handle);
        EXPECT_EQ(find(disc, gEfiUsbIoProtocolGuid), nullptr);
        EXPECT_EQ(bs->ReinstallProtocolInterface(disc.handle, &gEfiDevicePathProtocolGuid,
                                                 disc.path.data(), Dev("tape").path.data()),
                  EFI_SUCCESS);
        EXPECT_EQ(find(disc, gEfiDevicePathProtocolGuid), disc.parent->handle);
        EXPECT_EQ(find(Dev("tape"), gEfiDevicePathProtocolGuid),
                  std::min(disc.handle, Dev("tape").handle));
        EXPECT_EQ(bs->ReinstallProtocolInterface(disc.handle, &gEfiDevicePathProtocolGuid,
                                                 Dev("tape").path.data(), disc.path.data()),
                  EFI_SUCCESS);
        EXPECT_EQ(find(disc, gEfiDevicePathProtocolGuid), disc.handle);
        Machine().Get<Devices>().Pull(disc);
        EXPECT_EQ(find(disc, gEfiDevicePathProtocolGuid), disc.parent->handle);
    });
    EXPECT_EQ(violations, std::vector<std::string>{});
}

} // namespace
} // namespace sim
