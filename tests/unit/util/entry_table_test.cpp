// The entry table: bit order, tail, lowest free entry, ranges all or nothing, counting, walking, a std::vector<bool> as its model.

#include "util/nprm_entry.h"

#include <numeric>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/util/random_steps.h"

namespace {

// A table over a bitmap that ends exactly where it should, so that the address sanitizer sees a step too far.
struct owned_table {
    explicit owned_table(uint16_t count)
        : bitmap(NPRM_ENTRY_BYTES(count), 0xA5), table{0, count, static_cast<uint16_t>(bitmap.size()), bitmap.data()} {
        nprm_init_entry_table(&table);
    }
    int64_t alloc() {
        uint32_t index = 0xDEAD;
        if (nprm_entry_alloc(&table, &index) == 1) return index;
        EXPECT_EQ(index, 0xDEADu) << "a refusal wrote an index";
        return -1;
    }
    uint32_t reserve(uint32_t first, uint32_t n) { return nprm_entry_reserve(&table, first, n); }
    uint32_t release(uint32_t first, uint32_t n) { return nprm_entry_free_multiple(&table, first, n); }
    uint32_t used() const { return nprm_entry_used(&table); }

    std::vector<uint8_t> bitmap;
    nprm_entry_table table;
};

using bytes = std::vector<uint8_t>;

std::vector<std::pair<uint32_t, uint32_t>> walked;
void remember(uint32_t index, uint32_t user) {
    walked.emplace_back(index, user);
}

TEST(EntryTable, DescriptorIsLaidOutAsOnTheTarget) {
    EXPECT_EQ(offsetof(nprm_entry_table, reserved), 0u);
    EXPECT_EQ(offsetof(nprm_entry_table, count), 4u);
    EXPECT_EQ(offsetof(nprm_entry_table, bytes), 6u);
    EXPECT_EQ(offsetof(nprm_entry_table, bitmap), 8u);
}

TEST(EntryTable, MacrosSizeTheBitmap) {
    static uint8_t bitmap[NPRM_ENTRY_BYTES(17)];
    static nprm_entry_table table = NPRM_ENTRY_TABLE(17, bitmap);
    EXPECT_EQ(sizeof bitmap, 3u);
    EXPECT_EQ(table.count, 17);
    EXPECT_EQ(table.bytes, 3);
    EXPECT_EQ(table.bitmap, bitmap);
}

TEST(EntryTable, OfTenEntriesBeginsWithTwoBytesAndTheTailMarkedUsed) {
    owned_table owned(10);
    EXPECT_EQ(owned.bitmap, (bytes{0x00, 0x3F}));
    EXPECT_EQ(owned.used(), 0u);
}

TEST(EntryTable, TailMaskFollowsTheCount) {
    const uint8_t masks[8] = {0x00, 0x7F, 0x3F, 0x1F, 0x0F, 0x07, 0x03, 0x01};
    for (uint16_t count = 17; count <= 32; ++count)
        EXPECT_EQ(owned_table(count).bitmap.back(), masks[count % 8]) << count;
}

TEST(EntryTable, GivesTenEntriesInOrderAndThenRefuses) {
    owned_table owned(10);
    for (int64_t i = 0; i < 10; ++i)
        EXPECT_EQ(owned.alloc(), i);
    EXPECT_EQ(owned.alloc(), -1);
    EXPECT_EQ(owned.used(), 10u);
    EXPECT_EQ(owned.bitmap, (bytes{0xFF, 0xFF}));
}

TEST(EntryTable, EntryNIsBitFromTheHighestDown) {
    owned_table owned(16);
    EXPECT_EQ(owned.reserve(0, 1), 1u);
    EXPECT_EQ(owned.reserve(7, 1), 1u);
    EXPECT_EQ(owned.reserve(9, 1), 1u);
    EXPECT_EQ(owned.bitmap, (bytes{0x81, 0x40}));
}

TEST(EntryTable, AlwaysGivesTheLowestFreeEntry) {
    owned_table owned(300);
    EXPECT_EQ(owned.reserve(0, 300), 1u);
    EXPECT_EQ(owned.release(255, 1), 1u);
    EXPECT_EQ(owned.release(131, 1), 1u);
    EXPECT_EQ(owned.release(299, 1), 1u);
    EXPECT_EQ(owned.alloc(), 131);
    EXPECT_EQ(owned.alloc(), 255);
    EXPECT_EQ(owned.alloc(), 299);
    EXPECT_EQ(owned.alloc(), -1);
}

TEST(EntryTable, FindsEachSingleFreeEntryOfATable) {
    for (const uint16_t count : std::vector<uint16_t>{1, 7, 8, 9, 31, 33, 63, 64, 65, 255, 511, 512, 513, 600}) {
        owned_table owned(count);
        ASSERT_EQ(owned.reserve(0, count), 1u);
        for (uint32_t entry = 0; entry < count; ++entry) {
            ASSERT_EQ(owned.release(entry, 1), 1u);
            ASSERT_EQ(owned.alloc(), entry) << "of " << count;
        }
        EXPECT_EQ(owned.alloc(), -1);
    }
}

TEST(EntryTable, Of65535EntriesReachesItsLastOne) {
    owned_table owned(65535);
    EXPECT_EQ(owned.bitmap.size(), 8192u);
    EXPECT_EQ(owned.reserve(0, 65534), 1u);
    EXPECT_EQ(owned.alloc(), 65534);
    EXPECT_EQ(owned.alloc(), -1);
    EXPECT_EQ(owned.used(), 65535u);
}

TEST(EntryTable, WorksAtAnyAddress) {
    std::vector<uint8_t> memory(100, 0x5A);
    for (size_t offset = 0; offset < 8; ++offset) {
        nprm_entry_table table = {0, 600, 75, memory.data() + offset};
        nprm_init_entry_table(&table);
        EXPECT_EQ(nprm_entry_reserve(&table, 0, 599), 1u);
        uint32_t index = 0;
        EXPECT_EQ(nprm_entry_alloc(&table, &index), 1u);
        EXPECT_EQ(index, 599u);
        EXPECT_EQ(nprm_entry_used(&table), 600u);
    }
}

TEST(EntryTable, ReservingOverAUsedEntryFailsAndChangesNothing) {
    owned_table owned(10);
    EXPECT_EQ(owned.reserve(4, 1), 1u);
    EXPECT_EQ(owned.reserve(3, 3), 0u);
    EXPECT_EQ(owned.bitmap, (bytes{0x08, 0x3F}));
    EXPECT_EQ(owned.reserve(3, 1), 1u);
    EXPECT_EQ(owned.reserve(5, 1), 1u);
}

TEST(EntryTable, ReleasingOverAFreeEntryFailsAndChangesNothing) {
    owned_table owned(24);
    EXPECT_EQ(owned.reserve(2, 20), 1u);
    EXPECT_EQ(owned.release(11, 1), 1u);
    const bytes before = owned.bitmap;
    EXPECT_EQ(owned.release(2, 20), 0u);
    EXPECT_EQ(owned.release(1, 3), 0u);
    EXPECT_EQ(owned.release(21, 2), 0u);
    EXPECT_EQ(owned.bitmap, before);
    EXPECT_EQ(owned.release(12, 10), 1u);
    EXPECT_EQ(owned.release(2, 9), 1u);
    EXPECT_EQ(owned.bitmap, (bytes{0, 0, 0}));
}

TEST(EntryTable, ReleasingTwiceFails) {
    owned_table owned(8);
    EXPECT_EQ(owned.reserve(3, 2), 1u);
    EXPECT_EQ(owned.release(3, 2), 1u);
    EXPECT_EQ(owned.release(3, 2), 0u);
}

TEST(EntryTable, ARangeMayEndAtTheCountAndNotBehindIt) {
    owned_table owned(10);
    EXPECT_EQ(owned.reserve(8, 3), 0u);
    EXPECT_EQ(owned.reserve(10, 1), 0u);
    EXPECT_EQ(owned.reserve(8, 2), 1u);
    EXPECT_EQ(owned.release(9, 2), 0u) << "the marked bits behind the last entry cannot be released";
    EXPECT_EQ(owned.bitmap, (bytes{0x00, 0xFF}));
}

TEST(EntryTable, ARangeOf0EntriesSucceedsInsideAndChangesNothing) {
    owned_table owned(10);
    owned.reserve(4, 1);
    for (const uint32_t first : {0u, 4u, 9u, 10u}) {
        EXPECT_EQ(owned.reserve(first, 0), 1u) << first;
        EXPECT_EQ(owned.release(first, 0), 1u) << first;
    }
    EXPECT_EQ(owned.bitmap, (bytes{0x08, 0x3F}));
}

TEST(EntryTable, ARangeOf0EntriesBehindTheCountIsRefused) {
    owned_table owned(10);
    EXPECT_EQ(owned.reserve(11, 0), 0u);
    EXPECT_EQ(owned.release(0xFFFFFFFF, 0), 0u);
}

TEST(EntryTable, ARangeWhoseEndWrapsIsRefused) {
    owned_table owned(10);
    EXPECT_EQ(owned.reserve(0xFFFFFFFF, 1), 0u);
    EXPECT_EQ(owned.reserve(0xFFFFFFFF, 4), 0u) << "ends at 3 in 32 bits";
    EXPECT_EQ(owned.reserve(3, 0xFFFFFFFF), 0u);
    EXPECT_EQ(owned.reserve(0x10000, 1), 0u) << "is 0 in 16 bits";
    EXPECT_EQ(owned.release(0xFFFFFFFF, 2), 0u);
    EXPECT_EQ(owned.bitmap, (bytes{0x00, 0x3F}));
}

TEST(EntryTable, Of0EntriesGivesNothing) {
    uint8_t byte = 0xA5;
    nprm_entry_table table = {0, 0, 0, &byte};
    nprm_init_entry_table(&table);
    uint32_t index = 7;
    EXPECT_EQ(nprm_entry_alloc(&table, &index), 0u);
    EXPECT_EQ(index, 7u);
    EXPECT_EQ(nprm_entry_reserve(&table, 0, 1), 0u);
    EXPECT_EQ(nprm_entry_reserve(&table, 0, 0), 1u);
    EXPECT_EQ(nprm_entry_free_multiple(&table, 0, 1), 0u);
    EXPECT_EQ(nprm_entry_used(&table), 0u);
    nprm_entry_walk(&table, remember, 0);
    EXPECT_EQ(byte, 0xA5);

    table.bytes = 1;
    nprm_init_entry_table(&table);
    EXPECT_EQ(byte, 0xA5) << "initialising a table of 0 entries does nothing";
}

TEST(EntryTable, NeverLeavesABitmapThatIsShorterThanTheCount) {
    std::vector<uint8_t> bitmap(2, 0);
    nprm_entry_table table = {0, 100, 2, bitmap.data()};
    nprm_init_entry_table(&table);
    EXPECT_EQ(nprm_entry_reserve(&table, 10, 7), 0u);
    EXPECT_EQ(nprm_entry_reserve(&table, 0, 12), 1u);
    EXPECT_EQ(nprm_entry_used(&table), 16u) << "12, and the four that the tail mask of 100 marks";
    table.bytes = 0;
    nprm_init_entry_table(&table);
    EXPECT_EQ(nprm_entry_reserve(&table, 0, 1), 0u);
    EXPECT_EQ(nprm_entry_used(&table), 0u);
}

TEST(EntryTable, NeverGivesAnEntryBehindTheCountWhereTheBitmapIsLonger) {
    bytes bitmap = {0xA5, 0xA5, 0xA5, 0xA5};
    nprm_entry_table table = {0, 10, 4, bitmap.data()};
    nprm_init_entry_table(&table);
    EXPECT_EQ(table.bytes, 2);
    EXPECT_EQ(bitmap, (bytes{0x00, 0x3F, 0xA5, 0xA5}));
    uint32_t index = 0;
    for (uint32_t expected = 0; expected < 10; ++expected) {
        EXPECT_EQ(nprm_entry_alloc(&table, &index), 1u);
        EXPECT_EQ(index, expected);
    }
    EXPECT_EQ(nprm_entry_alloc(&table, &index), 0u);
}

TEST(EntryTable, CountsEveryBitBelowTheCountOnly) {
    for (uint16_t count = 1; count <= 200; ++count) {
        owned_table owned(count);
        EXPECT_EQ(owned.used(), 0u) << count;
        std::fill(owned.bitmap.begin(), owned.bitmap.end(), 0xFF);
        EXPECT_EQ(owned.used(), count);
    }
}

TEST(EntryTable, WalksUsedEntriesInAscendingOrderWithTheUsersWord) {
    owned_table owned(45);
    for (const uint32_t entry : {44u, 0u, 9u, 31u, 32u})
        owned.reserve(entry, 1);
    walked.clear();
    nprm_entry_walk(&owned.table, remember, 0xCAFE);
    EXPECT_EQ(walked,
              (std::vector<std::pair<uint32_t, uint32_t>>{{0, 0xCAFE}, {9, 0xCAFE}, {31, 0xCAFE}, {32, 0xCAFE}, {44, 0xCAFE}}));
}

nprm_entry_table *walked_table = nullptr;
void change_while_walking(uint32_t index, uint32_t user) {
    remember(index, user);
    if (index != 3) return;
    nprm_entry_reserve(walked_table, 1, 1);        // behind: not visited
    nprm_entry_reserve(walked_table, 20, 1);       // ahead: visited
    nprm_entry_free_multiple(walked_table, 5, 1);  // ahead and gone: not visited
}

TEST(EntryTable, AWalkSeesWhatItsCallbackChangesAhead) {
    owned_table owned(30);
    walked_table = &owned.table;
    owned.reserve(3, 1);
    owned.reserve(5, 2);
    walked.clear();
    nprm_entry_walk(&owned.table, change_while_walking, 0);
    EXPECT_EQ(walked, (std::vector<std::pair<uint32_t, uint32_t>>{{3, 0}, {6, 0}, {20, 0}}));
}

// A std::vector<bool> beside the table.
class EntryTableModel : public ::testing::Test {
  protected:
    static constexpr uint16_t count = 203;
    owned_table owned{count};
    std::vector<bool> model = std::vector<bool>(count);
    random_steps random;

    void alloc() {
        int64_t expected = -1;
        for (uint32_t i = 0; i < count && expected < 0; ++i)
            if (!model[i]) expected = i;
        ASSERT_EQ(owned.alloc(), expected);
        if (expected >= 0) model[static_cast<size_t>(expected)] = true;
    }

    // Mostly near the table, sometimes anywhere in 32 bits.
    uint32_t any_number(uint32_t below) {
        return random.below(50) == 0 ? static_cast<uint32_t>(random.any()) : random.below(below);
    }

    void turn(bool to_used) {
        const uint32_t first = any_number(count + 5);
        const uint32_t n = any_number(random.below(4) == 0 ? 150 : 9);
        bool possible = uint64_t{first} + n <= count;
        for (uint64_t i = first; possible && i < uint64_t{first} + n; ++i)
            possible = model[static_cast<size_t>(i)] != to_used;
        ASSERT_EQ(to_used ? owned.reserve(first, n) : owned.release(first, n), possible ? 1u : 0u) << first << ", " << n;
        if (possible)
            for (uint32_t i = first; i < first + n; ++i)
                model[i] = to_used;
    }

    void compare_all() {
        ASSERT_EQ(owned.used(), static_cast<uint32_t>(std::accumulate(model.begin(), model.end(), 0)));
        walked.clear();
        nprm_entry_walk(&owned.table, remember, 0);
        size_t at = 0;
        for (uint32_t i = 0; i < count; ++i)
            ASSERT_TRUE(!model[i] || walked.at(at++).first == i);
        ASSERT_EQ(at, walked.size());
    }
};

TEST_F(EntryTableModel, AgreesWithAVectorOverAMillionRandomSteps) {
    for (uint32_t step = 0; step < random_steps::steps; ++step) {
        const uint32_t choice = random.below(10);
        if (choice < 2)
            alloc();
        else
            turn(choice < 6);
        if (step % 500 == 0) compare_all();
        if (HasFatalFailure()) FAIL() << "at step " << step;
    }
    compare_all();
}

}  // namespace
