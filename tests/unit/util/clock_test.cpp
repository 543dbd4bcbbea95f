// Clock and sleeps, with the system's calls in the test's hands.

#include "util/nprm_clock.h"

#include <atomic>
#include <cerrno>
#include <deque>
#include <vector>

#include <gtest/gtest.h>

#include <sys/time.h>
#include <time.h>

namespace {

struct sleep_time {
    long seconds, nanoseconds;
    bool operator==(const sleep_time &) const = default;
};

std::vector<sleep_time> sleeps;        // what nanosleep was asked for
std::deque<sleep_time> interruptions;  // what it leaves over; a successful sleep when there is none
timeval time_of_day = {};
std::atomic<int> yields = 0;

class Clock : public ::testing::Test {
  protected:
    void SetUp() override {
        sleeps.clear();
        interruptions.clear();
        yields = 0;
    }
};

}  // namespace

// The linker sends the calls of the library and of the tests here.
extern "C" int __wrap_nanosleep(const timespec *wanted, timespec *left) {
    sleeps.push_back({static_cast<long>(wanted->tv_sec), wanted->tv_nsec});
    if (interruptions.empty()) return 0;
    left->tv_sec = interruptions.front().seconds;
    left->tv_nsec = interruptions.front().nanoseconds;
    interruptions.pop_front();
    errno = EINTR;
    return -1;
}

extern "C" int __wrap_gettimeofday(timeval *now, void *) {
    *now = time_of_day;
    return 0;
}

extern "C" int __wrap_sched_yield() {
    ++yields;
    return 0;
}

namespace {

TEST_F(Clock, SplitsMillisecondsIntoSecondsAndNanoseconds) {
    msec_delay(1500);
    msec_delay(999);
    msec_delay(0);
    msec_delay(4'294'967'295);
    EXPECT_EQ(sleeps, (std::vector<sleep_time>{{1, 500'000'000}, {0, 999'000'000}, {0, 0}, {4'294'967, 295'000'000}}));
}

TEST_F(Clock, SplitsMicrosecondsIntoSecondsAndNanoseconds) {
    usec_delay(1'500'000);
    usec_delay(999'999);
    usec_delay(0);
    usec_delay(4'294'967'295);
    EXPECT_EQ(sleeps, (std::vector<sleep_time>{{1, 500'000'000}, {0, 999'999'000}, {0, 0}, {4294, 967'295'000}}));
}

TEST_F(Clock, SleepsTheRestAfterEachInterruption) {
    interruptions = {{1, 200'000'000}, {0, 7}};
    msec_delay(1500);
    EXPECT_EQ(sleeps, (std::vector<sleep_time>{{1, 500'000'000}, {1, 200'000'000}, {0, 7}}));
    sleeps.clear();
    interruptions = {{0, 3}};
    usec_delay(5);
    EXPECT_EQ(sleeps, (std::vector<sleep_time>{{0, 5'000}, {0, 3}}));
}

TEST_F(Clock, MillisecondsAreSecondsTimes1000PlusTheMicrosecondsDividedBy1000) {
    time_of_day = {.tv_sec = 12, .tv_usec = 345'999};
    EXPECT_EQ(get_msec(), 12'345u);
    time_of_day = {.tv_sec = 0, .tv_usec = 999};
    EXPECT_EQ(get_msec(), 0u);
}

TEST_F(Clock, MillisecondsWrapAt32Bits) {
    time_of_day = {.tv_sec = 4'294'967, .tv_usec = 295'999};
    EXPECT_EQ(get_msec(), 4'294'967'295u);
    time_of_day = {.tv_sec = 4'294'967, .tv_usec = 296'000};
    EXPECT_EQ(get_msec(), 0u);
    time_of_day = {.tv_sec = 1'700'000'000, .tv_usec = 0};
    EXPECT_EQ(get_msec(), 3'487'918'080u);  // 1,700,000,000,000 mod 2^32
}

TEST_F(Clock, YieldsOnce) {
    thread_yield();
    EXPECT_EQ(yields, 1);
}

}  // namespace
