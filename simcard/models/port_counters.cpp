// Counters follow from the number of packets alone: a fixed mix of sizes and casts, so that every part sums up to its whole.

#include "port_counters.h"

#include <algorithm>

#include "simcard/nprm_simcard.h"

namespace {

// The mix, in packets of a thousand.
struct size_class {
    uint32_t bytes, share;
};
constexpr size_class sizes[] = {{64, 550}, {90, 120}, {200, 60}, {400, 40}, {594, 130}, {1400, 100}, {1600, 0}};
constexpr uint32_t unicast_share = 970, multicast_share = 20;
constexpr uint32_t shares = 1000;
constexpr uint64_t mean_bytes = [] {
    uint64_t sum = 0;
    for (const size_class &one : sizes)
        sum += uint64_t{one.bytes} * one.share;
    return sum / shares;
}();
constexpr uint64_t wire_overhead_bytes = 20;  // preamble and gap
constexpr uint64_t errors_apart = 1'000'000;  // one packet in so many is damaged; a hot module damages ten times as many
constexpr uint64_t forwarded_per_mille = 980;

enum counter : uint8_t {
#define ENUMERATOR(identifier, help) identifier,
    NPRM_SIMCARD_PORT_COUNTER_LIST(ENUMERATOR)
#undef ENUMERATOR
        counter_count
};
static_assert(counter_count == std::tuple_size_v<port_counters>);

// Of so many packets those that fall on [from, to) of a thousand.
uint64_t part_of(uint64_t packets, uint64_t from, uint64_t to) {
    const auto below = [packets](uint64_t share) { return packets / shares * share + packets % shares * share / shares; };
    return below(to) - below(from);
}

uint64_t packets_in_class(uint64_t packets, size_t which) {
    uint64_t from = 0;
    for (size_t i = 0; i < which; ++i)
        from += sizes[i].share;
    return part_of(packets, from, from + sizes[which].share);
}

uint64_t bytes_of(uint64_t packets) {
    uint64_t sum = 0;
    for (size_t i = 0; i < std::size(sizes); ++i)
        sum += packets_in_class(packets, i) * sizes[i].bytes;
    return sum;
}

uint64_t errors_of(uint64_t packets, const port_state &port) {
    return packets / (port.module.is_hot ? errors_apart / 10 : errors_apart);
}

// The first 13 counters of a direction.
struct direction {
    counter first;
    uint64_t packets, packets_at_clear;

    template <class function>
    uint64_t since_clear(function of) const {
        return of(packets) - of(packets_at_clear);
    }

    void count(port_counters &into) const {
        const uint64_t bytes = since_clear(bytes_of);
        const auto put = [&](size_t place, uint64_t value) { into[first + place] = static_cast<uint32_t>(value); };
        const auto cast = [this](uint64_t from, uint64_t to) {
            return since_clear([=](uint64_t all) { return part_of(all, from, to); });
        };
        put(rx_bytes_low, bytes);
        put(rx_bytes_high, bytes >> 32);
        put(rx_packets, packets - packets_at_clear);
        put(rx_unicast, cast(0, unicast_share));
        put(rx_multicast, cast(unicast_share, unicast_share + multicast_share));
        put(rx_broadcast, cast(unicast_share + multicast_share, shares));
        for (size_t i = 0; i < std::size(sizes); ++i)
            put(rx_64 + i, since_clear([i](uint64_t all) { return packets_in_class(all, i); }));
    }
};

uint64_t line_rate(port_speed speed) {
    constexpr uint64_t megabits[] = {10, 100, 1000, 10'000, 40'000, 100'000};
    return megabits[static_cast<size_t>(speed)] * 1'000'000 / (8 * (mean_bytes + wire_overhead_bytes));
}

}  // namespace

void carry_traffic(port_state &port, const traffic_step &step) {
    if (!port.is_up()) return;
    constexpr uint64_t second = 1'000'000;
    const uint64_t rate = std::min<uint64_t>(step.packets_per_second, line_rate(port.speed));
    const uint64_t parts = rate * step.microseconds + port.unsent_parts;
    port.received += parts / second;
    port.unsent_parts = parts % second;
    port.sent = port.received / 1000 * forwarded_per_mille + port.received % 1000 * forwarded_per_mille / 1000;
}

port_counters counters_of(const port_state &port) {
    port_counters counters{};
    direction{rx_bytes_low, port.received, port.received_at_clear}.count(counters);
    direction{tx_bytes_low, port.sent, port.sent_at_clear}.count(counters);
    counters[rx_crc_errors] = static_cast<uint32_t>(errors_of(port.received, port) - errors_of(port.received_at_clear, port));
    counters[rx_dropped] = counters[rx_crc_errors];
    counters[link_changes] = port.link_changes;
    return counters;
}

void clear_counters(port_state &port) {
    port.received_at_clear = port.received;
    port.sent_at_clear = port.sent;
    port.link_changes = 0;
}

packet_totals totals_of(uint64_t packets, const port_state &port) {
    return {packets, bytes_of(packets), errors_of(packets, port)};
}
