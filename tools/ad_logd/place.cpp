// A socket's place in the file system.

#include "place.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t permissions = 0777;
constexpr int receive_bytes = 4 << 20;
constexpr int dying_tries = 30;
constexpr useconds_t dying_step_us = 10'000;
constexpr const char *queue_setting = "/proc/sys/net/unix/max_dgram_qlen";

std::runtime_error refused(const std::string &path, const std::string &why) {
    return std::runtime_error(path + ": " + why);
}

unsigned queue_default() {
    unsigned length = 0;
    std::ifstream(queue_setting) >> length;
    return length;
}

// A socket keeps the queue's length that the setting has when it is made: the setting is raised for that moment alone.  Where that
// is not allowed, the socket has the default.
unique_fd socket_with_queue(int type, unsigned queue) {
    const unsigned before = queue_default();
    const bool raise = queue > before && before != 0;
    if (raise) std::ofstream(queue_setting) << queue;
    unique_fd made(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (raise) std::ofstream(queue_setting) << before;
    if (made.get() < 0) throw std::runtime_error(std::string("no socket can be had: ") + std::strerror(errno));
    if (setsockopt(made.get(), SOL_SOCKET, SO_RCVBUFFORCE, &receive_bytes, sizeof receive_bytes) != 0)
        setsockopt(made.get(), SOL_SOCKET, SO_RCVBUF, &receive_bytes, sizeof receive_bytes);
    return made;
}

// Whether a process reads there.  One that is being killed gives up its lock a moment before its sockets.
bool is_alive(const sockaddr_un &address, int type) {
    for (int tries = 0; tries < dying_tries; ++tries) {
        const unique_fd probe(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        if (connect(probe.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 && errno == ECONNREFUSED)
            return false;
        usleep(dying_step_us);
    }
    return true;
}

// The process that listens at a log socket's live stream, 0 when it cannot be told.  A datagram socket does not tell itself.
pid_t listener_at(const std::string &path) {
    if (path.size() >= sizeof sockaddr_un::sun_path) return 0;
    const sockaddr_un address = address_of(path);
    const unique_fd probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    ucred peer{};
    socklen_t bytes = sizeof peer;
    const bool is_told = connect(probe.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
                         getsockopt(probe.get(), SOL_SOCKET, SO_PEERCRED, &peer, &bytes) == 0;
    return is_told ? peer.pid : 0;
}

std::string named(pid_t holder) {
    return holder > 0 ? ", process " + std::to_string(holder) : "";
}

void remove_stale(const std::string &path, const sockaddr_un &address, int type) {
    struct stat there {};
    if (lstat(path.c_str(), &there) != 0) {
        if (errno == ENOENT) return;
        throw refused(path, std::strerror(errno));
    }
    if (S_ISLNK(there.st_mode)) throw refused(path, "is a symbolic link; nothing is put in its place");
    if (!S_ISSOCK(there.st_mode)) throw refused(path, "is no socket; nothing is put in its place");
    if (there.st_uid != geteuid()) throw refused(path, "belongs to user " + std::to_string(there.st_uid));
    if (is_alive(address, type))
        throw refused(path, "another process reads this socket" + named(listener_at(type == SOCK_DGRAM ? path + ".follow" : path)));
    if (unlink(path.c_str()) != 0) throw refused(path, std::strerror(errno));
}

}  // namespace

sockaddr_un address_of(const std::string &path) {
    sockaddr_un address = {AF_UNIX, {}};
    if (path.empty() || path.size() >= sizeof address.sun_path)
        throw refused(path, "a socket's path has 1 to " + std::to_string(sizeof address.sun_path - 1) + " bytes, this has " +
                                std::to_string(path.size()));
    path.copy(address.sun_path, path.size());
    return address;
}

unique_fd lock_place(const std::string &path) {
    address_of(path);
    const std::string name = path + ".lock";
    unique_fd file(open(name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    if (file.get() < 0) throw refused(name, errno == ELOOP ? "is a symbolic link" : std::strerror(errno));
    struct stat there {};
    if (fstat(file.get(), &there) != 0) throw refused(name, std::strerror(errno));
    if (!S_ISREG(there.st_mode)) throw refused(name, "is no regular file");
    if (there.st_uid != geteuid()) throw refused(name, "belongs to user " + std::to_string(there.st_uid));

    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (fcntl(file.get(), F_SETLK, &whole) == 0) return file;
    const int error = errno;
    if (error != EACCES && error != EAGAIN) throw refused(name, std::strerror(error));
    struct flock holder = whole;
    const bool is_known = fcntl(file.get(), F_GETLK, &holder) == 0 && holder.l_type != F_UNLCK;
    throw refused(path, "a log daemon reads here already" + named(is_known ? holder.l_pid : 0));
}

unique_fd bind_place(const std::string &path, int type, mode_t mode, unsigned queue) {
    const sockaddr_un address = address_of(path);
    remove_stale(path, address, type);
    unique_fd made = socket_with_queue(type, queue);
    const mode_t before = umask(permissions & ~mode);
    const int bound = bind(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    const int error = errno;
    umask(before);
    if (bound != 0) throw refused(path, std::strerror(error));
    return made;
}

bool read_mode(const std::string &text, mode_t &mode) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), mode, 8);
    return error == std::errc{} && end == text.data() + text.size() && mode <= permissions;
}
