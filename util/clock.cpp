// Millisecond clock and sleeps.

#include "nprm_clock.h"

#include <ctime>

#include <sched.h>
#include <sys/time.h>

namespace {

// units: of the delay, in a second.
void delay(uint32_t time, uint32_t units) {
    timespec left = {};
    left.tv_sec = static_cast<time_t>(time / units);
    left.tv_nsec = static_cast<long>(time % units) * static_cast<long>(1'000'000'000 / units);
    while (nanosleep(&left, &left) != 0) {
    }
}

}  // namespace

void thread_yield() {
    sched_yield();
}

uint32_t get_msec() {
    timeval now = {};
    gettimeofday(&now, nullptr);
    return static_cast<uint32_t>(now.tv_sec) * 1000 + static_cast<uint32_t>(now.tv_usec) / 1000;
}

void msec_delay(uint32_t milliseconds) {
    delay(milliseconds, 1'000);
}

void usec_delay(uint32_t microseconds) {
    delay(microseconds, 1'000'000);
}
