// What keeps one sender from drowning the log.

#include "fairness.h"

#include <algorithm>
#include <utility>

bool repetition::is_repeated(int socket, const sender &who, std::string_view bytes) {
    if (!known_ || socket != socket_ || !(who == who_) || bytes != bytes_) return false;
    ++repeated_;
    return true;
}

void repetition::begin(int socket, const sender &who, std::string_view bytes) {
    known_ = true;
    socket_ = socket;
    who_ = who;
    bytes_.assign(bytes);
}

uint64_t repetition::take() {
    return std::exchange(repeated_, 0);
}

rate_limit::rate_limit(uint32_t per_second, report tell)
    : per_second_(per_second), tell_(std::move(tell)), sets_(per_second == 0 ? 0 : senders_max / ways) {}

bool rate_limit::may_pass(const sender &who, int64_t now_ns) {
    if (per_second_ == 0) return true;
    entry &known = entry_of(who, now_ns);
    const double seconds = static_cast<double>(std::max<int64_t>(now_ns - known.last_ns, 0)) * 1e-9;
    known.allowance = std::min<double>(known.allowance + seconds * per_second_, per_second_);
    known.last_ns = now_ns;
    if (known.allowance >= 1) {
        known.allowance -= 1;
        return true;
    }
    ++known.cut;
    any_cut_ = true;
    return false;
}

rate_limit::entry &rate_limit::entry_of(const sender &who, int64_t now_ns) {
    const auto mixed = static_cast<uint64_t>(static_cast<uint32_t>(who.pid)) * 0x9E3779B97F4A7C15U + who.uid * 0xC2B2AE3D27D4EB4FU;
    auto &set = sets_[static_cast<size_t>(mixed >> 32) % sets_.size()];
    const auto found = std::ranges::find_if(set, [&who](const entry &e) { return e.used && e.who == who; });
    if (found != set.end()) return *found;
    entry &oldest = *std::ranges::min_element(set, {}, [](const entry &e) { return e.used ? e.last_ns : INT64_MIN; });
    tell(oldest);
    oldest = {who, true, now_ns, static_cast<double>(per_second_), 0};
    return oldest;
}

void rate_limit::tell(entry &of) {
    if (of.cut != 0) tell_({of.who, std::exchange(of.cut, 0)});
}

void rate_limit::tell_all() {
    if (!std::exchange(any_cut_, false)) return;
    for (auto &set : sets_)
        for (entry &each : set)
            tell(each);
}
