/* Polls a counter from the periodic scheduler and logs when it changes; ends after the number of polls given as argument.
 *
 *     periodic_counters 10        polls the TCAM's free entries ten times, every 100 ms, while a timer ticks every 10 ms */
#include "nprm.h"

#include <stdatomic.h>
#include <stdlib.h>
#include <sys/timerfd.h>
#include <unistd.h>

enum { TICK_MS = 10, POLL_TICKS = 10 };

static atomic_uint polls;

/* Runs on a thread of the scheduler, which is the only one here that calls the server. */
static void poll_free_entries(uint32_t call_count) {
    static uint32_t last;
    uint32_t free_entries = last; /* stays when no reply comes */
    if (nprm_tcam_v4_space(&free_entries) == 1 && (call_count == 0 || free_entries != last)) {
        if ((nprm_syslog_flag & NPRM_LEVEL_ANY) != 0)
            nprm_syslog(127, 0, 0, NPRM_LEVEL_ANY, "%s(%d): TCAM entries free: %u (%+d)\n", __func__, __LINE__, free_entries,
                        call_count == 0 ? 0 : (int)(free_entries - last));
        last = free_entries;
    }
    atomic_fetch_add(&polls, 1);
}

int main(int argc, char **argv) {
    const unsigned wanted = argc == 2 ? (unsigned)strtoul(argv[1], NULL, 10) : 0;
    if (wanted == 0) {
        fprintf(stderr, "usage: periodic_counters POLLS\n");
        return 2;
    }
    if (nprm_ipc_register_client() != 1) {
        fprintf(stderr, "the server has not published its status: is the card running?\n");
        return 1;
    }
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    const struct itimerspec every_tick = {{0, TICK_MS * 1000000}, {0, TICK_MS * 1000000}};
    if (timer == -1 || timerfd_settime(timer, 0, &every_tick, NULL) != 0) {
        perror("periodic_counters: timer");
        return 1;
    }
    if (nprm_init_periodic() != 0 || nprm_register_periodic(POLL_TICKS, poll_free_entries) != 1) {
        fprintf(stderr, "periodic_counters: the scheduler has no thread or no room\n");
        return 1;
    }
    while (atomic_load(&polls) < wanted) {
        uint64_t passed = 0; /* more than one when this process had to wait for its processor */
        if (read(timer, &passed, sizeof passed) != (ssize_t)sizeof passed) continue;
        for (; passed != 0; --passed)
            nprm_system_tick();
    }
    nprm_enable_periodic(0); /* waits for the poll that runs, if one does */
    return 0;
}
