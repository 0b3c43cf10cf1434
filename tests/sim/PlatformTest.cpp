#include "tests/sim/PeWriter.h"
#include "tests/sim/TestMachine.h"

#include "kelm/FileGuids.h"
#include "library/pure/Crc32.h"
#include "sim/firmware/HobList.h"
#include "sim/firmware/PhaseWatch.h"
#include "uefi/BdsArch.h"
#include "uefi/Hob.h"
#include "uefi/WatchdogTimerArch.h"

#include <cstring>

namespace {

using namespace simtest;

class APlatform : public TestMachine {};

// An image whose entry is the given code.
std::vector<UINT8> ImageOf(std::initializer_list<int> code, UINT16 subsystem = 10) {
    PeWriter writer;
    writer.subsystem = subsystem;
    std::vector<UINT8> bytes = writer.Write();
    PeWriter::Put(bytes, PeWriter::kSections + 8, UINT32(code.size())); // size in memory
    UINT8* at = bytes.data() + PeWriter::kCodeInFile;
    for (int byte : code) {
        *at++ = UINT8(byte);
    }
    return bytes;
}

// mov rax, [rdx + 0x60]; mov rax, [rax + 0xD8]; mov edx, 7; xor r8, r8; xor r9, r9;
// sub rsp, 40; call rax; ud2: boot services Exit(image, 7, 0, nullptr), then an exception.
constexpr auto kExitWithSeven = {0x48, 0x8B, 0x42, 0x60, 0x48, 0x8B, 0x80, 0xD8, 0x00, 0x00,
                                 0x00, 0xBA, 0x07, 0x00, 0x00, 0x00, 0x4D, 0x31, 0xC0, 0x4D,
                                 0x31, 0xC9, 0x48, 0x83, 0xEC, 0x28, 0xFF, 0xD0, 0x0F, 0x0B};
// xor eax, eax; ret
constexpr auto kSucceed = {0x31, 0xC0, 0xC3};
// in al, 0x80; cli; hlt; ud2
constexpr auto kHalt = {0xE4, 0x80, 0xFA, 0xF4, 0x0F, 0x0B};

TEST_F(APlatform, EndsEveryBootForAReasonThatTheTraceTells) {
    static EFI_BDS_ARCH_PROTOCOL bds;
    bds.Entry = [](EFI_BDS_ARCH_PROTOCOL*) EFIAPI {};
    struct Row {
        void (*body)();
        const char* reason;
        const char* detail;
    };
    const Row rows[] = {
        {[] {}, "halted", "there is no BDS architectural protocol"},
        {[] {
             EFI_HANDLE handle = nullptr;
             bs->InstallProtocolInterface(&handle, &gEfiBdsArchProtocolGuid, EFI_NATIVE_INTERFACE,
                                          &bds);
         },
         "halted", "the BDS entry returned"},
        {[] { rs->ResetSystem(EfiResetWarm, EFI_SUCCESS, 0, nullptr); }, "reset-warm", ""},
        {[] { rs->ResetSystem(EfiResetCold, EFI_SUCCESS, 0, nullptr); }, "reset-cold", ""},
        {[] { rs->ResetSystem(EfiResetShutdown, EFI_SUCCESS, 0, nullptr); }, "shutdown", ""},
        {[] {
             Machine().cpu->SetInterrupts(false);
             Machine().cpu->Halt();
         },
         "halted", "the processor was halted with interrupts off"},
        {[] { bs->Exit(image, EFI_ABORTED, 0, nullptr); }, "halted",
         "the driver's entry returned EFI_ABORTED"},
        {[] {
             bs->SetWatchdogTimer(300, 0, 0, nullptr);
             bs->Stall(299000000);
             bs->SetWatchdogTimer(10, 0, 0, nullptr);
             for (;;) {
                 bs->Stall(1000000);
             }
         },
         "reset-cold", ""},
    };
    unsigned boots = 0;
    for (const Row& row : rows) {
        const BootResult result = Boot(row.body);
        EXPECT_EQ(EndReasonText(result.reason), row.reason);
        EXPECT_EQ(result.detail, row.detail);
        EXPECT_EQ(Traced("end"),
                  std::vector<std::string>{std::string(R"({"reason":")") + row.reason +
                                           R"(","boot":)" + std::to_string(++boots) + "}"});
        EXPECT_TRUE(violations.empty());
    }
    EXPECT_EQ(Traced("watchdog"), std::vector<std::string>{R"({"seconds":10})"});
    EXPECT_EQ(Traced("reset"),
              std::vector<std::string>{R"({"type":"cold","status":"EFI_TIMEOUT"})"});
    EXPECT_EQ(trace.Events().back()["t"], 309000000u);

    // After a reset the server goes on by itself.
    Server again(server.machine, NvStore(), server.driver, trace);
    const std::vector<BootResult> results = again.Boots(3);
    EXPECT_EQ(results.size(), 3u);
    EXPECT_EQ(again.boots, 3u);
}

TEST_F(APlatform, TellsTheWatchdogHandlerBeforeItResets) {
    static std::string log;
    log.clear();
    Boot([] {
        void* interface = nullptr;
        bs->LocateProtocol(&gEfiWatchdogTimerArchProtocolGuid, nullptr, &interface);
        auto* watchdog = static_cast<EFI_WATCHDOG_TIMER_ARCH_PROTOCOL*>(interface);
        EXPECT_EQ(watchdog->RegisterHandler(watchdog, nullptr), EFI_INVALID_PARAMETER);
        EXPECT_EQ(watchdog->RegisterHandler(watchdog, [](UINT64 time)
                                                          EFIAPI { log += std::to_string(time); }),
                  EFI_SUCCESS);
        EXPECT_EQ(watchdog->RegisterHandler(watchdog, [](UINT64) EFIAPI {}), EFI_ALREADY_STARTED);
        bs->SetWatchdogTimer(1, 0, 0, nullptr);
        bs->SetWatchdogTimer(0, 0, 0, nullptr);
        bs->Stall(2000000);
        EXPECT_EQ(log, "");
        bs->SetWatchdogTimer(1, 0, 0, nullptr);
        bs->Stall(2000000);
        ADD_FAILURE() << "it must have reset";
    });
    EXPECT_EQ(log, "10000000");
}

TEST_F(APlatform, FindsMisusedMemory) {
    Boot([&] {
        char* block = nullptr;
        void* raw = nullptr;
        bs->AllocatePool(EfiBootServicesData, 10, &raw);
        block = static_cast<char*>(raw);
        bs->FreePool(block);
        EXPECT_EQ(bs->FreePool(block), EFI_INVALID_PARAMETER);
        EXPECT_EQ(bs->FreePool(&block), EFI_INVALID_PARAMETER);
        EXPECT_EQ(bs->FreePool(nullptr), EFI_INVALID_PARAMETER);
        EFI_PHYSICAL_ADDRESS pages = 0;
        EXPECT_EQ(bs->AllocatePages(AllocateAnyPages, EfiBootServicesData, 2, &pages), EFI_SUCCESS);
        EXPECT_EQ(bs->FreePages(pages, 2), EFI_SUCCESS);
        EXPECT_EQ(bs->FreePages(pages, 2), EFI_NOT_FOUND);
    });
    EXPECT_EQ(violations.size(), 3u);
    Describe(R"("limits": {"poolBytes": 4194304})");
    Boot([&] {
        void* raw = nullptr;
        EXPECT_EQ(bs->AllocatePool(EfiBootServicesData, 8 << 20, &raw), EFI_OUT_OF_RESOURCES);
    });
    Describe(R"("limits": {"poolBytes": 1048576})");
    EXPECT_EQ(Boot([] { ADD_FAILURE() << "there is no memory for the driver"; }).detail,
              "the driver could not be loaded: EFI_OUT_OF_RESOURCES");
}

// Buffers that nobody can hold any more when the boot ends, and those that somebody may.
TEST_F(APlatform, FindsHandleBuffersThatAreForgottenWhenTheBootEnds) {
    const auto locate = [] {
        UINTN count = 0;
        EFI_HANDLE* buffer = nullptr;
        EXPECT_EQ(bs->LocateHandleBuffer(AllHandles, nullptr, nullptr, &count, &buffer),
                  EFI_SUCCESS);
    };
    const auto reset = [] { rs->ResetSystem(EfiResetCold, EFI_SUCCESS, 0, nullptr); };
    Boot([&] {
        Machine().phases->Started("BDS");
        Machine().phases->Started("first");
        locate(); // held by the function that resets, which measures a part of its work
        Machine().phases->Started("part");
        reset();
    });
    EXPECT_TRUE(violations.empty());
    Boot([&] {
        Machine().phases->Started("BDS");
        locate(); // between the phases
        Machine().phases->Started("next");
        locate();
        reset();
    });
    EXPECT_EQ(violations.size(), 1u);
    EXPECT_EQ(violations.at(0).rfind("handle buffer leaked: LocateHandleBuffer at ", 0), 0u);
    Boot([&] {
        Machine().phases->Started("BDS");
        locate();
        Machine().phases->Started("next");
        Machine().phases->Ended("next");
        locate(); // by whoever resets
        reset();
    });
    EXPECT_EQ(violations.size(), 1u);
}

TEST_F(APlatform, InjectsFaultsIntoTheCallsThatTheMachineNames) {
    Describe(R"("faults": [
        {"call": "AllocatePool", "nth": 2, "status": "EFI_OUT_OF_RESOURCES"},
        {"call": "Pcd.SetBool", "nth": 1, "status": "EFI_DEVICE_ERROR", "onward": true}],
        "pcds": {"3df141ba-47eb-45b3-98c2-3041af59da19/0x22": {"type": "bool", "value": true},
                 "3df141ba-47eb-45b3-98c2-3041af59da19/0x23": {"type": "u64", "value": "0x123456789"},
                 "3df141ba-47eb-45b3-98c2-3041af59da19/0x24": {"type": "pointer", "value": "010203"}})");
    Boot([&] {
        void* block = nullptr;
        EXPECT_EQ(bs->AllocatePool(EfiBootServicesData, 1, &block), EFI_SUCCESS);
        EXPECT_EQ(bs->AllocatePool(EfiBootServicesData, 1, &block), EFI_OUT_OF_RESOURCES);
        EXPECT_EQ(bs->AllocatePool(EfiBootServicesData, 1, &block), EFI_SUCCESS);
        EXPECT_EQ(Machine().faults->Calls("AllocatePool"), 3u);

        void* interface = nullptr;
        bs->LocateProtocol(&gEfiPcdProtocolGuid, nullptr, &interface);
        const auto* pcd = static_cast<EFI_PCD_PROTOCOL*>(interface);
        constexpr EFI_GUID kSpace = {
            0x3DF141BA, 0x47EB, 0x45B3, {0x98, 0xC2, 0x30, 0x41, 0xAF, 0x59, 0xDA, 0x19}};
        EXPECT_EQ(pcd->SetBool(&kSpace, 0x22, FALSE), EFI_DEVICE_ERROR);
        EXPECT_EQ(pcd->SetBool(&kSpace, 0x22, FALSE), EFI_DEVICE_ERROR);
        EXPECT_EQ(pcd->GetBool(&kSpace, 0x22), TRUE);
        EXPECT_EQ(pcd->Get64(&kSpace, 0x23), 0x123456789u);
        EXPECT_EQ(pcd->Set64(&kSpace, 0x23, 5), EFI_SUCCESS);
        EXPECT_EQ(pcd->Get8(&kSpace, 0x23), 5);
        EXPECT_EQ(pcd->Set8(&kSpace, 0x23, 5), EFI_INVALID_PARAMETER);
        EXPECT_EQ(pcd->Set8(&kSpace, 0x99, 5), EFI_NOT_FOUND);
        EXPECT_EQ(pcd->Get32(&kSpace, 0x99), 0u);
        EXPECT_EQ(pcd->GetSize(&kSpace, 0x24), 3u);
        EXPECT_EQ(std::memcmp(pcd->GetPtr(&kSpace, 0x24), "\1\2\3", 3), 0);
        UINTN token = PCD_INVALID_TOKEN_NUMBER;
        std::string tokens;
        while (pcd->GetNextToken(&kSpace, &token) == EFI_SUCCESS) {
            tokens += std::to_string(token) + " ";
        }
        EXPECT_EQ(tokens, "34 35 36 ");
    });
    EXPECT_EQ(Traced("fault").size(), 3u);
    for (const char* call :
         {"SetVarible", "Pcd.Get8", "NoProtocol.Get", "SimpleTextOutput.Print"}) {
        try {
            Describe(std::string(R"("faults": [{"call": "Stall"}, {"call": ")") + call + R"("}])");
            server.PowerOn();
            ADD_FAILURE() << call << " is no call";
        } catch (const MachineFileError& error) {
            EXPECT_EQ(std::string(error.what()),
                      std::string("machine: /faults/1/call: there is no call \"") + call + "\"");
        }
    }
    Describe(R"("missing": ["Pcd"])");
    Boot([&] {
        void* interface = nullptr;
        EXPECT_EQ(bs->LocateProtocol(&gEfiPcdProtocolGuid, nullptr, &interface), EFI_NOT_FOUND);
    });
}

TEST_F(APlatform, ShowsTablesThatAreWhatTheStandardSays) {
    Describe(R"("hobs": [{"guid": "528f01c0-6f61-4366-b878-fa2d73b409ec", "hex": "01 02 03"}])");
    constexpr EFI_GUID kTable = {7, 7, 7, {7}};
    Logged listener;
    std::string log;
    listener = {&log, "installed"};
    Boot([&] {
        const auto crcIsRight = [](EFI_TABLE_HEADER& header) {
            const UINT32 crc = header.CRC32;
            header.CRC32 = 0;
            const UINT32 computed = kelm::Crc32(&header, header.HeaderSize);
            header.CRC32 = crc;
            return crc == computed;
        };
        EXPECT_TRUE(crcIsRight(st->Hdr));
        EXPECT_TRUE(crcIsRight(bs->Hdr));
        EXPECT_TRUE(crcIsRight(rs->Hdr));
        // No slot is empty but the reserved one.
        const auto* slots = reinterpret_cast<void* const*>(&bs->RaiseTPL);
        for (std::size_t i = 0; i < (sizeof *bs - sizeof bs->Hdr) / sizeof(void*); i++) {
            EXPECT_EQ(slots[i] == nullptr, &slots[i] == &bs->Reserved) << i;
        }

        EFI_EVENT event = nullptr;
        bs->CreateEventEx(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, Logged::Notify, &listener, &kTable,
                          &event);
        const UINTN before = st->NumberOfTableEntries;
        EXPECT_EQ(bs->InstallConfigurationTable(&kTable, nullptr), EFI_NOT_FOUND);
        EXPECT_EQ(bs->InstallConfigurationTable(&kTable, &log), EFI_SUCCESS);
        EXPECT_EQ(bs->InstallConfigurationTable(&kTable, bs), EFI_SUCCESS);
        EXPECT_EQ(st->NumberOfTableEntries, before + 1);
        EXPECT_EQ(Machine().core->ConfigurationTable(kTable), bs);
        EXPECT_TRUE(crcIsRight(st->Hdr));
        EXPECT_EQ(bs->InstallConfigurationTable(&kTable, nullptr), EFI_SUCCESS);
        EXPECT_EQ(st->NumberOfTableEntries, before);
        EXPECT_EQ(log, "installed installed installed ");

        // The HOB list, walked as its readers do.
        auto* hob = static_cast<UINT8*>(Machine().core->ConfigurationTable(gEfiHobListGuid));
        std::vector<UINT16> types;
        for (;;) {
            const auto* header = reinterpret_cast<EFI_HOB_GENERIC_HEADER*>(hob);
            types.push_back(header->HobType);
            EXPECT_EQ(header->HobLength % 8, 0);
            if (header->HobType == EFI_HOB_TYPE_GUID_EXTENSION) {
                EXPECT_EQ(header->HobLength, 32);
                EXPECT_EQ(std::memcmp(hob + sizeof(EFI_HOB_GUID_TYPE), "\1\2\3\0", 4), 0);
            }
            if (header->HobType == EFI_HOB_TYPE_END_OF_HOB_LIST) {
                break;
            }
            hob += header->HobLength;
        }
        EXPECT_EQ(types, (std::vector<UINT16>{EFI_HOB_TYPE_HANDOFF, EFI_HOB_TYPE_GUID_EXTENSION,
                                              EFI_HOB_TYPE_END_OF_HOB_LIST}));

        EFI_TIME time{};
        bs->Stall(59 * 86400ull * 1000000 % 3000000000); // within the limit of time
        EXPECT_EQ(rs->GetTime(&time, nullptr), EFI_SUCCESS);
        EXPECT_EQ(time.Year, 2026);
        time = {2027, 2, 29, 0, 0, 0, 0, 0, 0, 0, 0};
        EXPECT_EQ(rs->SetTime(&time), EFI_INVALID_PARAMETER);
        time = {2028, 2, 28, 23, 59, 59, 0, 0, 0, 0, 0};
        EXPECT_EQ(rs->SetTime(&time), EFI_SUCCESS);
        bs->Stall(2000000);
        rs->GetTime(&time, nullptr);
        EXPECT_EQ(time.Month * 100 + time.Day, 229) << "2028 is a leap year";
        EXPECT_EQ(time.Second, 1);
    });
    EXPECT_TRUE(violations.empty());
}

TEST_F(APlatform, MapsMemorySpaceAndTakesTheFontVolume) {
    Boot([&] {
        EFI_DXE_SERVICES* ds = Machine().core->DxeServices();
        EFI_GCD_MEMORY_SPACE_DESCRIPTOR descriptor{};
        EXPECT_EQ(ds->SetMemorySpaceAttributes(0, 0x1000, EFI_MEMORY_WB | EFI_MEMORY_RP),
                  EFI_SUCCESS);
        EXPECT_EQ(ds->GetMemorySpaceDescriptor(0x800, &descriptor), EFI_SUCCESS);
        EXPECT_EQ(descriptor.Length, 0x1000u);
        EXPECT_EQ(descriptor.Attributes, EFI_MEMORY_WB | EFI_MEMORY_RP);
        ds->GetMemorySpaceDescriptor(0x1000, &descriptor);
        EXPECT_EQ(descriptor.BaseAddress, 0x1000u);
        EXPECT_EQ(descriptor.Attributes, EFI_MEMORY_WB);
        EXPECT_EQ(ds->SetMemorySpaceAttributes(0, 0x1000, EFI_MEMORY_WB), EFI_SUCCESS);
        ds->GetMemorySpaceDescriptor(0, &descriptor);
        EXPECT_EQ(descriptor.Length, 0xA0000u) << "joined again";
        EXPECT_EQ(ds->SetMemorySpaceAttributes(0xE0000000, 0x1000, EFI_MEMORY_WB), EFI_UNSUPPORTED);
        EXPECT_EQ(ds->AddMemorySpace(EfiGcdMemoryTypeSystemMemory, 0, 0x1000, 0),
                  EFI_ACCESS_DENIED);
        UINTN count = 0;
        EFI_GCD_MEMORY_SPACE_DESCRIPTOR* map = nullptr;
        EXPECT_EQ(ds->GetMemorySpaceMap(&count, &map), EFI_SUCCESS);
        for (UINTN i = 1; i < count; i++) {
            EXPECT_EQ(map[i - 1].BaseAddress + map[i - 1].Length, map[i].BaseAddress);
        }
        bs->FreePool(map);

        EFI_HANDLE handle = nullptr;
        const auto process = [&](UINT64 address) {
            return ds->ProcessFirmwareVolume(reinterpret_cast<void*>(address), kFontVolumeSize,
                                             &handle);
        };
        EXPECT_EQ(process(kFontVolumeAddress), EFI_SUCCESS);
        EXPECT_TRUE(Machine().handles->Has(handle, gEfiDevicePathProtocolGuid));
        EXPECT_EQ(process(kFontVolumeAddress + 0x1000), EFI_VOLUME_CORRUPTED);
        EFI_PHYSICAL_ADDRESS copy = 0;
        bs->AllocatePages(AllocateAnyPages, EfiBootServicesData, EFI_SIZE_TO_PAGES(kFontVolumeSize),
                          &copy);
        EXPECT_EQ(process(copy), EFI_VOLUME_CORRUPTED);
        std::memcpy(reinterpret_cast<char*>(copy) + 40, "_FVH", 4);
        EXPECT_EQ(process(copy), EFI_SUCCESS);
        EXPECT_EQ(process(copy + 0x1000), EFI_VOLUME_CORRUPTED) << "reaches beyond the copy";
        EXPECT_EQ(ds->Dispatch(), EFI_NOT_FOUND);
        EXPECT_EQ(ds->Trust(handle, nullptr), EFI_UNSUPPORTED);
    });
    EXPECT_EQ(Traced("firmware-volume").size(), 5u);
    Describe(R"("flash": {"fontVolume": {"processStatus": "EFI_OUT_OF_RESOURCES"}})");
    Boot([&] {
        EFI_HANDLE handle = nullptr;
        EXPECT_EQ(Machine().core->DxeServices()->ProcessFirmwareVolume(
                      reinterpret_cast<void*>(kFontVolumeAddress), kFontVolumeSize, &handle),
                  EFI_OUT_OF_RESOURCES);
    });
}

TEST_F(APlatform, LoadsStartsAndUnloadsImages) {
    std::vector<UINT8> exits = ImageOf(kExitWithSeven);
    std::vector<UINT8> driver = ImageOf(kSucceed, 11);
    EFI_STATUS unloads = EFI_SUCCESS;
    static EFI_STATUS mUnload;
    Boot([&] {
        EFI_HANDLE loaded = nullptr;
        EXPECT_EQ(bs->LoadImage(FALSE, image, nullptr, exits.data(), 0x100, &loaded),
                  EFI_LOAD_ERROR);
        EXPECT_EQ(bs->LoadImage(FALSE, image, nullptr, nullptr, 0, &loaded), EFI_NOT_FOUND);
        EXPECT_EQ(bs->LoadImage(FALSE, nullptr, nullptr, exits.data(), exits.size(), &loaded),
                  EFI_INVALID_PARAMETER);
        EXPECT_EQ(bs->LoadImage(FALSE, image, nullptr, exits.data(), exits.size(), &loaded),
                  EFI_SUCCESS);
        void* interface = nullptr;
        EXPECT_EQ(bs->HandleProtocol(loaded, &gEfiLoadedImageProtocolGuid, &interface),
                  EFI_SUCCESS);
        EXPECT_EQ(static_cast<EFI_LOADED_IMAGE_PROTOCOL*>(interface)->ParentHandle, image);
        EXPECT_EQ(bs->StartImage(loaded, nullptr, nullptr), 7u);
        EXPECT_FALSE(Machine().handles->IsValid(loaded)) << "an application is gone afterwards";
        EXPECT_EQ(bs->StartImage(loaded, nullptr, nullptr), EFI_INVALID_PARAMETER);

        EXPECT_EQ(bs->LoadImage(FALSE, image, nullptr, driver.data(), driver.size(), &loaded),
                  EFI_SUCCESS);
        EXPECT_EQ(bs->StartImage(loaded, nullptr, nullptr), EFI_SUCCESS);
        EXPECT_EQ(bs->StartImage(loaded, nullptr, nullptr), EFI_INVALID_PARAMETER);
        EXPECT_EQ(bs->UnloadImage(loaded), EFI_UNSUPPORTED) << "a driver that cannot stop";
        bs->HandleProtocol(loaded, &gEfiLoadedImageProtocolGuid, &interface);
        mUnload = EFI_DEVICE_ERROR;
        static_cast<EFI_LOADED_IMAGE_PROTOCOL*>(interface)->Unload = [](EFI_HANDLE)
                                                                         EFIAPI { return mUnload; };
        EXPECT_EQ(bs->UnloadImage(loaded), EFI_DEVICE_ERROR);
        mUnload = unloads;
        EXPECT_EQ(bs->UnloadImage(loaded), EFI_SUCCESS);
        EXPECT_EQ(bs->UnloadImage(loaded), EFI_INVALID_PARAMETER);

        EXPECT_EQ(bs->LoadImage(FALSE, image, nullptr, exits.data(), exits.size(), &loaded),
                  EFI_SUCCESS);
        EXPECT_EQ(bs->Exit(loaded, 0, 0, nullptr), EFI_SUCCESS) << "not started: only unloaded";
        EXPECT_EQ(bs->Exit(loaded, 0, 0, nullptr), EFI_INVALID_PARAMETER);
    });
    EXPECT_TRUE(violations.empty()) << violations[0];
    std::string operations;
    for (const Json& event : trace.EventsOf("image")) {
        operations += event["op"].get<std::string>() + " ";
    }
    EXPECT_EQ(operations, "load start load load start return load start return unload load unload "
                          "return ");
}

// A driver image ends like a linked one, and its privileged instructions reach the processor.
TEST_F(APlatform, RunsADriverThatIsAnImage) {
    server.driver.nativeEntry = nullptr;
    server.driver.peImage = ImageOf(kSucceed, 11);
    EXPECT_EQ(server.PowerOn().detail, "there is no BDS architectural protocol");
    const std::string fromImage = trace.Text();
    server.driver.nativeEntry = [](EFI_HANDLE, EFI_SYSTEM_TABLE*) EFIAPI { return EFI_SUCCESS; };
    trace = Trace();
    server.boots = 0;
    server.PowerOn();
    EXPECT_EQ(trace.Text(), fromImage) << "both kinds of driver leave the same trace";

    server.driver.nativeEntry = nullptr;
    server.driver.peImage = ImageOf(kHalt, 11);
    EXPECT_EQ(server.PowerOn().detail, "the processor was halted with interrupts off");
    EXPECT_EQ(Traced("io").front(), R"({"op":"in8","port":128,"value":255})");
    server.driver.peImage = ImageOf({0x0F, 0x0B}, 11);
    const BootResult crashed = server.PowerOn();
    EXPECT_EQ(crashed.reason, EndReason::Halted);
    EXPECT_EQ(
        crashed.violations,
        std::vector<std::string>{"processor exception (invalid instruction) in KelmBdsDxe+0x1000"});
    // xor eax, eax; call rax, and a jump into nowhere
    server.driver.peImage = ImageOf({0x31, 0xC0, 0xFF, 0xD0}, 11);
    EXPECT_EQ(
        server.PowerOn().violations,
        std::vector<std::string>{"processor exception outside any image, at 0x0, from KelmBdsDxe"});
    server.driver.peImage = ImageOf({0xB8, 0x00, 0x10, 0x00, 0x00, 0xFF, 0xE0}, 11);
    EXPECT_EQ(server.PowerOn().detail,
              "processor exception outside any image, at 0x1000, from KelmBdsDxe");
    server.driver.peImage.resize(10);
    EXPECT_EQ(server.PowerOn().detail, "the driver could not be loaded: EFI_LOAD_ERROR");
}

// Two boots of one machine leave the same trace, with the same addresses in it.
TEST_F(APlatform, RepeatsABootByteForByte) {
    std::string addresses[2];
    std::string traces[2];
    for (int i = 0; i < 2; i++) {
        server.store = NvStore();
        server.boots = 0;
        Boot([&, i] {
            void* block = nullptr;
            EFI_EVENT event = nullptr;
            EFI_HANDLE handle = nullptr;
            bs->AllocatePool(EfiBootServicesData, 100, &block);
            bs->CreateEvent(0, 0, nullptr, nullptr, &event);
            bs->InstallProtocolInterface(&handle, &gEfiBdsArchProtocolGuid, EFI_NATIVE_INTERFACE,
                                         nullptr);
            rs->SetVariable(u"V", &gEfiBdsArchProtocolGuid, 7, sizeof block, &block);
            for (const void* address : {block, event, handle, static_cast<void*>(st)}) {
                addresses[i] += std::to_string(reinterpret_cast<UINT64>(address)) + " ";
            }
            rs->ResetSystem(EfiResetCold, EFI_SUCCESS, 0, nullptr);
        });
        traces[i] = trace.Text();
    }
    EXPECT_EQ(addresses[0], addresses[1]);
    EXPECT_EQ(traces[0], traces[1]);
}

} // namespace
