// What the card's service nodes, their groups and the controls of the flow path are now, for other models to read.
#ifndef SIMCARD_MODELS_FDM_STATE_H
#define SIMCARD_MODELS_FDM_STATE_H

#include <array>
#include <map>
#include <optional>

#include "api/wire/nprm_fdm_wire.h"
#include "simcard/nprm_service_fields.h"

// Whether flows of the member's hash index go to its node.
inline bool is_valid(const nprm_distribution_member &member) {
    return (member.byte[0] & NPRM_SERVICE_MEMBER_VALID) != 0;
}

struct fdm_node_group {
    uint8_t flags = 0;
    std::array<uint8_t, 2> fields = {};
    // By hash index.
    std::array<std::optional<nprm_distribution_member>, NPRM_SERVICE_HASH_INDEXES> members = {};
};

struct fdm_state {
    std::map<uint8_t, nprm_service_node> nodes;   // by id; address bytes that a node does not have are 0
    std::map<uint16_t, fdm_node_group> groups;    // by id
    std::optional<nprm_flow_trace_record> trace;  // none: no flow is traced
    std::optional<nprm_flow_dump_record> dump;    // none: no flow is dumped
    bool swaps_source = false;
    uint8_t frame_version = 0;
};

// Holds until the next request.
const fdm_state &fdm();

#endif
