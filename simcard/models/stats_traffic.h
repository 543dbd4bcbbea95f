// What the simulated traffic adds to the counters.
#ifndef SIMCARD_MODELS_STATS_TRAFFIC_H
#define SIMCARD_MODELS_STATS_TRAFFIC_H

#include <array>

#include "stats_store.h"

// Which table counts what, as docs/simulated-card.md describes.  The tables that traffic does not reach stay zero until clients
// write them.
enum stats_meaning : uint32_t {
    stats_of_card = 0,                          // slot 0 received, 1 sent, 2 received with errors, 3 redirected to service nodes
    stats_of_ports = 6,                         // 8 slots a port: 0 received, 1 sent, 2 received with errors
    stats_of_interfaces = 8,                    // entry: the interface's id; slot 0 received, 1 sent
    stats_of_nodes = 10,                        // entry: the service node's id; slot 0 redirected to it, 1 returned from it
    stats_of_classes = NPRM_STATS_CLASS_TABLE,  // entry: the interface's id; a slot a reason, each packet in one of them
};

// Counts what the ports have received and sent since the last call.
void count_traffic();
// The card begins anew.
void forget_traffic();

// Whether an entry counts for something that is configured: an interface or a service node has its own number as entry.
bool belongs_to_configuration(uint32_t table, uint32_t entry);

// Packets by reason since it was cleared last, for the monitor.
using monitor_words = std::array<uint32_t, NPRM_STATS_MONITOR_WORDS>;
monitor_words &monitor();

#endif
