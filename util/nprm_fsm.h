/* A finite-state machine that a table of rows describes.
 *
 *     static const nprm_fsm_entry rows[] = {
 *         {NPRM_FSM_INITIAL, LINK_UP, bring_up},                  // bring_up() returns the next state
 *         {NPRM_FSM_ANY, SHUTDOWN, shut_down},                    // in every state
 *         {NPRM_FSM_ANY, NPRM_FSM_ANY, nprm_fsm_unhandled},       // last: everything else ends the machine, with a message
 *     };
 *     nprm_run_fsm(rows, 3, wait_for_event, 0);
 */
#ifndef NPRM_FSM_H
#define NPRM_FSM_H

#include "../api/frame/nprm_result.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    NPRM_FSM_ANY = 0,    /* as a row's state or event: matches all */
    NPRM_FSM_FINAL = 1,  /* the state in which the machine ends */
    NPRM_FSM_INITIAL = 2 /* the state in which it begins */
};

/* Handles an event in a state.   context: the word that nprm_run_fsm() was given.   Returns the next state. */
typedef uint32_t nprm_fsm_handler(uint32_t state, uint32_t event, uintptr_t context);

/* 12 bytes on the 32-bit target. */
typedef struct nprm_fsm_entry {
    uint32_t state;
    uint32_t event;
    nprm_fsm_handler *handler; /* null: the event is taken and the state stays */
} nprm_fsm_entry;

/* One row of zeros: it matches everything and does nothing. */
extern NPRM_API const nprm_fsm_entry nprm_sample_fsm;

/* Runs a machine from NPRM_FSM_INITIAL to NPRM_FSM_FINAL.  The first row that matches state and event is taken; where none does,
 * the state stays.
 *   rows, count: the table, read while the machine runs
 *   next_event: gives one event a call, and waits for it
 *   context: handed to the handlers
 * Returns 1 at the end; 0 at once for 0 rows or a null next_event, which could never end.
 * Blocks: as next_event and the handlers.   Threads: any number of machines at once. */
NPRM_API uint32_t nprm_run_fsm(const nprm_fsm_entry *rows, uint32_t count, uint32_t (*next_event)(void), uintptr_t context);

/* A handler for what should not come: says so on standard output and in the log.
 *   context: not looked at; it is there so that the function stands in a row as every other handler does
 * Returns NPRM_FSM_FINAL, which ends the machine.   Blocks: as standard output and the log.   Threads: any. */
NPRM_API uint32_t nprm_fsm_unhandled(uint32_t state, uint32_t event, uintptr_t context);

#ifdef __cplusplus
}
#endif

#endif
