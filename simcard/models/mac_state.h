// The card's Ethernet ports, for models that follow them: traffic, hardware tables, statistics.
#ifndef SIMCARD_MODELS_MAC_STATE_H
#define SIMCARD_MODELS_MAC_STATE_H

#include <array>
#include <cstdint>
#include <span>

#include "sfp_module.h"

constexpr uint32_t card_ports = 16;

// Codes of nprm_mac_if_set_speed(), in the order of the printed names "10M" to "100G".
enum class port_speed : uint32_t { m10, m100, m1000, g10, g40, g100 };

struct port_state {
    sfp_module module;
    bool is_ten_gigabit;  // what the port is built for; the others are 10M to 1000M
    uint32_t mtu;
    port_speed speed;
    bool negotiates;
    bool is_enabled;
    uint32_t led;
    std::array<uint8_t, 6> mac_address;
    uint32_t link_changes;
    uint64_t received, sent;                    // packets since the start
    uint64_t received_at_clear, sent_at_clear;  // the same when the counters were cleared last
    uint64_t unsent_parts;                      // parts of a packet, of 10^6, that the last step left over

    // A port carries traffic when it is enabled and has a module.
    bool is_up() const { return is_enabled && module.kind != sfp_kind::none; }
};

// What so many packets of the simulated mix add up to.
struct packet_totals {
    uint64_t packets, bytes, errors;
};
packet_totals totals_of(uint64_t packets, const port_state &port);

// Ports 0 to card_ports - 1.
std::span<const port_state> ports();

#endif
