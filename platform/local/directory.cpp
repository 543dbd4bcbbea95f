// Where the local transport lives: the directory's path, whether it may be trusted, its sockets' addresses and peers.

#include "ruv_local.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct explanation {
    int error;
    const char *format;  // takes the path
};

constexpr explanation explanations[] = {
    {ENOENT, "%s does not exist: start the card, or set RUV_DIR to the directory of one that runs"},
    {ENOTDIR, "%s is not a directory (symbolic links are not followed): remove it, or set RUV_DIR to another path"},
    {EPERM, "%s belongs to another user: set RUV_DIR to a directory of your own"},
    {EACCES, "%s may be written by other users: set RUV_DIR to a private directory, or chmod 700 this one if it is yours alone"},
    {ENAMETOOLONG, "%s is too long: a socket's whole path has at most 107 bytes; set RUV_DIR to a shorter one"},
};

int write_path(char *path, size_t room, const char *format, const char *directory, unsigned user) {
    const int length = directory != nullptr ? snprintf(path, room, format, directory) : snprintf(path, room, format, user);
    return length >= 0 && static_cast<size_t>(length) < room ? 0 : -ENAMETOOLONG;
}

// With a slash behind it, a symbolic link would be followed.
size_t length_without_slashes(const char *path) {
    size_t length = strlen(path);
    while (length > 1 && path[length - 1] == '/')
        --length;
    return length;
}

}  // namespace

int ruv_local_directory(char *path, size_t room) {
    // A program that runs with another user's rights takes no directory from the environment.
    const char *chosen = secure_getenv("RUV_DIR");
    if (chosen != nullptr && chosen[0] != '\0') {
        const size_t length = length_without_slashes(chosen);
        if (length >= room) return -ENAMETOOLONG;
        memcpy(path, chosen, length);
        path[length] = '\0';
        return 0;
    }
    const char *runtime = secure_getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] == '/') return write_path(path, room, "%s/ruv", runtime, 0);
    return write_path(path, room, "/tmp/ruv-%u", nullptr, geteuid());
}

int ruv_local_check_directory(const char *path) {
    char bare[sizeof(sockaddr_un::sun_path)];
    const size_t length = length_without_slashes(path);
    if (length >= sizeof bare) return -ENAMETOOLONG;
    memcpy(bare, path, length);
    bare[length] = '\0';

    struct stat found;
    if (lstat(bare, &found) != 0) return errno == EACCES ? -EPERM : -errno;
    if (!S_ISDIR(found.st_mode)) return -ENOTDIR;
    if (found.st_uid != geteuid()) return -EPERM;
    if ((found.st_mode & (S_IWGRP | S_IWOTH)) != 0) return -EACCES;
    return 0;
}

void ruv_local_explain(int error, const char *path, char *text, size_t room) {
    const int code = error < 0 ? -error : error;
    for (const explanation &row : explanations) {
        if (row.error != code) continue;
        snprintf(text, room, row.format, path);
        return;
    }
    char reason[128];
    snprintf(text, room, "%s: %s", path, strerror_r(code, reason, sizeof reason));
}

int ruv_local_is_own_user(int socket) {
    ucred peer = {};
    socklen_t size = sizeof peer;
    return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == geteuid() ? 1 : 0;
}

int ruv_local_above_standard_streams(int descriptor) {
    if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(descriptor);
    errno = error;
    return moved;
}

int ruv_local_address(struct sockaddr_un *address, const char *directory, const char *name) {
    memset(address, 0, sizeof *address);
    address->sun_family = AF_UNIX;
    const int length = snprintf(address->sun_path, sizeof address->sun_path, "%s/%s", directory, name);
    return length >= 0 && static_cast<size_t>(length) < sizeof address->sun_path ? 0 : -ENAMETOOLONG;
}
