// Work for later.

#include "timers.h"

#include <algorithm>
#include <climits>

int timer_queue::wait_ms() const {
    if (waiting_.empty()) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(waiting_.begin()->first - clock::now());
    return static_cast<int>(std::clamp<int64_t>(left.count(), 0, INT_MAX));
}

void timer_queue::run_due() {
    const auto now = clock::now();
    while (!waiting_.empty() && waiting_.begin()->first <= now) {
        const auto due = waiting_.extract(waiting_.begin());
        due.mapped()();
    }
}
