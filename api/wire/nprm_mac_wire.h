/* MAC (component 1): Ethernet ports and their SFP modules.
 *
 * Every request is one record and names the port.
 *
 *   operation                     request, beside the port           reply, beside the result
 *    0, 1    set, get MTU         value.word                         of get: value.word
 *    2, 3    set, get speed       value.word                         of get: value.word
 *    4, 5    set, get negotiation value.word                         of get: value.word
 *    6, 7    set, get MAC address value.mac_address                  of get: value.mac_address
 *    8, 9    set, get link state  value.word                         of get: value.word
 *   10 counters                   value.counters.option              value.counters.counter
 *   11 SFP identification         sfp_length                         value.sfp
 *   12 SFP optical monitoring     sfp_length                         value.sfp
 *   13 set LED                    value.word */
#ifndef NPRM_MAC_WIRE_H
#define NPRM_MAC_WIRE_H

#include "nprm_message.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum nprm_mac_operation {
    NPRM_MAC_SET_MTU = 0,
    NPRM_MAC_GET_MTU = 1,
    NPRM_MAC_SET_SPEED = 2,
    NPRM_MAC_GET_SPEED = 3,
    NPRM_MAC_SET_NEGOTIATE = 4,
    NPRM_MAC_GET_NEGOTIATE = 5,
    NPRM_MAC_SET_ADDRESS = 6,
    NPRM_MAC_GET_ADDRESS = 7,
    NPRM_MAC_SET_LINK_STATE = 8,
    NPRM_MAC_GET_LINK_STATE = 9,
    NPRM_MAC_GET_COUNTERS = 10,
    NPRM_MAC_READ_SFP_MSA = 11,
    NPRM_MAC_READ_SFP_DOM = 12,
    NPRM_MAC_SET_LED = 13
} nprm_mac_operation;

enum { NPRM_MAC_ADDRESS_BYTES = 6, NPRM_PORT_COUNTERS = 44, NPRM_SFP_BYTES = 256 };

typedef struct nprm_mac_counters {
    uint32_t counter[NPRM_PORT_COUNTERS]; /*   0  written by the server */
    uint32_t option;                      /* 176 */
} NPRM_PACKED nprm_mac_counters;
NPRM_WIRE(nprm_mac_counters, 180);
NPRM_AT(nprm_mac_counters, option, 176);

typedef union nprm_mac_value {
    uint32_t word;
    uint8_t mac_address[NPRM_MAC_ADDRESS_BYTES];
    nprm_mac_counters counters;
    uint8_t sfp[NPRM_SFP_BYTES];
} NPRM_PACKED nprm_mac_value;
NPRM_WIRE(nprm_mac_value, 256);

typedef struct nprm_mac_record {
    uint32_t result;      /*   0  written by the server */
    uint32_t port;        /*   4 */
    nprm_mac_value value; /*   8 */
    uint32_t sfp_length;  /* 264 */
} NPRM_PACKED nprm_mac_record;
NPRM_WIRE(nprm_mac_record, 268);
NPRM_AT(nprm_mac_record, port, 4);
NPRM_AT(nprm_mac_record, value, 8);
NPRM_AT(nprm_mac_record, value.counters.option, 184);
NPRM_AT(nprm_mac_record, sfp_length, 264);

typedef struct nprm_mac_message {
    nprm_message_header header; /* 0 */
    nprm_mac_record record;     /* 8 */
} NPRM_PACKED nprm_mac_message;
NPRM_WIRE(nprm_mac_message, 276);
NPRM_STATIC_ASSERT(sizeof(nprm_mac_record) == NPRM_RECORD_BYTES_MAC, "records are the component's");

#ifdef __cplusplus
}
#endif

#endif
