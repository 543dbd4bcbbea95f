// The socket "control".

#include "control_socket.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "nprm_simcard.h"
#include "platform/local/ruv_local.h"

namespace {

constexpr size_t connections_max = 32;

int open_spare() {
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

}  // namespace

control_socket::~control_socket() {
    while (!connections_.empty())
        drop(connections_.back());
    if (!listener_) return;
    loop_.unwatch(listener_->get());
    close(spare_);
}

void control_socket::listen(const std::string &directory) {
    listener_.emplace(directory, RUV_LOCAL_CONTROL);
    spare_ = open_spare();
    loop_.watch(listener_->get(), [this] { accept_connections(); });
}

void control_socket::accept_connections() {
    for (;;) {
        const int connection = accept4(listener_->get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (connection < 0 && (errno == EMFILE || errno == ENFILE) && turn_one_away()) continue;
        if (connection < 0) return;
        if (ruv_local_is_own_user(connection) == 0 || connections_.size() >= connections_max) {
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
    const int connection = accept(listener_->get(), nullptr, nullptr);
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
