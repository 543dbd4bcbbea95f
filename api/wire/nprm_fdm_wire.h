/* FDM (component 2): service nodes, their groups and the groups' distribution, flow trace and dump, controls of the flow path.
 *
 * The first three operations have one record an object.  Of their requests the first word of each record is the sub-operation, the
 * same in all; of a reply it is the record's result.  Sub-operation 1 reads.  All other operations are one record.
 *
 *   operation                    request                                          reply, beside the result
 *    0 service nodes             sub-operation, id, node                          of a read: node
 *    1 node groups               sub-operation, id, flags, fields                 of a read: fields
 *    2 distribution              sub-operation, group, member                     of a read: member
 *    3 flow trace                flow
 *    4 flow dump                 flow
 *    5 flow distribution         query                                            15 words
 *    6 swap source addresses     value
 *    7 port-channel frame        value
 *      version */
#ifndef NPRM_FDM_WIRE_H
#define NPRM_FDM_WIRE_H

#include "nprm_message.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum nprm_fdm_operation {
    NPRM_FDM_SERVICE_NODE = 0,
    NPRM_FDM_NODE_GROUP = 1,
    NPRM_FDM_DISTRIBUTION = 2,
    NPRM_FDM_FLOW_TRACE = 3,
    NPRM_FDM_FLOW_DUMP = 4,
    NPRM_FDM_FLOW_DISTRIBUTION = 5,
    NPRM_FDM_SWAP_SOURCE = 6,
    NPRM_FDM_FRAME_VERSION = 7
} nprm_fdm_operation;

enum {
    NPRM_FDM_READ = 1,          /* the sub-operation that reads */
    NPRM_FDM_UNITS_MAX = 819,   /* a message: 65,528 bytes */
    NPRM_SERVICE_IPV4_FLAG = 2, /* the addresses have 4 bytes, not 16 */
    NPRM_FLOW_DISTRIBUTION_WORDS = 15
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

/* The distribution of a group, in two records: the group (fields of 4, 5 and 7 bits in bytes 1 and 2), and the member. */
typedef struct nprm_distribution_group {
    uint8_t byte[3]; /*  0 */
} NPRM_PACKED nprm_distribution_group;
NPRM_WIRE(nprm_distribution_group, 3);

typedef struct nprm_distribution_member {
    uint8_t byte[2]; /*  0  fields of 1 and 7 bits, and a byte */
} NPRM_PACKED nprm_distribution_member;
NPRM_WIRE(nprm_distribution_member, 2);

/* Flows to trace or to dump and the query for a distribution.  The library gives the fields no meaning; they are named by width and
 * offset. */
typedef struct nprm_flow_trace_record {
    uint8_t u8_0[4]; /*  0 */
    uint16_t u16_4;  /*  4 */
    uint8_t u8_6;    /*  6 */
    uint32_t u32_7;  /*  7 */
} NPRM_PACKED nprm_flow_trace_record;
NPRM_WIRE(nprm_flow_trace_record, 11);
NPRM_AT(nprm_flow_trace_record, u16_4, 4);
NPRM_AT(nprm_flow_trace_record, u8_6, 6);
NPRM_AT(nprm_flow_trace_record, u32_7, 7);

typedef struct nprm_flow_dump_record {
    uint8_t u8_0[5]; /*  0 */
    uint16_t u16_5;  /*  5 */
} NPRM_PACKED nprm_flow_dump_record;
NPRM_WIRE(nprm_flow_dump_record, 7);
NPRM_AT(nprm_flow_dump_record, u16_5, 5);

typedef struct nprm_flow_dist_query {
    uint32_t u32_0;  /*  0 */
    uint32_t u32_4;  /*  4 */
    uint16_t u16_8;  /*  8 */
    uint16_t u16_10; /* 10 */
    uint32_t u32_12; /* 12 */
    uint16_t u16_16; /* 16 */
    uint8_t u8_18;   /* 18 */
} NPRM_PACKED nprm_flow_dist_query;
NPRM_WIRE(nprm_flow_dist_query, 19);
NPRM_AT(nprm_flow_dist_query, u32_4, 4);
NPRM_AT(nprm_flow_dist_query, u16_8, 8);
NPRM_AT(nprm_flow_dist_query, u16_10, 10);
NPRM_AT(nprm_flow_dist_query, u32_12, 12);
NPRM_AT(nprm_flow_dist_query, u16_16, 16);
NPRM_AT(nprm_flow_dist_query, u8_18, 18);

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

typedef struct nprm_fdm_dist_record {
    uint32_t result;                 /*  0  of requests: the sub-operation */
    nprm_distribution_group group;   /*  4 */
    nprm_distribution_member member; /*  7 */
    uint8_t unset_9[71];
} NPRM_PACKED nprm_fdm_dist_record;
NPRM_WIRE(nprm_fdm_dist_record, 80);
NPRM_AT(nprm_fdm_dist_record, group, 4);
NPRM_AT(nprm_fdm_dist_record, member, 7);

/* The record of an operation that is one record.  Its request begins where the reply has the result. */
typedef union nprm_fdm_single_record {
    struct {
        uint32_t result; /*  0  written by the server */
        uint8_t unset_4[16];
        uint32_t word[NPRM_FLOW_DISTRIBUTION_WORDS]; /* 20  written by the server */
    } NPRM_PACKED reply;
    nprm_flow_trace_record trace; /*  0 */
    nprm_flow_dump_record dump;   /*  0 */
    nprm_flow_dist_query query;   /*  0 */
    uint8_t value;                /*  0 */
} nprm_fdm_single_record;
NPRM_WIRE(nprm_fdm_single_record, 80);
NPRM_AT(nprm_fdm_single_record, reply.word, 20);

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

typedef struct nprm_fdm_dist_message {
    nprm_message_header header;                      /* 0 */
    nprm_fdm_dist_record record[NPRM_FDM_UNITS_MAX]; /* 8 */
} NPRM_PACKED nprm_fdm_dist_message;
NPRM_WIRE(nprm_fdm_dist_message, 65528);

typedef struct nprm_fdm_single_message {
    nprm_message_header header;    /* 0 */
    nprm_fdm_single_record record; /* 8 */
} NPRM_PACKED nprm_fdm_single_message;
NPRM_WIRE(nprm_fdm_single_message, 88);
NPRM_STATIC_ASSERT(sizeof(nprm_fdm_node_record) == NPRM_RECORD_BYTES_FDM, "records are the component's");

#ifdef __cplusplus
}
#endif

#endif
