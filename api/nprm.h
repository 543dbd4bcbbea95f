/* nprm.h: the client library of the NPRM server, which owns a line card's hardware.  Start here.
 *
 * (1) Operations return an NPRM result code, a uint32_t; 0 is NPRM_OK.  nprm_error_str[] has the codes' names.
 *
 * (2) Outputs are written on NPRM_OK only, unless the operation says otherwise; the TCAM operations may return NPRM_OK and leave
 *     them.
 *
 * (3) Buffers are the caller's.  The few that the library makes say who releases them, and how.
 *
 * (4) Text is zero-terminated.  Records are packed, fields in the host's byte order.
 *
 * (5) One exchange with the server at a time in a process: callers take turns.  What may be called from several threads says so.
 *
 * (6) Operations block until the reply is there, at most 75 receive times of the transport a message; only nprm_init_periodic()
 *     starts threads.
 *
 * (7) Nothing throws, and no host needs a C++ runtime.  The library takes no heap memory to make a request (the ACL insert traces
 *     itself on standard output, which may).
 *
 * (8) Failures are logged once, where they arise, through nprm_syslog(); nprm_syslog_flag chooses what is logged.
 *
 * A host calls ad_init_debug_lib() (util/ad_debug/ad_debug.h) to have its log in the daemon, then nprm_ipc_register_client(), then
 * the operations. */
#ifndef NPRM_H
#define NPRM_H

/* The frame: result codes and logging, memory, shared segments, registration. */
#include "frame/nprm_client.h"
#include "frame/nprm_pool.h"
#include "frame/nprm_result.h"
#include "frame/nprm_shm.h"

/* What can be configured. */
#include "config/nprm_flow_learning.h"
#include "config/nprm_interface.h"
#include "config/nprm_port.h"
#include "config/nprm_service.h"
#include "config/nprm_tcam.h"

/* What can be seen. */
#include "diag/nprm_decode.h"
#include "diag/nprm_dump.h"
#include "diag/nprm_entry_layout.h"
#include "diag/nprm_hw.h"
#include "diag/nprm_registers.h"
#include "stats/nprm_stats.h"

/* Utilities. */
#include "../util/nprm_clock.h"
#include "../util/nprm_entry.h"
#include "../util/nprm_format.h"
#include "../util/nprm_fsm.h"
#include "../util/nprm_hash.h"
#include "../util/nprm_periodic.h"

#endif
