// Messages on their way to a socket that may be slow.

#include "outgoing.h"

#include <cerrno>

#include <sys/socket.h>

bool outgoing::push(std::string message) {
    if (!has_room_for(message.size())) return false;
    bytes_ += message.size();
    messages_.push_back(std::move(message));
    return true;
}

int outgoing::send_to(int fd, size_t &refused) {
    while (!messages_.empty()) {
        const std::string &first = messages_.front();
        const ssize_t bytes = send(fd, first.data() + sent_, first.size() - sent_, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (bytes < 0) {
            if (errno == EINTR) continue;
            if (errno == EAGAIN || errno == ENOBUFS) return 0;
            if (errno != EMSGSIZE) return errno;
            ++refused;
        } else {
            sent_ += static_cast<size_t>(bytes);
            if (sent_ < first.size()) continue;
        }
        bytes_ -= first.size();
        messages_.pop_front();
        sent_ = 0;
    }
    return 0;
}

void outgoing::clear() {
    messages_.clear();
    bytes_ = sent_ = 0;
}
