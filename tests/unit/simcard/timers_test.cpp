// Work for later.

#include "simcard/timers.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;

TEST(TimerQueue, HasNothingToWaitForWhenEmpty) {
    timer_queue timers;
    EXPECT_EQ(timers.wait_ms(), -1);
    timers.run_due();
}

TEST(TimerQueue, TellsTheTimeOfTheFirst) {
    timer_queue timers;
    timers.after(milliseconds(60'000), [] {});
    timers.after(milliseconds(30'000), [] {});
    EXPECT_LE(timers.wait_ms(), 30'000);
    EXPECT_GT(timers.wait_ms(), 20'000);
    EXPECT_EQ(timers.size(), 2U);
}

TEST(TimerQueue, RunsWhatIsDueInOrderAndKeepsTheRest) {
    timer_queue timers;
    std::string done;
    timers.after(milliseconds(0), [&] { done += "a"; });
    timers.after(milliseconds(60'000), [&] { done += "c"; });
    timers.after(milliseconds(0), [&] { done += "b"; });
    EXPECT_EQ(timers.wait_ms(), 0);
    timers.run_due();
    EXPECT_EQ(done, "ab");
    EXPECT_EQ(timers.size(), 1U);
}

TEST(TimerQueue, LetsWorkAskForMore) {
    timer_queue timers;
    int runs = 0;
    timers.after(milliseconds(0), [&] {
        ++runs;
        timers.after(milliseconds(60'000), [&] { ++runs; });
    });
    timers.run_due();
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(timers.size(), 1U);
}

}  // namespace
