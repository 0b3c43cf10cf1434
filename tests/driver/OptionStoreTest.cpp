#include "bootopt/LoadOption.h"
#include "bootopt/LoadOptionFormat.h"
#include "bootopt/OrderVariable.h"
#include "bootopt/VariableHelpers.h"
#include "kelm/Variables.h"
#include "sim/firmware/Arena.h"
#include "sim/firmware/Faults.h"
#include "sim/firmware/VariableService.h"
#include "tests/driver/DriverBoot.h"
#include "tests/driver/OptionBytes.h"
#include "uefi/GlobalVariable.h"

#include <gtest/gtest.h>

#include <random>

namespace kelm::test {

namespace {

const Bytes kPath = PathOf(u"PciRoot(0x0)/Pci(0x1F,0x2)/Sata(0x0,0xFFFF,0x0)");

// Takes the place of GetVariable while it lives.
class VariableHook {
public:
    using Answer =
        std::function<EFI_STATUS(const CHAR16*, const EFI_GUID*, UINT32*, UINTN*, void*)>;

    explicit VariableHook(Answer answer) : original_(gRT->GetVariable) {
        mAnswer = std::move(answer);
        gRT->GetVariable = Get;
    }
    ~VariableHook() {
        gRT->GetVariable = original_;
        mAnswer = {};
    }

private:
    static EFI_STATUS EFIAPI Get(const CHAR16* name, const EFI_GUID* guid, UINT32* attributes,
                                 UINTN* size, void* data) {
        return mAnswer(name, guid, attributes, size, data);
    }

    static inline Answer mAnswer;
    decltype(gRT->GetVariable) original_;
};

} // namespace

TEST(LoadOption, RoundTripsInTheLayoutOfTheStandard) {
    struct Row {
        UINT16 number;
        const char16_t* name;
        const char16_t* description; // null: none
        Bytes optionalData;
    };
    const Row rows[] = {
        {0x0000, u"Boot0000", u"", {}},
        {0x00AB, u"Boot00AB", u"A disk", {1, 2, 3}},
        {0xF00D, u"BootF00D", nullptr, {0}},
        {0xFFFF, u"BootFFFF", u"odd", Bytes(1001, 0x5A)},
    };
    RunWithoutLeak([&](sim::Platform& platform) {
        for (const Row& row : rows) {
            Bytes path = kPath;
            std::u16string description = row.description != nullptr ? row.description : u"";
            Bytes data = row.optionalData;
            BootOptionRecord record{};
            record.Attribute = 0x80000001;
            record.DevicePath = reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(path.data());
            record.Description = row.description != nullptr ? description.data() : nullptr;
            record.LoadOptions = data.empty() ? nullptr : data.data();
            record.LoadOptionsSize = UINT32(data.size());
            EXPECT_EQ(BdsWriteBootOption(row.number, &record), EFI_SUCCESS);
            EXPECT_EQ(Stored(platform, row.name),
                      OptionBytes(0x80000001, description, kPath, row.optionalData));
            EXPECT_EQ(platform.variables->Find(row.name, gEfiGlobalVariableGuid)->attributes, 7u);

            const OwnedBootOption read(BdsReadBootOption(row.number));
            ASSERT_TRUE(read);
            EXPECT_EQ(read->Signature, 0x4F436442u) << "BdCO";
            EXPECT_EQ(read->BootCurrent, row.number);
            EXPECT_EQ(BytesOf(*read.get()), Stored(platform, row.name));
            EXPECT_EQ(read->LoadOptions == nullptr, row.optionalData.empty());
            EXPECT_EQ(read->OptionName, nullptr);
            EXPECT_EQ(read->StatusString, nullptr);
        }
    });
}

TEST(LoadOption, RefusesToWriteWhatCannotBeRead) {
    RunWithoutLeak([](sim::Platform& platform) {
        Bytes good = kPath;
        Bytes broken = {1, 4, 3, 0, 0x7F, 0xFF, 4, 0};
        Bytes tooLong(0xFFFC, 0);
        tooLong[0] = 1, tooLong[1] = 4, tooLong[2] = 0xFC, tooLong[3] = 0xFF;
        tooLong.insert(tooLong.end(), {0x7F, 0xFF, 4, 0}); // 65536 bytes
        const auto write = [](Bytes* path, UINT32 optionalSize) {
            BootOptionRecord record{};
            record.LoadOptionsSize = optionalSize;
            if (path != nullptr) {
                record.DevicePath = reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(path->data());
            }
            return BdsWriteBootOption(1, &record);
        };
        EXPECT_EQ(BdsWriteBootOption(1, nullptr), EFI_INVALID_PARAMETER);
        EXPECT_EQ(write(nullptr, 0), EFI_INVALID_PARAMETER);
        EXPECT_EQ(write(&broken, 0), EFI_INVALID_PARAMETER);
        EXPECT_EQ(write(&tooLong, 0), EFI_INVALID_PARAMETER);
        EXPECT_EQ(write(&good, 1), EFI_INVALID_PARAMETER) << "optional data without a pointer";
        EXPECT_EQ(platform.faults->Calls("SetVariable"), 0u);
    });
}

TEST(LoadOption, ReadsMalformedContentsAsMissingAndKeepsThem) {
    const Bytes good = OptionBytes(1, u"Disk", kPath, {9});
    const auto with = [&](const std::function<void(Bytes&)>& change) {
        Bytes bytes = good;
        change(bytes);
        return bytes;
    };
    const std::size_t path = 6 + 5 * 2;
    const struct {
        const char* what;
        Bytes bytes;
    } rows[] = {
        {"one byte", {1}},
        {"eleven bytes", Bytes(11, 0)},
        {"twelve bytes of nothing", Bytes(12, 0)},
        {"path length 2", with([](Bytes& b) { b[4] = 2, b[5] = 0; })},
        {"path length past the end", with([](Bytes& b) { b[4] = UINT8(b[4] + 2); })},
        {"path length before the path's end", with([](Bytes& b) { b[4] = UINT8(b[4] - 1); })},
        {"path length 65535", with([](Bytes& b) { b[4] = 0xFF, b[5] = 0xFF; })},
        {"description without its end", with([](Bytes& b) { b.resize(6 + 4 * 2); })},
        {"half of the description's end", with([](Bytes& b) { b.resize(6 + 4 * 2 + 1); })},
        {"no path", with([&](Bytes& b) { b.resize(path); })},
        {"path cut", with([&](Bytes& b) { b.resize(path + kPath.size() - 1); })},
        {"node of no length", with([&](Bytes& b) { b[path + 2] = 0; })},
        {"node of great length", with([&](Bytes& b) { b[path + 3] = 0xFF; })},
        {"end node of wrong length", with([&](Bytes& b) { b[path + kPath.size() - 2] = 5; })},
        {"description swallows the path",
         OptionBytes(1, std::u16string(40, u'x'), kPath, {}, UINT16(kPath.size() + 2))},
    };
    RunWithoutLeak([&](sim::Platform& platform) {
        for (const auto& row : rows) {
            Store(platform, u"Boot0001", row.bytes);
            EXPECT_EQ(BdsReadBootOption(1), nullptr) << row.what;
            EXPECT_EQ(BdsSetOptionActive(1, false), EFI_NOT_FOUND) << row.what;
            EXPECT_EQ(Stored(platform, u"Boot0001"), row.bytes) << row.what;
        }
        EXPECT_EQ(BdsReadBootOption(2), nullptr);
        EXPECT_EQ(BdsSetOptionActive(2, true), EFI_NOT_FOUND);
        EXPECT_EQ(platform.faults->Calls("SetVariable"), 0u);
    });
}

TEST(LoadOption, WhateverIsReadOfRandomBytesReadsTheSameOnceWritten) {
    RunWithoutLeak([](sim::Platform& platform) {
        std::mt19937 random(20240607);
        unsigned read = 0;
        for (unsigned i = 0; i < 2000; ++i) {
            Bytes bytes = OptionBytes(random(), u"Option", kPath, Bytes(random() % 9, 7));
            for (unsigned changes = random() % 4; changes > 0; --changes) {
                bytes[random() % bytes.size()] = UINT8(random() % 2 != 0 ? random() : random() % 6);
            }
            bytes.resize(random() % 4 == 0 ? 1 + random() % bytes.size() : bytes.size());
            Store(platform, u"Boot0001", bytes);
            const OwnedBootOption option(BdsReadBootOption(1));
            if (!option) {
                continue;
            }
            ++read;
            EXPECT_EQ(BdsWriteBootOption(2, option.get()), EFI_SUCCESS);
            const OwnedBootOption again(BdsReadBootOption(2));
            ASSERT_TRUE(again);
            EXPECT_EQ(BytesOf(*again.get()), BytesOf(*option.get()));
            EXPECT_LE(BytesOf(*option.get()).size(), bytes.size());
        }
        EXPECT_GT(read, 500u);
        EXPECT_LT(read, 1800u);
    });
}

TEST(LoadOption, ActivatingChangesOneBitOfTheVariable) {
    // The file path list holds a second path and some bytes, which a record would not carry.
    Bytes list = kPath;
    list.insert(list.end(), kPath.begin(), kPath.end());
    list.push_back(0xEE);
    const Bytes active = OptionBytes(0x8000010F, u"Two paths", list, {1, 2, 3});
    const Bytes inactive = OptionBytes(0x8000010E, u"Two paths", list, {1, 2, 3});
    RunWithoutLeak([&](sim::Platform& platform) {
        Store(platform, u"Boot0ABC", inactive);
        for (const bool enable : {true, true, false, false}) {
            EXPECT_EQ(BdsSetOptionActive(0x0ABC, enable), EFI_SUCCESS);
            EXPECT_EQ(Stored(platform, u"Boot0ABC"), enable ? active : inactive);
        }
        const OwnedBootOption option(BdsReadBootOption(0x0ABC));
        ASSERT_TRUE(option);
        EXPECT_EQ(BytesOfPath(option->DevicePath), kPath);
        EXPECT_EQ(platform.arena->FindBlock(UINT64(option->DevicePath))->size, kPath.size());
        EXPECT_EQ(option->LoadOptionsSize, 3u) << "what lies behind the whole file path list";
    });
}

TEST(OptionList, HoldsReadableOptionsInBootOrder) {
    RunWithoutLeak([](sim::Platform& platform) {
        KelmListEntry head;
        BdsInitOptionList(&head);
        EXPECT_EQ(BdsBuildOptionListFromBootOrder(&head), EFI_OUT_OF_RESOURCES);
        EXPECT_EQ(head.ForwardLink, &head);

        Store(platform, u"Boot0003", OptionBytes(1, u"three", kPath));
        Store(platform, u"Boot0001", OptionBytes(0, u"one", kPath));
        Store(platform, u"Boot0002", Bytes(11, 0)); // malformed
        Bytes order = AsBytes({3, 2, 9, 1, 3});
        order.push_back(0x01); // half a number
        Store(platform, u"BootOrder", order);
        for (int build = 0; build < 2; ++build) { // the second one appends
            EXPECT_EQ(BdsBuildOptionListFromBootOrder(&head), EFI_SUCCESS);
        }
        Numbers forward;
        for (KelmListEntry* link = head.ForwardLink; link != &head; link = link->ForwardLink) {
            forward.push_back(BdsOptionOfLink(link)->BootCurrent);
        }
        Numbers backward;
        for (KelmListEntry* link = head.BackLink; link != &head; link = link->BackLink) {
            backward.push_back(BdsOptionOfLink(link)->BootCurrent);
        }
        EXPECT_EQ(forward, (Numbers{3, 1, 3, 3, 1, 3}));
        EXPECT_EQ(backward, Numbers(forward.rbegin(), forward.rend()));
        BdsFreeOptionList(&head);
    });
}

TEST(FreeOptionNumber, IsTheSmallestThatNoVariableHas) {
    RunWithoutLeak([](sim::Platform& platform) {
        UINT16 number = 0x5555;
        EXPECT_EQ(BdsGetFreeOptionNumber(&number), EFI_SUCCESS);
        EXPECT_EQ(number, 0);
        for (const char16_t* name : {u"Boot0000", u"Boot0001", u"Boot0003"}) {
            Store(platform, name, {1}); // malformed ones are taken, too
        }
        EXPECT_EQ(BdsGetFreeOptionNumber(&number), EFI_SUCCESS);
        EXPECT_EQ(number, 2);
        // One that cannot be looked at may be there.
        platform.faults->Add({.call = "GetVariable", .nth = 3}, true);
        EXPECT_EQ(BdsGetFreeOptionNumber(&number), EFI_SUCCESS);
        EXPECT_EQ(number, 4);

        std::u16string free = u"BootFFFE";
        const VariableHook taken([&](const CHAR16* name, auto&&...) {
            return name == free ? EFI_NOT_FOUND : EFI_BUFFER_TOO_SMALL;
        });
        EXPECT_EQ(BdsGetFreeOptionNumber(&number), EFI_SUCCESS);
        EXPECT_EQ(number, 0xFFFE);
        free = u"BootFFFF";
        EXPECT_EQ(BdsGetFreeOptionNumber(&number), EFI_NOT_FOUND);
        EXPECT_EQ(number, 0xFFFE) << "written on success only";
    });
}

TEST(Variables, AreReadWholeOrNotAtAll) {
    RunWithoutLeak([](sim::Platform& platform) {
        UINTN size = 1;
        EXPECT_FALSE(BdsReadVariable(u"Probe", &gKelmBdsVariableGuid, &size));
        EXPECT_EQ(size, 0u);
        EXPECT_EQ(BdsDeleteVariable(u"Probe", &gKelmBdsVariableGuid), EFI_NOT_FOUND);

        // Changes between the question for the size and the reading.
        for (const std::size_t later : {0u, 1u, 4u, 5u}) {
            Store(platform, u"Probe", Bytes(4, 1), gKelmBdsVariableGuid);
            const auto get = gRT->GetVariable;
            const VariableHook hook(
                [&](auto* name, auto* guid, auto* attributes, UINTN* room, void* data) {
                    const EFI_STATUS status = get(name, guid, attributes, room, data);
                    if (data == nullptr) {
                        Store(platform, u"Probe", Bytes(later, 2), gKelmBdsVariableGuid);
                    }
                    return status;
                });
            const PoolPtr<UINT8> data = BdsReadVariable(u"Probe", &gKelmBdsVariableGuid, &size);
            const bool readable = later == 1 || later == 4;
            EXPECT_EQ(static_cast<bool>(data), readable) << later;
            EXPECT_EQ(size, readable ? later : 0u);
        }
        for (const UINTN answered : {0u, 5u}) { // sizes that no sane service answers
            const VariableHook hook([&](auto*, auto*, auto*, UINTN* room, void* data) {
                *room = data == nullptr ? 4 : answered;
                return data == nullptr ? EFI_BUFFER_TOO_SMALL : EFI_SUCCESS;
            });
            EXPECT_FALSE(BdsReadVariable(u"Probe", &gKelmBdsVariableGuid, &size));
            EXPECT_EQ(size, 0u);
        }
        // Under their own attributes.
        for (const UINT32 attributes : {2u, 3u, 6u, 7u}) {
            ASSERT_EQ(platform.variables->Write(u"Probe", gKelmBdsVariableGuid, attributes, "x", 1),
                      EFI_SUCCESS);
            EXPECT_EQ(BdsDeleteVariable(u"Probe", &gKelmBdsVariableGuid), EFI_SUCCESS);
            EXPECT_FALSE(Stored(platform, u"Probe", gKelmBdsVariableGuid));
        }
    });
}

} // namespace kelm::test
