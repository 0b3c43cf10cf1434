// The devices of the machine as a driver finds them: root bridges at power-on, everything else by
// connecting, and what happens to handles when devices come late, fail or are pulled.
#include "sim/devices/Devices.h"
#include "kelm/DeviceLocationProtocol.h"
#include "sim/devices/PciRootBridge.h"
#include "sim/firmware/DriverModel.h"
#include "sim/firmware/TraceText.h"
#include "tests/sim/PeWriter.h"
#include "tests/sim/TestMachine.h"
#include "uefi/DeferredImageLoad.h"
#include "uefi/PciIo.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>

namespace simtest {
namespace {

constexpr const char* kServer = R"j("devices": {
    "tpm": {"kind": "tpm", "path": "MemoryMapped(0xB,0xFED40000,0xFED44FFF)"},
    "drive": {"kind": "nvme", "path":
        "PciRoot(0x1)/Pci(0x2,0x0)/Pci(0x0,0x0)/NVMe(0x1,01-00-00-00-01-EE-25-38)"},
    "video": {"kind": "video", "path":
        "PciRoot(0x0)/Pci(0x1C,0x5)/Pci(0x0,0x0)/AcpiAdr(0x80010100)"},
    "port2": {"kind": "nic", "path": "PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x0,0x1)/MAC(02AF4D100001,0x1)"},
    "port1": {"kind": "nic", "path": "PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x0,0x0)/MAC(02AF4D100000,0x1)"},
    "disc": {"kind": "sata-optical", "path": "PciRoot(0x0)/Pci(0x11,0x5)/Sata(0x0,0xFFFF,0x0)"},
    "stick": {"kind": "usb-disk", "path": "PciRoot(0x0)/Pci(0x14,0x0)/USB(0x1,0x0)/USB(0x2,0x0)"},
    "com1": {"kind": "serial", "path": "PciRoot(0x0)/Pci(0x1F,0x0)/Serial(0x0)"},
    "raid": {"kind": "raid", "path": "PciRoot(0x0)/Pci(0x3,0x0)",
             "pci": {"vendor": "0x1234", "device": "0x5678", "subsystem": 9, "class": "01 07 00"}},
    "broken": {"kind": "controller", "path": "PciRoot(0x1)/Pci(0x3,0x0)",
               "pci": {"readStatus": "EFI_TIMEOUT"}}
})j";

// One machine with a root bridge, the function "card" and further keys of either.
std::string Card(const std::string& ofRoot, const std::string& ofCard = "",
                 const std::string& sections = "") {
    return R"j("devices": {"root": {"kind": "controller", "path": "PciRoot(0x0)")j" + ofRoot +
           R"j(}, "card": {"kind": "controller", "path": "PciRoot(0x0)/Pci(0x1,0x0)")j" + ofCard +
           "}}" + sections;
}

// Drives one function: shows something on its handle and makes the handle of something behind it.
class CardDriver final : public DeviceDriver {
public:
    CardDriver(Devices& owner, const char* id)
        : DeviceDriver(owner, "Card", gEfiPciIoProtocolGuid), id_(id) {}
    static constexpr EFI_GUID kShown = {0x1111, 2, 3, {4}};
    static constexpr EFI_GUID kShownOfChild = {0x2222, 2, 3, {4}};
    std::string log;
    Device* child = nullptr;

private:
    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL*) const override {
        return device.id == id_;
    }
    EFI_STATUS Attach(Device& device, const EFI_DEVICE_PATH_PROTOCOL*) override {
        log += "attach ";
        device.Publish(kShown, this);
        return EFI_SUCCESS;
    }
    std::vector<Device*> Children(Device& device, const EFI_DEVICE_PATH_PROTOCOL*) override {
        static constexpr CONTROLLER_DEVICE_PATH kNode = {
            {kDevicePathTypeHardware, kHardwareSubTypeController, {8, 0}}, 1};
        child = &devices.Add(
            &device, {reinterpret_cast<const std::uint8_t*>(&kNode), sizeof(kNode)}, "part");
        return {child};
    }
    void Bring(Device& part) override {
        log += "bring ";
        part.Publish(kShownOfChild, this);
    }
    void Drop(Device&) override { log += "drop "; }
    void Detach(Device& device) override {
        log += "detach ";
        device.Withdraw(kShown);
    }

    const std::string id_;
};

class DevicesTest : public TestMachine {
protected:
    static Devices& All() { return Machine().Get<Devices>(); }
    static std::vector<EFI_HANDLE> With(const EFI_GUID& protocol) {
        return Machine().handles->WithProtocol(protocol);
    }
    static EFI_HANDLE RootBridge(std::size_t index) {
        return With(gEfiPciRootBridgeIoProtocolGuid).at(index);
    }
    static std::string PathOf(EFI_HANDLE handle) {
        return DevicePathText(static_cast<EFI_DEVICE_PATH_PROTOCOL*>(
            Machine().handles->Find(handle, gEfiDevicePathProtocolGuid)));
    }
    static EFI_PCI_IO_PROTOCOL* PciIo(EFI_HANDLE handle) {
        return static_cast<EFI_PCI_IO_PROTOCOL*>(
            Machine().handles->Find(handle, gEfiPciIoProtocolGuid));
    }
    static EFI_STATUS Connect(EFI_HANDLE handle) {
        return bs->ConnectController(handle, nullptr, nullptr, FALSE);
    }
    // "bus:device.function class header path" of each function that has a handle.
    static std::vector<std::string> Functions() {
        std::vector<std::string> lines;
        for (EFI_HANDLE handle : With(gEfiPciIoProtocolGuid)) {
            EFI_PCI_IO_PROTOCOL* io = PciIo(handle);
            UINTN segment = 1, bus = 0, device = 0, function = 0;
            UINT8 head[16] = {};
            EXPECT_EQ(io->GetLocation(io, &segment, &bus, &device, &function), EFI_SUCCESS);
            EXPECT_EQ(segment, 0u);
            const EFI_STATUS status = io->Pci.Read(io, EfiPciIoWidthUint8, 0, 16, head);
            lines.push_back(fmt::format("{:02X}:{:02X}.{} ", bus, device, function) +
                            (EFI_ERROR(status) ? StatusText(status)
                                               : fmt::format("{:02X}{:02X}{:02X} {:02X}", head[11],
                                                             head[10], head[9], head[14])) +
                            " " + PathOf(handle));
        }
        return lines;
    }

    std::unique_ptr<CardDriver> card; // outlives the stack of the boot
};

TEST_F(DevicesTest, ConnectingARootBridgeBringsAllFunctionsBelowIt) {
    Describe(kServer);
    Boot([&] {
        const auto bridges = With(gEfiPciRootBridgeIoProtocolGuid);
        ASSERT_EQ(bridges.size(), 2u);
        EXPECT_EQ(PathOf(bridges[0]), "PciRoot(0x0)") << "by number, not by place in the file";
        EXPECT_EQ(PathOf(bridges[1]), "PciRoot(0x1)");
        EXPECT_NE(All().Find("tpm")->handle, nullptr) << "is there without a driver";
        EXPECT_EQ(Functions(), std::vector<std::string>());

        const std::vector<std::string> first = {
            "00:01.0 060400 01 PciRoot(0x0)/Pci(0x1,0x0)",
            "01:00.0 020000 80 PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x0,0x0)",
            "01:00.1 020000 80 PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x0,0x1)",
            "00:03.0 010700 00 PciRoot(0x0)/Pci(0x3,0x0)",
            "00:11.5 010601 00 PciRoot(0x0)/Pci(0x11,0x5)",
            "00:14.0 0C0330 00 PciRoot(0x0)/Pci(0x14,0x0)",
            "00:1C.5 060400 01 PciRoot(0x0)/Pci(0x1C,0x5)",
            "02:00.0 030000 00 PciRoot(0x0)/Pci(0x1C,0x5)/Pci(0x0,0x0)",
            "00:1F.0 060100 00 PciRoot(0x0)/Pci(0x1F,0x0)",
        };
        EXPECT_EQ(Connect(bridges[0]), EFI_SUCCESS);
        EXPECT_EQ(Functions(), first);
        EXPECT_EQ(Machine().drivers->ChildrenOf(bridges[0]).size(), first.size());
        EXPECT_EQ(Connect(bridges[0]), EFI_NOT_FOUND) << "there is nothing left to start";
        EXPECT_EQ(All().Find("stick")->parent->kind, "usb-hub");

        // One function that was let go comes back, and so do all.
        EXPECT_EQ(bs->DisconnectController(bridges[0], nullptr, All().Find("raid")->handle),
                  EFI_SUCCESS);
        EXPECT_EQ(Functions().size(), first.size() - 1);
        EXPECT_EQ(Connect(bridges[0]), EFI_SUCCESS);
        EXPECT_EQ(Functions().size(), first.size());
        EXPECT_EQ(bs->DisconnectController(bridges[0], nullptr, nullptr), EFI_SUCCESS);
        EXPECT_EQ(Functions(), std::vector<std::string>());
        EXPECT_EQ(Connect(bridges[0]), EFI_SUCCESS);
        EXPECT_EQ(Functions(), first);

        EXPECT_EQ(Connect(bridges[1]), EFI_SUCCESS);
        const auto all = Functions();
        EXPECT_EQ(std::vector(all.begin() + std::ptrdiff_t(first.size()), all.end()),
                  (std::vector<std::string>{
                      "20:02.0 060400 01 PciRoot(0x1)/Pci(0x2,0x0)",
                      "21:00.0 010802 00 PciRoot(0x1)/Pci(0x2,0x0)/Pci(0x0,0x0)",
                      "20:03.0 EFI_TIMEOUT PciRoot(0x1)/Pci(0x3,0x0)",
                  }));
    });
    EXPECT_TRUE(violations.empty()) << violations[0];
}

TEST_F(DevicesTest, ConfigurationSpaceAnswersThroughFunctionAndRootBridgeAlike) {
    Describe(kServer);
    Boot([&] {
        const EFI_HANDLE root = RootBridge(0);
        auto* bridge = static_cast<EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL*>(
            Machine().handles->Find(root, gEfiPciRootBridgeIoProtocolGuid));
        EXPECT_EQ(Connect(root), EFI_SUCCESS);
        EFI_PCI_IO_PROTOCOL* raid = PciIo(All().Find("raid")->handle);

        UINT32 ids = 0;
        EXPECT_EQ(raid->Pci.Read(raid, EfiPciIoWidthUint32, 0, 1, &ids), EFI_SUCCESS);
        EXPECT_EQ(ids, 0x56781234u);
        UINT16 subsystem[2] = {};
        EXPECT_EQ(bridge->Pci.Read(bridge, EfiPciWidthUint16,
                                   EFI_PCI_ADDRESS(0, 3, 0, PCI_SUBSYSTEM_VENDOR_ID_OFFSET), 2,
                                   subsystem),
                  EFI_SUCCESS);
        EXPECT_EQ(subsystem[0], 0x1234);
        EXPECT_EQ(subsystem[1], 9);
        EXPECT_EQ(bridge->Pci.Read(bridge, EfiPciWidthUint32, EFI_PCI_ADDRESS(0, 4, 0, 0), 1, &ids),
                  EFI_SUCCESS);
        EXPECT_EQ(ids, 0xFFFFFFFFu) << "there is no such function";

        struct Row {
            EFI_PCI_IO_PROTOCOL_WIDTH width;
            UINT32 offset;
            UINTN count;
            EFI_STATUS status;
        };
        const Row rows[] = {
            {EfiPciIoWidthUint8, 0xFF, 1, EFI_SUCCESS},
            {EfiPciIoWidthUint8, 0x100, 1, EFI_UNSUPPORTED},
            {EfiPciIoWidthUint32, 0xFC, 2, EFI_UNSUPPORTED},
            {EfiPciIoWidthUint16, 0x0, ~UINTN{0} / 2 + 1, EFI_UNSUPPORTED},
            {EfiPciIoWidthUint16, 0x1, 1, EFI_UNSUPPORTED},
            {EfiPciIoWidthUint64, 0x0, 1, EFI_INVALID_PARAMETER},
            {EfiPciIoWidthMaximum, 0x0, 1, EFI_INVALID_PARAMETER},
        };
        UINT8 buffer[8];
        for (const Row& row : rows) {
            EXPECT_EQ(raid->Pci.Read(raid, row.width, row.offset, row.count, buffer), row.status)
                << row.width << " at " << row.offset;
        }

        // Identifiers stay; the command register and the attributes follow each other.
        UINT32 zero = 0;
        EXPECT_EQ(raid->Pci.Write(raid, EfiPciIoWidthUint32, 0, 1, &zero), EFI_SUCCESS);
        EXPECT_EQ(raid->Pci.Read(raid, EfiPciIoWidthUint32, 0, 1, &ids), EFI_SUCCESS);
        EXPECT_EQ(ids, 0x56781234u);
        EXPECT_EQ(raid->Attributes(raid, EfiPciIoAttributeOperationEnable,
                                   EFI_PCI_IO_ATTRIBUTE_MEMORY | EFI_PCI_IO_ATTRIBUTE_BUS_MASTER,
                                   nullptr),
                  EFI_SUCCESS);
        UINT16 command = 0;
        raid->Pci.Read(raid, EfiPciIoWidthUint16, PCI_COMMAND_OFFSET, 1, &command);
        EXPECT_EQ(command, EFI_PCI_COMMAND_MEMORY_SPACE | EFI_PCI_COMMAND_BUS_MASTER);
        EXPECT_EQ(raid->Attributes(raid, EfiPciIoAttributeOperationEnable,
                                   EFI_PCI_IO_ATTRIBUTE_VGA_IO, nullptr),
                  EFI_UNSUPPORTED);

        // Legacy display accesses pass the bridge only when the function behind it takes them.
        EFI_PCI_IO_PROTOCOL* video = PciIo(All().Find("video")->parent->handle);
        EFI_PCI_IO_PROTOCOL* above = PciIo(All().Find("video")->parent->parent->handle);
        const auto passes = [&] {
            UINT16 control = 0;
            above->Pci.Read(above, EfiPciIoWidthUint16, PCI_BRIDGE_CONTROL_REGISTER_OFFSET, 1,
                            &control);
            return (control & EFI_PCI_BRIDGE_CONTROL_VGA) != 0;
        };
        const UINT64 vga = EFI_PCI_IO_ATTRIBUTE_VGA_IO | EFI_PCI_IO_ATTRIBUTE_VGA_MEMORY;
        EXPECT_FALSE(passes());
        EXPECT_EQ(video->Attributes(video, EfiPciIoAttributeOperationEnable, vga, nullptr),
                  EFI_SUCCESS);
        EXPECT_TRUE(passes());
        EXPECT_EQ(video->Attributes(video, EfiPciIoAttributeOperationDisable, vga, nullptr),
                  EFI_SUCCESS);
        EXPECT_FALSE(passes());
    });
    EXPECT_TRUE(violations.empty()) << violations[0];
}

TEST_F(DevicesTest, ADriverStartsLateOrAtTheThirdAttempt) {
    Describe(Card(R"(, "connect": {"status": "EFI_DEVICE_ERROR", "times": 2})"));
    Boot([&] {
        for (const std::size_t functions : {0u, 0u, 1u}) {
            EXPECT_EQ(Connect(RootBridge(0)), functions == 0 ? EFI_NOT_FOUND : EFI_SUCCESS);
            EXPECT_EQ(Functions().size(), functions);
        }
    });
    EXPECT_TRUE(violations.empty()) << violations[0];

    Describe(Card(R"(, "driver": "hotplug")", "",
                  R"(, "drivers": {"hotplug": {"dispatch": 2}, "other": {"dispatch": 4}})"));
    Boot([&] {
        EFI_DXE_SERVICES* ds = Machine().core->DxeServices();
        EXPECT_EQ(Connect(RootBridge(0)), EFI_NOT_FOUND);
        EXPECT_EQ(ds->Dispatch(), EFI_NOT_FOUND);
        EXPECT_EQ(Connect(RootBridge(0)), EFI_NOT_FOUND);
        EXPECT_EQ(ds->Dispatch(), EFI_SUCCESS);
        EXPECT_EQ(Connect(RootBridge(0)), EFI_SUCCESS);
        EXPECT_EQ(Functions().size(), 1u);
        EXPECT_EQ(ds->Dispatch(), EFI_NOT_FOUND);
        EXPECT_EQ(ds->Dispatch(), EFI_SUCCESS);
    });
    EXPECT_EQ(Traced("device"), (std::vector<std::string>{R"({"op":"driver","id":"hotplug"})",
                                                          R"({"op":"driver","id":"other"})"}));
}

TEST_F(DevicesTest, APulledDeviceTakesItsDriversAndHandlesWithItAndStaysAway) {
    Describe(Card("", R"(, "vanishAt": 500)"));
    Boot([&] {
        card = std::make_unique<CardDriver>(All(), "card");
        card->Install();
        const EFI_HANDLE root = RootBridge(0);
        EXPECT_EQ(bs->ConnectController(root, nullptr, nullptr, TRUE), EFI_SUCCESS);
        EXPECT_EQ(card->log, "attach bring ");
        const EFI_HANDLE handle = All().Find("card")->handle;
        const EFI_HANDLE part = card->child->handle;
        EFI_PCI_IO_PROTOCOL* io = PciIo(handle);
        ASSERT_NE(io, nullptr);
        EXPECT_TRUE(Machine().handles->Has(part, CardDriver::kShownOfChild));

        // Not while the task priority holds everybody off.
        const EFI_TPL level = bs->RaiseTPL(TPL_CALLBACK);
        bs->Stall(600000);
        EXPECT_TRUE(Machine().handles->IsValid(handle));
        bs->RestoreTPL(level);
        EXPECT_FALSE(Machine().handles->IsValid(handle));
        EXPECT_FALSE(Machine().handles->IsValid(part));
        EXPECT_EQ(card->log, "attach bring drop detach ");
        EXPECT_TRUE(Machine().drivers->ChildrenOf(root).empty());

        EXPECT_TRUE(Machine().violations->All().empty());
        UINT32 ids = 0;
        EXPECT_EQ(io->Pci.Read(io, EfiPciIoWidthUint32, 0, 1, &ids), EFI_SUCCESS);
        EXPECT_EQ(Connect(root), EFI_NOT_FOUND);
        bs->DisconnectController(root, nullptr, nullptr);
        EXPECT_EQ(Connect(root), EFI_SUCCESS);
        EXPECT_EQ(Functions().size(), 0u) << "the card is in somebody's hand";
    });
    EXPECT_EQ(violations,
              std::vector<std::string>{"PciIo.PciRead of card called after it was uninstalled"});
    EXPECT_EQ(Traced("device"), std::vector<std::string>{R"({"op":"pulled","id":"card"})"});
}

TEST_F(DevicesTest, WhatHangsFromAPulledDeviceGoesAndWhatCarriesItAloneToo) {
    Describe(kServer);
    Boot([&] {
        for (std::size_t i = 0; i < 2; i++) {
            bs->ConnectController(RootBridge(i), nullptr, nullptr, TRUE);
        }
        EXPECT_EQ(Functions().size(), 12u);
        All().Pull(*All().Find("drive")); // with its controller; the slot's bridge stays
        EXPECT_EQ(Functions().size(), 11u);
        All().Pull(*All().Find("port1")->parent->parent); // the bridge of both ports
        EXPECT_EQ(Functions().size(), 8u);
        EXPECT_EQ(All().Find("port2")->handle, nullptr);
        EXPECT_TRUE(All().Find("port2")->gone);
        All().Pull(*All().Find("tpm"));
        EXPECT_EQ(All().Find("tpm")->handle, nullptr);
        for (std::size_t i = 0; i < 2; i++) {
            bs->ConnectController(RootBridge(i), nullptr, nullptr, TRUE);
        }
        EXPECT_EQ(Functions().size(), 8u);
    });
    EXPECT_TRUE(violations.empty()) << violations[0];
}

TEST_F(DevicesTest, AHandleThatSomebodyKeepsOpenStaysWhole) {
    Describe(Card(""));
    Boot([&] {
        const EFI_HANDLE root = RootBridge(0);
        EXPECT_EQ(Connect(root), EFI_SUCCESS);
        const EFI_HANDLE handle = All().Find("card")->handle;
        void* interface = nullptr;
        // Exclusive for an application: nobody can be asked to stop.
        EXPECT_EQ(bs->OpenProtocol(handle, &gEfiDevicePathProtocolGuid, &interface, image, nullptr,
                                   EFI_OPEN_PROTOCOL_EXCLUSIVE),
                  EFI_SUCCESS);
        EXPECT_NE(bs->DisconnectController(root, nullptr, nullptr), EFI_SUCCESS);
        EXPECT_EQ(Functions().size(), 1u);
        EXPECT_EQ(Machine().drivers->ChildrenOf(root), std::vector<EFI_HANDLE>{handle});
        EXPECT_EQ(bs->CloseProtocol(handle, &gEfiDevicePathProtocolGuid, image, nullptr),
                  EFI_SUCCESS);
        EXPECT_EQ(bs->DisconnectController(root, nullptr, nullptr), EFI_SUCCESS);
        EXPECT_FALSE(Machine().handles->IsValid(handle));
    });
    EXPECT_TRUE(violations.empty()) << violations[0];
}

TEST_F(DevicesTest, AMachineFileThatContradictsItselfIsRefused) {
    const struct {
        std::string sections;
        const char* error;
    } rows[] = {
        {Card(R"(, "driver": "none")"), "/devices/root/driver: \"drivers\" has no \"none\""},
        {Card("", R"(, "connect": {"status": "EFI_SUCCESS"})"),
         "/devices/card/connect/status: is no error"},
        {R"j("devices": {"a": {"kind": "pci", "path": "PciRoot(0)/Pci(1,0)"},
                         "b": {"kind": "pci", "path": "PciRoot(0)/Pci(1,0)"}})j",
         "/devices/b/path: is the path of a too"},
        {R"j("devices": {"a": {"kind": "pci", "path": "PciRoot(0),PciRoot(1)"}})j",
         "/devices/a/path: a device has one path, not several"},
    };
    for (const auto& row : rows) {
        Describe(row.sections);
        try {
            Boot([] {});
            ADD_FAILURE() << row.error;
        } catch (const MachineFileError& error) {
            EXPECT_NE(std::string(error.what()).find(row.error), std::string::npos) << error.what();
        }
    }
}

TEST_F(DevicesTest, DeferredImagesAreListedFoundAndKeptFromStarting) {
    const std::vector<UINT8> pe = PeWriter().Write();
    const std::string content = R"(, "content": {"hex": ")" + ToHex(pe.data(), pe.size()) + "\"}}";
    const std::string violates = R"(, "loadStatus": "EFI_SECURITY_VIOLATION")";
    const std::string denied = R"(, "loadStatus": "EFI_ACCESS_DENIED")";
    Describe(R"j("deferredImages": [{"path": "PciRoot(0)/Pci(1,0)", "bootOption": true)j" +
             content + R"j(, {"path": "PciRoot(0)/Pci(2,0)")j" + violates +
             R"j(}, {"path": "PciRoot(0)/Pci(3,0)")j" + denied + content +
             R"j(, {"path": "PciRoot(0)/Pci(4,0)"}, {"path": "PciRoot(0)/Pci(5,0)")j" + violates +
             content + "]");
    Boot([&] {
        auto* list = Find<EFI_DEFERRED_IMAGE_LOAD_PROTOCOL>(Machine());
        ASSERT_NE(list, nullptr);
        EXPECT_EQ(With(gEfiDeferredImageLoadProtocolGuid).size(), 1u);
        const EFI_STATUS expected[] = {EFI_SUCCESS, EFI_SECURITY_VIOLATION, EFI_ACCESS_DENIED,
                                       EFI_NOT_FOUND, EFI_SECURITY_VIOLATION};
        EFI_DEVICE_PATH_PROTOCOL* path = nullptr;
        void* bytes = nullptr;
        UINTN size = 0;
        BOOLEAN bootOption = FALSE;
        for (UINTN i = 0; i < std::size(expected); i++) {
            ASSERT_EQ(list->GetImageInfo(list, i, &path, &bytes, &size, &bootOption), EFI_SUCCESS);
            EXPECT_EQ(bootOption != FALSE, i == 0);
            EXPECT_EQ(size, i == 1 || i == 3 ? 0 : pe.size());
            EXPECT_EQ(bytes == nullptr, size == 0);
            // By the path, and from the listed buffer: that is no way around the platform's word.
            for (void* source : {static_cast<void*>(nullptr), bytes}) {
                EFI_HANDLE loaded = nullptr;
                EXPECT_EQ(bs->LoadImage(FALSE, image, path, source, source ? size : 0, &loaded),
                          expected[i])
                    << i;
                const bool there =
                    expected[i] == EFI_SUCCESS || expected[i] == EFI_SECURITY_VIOLATION;
                ASSERT_EQ(loaded != nullptr, there) << i;
                if (expected[i] == EFI_SECURITY_VIOLATION) {
                    EXPECT_TRUE(Machine().handles->Has(loaded, gEfiLoadedImageProtocolGuid));
                    EXPECT_EQ(bs->StartImage(loaded, nullptr, nullptr), EFI_SECURITY_VIOLATION);
                    EXPECT_EQ(bs->UnloadImage(loaded), EFI_SUCCESS);
                } else if (there) {
                    EXPECT_EQ(bs->StartImage(loaded, nullptr, nullptr), PeWriter::kAnswer);
                }
            }
        }
        EXPECT_EQ(list->GetImageInfo(list, std::size(expected), &path, &bytes, &size, &bootOption),
                  EFI_NOT_FOUND);
    });
    EXPECT_TRUE(violations.empty()) << violations[0];

    PowerOn("", [](Platform& p) { EXPECT_EQ(Find<EFI_DEFERRED_IMAGE_LOAD_PROTOCOL>(p), nullptr); });
}

TEST_F(DevicesTest, AllThreeLocationTextsAreTheCallersToFree) {
    const char* sections = R"j("devices": {"nic": {"kind": "nic", "path": "MAC(02AF4D100000,0x1)",
                                                   "fqdd": "NIC.Integrated.1-1-1"}})j";
    PowerOn(sections, [&](Platform& p) {
        auto* service = Find<KelmDeviceLocationProtocol>(p);
        CHAR16 stale[] = u"stale";
        CHAR16* location = stale;
        CHAR16* shortName = nullptr;
        EXPECT_EQ(service->GetDeviceLocation(service, p.Get<Devices>().Find("nic")->Path(),
                                             kDeviceLocationLanguage, &location, nullptr,
                                             &shortName),
                  EFI_SUCCESS);
        EXPECT_EQ(location, nullptr) << "a device without a location";
        ASSERT_NE(shortName, nullptr);
        EXPECT_EQ(ToUtf8(shortName), "NIC");
        EXPECT_EQ(p.arena->FreePool(shortName), EFI_SUCCESS);
    });
}

} // namespace
} // namespace simtest
