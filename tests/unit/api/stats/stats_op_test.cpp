// Operations on tables that go well: every byte of their requests, what they do in the segment and in the caller's memory.

#include "stats_fixture.h"

#include <numeric>

namespace {

class StatsOp : public stats_fixture {
  protected:
    void SetUp() override {
        stats_fixture::SetUp();
        ASSERT_EQ(nprm_stats_client_init(), 1u);
    }

    // Every count of some slots of the segment: a number that tells slot and count.
    void fill_slots(size_t offset, size_t slots, uint64_t first = 0x100000000) {
        for (size_t i = 0; i < 2 * slots; ++i)
            set_count(offset + 8 * i, first + i);
    }
    void expect_zero(size_t offset, size_t slots) const {
        for (size_t i = 0; i < 2 * slots; ++i)
            ASSERT_EQ(count_at(offset + 8 * i), 0u) << "count " << i << " from " << offset;
    }
    static uint64_t count_of(const void *data, size_t i) {
        uint64_t count = 0;
        std::memcpy(&count, static_cast<const uint8_t *>(data) + 8 * i, sizeof count);
        return count;
    }
    // Caller's slots from the heap: count i is first + i.
    static void *new_slots(size_t slots, uint64_t first) {
        void *data = malloc(slots * 16);
        for (size_t i = 0; i < 2 * slots; ++i) {
            const uint64_t count = first + i;
            std::memcpy(static_cast<uint8_t *>(data) + 8 * i, &count, sizeof count);
        }
        return data;
    }
};

std::vector<uint32_t> ids_from(uint32_t first, uint32_t count) {
    std::vector<uint32_t> ids(count);
    std::iota(ids.begin(), ids.end(), first);
    return ids;
}

// ---- reads

TEST_F(StatsOp, AttachesTheSegmentWhenNobodyHas) {
    detach_library();
    uint32_t id = 0;
    void *data = nullptr;
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(nprm_stats_op(15, 2, 1, &id, &data), 1); }), "");
    free(data);
    EXPECT_NE(nprm::stats_segment, nullptr);
    const size_t calls = shmat_calls;
    EXPECT_EQ(nprm_stats_op(15, 2, 1, &id, &data), 1);
    free(data);
    EXPECT_EQ(shmat_calls, calls) << "once is enough";
}

TEST_F(StatsOp, ReadOf1000EntriesOfTable8MakesNoRequestAndReturns32000Bytes) {
    fill_slots(0x4000, 20480 * 2);
    std::vector<uint32_t> ids(1000);
    for (uint32_t i = 0; i < 1000; ++i)
        ids[i] = i * 7919 % 20480;
    void *data = nullptr;
    {
        const watched_heap heap;
        ASSERT_EQ(nprm_stats_op(8, 2, 1000, ids.data(), &data), 1);
        EXPECT_EQ(heap.requests(), (std::vector<size_t>{32000, 8000}));
    }
    const heap_buffer owner(data);
    for (size_t i = 0; i < 1000; ++i)
        for (size_t count = 0; count < 4; ++count)
            ASSERT_EQ(count_of(data, 4 * i + count), 0x100000000 + 4 * uint64_t{ids[i]} + count);
    EXPECT_TRUE(ruv.sends.empty());
    EXPECT_EQ(count_at(0x4000 + 8), 0x100000001u) << "a read leaves the counters";
}

TEST_F(StatsOp, ReadsOfSharedTablesWorkWithoutAServer) {
    set_status(0);
    set_count(0x32C0100 + 16 * 65535, 5);
    uint32_t id = 65535;
    void *data = nullptr;
    ASSERT_EQ(nprm_stats_op(15, 2, 1, &id, &data), 1);
    const heap_buffer owner(data);
    EXPECT_EQ(count_of(data, 0), 5u);
}

TEST_F(StatsOp, ReadOf500EntriesOfTable3MakesTwoRequests) {
    const std::vector<uint32_t> ids = ids_from(1000, 500);
    for (const uint32_t part : {480u, 20u}) {
        std::vector<uint8_t> reply = stats_reply(1, size_t{part} * 128);
        for (uint32_t slot = 0; slot < part * 8; ++slot)
            put_u32(reply, 16 + 16 * slot, slot + (part == 20 ? 480 * 8 : 0));
        ruv.reply(reply);
    }
    void *data = nullptr;
    {
        const watched_heap heap;  // fills the buffer, which must not be sent
        ASSERT_EQ(nprm_stats_op(3, 2, 500, const_cast<uint32_t *>(ids.data()), &data), 1);
        EXPECT_EQ(heap.requests().front(), 500u * 8 * 16);
    }
    const heap_buffer owner(data);
    for (size_t slot = 0; slot < 500 * 8; ++slot) {
        ASSERT_EQ(count_of(data, 2 * slot), slot);
        ASSERT_EQ(count_of(data, 2 * slot + 1), 0u);
    }
    ASSERT_EQ(ruv.sends.size(), 2u);
    EXPECT_EQ(ruv.sends[0].payload.size(), 9620u);
    EXPECT_BYTES(ruv.sends[0].payload, 0,
                 "00 00 00 00  01 00 00 00  03 00 00 00  02 00 00 00  e0 01 00 00  e8 03 00 00  e9 03 00 00");
    EXPECT_BYTES(ruv.sends[0].payload, 1936, "c7 05 00 00  00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_BYTES(ruv.sends[1].payload, 0,
                 "00 00 00 00  01 00 00 00  03 00 00 00  02 00 00 00  14 00 00 00  c8 05 00 00  c9 05 00 00");
    const std::vector<uint8_t> slots(ruv.sends[1].payload.begin() + 1940, ruv.sends[1].payload.end());
    EXPECT_EQ(slots, std::vector<uint8_t>(7680, 0)) << "the library's own buffer is never sent";
}

TEST_F(StatsOp, ReadsBringAsManyEntriesInAReplyAsItHolds) {
    const struct {
        uint32_t table, entries;
        size_t entry_bytes;
    } cases[] = {{0, 15, 4096}, {2, 63, 1024}, {6, 31, 2048}, {1, 480, 128}};
    for (const auto &[table, entries, entry_bytes] : cases) {
        std::vector<uint8_t> reply = stats_reply(1, entries * entry_bytes);
        reply.back() = 0x77;
        ruv.reply(reply);
        std::vector<uint32_t> ids = ids_from(0, entries);
        void *data = nullptr;
        ASSERT_EQ(nprm_stats_op(table, 2, entries, ids.data(), &data), 1) << table;
        EXPECT_EQ(static_cast<uint8_t *>(data)[entries * entry_bytes - 1], 0x77);
        free(data);
    }
}

TEST_F(StatsOp, ReadAndClearOfASharedTableZeroesWhatItReturns) {
    fill_slots(0xBC000, 256 * 4);
    uint32_t ids[] = {10, 11, 12, 200};
    void *data = nullptr;
    ASSERT_EQ(nprm_stats_op(11, 5, 4, ids, &data), 1);
    const heap_buffer owner(data);
    for (size_t i = 0; i < 4; ++i)
        for (size_t count = 0; count < 8; ++count)
            EXPECT_EQ(count_of(data, 8 * i + count), 0x100000000 + 8 * uint64_t{ids[i]} + count);
    expect_zero(0xBC000 + 10 * 64, 12);
    expect_zero(0xBC000 + 200 * 64, 4);
    for (const size_t neighbour : {632u, 832u, 12792u, 12864u})
        EXPECT_NE(count_at(0xBC000 + neighbour), 0u) << neighbour;
    EXPECT_TRUE(ruv.sends.empty());
    expect_clean();
}

TEST_F(StatsOp, ReadAndClearOfASmallTableIsTheServers) {
    fill_slots(0, 16);
    ruv.reply(stats_reply(1, 16));
    uint32_t id = 0;
    void *data = nullptr;
    ASSERT_EQ(nprm_stats_op(4, 5, 1, &id, &data), 1);
    free(data);
    EXPECT_BYTES(ruv.last_request(), 8, "04 00 00 00  05 00 00 00  01 00 00 00  00 00 00 00");
    EXPECT_EQ(count_at(0), 0x100000000u);
}

TEST_F(StatsOp, ReadsSmallTablesWithoutIdsAsEntry0) {
    uint32_t ids[2] = {0x55555555, 0x66666666};
    for (int i = 0; i < 22; ++i) {  // whatever buffer comes next has these ids
        ruv.reply(stats_reply(1, 0));
        ASSERT_EQ(nprm_stats_op(4, 1, 2, ids, nullptr), 1);
    }
    ruv.reply(stats_reply(1, 32));
    void *data = nullptr;
    ASSERT_EQ(nprm_stats_op(4, 2, 2, nullptr, &data), 1);
    free(data);
    EXPECT_BYTES(ruv.last_request(), 16, "02 00 00 00  00 00 00 00  00 00 00 00");
}

TEST_F(StatsOp, ReadsOfTheRowBehindTheLastTableAreEmpty) {
    for (const uint32_t op : {2u, 5u}) {
        void *data = nullptr;
        ASSERT_EQ(nprm_stats_op(17, op, 3, nullptr, &data), 1);
        EXPECT_NE(data, nullptr);
        free(data);
    }
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(StatsOp, OnTheRowBehindTheLastTableTouchNothing) {
    std::memset(segment_, 0xEE, 4096);
    uint32_t ids[2] = {0, 0xFFFFFFFF};
    ruv.reply(stats_reply(1, 0));
    EXPECT_EQ(nprm_stats_op(17, 4, 2, ids, nullptr), 1);
    ruv.reply(stats_reply(1, 8));
    EXPECT_EQ(nprm_stats_op(17, 0, 2, ids, nullptr), 1);
    EXPECT_EQ(ids[1], 0u);
    EXPECT_EQ(segment_[0], 0xEE);
    EXPECT_EQ(ruv.sends.size(), 2u);
    expect_clean();
}

TEST_F(StatsOp, OfNoEntriesIsDoneAtOnce) {
    for (uint32_t op = 0; op <= 5; ++op) {
        void *data = nullptr;
        EXPECT_EQ(stderr_of([&] { EXPECT_EQ(nprm_stats_op(8, op, 0, nullptr, &data), 1) << op; }), "");
        EXPECT_EQ(data != nullptr, op == 2 || op == 5) << "reads give an empty buffer";
        free(data);
    }
    EXPECT_TRUE(ruv.sends.empty());
    expect_clean();
}

// ---- writes

TEST_F(StatsOp, WriteToTable0SendsOneEntryARequest) {
    ruv.reply(stats_reply(1, 0));
    ruv.reply(stats_reply(1, 0));
    uint32_t ids[] = {0x0A0B0C0D, 7};
    void *data = new_slots(512, 0x1000);
    const heap_buffer owner(data);
    ASSERT_EQ(nprm_stats_op(0, 3, 2, ids, &data), 1);
    EXPECT_EQ(data, owner.get()) << "the caller's slots stay the caller's";
    ASSERT_EQ(ruv.sends.size(), 2u);
    EXPECT_BYTES(ruv.sends[0].payload, 8, "00 00 00 00  03 00 00 00  01 00 00 00  0d 0c 0b 0a  00 00 00 00");
    EXPECT_BYTES(ruv.sends[0].payload, 1940, "00 10 00 00 00 00 00 00  01 10 00 00 00 00 00 00  02 10 00 00 00 00 00 00");
    EXPECT_BYTES(ruv.sends[0].payload, 1940 + 255 * 16,
                 "fe 11 00 00 00 00 00 00  ff 11 00 00 00 00 00 00  00 00 00 00 00 00 00 00");
    EXPECT_BYTES(ruv.sends[1].payload, 8, "00 00 00 00  03 00 00 00  01 00 00 00  07 00 00 00");
    EXPECT_BYTES(ruv.sends[1].payload, 1940, "00 12 00 00 00 00 00 00  01 12 00 00 00 00 00 00");
    expect_clean();
}

TEST_F(StatsOp, WriteSendsAsManyEntriesAsHaveRoom) {
    for (int i = 0; i < 3; ++i)
        ruv.reply(stats_reply(1, 0));
    std::vector<uint32_t> ids = ids_from(0, 21);  // of 48 slots: ten a request
    void *data = new_slots(21 * 48, 0);
    const heap_buffer owner(data);
    fill_slots(0x2C0100, 48);
    ASSERT_EQ(nprm_stats_op(14, 3, 21, ids.data(), &data), 1);
    ASSERT_EQ(ruv.sends.size(), 3u);
    EXPECT_BYTES(ruv.sends[0].payload, 8, "0e 00 00 00  03 00 00 00  0a 00 00 00  00 00 00 00  01 00 00 00");
    EXPECT_BYTES(ruv.sends[0].payload, 9620 - 8, "bf 03 00 00 00 00 00 00");  // 959
    EXPECT_BYTES(ruv.sends[1].payload, 8, "0e 00 00 00  03 00 00 00  0a 00 00 00  0a 00 00 00  0b 00 00 00");
    EXPECT_BYTES(ruv.sends[1].payload, 1940, "c0 03 00 00 00 00 00 00");  // 960
    EXPECT_BYTES(ruv.sends[2].payload, 8, "0e 00 00 00  03 00 00 00  01 00 00 00  14 00 00 00");
    EXPECT_BYTES(ruv.sends[2].payload, 1940, "80 07 00 00 00 00 00 00");  // 1,920
    EXPECT_EQ(count_at(0x2C0100), 0x100000000u) << "a write leaves the segment to the server";
}

// ---- the server's operations

TEST_F(StatsOp, ServersOperationIsSentAndNothingElseDone) {
    fill_slots(0x4000, 4);
    uint32_t ids[] = {0, 1};
    for (const uint32_t table : {8u, 3u, 17u}) {
        ruv.reply(stats_reply(1, 0));
        EXPECT_EQ(nprm_stats_op(table, 1, 2, ids, nullptr), 1);
        EXPECT_EQ(ruv.last_request()[8], table);
        EXPECT_BYTES(ruv.last_request(), 9, "00 00 00  01 00 00 00  02 00 00 00  00 00 00 00  01 00 00 00");
    }
    EXPECT_EQ(count_at(0x4000), 0x100000000u);
    expect_clean();
}

TEST_F(StatsOp, CallersSlotsAreSentWithTheOtherOperationsButAtMost480) {
    for (const uint32_t op : {0u, 1u, 4u}) {
        ruv.reply(stats_reply(1, 4 * 20));
        std::vector<uint32_t> ids = ids_from(0, 20);
        void *data = new_slots(20 * 48, 0x5000);
        const heap_buffer owner(data);
        ASSERT_EQ(nprm_stats_op(14, op, 20, ids.data(), &data), 1) << op;
        EXPECT_EQ(data, owner.get());
        ASSERT_EQ(ruv.last_request().size(), 9620u);
        EXPECT_EQ(ruv.last_request()[12], op);
        EXPECT_BYTES(ruv.last_request(), 16, "14 00 00 00");
        EXPECT_BYTES(ruv.last_request(), 1940, "00 50 00 00 00 00 00 00  01 50 00 00 00 00 00 00");
        EXPECT_BYTES(ruv.last_request(), 9620 - 8, "bf 53 00 00 00 00 00 00");
        for (int i = 0; i < 11; ++i) {
            auto *buffer = static_cast<uint8_t *>(nprm_ipc_msg_malloc());
            EXPECT_EQ(std::vector<uint8_t>(buffer + 9620, buffer + 10000), std::vector<uint8_t>(380, 0)) << "behind the record";
            nprm_free(buffer);
        }
    }
}

// ---- clears

TEST_F(StatsOp, ClearOfASharedTableTellsTheServerAndZeroesTheEntries) {
    fill_slots(0x4000, 2 * 600);
    ruv.reply(stats_reply(1, 0));
    ruv.reply(stats_reply(1, 0));
    std::vector<uint32_t> ids = ids_from(1, 500);
    ASSERT_EQ(nprm_stats_op(8, 4, 500, ids.data(), nullptr), 1);
    ASSERT_EQ(ruv.sends.size(), 2u);
    EXPECT_BYTES(ruv.sends[0].payload, 8, "08 00 00 00  04 00 00 00  e0 01 00 00  01 00 00 00  02 00 00 00");
    EXPECT_BYTES(ruv.sends[1].payload, 8, "08 00 00 00  04 00 00 00  14 00 00 00  e1 01 00 00");
    EXPECT_NE(count_at(0x4000 + 24), 0u);
    expect_zero(0x4000 + 32, 1000);
    EXPECT_NE(count_at(0x4000 + 32 + 16000), 0u);
    expect_clean();
}

TEST_F(StatsOp, ClearOfASmallTableIsTheServers) {
    fill_slots(0, 16);
    ruv.reply(stats_reply(1, 0));
    uint32_t id = 0;
    ASSERT_EQ(nprm_stats_op(3, 4, 1, &id, nullptr), 1);
    EXPECT_EQ(count_at(0), 0x100000000u);
}

// ---- allocation

TEST_F(StatsOp, AllocateReturnsTheServersIdsAndZeroesTheirEntries) {
    fill_slots(0x4000, 2 * 20480);
    for (const uint32_t part : {480u, 3u}) {
        std::vector<uint8_t> reply = stats_reply(1, size_t{part} * 4 + 40);  // more ids than asked for
        for (uint32_t i = 0; i < part + 10; ++i)
            put_u32(reply, 16 + 4 * i, 10000 + (part == 3 ? 480 : 0) + i);
        ruv.reply(reply);
    }
    std::vector<uint32_t> ids(484, 0x55);
    ASSERT_EQ(nprm_stats_op(8, 0, 483, ids.data(), nullptr), 1);
    for (uint32_t i = 0; i < 483; ++i)
        EXPECT_EQ(ids[i], 10000 + i);
    EXPECT_EQ(ids[483], 0x55u) << "written behind the caller's ids";
    expect_zero(0x4000 + 10000 * 32, 2 * 483);
    EXPECT_NE(count_at(0x4000 + 10483 * 32), 0u);
    EXPECT_NE(count_at(0x4000 + 10000 * 32 - 8), 0u);
    ASSERT_EQ(ruv.sends.size(), 2u);
    EXPECT_BYTES(ruv.sends[0].payload, 8, "08 00 00 00  00 00 00 00  e0 01 00 00  55 00 00 00");
    EXPECT_BYTES(ruv.sends[1].payload, 8, "08 00 00 00  00 00 00 00  03 00 00 00  55 00 00 00");
    expect_clean();
}

TEST_F(StatsOp, AllocateInASmallTableClearsInsideTable7) {
    fill_slots(0, 1024);
    std::vector<uint8_t> reply = stats_reply(1, 4);
    put_u32(reply, 16, 2);
    ruv.reply(reply);
    uint32_t id = 0;
    ASSERT_EQ(nprm_stats_op(3, 0, 1, &id, nullptr), 1);
    EXPECT_EQ(id, 2u);
    EXPECT_NE(count_at(248), 0u);
    expect_zero(256, 8);
    EXPECT_NE(count_at(384), 0u);
}

TEST_F(StatsOp, HoldsTheLockDuringTheExchange) {
    bool locked = false;
    ruv.answers.push_back({0, stats_reply(1, 0), [&] { locked = pthread_mutex_trylock(&stats_mutex) != 0; }});
    uint32_t id = 0;
    ASSERT_EQ(nprm_stats_op(3, 4, 1, &id, nullptr), 1);
    EXPECT_TRUE(locked);
}

}  // namespace
