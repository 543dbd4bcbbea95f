// nprmctl stats against a real card, and against a saved segment.

#include "nprmctl_fixture.h"

#include <filesystem>

#include <sys/shm.h>

#include <gmock/gmock.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

constexpr size_t table_14 = 0x2C0100, entry_bytes = 768, segment_bytes = 55312640;

class NprmctlStats : public Nprmctl {
  protected:
    // The next test's card would use the segment again, with the counts in it.
    void TearDown() override { shmctl(shmget(0x838377, 0, 0), IPC_RMID, nullptr); }

    void traffic(uint32_t rate, uint32_t advance_ms) const {
        const json request = {{"command", "traffic"}, {"rate", rate}, {"frozen", true}, {"advance_ms", advance_ms}};
        ASSERT_TRUE(card.control(request).at("ok"));
    }
    // In the segment that the card made.
    static void set(size_t offset, uint64_t packets, uint64_t bytes) {
        auto *base = static_cast<char *>(shmat(shmget(0x838377, segment_bytes, 0), nullptr, 0));
        ASSERT_NE(base, reinterpret_cast<char *>(-1));
        auto *slot = reinterpret_cast<uint64_t *>(base + offset);
        slot[0] = packets;
        slot[1] = bytes;
        shmdt(base);
    }
    static nprmctl_run refused(const strings &arguments, int status) {
        const nprmctl_run run = run_nprmctl(arguments);
        EXPECT_EQ(run.status, status) << run.output;
        EXPECT_EQ(run.output, "");
        return run;
    }
};

TEST_F(NprmctlStats, ListsTheTablesWithTheirPlaces) {
    const json tables = done_json({"stats", "tables"}).at("tables");
    ASSERT_EQ(tables.size(), 17U);
    EXPECT_EQ(tables[6].at("offset"), nullptr);
    EXPECT_EQ(tables[14], json({{"table", 14},
                                {"entries", 65536},
                                {"counters_per_entry", 48},
                                {"counters_used", 39},
                                {"np_base", 0},
                                {"offset", 2883840}}));
}

TEST_F(NprmctlStats, ShowsCountersOfTheSegmentWithTheirNames) {
    set(table_14 + 5 * entry_bytes, 12, 3456);
    set(table_14 + 65535 * entry_bytes + 38 * 16, UINT64_MAX, 1);
    set(table_14 + 65535 * entry_bytes + 39 * 16, 7, 7);  // not in use
    EXPECT_EQ(done({"stats", "show", "14", "65535,0-9", "--names", "--nonzero"}),
              "entry  counter  name                                                       packets  bytes\n"
              "65535       38  SC PT CMD IN REDIR STATE                      18446744073709551615      1\n"
              "    5        0  CLIENT to SERVER, REDIR FROM INTERCEPT TO SN                    12   3456\n");
    const json one = done_json({"stats", "show", "14", "5"}).at("counters");
    ASSERT_EQ(one.size(), 39U);
    EXPECT_EQ(one[0], json({{"id", 5}, {"counter", 0}, {"packets", 12}, {"bytes", 3456}}));
    EXPECT_EQ(done({"stats", "show", "14", "6", "--nonzero"}), "all of these counters are zero\n");
}

TEST_F(NprmctlStats, ClearsEntriesATableAndEverything) {
    set(table_14 + 5 * entry_bytes, 1, 2);
    set(table_14 + 6 * entry_bytes, 3, 4);
    EXPECT_EQ(done({"stats", "clear", "14", "5"}), "cleared 1 entry of table 14\n");
    EXPECT_EQ(done({"stats", "show", "14", "--nonzero"}), "entry  counter  packets  bytes\n    6        0        3      4\n");
    EXPECT_EQ(done({"stats", "clear", "all"}), "all statistics are cleared\n");
    EXPECT_EQ(done({"stats", "show", "14", "--nonzero"}), "all of these counters are zero\n");
    EXPECT_EQ(done({"stats", "clear", "monitor"}), "the monitor statistics are cleared\n");
}

TEST_F(NprmctlStats, HasEntriesGivenOutUntilThereAreNoMore) {
    EXPECT_EQ(done_json({"stats", "alloc", "12", "600"}).at("ids"), "0-599");
    EXPECT_EQ(done_json({"stats", "alloc", "12", "2"}).at("ids"), "600-601");
    EXPECT_THAT(refused({"stats", "alloc", "7", "65"}, 1).errors,
                StartsWith("nprmctl: no entries were given out: the server refuses it\n"));
}

TEST_F(NprmctlStats, ReadsTheMonitorsWords) {
    const json words = done_json({"stats", "monitor"}).at("words");
    ASSERT_EQ(words.size(), 39U);
    EXPECT_EQ(words[38], json({{"word", 38}, {"value", 0}}));
}

TEST_F(NprmctlStats, CountsTheCardsTrafficInItsPortsTogether) {
    ASSERT_TRUE(card.control({{"command", "traffic"}, {"frozen", true}}).at("ok"));
    done({"stats", "clear", "all"});
    traffic(1000, 2000);
    uint64_t packets = 0, bytes = 0;
    const json ports = done_json({"stats", "show", "6", "--nonzero"});
    for (const json &counter : ports.at("counters"))
        if (counter.at("counter").get<uint32_t>() % 8 == 0) {
            packets += counter.at("packets").get<uint64_t>();
            bytes += counter.at("bytes").get<uint64_t>();
            EXPECT_GE(counter.at("bytes").get<uint64_t>(), 64 * counter.at("packets").get<uint64_t>());
        }
    const json whole = done_json({"stats", "show", "0", "0"}).at("counters").at(0);
    EXPECT_GT(packets, 0U);
    EXPECT_EQ(whole.at("packets"), packets);
    EXPECT_EQ(whole.at("bytes"), bytes);
}

TEST_F(NprmctlStats, WatchesWithoutATerminalWhenItIsToldHowOften) {
    traffic(0, 0);
    EXPECT_EQ(done({"stats", "watch", "14", "0-9", "--count", "2", "--interval", "1"}), "table 14, reading 2, 0 counters move\n");
    EXPECT_EQ(done_json({"stats", "watch", "6", "--count", "3", "--interval", "1"}).at("rates"), json::array());
    EXPECT_THAT(refused({"stats", "watch", "6"}, 2).errors,
                StartsWith("nprmctl: --count is needed where no key can end the watch\n"));
}

TEST_F(NprmctlStats, ExportsASnapshotWithItsTimeAndBoot) {
    traffic(0, 0);
    done({"stats", "clear", "all"});
    set(table_14 + 5 * entry_bytes, 12, 3456);
    std::string boot;
    std::getline(std::ifstream("/proc/sys/kernel/random/boot_id"), boot);
    const json snapshot = json::parse(done({"stats", "export"}));
    EXPECT_EQ(snapshot.at("boot"), boot);
    EXPECT_THAT(snapshot.at("time"), testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z"));
    const json counter = {{"table", 14},   {"id", 5},      {"counter", 0}, {"name", "CLIENT to SERVER, REDIR FROM INTERCEPT TO SN"},
                          {"packets", 12}, {"bytes", 3456}};
    EXPECT_EQ(snapshot.at("counters"), json::array({counter}));
    const std::string csv = done({"stats", "export", "14", "--csv"});
    EXPECT_THAT(csv, StartsWith("time,boot,table,id,counter,name,packets,bytes\n"));
    EXPECT_THAT(csv, HasSubstr("," + boot + ",14,5,0,\"CLIENT to SERVER, REDIR FROM INTERCEPT TO SN\",12,3456\n"));
}

TEST_F(NprmctlStats, ReadsASavedSegmentWhenTheCardsIsGone) {
    set(table_14 + 5 * entry_bytes, 12, 3456);
    set(segment_bytes - 16, 1, 2);  // the last slot
    const std::string saved = files / "segment";
    EXPECT_EQ(done({"stats", "save", saved}), "saved 55,312,640 bytes of counters in " + saved + "\n");
    EXPECT_EQ(std::filesystem::file_size(saved), segment_bytes);
    shmctl(shmget(0x838377, 0, 0), IPC_RMID, nullptr);
    const json shown = done_json({"stats", "show", "14", "--nonzero", "--segment", saved}).at("counters");
    EXPECT_EQ(shown, json::array({{{"id", 5}, {"counter", 0}, {"packets", 12}, {"bytes", 3456}}}));
    EXPECT_EQ(done_json({"stats", "show", "16", "--nonzero", "--segment", saved}).at("counters").at(0).at("counter"), 65535);
    const json snapshot = json::parse(done({"stats", "export", "14", "--segment", saved}));
    EXPECT_EQ(snapshot.at("boot"), nullptr);
    EXPECT_EQ(snapshot.at("counters").size(), 1U);
    EXPECT_THAT(refused({"stats", "show", "6", "--segment", saved}, 2).errors, HasSubstr("table 6 is not in the segment"));
    EXPECT_THAT(refused({"stats", "show", "14", "5"}, 1).errors, HasSubstr("there is no statistics segment of 55,312,640 bytes"));
    std::filesystem::resize_file(saved, segment_bytes - 1);
    EXPECT_THAT(refused({"stats", "show", "14", "5", "--segment", saved}, 2).errors, HasSubstr("this one has 55,312,639"));
}

TEST_F(NprmctlStats, RefusesWhatIsNotThere) {
    EXPECT_THAT(refused({"stats", "show", "17"}, 2).errors, HasSubstr("it must be a number from 0 to 16"));
    EXPECT_THAT(refused({"stats", "show", "7", "64"}, 2).errors, HasSubstr("the table has no entry 64, the last one is 63"));
    EXPECT_THAT(refused({"stats", "show", "14"}, 2).errors, HasSubstr("add --nonzero, or name fewer entries"));
    EXPECT_THAT(refused({"stats", "clear", "all", "3"}, 2).errors, HasSubstr("all has none"));
    EXPECT_THAT(refused({"stats", "save", files.path() + "/no/file"}, 2).errors, HasSubstr("No such file or directory"));
}

}  // namespace
