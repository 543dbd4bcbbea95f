// One client connection of the local transport: one system call to send, one to receive, slower ways only when those do not do.

#include "connection.h"

#include <errno.h>
#include <poll.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr int another_token = -EAGAIN;  // of judge(): wait on
constexpr size_t message_bytes = sizeof(ruv_local_header) + RUV_LOCAL_PAYLOAD_MAX;
static_assert(sizeof(ruv_local_header) == 16 && offsetof(ruv_room, payload) - offsetof(ruv_room, header) == 16);

int64_t milliseconds(clockid_t clock) {
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Returns false when the deadline is over.  Signals do not lengthen the wait.
bool wait_until_ready(int descriptor, short events, int64_t deadline) {
    for (;;) {
        const int64_t rest = deadline - milliseconds(CLOCK_MONOTONIC);
        if (rest <= 0) return false;
        timespec time = {static_cast<time_t>(rest / 1000), static_cast<long>(rest % 1000 * 1000000)};
        pollfd poll = {descriptor, events, 0};
        const int ready = ppoll(&poll, 1, &time, nullptr);
        if (ready > 0) return true;
        if (ready < 0 && errno != EINTR) return true;  // the call that follows tells what is wrong
    }
}

int connect_within(int descriptor, const sockaddr_un &address, int wait_ms) {
    const timeval time = {wait_ms / 1000, wait_ms % 1000 * 1000};
    if (setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time) != 0) return -errno;
    if (setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time) != 0) return -errno;
    const int64_t deadline = milliseconds(CLOCK_MONOTONIC) + wait_ms;
    while (connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        if (errno == EAGAIN) return -ETIMEDOUT;  // the server does not accept
        if (errno == EACCES) return -EPERM;      // another user's socket
        if (errno != EINTR) return -errno;
        if (milliseconds(CLOCK_MONOTONIC) >= deadline) return -ETIMEDOUT;
    }
    return ruv_local_is_own_user(descriptor) != 0 ? 0 : -EPERM;
}

// Nothing received is either the end of the connection or a message without a byte.
int judge_nothing(int descriptor) {
    pollfd poll = {descriptor, POLLRDHUP, 0};
    timespec none = {0, 0};
    return ppoll(&poll, 1, &none, nullptr) > 0 ? -ECONNRESET : -EPROTO;
}

// What one recv() with MSG_TRUNC brought: the payload's size, another_token, -EINTR, -ETIMEDOUT, or what ends the connection.
int judge(int descriptor, ssize_t received, uint32_t token, const ruv_local_header &header) {
    if (received < 0) {
        if (errno == EAGAIN) return -ETIMEDOUT;
        return errno == ECONNRESET ? -ECONNABORTED : -errno;
    }
    if (received == 0) return judge_nothing(descriptor);
    if (static_cast<size_t>(received) < sizeof header || static_cast<size_t>(received) > message_bytes) return -EPROTO;
    if (header.magic != RUV_LOCAL_MAGIC || header.flags != RUV_LOCAL_REPLY) return -EPROTO;
    if (header.size != static_cast<size_t>(received) - sizeof header) return -EPROTO;
    return header.token == token ? static_cast<int>(header.size) : another_token;
}

// MSG_TRUNC: the result is the message's true size, also when it is larger than the room.  Descriptors that come with it are
// closed by the kernel, since no room is given for them.
ssize_t receive(int descriptor, ruv_room *room, int flags) {
    return recv(descriptor, &room->header, message_bytes, MSG_TRUNC | flags);
}

int receive_until(int descriptor, uint32_t token, ruv_room *room, int64_t deadline) {
    while (wait_until_ready(descriptor, POLLIN, deadline)) {
        const ssize_t received = receive(descriptor, room, MSG_DONTWAIT);
        const int result = judge(descriptor, received, token, room->header);
        if (result != another_token && result != -EINTR && result != -ETIMEDOUT) return result;
    }
    return -ETIMEDOUT;
}

}  // namespace

int open_connection(const char *directory, uint32_t opcode, int wait_ms) {
    const int trust = ruv_local_check_directory(directory);
    if (trust < 0) return trust;
    char name[12];
    snprintf(name, sizeof name, "%u", opcode);
    sockaddr_un address;
    const int fits = ruv_local_address(&address, directory, name);
    if (fits < 0) return fits;

    const int descriptor = ruv_local_above_standard_streams(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (descriptor < 0) return -errno;
    const int result = connect_within(descriptor, address, wait_ms);
    if (result == 0) return descriptor;
    close(descriptor);
    return result;
}

void close_connection(int descriptor) {
    close(descriptor);
}

int send_request(int descriptor, const ruv_local_header &header, const void *payload, int wait_ms) {
    iovec parts[2] = {{const_cast<ruv_local_header *>(&header), sizeof header}, {const_cast<void *>(payload), header.size}};
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    int64_t deadline = 0;
    while (sendmsg(descriptor, &message, MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
        if (errno != EAGAIN && errno != EINTR) return -errno;
        if (deadline == 0) deadline = milliseconds(CLOCK_MONOTONIC) + wait_ms;
        if (!wait_until_ready(descriptor, POLLOUT, deadline)) return -ETIMEDOUT;
    }
    return 0;
}

int receive_reply(int descriptor, uint32_t token, ruv_room *room, int wait_ms) {
    const int64_t begin = milliseconds(CLOCK_MONOTONIC_COARSE);
    const int result = judge(descriptor, receive(descriptor, room, 0), token, room->header);
    if (result != another_token && result != -EINTR) [[likely]]
        return result;
    return receive_until(descriptor, token, room, begin + wait_ms);
}
