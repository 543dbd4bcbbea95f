// A port's traffic and the 44 counters that it gives.
#ifndef SIMCARD_MODELS_PORT_COUNTERS_H
#define SIMCARD_MODELS_PORT_COUNTERS_H

#include <array>

#include "mac_state.h"
#include "simcard/model.h"

using port_counters = std::array<uint32_t, 44>;

// Receives and sends what the step offers, as far as the port's speed allows.
void carry_traffic(port_state &port, const traffic_step &step);

// In the order of NPRM_SIMCARD_PORT_COUNTER_LIST, since they were cleared last.
port_counters counters_of(const port_state &port);
void clear_counters(port_state &port);

#endif
