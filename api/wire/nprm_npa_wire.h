/* NPA (component 5): access to the network processor: hardware tables, registers, traffic manager, port SRAM.
 *
 * Every request is one record.  Offsets in the margins are the record's; the message has 8 bytes before it.
 *
 *   operation                    request, beside the header          reply, beside the result
 *    0 table summary             table_id                            descriptor, geometry, summary
 *    1 get table entries         table_id, selector_1, selector_2    descriptor, geometry, entries, the entries behind the record
 *    2 search a table            table_id, selector_1, key           as get
 *    3 look up in a table        table_id, key                       as get
 *    4 registers                 first, count                        count, the values from the record's byte 12 on
 *    5 TM queue depth            selector = queue                    4 values
 *    6 TM global statistics      selector = 0                        5 values
 *    7 port SRAM                 selector = port                     16 bytes of image
 *    8 crash-dump information    selector                            only the result
 *    9 capture the search        text                                only the result
 *      engine's configuration
 *
 * Replies of the operations 1 to 3 are 796 + 204 * entries bytes long, of operation 4 they are 796 + 4 * count.  The register
 * values begin inside the record and run on behind it; the server has it so. */
#ifndef NPRM_NPA_WIRE_H
#define NPRM_NPA_WIRE_H

#include "nprm_message.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum nprm_npa_operation {
    NPRM_NPA_TABLE_SUMMARY = 0,
    NPRM_NPA_TABLE_GET = 1,
    NPRM_NPA_TABLE_SEARCH = 2,
    NPRM_NPA_TABLE_LOOKUP = 3,
    NPRM_NPA_REGISTERS = 4,
    NPRM_NPA_TM_QUEUE_DEPTH = 5,
    NPRM_NPA_TM_GLOBAL_STATS = 6,
    NPRM_NPA_CONFIG_SRAM = 7,
    NPRM_NPA_CRASH_DUMP_INFO = 8,
    NPRM_NPA_CAPTURE_SE_CONFIG = 9
} nprm_npa_operation;

enum {
    NPRM_HW_ENTRY_BYTES = 204,
    NPRM_HW_ENTRIES_MAX = 317, /* a message: 65,464 bytes */
    NPRM_HW_KEY_BYTES = 97,
    NPRM_HW_NAME_BYTES = 80,
    NPRM_HW_SUMMARY_BYTES = 528,
    NPRM_NPA_TEXT_BYTES = 780,     /* with its terminator */
    NPRM_NP_REGISTERS_MAX = 16379, /* a message: all of its 65,536 bytes */
    NPRM_PORT_SRAM_BYTES = 16,
    NPRM_TM_QUEUE_DEPTH_WORDS = 4,
    NPRM_TM_GLOBAL_STATS_WORDS = 5
};

typedef struct nprm_npa_descriptor {
    uint32_t table_id;             /*  0 */
    uint32_t word_1;               /*  4 */
    uint32_t word_2;               /*  8 */
    char name[NPRM_HW_NAME_BYTES]; /* 12  the receiver does not rely on a terminator */
} NPRM_PACKED nprm_npa_descriptor;
NPRM_WIRE(nprm_npa_descriptor, 92);
NPRM_AT(nprm_npa_descriptor, word_1, 4);
NPRM_AT(nprm_npa_descriptor, name, 12);

/* The library hands words 1, 4 and 5 on and passes the others by. */
typedef struct nprm_npa_geometry {
    uint32_t word[12]; /*  0 */
} NPRM_PACKED nprm_npa_geometry;
NPRM_WIRE(nprm_npa_geometry, 48);

typedef struct nprm_npa_summary_record {
    uint32_t result;                        /*   0  written by the server */
    nprm_npa_descriptor descriptor;         /*   4  of the request: only table_id */
    nprm_npa_geometry geometry;             /*  96 */
    uint8_t summary[NPRM_HW_SUMMARY_BYTES]; /* 144 */
    uint8_t unset_672[116];
} NPRM_PACKED nprm_npa_summary_record;
NPRM_WIRE(nprm_npa_summary_record, 788);
NPRM_AT(nprm_npa_summary_record, descriptor, 4);
NPRM_AT(nprm_npa_summary_record, geometry, 96);
NPRM_AT(nprm_npa_summary_record, summary, 144);

typedef struct nprm_npa_table_record {
    uint32_t result;     /*   0  written by the server */
    uint32_t selector_1; /*   4 */
    uint32_t selector_2; /*   8 */
    uint32_t entries;    /*  12  written by the server: those that follow the record */
    uint8_t unset_16[4];
    char key[NPRM_HW_KEY_BYTES];    /*  20  text; one of 97 bytes or more has no terminator */
    nprm_npa_descriptor descriptor; /* 117  of the request: only table_id */
    nprm_npa_geometry geometry;     /* 209  written by the server */
    uint8_t unset_257[531];
} NPRM_PACKED nprm_npa_table_record;
NPRM_WIRE(nprm_npa_table_record, 788);
NPRM_AT(nprm_npa_table_record, selector_1, 4);
NPRM_AT(nprm_npa_table_record, selector_2, 8);
NPRM_AT(nprm_npa_table_record, entries, 12);
NPRM_AT(nprm_npa_table_record, key, 20);
NPRM_AT(nprm_npa_table_record, descriptor, 117);
NPRM_AT(nprm_npa_table_record, geometry, 209);

typedef struct nprm_npa_selector_record {
    uint32_t result;   /*   0  written by the server */
    uint32_t selector; /*   4 */
    union {            /*   8  written by the server */
        uint32_t queue_depth[NPRM_TM_QUEUE_DEPTH_WORDS];
        uint32_t global_stats[NPRM_TM_GLOBAL_STATS_WORDS];
        uint8_t image[NPRM_PORT_SRAM_BYTES];
    } NPRM_PACKED value;
    uint8_t unset_28[760];
} NPRM_PACKED nprm_npa_selector_record;
NPRM_WIRE(nprm_npa_selector_record, 788);
NPRM_AT(nprm_npa_selector_record, selector, 4);
NPRM_AT(nprm_npa_selector_record, value, 8);

typedef struct nprm_npa_text_record {
    uint32_t result;                /*   0  written by the server */
    char text[NPRM_NPA_TEXT_BYTES]; /*   4  terminated */
    uint8_t unset_784[4];
} NPRM_PACKED nprm_npa_text_record;
NPRM_WIRE(nprm_npa_text_record, 788);
NPRM_AT(nprm_npa_text_record, text, 4);

typedef struct nprm_hw_entry {
    uint32_t word[51]; /*   0  as the hardware has it; the layout is the table's */
} NPRM_PACKED nprm_hw_entry;
NPRM_WIRE(nprm_hw_entry, NPRM_HW_ENTRY_BYTES);

typedef struct nprm_npa_summary_message {
    nprm_message_header header;     /*   0 */
    nprm_npa_summary_record record; /*   8 */
} NPRM_PACKED nprm_npa_summary_message;
NPRM_WIRE(nprm_npa_summary_message, 796);

typedef struct nprm_npa_table_message {
    nprm_message_header header;               /*   0 */
    nprm_npa_table_record record;             /*   8 */
    nprm_hw_entry entry[NPRM_HW_ENTRIES_MAX]; /* 796  of replies */
} NPRM_PACKED nprm_npa_table_message;
NPRM_WIRE(nprm_npa_table_message, 65464);
NPRM_AT(nprm_npa_table_message, entry, 796);

typedef struct nprm_npa_register_message {
    nprm_message_header header;            /*   0 */
    uint32_t result;                       /*   8  written by the server */
    uint32_t first;                        /*  12 */
    uint32_t count;                        /*  16  of the reply: the values that follow */
    uint32_t value[NPRM_NP_REGISTERS_MAX]; /*  20  of replies */
} NPRM_PACKED nprm_npa_register_message;
NPRM_WIRE(nprm_npa_register_message, NPRM_MESSAGE_BYTES_MAX);
NPRM_AT(nprm_npa_register_message, first, 12);
NPRM_AT(nprm_npa_register_message, count, 16);
NPRM_AT(nprm_npa_register_message, value, 20);

typedef struct nprm_npa_selector_message {
    nprm_message_header header;      /*   0 */
    nprm_npa_selector_record record; /*   8 */
} NPRM_PACKED nprm_npa_selector_message;
NPRM_WIRE(nprm_npa_selector_message, 796);

typedef struct nprm_npa_text_message {
    nprm_message_header header;  /*   0 */
    nprm_npa_text_record record; /*   8 */
} NPRM_PACKED nprm_npa_text_message;
NPRM_WIRE(nprm_npa_text_message, 796);
NPRM_STATIC_ASSERT(sizeof(nprm_npa_text_message) == sizeof(nprm_message_header) + NPRM_RECORD_BYTES_NPA, "one record a request");

#ifdef __cplusplus
}
#endif

#endif
