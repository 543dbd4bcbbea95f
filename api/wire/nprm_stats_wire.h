/* STATS (component 6): the card's counters.
 *
 * A request is always one record.  A reply is as long as what it brings: its third word is the status, other than 0 for success,
 * and its data begin at offset 16.
 *
 *   operation             request, beside the header                 reply, beside the status
 *    0 table              all of it                                  the ids (allocate); the counters (reads of tables 0 to 6)
 *    1 get monitor        nothing                                    39 words
 *    2 clear monitor      nothing
 *    3 clear all          nothing
 *
 * An operation on a table with more entries than a request holds goes out as several.  Tables 7 to 16 lie in the shared segment,
 * where clients read and clear them without the server. */
#ifndef NPRM_STATS_WIRE_H
#define NPRM_STATS_WIRE_H

#include "nprm_message.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum nprm_stats_operation {
    NPRM_STATS_TABLE = 0,
    NPRM_STATS_GET_MONITOR = 1,
    NPRM_STATS_CLEAR_MONITOR = 2,
    NPRM_STATS_CLEAR_ALL = 3
} nprm_stats_operation;

/* What operation 0 does with the table. */
typedef enum nprm_stats_table_operation {
    NPRM_STATS_ALLOCATE = 0, /* the server chooses the entries */
    NPRM_STATS_SERVER = 1,   /* between caller and server; the library does nothing with it */
    NPRM_STATS_READ = 2,
    NPRM_STATS_WRITE = 3,
    NPRM_STATS_CLEAR = 4,
    NPRM_STATS_READ_CLEAR = 5
} nprm_stats_table_operation;

enum {
    NPRM_STATS_IDS_MAX = 480,      /* a request */
    NPRM_STATS_COUNTERS_MAX = 480, /* a request */
    NPRM_STATS_MONITOR_WORDS = 39,
    NPRM_STATS_REPLY_COUNTERS_MAX = 4095 /* a reply of 65,536 bytes */
};

/* A counter slot, in messages and in the shared segment. */
typedef struct nprm_stats_counter {
    uint64_t count[2];
} NPRM_PACKED nprm_stats_counter;
NPRM_WIRE(nprm_stats_counter, 16);

typedef struct nprm_stats_record {
    uint32_t table;                                      /*    0 */
    uint32_t operation;                                  /*    4  nprm_stats_table_operation */
    uint32_t count;                                      /*    8  ids of this message */
    uint32_t id[NPRM_STATS_IDS_MAX];                     /*   12  entries of the table */
    nprm_stats_counter counter[NPRM_STATS_COUNTERS_MAX]; /* 1932  slot c of id i at i times the table's slots an entry, plus c */
} NPRM_PACKED nprm_stats_record;
NPRM_WIRE(nprm_stats_record, 9612);
NPRM_AT(nprm_stats_record, operation, 4);
NPRM_AT(nprm_stats_record, count, 8);
NPRM_AT(nprm_stats_record, id, 12);
NPRM_AT(nprm_stats_record, counter, 1932);
NPRM_STATIC_ASSERT(sizeof(nprm_stats_record) == NPRM_RECORD_BYTES_STATS, "one record a request");

typedef struct nprm_stats_message {
    nprm_message_header header; /*    0 */
    nprm_stats_record record;   /*    8 */
} NPRM_PACKED nprm_stats_message;
NPRM_WIRE(nprm_stats_message, 9620);
NPRM_AT(nprm_stats_message, record, 8);

typedef struct nprm_stats_reply {
    nprm_message_header header; /*    0 */
    uint32_t status;            /*    8  other than 0: done */
    uint32_t unset_12;          /*   12 */
    union {                     /*   16  as much of it as the operation brings */
        uint32_t monitor[NPRM_STATS_MONITOR_WORDS];
        uint32_t id[NPRM_STATS_IDS_MAX];
        nprm_stats_counter counter[NPRM_STATS_REPLY_COUNTERS_MAX];
    } NPRM_PACKED data;
} NPRM_PACKED nprm_stats_reply;
NPRM_WIRE(nprm_stats_reply, 65536);
NPRM_AT(nprm_stats_reply, status, 8);
NPRM_AT(nprm_stats_reply, data, 16);

#ifdef __cplusplus
}
#endif

#endif
