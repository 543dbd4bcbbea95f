// The finite-state machine: wildcards, order of the rows, start and end, null handlers, the catch-all handler.

#include "util/nprm_fsm.h"

#include <deque>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/scripted_client.h"

namespace {

using call = std::tuple<char, uint32_t, uint32_t, uintptr_t>;  // which handler, state, event, context

std::deque<uint32_t> events;
std::vector<call> calls;

uint32_t next_event() {
    if (events.empty()) {
        ADD_FAILURE() << "the machine asks for more events than it should";
        return 0xDEAD;
    }
    const uint32_t event = events.front();
    events.pop_front();
    return event;
}

template <char Name, uint32_t Next>
uint32_t goes_to(uint32_t state, uint32_t event, uintptr_t context) {
    calls.emplace_back(Name, state, event, context);
    return Next;
}

class Fsm : public ::testing::Test {
  protected:
    void SetUp() override {
        events.clear();
        calls.clear();
        nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
    }

    uint32_t run(const std::vector<nprm_fsm_entry> &rows, std::deque<uint32_t> script, uintptr_t context = 0) {
        events = std::move(script);
        return nprm_run_fsm(rows.data(), static_cast<uint32_t>(rows.size()), next_event, context);
    }
};

TEST_F(Fsm, RowsHave12BytesOnTheTarget) {
    if (sizeof(void *) != 4) GTEST_SKIP() << "the layout of the 32-bit target";
    EXPECT_EQ(sizeof(nprm_fsm_entry), 12u);
    EXPECT_EQ(offsetof(nprm_fsm_entry, event), 4u);
    EXPECT_EQ(offsetof(nprm_fsm_entry, handler), 8u);
}

TEST_F(Fsm, SampleIsOneRowOfZeros) {
    EXPECT_EQ(nprm_sample_fsm.state, 0u);
    EXPECT_EQ(nprm_sample_fsm.event, 0u);
    EXPECT_EQ(nprm_sample_fsm.handler, nullptr);
}

TEST_F(Fsm, BeginsInState2AndEndsAfterOneStepIntoState1) {
    EXPECT_EQ(run({{2, 7, goes_to<'a', 1>}}, {7, 8}), 1u);
    EXPECT_EQ(calls, (std::vector<call>{{'a', 2, 7, 0}}));
    EXPECT_EQ(events.size(), 1u);
}

TEST_F(Fsm, HandsStateEventAndContextToTheHandlersAndTakesTheirNextState) {
    const std::vector<nprm_fsm_entry> rows = {{2, 10, goes_to<'a', 5>}, {5, 11, goes_to<'b', 6>}, {6, 12, goes_to<'c', 1>}};
    EXPECT_EQ(run(rows, {10, 11, 12}, UINTPTR_MAX), 1u);
    EXPECT_EQ(calls, (std::vector<call>{{'a', 2, 10, UINTPTR_MAX}, {'b', 5, 11, UINTPTR_MAX}, {'c', 6, 12, UINTPTR_MAX}}));
}

TEST_F(Fsm, TakesTheFirstRowThatMatchesAndNoRowAfterIt) {
    run({{3, 7, goes_to<'x', 1>}, {2, 7, goes_to<'a', 1>}, {2, 7, goes_to<'b', 4>}, {0, 0, goes_to<'c', 4>}}, {7});
    EXPECT_EQ(calls, (std::vector<call>{{'a', 2, 7, 0}}));
}

TEST_F(Fsm, State0MatchesEveryStateAndEvent0EveryEvent) {
    run({{0, 7, goes_to<'s', 9>}, {9, 0, goes_to<'e', 1>}}, {7, 1234});
    EXPECT_EQ(calls, (std::vector<call>{{'s', 2, 7, 0}, {'e', 9, 1234, 0}}));
}

TEST_F(Fsm, AnEventOf0MatchesRowsForAllEventsOnly) {
    run({{2, 7, goes_to<'a', 1>}, {2, 0, goes_to<'b', 1>}}, {0});
    EXPECT_EQ(calls, (std::vector<call>{{'b', 2, 0, 0}}));
}

TEST_F(Fsm, AStateOf0IsAStateAndMatchesRowsForAllStates) {
    run({{2, 7, goes_to<'a', 0>}, {0, 8, goes_to<'b', 1>}}, {7, 8});
    EXPECT_EQ(calls, (std::vector<call>{{'a', 2, 7, 0}, {'b', 0, 8, 0}}));
}

TEST_F(Fsm, StaysInItsStateWhenNoRowMatches) {
    run({{2, 7, goes_to<'a', 1>}}, {3, 4, 7});
    EXPECT_EQ(calls, (std::vector<call>{{'a', 2, 7, 0}}));
}

TEST_F(Fsm, ANullHandlerTakesTheEventAndLeavesTheState) {
    run({{2, 7, nullptr}, {0, 7, goes_to<'x', 1>}, {2, 8, goes_to<'a', 1>}}, {7, 8});
    EXPECT_EQ(calls, (std::vector<call>{{'a', 2, 8, 0}}));
}

TEST_F(Fsm, State1EndsOnlyOnceItIsReached) {
    run({{1, 0, goes_to<'x', 2>}, {2, 7, goes_to<'a', 2>}, {2, 8, goes_to<'b', 1>}}, {7, 8});
    EXPECT_EQ(calls.size(), 2u);
    EXPECT_TRUE(events.empty());
}

TEST_F(Fsm, ALastRowOfZerosIsTheDefaultAndEndsTheMachineWithTheCatchAllHandler) {
    nprm_syslog_flag = 0;
    const std::string said = stdout_of([&] {
        EXPECT_EQ(run({{2, 7, goes_to<'a', 3>}, {3, 8, goes_to<'b', 1>}, {0, 0, nprm_fsm_unhandled}}, {7, 9, 8}), 1u);
    });
    EXPECT_EQ(said, "\nI have no idea how to handle 9 event in 3 state.");
    EXPECT_EQ(calls, (std::vector<call>{{'a', 2, 7, 0}}));
    EXPECT_EQ(events.size(), 1u);
}

TEST_F(Fsm, AMachineThatCouldNeverEndIsRefused) {
    const nprm_fsm_entry row = {2, 0, goes_to<'a', 1>};
    EXPECT_EQ(nprm_run_fsm(&row, 0, next_event, 0), 0u);
    EXPECT_EQ(nprm_run_fsm(nullptr, 1, next_event, 0), 0u);
    EXPECT_EQ(nprm_run_fsm(&row, 1, nullptr, 0), 0u);
    EXPECT_TRUE(calls.empty());
}

class FsmUnhandled : public Fsm {
  protected:
    std::string said, logged;
    uint32_t run_unhandled(uint32_t state, uint32_t event) {
        uint32_t result = 0;
        logged = stderr_of([&] { said = stdout_of([&] { result = nprm_fsm_unhandled(state, event, 0); }); });
        return result;
    }
};

TEST_F(FsmUnhandled, SaysEventAndStateAndReturns1) {
    EXPECT_EQ(run_unhandled(3, 7), 1u);
    EXPECT_EQ(said, "\nI have no idea how to handle 7 event in 3 state.");
}

TEST_F(FsmUnhandled, FlushesWhatItSays) {
    nprm_syslog_flag = 0;
    EXPECT_EQ(flushed_stdout_of([] { nprm_fsm_unhandled(3, 7, 0); }), "\nI have no idea how to handle 7 event in 3 state.");
}

TEST_F(FsmUnhandled, ShowsLargeNumbersAsSigned) {
    run_unhandled(0xFFFFFFFF, 0x80000000);
    EXPECT_EQ(said, "\nI have no idea how to handle -2147483648 event in -1 state.");
}

TEST_F(FsmUnhandled, LogsWithTwoFullStops) {
    run_unhandled(3, 7);
    EXPECT_THAT(logged,
                ::testing::MatchesRegex("nprm_fsm_unhandled\\([0-9]+\\): I have no idea how to handle 7 event in 3 state\\.\\."));
}

TEST_F(FsmUnhandled, LogsOnAnyBitOfTheMaskAndNotOnTheHighestFour) {
    nprm_syslog_flag = 0x08000000;
    run_unhandled(3, 7);
    EXPECT_NE(logged, "");
    nprm_syslog_flag = 0xF0000000;
    run_unhandled(3, 7);
    EXPECT_EQ(logged, "");
    EXPECT_NE(said, "");
}

}  // namespace
