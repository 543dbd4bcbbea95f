/* Ethernet ports: MTU, speed, negotiation, MAC address, link state, counters, LED; and what an SFP module tells.
 *
 * What the values of speed, negotiation, link state, LED and of the counters' option mean is the server's.
 *
 * Returns (all): NPRM_OK; NPRM_ERROR_NOT_READY or NPRM_ERROR_MALLOC when no request could be made; NPRM_ERROR_IPC_SEND,
 * NPRM_ERROR_TIMEOUT or NPRM_ERROR_NOT_READY when it could not be carried; the server's code, of the ETHMON family; NPRM_ERROR when
 * a reply lacks what it should carry; NPRM_ERROR_PARAM for a null input or output (nothing is sent).
 * Blocks: 75 receive attempts.   Threads: nprm.h (5). */
#ifndef NPRM_PORT_H
#define NPRM_PORT_H

#include "../frame/nprm_result.h"
#include "../wire/nprm_mac_wire.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Maximum transmission unit.   Outputs of all gets: written on NPRM_OK. */
NPRM_API uint32_t nprm_mac_if_set_mtu(uint32_t port, uint32_t mtu);
NPRM_API uint32_t nprm_mac_if_get_mtu(uint32_t port, uint32_t *mtu);

/* Speed. */
NPRM_API uint32_t nprm_mac_if_set_speed(uint32_t port, uint32_t speed);
NPRM_API uint32_t nprm_mac_if_get_speed(uint32_t port, uint32_t *speed);

/* Auto-negotiation. */
NPRM_API uint32_t nprm_mac_if_set_negotiate(uint32_t port, uint32_t negotiate);
NPRM_API uint32_t nprm_mac_if_get_negotiate(uint32_t port, uint32_t *negotiate);

/* MAC address.   mac_address: 6 bytes. */
NPRM_API uint32_t nprm_mac_if_set_macaddr(uint32_t port, const uint8_t *mac_address);
NPRM_API uint32_t nprm_mac_if_get_macaddr(uint32_t port, uint8_t *mac_address);

/* Link state. */
NPRM_API uint32_t nprm_mac_if_set_link_state(uint32_t port, uint32_t state);
NPRM_API uint32_t nprm_mac_if_get_link_state(uint32_t port, uint32_t *state);

/* Hardware counters.   counters: 44 of them. */
NPRM_API uint32_t nprm_mac_if_get_counters(uint32_t port, uint32_t *counters, uint8_t option);

/* What the SFP module tells of itself, and what it measures.   buffer: length bytes, of which at most the first 256 are written;
 * may be null for a length of 0, which asks and copies nothing. */
NPRM_API uint32_t nprm_sfp_read_msa_all(uint32_t port, uint8_t *buffer, uint32_t length);
NPRM_API uint32_t nprm_sfp_read_dom_all(uint32_t port, uint8_t *buffer, uint32_t length);

/* The port's LED. */
NPRM_API uint32_t nprm_set_port_led(uint32_t port, uint32_t led);

#ifdef __cplusplus
}
#endif

#endif
