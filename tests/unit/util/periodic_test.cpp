// The periodic scheduler: levels, dividers, pausing and registering in virtual ticks; its threads, their start and their end.

#include "util/periodic.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include "api/frame/pool.h"
#include "tests/support/scripted_client.h"
#include "tests/unit/util/random_steps.h"

namespace {

constexpr uint32_t room = 32;

std::deque<int> creations;  // what the next pthread_create calls of the library return; nonzero: no thread
std::atomic<uint32_t> created = 0;

}  // namespace

extern "C" int __real_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
extern "C" int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *), void *argument) {
    int error = 0;
    if (!creations.empty()) {
        error = creations.front();
        creations.pop_front();
    }
    if (error != 0) return error;
    ++created;
    return __real_pthread_create(thread, attributes, start, argument);
}

namespace {

// The scheduler's state is the process's and its threads never all end, so each test has a process of its own.
void in_own_process(const std::function<void()> &test) {
    fflush(stdout);
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        std::thread([] {}).join();  // what a sanitizer starts beside the first thread is there when threads are counted
        nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
        test();
        fflush(stdout);
        std::_Exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0) << "see the failures above";
}

#define PERIODIC_TEST(suite, name)                                                                                                 \
    void suite##_##name##_body();                                                                                                  \
    TEST(suite, name) {                                                                                                            \
        in_own_process(suite##_##name##_body);                                                                                     \
    }                                                                                                                              \
    void suite##_##name##_body()

// What callback N was called with, and in which order all were called.
std::array<std::vector<uint32_t>, room> call_counts;
std::vector<uint32_t> order;

template <uint32_t N>
void remember(uint32_t call_count) {
    call_counts[N].push_back(call_count);
    order.push_back(N);
}

using callback = void (*)(uint32_t);
template <uint32_t... N>
constexpr std::array<callback, sizeof...(N)> all_of(std::integer_sequence<uint32_t, N...>) {
    return {remember<N>...};
}
constexpr std::array<callback, room> callbacks = all_of(std::make_integer_sequence<uint32_t, room>{});

// One base tick without the threads: the levels in turn, each when its semaphore was posted.
void tick() {
    nprm_system_tick();
    for (nprm_periodic_level &level : nprm_periodic_levels)
        if (sem_trywait(&level.tick) == 0) nprm_periodic_serve(level);
}

void ticks(uint32_t count) {
    for (; count != 0; --count)
        tick();
}

TEST(Periodic, EntriesHave16BytesOnTheTarget) {
    if (sizeof(void *) != 4) GTEST_SKIP() << "the layout of the 32-bit target";
    EXPECT_EQ(sizeof(nprm_periodic_entry), 16u);
    EXPECT_EQ(offsetof(nprm_periodic_entry, callback), 0u);
    EXPECT_EQ(offsetof(nprm_periodic_entry, call_count), 4u);
    EXPECT_EQ(offsetof(nprm_periodic_entry, divider), 8u);
    EXPECT_EQ(offsetof(nprm_periodic_entry, next), 12u);
}

PERIODIC_TEST(Periodic, PeriodsFallIntoLevelsAndAreCutToTheirTicks) {
    nprm_periodic_set_up();
    struct {
        uint32_t period, level, divider;
    } rows[] = {{1, 0, 1},  {4, 0, 4},  {5, 1, 1},  {7, 1, 1},   {9, 1, 1},   {10, 1, 2},
                {49, 1, 9}, {50, 2, 1}, {99, 2, 1}, {100, 2, 2}, {120, 2, 2}, {0xFFFFFFFF, 2, 85'899'345}};
    for (const auto &row : rows) {
        EXPECT_EQ(nprm_register_periodic(row.period, remember<0>), 1u);
        const nprm_periodic_entry *entry = nprm_periodic_levels[row.level].head;
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->divider, row.divider) << row.period;
        EXPECT_EQ(entry->call_count, 0u);
    }
}

PERIODIC_TEST(Periodic, EverythingRunsAtTheFirstTick) {
    nprm_periodic_set_up();
    nprm_register_periodic(3, remember<0>);
    nprm_register_periodic(30, remember<1>);
    nprm_register_periodic(300, remember<2>);
    tick();
    EXPECT_EQ(order, (std::vector<uint32_t>{0, 1, 2}));
}

PERIODIC_TEST(Periodic, APeriodOf7RunsEvery5TicksAndOneOf120Every100) {
    nprm_periodic_set_up();
    nprm_register_periodic(7, remember<0>);
    nprm_register_periodic(120, remember<1>);
    std::vector<uint32_t> at_7, at_120;
    for (uint32_t now = 0; now < 301; ++now) {
        order.clear();
        tick();
        for (const uint32_t which : order)
            (which == 0 ? at_7 : at_120).push_back(now);
    }
    EXPECT_EQ(at_7.size(), 61u);
    EXPECT_EQ(at_7[1], 5u);
    EXPECT_EQ(at_7[60], 300u);
    EXPECT_EQ(at_120, (std::vector<uint32_t>{0, 100, 200, 300}));
}

PERIODIC_TEST(Periodic, CallbacksGetTheNumberOfTheirEarlierCalls) {
    nprm_periodic_set_up();
    nprm_register_periodic(2, remember<0>);
    ticks(5);
    EXPECT_EQ(call_counts[0], (std::vector<uint32_t>{0, 1, 2}));
}

PERIODIC_TEST(Periodic, TheLastRegisteredOfALevelRunsFirst) {
    nprm_periodic_set_up();
    nprm_register_periodic(1, remember<0>);
    nprm_register_periodic(1, remember<1>);
    nprm_register_periodic(1, remember<2>);
    tick();
    EXPECT_EQ(order, (std::vector<uint32_t>{2, 1, 0}));
}

PERIODIC_TEST(Periodic, ALateCallbackFollowsTheLevelsTicksNotItsRegistration) {
    nprm_periodic_set_up();
    ticks(5);
    nprm_register_periodic(4, remember<0>);
    ticks(3);  // ticks 5, 6, 7
    EXPECT_TRUE(order.empty());
    tick();  // tick 8
    EXPECT_EQ(call_counts[0], (std::vector<uint32_t>{0}));
}

PERIODIC_TEST(Periodic, HasRoomFor32CallbacksInAReservedPool) {
    nprm_periodic_set_up();
    ASSERT_NE(nprm_pool_list, nullptr);
    EXPECT_STREQ(nprm_pool_list->name, "nprm_periodic_pool");
    EXPECT_EQ(nprm_pool_list->reserved, 1u);
    EXPECT_EQ(nprm_pool_list->count, 32u);
    EXPECT_EQ(nprm_pool_list->size, sizeof(nprm_periodic_entry));
    for (uint32_t i = 0; i < 32; ++i)
        EXPECT_EQ(nprm_register_periodic(1 + i * 7, remember<0>), 1u) << i;
    EXPECT_EQ(nprm_register_periodic(1, remember<0>), 0u);
}

PERIODIC_TEST(Periodic, APeriodOf0AndANullCallbackAreRefusedAndTakeNoRoom) {
    nprm_periodic_set_up();
    for (uint32_t i = 0; i < 40; ++i) {
        EXPECT_EQ(nprm_register_periodic(0, remember<0>), 0u);
        EXPECT_EQ(nprm_register_periodic(1, nullptr), 0u);
    }
    for (uint32_t i = 0; i < 32; ++i)
        EXPECT_EQ(nprm_register_periodic(1, remember<0>), 1u);
    tick();
}

PERIODIC_TEST(Periodic, BeforeInitialisationThereIsNoRoomAndTicksAreLost) {
    EXPECT_EQ(nprm_register_periodic(1, remember<0>), 0u);
    nprm_system_tick();
    nprm_periodic_set_up();
    EXPECT_EQ(sem_trywait(&nprm_periodic_levels[0].tick), -1);
}

PERIODIC_TEST(Periodic, APauseOf1SkipsCallbacksAndCountsTicks) {
    EXPECT_EQ(npdbg_pause, 0u);
    nprm_periodic_set_up();
    nprm_register_periodic(3, remember<0>);
    nprm_register_periodic(10, remember<1>);
    npdbg_pause = 1;
    ticks(7);  // ticks 0 to 6
    EXPECT_TRUE(order.empty());
    npdbg_pause = 2;
    ticks(2);  // ticks 7 and 8
    EXPECT_TRUE(order.empty());
    ticks(3);  // ticks 9 to 11
    EXPECT_EQ(call_counts[0], (std::vector<uint32_t>{0})) << "at tick 9";
    EXPECT_EQ(call_counts[1], (std::vector<uint32_t>{0})) << "at tick 10: level 1 was woken during the pause too";
}

void register_another(uint32_t call_count) {
    order.push_back(100);
    if (call_count == 0) {
        EXPECT_EQ(nprm_register_periodic(1, remember<0>), 1u);
    }
}

PERIODIC_TEST(Periodic, ACallbackMayRegisterAtItsOwnLevelAndTheNewOneRunsFromTheNextTickOn) {
    nprm_periodic_set_up();
    nprm_register_periodic(1, register_another);
    tick();
    EXPECT_EQ(order, (std::vector<uint32_t>{100}));
    tick();
    EXPECT_EQ(order, (std::vector<uint32_t>{100, 0, 100}));
}

PERIODIC_TEST(Periodic, PeriodsDoNotSlipWhereA32BitCounterWouldWrap) {
    nprm_periodic_set_up();
    nprm_register_periodic(3, remember<0>);
    nprm_periodic_levels[0].ticks = 0xFFFFFFFF;  // a multiple of 3
    ticks(3);
    EXPECT_EQ(order.size(), 1u);
    tick();
    EXPECT_EQ(order.size(), 2u);
}

// A scheduler of one line a rule beside it: random ticks, pauses and registrations.
PERIODIC_TEST(Periodic, AgreesWithAReferenceOverAMillionRandomSteps) {
    nprm_periodic_set_up();
    random_steps random;
    std::vector<uint32_t> periods;
    std::array<uint32_t, room> calls = {};
    uint64_t now = 0;
    const auto is_due = [&](uint32_t period) {
        if (period < 5) return now % period == 0;
        if (period < 50) return now % 5 == 0 && now / 5 % (period / 5) == 0;
        return now % 50 == 0 && now / 50 % (period / 50) == 0;
    };
    for (uint32_t step = 0; step < random_steps::steps; ++step) {
        const uint32_t choice = random.below(1000);
        if (choice == 0 && periods.size() < room) {
            periods.push_back(1 + random.below(random.below(2) == 0 ? 60 : 1000));
            ASSERT_EQ(nprm_register_periodic(periods.back(), callbacks[periods.size() - 1]), 1u);
        }
        if (choice == 1) npdbg_pause = random.below(3);
        tick();
        for (size_t i = 0; i < periods.size(); ++i) {
            if (npdbg_pause != 1 && is_due(periods[i])) ++calls[i];
            ASSERT_EQ(call_counts[i].size(), calls[i]) << "period " << periods[i] << " at tick " << now << ", step " << step;
            ASSERT_TRUE(calls[i] == 0 || call_counts[i].back() == calls[i] - 1);
        }
        ++now;
    }
    EXPECT_EQ(periods.size(), room);
}

// From here on with threads.

bool wait_until(const std::function<bool()> &condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::yield();
    }
    return true;
}

size_t threads_now() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}

std::atomic<uint32_t> shared_calls[3];
std::atomic<pid_t> shared_thread[3];
template <uint32_t Level>
void on_level(uint32_t) {
    shared_thread[Level] = gettid();
    ++shared_calls[Level];
}

PERIODIC_TEST(PeriodicThread, EachLevelCallsOnItsOwnThread) {
    ASSERT_EQ(nprm_init_periodic(), 0);
    nprm_register_periodic(1, on_level<0>);
    nprm_register_periodic(5, on_level<1>);
    nprm_register_periodic(50, on_level<2>);
    for (uint32_t i = 0; i < 101; ++i)
        nprm_system_tick();
    EXPECT_TRUE(wait_until([] { return shared_calls[0] == 101 && shared_calls[1] == 21 && shared_calls[2] == 3; }))
        << shared_calls[0] << " " << shared_calls[1] << " " << shared_calls[2];
    EXPECT_NE(shared_thread[0], shared_thread[1]);
    EXPECT_NE(shared_thread[1], shared_thread[2]);
    EXPECT_NE(shared_thread[2], shared_thread[0]);
}

PERIODIC_TEST(PeriodicThread, AreStartedOnceHoweverOftenTheSchedulerIsInitialised) {
    EXPECT_EQ(nprm_init_periodic(), 0);
    EXPECT_EQ(nprm_init_periodic(), 0);
    EXPECT_EQ(created, 3u);
    EXPECT_EQ(nprm_pool_list->next, nullptr) << "the pool stands once in the list";
}

PERIODIC_TEST(PeriodicThread, InitialisationReturnsTheErrorOfTheLastCreationAndMayBeTriedAgain) {
    creations = {EAGAIN, 0, 0};
    EXPECT_EQ(nprm_init_periodic(), 0) << "the last one was created";
    EXPECT_EQ(created, 2u);
    creations = {EAGAIN};
    EXPECT_EQ(nprm_init_periodic(), 0);
    EXPECT_EQ(created, 2u);
    EXPECT_EQ(nprm_init_periodic(), 0);
    EXPECT_EQ(created, 3u);
    EXPECT_TRUE(creations.empty());
}

PERIODIC_TEST(PeriodicThread, InitialisationReturnsEagainWhenTheLastThreadIsRefused) {
    creations = {0, 0, EAGAIN};
    EXPECT_EQ(nprm_init_periodic(), EAGAIN);
    EXPECT_EQ(nprm_init_periodic(), 0);
    EXPECT_EQ(created, 3u);
}

// Stops the scheduler, wakes every level up and gives what was logged once the three threads have ended.
std::string log_of_the_end() {
    const size_t before = threads_now();
    return stderr_of([&] {
        ASSERT_EQ(nprm_init_periodic(), 0);
        nprm_enable_periodic(0);
        for (nprm_periodic_level &level : nprm_periodic_levels)
            sem_post(&level.tick);
        EXPECT_TRUE(wait_until([&] { return threads_now() == before; }));
    });
}

PERIODIC_TEST(PeriodicThread, SaysItsDividerWhenItEnds) {
    const std::string log = log_of_the_end();
    EXPECT_THAT(log, ::testing::ContainsRegex("nprm_periodic_thread\\([0-9]+\\): Terminating - freq = 5\\."));
    EXPECT_THAT(log, ::testing::ContainsRegex("nprm_periodic_thread\\([0-9]+\\): Terminating - freq = 10\\."));
    EXPECT_THAT(log, ::testing::ContainsRegex("nprm_periodic_thread\\([0-9]+\\): Terminating - freq = 0\\."));
}

PERIODIC_TEST(PeriodicThread, SaysNothingWhenItEndsWithItsBitOff) {
    nprm_syslog_flag &= ~0x10u;
    EXPECT_EQ(log_of_the_end(), "");
}

PERIODIC_TEST(PeriodicThread, CallsNothingOnTheTickAtWhichItEndsAndStaysEnded) {
    nprm_syslog_flag = 0;
    const size_t before = threads_now();
    ASSERT_EQ(nprm_init_periodic(), 0);
    nprm_register_periodic(1, on_level<0>);
    nprm_enable_periodic(0);
    nprm_system_tick();
    ASSERT_TRUE(wait_until([&] { return threads_now() == before + 2; })) << "level 0 should have ended, and only it";
    EXPECT_EQ(shared_calls[0], 0u);

    nprm_enable_periodic(1);
    EXPECT_EQ(nprm_init_periodic(), 0);
    EXPECT_EQ(created, 3u) << "ended threads are not started again";
    nprm_system_tick();
    int waiting = 0;
    sem_getvalue(&nprm_periodic_levels[0].tick, &waiting);
    EXPECT_EQ(waiting, 1) << "nobody takes the tick";
}

PERIODIC_TEST(PeriodicThread, GoesOnWhenItIsEnabledAgainBeforeItsNextWakeUp) {
    ASSERT_EQ(nprm_init_periodic(), 0);
    nprm_register_periodic(1, on_level<0>);
    nprm_enable_periodic(0);
    nprm_enable_periodic(255);
    nprm_system_tick();
    EXPECT_TRUE(wait_until([] { return shared_calls[0] == 1; }));
}

std::atomic<bool> running = false, may_return = false, returned = false;
void runs_for_a_while(uint32_t) {
    running = true;
    wait_until([] { return may_return.load(); });
    returned = true;
}

PERIODIC_TEST(PeriodicThread, StoppingWaitsForTheCallbackThatRuns) {
    nprm_syslog_flag = 0;
    ASSERT_EQ(nprm_init_periodic(), 0);
    nprm_register_periodic(1, runs_for_a_while);
    nprm_system_tick();
    ASSERT_TRUE(wait_until([] { return running.load(); }));
    std::thread release([] {
        for (int i = 0; i < 100; ++i)
            std::this_thread::yield();
        may_return = true;
    });
    nprm_enable_periodic(0);
    EXPECT_TRUE(returned);
    release.join();
}

void stops_all(uint32_t) {
    nprm_enable_periodic(0);
    ++shared_calls[0];
}

PERIODIC_TEST(Periodic, NoCallbackBeginsAfterOneThatStopsTheScheduler) {
    nprm_periodic_set_up();
    nprm_register_periodic(1, remember<0>);
    nprm_register_periodic(1, stops_all);
    nprm_register_periodic(1, remember<1>);
    tick();
    EXPECT_EQ(order, (std::vector<uint32_t>{1}));
    EXPECT_EQ(shared_calls[0], 1u);
}

PERIODIC_TEST(PeriodicThread, ACallbackMayStopTheScheduler) {
    nprm_syslog_flag = 0;
    const size_t before = threads_now();
    ASSERT_EQ(nprm_init_periodic(), 0);
    nprm_register_periodic(1, stops_all);
    nprm_system_tick();
    nprm_system_tick();
    EXPECT_TRUE(wait_until([&] { return threads_now() <= before + 1; })) << "levels 0 and 1 end at their next wake-up";
    EXPECT_EQ(shared_calls[0], 1u);
}

template <uint32_t Own, uint32_t Other>
void registers_at_the_other_level(uint32_t) {
    if (shared_calls[Own]++ < 10) {
        EXPECT_EQ(nprm_register_periodic(Other == 0 ? 1 : 5, on_level<2>), 1u);
    }
}

PERIODIC_TEST(PeriodicThread, CallbacksOfTwoLevelsMayRegisterAtEachOthers) {
    ASSERT_EQ(nprm_init_periodic(), 0);
    nprm_register_periodic(1, registers_at_the_other_level<0, 1>);
    nprm_register_periodic(5, registers_at_the_other_level<1, 0>);
    for (uint32_t i = 0; i < 500; ++i)
        nprm_system_tick();
    EXPECT_TRUE(wait_until([] { return shared_calls[0] == 500 && shared_calls[1] == 100; }));
}

PERIODIC_TEST(PeriodicThread, ManyThreadsMayTickRegisterAndPauseAtOnce) {
    ASSERT_EQ(nprm_init_periodic(), 0);
    std::atomic<uint32_t> registered = 0;
    std::vector<std::thread> threads;
    for (uint32_t thread = 0; thread < 4; ++thread)
        threads.emplace_back([&registered] {
            for (uint32_t i = 0; i < 100; ++i) {
                nprm_system_tick();
                registered += nprm_register_periodic(1 + i % 60, i % 60 < 4 ? on_level<0> : on_level<1>);
                nprm_enable_periodic(1);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(registered, room);
    const auto drained = [] {
        int waiting = 0;
        sem_getvalue(&nprm_periodic_levels[0].tick, &waiting);
        return waiting == 0;
    };
    EXPECT_TRUE(wait_until(drained));
    EXPECT_GT(shared_calls[0], 0u);
}

}  // namespace
