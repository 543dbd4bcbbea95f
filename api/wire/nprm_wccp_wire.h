/* WCCP (component 9): WCCP entries and their MTU.
 *
 *   operation       request                                            reply, beside the result
 *    0 entries      an object a record: sub-operation, id, entry       of sub-operation 1: entry
 *    1 set MTU      one record: the MTU
 *
 * Of a request the first word of each record is the sub-operation, of a reply it is the record's result.  Sub-operation 1 reads. */
#ifndef NPRM_WCCP_WIRE_H
#define NPRM_WCCP_WIRE_H

#include "nprm_message.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum nprm_wccp_operation { NPRM_WCCP_ENTRY = 0, NPRM_WCCP_SET_MTU = 1 } nprm_wccp_operation;

enum {
    NPRM_WCCP_READ = 1,         /* the sub-operation that reads */
    NPRM_WCCP_UNITS_MAX = 1638, /* a message: 65,528 bytes */
    NPRM_WCCP_MAC_BYTES = 6,
    /* What an entry's addresses are.  The first of these flags that is set counts; without any, there are none. */
    NPRM_WCCP_MAC_FLAG = 8,  /* address_a is 6 bytes of MAC, address_b is none */
    NPRM_WCCP_IPV4_FLAG = 2, /* 4 bytes each: host-order integers */
    NPRM_WCCP_IPV6_FLAG = 4  /* 16 bytes each */
};

typedef struct nprm_wccp_entry {
    uint8_t flags;         /*  0 */
    uint8_t address_a[16]; /*  1 */
    uint8_t address_b[16]; /* 17 */
} NPRM_PACKED nprm_wccp_entry;
NPRM_WIRE(nprm_wccp_entry, 33);
NPRM_AT(nprm_wccp_entry, address_a, 1);
NPRM_AT(nprm_wccp_entry, address_b, 17);

typedef struct nprm_wccp_entry_record {
    uint32_t result;       /*  0  of requests: the sub-operation */
    uint8_t id;            /*  4 */
    nprm_wccp_entry entry; /*  5 */
    uint8_t unset_38[2];
} NPRM_PACKED nprm_wccp_entry_record;
NPRM_WIRE(nprm_wccp_entry_record, 40);
NPRM_AT(nprm_wccp_entry_record, id, 4);
NPRM_AT(nprm_wccp_entry_record, entry, 5);

typedef struct nprm_wccp_mtu_record {
    uint32_t mtu; /*  0  of the reply: the result */
    uint8_t unset_4[36];
} NPRM_PACKED nprm_wccp_mtu_record;
NPRM_WIRE(nprm_wccp_mtu_record, 40);

typedef struct nprm_wccp_entry_message {
    nprm_message_header header;                         /* 0 */
    nprm_wccp_entry_record record[NPRM_WCCP_UNITS_MAX]; /* 8 */
} NPRM_PACKED nprm_wccp_entry_message;
NPRM_WIRE(nprm_wccp_entry_message, 65528);

typedef struct nprm_wccp_mtu_message {
    nprm_message_header header;  /* 0 */
    nprm_wccp_mtu_record record; /* 8 */
} NPRM_PACKED nprm_wccp_mtu_message;
NPRM_WIRE(nprm_wccp_mtu_message, 48);
NPRM_STATIC_ASSERT(sizeof(nprm_wccp_entry_record) == NPRM_RECORD_BYTES_WCCP, "records are the component's");

#ifdef __cplusplus
}
#endif

#endif
