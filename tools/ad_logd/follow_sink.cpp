// The live stream: JSON lines to whoever connects to the socket beside the log socket.

#include "follow_sink.h"

#include <cerrno>

#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr size_t queue_bytes_max = 1 << 20;

bool is_allowed(int socket) {
    ucred peer{};
    socklen_t bytes = sizeof peer;
    return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &bytes) == 0 && (peer.uid == geteuid() || peer.uid == 0);
}

}  // namespace

follow_sink::follow_sink(unique_fd listener) : listener_(std::move(listener)) {}

void follow_sink::add(const record &what) {
    if (followers_.empty()) return;
    line_.clear();
    append_json_line(line_, what);
    for (follower &reader : followers_) {
        tell_losses(reader);
        if (!reader.queue.push(line_)) {
            ++reader.untold;
            lose(1, "a reader is too slow");
            told(1);  // by the reader's own count
        }
    }
}

void follow_sink::tell_losses(follower &reader) {
    if (reader.untold == 0 || !reader.queue.has_room_for(queue_bytes_max / 2)) return;
    std::string line;
    append_json_line(line, own_record(loss_text(reader.untold, "this reader is too slow")));
    if (reader.queue.push(std::move(line))) reader.untold = 0;
}

void follow_sink::accept_new() {
    for (;;) {
        unique_fd taken(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        may_accept_ = taken.get() >= 0 || (errno != EMFILE && errno != ENFILE && errno != ENOMEM && errno != ENOBUFS);
        if (taken.get() < 0) return;
        if (!is_allowed(taken.get())) continue;
        if (followers_.size() < followers_max) {
            followers_.push_back({std::move(taken), outgoing(queue_bytes_max), 0});
            continue;
        }
        std::string line;
        append_json_line(line, own_record("you are not taken: " + std::to_string(followers_max) + " follow already"));
        send(taken.get(), line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    }
}

// False when the reader is gone.
bool follow_sink::serve(follower &reader) {
    char ignored[512];
    const ssize_t said = recv(reader.socket.get(), ignored, sizeof ignored, MSG_DONTWAIT);
    if (said == 0 || (said < 0 && errno != EAGAIN && errno != EINTR)) return false;
    size_t refused = 0;
    if (reader.queue.send_to(reader.socket.get(), refused) != 0) return false;
    if (reader.untold == 0) return true;
    tell_losses(reader);
    return reader.queue.send_to(reader.socket.get(), refused) == 0;
}

void follow_sink::flush() {
    accept_new();
    std::erase_if(followers_, [this](follower &reader) { return !serve(reader); });
}

// A reader that cannot be taken yet would wake the daemon again and again; it is tried again with the next flush() instead.
void follow_sink::watch(std::vector<pollfd> &watched) const {
    if (may_accept_) watched.push_back({listener_.get(), POLLIN, 0});
    for (const follower &reader : followers_)
        watched.push_back({reader.socket.get(), static_cast<short>(POLLIN | (reader.queue.empty() ? 0 : POLLOUT)), 0});
}

bool follow_sink::is_waiting() const {
    if (!may_accept_) return true;
    for (const follower &reader : followers_)
        if (!reader.queue.empty() || reader.untold != 0) return true;
    return false;
}

void follow_sink::give_up() {
    for (follower &reader : followers_)
        lose(reader.queue.size(), "the daemon ends");
    followers_.clear();
}
