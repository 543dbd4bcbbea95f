// How fast counters move between two readings of them.

#include "stats_rates.h"

#include <algorithm>

count_change change_of(uint64_t before, uint64_t after) {
    constexpr uint64_t quarter = uint64_t{1} << 62;
    if (after >= before) return {after - before, count_event::none};
    if (before >= 3 * quarter && after < quarter) return {after - before, count_event::wrapped};
    return {after, count_event::reset};
}

uint64_t per_second(uint64_t difference, std::chrono::microseconds elapsed) {
    if (elapsed.count() <= 0) return 0;
    const double rate = static_cast<double>(difference) * 1e6 / static_cast<double>(elapsed.count()) + 0.5;  // rounds below
    return rate >= 0x1p64 ? UINT64_MAX : static_cast<uint64_t>(rate);
}

std::vector<counter_rate> rates_between(const std::vector<nprm_stats_counter> &before, const std::vector<nprm_stats_counter> &after,
                                        std::chrono::microseconds elapsed) {
    std::vector<counter_rate> rates;
    for (uint32_t place = 0; place < after.size(); ++place) {
        const nprm_stats_counter was = before[place], is = after[place];
        if (was.count[0] == is.count[0] && was.count[1] == is.count[1]) continue;
        const count_change packets = change_of(was.count[0], is.count[0]), bytes = change_of(was.count[1], is.count[1]);
        rates.push_back({place, per_second(packets.difference, elapsed), per_second(bytes.difference, elapsed), is,
                         std::max(packets.event, bytes.event)});
    }
    std::ranges::stable_sort(rates, [](const counter_rate &a, const counter_rate &b) {
        return a.packet_rate != b.packet_rate ? a.packet_rate > b.packet_rate : a.byte_rate > b.byte_rate;
    });
    return rates;
}
