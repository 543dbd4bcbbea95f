// A request's way out and its reply's way in, inside the library.
#ifndef NPRM_FRAME_TRANSPORT_H
#define NPRM_FRAME_TRANSPORT_H

#include "nprm_client.h"

// Takes a request buffer and writes operation and units into its header; the rest of the buffer is what an earlier request left.
// Returns null when the server is not ready or all buffers are taken; errno holds the result code then.
void *nprm_prep_ipc_msg(uint32_t operation, uint32_t units);

#endif
