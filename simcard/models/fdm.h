// The parts of the model of service nodes: groups and their distribution.
#ifndef SIMCARD_MODELS_FDM_H
#define SIMCARD_MODELS_FDM_H

#include "fdm_state.h"
#include "service_objects.h"

extern const object_actions<fdm_state, nprm_fdm_group_record> group_actions;
extern const object_actions<fdm_state, nprm_fdm_dist_record> distribution_actions;

// Whether a valid member of a group is this node.
bool is_distributed_to(const fdm_state &of, uint8_t node);

// Which node of the group takes the flow, in the words of nprm_flow_dist_word; they come as zeros.
uint32_t distribute(const fdm_state &of, const nprm_flow_dist_query &query, uint32_t (&words)[NPRM_FLOW_DISTRIBUTION_WORDS]);

#endif
