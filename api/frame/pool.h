// The process's list of pools, inside the library.
#ifndef NPRM_FRAME_POOL_H
#define NPRM_FRAME_POOL_H

#include "nprm_pool.h"

// All initialised pools, by ascending size; pools of equal size in the order of their initialisation.
extern nprm_buffer_pool *nprm_pool_list;

#endif
