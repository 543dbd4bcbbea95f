// The network processor's own life: traffic through its queues and units, and how long it has run.
#ifndef SIMCARD_MODELS_NPA_STATE_H
#define SIMCARD_MODELS_NPA_STATE_H

#include <array>
#include <cstdint>
#include <optional>

#include "api/wire/nprm_npa_wire.h"
#include "simcard/model.h"

constexpr uint32_t queues_a_port = 8;
constexpr uint32_t queue_packets_max = 1024;

constexpr uint32_t first_queue_of(uint32_t port) {
    return port * queues_a_port;
}

// Simulated time since the start, and the packets that ports have sent to the traffic manager in it.
struct np_life {
    uint64_t microseconds = 0;
    uint64_t packets = 0;
};
const np_life &life_of_np();

// The words of the two answers of the traffic manager; none for a queue that is not there.
std::optional<std::array<uint32_t, NPRM_TM_QUEUE_DEPTH_WORDS>> queue_depth(uint32_t queue);
std::array<uint32_t, NPRM_TM_GLOBAL_STATS_WORDS> queue_totals();

// The value of a register.   Requires: index < NPRM_NP_REGISTER_COUNT.
uint32_t register_value(uint32_t index);

// What the model of component 5 calls.
void reset_traffic();
void advance_traffic(const traffic_step &step);

#endif
