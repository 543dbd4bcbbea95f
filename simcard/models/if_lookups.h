// The four TCAM look-ups of the packet path: which are on, and in which list.
#ifndef SIMCARD_MODELS_IF_LOOKUPS_H
#define SIMCARD_MODELS_IF_LOOKUPS_H

#include <array>
#include <cstdint>

#include "simcard/model.h"

enum class packet_lookup : uint32_t { dump_acl, trace_acl, intercept_acl, flow_policy };

struct lookup_switch {
    bool is_on = false;
    uint8_t vmr_id = 0;  // kept while the look-up is off
};

// Holds until the next request.
const std::array<lookup_switch, 4> &packet_lookups();

// Operation NPRM_IF_TCAM_LOOKUP, for the model of interfaces.
uint32_t serve_lookup_switch(const model_request &from, model_reply &reply);
void reset_lookups();

#endif
