// The periodic scheduler: three levels, each a thread that waits for its tick, calls what is due and wakes the next level.

#include "periodic.h"

#include "../api/frame/log.h"
#include "../api/frame/nprm_pool.h"

#include <iterator>

#include <cerrno>

constinit uint32_t npdbg_pause = 0;

namespace {

constexpr uint32_t most_entries = 32;
static_assert(sizeof(void *) != 4 || sizeof(nprm_periodic_entry) == 16, "the pool has buffers of 16 bytes on the target");

alignas(nprm_periodic_entry) uint8_t storage[NPRM_POOL_BYTES(most_entries, sizeof(nprm_periodic_entry))];
nprm_buffer_pool pool = NPRM_POOL("nprm_periodic_pool", 1, most_entries, sizeof(nprm_periodic_entry), storage);

// The lock is recursive so that a callback can stop the scheduler.
constexpr nprm_periodic_level new_level(sem_t *next_tick, uint32_t divider) {
    return {PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP, {}, next_tick, divider, nullptr, false, 0, false};
}

nprm_periodic_level &level_of(uint32_t &divider) {
    nprm_periodic_level *level = nprm_periodic_levels;
    for (; level->divider != 0 && divider >= level->divider; ++level)
        divider /= level->divider;
    return *level;
}

// Without the level's lock, which its thread holds while callbacks run: a callback of level 0 that registers at level 1 while one
// of level 1 registers at level 0 would each wait for the other's lock for ever.
void push(nprm_periodic_level &level, nprm_periodic_entry *entry) {
    entry->next = __atomic_load_n(&level.head, __ATOMIC_RELAXED);
    while (!__atomic_compare_exchange_n(&level.head, &entry->next, entry, true, __ATOMIC_RELEASE, __ATOMIC_RELAXED)) {
    }
}

// A callback may stop the scheduler: those behind it are not called then.
void call_due(nprm_periodic_level &level) {
    nprm_periodic_entry *entry = __atomic_load_n(&level.head, __ATOMIC_ACQUIRE);
    for (; entry != nullptr && !level.stop; entry = entry->next)
        if (level.ticks % entry->divider == 0) entry->callback(entry->call_count++);
}

void *nprm_periodic_thread(void *level_of_thread) {
    auto &level = *static_cast<nprm_periodic_level *>(level_of_thread);
    do
        while (sem_wait(&level.tick) != 0 && errno == EINTR) {
        }
    while (nprm_periodic_serve(level));
    return nullptr;
}

int start(nprm_periodic_level &level) {
    pthread_attr_t detached;
    pthread_attr_init(&detached);
    pthread_attr_setdetachstate(&detached, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const int error = pthread_create(&thread, &detached, nprm_periodic_thread, &level);
    pthread_attr_destroy(&detached);
    level.started = error == 0;
    return error;
}

}  // namespace

constinit nprm_periodic_level nprm_periodic_levels[3] = {
    new_level(&nprm_periodic_levels[1].tick, 5),
    new_level(&nprm_periodic_levels[2].tick, 10),
    new_level(nullptr, 0),
};

bool nprm_periodic_serve(nprm_periodic_level &level) {
    pthread_mutex_lock(&level.lock);
    const bool stop = level.stop;
    if (stop) {
        // The last level's 0 is meant: PeriodicThread.SaysItsDividerWhenItEnds.
        NPRM_LOG_AT(NPRM_LEVEL_PERIODIC, "nprm_periodic_thread", __LINE__, "Terminating - freq = %d.",
                    static_cast<int>(level.divider));
    } else {
        if (__atomic_load_n(&npdbg_pause, __ATOMIC_RELAXED) != 1) call_due(level);
        if (level.next_tick != nullptr && level.ticks % level.divider == 0) sem_post(level.next_tick);
        ++level.ticks;
    }
    pthread_mutex_unlock(&level.lock);
    return !stop;
}

void nprm_periodic_set_up() {
    static constinit bool done = false;
    if (done) return;
    done = true;
    nprm_init_buffer_pool(&pool);
    for (nprm_periodic_level &level : nprm_periodic_levels)
        sem_init(&level.tick, 0, 0);
}

int nprm_init_periodic() {
    nprm_periodic_set_up();
    int error = 0;
    for (nprm_periodic_level &level : nprm_periodic_levels)
        error = level.started ? 0 : start(level);
    return error;
}

uint32_t nprm_register_periodic(uint32_t period, void (*callback)(uint32_t call_count)) {
    if (period == 0 || callback == nullptr) return 0;
    auto *entry = static_cast<nprm_periodic_entry *>(nprm_pool_malloc(&pool));
    if (entry == nullptr) return 0;
    nprm_periodic_level &level = level_of(period);
    *entry = {callback, 0, period, nullptr};
    push(level, entry);
    return 1;
}

void nprm_enable_periodic(uint8_t enable) {
    for (nprm_periodic_level &level : nprm_periodic_levels) {
        pthread_mutex_lock(&level.lock);
        level.stop = enable == 0;
        pthread_mutex_unlock(&level.lock);
    }
}

void nprm_system_tick() {
    sem_post(&nprm_periodic_levels[0].tick);
}
