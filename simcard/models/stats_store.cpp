// The counters of the card.

#include "stats_store.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include <sys/mman.h>

namespace {

// Aligned as counters are; a uint64_t is aligned to 4 bytes only on the target.
typedef uint64_t shared_count __attribute__((aligned(8), may_alias));

std::byte *segment = nullptr;
alignas(16) nprm_stats_counter nowhere;

// Of tables 0 to 6, which lie one behind the other.
size_t first_own_slot(uint32_t table) {
    size_t first = 0;
    for (uint32_t i = 0; i < table; ++i)
        first += size_t{stats_tbl_def[i].entries} * stats_tbl_def[i].counters_per_entry;
    return first;
}

struct alignas(16) own_slot {
    nprm_stats_counter counter;
};
std::vector<own_slot> &own_slots() {
    static std::vector<own_slot> slots(first_own_slot(NPRM_STATS_FIRST_SHARED_TABLE));
    return slots;
}

shared_count *counts_of(uint32_t table, uint32_t entry, uint32_t counter) {
    const nprm_stats_table &about = stats_tbl_def[table];
    const size_t slot = size_t{entry} * about.counters_per_entry + counter;
    void *at = &nowhere;
    if (table < NPRM_STATS_FIRST_SHARED_TABLE)
        at = &own_slots()[first_own_slot(table) + slot];
    else if (segment != nullptr)
        at = segment + about.shm_offset + slot * sizeof(nprm_stats_counter);
    return static_cast<shared_count *>(at);
}

}  // namespace

void attach_statistics(void *new_segment) {
    segment = static_cast<std::byte *>(new_segment);
}

void add_to_counter(uint32_t table, uint32_t entry, uint32_t counter, const traffic_count &more) {
    shared_count *counts = counts_of(table, entry, counter);
    // A client that clears meanwhile is not undone.
    __sync_fetch_and_add(&counts[0], more.packets);
    __sync_fetch_and_add(&counts[1], more.bytes);
}

nprm_stats_counter read_counter(uint32_t table, uint32_t entry, uint32_t counter) {
    const shared_count *counts = counts_of(table, entry, counter);
    return {{__atomic_load_n(&counts[0], __ATOMIC_RELAXED), __atomic_load_n(&counts[1], __ATOMIC_RELAXED)}};
}

void write_counter(uint32_t table, uint32_t entry, uint32_t counter, const nprm_stats_counter &value) {
    shared_count *counts = counts_of(table, entry, counter);
    __atomic_store_n(&counts[0], value.count[0], __ATOMIC_RELAXED);
    __atomic_store_n(&counts[1], value.count[1], __ATOMIC_RELAXED);
}

void clear_all_counters() {
    std::ranges::fill(own_slots(), own_slot{});
    if (segment == nullptr) return;
    // Gives the pages back, so that those that nobody counted in cost nothing; what cannot do that is overwritten.
    if (madvise(segment, NPRM_STATS_SEGMENT_BYTES, MADV_REMOVE) != 0) std::memset(segment, 0, NPRM_STATS_SEGMENT_BYTES);
}
