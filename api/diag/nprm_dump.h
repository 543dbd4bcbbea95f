/* Text for what a support engineer captures: flow-debug records, TCAM entries, port configuration SRAM.
 *
 * Formatters write to text, at most room bytes with the terminator, and return the length of the whole text: it was cut when that
 * is room or more.  With a room of 0 text may be null.   Threads: any, but for those that ask the server (nprm.h (5)). */
#ifndef NPRM_DUMP_H
#define NPRM_DUMP_H

#include "../frame/nprm_result.h"

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A flow-debug list is made of records, each a type, a length and as many bytes of value, in the host's byte order; a record begins
 * at a multiple of 4.  Type 0 or the end of the area ends the list. */
typedef struct nprm_flow_tlv_header {
    uint16_t type;
    uint16_t length; /* of the value */
} nprm_flow_tlv_header;

typedef enum nprm_flow_tlv_type {
    NPRM_FLOW_TLV_END = 0,
    NPRM_FLOW_TLV_KEY = 1,             /* a flow key: entry type 19 */
    NPRM_FLOW_TLV_RESULT = 2,          /* a flow result: entry type 20 */
    NPRM_FLOW_TLV_STATE_CHANGE = 3,    /* uint8_t from, uint8_t to, uint16_t event */
    NPRM_FLOW_TLV_CLASS_STATISTIC = 4, /* uint32_t index into nprm_class_stat_str */
    NPRM_FLOW_TLV_SERVICE_NODE = 5,    /* uint8_t id */
    NPRM_FLOW_TLV_NODE_GROUP = 6,      /* uint16_t id */
    NPRM_FLOW_TLV_TEXT = 7             /* characters, with or without terminator */
} nprm_flow_tlv_type;

enum { NPRM_FLOW_KEY_BYTES = 13, NPRM_FLOW_RESULT_BYTES = 26 };

/* Format a flow's key and its result.   key, result: entries of types 19 and 20, as long as those; null has a text of its own
 * The result's service node is asked for at the server (one exchange) when the result names a valid one. */
NPRM_API uint32_t nprm_format_flow_key(const void *key, char *text, uint32_t room);
NPRM_API uint32_t nprm_format_flow_result(const void *result, char *text, uint32_t room);

/* Writes a flow's key and result to a stream.   kind: 2; of other kinds nothing is written
 * Returns the bytes written.   Blocks: as nprm_format_flow_result(). */
NPRM_API uint32_t nprm_decode_entry(uint32_t kind, const void *key, const void *result, FILE *stream);

/* Formats the first record of a list, without asking the server.   tlv: size bytes
 * Returns the bytes to the next record (at most size), 0 at the list's end.   A text longer than room is cut. */
NPRM_API uint32_t nprm_format_debug_tlv(const void *tlv, uint32_t size, char *text, uint32_t room);

/* Writes all records of a list to a stream, each on lines of its own; service nodes and their groups with what the server tells.
 * Returns the bytes written.   Blocks: one exchange for each flow result, node and group. */
NPRM_API uint32_t nprm_decode_flow_tlv(const void *tlv, uint32_t size, FILE *stream);

/* The name of a flow-debug record's type; "INVALID" for a code that has none. */
NPRM_API const char *nprm_get_punt_reason(uint32_t code);

/* Dumps TCAM entries to the log, one message an entry.   tag: has no effect
 *   k: bytes of a value and of a mask;   r: bytes of a result
 *   arrays: for each entry its value and its mask (2 * k bytes), and for each entry its result (r bytes) */
NPRM_API void nprm_tcam_vmr_data(int tag, uint16_t count, uint32_t k, uint32_t r, const uint8_t *arrays[2]);

/* Prints a port's SRAM image of nprm_get_config_sram_sz() bytes to a stream; the heading of its fields goes to standard output.
 * Returns what the last write returned: '\n', or EOF; for a null image 17, the length of "Invalid parameter". */
NPRM_API int nprm_decode_pc_sram(int port, const uint8_t *sram, FILE *stream);

#ifdef __cplusplus
}
#endif

#endif
