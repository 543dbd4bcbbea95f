// One base tick of the periodic scheduler with 32 callbacks, beside a thread that takes one semaphore and posts another.

#include "util/nprm_periodic.h"

#include <cstdio>

#include <pthread.h>
#include <sched.h>
#include <semaphore.h>

#include "support/pair.h"

namespace {

constexpr uint32_t callbacks = 32;

sem_t echo_tick, echo_done, tick_done;
volatile uint32_t work = 0;

void wait_for(sem_t &semaphore) {
    while (sem_wait(&semaphore) != 0) {
    }
}

void *echo(void *) {
    for (;;) {
        wait_for(echo_tick);
        sem_post(&echo_done);
    }
}

void one_callback(uint32_t call_count) {
    work = call_count;
}

// Registered first, so that it runs last.
void last_callback(uint32_t) {
    sem_post(&tick_done);
}

// All threads on one processor: between two of them the wake-up of an idle processor would hide everything else.
void stay_on_this_processor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<size_t>(sched_getcpu()), &one);
    sched_setaffinity(0, sizeof one, &one);
}

bool set_up() {
    stay_on_this_processor();
    sem_init(&echo_tick, 0, 0);
    sem_init(&echo_done, 0, 0);
    sem_init(&tick_done, 0, 0);
    pthread_t thread;
    if (pthread_create(&thread, nullptr, echo, nullptr) != 0 || nprm_init_periodic() != 0) return false;
    uint32_t registered = nprm_register_periodic(1, last_callback);
    while (registered < callbacks && nprm_register_periodic(1, one_callback) == 1)
        ++registered;
    return registered == callbacks;
}

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("periodic: a base tick with 32 callbacks, beside a post and a wait of another thread", argc, argv);
    if (!set_up()) {
        std::fprintf(stderr, "the scheduler or its callbacks could not be set up\n");
        return 1;
    }
    run.pair(
        "one tick, waited for", run.no_limit,
        [] {
            nprm_system_tick();
            wait_for(tick_done);
        },
        [] {
            sem_post(&echo_tick);
            wait_for(echo_done);
        });

    constexpr uint32_t burst = 100;
    const auto in_bursts = [](auto post, sem_t &done) {
        return [post, &done] {
            for (uint32_t i = 0; i < burst; ++i)
                post();
            for (uint32_t i = 0; i < burst; ++i)
                wait_for(done);
        };
    };
    run.pair("a tick of 100 posted at once", run.no_limit, in_bursts([] { nprm_system_tick(); }, tick_done),
             in_bursts([] { sem_post(&echo_tick); }, echo_done), burst, burst);
    return run.finish();
}
