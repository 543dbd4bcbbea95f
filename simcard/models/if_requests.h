// Requests about interfaces, channels, bridge groups and settings: what the rows of component 3 call.
#ifndef SIMCARD_MODELS_IF_REQUESTS_H
#define SIMCARD_MODELS_IF_REQUESTS_H

#include "if_state.h"
#include "simcard/model.h"

// Serves a request of one record, or refuses it.
using serve_one = uint32_t(const model_request &, model_reply &);

serve_one create_interface, delete_interface, set_interface_state, set_interface_mac, set_interface_v4, set_interface_v6,
    activate_sb;                                                           // if_interfaces.cpp
serve_one set_channel_balance, add_channel_member, delete_channel_member,  // if_groups.cpp
    create_bridge_group, delete_bridge_group, add_bridge_vlan, delete_bridge_vlan;
serve_one set_errorlog_mask, set_flowlearn_limit, get_flowlearn_limit, request_crash;  // if_settings.cpp
serve_one read_config, read_port_mapping;                                              // if_config.cpp

// The state, for the functions above.
if_state &mutable_interfaces();
void reset_interfaces();

// Null when there is none.  Ids travel in 32 bits; one above 16 bits names none.
interface_state *find_interface(uint32_t id);

// An interface leaves its channel, or a channel its members.
void leave_channel(uint16_t id, interface_state &interface);

#endif
