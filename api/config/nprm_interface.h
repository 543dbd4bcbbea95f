/* Logical interfaces, port channels, bridge groups, the FIB, and the four TCAM look-ups of the packet path.
 *
 * What attributes, states, settings and the fields of addresses, prefixes and next hops mean is the server's.
 *
 * Returns (all): NPRM_OK; NPRM_ERROR_NOT_READY or NPRM_ERROR_MALLOC when no request could be made; NPRM_ERROR_IPC_SEND,
 * NPRM_ERROR_TIMEOUT or NPRM_ERROR_NOT_READY when it could not be carried; the server's code, of the IF family; NPRM_ERROR_PARAM
 * for a null array or record (nothing is sent).
 * Blocks: 75 receive attempts a message.   Threads: nprm.h (5). */
#ifndef NPRM_INTERFACE_H
#define NPRM_INTERFACE_H

#include "../frame/nprm_result.h"
#include "../wire/nprm_if_wire.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Creates an interface.   mac_address: 6 bytes. */
NPRM_API uint32_t nprm_if_create(uint16_t interface_id, uint32_t attribute, uint8_t value, const uint8_t *mac_address);

/* Deletes an interface. */
NPRM_API uint32_t nprm_if_del(uint16_t interface_id);

/* Sets an interface's state. */
NPRM_API uint32_t nprm_if_set_state(uint16_t interface_id, uint8_t state);

/* Sets an interface's MAC address.   mac_address: 6 bytes. */
NPRM_API uint32_t nprm_if_mac_cfg(uint16_t interface_id, const uint8_t *mac_address);

/* Sets an interface's IPv4 or IPv6 address. */
NPRM_API uint32_t nprm_if_v4_cfg(uint16_t interface_id, const nprm_if_ip_cfg *address);
NPRM_API uint32_t nprm_if_v6_cfg(uint16_t interface_id, const nprm_if_ip_cfg *address);

/* Makes one of two interfaces the active one. */
NPRM_API uint32_t nprm_sb_if_active(uint16_t first_id, uint16_t second_id);

/* Sets how port channels balance their load. */
NPRM_API uint32_t nprm_pc_lb_cfg(uint32_t setting);

/* Adds an interface to a port channel, removes it from there. */
NPRM_API uint32_t nprm_pc_if_add(uint16_t channel_id, uint16_t interface_id);
NPRM_API uint32_t nprm_pc_if_del(uint16_t channel_id, uint16_t interface_id);

/* Creates and deletes a bridge group. */
NPRM_API uint32_t nprm_bg_create(uint8_t group, uint16_t a, uint16_t b);
NPRM_API uint32_t nprm_bg_del(uint8_t group);

/* Adds a VLAN to a bridge group, removes it from there. */
NPRM_API uint32_t nprm_bg_add_vlan_cfg(uint8_t group, uint16_t vlan, uint32_t value);
NPRM_API uint32_t nprm_bg_del_vlan_cfg(uint8_t group, uint16_t vlan, uint32_t value);

/* FIB entries, IPv4 and IPv6 alike: the family has no effect, all go out in the same way.   prefixes, nexthops: contiguous, count
 * elements each; those that a reply has are written back.  Calls of more than 1,872 entries go out as several messages; when the
 * server refuses one, those before it stay applied.  A count of 0 returns NPRM_OK and sends nothing. */
NPRM_API uint32_t nprm_fib_op(uint32_t family, uint32_t action, uint32_t count, nprm_fib_prefix *prefixes,
                              nprm_fib_nexthop *nexthops);
NPRM_API uint32_t nprm_v4_fib_op(uint32_t action, uint32_t count, nprm_fib_prefix *prefixes, nprm_fib_nexthop *nexthops);
NPRM_API uint32_t nprm_v6_fib_op(uint32_t action, uint32_t count, nprm_fib_prefix *prefixes, nprm_fib_nexthop *nexthops);

/* Switches a TCAM look-up of the packet path on or off.   lookup_type: 0 dump ACL, 1 trace ACL, 2 intercept ACL, 3 flow policy;
 * more returns NPRM_OK and sends nothing;   vmr_id: the list that is looked up in.
 * Returns the low 8 bits of the code. */
NPRM_API uint32_t nprm_tcam_v4_cfg(uint32_t lookup_type, uint8_t enable, uint8_t vmr_id);

#ifdef __cplusplus
}
#endif

#endif
