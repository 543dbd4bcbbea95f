/* TCAM (component 7): value-mask-result lists and their entries.
 *
 * One layout serves every operation, both ways.  The first two records are the operation's head; each further record is one
 * entry.  Operations without entries have 2 records, the look-ups 3, the bulk operations 2 + entries of this message.
 *
 *   operation                         request, beside the head                                reply, beside the result
 *    0 create list                    nr_entry = the list's size                              vmr_id
 *    1 delete list                    vmr_id
 *    2 space                                                                                  nr_entry = free entries
 *    3 insert ACL entries             vmr_id, position, nr_entry, entries
 *    4 read ACL entries               vmr_id, position, nr_entry, room for the entries        entries
 *    5 write ACL entries              as insert
 *    6 insert policy entries          as insert
 *    7 read policy entries            as read                                                 entries
 *    8 write policy entries           as insert
 *    9 delete entries                 vmr_id, position, nr_entry
 *   10 look up in an ACL list         vmr_id, nr_entry = 1, the key of entry 0                the result of entry 0
 *   11 look up in a policy list       vmr_id, nr_entry = 1, the key of entry 0                the result of entry 0
 *
 * A bulk operation of more entries than a message holds goes out as several: nr_entry is the whole operation's count in each
 * of them, start_index tells where this message's entries begin.  The position is the whole operation's in writes and inserts
 * (the server adds start_index) and this message's own in reads. */
#ifndef NPRM_TCAM_WIRE_H
#define NPRM_TCAM_WIRE_H

#include "nprm_message.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum nprm_tcam_operation {
    NPRM_TCAM_CREATE_LIST = 0,
    NPRM_TCAM_DELETE_LIST = 1,
    NPRM_TCAM_SPACE = 2,
    NPRM_TCAM_INSERT_ACL = 3,
    NPRM_TCAM_READ_ACL = 4,
    NPRM_TCAM_WRITE_ACL = 5,
    NPRM_TCAM_INSERT_POLICY = 6,
    NPRM_TCAM_READ_POLICY = 7,
    NPRM_TCAM_WRITE_POLICY = 8,
    NPRM_TCAM_DELETE_ENTRIES = 9,
    NPRM_TCAM_LOOKUP_ACL = 10,
    NPRM_TCAM_LOOKUP_POLICY = 11
} nprm_tcam_operation;

enum {
    NPRM_TCAM_HEAD_UNITS = 2,
    NPRM_TCAM_ENTRIES_MAX = 1282 /* a message: 65,492 bytes */
};

/* Key and mask of an ACL entry.  The library gives the fields no meaning; they are named by width and offset. */
typedef struct nprm_tcam_acl_key {
    uint8_t u8_0;    /*  0 */
    uint8_t u8_1;    /*  1 */
    uint16_t u16_2;  /*  2 */
    uint16_t u16_4;  /*  4 */
    uint32_t u32_6;  /*  6 */
    uint32_t u32_10; /* 10 */
} NPRM_PACKED nprm_tcam_acl_key;
NPRM_WIRE(nprm_tcam_acl_key, 14);
NPRM_AT(nprm_tcam_acl_key, u16_2, 2);
NPRM_AT(nprm_tcam_acl_key, u16_4, 4);
NPRM_AT(nprm_tcam_acl_key, u32_6, 6);
NPRM_AT(nprm_tcam_acl_key, u32_10, 10);

/* Result of an ACL entry: nine one-bit flags in the low bits of four bytes, and two words.  Only the flag bits are written. */
typedef struct nprm_tcam_acl_result {
    uint8_t flags[4]; /*  0  bits 0-2, 0-1, 0-2 and 0 */
    uint32_t u32_4;   /*  4 */
    uint32_t u32_8;   /*  8 */
} NPRM_PACKED nprm_tcam_acl_result;
NPRM_WIRE(nprm_tcam_acl_result, 12);
NPRM_AT(nprm_tcam_acl_result, u32_4, 4);
NPRM_AT(nprm_tcam_acl_result, u32_8, 8);

/* Key and mask of a policy entry. */
typedef struct nprm_tcam_policy_key {
    uint8_t bits_0;     /*  0  a five-bit field, then three one-bit flags */
    uint8_t bytes_1[6]; /*  1 */
    uint16_t u16_7;     /*  7 */
    uint32_t u32_9;     /*  9 */
    uint32_t u32_13;    /* 13 */
} NPRM_PACKED nprm_tcam_policy_key;
NPRM_WIRE(nprm_tcam_policy_key, 17);
NPRM_AT(nprm_tcam_policy_key, bytes_1, 1);
NPRM_AT(nprm_tcam_policy_key, u16_7, 7);
NPRM_AT(nprm_tcam_policy_key, u32_9, 9);
NPRM_AT(nprm_tcam_policy_key, u32_13, 13);

typedef struct nprm_tcam_policy_result {
    uint16_t u16_0;     /*  0 */
    uint8_t bytes_2[6]; /*  2 */
    uint32_t u32_8;     /*  8 */
    uint32_t u32_12;    /* 12 */
    uint8_t u8_16;      /* 16 */
} NPRM_PACKED nprm_tcam_policy_result;
NPRM_WIRE(nprm_tcam_policy_result, 17);
NPRM_AT(nprm_tcam_policy_result, bytes_2, 2);
NPRM_AT(nprm_tcam_policy_result, u32_8, 8);
NPRM_AT(nprm_tcam_policy_result, u32_12, 12);
NPRM_AT(nprm_tcam_policy_result, u8_16, 16);

typedef struct nprm_tcam_acl_entry {
    nprm_tcam_acl_key key;       /*  0 */
    nprm_tcam_acl_key mask;      /* 14 */
    nprm_tcam_acl_result result; /* 28 */
    uint8_t unused_40[11];
} NPRM_PACKED nprm_tcam_acl_entry;
NPRM_WIRE(nprm_tcam_acl_entry, 51);
NPRM_AT(nprm_tcam_acl_entry, mask, 14);
NPRM_AT(nprm_tcam_acl_entry, result, 28);

typedef struct nprm_tcam_policy_entry {
    nprm_tcam_policy_key key;       /*  0 */
    nprm_tcam_policy_key mask;      /* 17 */
    nprm_tcam_policy_result result; /* 34 */
} NPRM_PACKED nprm_tcam_policy_entry;
NPRM_WIRE(nprm_tcam_policy_entry, 51);
NPRM_AT(nprm_tcam_policy_entry, mask, 17);
NPRM_AT(nprm_tcam_policy_entry, result, 34);

/* The first record: the outcome, and this message's place in its operation. */
typedef struct nprm_tcam_progress_record {
    uint32_t result;      /*  0  written by the server */
    uint32_t start_index; /*  4  this message's first entry within the operation */
    uint8_t first;        /*  8  1 on the operation's first message */
    uint8_t last;         /*  9  1 on its last */
    uint8_t unset_10[41];
} NPRM_PACKED nprm_tcam_progress_record;
NPRM_WIRE(nprm_tcam_progress_record, 51);
NPRM_AT(nprm_tcam_progress_record, start_index, 4);
NPRM_AT(nprm_tcam_progress_record, first, 8);
NPRM_AT(nprm_tcam_progress_record, last, 9);

/* The second record: which list, how many entries, where. */
typedef struct nprm_tcam_list_record {
    uint8_t vmr_id;    /*  0 */
    uint32_t nr_entry; /*  1  the whole operation's; the list's size in create; the free entries in the reply of space */
    uint16_t position; /*  5 */
    uint8_t unset_7[44];
} NPRM_PACKED nprm_tcam_list_record;
NPRM_WIRE(nprm_tcam_list_record, 51);
NPRM_AT(nprm_tcam_list_record, nr_entry, 1);
NPRM_AT(nprm_tcam_list_record, position, 5);

typedef union nprm_tcam_entry {
    nprm_tcam_acl_entry acl;
    nprm_tcam_policy_entry policy;
} nprm_tcam_entry;
NPRM_WIRE(nprm_tcam_entry, 51);

typedef struct nprm_tcam_message {
    nprm_message_header header;                   /*   0 */
    nprm_tcam_progress_record progress;           /*   8 */
    nprm_tcam_list_record list;                   /*  59 */
    nprm_tcam_entry entry[NPRM_TCAM_ENTRIES_MAX]; /* 110 */
} NPRM_PACKED nprm_tcam_message;
NPRM_WIRE(nprm_tcam_message, 65492);
NPRM_AT(nprm_tcam_message, progress, 8);
NPRM_AT(nprm_tcam_message, list, 59);
NPRM_AT(nprm_tcam_message, entry, 110);
NPRM_STATIC_ASSERT(sizeof(nprm_tcam_entry) == NPRM_RECORD_BYTES_TCAM, "entries are records");

#ifdef __cplusplus
}
#endif

#endif
