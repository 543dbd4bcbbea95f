// Where the card's counters are: tables 0 to 6 in the card, tables 7 to 16 in the segment that clients attach.
//
// Clients read and clear the segment while the card counts.  Every count is loaded, stored and added to by 64 bits at once.
#ifndef SIMCARD_MODELS_STATS_STORE_H
#define SIMCARD_MODELS_STATS_STORE_H

#include <cstdint>

#include "api/stats/nprm_stats.h"

// Packets and their bytes.
struct traffic_count {
    uint64_t packets, bytes;
};

// The segment of NPRM_STATS_SEGMENT_BYTES; null: there is none, and what would be counted there is lost.
void attach_statistics(void *segment);

// Slot `counter` of an entry.   Requires: table <= 16, entry and counter inside it.
void add_to_counter(uint32_t table, uint32_t entry, uint32_t counter, const traffic_count &more);
nprm_stats_counter read_counter(uint32_t table, uint32_t entry, uint32_t counter);
void write_counter(uint32_t table, uint32_t entry, uint32_t counter, const nprm_stats_counter &value);

// All counters of all tables.
void clear_all_counters();

#endif
