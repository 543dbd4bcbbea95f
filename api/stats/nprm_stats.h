/* The card's counters: read, written, cleared, allocated; and the tables that they lie in.
 *
 * Tables 0 to 6 are the server's own and travel in replies; tables 7 to 16 lie in a System V segment that the server makes and that
 * every client attaches.  A counter is copied by one load of 64 bits and is never seen half written; the counters of an entry may
 * be of different moments, for the server and other clients go on writing.
 *
 * Returns: 1 when done, else 0, after one line in the log. */
#ifndef NPRM_STATS_H
#define NPRM_STATS_H

#include "../frame/nprm_result.h"
#include "../wire/nprm_stats_wire.h"

#include <pthread.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    NPRM_STATS_SEGMENT_KEY = 0x838377,
    NPRM_STATS_SEGMENT_BYTES = 55312640,
    NPRM_STATS_TABLE_COUNT = 17,       /* the row behind the last one ends the segment */
    NPRM_STATS_FIRST_SHARED_TABLE = 7, /* the tables before it are not in the segment */
    NPRM_STATS_CLASS_TABLE = 14,       /* the classification statistics */
    NPRM_CLASS_STAT_COUNT = 39,
    NPRM_QUEUE_NAME_COUNT = NPRM_COMPONENT_COUNT
};

/* A table; the server shares this layout. */
typedef struct nprm_stats_table {
    uint32_t id;                 /* its place in the array */
    uint32_t shm_offset;         /* in the segment; 0 for tables 0 to 6 */
    uint32_t np_base;            /* its first counter by the network processor's numbers */
    uint32_t entries;            /* that it has, one behind the other */
    uint32_t counters_per_entry; /* slots of an entry: 16 bytes each */
    uint32_t counters_used;      /* slots of an entry that count something */
} nprm_stats_table;
NPRM_WIRE(nprm_stats_table, 24);

extern NPRM_API const nprm_stats_table stats_tbl_def[NPRM_STATS_TABLE_COUNT + 1];

/* What each counter of an entry of the classification statistics (table 14) counts, by its index within the entry. */
extern NPRM_API const char *const nprm_class_stat_str[NPRM_CLASS_STAT_COUNT];

/* The names of the server's components, by number. */
extern NPRM_API const char *const nprm_queue_name[NPRM_QUEUE_NAME_COUNT];

/* Held by nprm_stats_op() and nprm_clear_all_np_stats() while they run. */
extern NPRM_API pthread_mutex_t stats_mutex;

/* Attaches the segment; nprm_stats_op() does so when nobody has.  Called again it attaches the segment that is there now, after a
 * server made a new one.   Blocks: no.   Threads: none may be in an operation of this header. */
NPRM_API uint32_t nprm_stats_client_init(void);

/* Read and clear the monitor statistics.   out: 39 words, as the server sends them
 * Blocks: 75 receive attempts.   Threads: nprm.h (5); these two take no lock. */
NPRM_API uint32_t nprm_get_monitor_stats(uint32_t out[NPRM_STATS_MONITOR_WORDS]);
NPRM_API uint32_t nprm_clear_monitor_stats(void);

/* Clears all statistics of the network processor.   Blocks: 75 receive attempts.   Threads: any. */
NPRM_API uint32_t nprm_clear_all_np_stats(void);

/* Does an nprm_stats_table_operation with entries of a table.
 *   ids: count entries, in; out for NPRM_STATS_ALLOCATE.  Null means entry 0 where the server alone needs them: NPRM_STATS_SERVER,
 *        and reads and clears of tables 0 to 6
 *   data: reads: out count times counters_per_entry slots (nprm_stats_counter), released by the caller with free()
 *         NPRM_STATS_WRITE: in as many slots, from the heap;   others: null, or such slots, of which a request sends 480 at most
 * A failure releases *data, the caller's slots as well, and leaves null there; a call that is refused for its arguments, or for
 * want of the segment, leaves *data alone.  A table of more than 480 slots an entry cannot be written.  Reading the row behind the
 * last table gives an empty buffer.  Allocating in tables 0 to 6 clears the same place at the segment's beginning, inside table 7;
 * it is meant so.
 *
 * Owns: reads take the buffer from the heap.
 * Blocks: 75 receive attempts a request; reads of tables 7 to 16 make none.   Threads: any. */
NPRM_API int nprm_stats_op(uint32_t table, uint32_t op, uint32_t count, uint32_t *ids, void **data);

/* The same with entry 0 of a table 0 to 6; op: NPRM_STATS_READ to NPRM_STATS_READ_CLEAR.
 *   values: counters_per_entry first counts.  Reads: out, released by the caller with free(), also when the exchange failed
 *           NPRM_STATS_WRITE: in, the second counts are 0;   NPRM_STATS_CLEAR: not used
 * Owns: reads take the array from the heap.   Blocks: 75 receive attempts.   Threads: any. */
NPRM_API uint32_t nprm_stats_hw_op(uint32_t table, int op, uint64_t **values);

/* Where a counter is: by the network processor's number, by entry and index, by its address in the segment whose base is given.
 * Addresses are 64-bit values on both ABIs.  Entries and numbers are trusted; a table that is not there has no counters.
 * Threads: any. */
NPRM_API const nprm_stats_table *get_stats_tbl_def(void);
NPRM_API uint64_t np_counter_to_cp_counter(uint32_t table, uint32_t np_counter); /* entry in the low word, index in the high */
NPRM_API uint32_t cp_counter_to_np_counter(uint32_t table, uint32_t entry);      /* the entry's first counter */
NPRM_API uint64_t cp_counter_to_shm_ptr(uint32_t table, uint32_t entry, uint64_t base);
NPRM_API uint64_t np_counter_to_shm_ptr(uint32_t table, uint32_t np_counter, uint64_t base);

/* Moves n entries between the segment, replies and the caller; addresses: one an entry, as stats_id_to_shm() gives them.
 * Null pointers are logged, but by save_data_into_shm(), and nothing is done.   Threads: any. */
NPRM_API void save_data_into_shm(uint32_t table, uint32_t n, const uint64_t *addresses, const void *source); /* adds */
NPRM_API void copy_data_from_shm(uint32_t table, uint32_t n, const uint64_t *addresses, void *destination);
NPRM_API void clear_data_from_shm(uint32_t table, uint32_t n, const uint64_t *addresses);
NPRM_API void copy_data_from_reply(uint32_t table, uint32_t n, const void *source, void *destination);
NPRM_API void stats_id_to_shm(uint64_t *destination, uint32_t table, uint32_t n, const uint32_t *ids, const uint64_t *base);

#ifdef __cplusplus
}
#endif

#endif
