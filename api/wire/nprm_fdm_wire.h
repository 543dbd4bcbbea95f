/* FDM (component 2): service nodes and their groups.
 *
 * One record an object.  Of a request the first word of each record is the sub-operation, the same in all; of a reply it is the
 * record's result.  Sub-operation 1 reads.
 *
 *   operation               request, beside the sub-operation              reply of a read, beside the result
 *    0 service nodes        id, node                                       node
 *    1 node groups          id, flags, fields                              fields */
#ifndef NPRM_FDM_WIRE_H
#define NPRM_FDM_WIRE_H

#include "nprm_message.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum nprm_fdm_operation { NPRM_FDM_SERVICE_NODE = 0, NPRM_FDM_NODE_GROUP = 1 } nprm_fdm_operation;

enum {
    NPRM_FDM_READ = 1,         /* the sub-operation that reads */
    NPRM_FDM_UNITS_MAX = 819,  /* a message: 65,528 bytes */
    NPRM_SERVICE_IPV4_FLAG = 2 /* the addresses have 4 bytes, not 16 */
};

/* A service node.  Of a node with the IPv4 flag only the first 4 bytes of each address count: a host-order integer. */
typedef struct nprm_service_node {
    uint8_t flags;         /*  0 */
    uint16_t u16_1;        /*  1 */
    uint8_t address_a[16]; /*  3 */
    uint8_t address_b[16]; /* 19 */
} NPRM_PACKED nprm_service_node;
NPRM_WIRE(nprm_service_node, 35);
NPRM_AT(nprm_service_node, u16_1, 1);
NPRM_AT(nprm_service_node, address_a, 3);
NPRM_AT(nprm_service_node, address_b, 19);

/* A service-node group: fields of 4, 5 and 7 bits, low to high, in bytes 1 and 2 of what is sent.  A read writes them into bytes 0
 * and 1; the server has it so. */
typedef struct nprm_service_node_group {
    uint8_t byte[3]; /*  0  sent: the flags, then the fields */
} NPRM_PACKED nprm_service_node_group;
NPRM_WIRE(nprm_service_node_group, 3);

typedef struct nprm_fdm_node_record {
    uint32_t result;        /*  0  of requests: the sub-operation */
    uint8_t id;             /*  4 */
    nprm_service_node node; /*  5 */
    uint8_t unset_40[40];
} NPRM_PACKED nprm_fdm_node_record;
NPRM_WIRE(nprm_fdm_node_record, 80);
NPRM_AT(nprm_fdm_node_record, id, 4);
NPRM_AT(nprm_fdm_node_record, node, 5);

typedef struct nprm_fdm_group_record {
    uint32_t result;   /*  0  of requests: the sub-operation */
    uint16_t id;       /*  4 */
    uint8_t flags;     /*  6 */
    uint8_t fields[2]; /*  7 */
    uint8_t unset_9[71];
} NPRM_PACKED nprm_fdm_group_record;
NPRM_WIRE(nprm_fdm_group_record, 80);
NPRM_AT(nprm_fdm_group_record, id, 4);
NPRM_AT(nprm_fdm_group_record, flags, 6);
NPRM_AT(nprm_fdm_group_record, fields, 7);

typedef struct nprm_fdm_node_message {
    nprm_message_header header;                      /* 0 */
    nprm_fdm_node_record record[NPRM_FDM_UNITS_MAX]; /* 8 */
} NPRM_PACKED nprm_fdm_node_message;
NPRM_WIRE(nprm_fdm_node_message, 65528);

typedef struct nprm_fdm_group_message {
    nprm_message_header header;                       /* 0 */
    nprm_fdm_group_record record[NPRM_FDM_UNITS_MAX]; /* 8 */
} NPRM_PACKED nprm_fdm_group_message;
NPRM_WIRE(nprm_fdm_group_message, 65528);
NPRM_STATIC_ASSERT(sizeof(nprm_fdm_node_record) == NPRM_RECORD_BYTES_FDM, "records are the component's");

#ifdef __cplusplus
}
#endif

#endif
