/* IF (component 3): interfaces, port channels, bridge groups, the FIB, look-up switches, flow learning, configuration reads.
 *
 * Every request but the FIB's is one record; the FIB has one record an entry.
 *
 *   operation                     request                                              reply, beside the result
 *    0 create an interface        interface: id, attribute, value, mac_address
 *    1 delete an interface        interface: id
 *    2 set its state              interface: id, state
 *    3 set its MAC address        interface: id, mac_address
 *    4, 5 set its IPv4, IPv6      address: id, address
 *      address
 *    6 make active                active: first_id, second_id
 *    7 port channels' balance     setting
 *    8, 9 add, remove a member    member: channel_id, interface_id
 *      of a port channel
 *   10 create a bridge group      bridge: group, u16_a, u16_b
 *   11 delete a bridge group      bridge: group
 *   12, 13 add, remove its VLAN   bridge: group, value, vlan
 *   14 FIB entries                fib, of IPv4 and IPv6 alike                          fib: prefix, nexthop
 *   16 error-log mask             setting
 *   17 read configuration         data: selector, length, bytes                        data: length, bytes
 *   18 switch a look-up           lookup: type, enable, vmr_id
 *   19, 20 set, get flow-learning limit: limit                                         of get: limit
 *      limit
 *   21 read port mapping                                                               data: length, bytes
 *   22 crash on request           setting
 *
 * The bytes of a configuration read begin inside the record.  Of a request no more than the record goes out; a reply runs on behind
 * it, or ends with its bytes before the record does. */
#ifndef NPRM_IF_WIRE_H
#define NPRM_IF_WIRE_H

#include "nprm_message.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum nprm_if_operation {
    NPRM_IF_CREATE = 0,
    NPRM_IF_DELETE = 1,
    NPRM_IF_SET_STATE = 2,
    NPRM_IF_SET_MAC = 3,
    NPRM_IF_SET_V4 = 4,
    NPRM_IF_SET_V6 = 5,
    NPRM_IF_SB_ACTIVE = 6,
    NPRM_IF_PC_BALANCE = 7,
    NPRM_IF_PC_ADD = 8,
    NPRM_IF_PC_DELETE = 9,
    NPRM_IF_BG_CREATE = 10,
    NPRM_IF_BG_DELETE = 11,
    NPRM_IF_BG_ADD_VLAN = 12,
    NPRM_IF_BG_DELETE_VLAN = 13,
    NPRM_IF_FIB = 14,
    NPRM_IF_ERRORLOG_MASK = 16,
    NPRM_IF_READ_CONFIG = 17,
    NPRM_IF_TCAM_LOOKUP = 18,
    NPRM_IF_SET_FLOWLEARN_LIMIT = 19,
    NPRM_IF_GET_FLOWLEARN_LIMIT = 20,
    NPRM_IF_READ_PORT_MAPPING = 21,
    NPRM_IF_REQUEST_CRASH = 22
} nprm_if_operation;

enum {
    NPRM_FIB_ENTRIES_MAX = 1872,  /* a message: 65,528 bytes */
    NPRM_CONFIG_BYTES_SENT = 27,  /* of a configuration read's input: what its record holds */
    NPRM_CONFIG_BYTES_MAX = 65520 /* of a configuration read: what a message holds */
};

/* The library gives the fields of addresses, prefixes and next hops no meaning; some are named by width and offset. */
typedef struct nprm_if_ip_cfg {
    uint8_t u8_0;        /*  0 */
    uint8_t u8_1;        /*  1 */
    uint16_t u16_2;      /*  2 */
    uint8_t address[16]; /*  4  IPv4: the first 4 */
} NPRM_PACKED nprm_if_ip_cfg;
NPRM_WIRE(nprm_if_ip_cfg, 20);
NPRM_AT(nprm_if_ip_cfg, u16_2, 2);
NPRM_AT(nprm_if_ip_cfg, address, 4);

typedef struct nprm_fib_prefix {
    uint8_t u8_0;        /*  0 */
    uint8_t u8_1;        /*  1 */
    uint8_t address[16]; /*  2 */
} NPRM_PACKED nprm_fib_prefix;
NPRM_WIRE(nprm_fib_prefix, 18);
NPRM_AT(nprm_fib_prefix, address, 2);

typedef struct nprm_fib_nexthop {
    uint8_t u8_0[5];    /*  0 */
    uint16_t u16_5;     /*  5 */
    uint8_t bytes_7[6]; /*  7 */
} NPRM_PACKED nprm_fib_nexthop;
NPRM_WIRE(nprm_fib_nexthop, 13);
NPRM_AT(nprm_fib_nexthop, u16_5, 5);
NPRM_AT(nprm_fib_nexthop, bytes_7, 7);

typedef struct nprm_if_interface_record {
    uint32_t interface_id;  /*  0 */
    uint32_t attribute;     /*  4 */
    uint32_t value;         /*  8 */
    uint8_t mac_address[6]; /* 12 */
    uint32_t state;         /* 18  not aligned; the server has it so */
    uint8_t unset_22[13];
} NPRM_PACKED nprm_if_interface_record;
NPRM_WIRE(nprm_if_interface_record, 35);
NPRM_AT(nprm_if_interface_record, attribute, 4);
NPRM_AT(nprm_if_interface_record, value, 8);
NPRM_AT(nprm_if_interface_record, mac_address, 12);
NPRM_AT(nprm_if_interface_record, state, 18);

typedef struct nprm_if_address_record {
    uint32_t interface_id;  /*  0 */
    nprm_if_ip_cfg address; /*  4 */
    uint8_t unset_24[11];
} NPRM_PACKED nprm_if_address_record;
NPRM_WIRE(nprm_if_address_record, 35);
NPRM_AT(nprm_if_address_record, address, 4);

typedef struct nprm_if_active_record {
    uint32_t first_id;  /*  0 */
    uint32_t second_id; /*  4 */
    uint8_t unset_8[27];
} NPRM_PACKED nprm_if_active_record;
NPRM_WIRE(nprm_if_active_record, 35);
NPRM_AT(nprm_if_active_record, second_id, 4);

typedef struct nprm_if_member_record {
    uint32_t result;       /*  0  written by the server */
    uint32_t channel_id;   /*  4 */
    uint32_t interface_id; /*  8 */
    uint8_t unset_12[23];
} NPRM_PACKED nprm_if_member_record;
NPRM_WIRE(nprm_if_member_record, 35);
NPRM_AT(nprm_if_member_record, channel_id, 4);
NPRM_AT(nprm_if_member_record, interface_id, 8);

typedef struct nprm_if_bridge_record {
    uint32_t group; /*  0 */
    uint32_t u16_a; /*  4 */
    uint32_t u16_b; /*  8 */
    uint32_t value; /* 12 */
    uint16_t vlan;  /* 16 */
    uint8_t unset_18[17];
} NPRM_PACKED nprm_if_bridge_record;
NPRM_WIRE(nprm_if_bridge_record, 35);
NPRM_AT(nprm_if_bridge_record, u16_a, 4);
NPRM_AT(nprm_if_bridge_record, u16_b, 8);
NPRM_AT(nprm_if_bridge_record, value, 12);
NPRM_AT(nprm_if_bridge_record, vlan, 16);

typedef struct nprm_if_fib_record {
    uint32_t action;          /*  0  of the reply: the result */
    nprm_fib_prefix prefix;   /*  4 */
    nprm_fib_nexthop nexthop; /* 22 */
} NPRM_PACKED nprm_if_fib_record;
NPRM_WIRE(nprm_if_fib_record, 35);
NPRM_AT(nprm_if_fib_record, prefix, 4);
NPRM_AT(nprm_if_fib_record, nexthop, 22);

typedef struct nprm_if_lookup_record {
    uint32_t type;   /*  0 */
    uint32_t enable; /*  4 */
    uint32_t vmr_id; /*  8 */
    uint8_t unset_12[23];
} NPRM_PACKED nprm_if_lookup_record;
NPRM_WIRE(nprm_if_lookup_record, 35);
NPRM_AT(nprm_if_lookup_record, enable, 4);
NPRM_AT(nprm_if_lookup_record, vmr_id, 8);

typedef struct nprm_if_limit_record {
    uint32_t result; /*  0  written by the server */
    uint32_t limit;  /*  4 */
    uint8_t unset_8[27];
} NPRM_PACKED nprm_if_limit_record;
NPRM_WIRE(nprm_if_limit_record, 35);
NPRM_AT(nprm_if_limit_record, limit, 4);

typedef struct nprm_if_data_record {
    uint32_t selector;                     /*  0  of the reply: the result */
    uint32_t length;                       /*  4 */
    uint8_t bytes[NPRM_CONFIG_BYTES_SENT]; /*  8 */
} NPRM_PACKED nprm_if_data_record;
NPRM_WIRE(nprm_if_data_record, 35);
NPRM_AT(nprm_if_data_record, length, 4);
NPRM_AT(nprm_if_data_record, bytes, 8);

typedef union nprm_if_record {
    nprm_if_interface_record interface;
    nprm_if_address_record address;
    nprm_if_active_record active;
    nprm_if_member_record member;
    nprm_if_bridge_record bridge;
    nprm_if_fib_record fib;
    nprm_if_lookup_record lookup;
    nprm_if_limit_record limit;
    uint32_t setting;
} NPRM_PACKED nprm_if_record;
NPRM_WIRE(nprm_if_record, 35);

typedef struct nprm_if_message {
    nprm_message_header header;                  /* 0 */
    nprm_if_record record[NPRM_FIB_ENTRIES_MAX]; /* 8 */
} NPRM_PACKED nprm_if_message;
NPRM_WIRE(nprm_if_message, 65528);

/* A configuration read with all that a message holds. */
typedef struct nprm_if_data_message {
    nprm_message_header header;           /*  0 */
    uint32_t selector;                    /*  8  of the reply: the result */
    uint32_t length;                      /* 12 */
    uint8_t bytes[NPRM_CONFIG_BYTES_MAX]; /* 16 */
} NPRM_PACKED nprm_if_data_message;
NPRM_WIRE(nprm_if_data_message, NPRM_MESSAGE_BYTES_MAX);
NPRM_AT(nprm_if_data_message, selector, 8);
NPRM_AT(nprm_if_data_message, length, 12);
NPRM_AT(nprm_if_data_message, bytes, 16);
NPRM_STATIC_ASSERT(sizeof(nprm_if_record) == NPRM_RECORD_BYTES_IF, "records are the component's");

#ifdef __cplusplus
}
#endif

#endif
