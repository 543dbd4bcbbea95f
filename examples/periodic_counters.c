/* Polls counters from the periodic scheduler and logs those that change; ends after the number of polls given as argument.
 *
 *     periodic_counters 10        polls entry 0 of the classification statistics ten times, every 100 ms; a timer ticks every 10 ms
 */
#include "nprm.h"

#include <inttypes.h>
#include <stdatomic.h>
#include <stdlib.h>
#include <sys/timerfd.h>
#include <unistd.h>

enum { TICK_MS = 10, POLL_TICKS = 10 };

static atomic_uint polls;

/* Runs on a thread of the scheduler, which is the only one here that uses the statistics. */
static void poll_counters(uint32_t call_count) {
    static uint64_t last[NPRM_CLASS_STAT_COUNT];
    const nprm_stats_table *table = &stats_tbl_def[NPRM_STATS_CLASS_TABLE];
    uint32_t entry = 0;
    void *data = NULL;
    if (nprm_stats_op(table->id, NPRM_STATS_READ, 1, &entry, &data) == 1) {
        const nprm_stats_counter *counter = data;
        for (uint32_t k = 0; k < table->counters_used; ++k) {
            const uint64_t now = counter[k].count[0];
            if (call_count != 0 && now != last[k] && (nprm_syslog_flag & NPRM_LEVEL_ANY) != 0)
                nprm_syslog(127, 0, 0, NPRM_LEVEL_ANY, "%s(%d): %s: %" PRIu64 " (+%" PRIu64 ")\n", __func__, __LINE__,
                            nprm_class_stat_str[k], now, now - last[k]);
            last[k] = now;
        }
        free(data);
    }
    atomic_fetch_add(&polls, 1);
}

int main(int argc, char **argv) {
    const unsigned wanted = argc == 2 ? (unsigned)strtoul(argv[1], NULL, 10) : 0;
    if (wanted == 0) {
        fprintf(stderr, "usage: periodic_counters POLLS\n");
        return 2;
    }
    if (nprm_ipc_register_client() != 1 || nprm_stats_client_init() != 1) {
        fprintf(stderr, "\nno status or no statistics are published: is the card running?\n");
        return 1;
    }
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    const struct itimerspec every_tick = {{0, TICK_MS * 1000000}, {0, TICK_MS * 1000000}};
    if (timer == -1 || timerfd_settime(timer, 0, &every_tick, NULL) != 0) {
        perror("periodic_counters: timer");
        return 1;
    }
    if (nprm_init_periodic() != 0 || nprm_register_periodic(POLL_TICKS, poll_counters) != 1) {
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
