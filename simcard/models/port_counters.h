// A port's traffic and the counters that it gives.
#ifndef SIMCARD_MODELS_PORT_COUNTERS_H
#define SIMCARD_MODELS_PORT_COUNTERS_H

#include <array>

#include "api/wire/nprm_mac_wire.h"
#include "mac_state.h"
#include "simcard/model.h"

using port_counters = std::array<uint32_t, NPRM_PORT_COUNTERS>;

// Receives and sends what the step offers, as far as the port's speed allows.
void carry_traffic(port_state &port, const traffic_step &step);

// In the order of NPRM_SIMCARD_PORT_COUNTER_LIST, since they were cleared last.
port_counters counters_of(const port_state &port);
void clear_counters(port_state &port);

#endif
