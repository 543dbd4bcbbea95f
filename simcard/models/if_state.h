// The card's interfaces, port channels and bridge groups, for models that follow them: hardware tables, statistics.
#ifndef SIMCARD_MODELS_IF_STATE_H
#define SIMCARD_MODELS_IF_STATE_H

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "simcard/nprm_interface_fields.h"

struct interface_address {
    uint8_t prefix_length;
    uint16_t vrf;
    std::array<uint8_t, 16> address;  // IPv4: the first 4, the others 0
};

struct interface_state {
    nprm_if_kind kind;
    bool is_layer_3;
    uint8_t value;  // of a physical interface its port
    std::array<uint8_t, 6> mac_address;
    bool is_up;
    std::optional<interface_address> v4, v6;
    std::optional<uint16_t> channel;    // physical: the port channel that it is a member of
    std::vector<uint16_t> members;      // port channel: in the order of their coming
    std::optional<uint16_t> active_on;  // SB: the physical interface
    std::optional<uint8_t> bridge_group;
};

struct bridge_group_state {
    uint16_t first, second;
    std::map<uint16_t, uint32_t> vlans;  // with the number that each was given
};

struct if_state {
    std::map<uint16_t, interface_state> interfaces;
    std::map<uint8_t, bridge_group_state> bridge_groups;
    uint32_t channel_balance;
    uint32_t errorlog_mask;
    uint32_t flowlearn_limit;
    std::optional<uint32_t> crash_argument;  // of the last request
    uint32_t crash_requests;
};

// Holds until the next request.
const if_state &interfaces();

// The id of the physical interface that has the port; none when none has.
std::optional<uint16_t> interface_of_port(uint32_t port);

#endif
