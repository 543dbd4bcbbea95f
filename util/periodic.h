// The levels of the periodic scheduler, inside the library: what a level's thread does at one tick, without the thread.
#ifndef NPRM_UTIL_PERIODIC_H
#define NPRM_UTIL_PERIODIC_H

#include "nprm_periodic.h"

#include <pthread.h>
#include <semaphore.h>

struct nprm_periodic_entry {
    void (*callback)(uint32_t call_count);
    uint32_t call_count;
    uint32_t divider;  // in ticks of its level
    nprm_periodic_entry *next;
};

struct nprm_periodic_level {
    pthread_mutex_t lock;       // held while the callbacks run; guards the stop flag
    sem_t tick;                 // posted once a tick
    sem_t *next_tick;           // of the next level; null for the last
    uint32_t divider;           // of the next level's ticks; constant, 0 for the last
    nprm_periodic_entry *head;  // grows only, without the lock
    bool stop;
    uint64_t ticks;  // wider than any uptime: at a wrap the periods would slip
    bool started;    // the thread was, at some time
};

extern nprm_periodic_level nprm_periodic_levels[3];

// What there is to do once a level has its tick.   Returns false when the level has been stopped.
bool nprm_periodic_serve(nprm_periodic_level &level);

// Everything that nprm_init_periodic() does but the threads.
void nprm_periodic_set_up();

#endif
