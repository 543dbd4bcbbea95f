// The free list's two ends, inside the library.
#ifndef NPRM_FRAME_POOL_H
#define NPRM_FRAME_POOL_H

#include "nprm_pool.h"

// All initialised pools, by ascending size; pools of equal size in the order of their initialisation.
extern nprm_buffer_pool *nprm_pool_list;

// Appends a link to its pool's free list, and reports one that was not taken exactly once.
void nprm_enqueue_link(nprm_link *link);

// Removes the head of the free list; null when the pool is empty.
nprm_link *nprm_dequeue_link(nprm_buffer_pool *pool);

#endif
