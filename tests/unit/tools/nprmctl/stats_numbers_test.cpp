// The stats commands' numbers: entries as ranges, rates with wraps and resets.

#include "id_list.h"
#include "stats_rates.h"

#include <gtest/gtest.h>

namespace {

using ids = std::vector<uint32_t>;
constexpr uint64_t last_count = UINT64_MAX;

TEST(StatsIds, AreNumbersAndRangesInTheOrderGiven) {
    EXPECT_EQ(parse_ids("7", 8).ids, ids({7}));
    EXPECT_EQ(parse_ids("200,0-3,5-5", 201).ids, ids({200, 0, 1, 2, 3, 5}));
    EXPECT_EQ(parse_ids("0-65535", 65536).ids.size(), 65536U);
}

TEST(StatsIds, SayWhatIsWrong) {
    EXPECT_EQ(parse_ids("0-64", 64).wrong, "the table has no entry 64, the last one is 63");
    EXPECT_EQ(parse_ids("4294967295", 64).wrong, "the table has no entry 4294967295, the last one is 63");
    EXPECT_EQ(parse_ids("0-4,2", 64).wrong, "entry 2 is named twice");
    for (const char *text : {"", ",", "1,", "x", "-1", "1-", "3-2", "1--2", "1 ,2", "4294967296"}) {
        const id_list list = parse_ids(text, 64);
        EXPECT_NE(list.wrong.find("is neither an entry nor a range like 0-99"), std::string::npos) << text;
        EXPECT_TRUE(list.ids.empty()) << text;
    }
}

TEST(StatsIds, ArePrintedAsRangesAgain) {
    EXPECT_EQ(ids_text({0, 1, 2, 3, 200}), "0-3,200");
    EXPECT_EQ(ids_text({5, 4}), "5,4");
    EXPECT_EQ(ids_text({}), "");
}

TEST(StatsRates, TellAWrapFromAReset) {
    EXPECT_EQ(change_of(10, 25), (count_change{15, count_event::none}));
    EXPECT_EQ(change_of(last_count - 4, 5), (count_change{10, count_event::wrapped}));
    EXPECT_EQ(change_of(0xFFFFFFFF, 5), (count_change{5, count_event::reset}));
    EXPECT_EQ(change_of(100, 0), (count_change{0, count_event::reset}));
    EXPECT_EQ(change_of(0xC000000000000000, 0x3FFFFFFFFFFFFFFF), (count_change{0x7FFFFFFFFFFFFFFF, count_event::wrapped}));
    EXPECT_EQ(change_of(0xBFFFFFFFFFFFFFFF, 1), (count_change{1, count_event::reset}));
    EXPECT_EQ(change_of(last_count, 0x4000000000000000), (count_change{0x4000000000000000, count_event::reset}));
}

TEST(StatsRates, AreRoundedAndStandStillWithoutTime) {
    using std::chrono::microseconds;
    EXPECT_EQ(per_second(10, microseconds(1'000'000)), 10U);
    EXPECT_EQ(per_second(1, microseconds(1'500'000)), 1U);
    EXPECT_EQ(per_second(10, microseconds(100'000)), 100U);
    EXPECT_EQ(per_second(10, microseconds(0)), 0U);
    EXPECT_EQ(per_second(last_count, microseconds(1)), last_count);
}

TEST(StatsRates, ComeTheFastestFirstWithoutCountersThatStandStill) {
    const std::vector<nprm_stats_counter> before = {{{1, 100}}, {{5, 5}}, {{9, 900}}, {{0, 0}}, {{7, 0}}};
    const std::vector<nprm_stats_counter> after = {{{3, 300}}, {{5, 5}}, {{2, 128}}, {{8, 512}}, {{7, 9}}};
    const auto rates = rates_between(before, after, std::chrono::microseconds(500'000));
    ASSERT_EQ(rates.size(), 4U);
    EXPECT_EQ(rates[0].place, 3U);
    EXPECT_EQ(rates[0].packet_rate, 16U);
    EXPECT_EQ(rates[0].byte_rate, 1024U);
    EXPECT_EQ(rates[1].place, 0U);
    EXPECT_EQ(rates[1].byte_rate, 400U);
    EXPECT_EQ(rates[2].place, 2U);
    EXPECT_EQ(rates[2].event, count_event::reset);
    EXPECT_EQ(rates[2].total.count[0], 2U);
    EXPECT_EQ(rates[3].place, 4U);
    EXPECT_EQ(rates[3].packet_rate, 0U);
}

}  // namespace
