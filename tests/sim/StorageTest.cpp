// The storage of the simulated server as a driver meets it: connected from the controller down, and
// read through the protocols.

#include "library/pure/Crc32.h"
#include "library/pure/DevicePath.h"
#include "sim/devices/BlockMedia.h"
#include "sim/devices/Devices.h"
#include "sim/devices/FileSystem.h"
#include "sim/firmware/TraceText.h"
#include "sim/siblings/RamDiskService.h"
#include "tests/sim/PeWriter.h"
#include "tests/sim/TestMachine.h"
#include "uefi/BlockIo.h"
#include "uefi/DiskInfo.h"
#include "uefi/FirmwareVolume2.h"
#include "uefi/RamDisk.h"
#include "uefi/SimpleFileSystem.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace sim {
namespace {

using Bytes = std::vector<UINT8>;

constexpr EFI_GUID kPartOne = {
    0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};

class Storage : public simtest::TestMachine {
protected:
    static Device& Dev(const char* id) { return *Machine().Get<Devices>().Find(id); }
    // The device that a path names, present or not.
    static Device* ByText(const std::string& text) {
        for (const auto& device : Machine().Get<Devices>().All()) {
            if (DevicePathText(device->Path()) == text) {
                return device.get();
            }
        }
        return nullptr;
    }
    template <class Protocol>
    static Protocol* On(EFI_HANDLE handle) {
        return static_cast<Protocol*>(
            Machine().handles->Find(handle, ProtocolGuid<Protocol>::value));
    }
    static void ConnectAll() {
        // Once more than buses are deep.
        for (int pass = 0; pass < 4; pass++) {
            for (EFI_HANDLE handle : Machine().handles->All()) {
                static_cast<void>(bs->ConnectController(handle, nullptr, nullptr, TRUE));
            }
        }
    }
    static Bytes Blocks(EFI_BLOCK_IO_PROTOCOL* io, EFI_LBA first, std::size_t count) {
        Bytes bytes(count * io->Media->BlockSize, 0xEE);
        EXPECT_EQ(io->ReadBlocks(io, io->Media->MediaId, first, bytes.size(), bytes.data()),
                  EFI_SUCCESS);
        return bytes;
    }
    static EFI_FILE_PROTOCOL* OpenRoot(EFI_HANDLE handle) {
        auto* system = On<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL>(handle);
        EFI_FILE_PROTOCOL* root = nullptr;
        if (system == nullptr || EFI_ERROR(system->OpenVolume(system, &root))) {
            ADD_FAILURE() << "no file system";
        }
        return root;
    }
    // The text of a file from the root of a file system; "!" and the status when it does not open.
    static std::string Text(EFI_HANDLE handle, const char16_t* name) {
        EFI_FILE_PROTOCOL* root = OpenRoot(handle);
        EFI_FILE_PROTOCOL* file = nullptr;
        const EFI_STATUS status = root->Open(root, &file, name, EFI_FILE_MODE_READ, 0);
        root->Close(root);
        if (EFI_ERROR(status)) {
            return "!" + StatusText(status);
        }
        char buffer[256];
        UINTN size = sizeof buffer;
        EXPECT_EQ(file->Read(file, &size, buffer), EFI_SUCCESS);
        file->Close(file);
        return std::string(buffer, size);
    }
    // The path of a device from its parent on.
    static EFI_DEVICE_PATH_PROTOCOL* Rest(const char* id) {
        Device& device = Dev(id);
        return reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(
            device.path.data() + device.parent->path.size() - kelm::kNodeHeaderSize);
    }
    // What the machine file reader says about these sections.
    std::string Complaint(const std::string& sections) {
        Describe(sections);
        try {
            Boot([] {});
        } catch (const MachineFileError& error) {
            return error.what();
        }
        return "";
    }
};

template <class T>
T Get(const Bytes& bytes, std::size_t at) {
    T value;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

constexpr const char* kRaid = R"json("devices": {
    "raid": {"kind": "raid", "path": "PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x0,0x0)"},
    "vd0": {"kind": "virtual-disk", "description": "KELM VD",
            "path": "PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x0,0x0)/Scsi(0x0,0x0)",
            "partitions": [
                {"number": 1, "signature": "11111111-2222-3333-4444-555555555555",
                 "files": {"\\EFI\\BOOT\\BOOTX64.EFI": {"text": "loader"},
                           "\\startup.nsh": {"hex": "41 42 43"}}},
                {"number": 3, "start": 100000, "blocks": 50}]},
    "vd1": {"kind": "virtual-disk",
            "path": "PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x0,0x0)/Scsi(0x1,0x0)",
            "partitions": [{"scheme": "mbr", "signature": "CAFE1234", "start": 63, "blocks": 1000,
                            "files": {}}]}})json";

// ---- Partition tables

TEST_F(Storage, PartitionTablesOnTheDiskAgreeWithThePartitionHandles) {
    PowerOn(kRaid, [](Platform& p) {
        EXPECT_TRUE(p.handles->WithProtocol(gEfiBlockIoProtocolGuid).empty());
        ConnectAll();

        auto* io = On<EFI_BLOCK_IO_PROTOCOL>(Dev("vd0").handle);
        ASSERT_NE(io, nullptr);
        EXPECT_FALSE(io->Media->LogicalPartition);
        EXPECT_FALSE(io->Media->RemovableMedia);

        // Both headers and arrays, read as the standard lays them out.
        for (const bool backup : {false, true}) {
            const EFI_LBA at = backup ? io->Media->LastBlock : 1;
            Bytes header = Blocks(io, at, 1);
            EXPECT_EQ(std::memcmp(header.data(), "EFI PART\0\0\1\0\x5C\0\0\0", 16), 0);
            EXPECT_EQ(Get<UINT64>(header, 24), at);
            EXPECT_EQ(Get<UINT64>(header, 32), backup ? 1 : io->Media->LastBlock);
            const UINT32 crc = Get<UINT32>(header, 16);
            std::fill_n(header.begin() + 16, 4, UINT8{0});
            EXPECT_EQ(kelm::Crc32(header.data(), 92), crc);

            const Bytes array = Blocks(io, Get<UINT64>(header, 72), 32);
            EXPECT_EQ(Get<UINT32>(header, 80), 128u);
            EXPECT_EQ(Get<UINT32>(header, 84), 128u);
            EXPECT_EQ(kelm::Crc32(array), Get<UINT32>(header, 88));
            EXPECT_EQ(Get<EFI_GUID>(array, 16), kPartOne);
            EXPECT_EQ(Get<UINT64>(array, 32), 2048u);
            EXPECT_EQ(Get<UINT64>(array, 40), 2048u + 65536 - 1);
            EXPECT_EQ(Get<EFI_GUID>(array, 128), EFI_GUID{}); // there is no partition 2
            EXPECT_EQ(Get<UINT64>(array, 256 + 32), 100000u);
            EXPECT_EQ(Get<UINT64>(array, 256 + 40), 100049u);
            // Usable blocks lie between the two arrays.
            EXPECT_EQ(Get<UINT64>(header, 40), 34u);
            EXPECT_EQ(Get<UINT64>(header, 48), io->Media->LastBlock - 33);
        }
        const Bytes protective = Blocks(io, 0, 1);
        EXPECT_EQ(Get<UINT16>(protective, 510), 0xAA55);
        EXPECT_EQ(protective[446 + 4], 0xEE);
        EXPECT_EQ(Get<UINT32>(protective, 446 + 12), io->Media->LastBlock);

        const std::string disk = "PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x0,0x0)/Scsi(0x0,0x0)";
        Device* one =
            ByText(disk + "/HD(1,GPT,11111111-2222-3333-4444-555555555555,0x800,0x10000)");
        ASSERT_NE(one, nullptr);
        auto* part = On<EFI_BLOCK_IO_PROTOCOL>(one->handle);
        ASSERT_NE(part, nullptr);
        EXPECT_TRUE(part->Media->LogicalPartition);
        EXPECT_EQ(part->Media->LastBlock, 0xFFFFu);
        EXPECT_NE(On<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL>(one->handle), nullptr);

        // Of a master boot record; an empty list of files is an empty file system.
        const Bytes record = Blocks(On<EFI_BLOCK_IO_PROTOCOL>(Dev("vd1").handle), 0, 1);
        EXPECT_EQ(Get<UINT32>(record, 440), 0xCAFE1234u);
        EXPECT_EQ(Get<UINT32>(record, 446 + 8), 63u);
        EXPECT_EQ(Get<UINT32>(record, 446 + 12), 1000u);
        Device* mbr = ByText("PciRoot(0x0)/Pci(0x1,0x0)/Pci(0x0,0x0)/Scsi(0x1,0x0)/"
                             "HD(1,MBR,0xCAFE1234,0x3F,0x3E8)");
        ASSERT_NE(mbr, nullptr);
        EXPECT_EQ(Text(mbr->handle, u"\\nothing"), "!EFI_NOT_FOUND");

        // A partition without files has no file system.
        Device* data = nullptr;
        for (Device* child : Dev("vd0").children) {
            data = child != one ? child : data;
        }
        ASSERT_NE(data, nullptr);
        EXPECT_NE(On<EFI_BLOCK_IO_PROTOCOL>(data->handle), nullptr);
        EXPECT_EQ(On<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL>(data->handle), nullptr);
    });
    EXPECT_TRUE(violations.empty());
}

TEST_F(Storage, OnePathBringsOneDiskAndTheNextPathTheNext) {
    PowerOn(kRaid, [](Platform&) {
        Device& bridge = *Dev("raid").parent;
        static_cast<void>(bs->ConnectController(bridge.parent->handle, nullptr, nullptr, FALSE));
        const EFI_HANDLE raid = Dev("raid").handle;
        ASSERT_NE(raid, nullptr);
        const auto connect = [&](const char* id) {
            return bs->ConnectController(raid, nullptr, Rest(id), FALSE);
        };
        EXPECT_EQ(connect("vd1"), EFI_SUCCESS);
        EXPECT_EQ(Dev("vd0").handle, nullptr);
        EXPECT_NE(Dev("vd1").handle, nullptr);
        EXPECT_EQ(connect("vd0"), EFI_SUCCESS);
        EXPECT_NE(Dev("vd0").handle, nullptr);

        // Away with everything, and back again with new interfaces.
        ConnectAll();
        auto* before = On<EFI_BLOCK_IO_PROTOCOL>(Dev("vd0").handle);
        Device* part = Dev("vd0").children.front();
        EXPECT_EQ(Text(part->handle, u"startup.nsh"), "ABC");
        EFI_FILE_PROTOCOL* open = OpenRoot(part->handle);
        EXPECT_EQ(bs->DisconnectController(raid, nullptr, nullptr), EFI_SUCCESS);
        EXPECT_EQ(Dev("vd0").handle, nullptr);
        EXPECT_EQ(part->handle, nullptr);
        EXPECT_EQ(open->Flush(open), EFI_MEDIA_CHANGED);
        EXPECT_EQ(open->Close(open), EFI_SUCCESS);
        EXPECT_EQ(before->FlushBlocks(before), EFI_SUCCESS);
        ConnectAll();
        EXPECT_EQ(Text(part->handle, u"startup.nsh"), "ABC");
    });
    EXPECT_EQ(violations, (std::vector<std::string>{
                              "File.Flush of \\ called after its file system had gone",
                              "BlockIo.FlushBlocks of vd0 called after it was uninstalled"}));
}

TEST_F(Storage, MachineFilesWithDisksThatCannotBeAreRefused) {
    struct Row {
        const char* keys; // of a virtual disk
        const char* complaint;
    };
    constexpr Row kRows[] = {
        {R"json("partitions": [{}, {"scheme": "mbr"}])json", "the same scheme"},
        {R"json("partitions": [{"start": 40, "blocks": 9}, {"start": 48}])json",
         "overlaps partition 1"},
        {R"json("partitions": [{"start": 33}])json", "lie in blocks 34 to"},
        {R"json("partitions": [{"start": 262000, "blocks": 300}])json", "there are 1 to"},
        {R"json("partitions": [{"number": 2}, {}])json", "partition 2 is there already"},
        {R"json("partitions": [{"signature": "12345678"}])json", "signature"},
        {R"json("partitions": [{"scheme": "mbr", "signature": "1234567"}])json",
         "8 hexadecimal digits"},
        {R"json("partitions": [{"scheme": "mbr", "number": 5}])json", "has 4 partitions"},
        {R"json("partitions": [{}], "files": {})json", "carries one of"},
        {R"json("bootImage": {"files": {}})json", "2048 bytes"},
        {R"json("files": {"\\a\\b": {"text": ""}, "\\A": {"text": ""}})json", "is there already"},
        {R"json("files": {"a/b": {"text": ""}})json", "is no name of a file"},
        {R"json("files": {"\\a": {"host": "no/such/file"}})json", "No such file"},
        {R"json("directory": "no/such/directory")json", "is no directory"},
        {R"json("block": {"blocks": 0})json", "a medium has blocks"},
    };
    for (const Row& row : kRows) {
        const std::string sections =
            std::string(R"json("devices": {"vd": {"kind": "virtual-disk", "path": )json") +
            R"json("PciRoot(0x0)/Pci(0x1,0x0)/Scsi(0x0,0x0)", )json" + row.keys + "}}";
        EXPECT_NE(Complaint(sections).find(row.complaint), std::string::npos)
            << row.keys << " gives: " << Complaint(sections);
    }
}

// ---- Block I/O

TEST_F(Storage, BlockTransfersAreCheckedAndWritesStayForTheBoot) {
    PowerOn(R"json("devices": {
        "disk": {"kind": "virtual-disk", "path": "PciRoot(0x0)/Pci(0x1,0x0)/Scsi(0x0,0x0)",
                 "block": {"blocks": 1000}},
        "ro": {"kind": "virtual-disk", "path": "PciRoot(0x0)/Pci(0x1,0x0)/Scsi(0x1,0x0)",
               "block": {"blocks": 8, "readOnly": true}},
        "empty": {"kind": "sata-optical", "path": "PciRoot(0x0)/Pci(0x17,0x0)/Sata(0x4,0xFFFF,0x0)",
                  "block": {"present": false}},
        "bad": {"kind": "nvme", "path": "PciRoot(0x0)/Pci(0x2,0x0)/NVMe(0x1,00-00-00-00-00-00-00-00)",
                "block": {"status": "EFI_DEVICE_ERROR"}, "partitions": [{"files": {}}]}})json",
            [](Platform&) {
                ConnectAll();
                alignas(8) static UINT8 buffer[4096];
                auto* io = On<EFI_BLOCK_IO_PROTOCOL>(Dev("disk").handle);
                const UINT32 id = io->Media->MediaId;
                const auto read = [&](UINT32 media, EFI_LBA block, UINTN size, UINTN shift = 0) {
                    return io->ReadBlocks(io, media, block, size, buffer + shift);
                };
                EXPECT_EQ(read(id, 999, 512), EFI_SUCCESS);
                EXPECT_EQ(read(id, 0, 0), EFI_SUCCESS);
                EXPECT_EQ(read(id, 999, 1024), EFI_INVALID_PARAMETER);
                EXPECT_EQ(read(id, 1000, 512), EFI_INVALID_PARAMETER);
                EXPECT_EQ(read(id, ~UINT64{0}, 1024), EFI_INVALID_PARAMETER);
                EXPECT_EQ(read(id, 0, 513), EFI_BAD_BUFFER_SIZE);
                EXPECT_EQ(read(id, 0, 512, 1), EFI_INVALID_PARAMETER);
                EXPECT_EQ(read(id + 1, 5000, 513), EFI_MEDIA_CHANGED);

                std::memset(buffer, 0x5A, sizeof buffer);
                EXPECT_EQ(io->WriteBlocks(io, id, 500, 1024, buffer), EFI_SUCCESS);
                const Bytes back = Blocks(io, 499, 4);
                EXPECT_TRUE(std::all_of(back.begin() + 512, back.begin() + 1536,
                                        [](UINT8 byte) { return byte == 0x5A; }));
                EXPECT_EQ(back[511], 0);
                EXPECT_EQ(back[1536], 0);
                EXPECT_EQ(Dev("disk").Find<DiskMedia>()->Written().size(), 2u);

                io = On<EFI_BLOCK_IO_PROTOCOL>(Dev("ro").handle);
                EXPECT_TRUE(io->Media->ReadOnly);
                EXPECT_EQ(io->WriteBlocks(io, id, 0, 512, buffer), EFI_WRITE_PROTECTED);
                io = On<EFI_BLOCK_IO_PROTOCOL>(Dev("empty").handle);
                EXPECT_EQ(read(id, ~UINT64{0}, 1), EFI_NO_MEDIA);
                EXPECT_TRUE(io->Media->RemovableMedia);
                EXPECT_EQ(io->Media->BlockSize, 2048u);

                // Nobody finds partitions where reads fail.
                io = On<EFI_BLOCK_IO_PROTOCOL>(Dev("bad").handle);
                EXPECT_EQ(read(id, 0, 512), EFI_DEVICE_ERROR);
                EXPECT_EQ(Dev("bad").children.front()->handle, nullptr);
            });
    EXPECT_TRUE(violations.empty());
}

TEST_F(Storage, DiskInfoTellsTheBusAndTheName) {
    PowerOn(R"json("devices": {
        "scsi": {"kind": "virtual-disk", "path": "PciRoot(0x0)/Pci(0x1,0x0)/Scsi(0x0,0x0)",
                 "description": "KELM VD"},
        "sata": {"kind": "sata-disk", "path": "PciRoot(0x0)/Pci(0x17,0x0)/Sata(0x4,0xFFFF,0x0)",
                 "description": "KELM SATA"},
        "nvme": {"kind": "nvme", "path": "PciRoot(0x0)/Pci(0x2,0x0)/NVMe(0x1,00-00-00-00-00-00-00-00)",
                 "block": {"blocks": 77, "blockSize": 4096}}})json",
            [](Platform&) {
                ConnectAll();
                auto* scsi = On<EFI_DISK_INFO_PROTOCOL>(Dev("scsi").handle);
                Bytes data(4096);
                UINT32 size = 4;
                EXPECT_EQ(scsi->Interface, gEfiDiskInfoScsiInterfaceGuid);
                EXPECT_EQ(scsi->Inquiry(scsi, data.data(), &size), EFI_BUFFER_TOO_SMALL);
                EXPECT_EQ(scsi->Inquiry(scsi, data.data(), &size), EFI_SUCCESS);
                EXPECT_EQ(std::string(data.begin() + 16, data.begin() + 32), "KELM VD         ");
                EXPECT_EQ(scsi->Identify(scsi, data.data(), &size), EFI_NOT_FOUND);

                auto* sata = On<EFI_DISK_INFO_PROTOCOL>(Dev("sata").handle);
                UINT32 port = 0;
                UINT32 multiplier = 0;
                size = 512;
                EXPECT_EQ(sata->Interface, gEfiDiskInfoAhciInterfaceGuid);
                EXPECT_EQ(sata->WhichIde(sata, &port, &multiplier), EFI_SUCCESS);
                EXPECT_EQ(port, 4u);
                EXPECT_EQ(sata->Identify(sata, data.data(), &size), EFI_SUCCESS);
                EXPECT_EQ(std::string(data.begin() + 54, data.begin() + 64), "EKMLS TA A");

                auto* nvme = On<EFI_DISK_INFO_PROTOCOL>(Dev("nvme").handle);
                size = 4096;
                EXPECT_EQ(nvme->Interface, gEfiDiskInfoNvmeInterfaceGuid);
                EXPECT_EQ(nvme->Identify(nvme, data.data(), &size), EFI_SUCCESS);
                EXPECT_EQ(Get<UINT64>(data, 0), 77u);
                EXPECT_EQ(data[130], 12);
            });
}

// ---- Files

TEST_F(Storage, FilesAreReadTheWayTheStandardAllows) {
    PowerOn(kRaid, [](Platform&) {
        ConnectAll();
        const EFI_HANDLE handle = Dev("vd0").children.front()->handle;
        EXPECT_EQ(Text(handle, u"\\efi\\Boot\\bootx64.EFI"), "loader");
        EXPECT_EQ(Text(handle, u"EFI\\.\\BOOT\\..\\..\\startup.nsh"), "ABC");
        EXPECT_EQ(Text(handle, u"..\\startup.nsh"), "!EFI_NOT_FOUND");
        EXPECT_EQ(Text(handle, u"\\startup.nsh\\x"), "!EFI_NOT_FOUND");

        EFI_FILE_PROTOCOL* root = OpenRoot(handle);
        EFI_FILE_PROTOCOL* directory = nullptr;
        EFI_FILE_PROTOCOL* file = nullptr;
        ASSERT_EQ(root->Open(root, &directory, u"EFI\\BOOT", EFI_FILE_MODE_READ, 0), EFI_SUCCESS);
        ASSERT_EQ(directory->Open(directory, &file, u"BOOTX64.EFI", EFI_FILE_MODE_READ, 0),
                  EFI_SUCCESS);
        EFI_FILE_PROTOCOL* other = nullptr;
        EXPECT_EQ(root->Open(root, &other, u"new",
                             EFI_FILE_MODE_READ | EFI_FILE_MODE_WRITE | EFI_FILE_MODE_CREATE, 0),
                  EFI_WRITE_PROTECTED);
        EXPECT_EQ(root->Open(root, &other, u"EFI", EFI_FILE_MODE_WRITE, 0), EFI_INVALID_PARAMETER);

        // Parts of a file.
        char text[16] = {};
        UINTN size = 4;
        UINT64 position = 0;
        EXPECT_EQ(file->Read(file, &size, text), EFI_SUCCESS);
        size = 10;
        EXPECT_EQ(file->Read(file, &size, text + 4), EFI_SUCCESS);
        EXPECT_EQ(size, 2u);
        EXPECT_STREQ(text, "loader");
        EXPECT_EQ(file->SetPosition(file, ~UINT64{0}), EFI_SUCCESS);
        EXPECT_EQ(file->GetPosition(file, &position), EFI_SUCCESS);
        EXPECT_EQ(position, 6u);
        EXPECT_EQ(file->SetPosition(file, 7), EFI_SUCCESS);
        EXPECT_EQ(file->Read(file, &size, text), EFI_DEVICE_ERROR);
        EXPECT_EQ(file->Write(file, &size, text), EFI_WRITE_PROTECTED);

        // Directories: entry by entry, a small buffer keeps the entry for the next read.
        alignas(8) UINT8 record[256];
        std::u16string names;
        size = sizeof(EFI_FILE_INFO);
        EXPECT_EQ(root->Read(root, &size, record), EFI_BUFFER_TOO_SMALL);
        for (;;) {
            size = sizeof record;
            ASSERT_EQ(root->Read(root, &size, record), EFI_SUCCESS);
            if (size == 0) {
                break;
            }
            const auto* info = reinterpret_cast<const EFI_FILE_INFO*>(record);
            EXPECT_EQ(info->Size, size);
            names += reinterpret_cast<const char16_t*>(record + sizeof *info);
            names += (info->Attribute & EFI_FILE_DIRECTORY) != 0 ? u"/ " : u" ";
        }
        EXPECT_EQ(ToUtf8(names), "EFI/ startup.nsh ");
        EXPECT_EQ(directory->SetPosition(directory, 1), EFI_UNSUPPORTED);

        size = sizeof record;
        EXPECT_EQ(file->GetInfo(file, &gEfiFileInfoGuid, &size, record), EFI_SUCCESS);
        EXPECT_EQ(reinterpret_cast<const EFI_FILE_INFO*>(record)->FileSize, 6u);
        size = sizeof record;
        EXPECT_EQ(file->GetInfo(file, &gEfiFileSystemInfoGuid, &size, record), EFI_SUCCESS);
        EXPECT_EQ(reinterpret_cast<const EFI_FILE_SYSTEM_INFO*>(record)->VolumeSize, 32u << 20);

        // What is forgotten can be seen, what is used after it was closed is told.
        EXPECT_EQ(root->Close(root), EFI_SUCCESS);
        EXPECT_EQ(directory->Close(directory), EFI_SUCCESS);
        const auto* system = Dev("vd0").children.front()->Find<FileSystem>();
        EXPECT_EQ(system->OpenFiles(), std::vector<std::u16string>{u"\\EFI\\BOOT\\BOOTX64.EFI"});
        EXPECT_EQ(file->Delete(file), EFI_WARN_DELETE_FAILURE);
        EXPECT_TRUE(system->OpenFiles().empty());
        EXPECT_EQ(file->Read(file, &size, record), EFI_INVALID_PARAMETER);
    });
    EXPECT_EQ(violations, std::vector<std::string>{
                              "File.Read of \\EFI\\BOOT\\BOOTX64.EFI called after it was closed"});
}

TEST_F(Storage, HostDirectoriesAndDiscsWithBootImagesShowTheirFiles) {
    namespace fs = std::filesystem;
    const fs::path folder = fs::path(testing::TempDir()) / "kelm-storage-test";
    fs::remove_all(folder);
    fs::create_directories(folder / "tree" / "Sub" / "Deep");
    std::ofstream(folder / "tree" / "b.txt") << "bee";
    std::ofstream(folder / "tree" / "Sub" / "Deep" / "a.txt") << "deep";
    std::ofstream(folder / "secret") << "secret";
    fs::create_symlink("b.txt", folder / "tree" / "link");
    fs::create_symlink(folder / "secret", folder / "tree" / "out");
    fs::create_directory_symlink(folder, folder / "tree" / "loop");

    PowerOn(R"json("devices": {
        "stick": {"kind": "sata-disk", "path": "PciRoot(0x0)/Pci(0x17,0x0)/Sata(0x1,0xFFFF,0x0)",
                  "directory": ")json" +
                (folder / "tree").string() + R"json(",
                  "files": {"Sub\\more.txt": {"text": "more"}}},
        "disc": {"kind": "sata-optical", "path": "PciRoot(0x0)/Pci(0x17,0x0)/Sata(0x2,0xFFFF,0x0)",
                 "bootImage": {"files": {"\\EFI\\BOOT\\BOOTX64.EFI": {"text": "disc"}}}}})json",
            [](Platform&) {
                ConnectAll();
                const EFI_HANDLE stick = Dev("stick").handle;
                EXPECT_EQ(Text(stick, u"\\b.txt"), "bee");
                EXPECT_EQ(Text(stick, u"\\link"), "bee");
                EXPECT_EQ(Text(stick, u"\\sub\\deep\\A.TXT"), "deep");
                EXPECT_EQ(Text(stick, u"\\Sub\\more.txt"), "more");
                EXPECT_EQ(Text(stick, u"\\out"), "!EFI_NOT_FOUND");
                EXPECT_EQ(Text(stick, u"\\loop"), "!EFI_NOT_FOUND");

                // The catalog on the disc leads to the boot image of the handle.
                auto* io = On<EFI_BLOCK_IO_PROTOCOL>(Dev("disc").handle);
                const Bytes boot = Blocks(io, 17, 1);
                EXPECT_EQ(std::memcmp(boot.data(), "\0CD001\1EL TORITO SPECIFICATION", 30), 0);
                const Bytes catalog = Blocks(io, Get<UINT32>(boot, 0x47), 1);
                UINT16 sum = 0;
                for (std::size_t at = 0; at < 32; at += 2) {
                    sum = UINT16(sum + Get<UINT16>(catalog, at));
                }
                EXPECT_EQ(sum, 0);
                EXPECT_EQ(catalog[1], 0xEF);
                Device& boots = *Dev("disc").children.front();
                const auto* node = kelm::NodeAs<CDROM_DEVICE_PATH>(
                    boots.LastNode(), kDevicePathTypeMedia, kMediaSubTypeCdRom);
                ASSERT_NE(node, nullptr);
                EXPECT_EQ(node->BootEntry, 0u);
                EXPECT_EQ(node->PartitionStart, Get<UINT32>(catalog, 32 + 8));
                EXPECT_EQ(node->PartitionSize * 4, Get<UINT16>(catalog, 32 + 6));
                EXPECT_EQ(Text(boots.handle, u"\\EFI\\BOOT\\BOOTX64.EFI"), "disc");
                EXPECT_EQ(On<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL>(Dev("disc").handle), nullptr);
            });
    fs::remove_all(folder);
    EXPECT_TRUE(violations.empty());
}

// ---- RAM disks

TEST_F(Storage, RamDisksComeAndGoWithTheirRegistration) {
    PowerOn(
        R"json("devices": {
        "nic": {"kind": "nic", "path": "PciRoot(0x0)/Pci(0x3,0x0)/MAC(001122334455,0x1)"},
        "http": {"kind": "ram-disk",
                 "path": "PciRoot(0x0)/Pci(0x3,0x0)/MAC(001122334455,0x1)/IPv4(0.0.0.0)/Uri()",
                 "block": {"blocks": 8192},
                 "partitions": [{"files": {"\\EFI\\BOOT\\BOOTX64.EFI": {"text": "net"}}}]}})json",
        [](Platform& p) {
            auto* service = Find<EFI_RAM_DISK_PROTOCOL>(p);
            ASSERT_NE(service, nullptr);
            Device* disk = p.Get<RamDiskService>().Disks().at(0);
            const auto* node = kelm::NodeAs<MEDIA_RAM_DISK_DEVICE_PATH>(
                disk->LastNode(), kDevicePathTypeMedia, kMediaSubTypeRamDisk);
            ASSERT_NE(node, nullptr);
            EXPECT_EQ(node->EndingAddr - node->StartingAddr + 1, 8192u * 512);
            EXPECT_TRUE(p.arena->FindBlock(node->StartingAddr));
            // The memory is the medium.
            const auto* memory = reinterpret_cast<const UINT8*>(node->StartingAddr);
            EXPECT_EQ(std::memcmp(memory + 512, "EFI PART", 8), 0);
            ConnectAll();
            auto* io = On<EFI_BLOCK_IO_PROTOCOL>(disk->handle);
            EXPECT_EQ(Blocks(io, 1, 1), Bytes(memory + 512, memory + 1024));
            Device& part = *disk->children.front();
            EXPECT_EQ(Text(part.handle, u"\\EFI\\BOOT\\BOOTX64.EFI"), "net");

            // By the path of its partition, as a boot finds it; then its memory is free to go.
            EFI_PHYSICAL_ADDRESS address = node->StartingAddr;
            auto* path = const_cast<EFI_DEVICE_PATH_PROTOCOL*>(part.Path());
            EXPECT_EQ(service->Unregister(path), EFI_SUCCESS);
            EXPECT_EQ(disk->handle, nullptr);
            EXPECT_EQ(part.handle, nullptr);
            EXPECT_EQ(service->Unregister(path), EFI_NOT_FOUND);
            EXPECT_EQ(bs->FreePages(address, 8192 * 512 / 4096), EFI_SUCCESS);

            // One of the driver's own.
            ASSERT_EQ(bs->AllocatePages(AllocateAnyPages, EfiBootServicesData, 2, &address),
                      EFI_SUCCESS);
            std::memset(reinterpret_cast<void*>(address), 0x77, 8192);
            EFI_DEVICE_PATH_PROTOCOL* made = nullptr;
            const auto add = [&](UINT64 size) {
                return service->Register(address, size, &gEfiVirtualDiskGuid, nullptr, &made);
            };
            EXPECT_EQ(add(0), EFI_INVALID_PARAMETER);
            ASSERT_EQ(add(8192), EFI_SUCCESS);
            EFI_DEVICE_PATH_PROTOCOL* first = made;
            EXPECT_EQ(add(8192), EFI_ALREADY_STARTED);
            EFI_DEVICE_PATH_PROTOCOL* rest = first;
            EFI_HANDLE handle = nullptr;
            EXPECT_EQ(bs->LocateDevicePath(&gEfiBlockIoProtocolGuid, &rest, &handle), EFI_SUCCESS);
            EXPECT_TRUE(kelm::IsEndEntire(rest));
            io = On<EFI_BLOCK_IO_PROTOCOL>(handle);
            EXPECT_EQ(io->Media->LastBlock, 15u);
            EXPECT_EQ(Blocks(io, 15, 1), Bytes(512, 0x77));
            EXPECT_EQ(service->Unregister(first), EFI_SUCCESS);
            EXPECT_EQ(service->Unregister(const_cast<EFI_DEVICE_PATH_PROTOCOL*>(Dev("nic").Path())),
                      EFI_UNSUPPORTED);
            // The same memory again.
            EXPECT_EQ(add(8192), EFI_SUCCESS);
            EXPECT_EQ(service->Unregister(made), EFI_SUCCESS);
            EXPECT_EQ(bs->FreePool(first), EFI_SUCCESS);
            EXPECT_EQ(bs->FreePool(made), EFI_SUCCESS);
            EXPECT_EQ(bs->FreePages(address, 2), EFI_SUCCESS);
        });
    EXPECT_TRUE(violations.empty()) << violations.front();
}

// ---- Images

TEST_F(Storage, ImagesLoadFromVolumesAndFileSystems) {
    const Bytes pe = simtest::PeWriter().Write();
    PowerOn(
        R"json("devices": {
        "fv": {"kind": "firmware-volume", "path": "Fv(AABBCCDD-1111-2222-3333-444455556666)",
               "volume": [
                   {"guid": "C57AD6B7-0515-40A8-9D21-551652854E37", "name": "Shell",
                    "content": {"hex": ")json" +
            ToHex(pe.data(), pe.size()) + R"json("}},
                   {"guid": "7E374E25-8E01-4FEE-87F2-390C23C606CD", "type": 2,
                    "content": {"text": "DSDT"}}]},
        "disk": {"kind": "nvme", "path": "PciRoot(0x0)/Pci(0x2,0x0)/NVMe(0x1,00-00-00-00-00-00-00-00)",
                 "partitions": [{"files": {
                     "\\EFI\\BOOT\\BOOTX64.EFI": {"hex": ")json" +
            ToHex(pe.data(), pe.size()) + R"json("},
                     "\\bad.efi": {"text": "no image"}}}]}})json",
        [&](Platform& p) {
            // A volume is there without connecting anything.
            auto* volume = Find<EFI_FIRMWARE_VOLUME2_PROTOCOL>(p);
            ASSERT_NE(volume, nullptr);
            UINT32 key = 0;
            EFI_FV_FILETYPE type = EFI_FV_FILETYPE_FREEFORM;
            EFI_FV_FILE_ATTRIBUTES attributes = 1;
            EFI_GUID name{};
            UINTN size = 0;
            UINT32 authentication = 1;
            EXPECT_EQ(volume->GetNextFile(volume, &key, &type, &name, &attributes, &size),
                      EFI_SUCCESS);
            void* buffer = nullptr;
            EXPECT_EQ(volume->ReadSection(volume, &name, EFI_SECTION_RAW, 0, &buffer, &size,
                                          &authentication),
                      EFI_SUCCESS);
            EXPECT_EQ(std::string(static_cast<char*>(buffer), size), "DSDT");
            EXPECT_EQ(bs->FreePool(buffer), EFI_SUCCESS);
            EXPECT_EQ(volume->ReadSection(volume, &name, EFI_SECTION_RAW, 1, &buffer, &size,
                                          &authentication),
                      EFI_NOT_FOUND);
            EXPECT_EQ(volume->GetNextFile(volume, &key, &type, &name, &attributes, &size),
                      EFI_NOT_FOUND);
            key = 0;
            type = EFI_FV_FILETYPE_ALL;
            EXPECT_EQ(volume->GetNextFile(volume, &key, &type, &name, &attributes, &size),
                      EFI_SUCCESS);
            EXPECT_EQ(type, EFI_FV_FILETYPE_APPLICATION);
            char16_t text[4];
            buffer = text;
            size = sizeof text;
            EXPECT_EQ(volume->ReadSection(volume, &name, EFI_SECTION_USER_INTERFACE, 0, &buffer,
                                          &size, &authentication),
                      EFI_WARN_BUFFER_TOO_SMALL);
            EXPECT_EQ(size, 12u);
            EXPECT_EQ(std::u16string(text, 4), u"Shel");

            ConnectAll();
            const std::string part = DevicePathText(Dev("disk").children.front()->Path()) + "/";
            const auto load = [&](const std::string& place) {
                const auto path = ReadDevicePath(p.machine, Json(place), "/path");
                EFI_HANDLE loaded = nullptr;
                EFI_STATUS status = bs->LoadImage(
                    TRUE, image,
                    reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(const_cast<UINT8*>(path.data())),
                    nullptr, 0, &loaded);
                if (!EFI_ERROR(status)) {
                    status = bs->UnloadImage(loaded);
                }
                return StatusText(status);
            };
            const std::string fv = "Fv(AABBCCDD-1111-2222-3333-444455556666)/";
            EXPECT_EQ(load(fv + "FvFile(C57AD6B7-0515-40A8-9D21-551652854E37)"), "EFI_SUCCESS");
            EXPECT_EQ(load(fv + "FvFile(7E374E25-8E01-4FEE-87F2-390C23C606CD)"), "EFI_NOT_FOUND");
            EXPECT_EQ(load(part + "\\EFI\\BOOT\\BOOTX64.EFI"), "EFI_SUCCESS");
            EXPECT_EQ(load(part + "\\EFI/BOOT\\BOOTX64.EFI"), "EFI_SUCCESS");
            EXPECT_EQ(load(part + "\\bad.efi"), "EFI_UNSUPPORTED");
            EXPECT_EQ(load(part + "\\EFI\\BOOT"), "EFI_NOT_FOUND");
            EXPECT_EQ(load(part + "\\none"), "EFI_NOT_FOUND");
            EXPECT_TRUE(Dev("disk").children.front()->Find<FileSystem>()->OpenFiles().empty());
        });
    EXPECT_TRUE(violations.empty()) << violations.front();
}

} // namespace
} // namespace sim
