// A socket's place in the file system: held by one daemon, and never taken from anyone else.
#ifndef AD_LOGD_PLACE_H
#define AD_LOGD_PLACE_H

#include "sink.h"

#include <string>

#include <sys/types.h>
#include <sys/un.h>

// The address of a path.  Throws std::runtime_error when the path does not fit.
sockaddr_un address_of(const std::string &path);

// Locks "PATH.lock" for as long as the descriptor is open.  Throws std::runtime_error, which names the process that holds it, or
// says why the file is not one to be locked, or why the path is none for a socket.
unique_fd lock_place(const std::string &path);

// Binds a socket of the type (SOCK_...) there, with exactly the mode and whatever the umask.  A socket of ours that nobody reads
// any more is replaced.  Throws std::runtime_error for whatever else is there already. Requires the place's lock.   queue: how many
// datagrams the socket is to hold; the kernel's default otherwise
unique_fd bind_place(const std::string &path, int type, mode_t mode, unsigned queue = 0);

// The mode is octal text as in "0660".  False when it is none.
bool read_mode(const std::string &text, mode_t &mode);

#endif
