#include "bootopt/LoadOption.h"
#include "bootopt/OrderVariable.h"
#include "bootopt/VariableHelpers.h"
#include "kelm/Variables.h"
#include "sim/firmware/Faults.h"
#include "tests/driver/OptionBytes.h"

#include <gtest/gtest.h>

namespace kelm::test {

namespace {

const Bytes kPath = PathOf(u"PciRoot(0x0)/Pci(0x1F,0x2)/Sata(0x0,0xFFFF,0x0)");

Numbers Counted(std::size_t count) {
    Numbers numbers(count);
    for (std::size_t i = 0; i < count; ++i) {
        numbers[i] = UINT16(0x100 + i);
    }
    return numbers;
}

Numbers With(Numbers numbers, UINT16 last) {
    numbers.push_back(last);
    return numbers;
}

} // namespace

TEST(Orders, GrowAtTheEndAndMoveToTheFront) {
    using Edit = EFI_STATUS(const CHAR16*, const EFI_GUID*, UINT16);
    Edit* const append = BdsAppendToOrder;
    Edit* const front = BdsMoveToFrontOfOrder;
    const struct {
        const char* what;
        Edit* edit;
        Numbers before;
        EFI_STATUS status;
        Numbers after;
    } rows[] = {
        {"append to none", append, {}, EFI_SUCCESS, {5}},
        {"append", append, {1, 2}, EFI_SUCCESS, {1, 2, 5}},
        {"append what is there", append, {5, 2, 5}, EFI_SUCCESS, {5, 2, 5}},
        {"the last to fit", append, Counted(254), EFI_SUCCESS, With(Counted(254), 5)},
        {"full", append, Counted(255), EFI_OUT_OF_RESOURCES, Counted(255)},
        {"full of it", append, Numbers(255, 5), EFI_OUT_OF_RESOURCES, Numbers(255, 5)},
        {"more than full", append, Counted(300), EFI_OUT_OF_RESOURCES, Counted(300)},
        {"front of none", front, {}, EFI_NOT_FOUND, {}},
        {"already in front", front, {5, 1}, EFI_SUCCESS, {5, 1}},
        {"from the end", front, {1, 2, 3, 5}, EFI_SUCCESS, {5, 1, 2, 3}},
        {"every occurrence", front, {1, 5, 2, 5, 1}, EFI_SUCCESS, {5, 5, 1, 2, 1}},
        {"not in the order", front, {1, 2, 1}, EFI_SUCCESS, {1, 2, 1}},
    };
    RunWithoutLeak([&](sim::Platform& platform) {
        for (const auto& row : rows) {
            for (const bool odd : {false, true}) {
                SCOPED_TRACE(std::string(row.what) + (odd ? ", odd size" : ""));
                Bytes before = AsBytes(row.before);
                before.resize(before.size() + (odd ? 1 : 0));
                for (const auto& [name, guid] :
                     {std::pair{u"BootOrder", &gEfiGlobalVariableGuid},
                      std::pair{u"UefiBootOrder", &gKelmSystemVariableGuid}}) {
                    static_cast<void>(BdsDeleteVariable(name, guid));
                    if (!before.empty()) {
                        Store(platform, name, before, *guid);
                    }
                    EXPECT_EQ(row.edit(name, guid, 5), row.status);
                    const auto after = Stored(platform, name, *guid);
                    if (row.after.empty()) {
                        EXPECT_EQ(after.value_or(Bytes()).size() / 2, 0u);
                        continue;
                    }
                    ASSERT_TRUE(after);
                    EXPECT_EQ(after->size() / 2, row.after.size());
                    EXPECT_EQ(Bytes(after->begin(), after->begin() + 2 * row.after.size()),
                              AsBytes(row.after));
                    EXPECT_EQ(platform.variables->Find(name, *guid)->attributes,
                              guid == &gEfiGlobalVariableGuid ? 7u : 3u);
                }
            }
        }
    });
}

TEST(Orders, LoseNumbersInMemory) {
    const struct {
        Numbers before;
        std::size_t size; // bytes
        Numbers every;
        Numbers first;
    } rows[] = {
        {{}, 0, {}, {}},
        {{5}, 2, {}, {}},
        {{5, 5}, 4, {}, {5}},
        {{1, 5, 2, 5, 3}, 10, {1, 2, 3}, {1, 2, 5, 3}},
        {{1, 2}, 4, {1, 2}, {1, 2}},
        {{1, 5, 5}, 5, {1}, {1}}, // the last number is cut in two
    };
    RunWithoutLeak([&](sim::Platform& platform) {
        for (const auto& row : rows) {
            for (const bool every : {true, false}) {
                Store(platform, u"Boot0005", {1, 2, 3});
                Numbers order = row.before;
                UINTN size = row.size;
                if (every) {
                    BdsRemoveOptionFromOrder(5, order.data(), &size);
                    EXPECT_TRUE(Stored(platform, u"Boot0005")) << "only the order is edited";
                } else {
                    EXPECT_EQ(BdsDeleteOptionAndRemoveFromOrder(5, order.data(), &size),
                              EFI_SUCCESS);
                    EXPECT_FALSE(Stored(platform, u"Boot0005"));
                }
                Numbers expected = every ? row.every : row.first;
                EXPECT_EQ(size, expected.size() * 2);
                expected.resize(row.size / 2, 0);
                order.resize(expected.size());
                EXPECT_EQ(order, expected);
            }
        }
        Numbers order = {4, 5};
        UINTN size = 4;
        EXPECT_EQ(BdsDeleteOptionAndRemoveFromOrder(5, order.data(), &size), EFI_NOT_FOUND);
        EXPECT_EQ(BdsDeleteOptionAndRemoveFromOrder(4, order.data(), &size), EFI_NOT_FOUND);
        EXPECT_EQ(size, 0u) << "an option without a variable leaves the order all the same";
    });
}

TEST(OptionStore, EachFailingCallLeavesTheOldOrTheNewState) {
    const Bytes option = OptionBytes(0, u"Disk", kPath, {1, 2, 3});
    const Bytes active = OptionBytes(1, u"Disk", kPath, {1, 2, 3});
    const struct {
        const char* what;
        std::function<EFI_STATUS()> run;
        const char16_t* name; // of the variable that changes
        std::optional<Bytes> after;
    } edits[] = {
        {"append", [] { return BdsAppendToOrder(kBootOrderName, &gEfiGlobalVariableGuid, 9); },
         u"BootOrder", AsBytes({1, 2, 9})},
        {"front", [] { return BdsMoveToFrontOfOrder(kBootOrderName, &gEfiGlobalVariableGuid, 2); },
         u"BootOrder", AsBytes({2, 1})},
        {"activate", [] { return BdsSetOptionActive(1, true); }, u"Boot0001", active},
        {"delete", [] { return BdsDeleteVariable(u"Boot0001", &gEfiGlobalVariableGuid); },
         u"Boot0001", std::nullopt},
        {"copy",
         [] {
             const OwnedBootOption read(BdsReadBootOption(1));
             return read ? BdsWriteBootOption(2, read.get()) : EFI_NOT_FOUND;
         },
         u"Boot0002", option},
        {"list",
         [&] {
             KelmListEntry head;
             BdsInitOptionList(&head);
             const EFI_STATUS status = BdsBuildOptionListFromBootOrder(&head);
             for (KelmListEntry* link = head.ForwardLink; link != &head; link = link->ForwardLink) {
                 const BootOptionRecord& record = *BdsOptionOfLink(link);
                 EXPECT_EQ(BytesOf(record), record.BootCurrent == 1 ? option : active);
             }
             BdsFreeOptionList(&head);
             return status;
         },
         u"BootOrder", AsBytes({1, 2})},
    };
    for (const auto& edit : edits) {
        for (const char* call : {"AllocatePool", "GetVariable", "SetVariable"}) {
            RunWithoutLeak([&](sim::Platform& platform) {
                for (unsigned nth = 1;; ++nth) {
                    SCOPED_TRACE(std::string(edit.what) + ", " + call + " " + std::to_string(nth));
                    Store(platform, u"BootOrder", AsBytes({1, 2}));
                    Store(platform, u"Boot0001", option);
                    Store(platform, u"Boot0002", active);
                    const auto before = Stored(platform, edit.name);
                    const auto blocks = platform.arena->LiveBlocks().size();
                    const auto calls = platform.faults->Calls(call);
                    platform.faults->Add({.call = call, .nth = nth, .status = EFI_OUT_OF_RESOURCES},
                                         true);
                    const EFI_STATUS status = edit.run();
                    const auto after = Stored(platform, edit.name);
                    EXPECT_EQ(platform.arena->LiveBlocks().size(), blocks);
                    if (!EFI_ERROR(status)) {
                        EXPECT_EQ(after, edit.after);
                    } else {
                        EXPECT_EQ(after, before);
                    }
                    if (platform.faults->Calls(call) - calls < nth) {
                        EXPECT_EQ(status, EFI_SUCCESS);
                        break;
                    }
                }
            });
        }
    }
}

} // namespace kelm::test
