// The traffic manager: packets of the ports in eight queues each.

#include "npa_state.h"

#include <algorithm>

#include "mac_state.h"

namespace {

constexpr uint32_t buffers = 65536;  // one holds a packet
constexpr uint64_t packets_a_drop = 50'000;
constexpr uint32_t weights[queues_a_port] = {1, 1, 2, 2, 4, 6, 8, 8};  // how a port's packets spread over its queues
constexpr uint32_t weight_sum = 32;

struct tm_queue {
    uint64_t came = 0;  // packets
    uint32_t waiting = 0, most_waiting = 0;

    uint64_t dropped() const { return came / packets_a_drop; }
};

std::array<tm_queue, size_t{card_ports} * queues_a_port> queues;
std::array<uint64_t, card_ports> sent_before;  // packets of each port when the last step ended
np_life life;

// A queue's length comes from its own number of packets, so that it can be told again.
uint32_t waiting_in(const tm_queue &queue, uint64_t came_now) {
    if (came_now == 0) return 0;
    const uint64_t left = queue.came - queue.dropped();
    return static_cast<uint32_t>(std::min<uint64_t>({left, queue.came * 31 % 61 + 1, queue_packets_max}));
}

void advance_port(uint32_t port, uint64_t packets) {
    uint64_t given = 0;
    for (uint32_t i = 0; i < queues_a_port; ++i) {
        tm_queue &queue = queues[first_queue_of(port) + i];
        const bool is_last = i + 1 == queues_a_port;  // it takes what does not divide
        const uint64_t came = is_last ? packets - given : packets * weights[i] / weight_sum;
        given += came;
        queue.came += came;
        queue.waiting = waiting_in(queue, came);
        queue.most_waiting = std::max(queue.most_waiting, queue.waiting);
    }
    life.packets += packets;
}

}  // namespace

const np_life &life_of_np() {
    return life;
}

std::optional<std::array<uint32_t, NPRM_TM_QUEUE_DEPTH_WORDS>> queue_depth(uint32_t queue) {
    if (queue >= queues.size()) return std::nullopt;
    const tm_queue &of = queues[queue];
    return std::array<uint32_t, NPRM_TM_QUEUE_DEPTH_WORDS>{of.waiting, of.most_waiting, static_cast<uint32_t>(of.came),
                                                           static_cast<uint32_t>(of.dropped())};
}

std::array<uint32_t, NPRM_TM_GLOBAL_STATS_WORDS> queue_totals() {
    uint64_t came = 0, dropped = 0, waiting = 0;
    for (const tm_queue &queue : queues) {
        came += queue.came;
        dropped += queue.dropped();
        waiting += queue.waiting;
    }
    return {static_cast<uint32_t>(came), static_cast<uint32_t>(came - dropped - waiting), static_cast<uint32_t>(dropped),
            static_cast<uint32_t>(waiting), static_cast<uint32_t>(buffers - waiting)};
}

void reset_traffic() {
    queues = {};
    sent_before = {};
    life = {};
}

// The ports have moved before: their model comes first in the card's list of components.
void advance_traffic(const traffic_step &step) {
    life.microseconds += step.microseconds;
    for (uint32_t port = 0; port < card_ports; ++port) {
        const uint64_t sent = ports()[port].sent;
        advance_port(port, sent - sent_before[port]);
        sent_before[port] = sent;
    }
}
