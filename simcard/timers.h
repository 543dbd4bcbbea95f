// Work for later, on the monotonic clock: the event loop asks how long it may sleep, then runs what is due.
#ifndef SIMCARD_TIMERS_H
#define SIMCARD_TIMERS_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>

class timer_queue {
  public:
    using clock = std::chrono::steady_clock;

    void after(std::chrono::milliseconds delay, std::function<void()> work) {
        waiting_.emplace(clock::now() + delay, std::move(work));
    }
    size_t size() const { return waiting_.size(); }

    // Milliseconds until the next work is due, rounded up; -1 when there is none.
    int wait_ms() const;
    // Runs what is due, in the order in which it became due.
    void run_due();

  private:
    std::multimap<clock::time_point, std::function<void()>> waiting_;
};

#endif
