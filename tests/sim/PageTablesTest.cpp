// The page tables as an image finds them: from the control registers down, read like a processor.

#include "sim/firmware/PageTables.h"

#include "tests/sim/TestMachine.h"

#include <optional>

namespace sim {
namespace {

constexpr const char* kNullDetection =
    R"("hobs": [{"guid": "528F01C0-6F61-4366-B878-FA2D73B409EC", "hex": "01"}])";

struct Mapping {
    UINT64 physical;
    unsigned bits; // of the offset within its page
};

// What a processor with these registers makes of an address; nothing: a page fault.
std::optional<Mapping> Translate(const SimulatedCpu& cpu, UINT64 address) {
    UINT64 table = cpu.PeekControlRegister(3) & kPageAddress;
    const bool fiveLevels = (cpu.PeekControlRegister(4) & kCr4FiveLevels) != 0;
    for (unsigned bits = fiveLevels ? 48 : 39;; bits -= 9) {
        const UINT64 entry = reinterpret_cast<const UINT64*>(table)[address >> bits & 511];
        if ((entry & kPagePresent) == 0) {
            return std::nullopt;
        }
        EXPECT_NE(entry & kPageWritable, 0u);
        const UINT64 offset = (UINT64{1} << bits) - 1;
        if (bits == 12 || (bits <= 30 && (entry & kPageLarge) != 0)) {
            EXPECT_EQ(entry & kPageAddress & offset, 0u) << "bits that must be zero";
            return Mapping{(entry & kPageAddress) | (address & offset), bits};
        }
        table = entry & kPageAddress;
        EXPECT_TRUE(Platform::Current().arena->FindBlock(table)) << "a table in no memory";
    }
}

class PageTablesOf : public simtest::TestMachine {};

TEST_F(PageTablesOf, EveryKindOfMachineMapMemoryToItselfButPageZeroWhenItIsWatched) {
    struct Row {
        const char* cpu;
        bool watched;
        unsigned firstBits; // of the page that holds 0x1000
        bool zeroPresent;
    };
    const Row rows[] = {
        {"{}", false, 12, true},
        {"{}", true, 12, false},
        {R"({"fiveLevelPaging": true})", true, 12, false},
        {R"({"fiveLevelPaging": true, "firstPages": "4K"})", false, 12, true},
        {R"({"firstPages": "2M"})", true, 21, true},
        {R"({"fiveLevelPaging": true, "firstPages": "1G"})", true, 30, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.cpu) + (row.watched ? " watched" : ""));
        PowerOn(std::string("\"cpu\": ") + row.cpu + (row.watched ? ", " : "") +
                    (row.watched ? kNullDetection : ""),
                [&](Platform& platform) {
                    const SimulatedCpu& cpu = *platform.cpu;
                    const UINT64 cr0 = cpu.PeekControlRegister(0);
                    EXPECT_EQ(cr0 & 0x80010001, 0x80010001u) << "protection, write protect, paging";
                    EXPECT_NE(cpu.PeekControlRegister(4) & 0x20, 0u)
                        << "physical address extension";

                    for (UINT64 address :
                         {UINT64{0x1000}, UINT64{0x1FF123}, UINT64{0x200000}, UINT64{0x20000008},
                          UINT64{0x60001000}, UINT64{0xFEE00320}, (UINT64{1} << 39) - 1}) {
                        const auto mapping = Translate(cpu, address);
                        ASSERT_TRUE(mapping) << std::hex << address;
                        EXPECT_EQ(mapping->physical, address);
                    }
                    EXPECT_EQ(Translate(cpu, 0x1000)->bits, row.firstBits);
                    EXPECT_FALSE(Translate(cpu, UINT64{1} << 39));
                    EXPECT_EQ(Translate(cpu, 0).has_value(), row.zeroPresent);

                    UINT64* zero = platform.pageTables->PageZeroEntry();
                    ASSERT_EQ(zero != nullptr, row.firstBits == 12);
                    if (zero != nullptr) {
                        *zero ^= kPagePresent | kPageWritable;
                        EXPECT_EQ(Translate(cpu, 0).has_value(), !row.zeroPresent);
                    }
                });
        EXPECT_TRUE(violations.empty());
    }
}

} // namespace
} // namespace sim
