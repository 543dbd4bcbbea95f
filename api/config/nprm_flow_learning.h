/* Flow learning's limit, the crash on request, and reads of the configuration and of the port mapping.
 *
 * Returns (all that send): NPRM_OK; NPRM_ERROR_NOT_READY or NPRM_ERROR_MALLOC when no request could be made; NPRM_ERROR_IPC_SEND,
 * NPRM_ERROR_TIMEOUT or NPRM_ERROR_NOT_READY when it could not be carried; the server's code, of the IF family; NPRM_ERROR when a
 * reply lacks what it should carry; NPRM_ERROR_PARAM for a null input or output (nothing is sent).
 * Blocks: 75 receive attempts.   Threads: nprm.h (5). */
#ifndef NPRM_FLOW_LEARNING_H
#define NPRM_FLOW_LEARNING_H

#include "../frame/nprm_result.h"
#include "../wire/nprm_if_wire.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { NPRM_FLOWLEARN_MAX = 2000000 };

/* How many flows are learned at most.   limit: written on NPRM_OK. */
NPRM_API uint32_t nprm_set_flowlearn_limit(uint32_t limit);
NPRM_API uint32_t nprm_get_flowlearn_limit(uint32_t *limit);

/* The largest limit that the system allows.   Returns: NPRM_OK; NPRM_ERROR_PARAM for null.   Blocks: no, it asks nobody.
 * Threads: any number at a time. */
NPRM_API uint32_t nprm_get_flowlearn_max(uint32_t *maximum);

/* Reads a configuration blob.   selector: which, the server knows;   input: input_length bytes, of which the first 27 are sent;
 * output: room for what the reply may hold, at most 65,520 bytes (NPRM_CONFIG_BYTES_MAX);   output_length: how many bytes were
 * written, may be null.  A reply that claims more bytes than came is cut to those, and logged. */
NPRM_API uint32_t nprm_read_config(uint32_t selector, const uint8_t *input, uint32_t input_length, uint8_t *output,
                                   uint32_t *output_length);

/* Reads the port mapping.   output: as in nprm_read_config. */
NPRM_API uint32_t nprm_read_port_mapping(uint8_t *output);

/* Has the server crash, for a dump.   argument: the server knows what for. */
NPRM_API uint32_t nprm_request_crash(uint32_t argument);

#ifdef __cplusplus
}
#endif

#endif
