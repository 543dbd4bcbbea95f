/* What the simulated card takes the fields of service nodes, groups, contexts and WCCP entries to mean, for tools and tests.  The
 * library gives them no meaning.
 *
 *   service node        u16_1      VLAN, kept and returned
 *   and context         address_a  its address, not 0; IPv4: a host-order integer, IPv6: in network order
 *                       address_b  its secondary address; 0: it has none
 *   node group          fields     three numbers of 4, 5 and 7 bits, low to high, kept and returned
 *   distribution group  byte[0]    the hash index, byte[1..2] the group's id: a host-order integer
 *   member              byte[0]    bit 0: valid, bits 1 to 7 are kept and returned
 *                       byte[1]    the node's id
 *   context group       byte[]     the ids of its contexts
 *   WCCP entry          address_a  the server's address or MAC, address_b the router's address; 0: none
 *   flow trace          u8_0[0]    1 starts it, 0 ends it;   u8_6  VRF,  u16_4  port,  u32_7  IPv4 address: 0 takes any
 *   flow dump           u8_0[0]    likewise;   u8_0[1..4]  IPv4 address in network order,  u16_5  port: 0 takes any
 *   distribution query  u32_0      source and  u32_4  destination address,  u16_8  source and  u16_10  destination port
 *                       u16_16     the group that is asked;   u32_12,  u8_18  VLAN and VRF: like the others, hashed
 *
 * The words of a distribution's answer are those of nprm_flow_dist_word.  All records of a message have the same action. */
#ifndef NPRM_SERVICE_FIELDS_H
#define NPRM_SERVICE_FIELDS_H

typedef enum nprm_service_action {
    NPRM_SERVICE_ADD = 0,    /* the id must be new */
    NPRM_SERVICE_READ = 1,   /* the object is returned */
    NPRM_SERVICE_DELETE = 2, /* the id must be there, and nothing may use it */
    NPRM_SERVICE_REPLACE = 4 /* the id may be there; its object is the new one */
} nprm_service_action;

enum {
    NPRM_SERVICE_NODES_MAX = 128,
    NPRM_SERVICE_GROUPS_MAX = 1024,
    NPRM_SERVICE_CONTEXTS_MAX = 128,
    NPRM_SERVICE_WCCP_MAX = 128,
    NPRM_SERVICE_HASH_INDEXES = 256, /* of a group's distribution */
    NPRM_SERVICE_MEMBER_VALID = 1    /* in a member's byte[0] */
};

typedef enum nprm_flow_dist_word {
    NPRM_FLOW_DIST_HASH_INDEX = 0, /* of the flow that was asked for */
    NPRM_FLOW_DIST_FOUND = 1,      /* 1: a node takes that flow; 0: none, and words 2 to 7 are 0 */
    NPRM_FLOW_DIST_NODE = 2,
    NPRM_FLOW_DIST_NODE_FLAGS = 3,
    NPRM_FLOW_DIST_NODE_ADDRESS = 4, /* four words, as the node's address_a stands in memory */
    NPRM_FLOW_DIST_INDEXES = 8,      /* of the group that a node takes */
    NPRM_FLOW_DIST_NODES = 9         /* different nodes of the group; words 10 to 14 are 0 */
} nprm_flow_dist_word;

#endif
