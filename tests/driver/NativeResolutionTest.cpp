// The resolution that the console takes from its display.

#include "boot/NativeResolution.h"

#include "library/firmware/Protocol.h"
#include "platform/Connect.h"
#include "sim/firmware/HandleDatabase.h"
#include "tests/driver/OptionMachine.h"
#include "uefi/Edid.h"
#include "uefi/GraphicsOutput.h"

#include <numeric>

namespace kelm::test {

namespace {

// The first block of a display whose first detailed timing has this size.
Bytes Edid(unsigned width, unsigned height, UINT16 clock = 14850) {
    Bytes edid(128);
    edid[18] = 1;
    edid[19] = 4;
    edid[54] = UINT8(clock);
    edid[55] = UINT8(clock >> 8);
    edid[56] = UINT8(width);
    edid[58] = UINT8(width >> 8 << 4 | 0xA); // the lower half belongs to the blanking
    edid[59] = UINT8(height);
    edid[61] = UINT8(height >> 8 << 4 | 0x5);
    edid[127] = UINT8(-std::accumulate(edid.begin(), edid.end(), 0));
    return edid;
}

Bytes Changed(Bytes edid, std::size_t at, UINT8 value, bool balanced) {
    edid[127] = UINT8(edid[127] + (balanced ? edid[at] - value : 0));
    edid[at] = value;
    return edid;
}

// A graphics output without hardware; it has one mode of the native size.
struct FakeOutput {
    EFI_GRAPHICS_OUTPUT_PROTOCOL protocol;
    EFI_GRAPHICS_OUTPUT_PROTOCOL_MODE record;
    EFI_EDID_ACTIVE_PROTOCOL edid;
    UINT32 modesSet = 0;

    FakeOutput() {
        protocol.Mode = &record;
        record.MaxMode = 3;
        protocol.QueryMode = [](EFI_GRAPHICS_OUTPUT_PROTOCOL*, UINT32 mode, UINTN* size,
                                EFI_GRAPHICS_OUTPUT_MODE_INFORMATION** info) EFIAPI -> EFI_STATUS {
            if (mode == 0) {
                return EFI_DEVICE_ERROR;
            }
            *size = sizeof(**info);
            *info = AllocateZeroPool<EFI_GRAPHICS_OUTPUT_MODE_INFORMATION>().release();
            (*info)->HorizontalResolution = 1920;
            (*info)->VerticalResolution = 1080;
            (*info)->PixelFormat = mode == 1 ? PixelRedGreenBlueReserved8BitPerColor
                                             : PixelBlueGreenRedReserved8BitPerColor;
            return EFI_SUCCESS;
        };
        protocol.SetMode = [](EFI_GRAPHICS_OUTPUT_PROTOCOL* self, UINT32 mode)
                               EFIAPI -> EFI_STATUS {
            reinterpret_cast<FakeOutput*>(self)->modesSet = mode;
            return EFI_SUCCESS;
        };
    }
    void Install(Bytes* edidBytes) {
        auto& handles = *sim::Platform::Current().handles;
        EFI_HANDLE handle = nullptr;
        handles.Install(&handle, gEfiGraphicsOutputProtocolGuid, &protocol);
        if (edidBytes != nullptr) {
            edid = {UINT32(edidBytes->size()), edidBytes->data()};
            handles.Install(&handle, gEfiEdidActiveProtocolGuid, &edid);
        }
    }
};

} // namespace

TEST(NativeResolution, IsThatOfTheOneDisplayThatTellsIt) {
    constexpr UINT32 kUnchanged = 0;
    const Bytes full = Edid(1920, 1080);
    Bytes longer = full;
    longer.resize(256, 0x11); // an extension block, not summed
    struct Row {
        const char* name;
        Bytes edid;
        UINT32 mode;
    };
    const Row rows[] = {
        {"the first mode that fits", full, 2},
        {"with an extension", longer, 2},
        {"a clock below 2.56 MHz", Edid(1920, 1080, 0x00FF), 2},
        {"a clock of round value", Edid(1920, 1080, 0x0100), 2},
        {"no timing", Edid(1920, 1080, 0), kUnchanged},
        {"wrong sum", Changed(full, 20, 1, false), kUnchanged},
        {"version 2", Changed(full, 18, 2, true), kUnchanged},
        {"cut", Bytes(full.begin(), full.begin() + 127), kUnchanged},
        {"none", {}, kUnchanged},
        {"no such mode", Edid(1600, 1200), kUnchanged},
        {"the smallest", Edid(1024, 768), kUnchanged},
        {"narrow", Edid(1023, 1080), kUnchanged},
        {"low", Edid(1920, 767), kUnchanged},
        {"as wide as the smallest", Edid(1024, 800), 4},
        {"as high as the smallest", Edid(1366, 768), 5},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string machine = fmt::format(R"({{"devices": {{"video": {{"video": {{
            "modes": [[800, 600], [1024, 768], [1920, 1080], [1920, 1080], [1024, 800], [1366, 768],
                      [1023, 1080], [1920, 767]], "edid": "{}"}}}}}}}})",
                                                Hex(row.edid));
        RunClean(machine, [&](sim::Platform&) {
            static_cast<void>(BdsConnectAll());
            auto* output = FindProtocol<EFI_GRAPHICS_OUTPUT_PROTOCOL>();
            ASSERT_NE(output, nullptr);
            BdsSetNativeResolution();
            EXPECT_EQ(output->Mode->Mode, row.mode);
        });
    }
}

TEST(NativeResolution, WithSeveralOutputsTheOneThatIsNoDisplayIsSet) {
    Bytes told = Edid(1920, 1080);
    Bytes silent = Edid(1920, 1080, 0);
    struct Row {
        const char* name;
        std::vector<Bytes*> displays; // of each output; null: it is none
        int set;                      // the output whose mode is set
    };
    const Row rows[] = {
        {"the only one", {&told}, 0},
        {"the console's", {&told, nullptr}, 1},
        {"the console's, with a second display", {&silent, nullptr, &told}, 1},
        {"two native sizes", {&told, nullptr, &told}, -1},
        {"two consoles", {&told, nullptr, nullptr}, -1},
        {"displays alone", {&told, &silent}, -1},
        {"nothing told", {nullptr}, -1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        RunClean("{}", [&](sim::Platform&) {
            std::vector<FakeOutput> outputs(row.displays.size());
            for (std::size_t i = 0; i < outputs.size(); ++i) {
                outputs[i].Install(row.displays[i]);
            }
            BdsSetNativeResolution();
            for (int i = 0; i < int(outputs.size()); ++i) {
                EXPECT_EQ(outputs[std::size_t(i)].modesSet, i == row.set ? 2u : 0u) << i;
            }
        });
    }
}

} // namespace kelm::test
