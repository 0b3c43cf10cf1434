// Programs on the disks of the simulated server: which files are images, who may run, and what
// becomes of the machine when one returns, hangs or breaks.

#include "library/pure/DevicePath.h"
#include "sim/firmware/TraceText.h"
#include "tests/sim/PeWriter.h"
#include "tests/sim/TestMachine.h"

#include "kelm/BdsInterfaceProtocol.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace sim {
namespace {

using simtest::PeWriter;
using Bytes = std::vector<UINT8>;

const std::string kDisk = "PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x0,0x0)/Scsi(0x0,0x0)";
constexpr UINTN kFiveMinutes = 300;

class ImagesOnDisk : public simtest::TestMachine {
protected:
    // A disk with these files ("\\name": content, ...), besides other sections.
    void Disk(const std::string& files, const std::string& sections = "") {
        Describe(R"json("devices": {
            "raid": {"kind": "raid", "path": "PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x0,0x0)"},
            "disk": {"kind": "virtual-disk", "path": ")json" +
                 kDisk + R"(", "files": {)" + files + "}}}" +
                 (sections.empty() ? "" : ", " + sections));
    }
    static std::string File(const std::string& name, const Bytes& bytes) {
        return "\"\\\\" + name + R"(": {"hex": ")" + ToHex(bytes.data(), bytes.size()) + "\"}";
    }
    // One program is on the disk; `body` runs when the disk is connected.
    BootResult BootDisk(const std::function<void()>& body) {
        return Boot([&] {
            for (int pass = 0; pass < 3; pass++) {
                for (EFI_HANDLE handle : Machine().handles->All()) {
                    static_cast<void>(bs->ConnectController(handle, nullptr, nullptr, TRUE));
                }
            }
            body();
        });
    }
    // LoadImage() of a file of the disk.
    static EFI_STATUS Load(const std::string& name, EFI_HANDLE* loaded) {
        const BootLocal<Bytes> path(
            ReadDevicePath(Machine().machine, Json(kDisk + "/\\" + name), "/path"));
        return bs->LoadImage(TRUE, image, reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(path->data()),
                             nullptr, 0, loaded);
    }
    // Loads and starts it under a watchdog, as boot managers do.
    static EFI_STATUS Run(const std::string& name) {
        EFI_HANDLE loaded = nullptr;
        const EFI_STATUS status = Load(name, &loaded);
        EXPECT_EQ(status, EFI_SUCCESS);
        bs->SetWatchdogTimer(kFiveMinutes, 0, 0, nullptr);
        const EFI_STATUS left =
            EFI_ERROR(status) ? status : bs->StartImage(loaded, nullptr, nullptr);
        bs->SetWatchdogTimer(0, 0, 0, nullptr);
        return left;
    }
};

// An image whose entry is these bytes.
Bytes Program(std::initializer_list<int> code) {
    Bytes bytes = PeWriter().Write();
    PeWriter::Put(bytes, PeWriter::kSections + 8, UINT32(code.size())); // size in memory
    std::transform(code.begin(), code.end(), bytes.begin() + PeWriter::kCodeInFile,
                   [](int byte) { return UINT8(byte); });
    return bytes;
}

// ---- Which files are images

TEST_F(ImagesOnDisk, FilesThatAreNoImageForThisMachineAreRefusedAndLeaveNothingBehind) {
    struct Row {
        const char* name;
        Bytes bytes;
        EFI_STATUS status;
    };
    const Bytes good = PeWriter().Write();
    const auto changed = [&](UINT32 offset, UINT32 value, std::size_t width) {
        Bytes bytes = good;
        std::memcpy(bytes.data() + offset, &value, width);
        return bytes;
    };
    const auto cut = [&](std::size_t size) {
        return Bytes(good.begin(), good.begin() + std::ptrdiff_t(size));
    };
    Bytes ia32 = PeWriter{.machine = kPeMachineIa32}.Write();
    PeWriter::Put<UINT16>(ia32, PeWriter::kOptional, 0x10B);
    Bytes noise(5000);
    std::mt19937 random(7);
    std::generate(noise.begin(), noise.end(), [&] { return UINT8(random()); });
    Bytes noiseWithHeader = noise;
    std::copy_n(good.begin(), PeWriter::kCoff, noiseWithHeader.begin());

    const std::vector<Row> rows = {
        {"empty", {}, EFI_UNSUPPORTED},
        {"text", {'#', '!', '/', 'b', 'i', 'n'}, EFI_UNSUPPORTED},
        {"noise", noise, EFI_UNSUPPORTED},
        {"noisyheader", noiseWithHeader, EFI_LOAD_ERROR},
        {"ia32", ia32, EFI_UNSUPPORTED},
        {"arm", PeWriter{.machine = kPeMachineAArch64}.Write(), EFI_UNSUPPORTED},
        {"desktop", PeWriter{.subsystem = 2}.Write(), EFI_UNSUPPORTED},
        {"rom", PeWriter{.subsystem = 13}.Write(), EFI_UNSUPPORTED},
        {"mzonly", cut(2), EFI_LOAD_ERROR},
        {"headers", cut(PeWriter::kOptional + 30), EFI_LOAD_ERROR},
        {"nodata", cut(PeWriter::kDataInFile), EFI_LOAD_ERROR},
        {"entry", changed(PeWriter::kOptional + 16, 0x7FFFFFFF, 4), EFI_LOAD_ERROR},
        {"section", changed(PeWriter::kSections + 12, 0xFFFFF000, 4), EFI_LOAD_ERROR},
        {"relocation", changed(PeWriter::kRelocationsInFile, 0xFFFFF000, 4), EFI_LOAD_ERROR},
        {"huge", changed(PeWriter::kOptional + 56, 0xFFFFF000, 4), EFI_OUT_OF_RESOURCES},
    };
    std::string files = File("good.efi", good) + "," + R"("\\folder\\file": {"text": ""})";
    for (const Row& row : rows) {
        files += "," + File(row.name, row.bytes);
    }
    Disk(files);
    BootDisk([&] {
        const std::size_t images = Machine().images->Count();
        const UINT64 memory = Machine().arena->Statistics().liveBytes;
        EFI_HANDLE loaded = image;
        for (const Row& row : rows) {
            EXPECT_EQ(Load(row.name, &loaded), row.status) << row.name;
            EXPECT_EQ(loaded, nullptr) << row.name;
        }
        EXPECT_EQ(Load("folder", &loaded), EFI_NOT_FOUND);
        EXPECT_EQ(Load("folder\\nothing", &loaded), EFI_NOT_FOUND);
        EXPECT_EQ(Machine().images->Count(), images);
        EXPECT_EQ(Machine().arena->Statistics().liveBytes, memory);

        EXPECT_EQ(Load("good.efi", &loaded), EFI_SUCCESS);
        EXPECT_EQ(bs->StartImage(loaded, nullptr, nullptr), PeWriter::kAnswer);
    });
    EXPECT_TRUE(violations.empty());
}

TEST_F(ImagesOnDisk, TheirRecordSaysWhereTheyComeFromAndAnApplicationTakesEverythingAlong) {
    Disk(R"("\\TOOLS\\check.efi": {"payload": "success"}, )" +
         File("runtime.efi", PeWriter{.subsystem = kPeSubsystemEfiRuntimeDriver}.Write()));
    const BootResult result = BootDisk([&] {
        const UINT64 memory = Machine().arena->Statistics().liveBytes;
        EFI_HANDLE loaded = nullptr;
        ASSERT_EQ(Load("tools\\CHECK.EFI", &loaded), EFI_SUCCESS);
        void* interface = nullptr;
        ASSERT_EQ(bs->HandleProtocol(loaded, &gEfiLoadedImageProtocolGuid, &interface),
                  EFI_SUCCESS);
        const auto* info = static_cast<EFI_LOADED_IMAGE_PROTOCOL*>(interface);
        EXPECT_EQ(info->ParentHandle, image);
        EXPECT_EQ(info->ImageCodeType, EfiLoaderCode);
        EXPECT_TRUE(Machine().handles->Has(info->DeviceHandle, gEfiDevicePathProtocolGuid));
        EXPECT_EQ(DevicePathText(info->FilePath), "\\tools\\CHECK.EFI");

        // What it has open when it leaves is closed.
        const EFI_HANDLE disk = info->DeviceHandle;
        ASSERT_EQ(bs->OpenProtocol(disk, &gEfiDevicePathProtocolGuid, &interface, loaded, nullptr,
                                   EFI_OPEN_PROTOCOL_GET_PROTOCOL),
                  EFI_SUCCESS);
        EXPECT_EQ(bs->StartImage(loaded, nullptr, nullptr), EFI_SUCCESS);
        EXPECT_FALSE(Machine().handles->IsValid(loaded));
        std::vector<EFI_OPEN_PROTOCOL_INFORMATION_ENTRY> openers;
        Machine().handles->Openers(disk, gEfiDevicePathProtocolGuid, openers);
        EXPECT_TRUE(std::none_of(openers.begin(), openers.end(),
                                 [&](const auto& opener) { return opener.AgentHandle == loaded; }));
        EXPECT_EQ(Machine().arena->Statistics().liveBytes, memory);

        ASSERT_EQ(Load("runtime.efi", &loaded), EFI_SUCCESS);
        bs->HandleProtocol(loaded, &gEfiLoadedImageProtocolGuid, &interface);
        EXPECT_EQ(static_cast<EFI_LOADED_IMAGE_PROTOCOL*>(interface)->ImageDataType,
                  EfiRuntimeServicesData);
    });
    EXPECT_TRUE(violations.empty());
    EXPECT_EQ(result.screen.front(), "Everything is in order");
}

// ---- The security policy

TEST_F(ImagesOnDisk, ThePolicyRefusesAndDefersByPath) {
    const std::string content = R"({"payload": "failure"})";
    Disk(R"("\\EFI\\evil\\a.efi": )" + content + R"(, "\\EFI\\evil.efi": )" + content +
             R"(, "\\later.efi": )" + content,
         R"("security": {"refuse": [")" + kDisk + R"(/\\EFI\\Evil"], "defer": [")" + kDisk +
             R"(/\\later.efi"]})");
    BootDisk([&] {
        EFI_HANDLE loaded = nullptr;
        ASSERT_EQ(Load("efi\\evil\\A.EFI", &loaded), EFI_SECURITY_VIOLATION);
        ASSERT_NE(loaded, nullptr) << "it is loaded, and may be trusted later";
        EXPECT_EQ(bs->StartImage(loaded, nullptr, nullptr), EFI_SECURITY_VIOLATION);
        EXPECT_EQ(bs->UnloadImage(loaded), EFI_SUCCESS);
        EXPECT_EQ(Load("later.efi", &loaded), EFI_ACCESS_DENIED);
        EXPECT_EQ(loaded, nullptr);
        EXPECT_EQ(Run("EFI\\evil.efi"), EFI_LOAD_ERROR) << "a name that only begins alike";
    });
    EXPECT_TRUE(violations.empty());

    // A whole device.
    Disk(R"("\\a.efi": )" + content, R"("security": {"refuse": [")" + kDisk + "\"]}");
    BootDisk([&] {
        EFI_HANDLE loaded = nullptr;
        EXPECT_EQ(Load("a.efi", &loaded), EFI_SECURITY_VIOLATION);
    });
}

// ---- Leaving

TEST_F(ImagesOnDisk, ExitDataReachesTheOneWhoStartedTheImageAndNobodyElse) {
    static constexpr char16_t kWhy[] = u"no medium";
    static EFI_STATUS mLeaves;
    static EFI_STATUS mInner;
    static std::u16string mText;
    static const auto mLeave = [](EFI_HANDLE self, EFI_SYSTEM_TABLE*) EFIAPI {
        void* data = nullptr;
        bs->AllocatePool(EfiBootServicesData, sizeof kWhy, &data);
        std::memcpy(data, kWhy, sizeof kWhy);
        return bs->Exit(self, mLeaves, sizeof kWhy, static_cast<CHAR16*>(data));
    };
    // Starts another one, and returns without anything to say.
    static const auto mStart = [](EFI_HANDLE, EFI_SYSTEM_TABLE*) EFIAPI {
        EFI_HANDLE inner = nullptr;
        Machine().images->AddNative(mLeave, "inner", &inner);
        UINTN size = 0;
        CHAR16* data = nullptr;
        mInner = bs->StartImage(inner, &size, &data);
        mText = size == sizeof kWhy && data != nullptr ? data : u"";
        if (data != nullptr) {
            bs->FreePool(data);
        }
        return EFI_ABORTED;
    };
    for (const EFI_STATUS leaves : {EFI_NO_MEDIA, EFI_SUCCESS}) {
        mLeaves = leaves;
        Boot([&] {
            EFI_HANDLE outer = nullptr;
            Machine().images->AddNative(mStart, "outer", &outer);
            UINTN size = 1;
            CHAR16* data = nullptr;
            EXPECT_EQ(bs->StartImage(outer, &size, &data), EFI_ABORTED);
            EXPECT_EQ(size, 0u);
            EXPECT_EQ(data, nullptr);
            EXPECT_EQ(Machine().images->Running(), image);
        });
        EXPECT_EQ(mInner, leaves);
        EXPECT_EQ(mText, leaves == EFI_SUCCESS ? u"" : kWhy) << "success has nothing to explain";
        EXPECT_TRUE(violations.empty());
    }
    // Nobody unloads what runs.
    static const auto mUnload = [](EFI_HANDLE self, EFI_SYSTEM_TABLE*) EFIAPI {
        Machine().images->Unload(self);
        return EFI_SUCCESS;
    };
    Boot([&] {
        EFI_HANDLE loaded = nullptr;
        Machine().images->AddNative(mUnload, "suicide", &loaded);
        EXPECT_EQ(bs->StartImage(loaded, nullptr, nullptr), EFI_SUCCESS);
        EXPECT_TRUE(Machine().handles->IsValid(loaded));
    });
    EXPECT_EQ(violations.size(), 1u);
}

TEST_F(ImagesOnDisk, ThePayloadsDoWhatTheirNamesSay) {
    static UINT16 mOption;
    static KelmBdsInterfaceProtocol manager;
    manager.BootByOptionNumber = [](UINT16 option, UINT16) EFIAPI {
        mOption = option;
        return Run("failure.efi");
    };
    struct Row {
        const char* payload;
        const char* screen;
        EFI_STATUS status; // that it returns, if it does
        EndReason reason;
        UINT64 seconds;
    };
    const Row rows[] = {
        {"os-loader", "Starting the operating system", 0, EndReason::OsStarted, 0},
        {"success", "Everything is in order", EFI_SUCCESS, EndReason::Halted, 0},
        {"failure", "There is no operating system to load", EFI_LOAD_ERROR, EndReason::Halted, 0},
        {"nested", "Handing over to Boot0001", EFI_LOAD_ERROR, EndReason::Halted, 0},
        {"hang", "Waiting for the storage network", 0, EndReason::ResetCold, kFiveMinutes},
        {"spin", "Waiting for another processor", 0, EndReason::ResetCold, kFiveMinutes},
        {"crash", "Reading the partition table", 0, EndReason::Halted, 0},
    };
    std::string files;
    for (const Row& row : rows) {
        files += (files.empty() ? "\"\\\\" : ", \"\\\\") + std::string(row.payload) +
                 R"(.efi": {"payload": ")" + row.payload + "\"}";
    }
    Disk(files);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.payload);
        EFI_STATUS status = EFI_SUCCESS;
        std::uint64_t start = 0;
        const BootResult result = BootDisk([&] {
            EFI_HANDLE handle = nullptr;
            bs->InstallProtocolInterface(&handle, &gKelmBdsInterfaceProtocolGuid,
                                         EFI_NATIVE_INTERFACE, &manager);
            start = Machine().clock->Now();
            status = Run(std::string(row.payload) + ".efi");
        });
        EXPECT_EQ(status, row.status);
        EXPECT_EQ(result.reason, row.reason) << result.detail;
        EXPECT_EQ(result.screen.front(), row.screen);
        EXPECT_EQ((result.time - start) / 1000000, row.seconds);
        EXPECT_EQ(Traced("watchdog").size(), row.seconds != 0);
        EXPECT_EQ(violations.empty(), row.payload != std::string("crash"));
    }
    EXPECT_EQ(mOption, 1);
}

// ---- Hanging and breaking

TEST_F(ImagesOnDisk, AProgramThatWaitsForAnEventThatNeverComesMeetsTheWatchdog) {
    std::uint64_t start = 0;
    const BootResult result = Boot([&] {
        EFI_EVENT event = nullptr;
        bs->CreateEvent(0, 0, nullptr, nullptr, &event);
        bs->SetWatchdogTimer(kFiveMinutes, 0, 0, nullptr);
        start = Machine().clock->Now();
        while (bs->CheckEvent(event) == EFI_NOT_READY) {
        }
    });
    EXPECT_EQ(result.reason, EndReason::ResetCold);
    EXPECT_EQ(result.time - start, kFiveMinutes * 1000000);
}

TEST_F(ImagesOnDisk, AProcessorExceptionEndsTheBootAndTellsThePlace) {
    struct Row {
        std::initializer_list<int> code;
        std::string detail;
    };
    const std::string program = kDisk + "/\\x.efi";
    const Row rows[] = {
        {{0x31, 0xC9, 0xF7, 0xF1}, "processor exception (division) in " + program + "+0x1002"},
        {{0x90, 0x0F, 0x0B}, "processor exception (invalid instruction) in " + program + "+0x1001"},
        // mov eax, 0x12345678; mov [rax], eax
        {{0xB8, 0x78, 0x56, 0x34, 0x12, 0x89, 0x00},
         "processor exception (access to 0x12345678) in " + program + "+0x1005"},
        // Its own code: mov [rip], al
        {{0x88, 0x05, 0x00, 0x00, 0x00, 0x00},
         "processor exception (access to 0x60001006) in " + program + "+0x1000"},
        // mov eax, 0x1000; call rax
        {{0xB8, 0x00, 0x10, 0x00, 0x00, 0xFF, 0xD0},
         "processor exception outside any image, at 0x1000, from " + program},
        {{0xE8, 0xFB, 0xFF, 0xFF, 0xFF}, "stack overflow in " + program + "+0x1000"},
        // mov rcx, [rdx + 0x40]; mov edx, 0x1000; sub rsp, 40; call [rcx + 8]: OutputString()
        {{0x48, 0x8B, 0x4A, 0x40, 0xBA, 0x00, 0x10, 0x00, 0x00, 0x48, 0x83, 0xEC, 0x28, 0xFF, 0x51,
          0x08},
         "processor exception in a service that " + program + " called, at 0x1000"},
    };
    for (const Row& row : rows) {
        Disk(File("x.efi", Program(row.code)));
        const BootResult result = BootDisk([&] { Run("x.efi"); });
        EXPECT_EQ(result.reason, EndReason::Halted);
        EXPECT_EQ(result.detail, row.detail);
        EXPECT_EQ(violations, std::vector<std::string>{row.detail});
    }
}

} // namespace
} // namespace sim
