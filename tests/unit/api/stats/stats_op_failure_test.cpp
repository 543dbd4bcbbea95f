// Operations on tables that fail: one line in the log, nothing touched outside the segment and the caller's memory, nothing kept.

#include "stats_fixture.h"

namespace {

class StatsOpFailure : public stats_fixture {
  protected:
    void SetUp() override {
        stats_fixture::SetUp();
        std::memset(segment_, 0xEE, 4096);
        ASSERT_EQ(nprm_stats_client_init(), 1u);
    }
    // Runs an operation that must fail, and gives what was logged.
    static std::string failure_of(uint32_t table, uint32_t op, uint32_t count, uint32_t *ids, void **data) {
        std::string log = stderr_of([&] { EXPECT_EQ(nprm_stats_op(table, op, count, ids, data), 0); });
        expect_clean();
        return log;
    }
    void expect_segment_untouched() const {
        for (size_t i = 0; i < 4096; ++i)
            ASSERT_EQ(segment_[i], 0xEE) << i;
    }
};

constexpr const char *no_reply = "nprm_stats_op(2012): Stats Client: No reply from Stats Server.";
constexpr const char *refused = "nprm_stats_op(2022): Stats Client: Operation failed!.";

// Every operation that asks the server, with a caller's buffer where one may be.
constexpr struct {
    uint32_t table, op;
    bool gives_data;
} asking[] = {{7, 0, false}, {7, 0, true},  {7, 1, true}, {3, 2, false}, {7, 3, true},
              {3, 3, true},  {7, 4, false}, {3, 4, true}, {3, 5, false}};

TEST_F(StatsOpFailure, WithoutAReplyReleasesTheBuffer) {
    for (const auto &[table, op, gives_data] : asking) {
        uint32_t id = 0;
        void *data = gives_data ? calloc(16, 16) : nullptr;
        ruv.fail_receive(-1, 75);
        const std::string log = failure_of(table, op, 1, &id, &data);
        EXPECT_NE(log.find(no_reply), std::string::npos) << op << log;
        EXPECT_EQ(data, nullptr) << op;
        EXPECT_EQ(id, 0u);
    }
    expect_segment_untouched();
}

TEST_F(StatsOpFailure, NeverAnswersFromAnOlderReply) {
    for (const auto &[table, op, gives_data] : asking) {
        std::vector<uint8_t> older(65536, 0);
        older[8] = older[4] = 1;
        nprm_api_ipc_msg_handler(6, older.data());
        uint32_t id = 0x55;
        void *data = gives_data ? calloc(16, 16) : nullptr;
        ruv.send_result = -1;
        EXPECT_NE(failure_of(table, op, 1, &id, &data).find(no_reply), std::string::npos) << op;
        EXPECT_EQ(id, 0x55u);
    }
    expect_segment_untouched();
}

TEST_F(StatsOpFailure, RefusedByTheServerReleasesTheBuffer) {
    for (const auto &[table, op, gives_data] : asking) {
        uint32_t id = 0;
        void *data = gives_data ? calloc(16, 16) : nullptr;
        ruv.reply(stats_reply(0, 2048));
        EXPECT_EQ(failure_of(table, op, 1, &id, &data), refused) << op;
        EXPECT_EQ(data, nullptr) << op;
        ruv.reply(bytes_of("00 00 00 00  01 00 00 00  00 00 00 00"));  // a refusal brings no data
        data = gives_data ? calloc(16, 16) : nullptr;
        EXPECT_EQ(failure_of(table, op, 1, &id, &data), refused) << op;
    }
    expect_segment_untouched();
}

TEST_F(StatsOpFailure, WithoutARequestReleasesTheBufferAndSaysNoMore) {
    set_status(0);
    for (const auto &[table, op, gives_data] : asking) {
        uint32_t id = 0;
        void *data = gives_data ? calloc(16, 16) : nullptr;
        const std::string log = failure_of(table, op, 1, &id, &data);
        EXPECT_NE(log.find("Server is not ready to accept calls."), std::string::npos);
        EXPECT_EQ(log.find("Stats Client"), std::string::npos) << log;
        EXPECT_EQ(data, nullptr) << op;
    }
    EXPECT_TRUE(ruv.sends.empty());
    expect_segment_untouched();
}

TEST_F(StatsOpFailure, InALaterPartEndsTheOperation) {
    std::vector<uint32_t> ids(1000, 0);
    ruv.reply(stats_reply(1, 480 * 128));
    ruv.reply(stats_reply(0, 0));
    void *data = nullptr;
    EXPECT_EQ(failure_of(3, 2, 1000, ids.data(), &data), refused);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(ruv.sends.size(), 2u);
}

// ---- replies that bring less than they promise

TEST_F(StatsOpFailure, TakesAReplyWithTooFewIdsForNone) {
    for (const size_t bytes : {12u, 16u, 16u + 4 * 3 - 1}) {
        std::vector<uint8_t> reply = stats_reply(1, 12);
        reply.resize(bytes);
        ruv.reply(reply);
        uint32_t ids[3] = {0x55, 0x55, 0x55};
        EXPECT_EQ(failure_of(7, 0, 3, ids, nullptr), no_reply);
        for (const uint32_t id : ids)
            EXPECT_EQ(id, 0x55u);
    }
    expect_segment_untouched();
}

TEST_F(StatsOpFailure, TakesAReplyWithTooFewCountersForNone) {
    for (const uint32_t op : {2u, 5u}) {
        for (const size_t bytes : {12u, 16u, 16u + 2 * 128 - 1}) {
            std::vector<uint8_t> reply = stats_reply(1, 256);
            reply.resize(bytes);
            ruv.reply(reply);
            uint32_t ids[2] = {0, 1};
            void *data = nullptr;
            EXPECT_EQ(failure_of(3, op, 2, ids, &data), no_reply);
            EXPECT_EQ(data, nullptr);
        }
    }
}

TEST_F(StatsOpFailure, TakesNoMoreEntriesThanAReplyHolds) {
    const struct { uint32_t table, entries; } cases[] = {{0, 16}, {2, 64}, {6, 32}};
    for (const auto &[table, entries] : cases) {
        ruv.reply(std::vector<uint8_t>(65536, 1));
        std::vector<uint32_t> ids(entries, 0);
        void *data = nullptr;
        EXPECT_EQ(failure_of(table, 2, entries, ids.data(), &data), no_reply) << table;
        EXPECT_EQ(data, nullptr);
    }
}

// ---- the segment

TEST_F(StatsOpFailure, WithoutASegmentSaysItTwiceAndSendsNothing) {
    detach_library();
    remove_segment();
    uint32_t id = 0;
    for (uint32_t op = 0; op <= 5; ++op) {
        void *data = calloc(256, 16);
        const heap_buffer owner(data);
        EXPECT_EQ(failure_of(3, op, 1, &id, &data),
                  "nprm_stats_client_init(1804): Stats Client: Failed to find shared memory!."
                  "nprm_stats_op(1937): Stats Client: Shared memory mapping failed!.");
        EXPECT_EQ(data, owner.get()) << "still the caller's";
    }
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(StatsOpFailure, TriesAFailedAttachOnceAndNeverLooksThere) {
    detach_library();
    shmat_calls = 0;
    uint32_t id = 0;
    void *data = nullptr;
    {
        const failing_shmat failing;
        EXPECT_EQ(failure_of(8, 2, 1, &id, &data),
                  "nprm_stats_client_init(1811): Stats Client: Failed to get shared memory identifier!."
                  "nprm_stats_op(1937): Stats Client: Shared memory mapping failed!.");
    }
    EXPECT_EQ(shmat_calls, 1u);
    for (const uint32_t op : {2u, 5u, 4u, 0u}) {
        if (op == 4 || op == 0) ruv.reply(stats_reply(1, 4));
        const std::string log = failure_of(8, op, 1, &id, &data);
        EXPECT_NE(log.find("): Stats Client: The shared memory is not attached."), std::string::npos) << log;
        EXPECT_EQ(data, nullptr);
    }
    ruv.reply(stats_reply(1, 128));
    EXPECT_EQ(nprm_stats_op(3, 2, 1, &id, &data), 1) << "the server's own tables need no segment";
    free(data);
    EXPECT_EQ(shmat_calls, 1u);
    EXPECT_EQ(nprm_stats_client_init(), 1u) << "the host may try again";
}

TEST_F(StatsOpFailure, ReadsASegmentThatWasReplacedAsItWasUntilItAttachesTheNewOne) {
    set_count(0x4000, 5);
    remove_segment();
    make_segment(segment_bytes);
    set_count(0x4000, 6);
    for (const uint64_t expected : {5u, 6u}) {
        uint32_t id = 0;
        void *data = nullptr;
        ASSERT_EQ(nprm_stats_op(8, 2, 1, &id, &data), 1);
        EXPECT_EQ(static_cast<nprm_stats_counter *>(data)->count[0], expected);
        free(data);
        ASSERT_EQ(nprm_stats_client_init(), 1u);
    }
}

// ---- ids

constexpr struct {
    uint32_t table, first_outside;
} last_ids[] = {{7, 216065},  {8, 1728008}, {9, 426882}, {10, 213313}, {11, 852228},
                {12, 851972}, {13, 204801}, {14, 68266}, {15, 131072}, {16, 1}};

TEST_F(StatsOpFailure, ForIdsOutsideTheSegmentTouchesNothing) {
    for (const auto &[table, first_outside] : last_ids) {
        for (const uint32_t outside : {first_outside, 0x7FFFFFFFu, 0xFFFFFFFFu, 0x10000000u}) {
            for (const uint32_t op : {2u, 5u, 4u}) {
                if (op == 4) ruv.reply(stats_reply(1, 0));
                uint32_t ids[3] = {0, outside, 0};
                void *data = nullptr;
                const std::string log = failure_of(table, op, 3, ids, &data);
                const std::string expected = "): Stats Client: Entry " + std::to_string(outside) + " of table " +
                                             std::to_string(table) + " is outside the shared memory.";
                EXPECT_EQ(log.substr(0, 14), "nprm_stats_op(");
                EXPECT_NE(log.find(expected), std::string::npos) << log;
                EXPECT_EQ(log.find("nprm_stats_op", 14), std::string::npos) << "one line: " << log;
                EXPECT_EQ(data, nullptr);
            }
        }
    }
    expect_segment_untouched();
}

TEST_F(StatsOpFailure, IdsInsideTheSegmentAreGoodWhateverTheirTable) {
    for (const auto &[table, first_outside] : last_ids) {
        uint32_t id = first_outside - 1;
        void *data = nullptr;
        EXPECT_EQ(nprm_stats_op(table, 5, 1, &id, &data), 1) << table;
        free(data);
    }
}

TEST_F(StatsOpFailure, ForIdsThatTheServerInventsTouchesNothing) {
    for (const auto &[table, id] : {std::pair{7u, 216065u}, {3u, 432130u}, {0u, 13504u}, {16u, 0xFFFFFFFFu}}) {
        std::vector<uint8_t> reply = stats_reply(1, 4);
        put_u32(reply, 16, id);
        ruv.reply(reply);
        uint32_t got = 0;
        const std::string log = failure_of(table, 0, 1, &got, nullptr);
        EXPECT_NE(log.find(" is outside the shared memory."), std::string::npos) << log;
    }
    expect_segment_untouched();
}

// ---- memory

TEST_F(StatsOpFailure, WithoutMemorySaysWhereItWasMissing) {
    const struct {
        uint32_t table, op;
        size_t failing_call;
        const char *line;
        size_t requests;
    } cases[] = {{8, 2, 1, "1955", 0}, {8, 5, 1, "1955", 0}, {3, 2, 1, "1955", 0}, {8, 2, 2, "2039", 0}, {8, 5, 2, "2039", 0},
                 {3, 2, 2, "2039", 1}, {8, 4, 1, "2082", 1}, {8, 0, 1, "2111", 1}, {3, 0, 1, "2111", 1}};
    for (const auto &each : cases) {
        ruv.sends.clear();
        ruv.answers.clear();
        ruv.repeat_last = true;
        ruv.reply(stats_reply(1, 128));
        uint32_t id = 0;
        void *data = nullptr;
        nprm_syslog_flag = 1;
        const std::string log = stderr_of([&] {
            ruv.recording = false;
            const watched_heap heap(each.failing_call);
            EXPECT_EQ(nprm_stats_op(each.table, each.op, 1, &id, &data), 0);
        });
        EXPECT_EQ(log, std::string("nprm_stats_op(") + each.line + "): Stats Client: Malloc failed!.");
        EXPECT_EQ(data, nullptr);
        expect_clean();
    }
    expect_segment_untouched();
}

TEST_F(StatsOpFailure, OfASizeThatWraps32BitsIsWantOfMemory) {
    // 0x05555556 entries of table 14 are 512 bytes by 32-bit arithmetic, 0x10000000 slots none.
    for (const auto &[table, count] : {std::pair{14u, 0x05555556u}, {15u, 0x10000000u}, {15u, 0xFFFFFFFFu}, {16u, 0xFFFFFFFFu}}) {
        uint32_t id = 0;
        void *data = &id;
        EXPECT_EQ(failure_of(table, 2, count, &id, &data), "nprm_stats_op(1955): Stats Client: Malloc failed!.");
        EXPECT_EQ(data, nullptr);
    }
}

// ---- arguments

TEST_F(StatsOpFailure, ForArgumentsThatCannotBeSendsNothing) {
    uint32_t ids[1] = {0};
    void *slots = calloc(256, 16);
    const heap_buffer owner(slots);
    void *none = nullptr;
    const struct {
        uint32_t table, op;
        uint32_t *ids;
        void **data;
    } cases[] = {
        {18, 2, ids, &slots},      {0xFFFFFFFF, 0, ids, &slots}, {0, 6, ids, &slots},      {0, 0xFFFFFFFF, ids, &slots},
        {16, 3, ids, &slots},      {17, 3, ids, &slots},         {8, 0, nullptr, nullptr}, {3, 0, nullptr, nullptr},
        {8, 2, nullptr, &slots},   {8, 5, nullptr, &slots},      {8, 4, nullptr, nullptr}, {17, 4, nullptr, nullptr},
        {17, 0, nullptr, nullptr}, {8, 3, nullptr, &slots},      {8, 2, ids, nullptr},     {3, 2, ids, nullptr},
        {3, 5, ids, nullptr},      {8, 3, ids, nullptr},         {8, 3, ids, &none},
    };
    for (const auto &each : cases) {
        const std::string log = failure_of(each.table, each.op, 1, each.ids, each.data);
        EXPECT_EQ(log.substr(0, 14), "nprm_stats_op(") << each.table << " " << each.op;
        EXPECT_NE(log.find("): Stats Client: "), std::string::npos) << log;
        EXPECT_EQ(log.find("nprm_stats_op", 14), std::string::npos) << "one line: " << log;
        EXPECT_EQ(slots, owner.get()) << "still the caller's";
    }
    EXPECT_TRUE(ruv.sends.empty());
    expect_segment_untouched();
}

}  // namespace
