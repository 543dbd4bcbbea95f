/* Registration with the server, and one request/reply exchange. */
#ifndef NPRM_CLIENT_H
#define NPRM_CLIENT_H

#include "../wire/nprm_message.h"
#include "nprm_result.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { NPRM_RECEIVE_ATTEMPTS = 75 };

/* Makes this process a client: sets the request pool up, binds a transport endpoint and attaches the server's status word.
 * May be called again, after a server came up late or to bind anew; when that fails to bind, no request can be sent until it
 * succeeds.
 * Returns 1 when the status word is attached, else 0; the endpoint stays bound in that case.
 * Blocks: no.   Threads: before others call the library. */
NPRM_API uint32_t nprm_ipc_register_client(void);

/* Takes a request buffer of 65,536 bytes; nprm_ipc_send_msg() or nprm_free() gives it back.
 * Returns null when all eleven are taken, or before registration.   Threads: any. */
NPRM_API void *nprm_ipc_msg_malloc(void);

/* Sends a request and waits for its reply, which then lies in the library's reply area.
 *   component: 0 to 10;   request: from nprm_ipc_msg_malloc(), given back on every path;   size: bytes of it to send
 *   attempts: receive calls at most; 0 or less means NPRM_RECEIVE_ATTEMPTS
 * Returns NPRM_OK, NPRM_ERROR_IPC_SEND, NPRM_ERROR_NOT_READY (the server went away), NPRM_ERROR_TIMEOUT,
 * NPRM_ERROR_PARAM (no such component, or more than 65,536 bytes) or NPRM_ERROR (a malformed reply).
 * Blocks: attempts times the transport's receive time.   Threads: one exchange at a time in a process. */
NPRM_API uint32_t nprm_ipc_send_msg(uint32_t component, void *request, uint32_t size, int attempts);

/* Converts a reply into the reply area, as nprm_ipc_send_msg() does with each reply that it receives, and so makes it the
 * component's unread reply.  Components that are not there, and those without records, are ignored.
 *   reply: has the bytes that its header claims, up to 65,536; all 65,536 when it is a list of service contexts
 * Blocks: no.   Threads: as an exchange. */
NPRM_API void nprm_api_ipc_msg_handler(uint32_t component, const void *reply);

#ifdef __cplusplus
}
#endif

#endif
