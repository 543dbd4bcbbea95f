/* System V shared-memory segments 0 and 1, cut into units of whole 16 bytes.  Segment 0 holds the server's status word. */
#ifndef NPRM_SHM_H
#define NPRM_SHM_H

#include "nprm_result.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    NPRM_SHM_KEY = 0x50524D00, /* the key of segment n is this + n */
    NPRM_SHM_SEGMENTS = 2,
    NPRM_SHM_UNITS_MAX = 64,
    NPRM_SHM_UNIT_ALIGN = 16, /* bytes; unit sizes are rounded up to it */

    NPRM_SHM_STATUS = 0,             /* the segment whose first word is the server's status */
    NPRM_SHM_STATUS_UNIT_BYTES = 12, /* its one unit */
    NPRM_SERVER_READY = 1            /* the status word's value while the server accepts calls */
};

/* The address of the server's status word; null until nprm_ipc_register_client() found it. */
extern NPRM_API volatile uint32_t *nprm_server_status;

/* Attaches a segment.
 *   id: 0 or 1;   units: at most 64;   sizes: bytes of each unit, kept by the library and read again by the copies below
 *   create: nonzero to make (and zero) the segment when it does not exist
 * Returns the segment's address, or null after one message; a segment that was attached stays attached then.
 * Blocks: no.   Threads: before others use the segment. */
NPRM_API void *nprm_shm_init(uint32_t id, uint32_t units, const uint32_t *sizes, uint8_t create);

/* The address of a unit of an attached segment; units up to 63 are not checked against those that the segment has.
 * Returns null while the segment is not attached.   Threads: any. */
NPRM_API void *nprm_shm_get_ptr(uint32_t id, uint32_t unit);

/* Copy a unit's bytes (its size as given, not rounded) into the segment, and out of it.
 * Return the bytes copied; 0 when the segment is not attached or has no such unit.   Threads: any, nothing is locked. */
NPRM_API uint32_t nprm_to_shm(uint32_t id, uint32_t unit, const void *source);
NPRM_API uint32_t nprm_from_shm(uint32_t id, uint32_t unit, void *destination);

/* Detaches every attached segment and marks it for removal, whoever created it.   Threads: when no other uses the segments. */
NPRM_API void nprm_shm_free_all(void);

#ifdef __cplusplus
}
#endif

#endif
