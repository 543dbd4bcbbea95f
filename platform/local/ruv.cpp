// libruv.so of a developer's machine: the transport's calls over AF_UNIX SOCK_SEQPACKET sockets.
//
// An endpoint keeps one connection an opcode, opened when the first request goes there.  What makes a late or repeated reply
// harmless: a token is used once on a connection, and a connection whose request was never answered carries no further one.

#include "platform/ruv.h"

#include <errno.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <unistd.h>

#include <atomic>

#include "connection.h"

namespace {

constexpr uint32_t no_handle = 0xFFFFFFFF;
constexpr uint32_t index_bits = 5;
constexpr uint32_t endpoint_count = 1u << index_bits;
constexpr uint32_t connection_count = 16;  // the server has eleven components
constexpr uint32_t busy = 0x80000000;      // in an endpoint's state: a call is at work on it
constexpr uint32_t any_dynamic_class = 4;
constexpr int32_t any_dynamic_sap = -1;

constexpr int default_wait_ms = 200;
constexpr long most_wait_ms = 60000;

enum message_kind : uint64_t { no_message, sent_message = 0x746E6573, received_message = 0x64766372 };

struct message {
    uint64_t kind;
    uint32_t token;
    uint32_t size;
    void *payload;
};
static_assert(sizeof(message) <= sizeof(ruv_message));

struct connection {
    int descriptor;
    uint32_t opcode;
    uint32_t round;  // of the endpoint's sequence, when this was opened
    uint32_t token;  // of the request that waits for its reply
    bool waiting;
};

struct endpoint {
    std::atomic<uint32_t> state;  // the handle (generation and index), with busy; 0: never bound
    uint32_t sequence;            // the last token
    uint32_t round;               // how often the sequence began again
    uint32_t held_token;          // of the reply that lies in room, when held
    uint32_t last;                // the connection that was sent on last
    uint32_t next;                // the connection that is given up when a new one needs its place
    ruv_room *room;
    connection connections[connection_count];
    int wait_ms;
    int directory_error;
    char directory[sizeof(sockaddr_un::sun_path)];
    char name[32];
    bool held;
};

constinit endpoint endpoints[endpoint_count] = {};
constinit std::atomic<uint32_t> bound_count{0};

message *inside(ruv_message *opaque) {
    return reinterpret_cast<message *>(opaque);
}
const message *inside(const ruv_message *opaque) {
    return reinterpret_cast<const message *>(opaque);
}

// What a user can put right is said once a cause, not at every attempt.
constinit std::atomic<uint32_t> explained{0};

enum cause : uint32_t {
    cause_missing = 1,
    cause_no_directory = 2,
    cause_owner = 4,
    cause_writable = 8,
    cause_length = 16,
    cause_wait = 32
};

void say_once(cause why, const char *name, const char *what) {
    if ((explained.fetch_or(why, std::memory_order_relaxed) & why) != 0) return;
    char line[512];
    const int length = snprintf(line, sizeof line - 1, "nprm: %s: %s", name, what);
    if (length < 0) return;
    size_t size = strnlen(line, sizeof line - 1);
    line[size++] = '\n';
    const int error = errno;
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line, size);
    errno = error;
}

cause cause_of(int error) {
    switch (error) {
        case -ENOENT:
            return cause_missing;
        case -ENOTDIR:
            return cause_no_directory;
        case -EPERM:
            return cause_owner;
        case -EACCES:
            return cause_writable;
        default:
            return cause_length;
    }
}

// A server that does not run is no mistake of the user's: its callers report that themselves.
void explain(const endpoint &here, uint32_t opcode, int error) {
    char path[sizeof here.directory + 12];
    const int trust = ruv_local_check_directory(here.directory);
    if (trust == error)
        snprintf(path, sizeof path, "%s", here.directory);
    else if (error == -EPERM || error == -ENAMETOOLONG)
        snprintf(path, sizeof path, "%s/%u", here.directory, opcode);
    else
        return;
    char text[400];
    ruv_local_explain(error, path, text, sizeof text);
    say_once(cause_of(error), here.name, text);
}

int wait_from_environment(const char *name) {
    const char *text = secure_getenv("RUV_RECV_MS");
    if (text == nullptr) return default_wait_ms;
    char *end = nullptr;
    const long value = strtol(text, &end, 10);
    if (text[0] >= '0' && text[0] <= '9' && *end == '\0' && value >= 1 && value <= most_wait_ms) return static_cast<int>(value);
    say_once(cause_wait, name, "RUV_RECV_MS is not a number of milliseconds from 1 to 60000: 200 is used; correct or unset it");
    return default_wait_ms;
}

void disconnect(connection &link) {
    const int descriptor = link.descriptor;
    link.descriptor = -1;
    link.waiting = false;
    if (descriptor >= 0) close_connection(descriptor);
}

// A host that closes every descriptor while it becomes a daemon takes ours too; the number may be another file's by now.
void disconnect_after(connection &link, int error) {
    if (error == -EBADF || error == -ENOTSOCK) link.descriptor = -1;
    disconnect(link);
}

// Takes the endpoint for one call.  A handle whose endpoint was given to a later bind finds another generation there.
endpoint *claim(uint32_t handle, int32_t *error) {
    endpoint &here = endpoints[handle % endpoint_count];
    uint32_t expected = handle;
    if (handle != 0 && (handle & busy) == 0 &&
        here.state.compare_exchange_strong(expected, handle | busy, std::memory_order_acquire))
        return &here;
    *error = expected == (handle | busy) && handle < busy ? -EBUSY : -EBADF;
    return nullptr;
}

int32_t release(endpoint *here, int32_t result) {
    here->state.store(here->state.load(std::memory_order_relaxed) & ~busy, std::memory_order_release);
    return result;
}

// The oldest endpoint that no call is at work on, taken; null when all are in use.
endpoint *claim_oldest() {
    for (uint32_t tries = 0; tries < endpoint_count; ++tries) {
        endpoint &here = endpoints[bound_count.fetch_add(1, std::memory_order_relaxed) % endpoint_count];
        uint32_t state = here.state.load(std::memory_order_relaxed);
        if ((state & busy) == 0 && here.state.compare_exchange_strong(state, state | busy, std::memory_order_acquire)) return &here;
    }
    return nullptr;
}

uint32_t next_handle(const endpoint &here) {
    const uint32_t generation = ((here.state.load(std::memory_order_relaxed) & ~busy) >> index_bits) + 1;
    const uint32_t handle = generation << index_bits | static_cast<uint32_t>(&here - endpoints);
    return handle < busy ? handle : 1u << index_bits | static_cast<uint32_t>(&here - endpoints);
}

bool take_room(endpoint &here) {
    if (here.room != nullptr) return true;
    void *pages = mmap(nullptr, sizeof(ruv_room), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) return false;
    for (connection &link : here.connections)
        link.descriptor = -1;
    here.room = static_cast<ruv_room *>(pages);
    return true;
}

void start(endpoint &here, const char *name) {
    for (connection &link : here.connections)
        disconnect(link);
    here.held = false;
    here.round = here.last = here.next = 0;
    if (getrandom(&here.sequence, sizeof here.sequence, GRND_NONBLOCK) != sizeof here.sequence)
        here.sequence = static_cast<uint32_t>(getpid());
    snprintf(here.name, sizeof here.name, "%s", name);
    here.wait_ms = wait_from_environment(here.name);
    here.directory_error = ruv_local_directory(here.directory, sizeof here.directory);
    if (here.directory_error < 0) {
        char text[300];
        ruv_local_explain(here.directory_error, "the directory's name", text, sizeof text);
        say_once(cause_length, here.name, text);
    }
}

connection &connection_for(endpoint &here, uint32_t opcode) {
    if (here.connections[here.last].opcode == opcode) [[likely]]
        return here.connections[here.last];
    uint32_t chosen = connection_count;
    for (uint32_t i = 0; i < connection_count; ++i) {
        const connection &link = here.connections[i];
        if (link.opcode == opcode && link.descriptor >= 0) chosen = i;
        if (link.descriptor < 0 && chosen == connection_count) chosen = i;
    }
    if (chosen == connection_count) chosen = here.next++ % connection_count;
    here.last = chosen;
    if (here.connections[chosen].opcode != opcode) disconnect(here.connections[chosen]);
    here.connections[chosen].opcode = opcode;
    return here.connections[chosen];
}

connection *connection_that_awaits(endpoint &here, uint32_t token) {
    connection &last = here.connections[here.last];
    if (last.waiting && last.token == token) [[likely]]
        return &last;
    for (connection &link : here.connections)
        if (link.waiting && link.token == token) return &link;
    return nullptr;
}

int connect_to(endpoint &here, connection &link) {
    if (here.directory_error < 0) return here.directory_error;
    const int descriptor = open_connection(here.directory, link.opcode, here.wait_ms);
    if (descriptor < 0) {
        explain(here, link.opcode, descriptor);
        return descriptor;
    }
    link.descriptor = descriptor;
    link.round = here.round;
    return 0;
}

int send_on(endpoint &here, connection &link, const ruv_local_header &header, const void *payload) {
    if (link.waiting || link.round != here.round) disconnect(link);
    if (link.descriptor >= 0) {
        const int result = send_request(link.descriptor, header, payload, here.wait_ms);
        if (result == 0 || result == -ETIMEDOUT) [[likely]]
            return result;
        disconnect_after(link, result);  // the server went away since the last exchange; nothing has left
    }
    const int connected = connect_to(here, link);
    if (connected < 0) return connected;
    const int result = send_request(link.descriptor, header, payload, here.wait_ms);
    if (result < 0) disconnect(link);
    return result;
}

// The child has nothing to do with what its parent sent: it opens connections of its own.
void forget_in_child() {
    for (endpoint &here : endpoints) {
        if (here.room == nullptr) continue;
        for (connection &link : here.connections)
            disconnect(link);
        release(&here, 0);
    }
}

__attribute__((constructor)) void loaded() {
    pthread_atfork(nullptr, nullptr, forget_in_child);
}

__attribute__((destructor)) void unloaded() {
    for (endpoint &here : endpoints) {
        uint32_t state = here.state.load(std::memory_order_relaxed);
        if (here.room == nullptr || (state & busy) != 0 || !here.state.compare_exchange_strong(state, busy)) continue;
        for (connection &link : here.connections)
            disconnect(link);
        munmap(here.room, sizeof *here.room);
    }
}

}  // namespace

uint32_t ruv_bind(uint32_t sap_class, int32_t sap, const uint32_t parameters[6], const char *name) {
    if (sap_class != any_dynamic_class || sap != any_dynamic_sap || parameters == nullptr) return no_handle;
    endpoint *here = claim_oldest();
    if (here == nullptr) return no_handle;
    if (!take_room(*here)) {
        release(here, 0);
        return no_handle;
    }
    start(*here, name != nullptr ? name : "unnamed client");
    const uint32_t handle = next_handle(*here);
    here->state.store(handle, std::memory_order_release);
    return handle;
}

int32_t ruv_send(uint32_t handle, uint32_t, uint32_t, uint32_t opcode, const void *payload, uint32_t size, ruv_message *sent,
                 uint32_t, const uint32_t options[17]) {
    if (sent == nullptr) return -EINVAL;
    inside(sent)->kind = no_message;
    if (options == nullptr || options[0] != 1 || (payload == nullptr && size > 0)) return -EINVAL;
    if (size > RUV_LOCAL_PAYLOAD_MAX) return -EMSGSIZE;
    int32_t error = 0;
    endpoint *here = claim(handle, &error);
    if (here == nullptr) return error;

    connection &link = connection_for(*here, opcode);
    if (++here->sequence == 0) ++here->round;
    const ruv_local_header header = {RUV_LOCAL_MAGIC, here->sequence, size, 0};
    const int result = send_on(*here, link, header, payload);
    if (result < 0) return release(here, result);
    link.token = header.token;
    link.waiting = true;
    *inside(sent) = {sent_message, header.token, size, nullptr};
    return release(here, 0);
}

uint32_t ruv_rr_token_get(const ruv_message *sent) {
    return inside(sent)->kind == sent_message ? inside(sent)->token : 0;
}

int32_t ruv_recv(uint32_t handle, ruv_message *received, const uint32_t options[10]) {
    if (received == nullptr) return -EINVAL;
    inside(received)->kind = no_message;
    if (options == nullptr || options[0] != 1 || options[2] != 1) return -EINVAL;
    int32_t error = 0;
    endpoint *here = claim(handle, &error);
    if (here == nullptr) return error;

    const uint32_t token = options[3];
    connection *link = connection_that_awaits(*here, token);
    if (link == nullptr) return release(here, -ENOTCONN);
    if (here->held) return release(here, -ENOBUFS);  // the payload given out last must stay as it is until it is dropped
    const int size = receive_reply(link->descriptor, token, here->room, here->wait_ms);
    if (size == -ETIMEDOUT) return release(here, size);
    if (size < 0) {
        disconnect_after(*link, size);
        return release(here, size);
    }
    link->waiting = false;
    here->held = true;
    here->held_token = token;
    *inside(received) = {received_message, token, static_cast<uint32_t>(size), here->room->payload};
    return release(here, 0);
}

uint32_t ruv_payload_size(const ruv_message *received) {
    return inside(received)->kind == received_message ? inside(received)->size : 0;
}

void *ruv_payload_get(const ruv_message *received, uint32_t, const ruv_message *) {
    return inside(received)->kind == received_message ? inside(received)->payload : nullptr;
}

int32_t ruv_drop(uint32_t handle, ruv_message *message) {
    if (message == nullptr || (inside(message)->kind != sent_message && inside(message)->kind != received_message)) return -EINVAL;
    const bool holds_room = inside(message)->kind == received_message;
    const uint32_t token = inside(message)->token;
    inside(message)->kind = no_message;
    if (!holds_room) return 0;
    int32_t error = 0;
    endpoint *here = claim(handle, &error);
    if (here == nullptr) return error;
    if (here->held && here->held_token == token) here->held = false;
    return release(here, 0);
}
