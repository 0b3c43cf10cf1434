// Booting from what somebody plugged in or downloaded: the fallback file and its file system.

#include "boot/RemovableMedia.h"

#include "library/firmware/Protocol.h"
#include "platform/Connect.h"
#include "tests/driver/OptionMachine.h"
#include "tests/sim/PeWriter.h"
#include "uefi/LoadedImage.h"

#include <algorithm>

namespace kelm::test {

namespace {

constexpr char16_t kStick[] = u"PciRoot(0x0)/Pci(0x14,0x0)/USB(0x1,0x0)";

std::string StickWith(const std::vector<std::string>& fallbackFiles) {
    std::string partitions;
    for (std::size_t i = 0; i < fallbackFiles.size(); ++i) {
        partitions += fmt::format(
            R"({}{{"number": {}, "scheme": "mbr", "start": {}, "blocks": 8192,
            "files": {{{}}}}})",
            i == 0 ? "" : ", ", i + 1, 2048 + i * 8192,
            fallbackFiles[i].empty() ? "" : R"("\\EFI\\BOOT\\BOOTX64.EFI": )" + fallbackFiles[i]);
    }
    return R"("usb-front": {"partitions": [)" + partitions + "]}";
}

std::string FileOf(const Bytes& bytes) {
    return fmt::format(R"({{"hex": "{}"}})", Hex(bytes));
}

} // namespace

TEST(RemovableMedia, OnlyAnApplicationForThisProcessorIsTheFallback) {
    Bytes ia32 = simtest::PeWriter{.machine = 0x14C}.Write();
    simtest::PeWriter::Put<UINT16>(ia32, simtest::PeWriter::kOptional, 0x10B);
    const Bytes good = simtest::PeWriter{}.Write();
    Bytes far = good;
    simtest::PeWriter::Put<UINT32>(far, 0x3C, 0xFFFFFFFF);
    struct Row {
        const char* name;
        Bytes file;
        bool found;
    };
    const Row rows[] = {
        {"application", good, true},
        {"without a DOS header", Bytes(good.begin() + simtest::PeWriter::kNewHeader, good.end()),
         true},
        {"headers alone", Bytes(good.begin(), good.begin() + simtest::PeWriter::kOptional + 70),
         true},
        {"IA-32", ia32, false},
        {"driver", simtest::PeWriter{.subsystem = 11}.Write(), false},
        {"cut before the subsystem",
         Bytes(good.begin(), good.begin() + simtest::PeWriter::kOptional + 69), false},
        {"header far away", far, false},
        {"a few bytes", {'M', 'Z'}, false},
        {"no file", {}, false},
    };
    for (const Row& row : rows) {
        const std::string stick =
            StickWith({FileOf(ia32), row.file.empty() ? "" : FileOf(row.file)});
        RunClean("{\"devices\": {" + stick + "}}", [&](sim::Platform&) {
            SCOPED_TRACE(row.name);
            static_cast<void>(BdsConnectAll());
            PathBytes path = PathOf(kStick);
            EFI_HANDLE found = BdsFindRemovableMediaFileSystem(AsPath(path));
            EXPECT_EQ(found != nullptr, row.found);
            if (found != nullptr) {
                const auto text = BytesOfPath(ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(found));
                EXPECT_GT(text.size(), path.size()) << "a partition of it";
            }
            EXPECT_EQ(BdsFindRemovableMediaFileSystem(nullptr), nullptr);
        });
    }
}

TEST(RemovableMedia, ADownloadedRamDiskWithoutAProgramIsGivenBack) {
    struct Row {
        const char* name;
        std::u16string bootPath;
        Bytes file;
        bool found;
        bool released;
    };
    const std::u16string partition = kPartition;
    const std::u16string downloaded = u"PciRoot(0x1)/IPv4(0.0.0.0)/Uri(http://kelm/)";
    const Bytes good = simtest::PeWriter{}.Write();
    const Row rows[] = {
        {"a program", downloaded, good, true, false},
        {"one for others", downloaded, simtest::PeWriter{.machine = 0xAA64}.Write(), false, false},
        {"no image", downloaded, {'M', 'Z'}, false, true},
        {"nothing", downloaded, {}, false, true},
        {"no download", u"PciRoot(0x1)/IPv4(0.0.0.0)", good, false, false},
        {"a longer path", downloaded + u"/" + partition + u"/" + partition + u"/" + partition, good,
         false, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string machine = fmt::format(
            R"json({{"devices": {{"http": {{"kind": "ram-disk", "block": {{"blocks": 8192}},
                "path": "PciRoot(0x2)/Pci(0x3,0x0)/MAC(001122334455,0x1)/IPv4(0.0.0.0)/Uri()",
                "partitions": [{{"files": {{{}}}}}]}}}}}})json",
            row.file.empty() ? "" : R"("\\EFI\\BOOT\\BOOTX64.EFI": )" + FileOf(row.file));
        sim::Trace trace;
        RunClean(
            machine,
            [&](sim::Platform&) {
                static_cast<void>(BdsConnectAll());
                PathBytes path = PathOf(row.bootPath);
                EXPECT_EQ(BdsFindRemovableMediaFileSystem(AsPath(path)) != nullptr, row.found);
            },
            &trace);
        const auto calls = trace.EventsOf("protocol-call");
        EXPECT_EQ(
            std::any_of(calls.begin(), calls.end(),
                        [](const sim::Json& call) { return call.at("member") == "Unregister"; }),
            row.released);
    }
}

TEST(RemovableMedia, IsCheckedWithoutAnImageLeftBehindAndHandedOverWhenAskedFor) {
    const std::string machine = "{\"devices\": {\"usb-back\": {}, " +
                                StickWith({FileOf(simtest::PeWriter{.machine = 0x14C}.Write()),
                                           R"({"payload": "success"})"}) +
                                "}}";
    RunClean(machine, [&](sim::Platform&) {
        static_cast<void>(BdsConnectAll());
        PathBytes path = PathOf(kStick);
        EFI_HANDLE image = nullptr;
        EXPECT_EQ(BdsCheckRemovableMedia(nullptr, &image), EFI_INVALID_PARAMETER);
        HandleBuffer before;
        static_cast<void>(before.LocateByProtocol(gEfiLoadedImageProtocolGuid));
        EXPECT_EQ(BdsCheckRemovableMedia(AsPath(path), nullptr), EFI_SUCCESS);
        EXPECT_EQ(BdsCheckRemovableMedia(AsPath(path), &image), EFI_SUCCESS);
        HandleBuffer after;
        static_cast<void>(after.LocateByProtocol(gEfiLoadedImageProtocolGuid));
        EXPECT_EQ(after.handles().size(), before.handles().size() + 1);
        EXPECT_EQ(gBS->StartImage(image, nullptr, nullptr), EFI_SUCCESS);

        PathBytes elsewhere = PathOf(u"PciRoot(0x0)/Pci(0x14,0x0)/USB(0x5,0x0)");
        EXPECT_EQ(BdsCheckRemovableMedia(AsPath(elsewhere), &image), EFI_NOT_FOUND);
        EXPECT_EQ(image, nullptr);
    });
}

TEST(RemovableMedia, SaysWhyTheLastLoadFailed) {
    struct Row {
        const char* fallback;
        std::string rest;
        EFI_STATUS status;
    };
    const std::string failing =
        R"(, "faults": [{"call": "LoadImage", "nth": 1, "status": "EFI_DEVICE_ERROR"},
                        {"call": "LoadImage", "nth": 2, "status": "EFI_NOT_FOUND"}])";
    const std::string refusing =
        R"json(, "security": {"refuse": ["PciRoot(0x0)/Pci(0x14,0x0)/USB(0x1,0x0)"]})json";
    const Row rows[] = {
        {"", failing, EFI_DEVICE_ERROR},
        {R"({"payload": "success"})", failing, EFI_NOT_FOUND},
        {R"({"payload": "success"})", refusing, EFI_SECURITY_VIOLATION},
    };
    for (const Row& row : rows) {
        RunClean("{\"devices\": {" + StickWith({row.fallback}) + "}" + row.rest + "}",
                 [&](sim::Platform&) {
                     static_cast<void>(BdsConnectAll());
                     HandleBuffer before;
                     static_cast<void>(before.LocateByProtocol(gEfiLoadedImageProtocolGuid));
                     PathBytes path = PathOf(kStick);
                     EFI_HANDLE image = &path;
                     EXPECT_EQ(BdsCheckRemovableMedia(AsPath(path), &image), row.status);
                     EXPECT_EQ(image, nullptr);
                     HandleBuffer after;
                     static_cast<void>(after.LocateByProtocol(gEfiLoadedImageProtocolGuid));
                     EXPECT_EQ(after.handles().size(), before.handles().size());
                 });
    }
}

TEST(RemovableMedia, AStickWithoutADefaultPathStillBoots) {
    Bytes ia32 = simtest::PeWriter{.machine = 0x14C}.Write();
    DriverBoot boot(fmt::format(R"({{"devices": {{{}}}, "variables": {{{}}}}})",
                                StickWith({FileOf(ia32), R"({"payload": "os-loader"})"}),
                                OptionVariables({{kStick, u"Stick"}})));
    const sim::BootResult result = boot.PowerOn();
    EXPECT_EQ(result.reason, sim::EndReason::OsStarted) << result.detail;
    const auto codes = boot.StatusCodes();
    EXPECT_EQ(std::count(codes.begin(), codes.end(), "0x03058000"), 2) << "each load is reported";
}

} // namespace kelm::test
