/* CMM (component 0): service contexts and groups of them.
 *
 *   operation              request                                              reply, beside the result
 *    0 service contexts    an object a record: sub-operation, id, context       of sub-operation 1: context
 *    1 context groups      one record: sub-operation, group, list               of sub-operation 1: the list's first 17 bytes
 *
 * Of a request the first word of each record is the sub-operation, of a reply it is the record's result.  Sub-operation 1 reads. */
#ifndef NPRM_CMM_WIRE_H
#define NPRM_CMM_WIRE_H

#include "nprm_message.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum nprm_cmm_operation { NPRM_CMM_SERVICE_CONTEXT = 0, NPRM_CMM_CONTEXT_GROUP = 1 } nprm_cmm_operation;

enum {
    NPRM_CMM_READ = 1,                  /* the sub-operation that reads */
    NPRM_CMM_UNITS_MAX = 1724,          /* a message: 65,520 bytes */
    NPRM_SERVICE_CONTEXT_IPV4_FLAG = 2, /* the addresses have 4 bytes, not 16 */
    NPRM_CONTEXT_GROUP_BYTES_MAX = 29,  /* that a request carries behind the length */
    NPRM_CONTEXT_GROUP_BYTES_READ = 16  /* that a read returns behind the length */
};

/* A service context.  Of one with the IPv4 flag only the first 4 bytes of each address count: a host-order integer. */
typedef struct nprm_service_context {
    uint8_t flags;         /*  0 */
    uint8_t address_a[16]; /*  1 */
    uint8_t address_b[16]; /* 17 */
} NPRM_PACKED nprm_service_context;
NPRM_WIRE(nprm_service_context, 33);
NPRM_AT(nprm_service_context, address_a, 1);
NPRM_AT(nprm_service_context, address_b, 17);

/* The members of a group: their number, and a byte each. */
typedef struct nprm_service_context_group {
    uint8_t length;                             /*  0 */
    uint8_t byte[NPRM_CONTEXT_GROUP_BYTES_MAX]; /*  1 */
} NPRM_PACKED nprm_service_context_group;
NPRM_WIRE(nprm_service_context_group, 30);
NPRM_AT(nprm_service_context_group, byte, 1);

typedef struct nprm_cmm_context_record {
    uint32_t result;              /*  0  of requests: the sub-operation */
    uint8_t id;                   /*  4 */
    nprm_service_context context; /*  5 */
} NPRM_PACKED nprm_cmm_context_record;
NPRM_WIRE(nprm_cmm_context_record, 38);
NPRM_AT(nprm_cmm_context_record, id, 4);
NPRM_AT(nprm_cmm_context_record, context, 5);

typedef struct nprm_cmm_group_record {
    uint32_t result;                 /*  0  of requests: the sub-operation */
    uint32_t group;                  /*  4 */
    nprm_service_context_group list; /*  8 */
} NPRM_PACKED nprm_cmm_group_record;
NPRM_WIRE(nprm_cmm_group_record, 38);
NPRM_AT(nprm_cmm_group_record, group, 4);
NPRM_AT(nprm_cmm_group_record, list, 8);

typedef struct nprm_cmm_context_message {
    nprm_message_header header;                         /* 0 */
    nprm_cmm_context_record record[NPRM_CMM_UNITS_MAX]; /* 8 */
} NPRM_PACKED nprm_cmm_context_message;
NPRM_WIRE(nprm_cmm_context_message, 65520);

typedef struct nprm_cmm_group_message {
    nprm_message_header header;   /* 0 */
    nprm_cmm_group_record record; /* 8 */
} NPRM_PACKED nprm_cmm_group_message;
NPRM_WIRE(nprm_cmm_group_message, 46);
NPRM_STATIC_ASSERT(sizeof(nprm_cmm_context_record) == NPRM_RECORD_BYTES_CMM, "records are the component's");

#ifdef __cplusplus
}
#endif

#endif
