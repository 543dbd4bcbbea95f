/* Service nodes and service-node groups: add, remove, change, read.
 *
 * Arrays are contiguous, one element an object.  Calls of more than 819 objects go out as several messages; when the server refuses
 * one, those before it stay applied.  Sub-operation 1 reads: the records that the reply has are written, the others stay.
 *
 * Returns (all): NPRM_OK; NPRM_ERROR for a count of 0 (nothing is sent); the code of a request that could not be made or carried;
 * the first record's code that is not 0, of the FDM family; NPRM_ERROR_PARAM for a null array (nothing is sent).
 * Blocks: 75 receive attempts a message.   Threads: nprm.h (5). */
#ifndef NPRM_SERVICE_H
#define NPRM_SERVICE_H

#include "../frame/nprm_result.h"
#include "../wire/nprm_fdm_wire.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Service nodes.   op: the sub-operation;   ids, records: count elements each; a read writes the records. */
NPRM_API uint32_t nprm_sn_op(uint32_t op, uint32_t count, const uint8_t *ids, nprm_service_node *records);

/* Service-node groups.   Arguments as for the nodes.  A read writes bytes 0 and 1 of a record, where writes send bytes 1 and 2. */
NPRM_API uint32_t nprm_sng_op(uint32_t op, uint32_t count, const uint16_t *ids, nprm_service_node_group *records);

#ifdef __cplusplus
}
#endif

#endif
