// Folding, and the limit by sender.

#include "fairness.h"

#include <gmock/gmock.h>

namespace {

constexpr int64_t second_ns = 1'000'000'000;
constexpr sender one = {10, 0}, other = {11, 0};

TEST(Repetition, IsTheSameTextOfTheSameSenderOnTheSameSocketInARow) {
    repetition last;
    EXPECT_FALSE(last.is_repeated(0, one, ""));
    last.begin(0, one, "x");
    EXPECT_TRUE(last.is_repeated(0, one, "x"));
    EXPECT_TRUE(last.is_repeated(0, one, "x"));
    EXPECT_FALSE(last.is_repeated(1, one, "x"));
    EXPECT_FALSE(last.is_repeated(0, other, "x"));
    EXPECT_FALSE(last.is_repeated(0, {10, 5}, "x"));
    EXPECT_FALSE(last.is_repeated(0, one, "xy"));
    EXPECT_EQ(last.take(), 2U);
    EXPECT_EQ(last.take(), 0U);
    EXPECT_TRUE(last.is_repeated(0, one, "x"));
    last.forget();
    EXPECT_FALSE(last.is_repeated(0, one, "x"));
}

TEST(RateLimit, CutsASenderAboveItAndTellsHowMuch) {
    std::vector<std::pair<pid_t, uint64_t>> told;
    rate_limit limit(3, [&told](const rate_limit::cut_sender &cut) { told.emplace_back(cut.who.pid, cut.records); });
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(limit.may_pass(one, 0)) << i;
    for (int i = 0; i < 5; ++i)
        EXPECT_FALSE(limit.may_pass(one, 0)) << i;
    EXPECT_TRUE(limit.may_pass(other, 0));
    limit.tell_all();
    limit.tell_all();
    EXPECT_THAT(told, testing::ElementsAre(std::pair{10, 5U}));
}

TEST(RateLimit, LetsASenderPassAgainWithTime) {
    rate_limit limit(2, [](const rate_limit::cut_sender &) {});
    EXPECT_TRUE(limit.may_pass(one, 0));
    EXPECT_TRUE(limit.may_pass(one, 0));
    EXPECT_FALSE(limit.may_pass(one, second_ns / 4));
    EXPECT_TRUE(limit.may_pass(one, second_ns));
    EXPECT_TRUE(limit.may_pass(one, second_ns));
    EXPECT_FALSE(limit.may_pass(one, second_ns));
    EXPECT_FALSE(limit.may_pass(one, 0));  // a clock that goes back gives nothing
}

TEST(RateLimit, OfNoneCutsNobody) {
    rate_limit limit(0, [](const rate_limit::cut_sender &) { FAIL(); });
    for (int i = 0; i < 100'000; ++i)
        ASSERT_TRUE(limit.may_pass(one, 0));
    limit.tell_all();
}

TEST(RateLimit, ForgetsTheLongestSilentOf100000SendersAndTellsWhatWasCutOfThem) {
    uint64_t told = 0;
    rate_limit limit(1, [&told](const rate_limit::cut_sender &cut) { told += cut.records; });
    for (pid_t pid = 1; pid <= 100'000; ++pid) {
        EXPECT_TRUE(limit.may_pass({pid, 0}, pid));
        EXPECT_FALSE(limit.may_pass({pid, 0}, pid));
    }
    EXPECT_GE(told, 100'000 - rate_limit::senders_max);  // of those that are forgotten
    EXPECT_FALSE(limit.may_pass({100'000, 0}, 100'000));
    EXPECT_TRUE(limit.may_pass({1, 0}, 100'001));  // as if never seen
    limit.tell_all();
    EXPECT_EQ(told, 100'001U);
}

}  // namespace
