// The runner of table-driven finite-state machines.

#include "nprm_fsm.h"

#include "../api/frame/log.h"

constinit const nprm_fsm_entry nprm_sample_fsm = {};

static_assert(sizeof(void *) != 4 || sizeof(nprm_fsm_entry) == 12, "hosts lay rows of 12 bytes out");

namespace {

bool matches(const nprm_fsm_entry &row, uint32_t state, uint32_t event) {
    return (row.state == state || row.state == NPRM_FSM_ANY) && (row.event == event || row.event == NPRM_FSM_ANY);
}

uint32_t next_state(const nprm_fsm_entry *rows, uint32_t count, uint32_t state, uint32_t event, uintptr_t context) {
    for (uint32_t i = 0; i < count; ++i) {
        if (!matches(rows[i], state, event)) continue;
        return rows[i].handler != nullptr ? rows[i].handler(state, event, context) : state;
    }
    return state;
}

}  // namespace

uint32_t nprm_run_fsm(const nprm_fsm_entry *rows, uint32_t count, uint32_t (*next_event)(void), uintptr_t context) {
    if (rows == nullptr || count == 0 || next_event == nullptr) return 0;
    uint32_t state = NPRM_FSM_INITIAL;
    do
        state = next_state(rows, count, state, next_event(), context);
    while (state != NPRM_FSM_FINAL);
    return 1;
}

uint32_t nprm_fsm_unhandled(uint32_t state, uint32_t event, uintptr_t) {
    const auto shown_state = static_cast<int>(state);
    const auto shown_event = static_cast<int>(event);
    printf("\nI have no idea how to handle %d event in %d state.", shown_event, shown_state);
    fflush(stdout);
    // The two full stops are meant: FsmUnhandled.LogsWithTwoFullStops.
    NPRM_LOG(NPRM_LEVEL_ANY, "I have no idea how to handle %d event in %d state..", shown_event, shown_state);
    return NPRM_FSM_FINAL;
}
