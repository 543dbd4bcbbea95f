// The rows: where each statistics table lies and how large it is.

#include "nprm_stats.h"

// id, offset in the segment, first counter, entries, slots an entry, of these in use
constexpr nprm_stats_table stats_tbl_def[NPRM_STATS_TABLE_COUNT + 1] = {
    {0, 0, 0x800000, 1, 256, 51},
    {1, 0, 0x800100, 1, 8, 7},
    {2, 0, 0x800108, 1, 64, 58},
    {3, 0, 0x800148, 1, 8, 4},
    {4, 0, 0x800150, 1, 1, 1},
    {5, 0, 0x800151, 1, 1, 1},
    {6, 0, 0x8007A0, 1, 128, 128},
    {7, 0x0, 0x801020, 64, 16, 7},
    {8, 0x4000, 0x310000, 20480, 2, 2},
    {9, 0xA4000, 0x801420, 256, 8, 6},
    {10, 0xAC000, 0x801C20, 256, 16, 14},
    {11, 0xBC000, 0x802C20, 256, 4, 4},
    {12, 0xC0000, 0x320000, 32768, 4, 4},
    {13, 0x2C0000, 0x803020, 1, 16, 1},
    {14, 0x2C0100, 0, 65536, 48, 39},
    {15, 0x32C0100, 0x300000, 65536, 1, 1},
    {16, 0x33C0100, 0x340000, 1, 65536, 65536},
    {17, 0x34C0100, 0, 0, 0, 0},
};

namespace {

constexpr bool numbered_by_row() {
    for (uint32_t row = 0; row <= NPRM_STATS_TABLE_COUNT; ++row)
        if (stats_tbl_def[row].id != row || stats_tbl_def[row].counters_used > stats_tbl_def[row].counters_per_entry) return false;
    return true;
}
static_assert(numbered_by_row(), "a statistics table is missing, out of place, or uses more slots than it has");

// Tables in the segment begin where the one before them ends, the first at its start; the others have no place there.
constexpr bool tables_follow_each_other() {
    uint64_t end = 0;
    for (uint32_t row = 0; row <= NPRM_STATS_TABLE_COUNT; ++row) {
        const nprm_stats_table &table = stats_tbl_def[row];
        if (table.shm_offset != end) return false;
        if (row >= NPRM_STATS_FIRST_SHARED_TABLE)
            end += uint64_t{table.entries} * table.counters_per_entry * sizeof(nprm_stats_counter);
    }
    return true;
}
static_assert(tables_follow_each_other(), "the tables of the segment leave a gap or overlap");
static_assert(stats_tbl_def[NPRM_STATS_TABLE_COUNT].shm_offset == NPRM_STATS_SEGMENT_BYTES, "the last row is the segment's size");
static_assert(stats_tbl_def[NPRM_STATS_CLASS_TABLE].counters_used == NPRM_CLASS_STAT_COUNT, "the names are those of that table");

}  // namespace
