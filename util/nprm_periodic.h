/* Periodic callbacks, on three threads that an external tick drives.
 *
 * The host calls nprm_system_tick() from its timer: one base tick.  The first thread, level 0, runs on every base tick, level 1 on
 * every 5th and level 2 on every 50th; a callback runs on the level that its period falls into.  All run at the first tick. */
#ifndef NPRM_PERIODIC_H
#define NPRM_PERIODIC_H

#include "../api/frame/nprm_result.h"

#ifdef __cplusplus
extern "C" {
#endif

/* While this is 1, ticks are counted and no callback is called.  May be changed at any time. */
extern NPRM_API uint32_t npdbg_pause;

/* Sets the scheduler up and starts its three threads; once a process.  A further call starts only those threads that could not be
 * started before.
 * Returns 0, or the error of the last thread's creation (an errno value).   Threads: before others use pools. */
NPRM_API int nprm_init_periodic(void);

/* Has a callback called every `period` base ticks.  Periods from 5 on are cut to a multiple of 5, those from 50 on to a multiple of
 * 50: 7 is every 5 ticks, 120 is every 100.  There is room for 32 callbacks, and they stay.
 *   callback: gets the number of its calls before this one; callbacks of one level run one after the other
 * Returns 1; or 0 when there is no room, for a period of 0 and for a null callback.   Blocks: for the pool's lock only, since no
 * level is locked: a callback that is registered while its level runs is called from that level's next tick on.
 * Threads: any, callbacks of any level too. */
NPRM_API uint32_t nprm_register_periodic(uint32_t period, void (*callback)(uint32_t call_count));

/* Stops the scheduler (0): each thread ends at its next wake-up.  Enabling it again keeps the threads that have not woken up since;
 * those that ended stay ended.  No callback begins between the return and the next enabling, not even on the level of a callback
 * that stops it.
 * Blocks: until the callbacks that run return, but for the caller's own level.
 * Threads: any, but callbacks of one level only: two of different levels that call this at the same time each wait for the other to
 * return, for ever. */
NPRM_API void nprm_enable_periodic(uint8_t enable);

/* One base tick.   Threads: any, and signal handlers. */
NPRM_API void nprm_system_tick(void);

#ifdef __cplusplus
}
#endif

#endif
