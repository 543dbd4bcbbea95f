/* Service nodes, their groups and distribution, service contexts and groups of them, WCCP entries, controls of the flow path.
 *
 * Operations of a count take contiguous arrays, one element an object.  Calls of more objects than a message holds (819 nodes,
 * groups or distributions, 1,724 contexts, 1,638 WCCP entries) go out as several; when the server refuses one, those before it stay
 * applied.
 *
 * Sub-operation 1 reads: the records that the reply has are written, the others stay.  All other sub-operations write no record;
 * what they mean is the server's.
 *
 * Returns (all): NPRM_OK; NPRM_ERROR for a count of 0 (nothing is sent) and for a reply that lacks what it should carry;
 * NPRM_ERROR_NOT_READY or NPRM_ERROR_MALLOC when no request could be made; NPRM_ERROR_IPC_SEND, NPRM_ERROR_TIMEOUT or
 * NPRM_ERROR_NOT_READY when it could not be carried; the server's code: the first that is not 0 of all records, of the FDM family
 * (nodes, groups, flows), the CMM family (contexts) or the WCCP family; NPRM_ERROR_PARAM for a null array, record or output
 * (nothing is sent).
 * Blocks: 75 receive attempts a message.   Threads: nprm.h (5). */
#ifndef NPRM_SERVICE_H
#define NPRM_SERVICE_H

#include "../frame/nprm_result.h"
#include "../wire/nprm_cmm_wire.h"
#include "../wire/nprm_fdm_wire.h"
#include "../wire/nprm_wccp_wire.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Service nodes.   op: the sub-operation;   ids, records: count elements each; a read writes the records. */
NPRM_API uint32_t nprm_sn_op(uint32_t op, uint32_t count, const uint8_t *ids, nprm_service_node *records);

/* Service-node groups.   Arguments as for the nodes.  A read writes bytes 0 and 1 of a record, where writes send bytes 1 and 2. */
NPRM_API uint32_t nprm_sng_op(uint32_t op, uint32_t count, const uint16_t *ids, nprm_service_node_group *records);

/* Distribution of the groups.   groups, members: count elements each; a read writes the members. */
NPRM_API uint32_t nprm_sng_dist_op(uint32_t op, uint32_t count, const nprm_distribution_group *groups,
                                   nprm_distribution_member *members);

/* Has a flow traced, or dumped. */
NPRM_API uint32_t nprm_flow_trace(const nprm_flow_trace_record *flow);
NPRM_API uint32_t nprm_flow_dump(const nprm_flow_dump_record *flow);

/* Tells how IPv4 flows are distributed.   words: 15 of them, written on NPRM_OK. */
NPRM_API uint32_t nprm_show_v4_flow_dist(const nprm_flow_dist_query *query, uint32_t *words);

/* Switches the swapping of source addresses. */
NPRM_API uint32_t nprm_swap_src_ip(uint8_t value);

/* Sets the version of the port channel's frames. */
NPRM_API uint32_t nprm_set_pc_frame_version(uint8_t version);

/* Service contexts.   Arguments as for the nodes.  A read of an IPv4 context clears bytes 4 to 15 of its addresses. */
NPRM_API uint32_t nprm_sc_op(uint32_t op, uint32_t count, const uint8_t *ids, nprm_service_context *records);

/* A group of service contexts.   list: the length goes out as it is, of the bytes as many as it says, at most 29.
 * A read, too, sends the list.  It writes the length that the server has, which may be more than 16, and 16 bytes: the list's
 * first, then zeros. */
NPRM_API uint32_t nprm_scg_op(uint32_t op, uint8_t group, nprm_service_context_group *list);

/* WCCP entries.   Arguments as for the nodes. */
NPRM_API uint32_t nprm_wccp_op(uint32_t op, uint32_t count, const uint8_t *ids, nprm_wccp_entry *records);

/* Sets the MTU of WCCP. */
NPRM_API uint32_t nprm_wccp_set_mtu(uint16_t mtu);

/* Sets the mask of the server's error log.   Server's codes: of the IF family. */
NPRM_API uint32_t nprm_set_errorlog_mask(uint32_t mask);

#ifdef __cplusplus
}
#endif

#endif
