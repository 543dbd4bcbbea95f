/* ruv.h: what the card's message transport provides.
 *
 * A client binds an endpoint, sends requests to server components (each registered under an opcode) and receives the reply
 * that carries the request's token.  libnprm.so finds the transport at load time by its soname, libruv.so.1: on a card the
 * platform's own library, on a developer's machine the stand-in of platform/local.
 *
 * Threads: calls on different handles are independent; calls on one handle are made by one thread at a time. */
#ifndef RUV_H
#define RUV_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define RUV_API __attribute__((visibility("default")))

/* A sent or received message.  Opaque: the caller gives the room, the transport fills it, ruv_drop() ends it. */
typedef struct ruv_message {
    uint64_t opaque[8];
} ruv_message;

/* Binds a new endpoint for this process.
 *   sap_class, sap: 4 and -1 ask for any dynamic service access point;  parameters: six words;  name: shown in diagnostics
 * Returns the endpoint's handle, or 0xFFFFFFFF when none can be had.   Blocks: no. */
RUV_API uint32_t ruv_bind(uint32_t sap_class, int32_t sap, const uint32_t parameters[6], const char *name);

/* Copies the payload and sends it, as a request that expects a reply, to the component registered under opcode.
 *   size: bytes of payload;   sent: the caller's room, filled on success;   options: seventeen words, the first is 1
 * Returns 0 or more, or a negative value when the request did not leave: it was surely not executed.
 * Owns: the payload stays the caller's and may be reused at once.   Blocks: until the peer has room, for a bounded time. */
RUV_API int32_t ruv_send(uint32_t handle, uint32_t domain, uint32_t service, uint32_t opcode, const void *payload, uint32_t size,
                         ruv_message *sent, uint32_t flags, const uint32_t options[17]);

/* Returns the token that pairs a sent request with its reply. */
RUV_API uint32_t ruv_rr_token_get(const ruv_message *sent);

/* Waits for the reply that carries the token in options[3]; replies with other tokens are thrown away.
 *   received: the caller's room, filled on success;   options: ten words, words 0 and 2 are 1, word 3 is the token
 * Returns 0 or more with a message, or a negative value on time-out or failure.   Blocks: for a bounded time, whatever signals
 * come. */
RUV_API int32_t ruv_recv(uint32_t handle, ruv_message *received, const uint32_t options[10]);

/* Returns the payload's size in bytes. */
RUV_API uint32_t ruv_payload_size(const ruv_message *received);

/* Returns the payload's address, valid until the message is dropped.   size, sent: hints that a transport may ignore; sent may be a
 * message that was dropped already. */
RUV_API void *ruv_payload_get(const ruv_message *received, uint32_t size, const ruv_message *sent);

/* Releases a sent or received message.   Returns 0, or a negative value when the message holds nothing. */
RUV_API int32_t ruv_drop(uint32_t handle, ruv_message *message);

#ifdef __cplusplus
}
#endif

#endif
