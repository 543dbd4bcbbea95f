// An existing log system: RFC 5424 messages to the local syslog socket, or over TCP with octet counting.

#include "syslog_sink.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <stdexcept>

#include <netdb.h>
#include <netinet/in.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr size_t queue_bytes_max = 4 << 20;
constexpr size_t loss_bytes = 512;  // kept free for the message that tells of losses
constexpr int64_t pause_ms_first = 200, pause_ms_max = 10'000;

int64_t monotonic_ms() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

socklen_t address_of_path(const std::string &path, sockaddr_storage &address) {
    sockaddr_un local = {AF_UNIX, {}};
    if (path.size() >= sizeof local.sun_path) throw std::runtime_error(path + ": the path is longer than a socket's path can be");
    path.copy(local.sun_path, path.size());
    std::memcpy(&address, &local, sizeof local);
    return sizeof local;
}

socklen_t address_of_host(const std::string &target, sockaddr_storage &address) {
    const std::runtime_error wrong("\"" + target + "\" is no log system: a path, ADDRESS:PORT or [ADDRESS]:PORT is");
    const size_t colon = target.rfind(':');
    if (colon == std::string::npos) throw wrong;
    std::string host = target.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
    addrinfo wanted = {}, *found = nullptr;
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    if (getaddrinfo(host.c_str(), target.c_str() + colon + 1, &wanted, &found) != 0) throw wrong;
    const socklen_t bytes = found->ai_addrlen;
    std::memcpy(&address, found->ai_addr, bytes);
    freeaddrinfo(found);
    return bytes;
}

}  // namespace

syslog_sink::syslog_sink(const std::string &target, unsigned facility) : facility_(facility), queue_(queue_bytes_max) {
    address_bytes_ = target.starts_with('/') ? address_of_path(target, address_) : address_of_host(target, address_);
    char name[256] = "";
    if (gethostname(name, sizeof name - 1) == 0) host_ = name;
}

bool syslog_sink::queue_message(const record &what) {
    std::string message;
    append_syslog_message(message, what, facility_, host_);
    if (address_.ss_family != AF_UNIX) message.insert(0, std::to_string(message.size()) + " ");
    return queue_.push(std::move(message));
}

// Once the queue has shrunk by half, so that a slow log system is not told again and again.
void syslog_sink::tell_losses() {
    if (untold() == 0 || !queue_.has_room_for(queue_bytes_max / 2)) return;
    const std::string text = loss_text();
    if (queue_message(own_record(text))) told(untold());
}

void syslog_sink::add(const record &what) {
    tell_losses();
    const bool has_room = queue_.has_room_for(loss_bytes);
    if (!has_room || !queue_message(what)) lose(1, reason_.c_str());
}

void syslog_sink::begin_connection() {
    const int64_t now = monotonic_ms();
    if (now < next_attempt_ms_) return;
    pause_ms_ = pause_ms_ == 0 ? pause_ms_first : std::min(2 * pause_ms_, pause_ms_max);
    next_attempt_ms_ = now + pause_ms_;
    const int type = address_.ss_family == AF_UNIX ? SOCK_DGRAM : SOCK_STREAM;
    socket_.reset(socket(address_.ss_family, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (socket_.get() < 0) {
        reason_ = std::strerror(errno);
        return;
    }
    is_connecting_ = true;
    if (connect(socket_.get(), reinterpret_cast<const sockaddr *>(&address_), address_bytes_) != 0 && errno != EINPROGRESS)
        end_connection(std::strerror(errno));
}

// Whether messages can be sent.  A peer that closes is noticed before the next message is given to the dead connection.
bool syslog_sink::is_connected() {
    if (socket_.get() < 0) begin_connection();
    if (socket_.get() < 0) return false;
    pollfd state = {socket_.get(), static_cast<short>(POLLIN | (is_connecting_ ? POLLOUT : 0)), 0};
    if (poll(&state, 1, 0) <= 0) return !is_connecting_;
    int error = 0;
    socklen_t bytes = sizeof error;
    getsockopt(socket_.get(), SOL_SOCKET, SO_ERROR, &error, &bytes);
    char ignored[512];
    if (error == 0 && (state.revents & POLLIN) != 0 && recv(socket_.get(), ignored, sizeof ignored, MSG_DONTWAIT) == 0)
        error = ECONNRESET;
    if (error == 0 && (state.revents & (POLLHUP | POLLERR)) != 0) error = ECONNRESET;
    if (error != 0) {
        end_connection(std::strerror(error));
        return false;
    }
    if ((state.revents & POLLOUT) != 0) {
        is_connecting_ = false;
        pause_ms_ = 0;
    }
    return !is_connecting_;
}

void syslog_sink::end_connection(const char *reason) {
    reason_ = std::string("the log system is not reached: ") + reason;
    socket_.reset();
    is_connecting_ = false;
    queue_.begin_again();
}

void syslog_sink::flush() {
    tell_losses();
    if (queue_.empty() && socket_.get() < 0) return;
    if (!is_connected()) return;
    size_t refused = 0;
    const int error = queue_.send_to(socket_.get(), refused);
    if (error != 0)
        end_connection(std::strerror(error));
    else
        reason_ = "the log system takes records too slowly";
    lose(refused, "longer than the log system takes");
    tell_losses();
}

void syslog_sink::watch(std::vector<pollfd> &watched) const {
    if (socket_.get() < 0) return;
    const bool wants_out = is_connecting_ || !queue_.empty();
    watched.push_back({socket_.get(), static_cast<short>(POLLIN | (wants_out ? POLLOUT : 0)), 0});
}

void syslog_sink::give_up() {
    lose(queue_.size(), "the daemon ends");
    queue_.clear();
}
