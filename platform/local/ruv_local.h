/* ruv_local.h: where the local transport lives, and what travels on it.
 *
 * One directory holds everything that one simulated card serves: a listening AF_UNIX SOCK_SEQPACKET socket an opcode, named by
 * the opcode's decimal digits ("190491"), and the card's control socket ("control").  The directory must belong to the
 * user and be closed to writing by others (it is created with mode 0700), so that nobody else can put a server there.
 *
 * One datagram is one message: the 16-byte header below, then the payload.  Host byte order. */
#ifndef RUV_LOCAL_H
#define RUV_LOCAL_H

#include <stddef.h>
#include <stdint.h>
#include <sys/un.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    RUV_LOCAL_MAGIC = 0x31565552, /* "RUV1" */
    RUV_LOCAL_REPLY = 1,          /* flags: set on replies, clear on requests */
    RUV_LOCAL_PAYLOAD_MAX = 65536 /* bytes */
};

typedef struct ruv_local_header {
    uint32_t magic; /* RUV_LOCAL_MAGIC */
    uint32_t token; /* chosen by the client, given back by the server */
    uint32_t size;  /* payload bytes that follow */
    uint32_t flags;
} ruv_local_header;

#define RUV_LOCAL_CONTROL "control"

/* Writes the directory's path: the environment's RUV_DIR, else "ruv" under XDG_RUNTIME_DIR, else "/tmp/ruv-UID".
 *   path: the caller's, room bytes, terminated on success
 * Returns 0 or -ENAMETOOLONG. */
int ruv_local_directory(char *path, size_t room);

/* Tells whether the directory may be trusted: a directory (no symbolic link), owned by the effective user, not writable by others.
 * Returns 0, -ENOENT, -ENOTDIR, -EPERM (another owner, or out of reach), -EACCES (writable by group or others) or -ENAMETOOLONG;
 * else what lstat(2) said. */
int ruv_local_check_directory(const char *path);

/* Writes one line, without newline, that says what is wrong with path and what to do about it.   error: a code that one of the
 * calls here returned.   Always terminated inside room. */
void ruv_local_explain(int error, const char *path, char *text, size_t room);

/* Forms the address of the socket called name in the directory.
 * Returns 0, or -ENAMETOOLONG when the path and its terminator do not fit the 108 bytes that a socket address holds. */
int ruv_local_address(struct sockaddr_un *address, const char *directory, const char *name);

/* Tells whether the process at the other end of a connected socket runs as the effective user, as the kernel knows it.
 * Returns 1 or 0. */
int ruv_local_is_own_user(int socket);

/* Moves a new descriptor above those of the standard streams: a process that was started with one of them closed must not find its
 * messages on our connection.   descriptor: closed when it is moved; a negative one is returned as it is
 * Returns the descriptor to use, or -1 with errno. */
int ruv_local_above_standard_streams(int descriptor);

#ifdef __cplusplus
}
#endif

#endif
