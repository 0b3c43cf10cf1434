#include "sim/firmware/DriverModel.h"
#include "tests/sim/TestMachine.h"
#include "uefi/DriverBinding.h"

namespace {

using namespace simtest;

constexpr EFI_GUID kOne = {0x11111111, 1, 1, {1}};
constexpr EFI_GUID kTwo = {0x22222222, 2, 2, {2}};
constexpr EFI_GUID kBus = {0x33333333, 3, 3, {3}};
constexpr EFI_GUID kChild = {0x44444444, 4, 4, {4}};

using Handles = std::vector<EFI_HANDLE>;

// A path of PCI nodes: one device number a node.
template <std::size_t N>
struct Path {
    PCI_DEVICE_PATH nodes[N];
    EFI_DEVICE_PATH_PROTOCOL end = {kDevicePathTypeEnd, kEndSubTypeEntire, {4, 0}};

    explicit Path(const UINT8 (&devices)[N]) {
        for (std::size_t i = 0; i < N; i++) {
            nodes[i] = {{kDevicePathTypeHardware, kHardwareSubTypePci, {6, 0}}, 0, devices[i]};
        }
    }
    EFI_DEVICE_PATH_PROTOCOL* Start() { return &nodes[0].Header; }
};

class AHandleDatabase : public TestMachine {
protected:
    static EFI_HANDLE Install(const EFI_GUID& protocol, void* interface,
                              EFI_HANDLE handle = nullptr) {
        EXPECT_EQ(bs->InstallProtocolInterface(&handle, &protocol, EFI_NATIVE_INTERFACE, interface),
                  EFI_SUCCESS);
        return handle;
    }

    static Handles Located(EFI_LOCATE_SEARCH_TYPE kind, const EFI_GUID* protocol, void* key) {
        UINTN count = 0;
        EFI_HANDLE* buffer = nullptr;
        const EFI_STATUS status = bs->LocateHandleBuffer(kind, protocol, key, &count, &buffer);
        EXPECT_EQ(status == EFI_SUCCESS, count != 0);
        const Handles handles(buffer, buffer + count);
        if (buffer != nullptr) {
            bs->FreePool(buffer);
        }
        return handles;
    }

    std::string log;
    int interfaces[8] = {};
};

TEST_F(AHandleDatabase, TellsWhoeverRegisteredOfOldAndNewInterfaces) {
    Logged context{&log, "notified"};
    Boot([&] {
        const EFI_HANDLE old = Install(kOne, &interfaces[0]);
        EFI_EVENT event = nullptr;
        void* key = nullptr;
        bs->CreateEvent(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, Logged::Notify, &context, &event);
        EXPECT_EQ(bs->RegisterProtocolNotify(&kOne, event, &key), EFI_SUCCESS);
        EXPECT_EQ(log, "");
        const EFI_HANDLE other = Install(kTwo, &interfaces[1]);
        EXPECT_EQ(log, "");
        Install(kOne, &interfaces[2], other);
        EXPECT_EQ(log, "notified ");

        UINTN size = 0;
        EFI_HANDLE one = nullptr;
        EXPECT_EQ(bs->LocateHandle(ByRegisterNotify, nullptr, key, &size, &one),
                  EFI_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, sizeof one);
        EXPECT_EQ(bs->LocateHandle(ByRegisterNotify, nullptr, key, &size, &one), EFI_SUCCESS);
        EXPECT_EQ(one, old) << "a search without room does not count";
        EXPECT_EQ(Located(ByRegisterNotify, nullptr, key), Handles{other});
        EXPECT_EQ(Located(ByRegisterNotify, nullptr, key), Handles{});

        EXPECT_EQ(bs->ReinstallProtocolInterface(old, &kOne, &interfaces[0], &interfaces[3]),
                  EFI_SUCCESS);
        void* interface = nullptr;
        EXPECT_EQ(bs->LocateProtocol(&kOne, key, &interface), EFI_SUCCESS);
        EXPECT_EQ(interface, &interfaces[3]);
        EXPECT_EQ(bs->LocateProtocol(&kOne, key, &interface), EFI_NOT_FOUND);
        EXPECT_TRUE(Machine().handles->WasUninstalled(&interfaces[0]));
        EXPECT_EQ(log, "notified notified ");
        bs->CloseEvent(event);
        Install(kOne, &interfaces[4]);
        EXPECT_EQ(Located(ByRegisterNotify, nullptr, key), Handles{}) << "it died with its event";
    });
    EXPECT_EQ(log, "notified notified ");
    EXPECT_TRUE(violations.empty());
}

TEST_F(AHandleDatabase, InstallsAndUninstallsSeveralOrNone) {
    struct Seen {
        EFI_HANDLE handle;
        bool both;
    } seen{};
    Path<1> path({5});
    Path<1> same({5});
    Boot([&] {
        EFI_EVENT event = nullptr;
        void* key = nullptr;
        bs->CreateEvent(
            EVT_NOTIFY_SIGNAL, TPL_CALLBACK,
            [](EFI_EVENT, void* raw) EFIAPI {
                auto& result = *static_cast<Seen*>(raw);
                result.handle = Machine().handles->WithProtocol(kOne).front();
                result.both = Machine().handles->Has(result.handle, kTwo);
            },
            &seen, &event);
        bs->RegisterProtocolNotify(&kOne, event, &key);
        EFI_HANDLE handle = nullptr;
        EXPECT_EQ(bs->InstallMultipleProtocolInterfaces(&handle, &gEfiDevicePathProtocolGuid,
                                                        path.Start(), &kOne, &interfaces[0], &kTwo,
                                                        nullptr, nullptr),
                  EFI_SUCCESS);
        EXPECT_EQ(seen.handle, handle);
        EXPECT_TRUE(seen.both);

        const std::size_t count = Machine().handles->All().size();
        EFI_HANDLE fails = nullptr;
        EXPECT_EQ(bs->InstallMultipleProtocolInterfaces(&fails, &kBus, &interfaces[1], &kBus,
                                                        &interfaces[2], nullptr),
                  EFI_INVALID_PARAMETER);
        EXPECT_EQ(bs->InstallMultipleProtocolInterfaces(&fails, &kBus, &interfaces[1],
                                                        &gEfiDevicePathProtocolGuid, same.Start(),
                                                        nullptr),
                  EFI_ALREADY_STARTED);
        EXPECT_EQ(fails, nullptr);
        EXPECT_EQ(Machine().handles->All().size(), count) << "nothing is left of a failure";

        EXPECT_EQ(bs->UninstallMultipleProtocolInterfaces(handle, &kOne, &interfaces[0], &kBus,
                                                          &interfaces[1], nullptr),
                  EFI_INVALID_PARAMETER);
        EXPECT_TRUE(Machine().handles->Has(handle, kOne));
        EXPECT_EQ(bs->UninstallMultipleProtocolInterfaces(handle, &kOne, &interfaces[0], &kTwo,
                                                          nullptr, &gEfiDevicePathProtocolGuid,
                                                          path.Start(), nullptr),
                  EFI_SUCCESS);
        EXPECT_FALSE(Machine().handles->IsValid(handle)) << "a handle dies with its last interface";
        void* interface = &log;
        EXPECT_EQ(bs->HandleProtocol(handle, &kOne, &interface), EFI_INVALID_PARAMETER);
        EXPECT_EQ(bs->InstallProtocolInterface(&handle, &kOne, EFI_NATIVE_INTERFACE, nullptr),
                  EFI_INVALID_PARAMETER);
        EXPECT_EQ(bs->UninstallProtocolInterface(handle, &kOne, nullptr), EFI_INVALID_PARAMETER);
    });
    EXPECT_TRUE(Traced("signal").empty()) << "a null interface beside others is a mark, no signal";
    Boot([&] {
        const EFI_HANDLE hook = Install(kOne, nullptr);
        bs->UninstallProtocolInterface(hook, &kOne, nullptr);
        Install(kOne, nullptr);
    });
    EXPECT_EQ(Traced("signal").size(), 2u);
}

TEST_F(AHandleDatabase, FindsTheDeviceNearestToAPath) {
    Path<1> bridge({1});
    Path<2> device({1, 2});
    Path<3> file({1, 2, 3});
    Path<2> elsewhere({9, 2});
    Boot([&] {
        const EFI_HANDLE near = Install(gEfiDevicePathProtocolGuid, device.Start());
        const EFI_HANDLE far = Install(gEfiDevicePathProtocolGuid, bridge.Start());
        Install(kOne, &interfaces[0], far);
        EFI_DEVICE_PATH_PROTOCOL* path = file.Start();
        EFI_HANDLE handle = nullptr;
        EXPECT_EQ(bs->LocateDevicePath(&gEfiDevicePathProtocolGuid, &path, &handle), EFI_SUCCESS);
        EXPECT_EQ(handle, near);
        EXPECT_EQ(path, &file.nodes[2].Header);
        path = file.Start();
        EXPECT_EQ(bs->LocateDevicePath(&kOne, &path, &handle), EFI_SUCCESS);
        EXPECT_EQ(handle, far);
        EXPECT_EQ(path, &file.nodes[1].Header);
        path = elsewhere.Start();
        EXPECT_EQ(bs->LocateDevicePath(&kOne, &path, &handle), EFI_NOT_FOUND);
        EXPECT_EQ(path, elsewhere.Start());
        EXPECT_EQ(bs->LocateDevicePath(&kOne, nullptr, &handle), EFI_INVALID_PARAMETER);
    });
}

// ---- Drivers

// A driver of one protocol; a bus driver also makes two children.
struct TestDriver {
    EFI_DRIVER_BINDING_PROTOCOL binding{};
    std::string* log = nullptr;
    const char* name = "";
    EFI_GUID protocol{};
    bool makesChildren = false;
    bool staysForEver = false;
    EFI_HANDLE children[2] = {};
    Path<2> childPaths[2] = {Path<2>({1, 8}), Path<2>({1, 9})};

    void Install(std::string& driverLog, const char* driverName, const EFI_GUID& guid,
                 UINT32 version) {
        log = &driverLog;
        name = driverName;
        protocol = guid;
        binding = {Supported, Start, Stop, version, TestMachineImage(), nullptr};
        Platform::Current().handles->Install(&binding.DriverBindingHandle,
                                             gEfiDriverBindingProtocolGuid, &binding);
    }

    static EFI_HANDLE TestMachineImage() { return Platform::Current().images->Running(); }
    static TestDriver& Self(EFI_DRIVER_BINDING_PROTOCOL* binding) {
        return *reinterpret_cast<TestDriver*>(binding);
    }
    void Log(const char* what) const { *log += std::string(name) + what + " "; }

    static EFI_STATUS EFIAPI Supported(EFI_DRIVER_BINDING_PROTOCOL* self, EFI_HANDLE controller,
                                       EFI_DEVICE_PATH_PROTOCOL*) {
        TestDriver& driver = Self(self);
        void* interface = nullptr;
        const EFI_STATUS status = Platform::Current().handles->Open(
            controller, driver.protocol, &interface, self->DriverBindingHandle, controller,
            EFI_OPEN_PROTOCOL_BY_DRIVER);
        if (status == EFI_SUCCESS) {
            Platform::Current().handles->Close(controller, driver.protocol,
                                               self->DriverBindingHandle, controller);
        }
        return status;
    }

    static EFI_STATUS EFIAPI Start(EFI_DRIVER_BINDING_PROTOCOL* self, EFI_HANDLE controller,
                                   EFI_DEVICE_PATH_PROTOCOL*) {
        TestDriver& driver = Self(self);
        HandleDatabase& handles = *Platform::Current().handles;
        driver.Log("+");
        void* interface = nullptr;
        handles.Open(controller, driver.protocol, &interface, self->DriverBindingHandle, controller,
                     EFI_OPEN_PROTOCOL_BY_DRIVER);
        for (int i = 0; i < 2 && driver.makesChildren; i++) {
            handles.Install(&driver.children[i], gEfiDevicePathProtocolGuid,
                            driver.childPaths[i].Start());
            handles.Install(&driver.children[i], kChild, &driver);
            handles.Open(controller, driver.protocol, &interface, self->DriverBindingHandle,
                         driver.children[i], EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER);
        }
        return EFI_SUCCESS;
    }

    static EFI_STATUS EFIAPI Stop(EFI_DRIVER_BINDING_PROTOCOL* self, EFI_HANDLE controller,
                                  UINTN count, EFI_HANDLE* children) {
        TestDriver& driver = Self(self);
        HandleDatabase& handles = *Platform::Current().handles;
        if (driver.staysForEver) {
            return EFI_DEVICE_ERROR;
        }
        for (UINTN i = 0; i < count; i++) {
            driver.Log("-child");
            handles.Close(controller, driver.protocol, self->DriverBindingHandle, children[i]);
            auto* path = handles.Find(children[i], gEfiDevicePathProtocolGuid);
            EXPECT_EQ(handles.Uninstall(children[i], kChild, &driver), EFI_SUCCESS);
            EXPECT_EQ(handles.Uninstall(children[i], gEfiDevicePathProtocolGuid, path),
                      EFI_SUCCESS);
        }
        if (count == 0) {
            driver.Log("-");
            handles.Close(controller, driver.protocol, self->DriverBindingHandle, controller);
        }
        return EFI_SUCCESS;
    }
};

class ADriverModel : public AHandleDatabase {
protected:
    // A bus with a bus driver and two drivers that fight for its children.
    void Prepare() {
        bus.makesChildren = true;
        bus.Install(log, "bus", kBus, 0x10);
        oldDriver.Install(log, "old", kChild, 0x10);
        newDriver.Install(log, "new", kChild, 0x20);
        controller = Install(gEfiDevicePathProtocolGuid, path.Start());
        Install(kBus, &interfaces[0], controller);
        log.clear();
    }

    TestDriver bus, oldDriver, newDriver;
    Path<1> path{{1}};
    EFI_HANDLE controller = nullptr;
};

TEST_F(ADriverModel, ConnectsByVersionAndTakesApartAgain) {
    EFI_DEVICE_PATH_PROTOCOL end = {kDevicePathTypeEnd, kEndSubTypeEntire, {4, 0}};
    Boot([&] {
        Prepare();
        EXPECT_EQ(bs->ConnectController(controller, nullptr, nullptr, FALSE), EFI_SUCCESS);
        EXPECT_EQ(log, "bus+ ");
        EXPECT_EQ(bs->ConnectController(controller, nullptr, nullptr, TRUE), EFI_NOT_FOUND)
            << "nothing new on the controller itself";
        EXPECT_EQ(log, "bus+ new+ new+ ");
        EXPECT_EQ(bs->ConnectController(controller, nullptr, &end, FALSE), EFI_SUCCESS);
        log.clear();

        EXPECT_EQ(bs->DisconnectController(bus.children[0], nullptr, nullptr), EFI_SUCCESS);
        EFI_HANDLE wanted[] = {oldDriver.binding.DriverBindingHandle, nullptr};
        EXPECT_EQ(bs->ConnectController(bus.children[0], wanted, nullptr, FALSE), EFI_SUCCESS);
        EXPECT_EQ(log, "new- old+ ");
        log.clear();

        EXPECT_EQ(bs->DisconnectController(controller, nullptr, bus.children[1]), EFI_SUCCESS);
        EXPECT_EQ(log, "bus-child new- ");
        EXPECT_EQ(bs->DisconnectController(controller, nullptr, nullptr), EFI_SUCCESS);
        EXPECT_EQ(log, "bus-child new- bus-child old- bus- ");
        EXPECT_EQ(bs->DisconnectController(controller, nullptr, nullptr), EFI_SUCCESS);
        EXPECT_TRUE(Machine().handles->WithProtocol(kChild).empty());
        EXPECT_EQ(bs->ConnectController(&log, nullptr, nullptr, TRUE), EFI_INVALID_PARAMETER);
    });
    const std::string traced =
        R"x({"path":"Pci(0x1,0x0)","recursive":false,"status":"EFI_SUCCESS"})x";
    EXPECT_EQ(Traced("connect").front(), traced);
    EXPECT_TRUE(violations.empty());
}

TEST_F(ADriverModel, AnswersOpensByTheRulesOfTheirAttributes) {
    Boot([&] {
        Prepare();
        const EFI_HANDLE agent = oldDriver.binding.DriverBindingHandle;
        const EFI_HANDLE other = newDriver.binding.DriverBindingHandle;
        void* interface = nullptr;
        const auto open = [&](EFI_HANDLE who, UINT32 attributes) {
            return bs->OpenProtocol(controller, &kBus, &interface, who, controller, attributes);
        };
        EXPECT_EQ(open(agent, EFI_OPEN_PROTOCOL_BY_DRIVER), EFI_SUCCESS);
        interface = nullptr;
        EXPECT_EQ(open(agent, EFI_OPEN_PROTOCOL_BY_DRIVER), EFI_ALREADY_STARTED);
        EXPECT_EQ(interface, &interfaces[0]);
        EXPECT_EQ(open(other, EFI_OPEN_PROTOCOL_BY_DRIVER), EFI_ACCESS_DENIED);
        EXPECT_EQ(open(other, EFI_OPEN_PROTOCOL_GET_PROTOCOL), EFI_SUCCESS);
        EXPECT_EQ(open(other, EFI_OPEN_PROTOCOL_GET_PROTOCOL), EFI_SUCCESS);
        EXPECT_EQ(open(other, EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER), EFI_INVALID_PARAMETER);
        EXPECT_EQ(open(&log, EFI_OPEN_PROTOCOL_EXCLUSIVE), EFI_INVALID_PARAMETER);
        EXPECT_EQ(open(agent, 0), EFI_INVALID_PARAMETER);
        EXPECT_EQ(open(agent, EFI_OPEN_PROTOCOL_GET_PROTOCOL | EFI_OPEN_PROTOCOL_EXCLUSIVE),
                  EFI_INVALID_PARAMETER);
        EXPECT_EQ(bs->OpenProtocol(controller, &kTwo, &interface, agent, controller,
                                   EFI_OPEN_PROTOCOL_GET_PROTOCOL),
                  EFI_UNSUPPORTED);
        EXPECT_EQ(interface, nullptr);
        EXPECT_EQ(bs->OpenProtocol(controller, &kBus, nullptr, nullptr, nullptr,
                                   EFI_OPEN_PROTOCOL_TEST_PROTOCOL),
                  EFI_SUCCESS);
        EXPECT_EQ(bs->HandleProtocol(controller, &kBus, &interface), EFI_SUCCESS);

        EFI_OPEN_PROTOCOL_INFORMATION_ENTRY* entries = nullptr;
        UINTN count = 0;
        EXPECT_EQ(bs->OpenProtocolInformation(controller, &kBus, &entries, &count), EFI_SUCCESS);
        EXPECT_EQ(count, 3u);
        if (count == 3) {
            EXPECT_EQ(entries[0].AgentHandle, agent);
            EXPECT_EQ(entries[1].OpenCount, 2u);
            EXPECT_EQ(entries[2].Attributes, EFI_OPEN_PROTOCOL_BY_HANDLE_PROTOCOL);
        }
        bs->FreePool(entries);
        EXPECT_EQ(bs->CloseProtocol(controller, &kBus, agent, controller), EFI_SUCCESS);
        EXPECT_EQ(bs->CloseProtocol(controller, &kBus, agent, controller), EFI_NOT_FOUND);

        // An exclusive open makes the managing driver let go, and then keeps others out.
        bs->ConnectController(controller, nullptr, nullptr, FALSE);
        log.clear();
        EXPECT_EQ(open(other, EFI_OPEN_PROTOCOL_EXCLUSIVE), EFI_SUCCESS);
        EXPECT_EQ(log, "bus-child bus-child bus- ");
        EXPECT_EQ(open(agent, EFI_OPEN_PROTOCOL_BY_DRIVER), EFI_ACCESS_DENIED);
        EXPECT_EQ(open(agent, EFI_OPEN_PROTOCOL_EXCLUSIVE), EFI_ACCESS_DENIED);
        EXPECT_EQ(bs->UninstallProtocolInterface(controller, &kBus, &interfaces[0]),
                  EFI_ACCESS_DENIED);
        bs->CloseProtocol(controller, &kBus, other, controller);

        // A driver that does not stop keeps its interface in place.
        bs->ConnectController(controller, nullptr, nullptr, FALSE);
        bus.staysForEver = true;
        EXPECT_EQ(open(other, EFI_OPEN_PROTOCOL_EXCLUSIVE), EFI_ACCESS_DENIED);
        EXPECT_EQ(bs->UninstallProtocolInterface(controller, &kBus, &interfaces[0]),
                  EFI_ACCESS_DENIED);
        bus.staysForEver = false;
        EXPECT_EQ(bs->UninstallProtocolInterface(controller, &kBus, &interfaces[0]), EFI_SUCCESS);
        EXPECT_TRUE(Machine().handles->WithProtocol(kChild).empty());
    });
    EXPECT_TRUE(violations.empty());
}

TEST_F(AHandleDatabase, SeesHandleBuffersThatAPhaseForgets) {
    Boot([&] {
        MemoryService& memory = *Machine().memory;
        EFI_HANDLE* outside = nullptr;
        EFI_HANDLE* kept = nullptr;
        EFI_GUID** protocols = nullptr;
        UINTN count = 0;
        bs->LocateHandleBuffer(AllHandles, nullptr, nullptr, &count, &outside);
        memory.PhaseStarted("whole");
        memory.PhaseStarted("clean");
        EXPECT_EQ(Located(AllHandles, nullptr, nullptr).size(), count);
        memory.PhaseEnded("clean");
        memory.PhaseStarted("leaky");
        bs->LocateHandleBuffer(ByProtocol, &gEfiLoadedImageProtocolGuid, nullptr, &count, &kept);
        EXPECT_EQ(bs->ProtocolsPerHandle(kept[0], &protocols, &count), EFI_SUCCESS);
        EXPECT_EQ(*protocols[0], gEfiLoadedImageProtocolGuid);
        bs->FreePool(protocols);
        memory.PhaseEnded("leaky");
        memory.PhaseEnded("whole");
        memory.PhaseEnded("never begun");
    });
    ASSERT_EQ(violations.size(), 1u);
    EXPECT_EQ(violations[0].rfind("handle buffer leaked in leaky: LocateHandleBuffer at 0x", 0), 0u)
        << violations[0];
}

} // namespace
