/* Milliseconds since some time, and sleeps that signals do not shorten.   Threads (all): any. */
#ifndef NPRM_CLOCK_H
#define NPRM_CLOCK_H

#include "../api/frame/nprm_result.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Lets other threads run. */
NPRM_API void thread_yield(void);

/* Returns the time of day in milliseconds.  It wraps every 49.7 days and follows the clock when that is set: differences of two
 * calls hold, by 32-bit subtraction, while neither happens in between. */
NPRM_API uint32_t get_msec(void);

/* Sleep for so many milliseconds or microseconds, and for what is left of them after each signal.
 * Blocks: for that time. */
NPRM_API void msec_delay(uint32_t milliseconds);
NPRM_API void usec_delay(uint32_t microseconds);

#ifdef __cplusplus
}
#endif

#endif
