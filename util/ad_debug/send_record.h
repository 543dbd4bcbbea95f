// The one place that sends a message to the log daemon.
#ifndef AD_SEND_RECORD_H
#define AD_SEND_RECORD_H

#include <cstddef>

#include <sys/un.h>

// Sends text and what a datagram ends with; standard error gets it when it cannot be sent.  The nine bytes behind the text are
// written for that and come back as they were.  Changes errno.  Returns the bytes sent, 0 or -1.
unsigned int send_record(const sockaddr_un &to, char *text, size_t text_bytes);

#endif
