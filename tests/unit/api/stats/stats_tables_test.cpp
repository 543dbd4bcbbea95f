// The tables' rows and names, where counters lie, and what moves them.

#include <iterator>

#include "stats_fixture.h"

namespace {

TEST(StatsTables, AreTheServersRows) {
    const uint32_t rows[18][6] = {
        {0, 0x0, 0x800000, 1, 256, 51},
        {1, 0x0, 0x800100, 1, 8, 7},
        {2, 0x0, 0x800108, 1, 64, 58},
        {3, 0x0, 0x800148, 1, 8, 4},
        {4, 0x0, 0x800150, 1, 1, 1},
        {5, 0x0, 0x800151, 1, 1, 1},
        {6, 0x0, 0x8007A0, 1, 128, 128},
        {7, 0x0, 0x801020, 64, 16, 7},
        {8, 0x4000, 0x310000, 20480, 2, 2},
        {9, 0xA4000, 0x801420, 256, 8, 6},
        {10, 0xAC000, 0x801C20, 256, 16, 14},
        {11, 0xBC000, 0x802C20, 256, 4, 4},
        {12, 0xC0000, 0x320000, 32768, 4, 4},
        {13, 0x2C0000, 0x803020, 1, 16, 1},
        {14, 0x2C0100, 0, 65536, 48, 39},
        {15, 0x32C0100, 0x300000, 65536, 1, 1},
        {16, 0x33C0100, 0x340000, 1, 65536, 65536},
        {17, 0x34C0100, 0, 0, 0, 0},
    };
    ASSERT_EQ(sizeof stats_tbl_def, 432u);
    EXPECT_EQ(std::memcmp(stats_tbl_def, rows, sizeof rows), 0);
    for (uint32_t row = 0; row < 18; ++row)
        EXPECT_EQ(std::memcmp(&stats_tbl_def[row], rows[row], 24), 0) << row;
    EXPECT_EQ(get_stats_tbl_def(), stats_tbl_def);
    EXPECT_EQ(stats_tbl_def[17].shm_offset, 55312640u);
}

TEST(StatsTables, NameTheClassificationStatistics) {
    const struct {
        uint32_t index;
        const char *text;
    } named[] = {
        {0, "CLIENT to SERVER, REDIR FROM INTERCEPT TO SN"},
        {1, "CLIENT TO SERVER, RETURN FROM SN TO INTERCEPT"},
        {2, "SERVER TO CLIENT, REDIR FROM INTERCEPT TO SN"},
        {3, "SERVER TO CLIENT, RETURN FROM SN TO INTERCEPT"},
        {26, "INVALID OE PT REASON"},
        {27, "POLICY SPECIFIED"},
        {28, "SNG OVERLOAD"},
        {29, "SN UNDEF/DOWN"},
        {30, "CLUSTER MEMBER"},
        {31, "FLOW LEARN FAILURE"},
        {32, "FLOW QUERY FAILURE"},
        {33, "INTERCEPT ACL DENY"},
        {34, "SC INITIAL REDIR EVENT"},
        {35, "SN REDIR CMD"},
        {36, "SN PT CMD"},
        {37, "SN PT CMD IN REDIR STATE"},
        {38, "SC PT CMD IN REDIR STATE"},
    };
    ASSERT_EQ(std::size(nprm_class_stat_str), 39u);
    for (const auto &[index, text] : named)
        EXPECT_STREQ(nprm_class_stat_str[index], text);
    for (uint32_t index = 4; index <= 25; ++index)
        EXPECT_EQ(nprm_class_stat_str[index], "OE PT REASON " + std::to_string(index));
}

TEST(StatsTables, NameTheServersComponents) {
    const char *const names[] = {"CMM", "MAC", "FDM", "IF", "INTR", "NPA", "STATS", "TCAM", "TM", "WCCP", "NPDEBUG"};
    ASSERT_EQ(std::size(nprm_queue_name), std::size(names));
    for (size_t component = 0; component < std::size(names); ++component)
        EXPECT_STREQ(nprm_queue_name[component], names[component]);
}

TEST(StatsCounters, AreFoundByEntryAndIndex) {
    EXPECT_EQ(np_counter_to_cp_counter(9, 0x801425), 0x0000000500000000u);
    EXPECT_EQ(np_counter_to_cp_counter(9, 0x801438), 0x0000000000000003u);
    EXPECT_EQ(np_counter_to_cp_counter(14, 48 * 65535 + 47), 0x0000002F0000FFFFu);
    EXPECT_EQ(np_counter_to_cp_counter(15, 0x30FFFF), 0x000000000000FFFFu);
    EXPECT_EQ(np_counter_to_cp_counter(16, 0x34FFFF), 0x0000FFFF00000000u);
    EXPECT_EQ(cp_counter_to_np_counter(9, 3), 0x801438u);
    EXPECT_EQ(cp_counter_to_np_counter(14, 65535), 48u * 65535);
    EXPECT_EQ(cp_counter_to_np_counter(6, 0), 0x8007A0u);
}

TEST(StatsCounters, LieInTheSegmentByTableEntryAndIndex) {
    constexpr uint64_t base = 0xABCD00000000;
    EXPECT_EQ(np_counter_to_shm_ptr(9, 0x801425, base), base + 0xA4000 + 5 * 16);
    EXPECT_EQ(np_counter_to_shm_ptr(14, 48 * 2 + 7, base), base + 0x2C0100 + 2 * 768 + 7 * 16);
    EXPECT_EQ(cp_counter_to_shm_ptr(9, 3, base), base + 0xA4000 + 3 * 128);
    EXPECT_EQ(cp_counter_to_shm_ptr(14, 65535, base), base + 0x32C0100 - 768);
    EXPECT_EQ(cp_counter_to_shm_ptr(14, 0xFFFFFFFF, base), base + 0x2C0100 + 0x2FFFFFFFD00) << "no 32 bits hold the product";
    EXPECT_EQ(cp_counter_to_shm_ptr(3, 2, 0), 256u);
}

TEST(StatsCounters, OfATableThatIsNotThereAreNone) {
    for (const uint32_t table : {17u, 18u, 0xFFFFFFFFu}) {
        EXPECT_EQ(np_counter_to_cp_counter(table, 5), 0u);
        EXPECT_EQ(cp_counter_to_np_counter(table, 5), 0u);
        EXPECT_EQ(cp_counter_to_shm_ptr(table, 5, 16), 16 + 0x34C0100u);
        uint64_t address = reinterpret_cast<uintptr_t>(&address), copy = 0xA5;
        copy_data_from_shm(table, 1, &address, &copy);
        clear_data_from_shm(table, 1, &address);
        save_data_into_shm(table, 1, &address, &copy);
        copy_data_from_reply(table, 1, &address, &copy);
        EXPECT_EQ(copy, 0xA5u);
        EXPECT_EQ(address, reinterpret_cast<uintptr_t>(&address));
    }
}

// Memory as the segment's: slots of 16 bytes, aligned.
struct alignas(16) slot {
    uint64_t count[2];
};

std::vector<uint64_t> addresses_of(std::initializer_list<const slot *> slots) {
    std::vector<uint64_t> addresses;
    for (const slot *each : slots)
        addresses.push_back(reinterpret_cast<uintptr_t>(each));
    return addresses;
}

TEST(StatsMovers, SaveAddsBothCountsOfEverySlot) {
    slot memory[6] = {{{1, 2}},
                      {{3, 4}},
                      {{5, 6}},
                      {{7, 8}},
                      {
                          {0xFFFFFFFF, ~uint64_t{0}},
                      },
                      {{9, 10}}};
    const slot source[4] = {{{10, 20}}, {{30, 40}}, {{1, 2}}, {{50, 60}}};
    const std::vector<uint64_t> addresses = addresses_of({&memory[0], &memory[4]});
    save_data_into_shm(8, 2, addresses.data(), source);
    const slot once[6] = {{{11, 22}}, {{33, 44}}, {{5, 6}}, {{7, 8}}, {{0x100000000, 1}}, {{59, 70}}};
    EXPECT_EQ(std::memcmp(memory, once, sizeof memory), 0);
    save_data_into_shm(8, 2, addresses.data(), source);
    const slot twice[6] = {{{21, 42}}, {{63, 84}}, {{5, 6}}, {{7, 8}}, {{0x100000001, 3}}, {{109, 130}}};
    EXPECT_EQ(std::memcmp(memory, twice, sizeof memory), 0);
}

TEST(StatsMovers, CopyTakesEntriesFromWhereTheyAre) {
    slot memory[10];
    for (uint64_t i = 0; i < 10; ++i)
        memory[i] = {{i, 100 + i}};
    // A run of two, one before it, and one that is asked for twice.
    const std::vector<uint64_t> addresses = addresses_of({&memory[4], &memory[6], &memory[0], &memory[8], &memory[8]});
    slot found[11];
    std::memset(found, 0xEE, sizeof found);
    copy_data_from_shm(8, 5, addresses.data(), found);
    const uint64_t expected[10] = {4, 5, 6, 7, 0, 1, 8, 9, 8, 9};
    for (size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(found[i].count[0], expected[i]) << i;
        EXPECT_EQ(found[i].count[1], 100 + expected[i]) << i;
    }
    EXPECT_EQ(found[10].count[0], 0xEEEEEEEEEEEEEEEEu) << "written behind the destination";
}

TEST(StatsMovers, CopyFillsADestinationOfAnyAlignment) {
    slot memory[4] = {{{1, 2}}, {{3, 4}}, {{5, 6}}, {{7, 8}}};
    uint8_t found[66];
    std::memset(found, 0xEE, sizeof found);
    const std::vector<uint64_t> addresses = addresses_of({&memory[0], &memory[2]});
    copy_data_from_shm(8, 2, addresses.data(), found + 1);
    EXPECT_EQ(found[0], 0xEE);
    EXPECT_EQ(std::memcmp(found + 1, memory, 64), 0);
    EXPECT_EQ(found[65], 0xEE);
}

TEST(StatsMovers, ClearZeroesWholeEntriesAndNothingElse) {
    slot memory[8];
    std::memset(memory, 0xEE, sizeof memory);
    const std::vector<uint64_t> addresses = addresses_of({&memory[1], &memory[3], &memory[6]});
    clear_data_from_shm(8, 3, addresses.data());
    for (size_t i = 0; i < 8; ++i) {
        const uint64_t expected = (i >= 1 && i <= 4) || i >= 6 ? 0 : 0xEEEEEEEEEEEEEEEE;
        EXPECT_EQ(memory[i].count[0], expected) << i;
        EXPECT_EQ(memory[i].count[1], expected) << i;
    }
}

TEST(StatsMovers, ReplyDataAreCopiedAsTheyAre) {
    uint8_t source[80], found[80];
    for (uint8_t i = 0; i < 80; ++i)
        source[i] = i;
    std::memset(found, 0xEE, sizeof found);
    copy_data_from_reply(11, 1, source, found);  // four slots
    EXPECT_EQ(std::memcmp(found, source, 64), 0);
    EXPECT_EQ(found[64], 0xEE);
}

TEST(StatsMovers, NothingIsCopiedOfNoEntriesAndNothingLogged) {
    uint64_t address = 0, copy = 0xA5;
    EXPECT_EQ(stderr_of([&] {
                  copy_data_from_reply(14, 0, &address, &copy);
                  copy_data_from_reply(14, 0, nullptr, nullptr);
                  copy_data_from_shm(14, 0, &address, &copy);
                  clear_data_from_shm(14, 0, &address);
                  save_data_into_shm(14, 0, &address, &copy);
                  const uint32_t id = 0;
                  stats_id_to_shm(&address, 14, 0, &id, &copy);
              }),
              "");
    EXPECT_EQ(copy, 0xA5u);
    EXPECT_EQ(address, 0u);
}

TEST(StatsMovers, IdsBecomeAddresses) {
    const uint32_t ids[3] = {7, 0, 20479};
    const uint64_t base = 0x7F0000000000;
    uint64_t addresses[4] = {1, 1, 1, 1};
    stats_id_to_shm(addresses, 8, 3, ids, &base);
    EXPECT_EQ(addresses[0], base + 0x4000 + 7 * 32);
    EXPECT_EQ(addresses[1], base + 0x4000);
    EXPECT_EQ(addresses[2], base + 0xA4000 - 32);
    EXPECT_EQ(addresses[3], 1u);
}

TEST(StatsMovers, LogNullPointersAndDoNothing) {
    uint64_t word = 0x1234, other = 0x5678;
    const uint32_t id = 0;
    const std::string text = "): Unexpected null pointer detected!.";
    const auto log_of = [](auto run) { return stderr_of(run); };
    EXPECT_EQ(log_of([&] { copy_data_from_shm(4, 1, nullptr, &word); }), "copy_data_from_shm(333" + text);
    EXPECT_EQ(log_of([&] { copy_data_from_shm(4, 1, &word, nullptr); }), "copy_data_from_shm(333" + text);
    EXPECT_EQ(log_of([&] { clear_data_from_shm(4, 1, nullptr); }), "clear_data_from_shm(374" + text);
    EXPECT_EQ(log_of([&] { copy_data_from_reply(4, 1, nullptr, &word); }), "copy_data_from_reply(413" + text);
    EXPECT_EQ(log_of([&] { copy_data_from_reply(4, 1, &word, nullptr); }), "copy_data_from_reply(413" + text);
    EXPECT_EQ(log_of([&] { stats_id_to_shm(nullptr, 4, 1, &id, &other); }), "stats_id_to_shm(444" + text);
    EXPECT_EQ(log_of([&] { stats_id_to_shm(&word, 4, 1, nullptr, &other); }), "stats_id_to_shm(444" + text);
    EXPECT_EQ(log_of([&] { stats_id_to_shm(&word, 4, 1, &id, nullptr); }), "stats_id_to_shm(444" + text);
    EXPECT_EQ(log_of([&] { save_data_into_shm(4, 1, nullptr, &word); }), "");
    EXPECT_EQ(log_of([&] { save_data_into_shm(4, 1, &word, nullptr); }), "");
    EXPECT_EQ(word, 0x1234u);
    EXPECT_EQ(other, 0x5678u);
}

TEST(StatsMovers, LogAtTheStatisticsLevelOnly) {
    nprm_syslog_flag = 0xFFFFFFFF & ~0x8000u;
    EXPECT_EQ(stderr_of([] { clear_data_from_shm(4, 1, nullptr); }), "");
    nprm_syslog_flag = 0x8000;
    EXPECT_NE(stderr_of([] { clear_data_from_shm(4, 1, nullptr); }), "");
    nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
}

}  // namespace
