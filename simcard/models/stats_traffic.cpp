// From packets on ports to counters: every whole is the sum of its parts.

#include "stats_traffic.h"

#include <algorithm>
#include <vector>

#include "fdm_state.h"
#include "if_state.h"
#include "mac_state.h"

namespace {

struct port_progress {
    uint64_t received = 0, sent = 0;
};
std::array<port_progress, card_ports> counted;
monitor_words monitored;

// Of a thousand packets those that an interface's traffic meets each reason with.  Without service nodes nothing is redirected.
struct reason_share {
    uint32_t reason, with_nodes, without_nodes;
};
constexpr uint32_t shares = 1000;
constexpr uint32_t first_redirect = 0, last_redirect = 3;
constexpr reason_share reason_shares[] = {
    {0, 310, 0},   {1, 240, 0}, {2, 180, 0}, {3, 70, 0},  {4, 60, 360}, {5, 40, 200}, {9, 20, 120}, {14, 10, 60},
    {27, 30, 160}, {28, 5, 0},  {29, 5, 60}, {31, 5, 10}, {32, 5, 10},  {33, 10, 20}, {34, 5, 0},   {36, 5, 0},
};
static_assert([] {
    uint32_t with = 0, without = 0;
    for (const reason_share &row : reason_shares) {
        with += row.with_nodes;
        without += row.without_nodes;
    }
    return with == shares && without == shares;
}());

bool is_redirect(uint32_t reason) {
    return reason >= first_redirect && reason <= last_redirect;
}

// The part of a whole that falls on [from, to) of so many shares; all parts add up to the whole.
uint64_t part_of(uint64_t whole, uint64_t from, uint64_t to, uint64_t of) {
    const auto below = [=](uint64_t share) { return whole / of * share + whole % of * share / of; };
    return below(to) - below(from);
}

// Packets as so many shares of the whole, and bytes in proportion to packets.
traffic_count share_of(const traffic_count &whole, uint64_t from, uint64_t to, uint64_t of) {
    if (whole.packets == 0) return {0, 0};
    const uint64_t before = part_of(whole.packets, 0, from, of), packets = part_of(whole.packets, from, to, of);
    return {packets, part_of(whole.bytes, before, before + packets, whole.packets)};
}

void add_to(traffic_count &sum, const traffic_count &more) {
    sum.packets += more.packets;
    sum.bytes += more.bytes;
}

// What came in on an interface, by reason; the sum of what was redirected is returned.
traffic_count classify(uint32_t interface_id, const traffic_count &received, bool has_nodes) {
    traffic_count redirected = {0, 0};
    uint64_t from = 0;
    for (const reason_share &row : reason_shares) {
        const uint64_t to = from + (has_nodes ? row.with_nodes : row.without_nodes);
        const traffic_count part = share_of(received, from, to, shares);
        from = to;
        if (part.packets == 0) continue;
        add_to_counter(stats_of_classes, interface_id, row.reason, part);
        monitored[row.reason] += static_cast<uint32_t>(part.packets);
        if (is_redirect(row.reason)) add_to(redirected, part);
    }
    return redirected;
}

void spread_over_nodes(const traffic_count &redirected) {
    const auto &nodes = fdm().nodes;
    uint64_t place = 0;
    for (const auto &[id, node] : nodes) {
        const traffic_count part = share_of(redirected, place, place + 1, nodes.size());
        add_to_counter(stats_of_nodes, id, 0, part);
        add_to_counter(stats_of_nodes, id, 1, part);
        ++place;
    }
}

traffic_count between(const packet_totals &before, const packet_totals &after) {
    return {after.packets - before.packets, after.bytes - before.bytes};
}

constexpr uint32_t slots_a_port = 8;

// Returns what the port's interface redirected.
traffic_count count_port(uint32_t number, const port_state &port, port_progress &before) {
    const packet_totals received_before = totals_of(before.received, port), received_now = totals_of(port.received, port);
    const traffic_count received = between(received_before, received_now);
    const traffic_count sent = between(totals_of(before.sent, port), totals_of(port.sent, port));
    const traffic_count errors = {received_now.errors - received_before.errors, 0};
    before = {port.received, port.sent};

    const uint32_t slot = slots_a_port * number;
    const std::array<traffic_count, 3> all = {received, sent, errors};
    for (uint32_t i = 0; i < all.size(); ++i) {
        add_to_counter(stats_of_ports, 0, slot + i, all[i]);
        add_to_counter(stats_of_card, 0, i, all[i]);
    }
    const auto id = interface_of_port(number);
    if (!id || !interfaces().interfaces.at(*id).is_up || *id >= stats_tbl_def[stats_of_interfaces].entries) return {0, 0};
    add_to_counter(stats_of_interfaces, *id, 0, received);
    add_to_counter(stats_of_interfaces, *id, 1, sent);
    return classify(*id, received, !fdm().nodes.empty());
}

}  // namespace

void count_traffic() {
    traffic_count redirected = {0, 0};
    for (uint32_t number = 0; number < card_ports; ++number)
        add_to(redirected, count_port(number, ports()[number], counted[number]));
    add_to_counter(stats_of_card, 0, 3, redirected);
    spread_over_nodes(redirected);
}

bool belongs_to_configuration(uint32_t table, uint32_t entry) {
    switch (table) {
        case stats_of_interfaces:
        case stats_of_classes:
            return interfaces().interfaces.contains(static_cast<uint16_t>(entry));
        case stats_of_nodes:
            return fdm().nodes.contains(static_cast<uint8_t>(entry));
        default:
            return false;
    }
}

void forget_traffic() {
    counted = {};
    monitored = {};
}

monitor_words &monitor() {
    return monitored;
}
