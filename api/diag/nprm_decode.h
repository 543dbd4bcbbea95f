/* Configuration blobs and hardware-table entries: building blobs, and printing both field by field.
 *
 * A blob is a list of entries, each three words (type, addr, length in words) and its data, in the host's byte order; a type word
 * of 0 ends it.  It has at most 65,536 bytes, that word included.
 *
 * A printer writes a title, a heading and then one line a field: name, width in bits, value in hexadecimal and decimal.  Each line
 * goes, behind a newline,
 *   text: to the end of the text that stands there, if not null.  The caller's, terminated, with room for all that is printed:
 *         (NPRM_ENTRY_TEXT_BYTES_MAX for each entry suffice)
 *   file: to the stream, if not null
 *   echo: to standard output, flushed, if not 0
 * and to the log while nprm_syslog_flag has one of its low 28 bits.
 *
 * nprm_entry_layout.h has the same fields as data.
 *
 * Blocks: as the streams and the log do.   Threads: any, with outputs of their own. */
#ifndef NPRM_DECODE_H
#define NPRM_DECODE_H

#include "../frame/nprm_result.h"

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum nprm_entry_type {
    NPRM_ENTRY_END = 0,
    NPRM_ENTRY_PORT_CONFIG_RAM = 1,
    NPRM_ENTRY_SILENT = 2, /* accepted, prints nothing */
    NPRM_ENTRY_INGRESS_UIDB = 3,
    NPRM_ENTRY_EGRESS_UIDB = 4,
    NPRM_ENTRY_PORT_TABLE = 5,
    NPRM_ENTRY_TCAM_KEY = 6,
    NPRM_ENTRY_TCAM_MASK = 7,
    NPRM_ENTRY_HOST_RESULT = 8,
    NPRM_ENTRY_IF_ENCAP = 9,
    NPRM_ENTRY_LAG_GROUP = 10,
    NPRM_ENTRY_FIB = 11,
    NPRM_ENTRY_VEMO = 12,
    NPRM_ENTRY_ENCAP = 13,
    NPRM_ENTRY_ACTION = 14,
    NPRM_ENTRY_SNG_DIST = 15,
    NPRM_ENTRY_PARSE_DIST_LIST = 16,
    NPRM_ENTRY_RESOLVE_DIST_LIST = 17,
    NPRM_ENTRY_FLOW_DEBUG = 18,
    NPRM_ENTRY_FLOW_KEY = 19,
    NPRM_ENTRY_FLOW_DATA = 20,
    NPRM_ENTRY_FIB_KEY = 21,
    NPRM_ENTRY_FIB_DATA = 22,
    NPRM_ENTRY_PORT_CONFIG = 23,
    NPRM_ENTRY_PORT_STATUS = 24
} nprm_entry_type;

enum {
    NPRM_BLOB_BYTES_MAX = 65536,
    NPRM_BLOB_HEADER_BYTES = 12, /* an entry's three words before its data */
    NPRM_ENTRY_TYPE_MAX = 24,
    NPRM_ENTRY_TEXT_BYTES_MAX = 13312 /* what one entry prints, at most: a LAG group of 255 members */
};

/* Appends an entry to a blob, at byte *used, and adds its bytes to *used.  The caller writes the type word 0 that ends the blob.
 *   len_bytes: of data; the entry's words are filled up with zeros;   blob: 65,536 bytes
 * Returns 1; 0 when the entry does not fit, or for a null argument: blob and *used stay as they were. */
NPRM_API int nprm_encode_config(uint32_t type, uint32_t addr, uint32_t len_bytes, const void *data, uint8_t *blob, uint32_t *used);

/* Why a walk through a blob has come to its end. */
typedef enum nprm_config_end {
    NPRM_CONFIG_GOES_ON = 0,
    NPRM_CONFIG_TERMINATED = 1, /* at a type word of 0 */
    NPRM_CONFIG_FULL = 2,       /* the last entry ends where the blob does */
    NPRM_CONFIG_CUT_HEADER = 3, /* the blob ends inside an entry's three words */
    NPRM_CONFIG_CUT_DATA = 4    /* the blob ends before the data that an entry's length claims */
} nprm_config_end;

/* An entry of a blob, and the place of a walk through it. */
typedef struct nprm_config_entry {
    uint32_t type;
    uint32_t addr;
    uint32_t words;
    uint32_t offset;     /* in the blob: of the entry, or where the walk has ended */
    const uint8_t *data; /* words * 4 bytes inside the blob; null at the end */
    uint32_t end;        /* an nprm_config_end */
} nprm_config_entry;

/* Steps to the next entry of a blob of `bytes` bytes, of any alignment.   entry: zeros before the first step, then as it was left
 * Returns 1 for an entry, which lies whole inside the blob; 0 at the end and for a null argument: entry->end tells why, type, addr
 * and words what the header says, as far as there is one. */
NPRM_API int nprm_next_config_entry(const void *blob, uint32_t bytes, nprm_config_entry *entry);

/* Print all entries of a blob, then a newline on standard output; the second without file and text, with echo.
 *   blob: readable up to its type word 0, or for 65,536 bytes; a null one counts as one that holds nothing
 * An entry of an unknown type is logged and skipped, but as the first entry it ends the printing.  An entry that runs past the
 * blob's 65,536 bytes is logged and ends the printing; bytes that an entry lacks print as 0.
 * Returns 0 when the last entry was printed; 1 when the first could not be, so also for a blob that holds nothing. */
NPRM_API int nprm_decode_config_to_file(FILE *file, uint8_t echo, char *text, const uint32_t *blob);
NPRM_API int nprm_decode_config(const uint32_t *blob);

/* The printers of the entry types, in their order; type 2 has none.   addr: the entry's place in its table, for the title
 *   data: the entry, as long as its layout; a LAG group as long as its members, at most 204 bytes
 * Returns 0; 1 for a null entry, with nothing printed. */
NPRM_API int decode_pcsram(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_ing_uidb(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_egr_uidb(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_port_table(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_host_key(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_tcam_mask(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_host_result(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_if_encap(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_lag(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_fib(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_vemo(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_encap(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_action(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_sng_dist(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_prs_cfg_dist_list(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_res_cfg_dist_list(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_cfg_flow_debug(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_cfg_flow_tbl_key(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_cfg_flow_tbl_data(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_cfg_fib_tbl_key(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_cfg_fib_tbl_data(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_ethmon_cfg(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);
NPRM_API int decode_ethmon_portstatus(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);

#ifdef __cplusplus
}
#endif

#endif
