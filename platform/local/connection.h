// One client connection of the local transport: opened, checked, sent on, received from.  No state but the descriptor.
#ifndef RUV_CONNECTION_H
#define RUV_CONNECTION_H

#include <stdint.h>

#include "ruv_local.h"

// Room for one message, header and payload side by side, so that one recv() fills both.
struct ruv_room {
    unsigned char unused[4096 - sizeof(ruv_local_header)];  // puts the payload on a page of its own
    ruv_local_header header;
    unsigned char payload[RUV_LOCAL_PAYLOAD_MAX];
};

// Connects to the opcode's socket: the directory must be ours alone, the server must run as the same user.
//   wait_ms: bounds the connecting here and each first wait in receive_reply()
// Returns the descriptor or a negative error number.
int open_connection(const char *directory, uint32_t opcode, int wait_ms);

void close_connection(int descriptor);

// Sends one message.   Returns 0 or a negative error number: then nothing of it has left.
int send_request(int descriptor, const ruv_local_header &header, const void *payload, int wait_ms);

// Waits for the reply with this token; well-formed replies with other tokens are thrown away.
// Returns the payload's size, or a negative error number: -ETIMEDOUT leaves the connection usable, after others it is not:
// -EPROTO (malformed), -ECONNABORTED (the server ended with the request unread), -ECONNRESET (it ended, or closed the connection).
int receive_reply(int descriptor, uint32_t token, ruv_room *room, int wait_ms);

#endif
