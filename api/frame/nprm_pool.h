/* Buffer pools: fixed arrays of equal buffers on a locked free list, and malloc-like calls over all general pools.
 *
 * A pool is described by a static nprm_buffer_pool with storage of the owner's and becomes usable with nprm_init_buffer_pool().
 * Every buffer stands behind an nprm_link header; callers hold the address behind it.  Buffers come back first in, first out.
 *
 *     static uint8_t storage[NPRM_POOL_BYTES(16, 256)];
 *     static nprm_buffer_pool pool = NPRM_POOL("flows", 0, 16, 256, storage);
 */
#ifndef NPRM_POOL_H
#define NPRM_POOL_H

#include "nprm_result.h"

#include <pthread.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { NPRM_LINK_MAGIC = 0x20100916 };

struct nprm_buffer_pool;

/* In front of every buffer; 16 bytes on the 32-bit target. */
typedef struct nprm_link {
    uint32_t magic;                /* NPRM_LINK_MAGIC while the header is intact */
    struct nprm_buffer_pool *pool; /* the owning pool */
    struct nprm_link *next;        /* on the free list: the next free buffer, else null */
    uint16_t index;                /* the buffer's position in its pool */
    uint16_t ref_count;            /* 0 while free, 1 while taken */
} __attribute__((packed)) nprm_link;

typedef struct nprm_buffer_pool {
    const char *name;     /* shown in messages */
    uint32_t reserved;    /* nonzero: the owner's alone, never used by nprm_malloc() */
    uint32_t count;       /* buffers */
    uint32_t size;        /* usable bytes a buffer */
    pthread_mutex_t lock; /* guards the free list */
    uint8_t *area;        /* the storage, NPRM_POOL_BYTES(count, size); the owner's, never freed */
    nprm_link *free_head; /* null while the pool is empty */
    nprm_link *free_tail;
    struct nprm_buffer_pool *next; /* in the process's list of pools, by ascending size */
} nprm_buffer_pool;

/* The storage that a pool needs, in bytes, and a descriptor to start from. */
#define NPRM_POOL_BYTES(count, size) ((count) * ((size) + sizeof(nprm_link)))
#define NPRM_POOL(name, reserved, count, size, area)                                                                               \
    { name, reserved, count, size, PTHREAD_MUTEX_INITIALIZER, area, 0, 0, 0 }

/* Lays out all buffers of the pool and enters it into the process's list; once a pool, before other threads use pools.
 * Returns the pool's successor in the list, or null. */
NPRM_API nprm_buffer_pool *nprm_init_buffer_pool(nprm_buffer_pool *pool);

/* Take the pool's first free buffer; the second zeroes its size bytes.
 * Return null when the pool is empty.   Owns: the caller, until nprm_free().   Threads: any. */
NPRM_API void *nprm_pool_malloc(nprm_buffer_pool *pool);
NPRM_API void *nprm_pool_calloc(nprm_buffer_pool *pool);

/* Takes a buffer of the smallest general pool that holds the bytes and has one free.  The general heap is never used.
 * Returns null when there is none.   Owns: the caller, until nprm_free().   Threads: any. */
NPRM_API void *nprm_malloc(uint32_t bytes);

/* nprm_malloc() of count x size bytes, zeroed.  The product is a 32-bit one and is not checked.   Threads: any. */
NPRM_API void *nprm_calloc(uint32_t count, uint32_t size);

/* Moves a buffer's content into one of at least `bytes` bytes: as many bytes as both hold.  A null old is nprm_malloc(bytes).
 * Returns the new buffer, the old one is freed then; or null, the old one is untouched then.   Threads: any. */
NPRM_API void *nprm_realloc(void *old, uint32_t bytes);

/* Gives a buffer back to its pool.  A header that was overwritten is repaired and reported; a pointer that is no buffer's start
 * and a buffer that is free already are reported.   Threads: any. */
NPRM_API void nprm_free(void *buffer);

/* The buffer's position in its pool, read from its header; and the address of the buffer at a position, which is not checked.
 * Threads: any. */
NPRM_API uint16_t nprm_get_buffer_index(const void *buffer);
NPRM_API void *nprm_get_buffer_ptr(const nprm_buffer_pool *pool, uint16_t index);

#ifdef __cplusplus
}
#endif

#endif
