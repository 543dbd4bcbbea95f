// Attaching the segment, the monitor statistics, clearing all, and the operation for single entries.

#include "stats_fixture.h"

#include <functional>
#include <fstream>

namespace {

class StatsClient : public stats_fixture {};

size_t resident_pages() {
    size_t total = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident;
}

// ---- the segment

TEST_F(StatsClient, AttachesTheServersSegment) {
    set_count(0x2C0100, 4711);
    EXPECT_EQ(stderr_of([] { EXPECT_EQ(nprm_stats_client_init(), 1u); }), "");
    EXPECT_EQ(std::memcmp(static_cast<uint8_t *>(nprm::stats_segment) + 0x2C0100, "\x67\x12", 2), 0);
    static_cast<uint8_t *>(nprm::stats_segment)[0] = 7;
    EXPECT_EQ(segment_[0], 7) << "it is attached for writing";
}

TEST_F(StatsClient, AttachesWithoutTouchingThePages) {
    std::memset(segment_, 1, segment_bytes);  // all pages are there
    const size_t before = resident_pages();
    ASSERT_EQ(nprm_stats_client_init(), 1u);
    EXPECT_LT(resident_pages(), before + 256) << "of 13,504 pages";
}

TEST_F(StatsClient, DoesNotMakeASegmentThatIsMissing) {
    remove_segment();
    EXPECT_EQ(stderr_of([] { EXPECT_EQ(nprm_stats_client_init(), 0u); }),
              "nprm_stats_client_init(1804): Stats Client: Failed to find shared memory!.");
    EXPECT_EQ(shmget(segment_key, 0, 0), -1);
    EXPECT_EQ(nprm::stats_segment, nullptr);
}

TEST_F(StatsClient, RefusesASegmentThatIsTooSmall) {
    remove_segment();
    make_segment(segment_bytes - 4096);
    EXPECT_EQ(stderr_of([] { EXPECT_EQ(nprm_stats_client_init(), 0u); }),
              "nprm_stats_client_init(1804): Stats Client: Failed to find shared memory!.");
    EXPECT_EQ(nprm::stats_segment, nullptr);
}

TEST_F(StatsClient, KeepsTheFailureOfAttaching) {
    const failing_shmat failing;
    EXPECT_EQ(stderr_of([] { EXPECT_EQ(nprm_stats_client_init(), 0u); }),
              "nprm_stats_client_init(1811): Stats Client: Failed to get shared memory identifier!.");
    EXPECT_EQ(nprm::stats_segment, reinterpret_cast<void *>(-1));
}

TEST_F(StatsClient, LogsFailuresAtTheErrorLevelOnly) {
    remove_segment();
    nprm_syslog_flag = 0xFFFFFFFE;
    EXPECT_EQ(stderr_of([] { EXPECT_EQ(nprm_stats_client_init(), 0u); }), "");
}

TEST_F(StatsClient, AttachesTheSegmentThatIsThereNowWhenAskedAgain) {
    ASSERT_EQ(nprm_stats_client_init(), 1u);
    const int id = shmget(segment_key, 0, 0);
    remove_segment();
    make_segment(segment_bytes);  // lets go of the old one
    set_count(0, 99);
    ASSERT_EQ(nprm_stats_client_init(), 1u);
    EXPECT_EQ(*static_cast<uint8_t *>(nprm::stats_segment), 99);
    shmid_ds old{};
    EXPECT_EQ(shmctl(id, IPC_STAT, &old), -1) << "nobody holds the old segment any more";
}

// ---- monitor statistics, and all statistics of the network processor

struct monitor_case {
    const char *function;
    std::function<uint32_t()> call;
    uint32_t operation;
    size_t data_bytes;
    const char *no_reply, *failed;
};

uint32_t monitor_words[39];

const monitor_case monitor_cases[] = {
    {"nprm_get_monitor_stats", [] { return nprm_get_monitor_stats(monitor_words); }, 1, 156, "(1832", "(1837"},
    {"nprm_clear_monitor_stats", nprm_clear_monitor_stats, 2, 0, "(1864", "(1869"},
    {"nprm_clear_all_np_stats", nprm_clear_all_np_stats, 3, 0, "(1899", "(1906"},
};

class StatsMonitor : public stats_fixture {
  protected:
    void SetUp() override {
        stats_fixture::SetUp();
        std::memset(monitor_words, 0xEE, sizeof monitor_words);
    }
    static void expect_untouched() {
        for (const uint32_t word : monitor_words)
            EXPECT_EQ(word, 0xEEEEEEEEu);
    }
};

TEST_F(StatsMonitor, SendsOneRecordWithTheOperation) {
    for (const monitor_case &each : monitor_cases) {
        ruv.reply(stats_reply(1, each.data_bytes, each.operation));
        EXPECT_EQ(stderr_of([&] { EXPECT_EQ(each.call(), 1u); }), "");
        ASSERT_EQ(ruv.last_request().size(), 9620u) << each.function;
        EXPECT_EQ(ruv.sends.back().opcode, 190490u);
        EXPECT_EQ(ruv.last_request()[0], each.operation);
        EXPECT_BYTES(ruv.last_request(), 1, "00 00 00  01 00 00 00");
        expect_clean();
    }
}

TEST_F(StatsMonitor, ReturnsThe39WordsBehindTheStatus) {
    std::vector<uint8_t> reply = stats_reply(0x80000000, 160, 1);
    for (uint32_t word = 0; word < 40; ++word)
        put_u32(reply, 16 + 4 * word, 0x1000 + word);
    ruv.reply(reply);
    uint32_t out[40] = {};
    EXPECT_EQ(nprm_get_monitor_stats(out), 1u);
    for (uint32_t word = 0; word < 39; ++word)
        EXPECT_EQ(out[word], 0x1000 + word);
    EXPECT_EQ(out[39], 0u) << "written behind the 39th word";
}

TEST_F(StatsMonitor, FailsWithoutAReply) {
    for (const monitor_case &each : monitor_cases) {
        ruv.reply(stats_reply(1, each.data_bytes, each.operation));
        EXPECT_EQ(each.call(), 1u);
        std::memset(monitor_words, 0xEE, sizeof monitor_words);
        ruv.fail_receive(-1, 75);
        const std::string log = stderr_of([&] { EXPECT_EQ(each.call(), 0u); });
        EXPECT_NE(log.find(std::string(each.function) + each.no_reply + "): Stats Client: No reply from Stats Server."),
                  std::string::npos)
            << log;
        expect_untouched();
        expect_clean();
    }
}

TEST_F(StatsMonitor, NeverAnswersFromAnOlderReply) {
    for (const monitor_case &each : monitor_cases) {
        const std::vector<uint8_t> older(65536, 0x11);
        nprm_api_ipc_msg_handler(6, older.data());
        ASSERT_NE(nprm_reply_slot[6], nullptr);
        ruv.send_result = -1;
        stderr_of([&] { EXPECT_EQ(each.call(), 0u); });
        expect_untouched();
        expect_clean();
    }
}

TEST_F(StatsMonitor, FailsWhenTheServerSaysSo) {
    for (const monitor_case &each : monitor_cases) {
        for (const size_t data_bytes : {size_t{0}, each.data_bytes}) {
            ruv.reply(stats_reply(0, data_bytes, each.operation));
            EXPECT_EQ(stderr_of([&] { EXPECT_EQ(each.call(), 0u); }),
                      std::string(each.function) + each.failed + "): Stats Client: Operation failed!.");
            expect_untouched();
            expect_clean();
        }
    }
}

TEST_F(StatsMonitor, TellsServerFailuresAtTheStatisticsLevel) {
    nprm_syslog_flag = 0x0FFF7FF1;
    ruv.reply(stats_reply(0, 0, 2));
    EXPECT_EQ(stderr_of([] { EXPECT_EQ(nprm_clear_monitor_stats(), 0u); }), "");
}

TEST_F(StatsMonitor, TakesAReplyThatIsTooShortForNone) {
    for (const size_t bytes : {12u, 16u, 171u}) {
        std::vector<uint8_t> reply = stats_reply(1, 156, 1);
        reply.resize(bytes);
        ruv.reply(reply);
        EXPECT_EQ(stderr_of([] { EXPECT_EQ(nprm_get_monitor_stats(monitor_words), 0u); }),
                  "nprm_get_monitor_stats(1832): Stats Client: No reply from Stats Server.");
        expect_untouched();
        expect_clean();
    }
    ruv.reply(bytes_of("02 00 00 00  01 00 00 00  01 00 00 00"));
    EXPECT_EQ(nprm_clear_monitor_stats(), 1u) << "a clear has no data";
}

TEST_F(StatsMonitor, FailsWithoutFurtherMessageWhenNoRequestCanBeMade) {
    set_status(0);
    for (const monitor_case &each : monitor_cases) {
        const std::string log = stderr_of([&] { EXPECT_EQ(each.call(), 0u); });
        EXPECT_NE(log.find("Server is not ready to accept calls."), std::string::npos);
        EXPECT_EQ(log.find("Stats Client"), std::string::npos) << log;
        expect_clean();
    }
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(StatsMonitor, NeedsAPlaceForTheWords) {
    const std::string log = stderr_of([] { EXPECT_EQ(nprm_get_monitor_stats(nullptr), 0u); });
    EXPECT_EQ(log.substr(0, 23), "nprm_get_monitor_stats(") << log;
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(StatsMonitor, OnlyClearAllHoldsTheLockDuringTheExchange) {
    for (const monitor_case &each : monitor_cases) {
        bool locked = false;
        ruv.answers.push_back({0, stats_reply(1, each.data_bytes, each.operation), [&] {
                                   locked = pthread_mutex_trylock(&stats_mutex) != 0;
                                   if (!locked) pthread_mutex_unlock(&stats_mutex);
                               }});
        EXPECT_EQ(each.call(), 1u);
        EXPECT_EQ(locked, each.operation == 3) << each.function;
    }
}

// ---- single entries of tables 0 to 6

class StatsHwOp : public stats_fixture {
  protected:
    // Slot c has the counts 0x100000000 + c and 0xEE.
    static std::vector<uint8_t> counters_reply(uint32_t slots) {
        std::vector<uint8_t> reply = stats_reply(1, size_t{slots} * 16);
        for (uint32_t slot = 0; slot < slots; ++slot) {
            put_u32(reply, 16 + 16 * slot, slot);
            put_u32(reply, 20 + 16 * slot, 1);
            put_u32(reply, 24 + 16 * slot, 0xEE);
        }
        return reply;
    }
};

TEST_F(StatsHwOp, ReadsTheFirstCountOfEverySlot) {
    const uint32_t slots[7] = {256, 8, 64, 8, 1, 1, 128};
    for (const int op : {2, 5}) {
        for (uint32_t table = 0; table < 7; ++table) {
            ruv.reply(counters_reply(slots[table]));
            uint64_t *values = nullptr;
            ASSERT_EQ(nprm_stats_hw_op(table, op, &values), 1u) << table;
            const heap_buffer owner(values);
            for (uint32_t slot = 0; slot < slots[table]; ++slot)
                EXPECT_EQ(values[slot], 0x100000000 + slot);
            EXPECT_BYTES(ruv.last_request(), 0, "00 00 00 00  01 00 00 00");
            EXPECT_EQ(ruv.last_request()[8], table);
            EXPECT_EQ(ruv.last_request()[12], op);
            EXPECT_BYTES(ruv.last_request(), 16, "01 00 00 00  00 00 00 00");
            expect_clean();
        }
    }
}

TEST_F(StatsHwOp, WritesTheValuesWithSecondCountsOf0) {
    uint64_t counts[8] = {0x1122334455667788, 2, 3, 4, 5, 6, 7, 0xFFFFFFFFFFFFFFFF};
    uint64_t *values = counts;
    ruv.reply(stats_reply(1, 0));
    EXPECT_EQ(nprm_stats_hw_op(3, 3, &values), 1u);
    EXPECT_BYTES(ruv.last_request(), 8, "03 00 00 00  03 00 00 00  01 00 00 00  00 00 00 00");
    EXPECT_BYTES(ruv.last_request(), 1940, "88 77 66 55 44 33 22 11  00 00 00 00 00 00 00 00  02 00 00 00 00 00 00 00");
    EXPECT_BYTES(ruv.last_request(), 1940 + 7 * 16, "ff ff ff ff ff ff ff ff  00 00 00 00 00 00 00 00  00 00 00 00");
    EXPECT_EQ(values, counts);
    ruv.reply(stats_reply(0, 0));
    stderr_of([&] { EXPECT_EQ(nprm_stats_hw_op(3, 3, &values), 0u); });
    EXPECT_EQ(values, counts) << "the caller's own, still";
    expect_clean();
}

TEST_F(StatsHwOp, ClearsWithoutValues) {
    ruv.reply(stats_reply(1, 0));
    EXPECT_EQ(nprm_stats_hw_op(6, 4, nullptr), 1u);
    EXPECT_BYTES(ruv.last_request(), 8, "06 00 00 00  04 00 00 00  01 00 00 00  00 00 00 00");
    ruv.reply(stats_reply(0, 0));
    stderr_of([] { EXPECT_EQ(nprm_stats_hw_op(6, 4, nullptr), 0u); });
}

TEST_F(StatsHwOp, LeavesTheValuesToTheCallerWhenTheReadFails) {
    for (const int op : {2, 5}) {
        ruv.reply(stats_reply(0, 0));
        uint64_t *values = nullptr;
        stderr_of([&] { EXPECT_EQ(nprm_stats_hw_op(1, op, &values), 0u); });
        EXPECT_NE(values, nullptr);
        const heap_buffer owner(values);
        values[7] = 1;
        expect_clean();
    }
}

TEST_F(StatsHwOp, FailsWithoutMemory) {
    for (const int op : {2, 5}) {
        uint64_t *values = reinterpret_cast<uint64_t *>(0x55);
        const std::string log = stderr_of([&] {
            const watched_heap heap(1);
            EXPECT_EQ(nprm_stats_hw_op(1, op, &values), 0u);
        });
        EXPECT_EQ(log, "nprm_stats_hw_op(2197): Stats Client: Malloc failed!.");
        EXPECT_EQ(values, nullptr);
    }
    uint64_t counts[8] = {};
    uint64_t *values = counts;
    const std::string log = stderr_of([&] {
        const watched_heap heap(1);
        EXPECT_EQ(nprm_stats_hw_op(1, 3, &values), 0u);
    });
    EXPECT_NE(log.find("): Stats Client: Malloc failed!."), std::string::npos) << log;
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(StatsHwOp, RefusesOtherTablesAndOperationsAndNullPointers) {
    uint64_t counts[256] = {}, *values = counts, *none = nullptr;
    const struct {
        uint32_t table;
        int op;
        uint64_t **values;
    } refused[] = {{7, 2, &values},  {0xFFFFFFFF, 2, &values}, {0, 1, &values}, {0, 0, &values}, {0, 6, &values},
                   {0, -1, &values}, {0, 2, nullptr},          {0, 5, nullptr}, {0, 3, nullptr}, {0, 3, &none}};
    for (const auto &each : refused) {
        const std::string log = stderr_of([&] { EXPECT_EQ(nprm_stats_hw_op(each.table, each.op, each.values), 0u); });
        EXPECT_EQ(log.substr(0, 17), "nprm_stats_hw_op(") << each.table << " " << each.op;
    }
    EXPECT_EQ(values, counts);
    EXPECT_TRUE(ruv.sends.empty());
    EXPECT_EQ(shmat_calls, 0u);
}

}  // namespace
