// The server half of the local transport: one epoll set over the listening sockets, the connections and what else is watched.

#include "ruv_server.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>
#include <vector>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include "ruv_local.h"
#include "server_directory.h"

namespace {

// What an event belongs to: the two high bits say what, the rest which one.
constexpr uint64_t kind_mask = 3ull << 62;
constexpr uint64_t of_connection = 0;
constexpr uint64_t of_listener = 1ull << 62;
constexpr uint64_t of_watched = 2ull << 62;

// A peer's name is a number that is never given twice, above its place in the table of connections.
constexpr unsigned place_bits = 20;
constexpr uint64_t place_mask = (1ull << place_bits) - 1;

constexpr size_t message_bytes = sizeof(ruv_local_header) + RUV_LOCAL_PAYLOAD_MAX;

struct connection {
    uint64_t peer = 0;  // 0: the place is free
    uint32_t opcode = 0;
    owned_descriptor socket;
};

struct listener {
    uint32_t opcode;
    listening_socket socket;
    bool starved = false;  // clients wait that could not be accepted for want of descriptors or memory
};

bool well_formed(const ruv_local_header &header, size_t received) {
    return header.magic == RUV_LOCAL_MAGIC && header.flags == 0 && header.size == received - sizeof header;
}

}  // namespace

struct ruv_server::state {
    handler handle;
    owned_descriptor poll_set;
    std::optional<server_lock> lock;
    std::vector<listener> listeners;
    std::vector<connection> connections;
    std::vector<size_t> free_places;
    std::map<int, std::function<void()>> watched;
    uint64_t last_serial = 0;
    counters count = {};
    bool any_starved = false;
    alignas(ruv_local_header) std::array<std::byte, message_bytes> buffer;

    explicit state(handler with) : handle(std::move(with)), poll_set(epoll_create1(EPOLL_CLOEXEC)) {
        if (poll_set.get() < 0) throw std::runtime_error(std::string("epoll_create1: ") + std::strerror(errno));
    }

    bool add(int descriptor, uint32_t events, uint64_t tag) {
        epoll_event event = {};
        event.events = events;
        event.data.u64 = tag;
        return epoll_ctl(poll_set.get(), EPOLL_CTL_ADD, descriptor, &event) == 0;
    }

    connection *find(uint64_t peer) {
        const size_t place = peer & place_mask;
        return peer != 0 && place < connections.size() && connections[place].peer == peer ? &connections[place] : nullptr;
    }

    void drop(connection &link) {
        free_places.push_back(link.peer & place_mask);
        link.peer = 0;
        owned_descriptor ends(std::move(link.socket));
        --count.connections;
    }

    void keep(owned_descriptor socket, uint32_t opcode) {
        if (free_places.empty()) {
            if (connections.size() > place_mask) return;
            free_places.push_back(connections.size());
            connections.emplace_back();
        }
        const size_t place = free_places.back();
        const uint64_t peer = ++last_serial << place_bits | place;
        if (!add(socket.get(), EPOLLIN | EPOLLRDHUP, of_connection | peer)) return;
        free_places.pop_back();
        connections[place].peer = peer;
        connections[place].opcode = opcode;
        connections[place].socket = std::move(socket);
        ++count.connections;
    }

    // The listening sockets tell each arrival once: one that cannot be accepted now makes no busy loop.
    void accept_from(listener &from) {
        from.starved = false;
        for (;;) {
            owned_descriptor socket(accept4(from.socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
            if (socket.get() >= 0) {
                if (ruv_local_is_own_user(socket.get()) != 0)
                    keep(std::move(socket), from.opcode);
                else
                    ++count.refused_peers;
                continue;
            }
            if (errno == EINTR || errno == ECONNABORTED) continue;
            from.starved = errno != EAGAIN;
            any_starved = any_starved || from.starved;
            return;
        }
    }

    void accept_starved() {
        if (!any_starved) return;
        any_starved = false;
        for (listener &from : listeners)
            if (from.starved) accept_from(from);
    }

    // A message without a byte and the end of the connection look alike to recv(); the event tells them apart.
    void receive_from(connection &link, uint32_t events) {
        const ssize_t received = recv(link.socket.get(), buffer.data(), buffer.size(), MSG_TRUNC);
        if (received < 0) {
            if (errno != EAGAIN && errno != EINTR) drop(link);
            return;
        }
        if (received == 0 && (events & (EPOLLRDHUP | EPOLLHUP)) != 0) return drop(link);
        ruv_local_header header;
        const auto size = static_cast<size_t>(received);
        if (size >= sizeof header) std::memcpy(&header, buffer.data(), sizeof header);
        if (size < sizeof header || size > buffer.size() || !well_formed(header, size)) {
            ++count.malformed;
            return drop(link);
        }
        ++count.requests;
        handle({link.opcode, header.token, link.peer, std::span(buffer).subspan(sizeof header, header.size)});
    }

    void serve(uint64_t tag, uint32_t events) {
        const uint64_t which = tag & ~kind_mask;
        if ((tag & kind_mask) == of_connection) {
            if (connection *link = find(which)) receive_from(*link, events);
        } else if ((tag & kind_mask) == of_listener) {
            if (which < listeners.size()) accept_from(listeners[static_cast<size_t>(which)]);
        } else if (const auto found = watched.find(static_cast<int>(which)); found != watched.end()) {
            const std::function<void()> ready = found->second;  // it may unwatch itself
            ready();
        }
    }

    bool lose_reply(connection *link) {
        ++count.lost_replies;
        if (link != nullptr) drop(*link);
        return false;
    }

    bool send_to(uint64_t peer, const iovec *parts, size_t part_count) {
        connection *link = find(peer);
        if (link == nullptr) return lose_reply(link);
        msghdr message = {};
        message.msg_iov = const_cast<iovec *>(parts);
        message.msg_iovlen = part_count;
        ssize_t sent = -1;
        do
            sent = sendmsg(link->socket.get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        while (sent < 0 && errno == EINTR);
        if (sent < 0) return lose_reply(link);
        ++count.replies;
        return true;
    }
};

ruv_server::ruv_server(handler handle) : state_(std::make_unique<state>(std::move(handle))) {}

ruv_server::~ruv_server() {
    close();
}

void ruv_server::listen(const std::string &directory, std::span<const uint32_t> opcodes) {
    state_->lock.emplace(directory);
    try {
        state_->listeners.reserve(opcodes.size());
        for (const uint32_t opcode : opcodes) {
            state_->listeners.push_back({opcode, listening_socket(directory, std::to_string(opcode))});
            const uint64_t tag = of_listener | (state_->listeners.size() - 1);
            if (!state_->add(state_->listeners.back().socket.get(), EPOLLIN | EPOLLET, tag))
                throw std::runtime_error(directory + ": cannot wait for clients: " + std::strerror(errno));
        }
    } catch (...) {
        close();
        throw;
    }
}

int ruv_server::descriptor() const {
    return state_->poll_set.get();
}

void ruv_server::dispatch(int wait_ms) {
    std::array<epoll_event, 64> events;
    const int ready = epoll_wait(state_->poll_set.get(), events.data(), static_cast<int>(events.size()), wait_ms);
    for (int i = 0; i < ready; ++i)
        state_->serve(events[static_cast<size_t>(i)].data.u64, events[static_cast<size_t>(i)].events);
    state_->accept_starved();
}

void ruv_server::watch(int descriptor, std::function<void()> ready) {
    if (!state_->add(descriptor, EPOLLIN | EPOLLRDHUP, of_watched | static_cast<uint64_t>(descriptor)))
        throw std::runtime_error("cannot wait for descriptor " + std::to_string(descriptor) + ": " + std::strerror(errno));
    state_->watched[descriptor] = std::move(ready);
}

void ruv_server::unwatch(int descriptor) {
    state_->watched.erase(descriptor);
    epoll_ctl(state_->poll_set.get(), EPOLL_CTL_DEL, descriptor, nullptr);
}

bool ruv_server::reply(uint64_t peer, uint32_t token, std::span<const std::byte> payload) {
    if (payload.size() > RUV_LOCAL_PAYLOAD_MAX) return state_->lose_reply(state_->find(peer));
    ruv_local_header header = {RUV_LOCAL_MAGIC, token, static_cast<uint32_t>(payload.size()), RUV_LOCAL_REPLY};
    const iovec parts[2] = {{&header, sizeof header}, {const_cast<std::byte *>(payload.data()), payload.size()}};
    return state_->send_to(peer, parts, 2);
}

bool ruv_server::send_raw(uint64_t peer, std::span<const std::byte> datagram) {
    const iovec part = {const_cast<std::byte *>(datagram.data()), datagram.size()};
    return state_->send_to(peer, &part, 1);
}

ruv_server::counters ruv_server::count() const {
    return state_->count;
}

void ruv_server::close() {
    for (connection &link : state_->connections)
        if (link.peer != 0) state_->drop(link);
    state_->listeners.clear();
    state_->any_starved = false;
    state_->lock.reset();
}
