// The socket "control".

#include "control_socket.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "nprm_simcard.h"
#include "platform/local/ruv_local.h"

namespace {

constexpr size_t connections_max = 32;

// The connecting process's user, as the kernel knows it.
bool is_own_user(int connection) {
    ucred peer;
    socklen_t bytes = sizeof peer;
    return getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &bytes) == 0 && peer.uid == geteuid();
}

int open_spare() {
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

void remove_stale_socket(const char *path) {
    struct stat found;
    if (lstat(path, &found) == 0 && S_ISSOCK(found.st_mode)) unlink(path);
}

}  // namespace

control_socket::~control_socket() {
    while (!connections_.empty())
        drop(connections_.back());
    if (listener_ < 0) return;
    loop_.unwatch(listener_);
    unlink(path_.c_str());
    close(listener_);
    close(spare_);
}

void control_socket::listen(const std::string &directory) {
    sockaddr_un address;
    if (const int error = ruv_local_address(&address, directory.c_str(), RUV_LOCAL_CONTROL); error != 0)
        throw std::runtime_error(directory + "/" RUV_LOCAL_CONTROL ": " + std::strerror(-error) + "; choose a shorter directory");
    remove_stale_socket(address.sun_path);
    const int listener = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const mode_t mask = umask(0077);
    const bool is_bound = listener >= 0 && bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    const int bind_error = errno;
    umask(mask);
    if (!is_bound || ::listen(listener, static_cast<int>(connections_max)) != 0) {
        const int error = is_bound ? errno : bind_error;
        if (listener >= 0) close(listener);
        if (is_bound) unlink(address.sun_path);
        throw std::runtime_error(std::string(address.sun_path) + ": " + std::strerror(error) +
                                 (error == EADDRINUSE ? "; something that is no socket stands there, remove it" : ""));
    }
    path_ = address.sun_path;
    listener_ = listener;
    spare_ = open_spare();
    loop_.watch(listener_, [this] { accept_connections(); });
}

void control_socket::accept_connections() {
    for (;;) {
        const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (connection < 0 && (errno == EMFILE || errno == ENFILE) && turn_one_away()) continue;
        if (connection < 0) return;
        if (!is_own_user(connection) || connections_.size() >= connections_max) {
            close(connection);
            continue;
        }
        connections_.push_back(connection);
        loop_.watch(connection, [this, connection] { serve(connection); });
    }
}

// Out of descriptors: without this the waiting client would keep the event loop busy.
bool control_socket::turn_one_away() {
    close(spare_);
    const int connection = accept(listener_, nullptr, nullptr);
    if (connection >= 0) close(connection);
    spare_ = open_spare();
    return connection >= 0;
}

void control_socket::serve(int connection) {
    static std::array<char, NPRM_SIMCARD_CONTROL_MAX + 1> request;  // one more, to tell what is too long
    const ssize_t bytes = recv(connection, request.data(), request.size(), 0);
    if (bytes < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (bytes <= 0) return drop(connection);
    const std::string answer = answer_({request.data(), static_cast<size_t>(bytes)});
    // A client that does not read its answers is left.
    if (send(connection, answer.data(), answer.size(), MSG_NOSIGNAL) < 0) drop(connection);
}

void control_socket::drop(int connection) {
    loop_.unwatch(connection);
    std::erase(connections_, connection);
    close(connection);
}
