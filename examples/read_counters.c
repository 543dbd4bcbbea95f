/* Prints what the classification statistics have counted for some entries, with the counters' names; counts of 0 are left out.
 *
 *     read_counters 5 100         entries 5 to 104 of table 14 */
#include "nprm.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char **argv) {
    const nprm_stats_table *table = &stats_tbl_def[NPRM_STATS_CLASS_TABLE];
    const unsigned long first = argc > 1 ? strtoul(argv[1], NULL, 10) : 0;
    const unsigned long count = argc > 2 ? strtoul(argv[2], NULL, 10) : 1;
    if (argc > 3 || first >= table->entries || count == 0 || count > table->entries - first) {
        fprintf(stderr, "usage: read_counters [FIRST [COUNT]]     entries 0 to %" PRIu32 "\n", table->entries - 1);
        return 2;
    }
    /* Reads of this table need the segment only; registering lets the other operations go to the server. */
    if (nprm_ipc_register_client() != 1 || nprm_stats_client_init() != 1) {
        fprintf(stderr, "\nno status or no statistics are published: is the card running?\n");
        return 1;
    }

    uint32_t *ids = malloc(count * sizeof *ids);
    void *data = NULL;
    if (ids == NULL) return 1;
    for (unsigned long i = 0; i < count; ++i)
        ids[i] = (uint32_t)(first + i);
    const int done = nprm_stats_op(table->id, NPRM_STATS_READ, (uint32_t)count, ids, &data);
    free(ids);
    if (done != 1) return 1;

    const nprm_stats_counter *counter = data;
    for (unsigned long i = 0; i < count; ++i)
        for (uint32_t k = 0; k < table->counters_used; ++k) {
            const nprm_stats_counter found = counter[i * table->counters_per_entry + k];
            if (found.count[0] != 0 || found.count[1] != 0)
                printf("%6lu  %-46s %20" PRIu64 " %20" PRIu64 "\n", first + i, nprm_class_stat_str[k], found.count[0],
                       found.count[1]);
        }
    free(data);
    return 0;
}
