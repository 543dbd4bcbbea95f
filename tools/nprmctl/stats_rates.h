// How fast counters move between two readings of them.
#ifndef NPRMCTL_STATS_RATES_H
#define NPRMCTL_STATS_RATES_H

#include "api/wire/nprm_stats_wire.h"

#include <chrono>
#include <cstdint>
#include <vector>

enum class count_event : uint8_t { none, wrapped, reset };

struct count_change {
    uint64_t difference;  // after a reset: what was counted since, as far as is known
    count_event event;

    bool operator==(const count_change &) const = default;
};

// A count that is smaller than before has passed 2^64 when it stood in the last quarter of the range and is in the first now;
// otherwise somebody has cleared it.
count_change change_of(uint64_t before, uint64_t after);

uint64_t per_second(uint64_t difference, std::chrono::microseconds elapsed);

struct counter_rate {
    uint32_t place;                   // in the readings
    uint64_t packet_rate, byte_rate;  // per second
    nprm_stats_counter total;
    count_event event;  // of either count, a reset before a wrap
};

// The counters that have changed, the fastest first; equal ones in their order.   Requires: two readings of the same counters.
std::vector<counter_rate> rates_between(const std::vector<nprm_stats_counter> &before, const std::vector<nprm_stats_counter> &after,
                                        std::chrono::microseconds elapsed);

#endif
