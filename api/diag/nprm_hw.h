/* What the hardware holds, read through the server: tables, registers, traffic manager, port SRAM; and the server's debug facility.
 *
 * Entries and images are raw; nprm_decode.h and nprm_dump.h print them.
 *
 * Returns (all): NPRM_OK; the code of a request that could not be made or carried; the server's code; NPRM_ERROR_PARAM for a null
 * argument (nothing is sent); NPRM_ERROR when a reply lacks what it should carry.
 * Blocks: 75 receive attempts.   Threads: nprm.h (5). */
#ifndef NPRM_HW_H
#define NPRM_HW_H

#include "../frame/nprm_result.h"
#include "../wire/nprm_npa_wire.h"
#include "../wire/nprm_npdebug_wire.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A hardware table, as asked for (in) and as answered (out). */
typedef struct hw_table_info {
    uint32_t table_id;                      /* in; out: as the server echoes it */
    uint32_t sel1;                          /* in, get only */
    uint32_t sel2;                          /* in, get only */
    uint32_t geom5;                         /* out: a word of the table's geometry, as the server has it */
    uint32_t geom4;                         /* out, the same */
    uint32_t desc1;                         /* out: a word of the table's descriptor, as the server has it */
    uint32_t desc2;                         /* out, the same */
    uint32_t geom1;                         /* out: of the geometry again */
    uint32_t num_entries;                   /* out, get, search and look-up only */
    char name[NPRM_HW_NAME_BYTES];          /* out, always terminated */
    uint8_t summary[NPRM_HW_SUMMARY_BYTES]; /* out, summary only */
    uint32_t search_arg;                    /* in, search only */
    const char *key;                        /* in, search and look-up only; 97 bytes of it are sent at most */
} hw_table_info;

/* Describes a table.   info: in table_id; out all but num_entries, on NPRM_OK. */
NPRM_API uint32_t get_hw_table_summary(hw_table_info *info);

/* Read entries of a table: a range, those that a search finds, the one that a key has.   info: out all but summary, on NPRM_OK.
 *   entries: out info->num_entries entries of 204 bytes each; the caller releases them with free()
 * Returns NPRM_ERROR_MALLOC as well, with null in *entries.   Owns: takes the buffer from the heap. */
NPRM_API uint32_t get_hw_table_data(hw_table_info *info, uint8_t **entries);
NPRM_API uint32_t search_hw_table_data(hw_table_info *info, uint8_t **entries);
NPRM_API uint32_t lookup_hw_table_data(hw_table_info *info, uint8_t **entries);

/* Reads n registers from register `first` on.   values: out n values; the caller releases them with free()
 * Returns NPRM_ERROR_MALLOC as well, and NPRM_ERROR when fewer come than were asked for.   Owns: takes the buffer from the heap. */
NPRM_API uint32_t nprm_get_np_registers(uint32_t first, uint32_t n, uint32_t **values);

/* Read the traffic manager: the depth of a queue, and its global statistics.  (The second name is spelled so.) */
NPRM_API uint32_t nprm_get_tm_queue_depth(uint32_t queue, uint32_t out[NPRM_TM_QUEUE_DEPTH_WORDS]);
NPRM_API uint32_t nprm_get_tm_gloabl_stats(uint32_t out[NPRM_TM_GLOBAL_STATS_WORDS]);

/* Reads a port's configuration SRAM.   out: nprm_get_config_sram_sz() bytes; nprm_decode_pc_sram() prints them. */
NPRM_API uint32_t nprm_get_config_sram(uint32_t port, uint8_t *out);

/* Have the server write crash-dump information, and capture the search engine's configuration.   text: at most 779 characters
 * Returns NPRM_ERROR_MALLOC when no request could be made, whatever the reason; a longer text is NPRM_ERROR_PARAM. */
NPRM_API uint32_t nprm_request_crash_dump_info(uint32_t arg);
NPRM_API uint32_t nprm_capture_se_config(const char *text);

/* Start the server's debug facility, and ask it.   cmd: 292 bytes, sent as they are
 * Returns NPRM_ERROR_MALLOC when no request could be made, whatever the reason. */
NPRM_API uint32_t nprm_npdbg_init(const uint32_t cmd[NPRM_NPDEBUG_COMMAND_WORDS], uint32_t out[NPRM_NPDEBUG_ANSWER_WORDS]);
NPRM_API uint32_t nprm_npdbg_request(const uint32_t cmd[NPRM_NPDEBUG_COMMAND_WORDS], uint32_t out[NPRM_NPDEBUG_ANSWER_WORDS]);

#ifdef __cplusplus
}
#endif

#endif
