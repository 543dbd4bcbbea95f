// Where a counter of a statistics table is, and what moves counters between the segment, replies and callers.

#include "nprm_stats.h"

#include "../frame/log.h"
#include "counter.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t slot_bytes = sizeof(nprm_stats_counter);

// A table that is not there is the row behind the last: it has no counters.
const nprm_stats_table &row_of(uint32_t table) {
    return stats_tbl_def[std::min<uint32_t>(table, NPRM_STATS_TABLE_COUNT)];
}

uint8_t *pointer_to(uint64_t address) {
    return reinterpret_cast<uint8_t *>(static_cast<uintptr_t>(address));
}

bool any_null(const char *function, int line, bool null) {
    if (null) NPRM_LOG_AT(NPRM_LEVEL_STATS, function, line, "Unexpected null pointer detected!.");
    return null;
}

// use(address, first, slots): each run of entries that lie behind each other as one block; `first` is the run's first entry.
template <typename Use>
void for_each_run(const nprm_stats_table &row, uint32_t n, const uint64_t *addresses, Use use) {
    const uint64_t entry_bytes = uint64_t{row.counters_per_entry} * slot_bytes;
    if (entry_bytes == 0) return;
    for (uint32_t first = 0; first < n;) {
        uint32_t end = first + 1;
        while (end < n && addresses[end] == addresses[end - 1] + entry_bytes)
            ++end;
        use(pointer_to(addresses[first]), first, size_t{end - first} * row.counters_per_entry);
        first = end;
    }
}

}  // namespace

const nprm_stats_table *get_stats_tbl_def() {
    return stats_tbl_def;
}

uint64_t np_counter_to_cp_counter(uint32_t table, uint32_t np_counter) {
    const nprm_stats_table &row = row_of(table);
    if (row.counters_per_entry == 0) return 0;
    const uint32_t number = np_counter - row.np_base;
    return uint64_t{number % row.counters_per_entry} << 32 | number / row.counters_per_entry;
}

uint32_t cp_counter_to_np_counter(uint32_t table, uint32_t entry) {
    const nprm_stats_table &row = row_of(table);
    return row.counters_per_entry * entry + row.np_base;
}

uint64_t cp_counter_to_shm_ptr(uint32_t table, uint32_t entry, uint64_t base) {
    const nprm_stats_table &row = row_of(table);
    return base + row.shm_offset + uint64_t{row.counters_per_entry} * entry * slot_bytes;
}

uint64_t np_counter_to_shm_ptr(uint32_t table, uint32_t np_counter, uint64_t base) {
    const uint64_t counter = np_counter_to_cp_counter(table, np_counter);
    return cp_counter_to_shm_ptr(table, static_cast<uint32_t>(counter), base) + (counter >> 32) * slot_bytes;
}

void save_data_into_shm(uint32_t table, uint32_t n, const uint64_t *addresses, const void *source) {
    if (addresses == nullptr || source == nullptr) return;
    const size_t entry_bytes = size_t{row_of(table).counters_per_entry} * slot_bytes;
    const auto *from = static_cast<const uint8_t *>(source);
    for (uint32_t entry = 0; entry < n; ++entry) {
        uint8_t *to = pointer_to(addresses[entry]);
        for (size_t offset = 0; offset < entry_bytes; offset += sizeof(uint64_t), from += sizeof(uint64_t)) {
            uint64_t more = 0;
            memcpy(&more, from, sizeof more);
            nprm::store_count(to + offset, nprm::load_count(to + offset) + more);
        }
    }
}

void copy_data_from_shm(uint32_t table, uint32_t n, const uint64_t *addresses, void *destination) {
    if (any_null(__func__, 333, addresses == nullptr || destination == nullptr)) return;
    const nprm_stats_table &row = row_of(table);
    auto *to = static_cast<uint8_t *>(destination);
    for_each_run(row, n, addresses, [&](const uint8_t *from, uint32_t first, size_t slots) {
        nprm::copy_slots(to + size_t{first} * row.counters_per_entry * slot_bytes, from, slots);
    });
}

void clear_data_from_shm(uint32_t table, uint32_t n, const uint64_t *addresses) {
    if (any_null(__func__, 374, addresses == nullptr)) return;
    for_each_run(row_of(table), n, addresses, [](uint8_t *at, uint32_t, size_t slots) { nprm::clear_slots(at, slots); });
}

void copy_data_from_reply(uint32_t table, uint32_t n, const void *source, void *destination) {
    if (n == 0 || any_null(__func__, 413, source == nullptr || destination == nullptr)) return;
    memcpy(destination, source, size_t{n} * row_of(table).counters_per_entry * slot_bytes);
}

void stats_id_to_shm(uint64_t *destination, uint32_t table, uint32_t n, const uint32_t *ids, const uint64_t *base) {
    if (any_null(__func__, 444, destination == nullptr || ids == nullptr || base == nullptr)) return;
    for (uint32_t i = 0; i < n; ++i)
        destination[i] = cp_counter_to_shm_ptr(table, ids[i], *base);
}
