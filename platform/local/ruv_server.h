// The server half of the local transport: listens on one socket an opcode, hands requests to a handler, sends replies.
//
// One thread owns a ruv_server.  It never blocks: descriptor() becomes readable when dispatch() has something to do, so that a
// server puts it into its own poll set beside its timers and control sockets.
#ifndef RUV_SERVER_H
#define RUV_SERVER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

struct ruv_request {
    uint32_t opcode;                     // the socket it came in on
    uint32_t token;                      // to be given back with the reply
    uint64_t peer;                       // names the connection; never used again for another one
    std::span<const std::byte> payload;  // valid while the handler runs
};

class ruv_server {
  public:
    using handler = std::function<void(const ruv_request &)>;

    explicit ruv_server(handler handle);
    ~ruv_server();  // as close()
    ruv_server(const ruv_server &) = delete;
    ruv_server &operator=(const ruv_server &) = delete;

    // Creates the directory when it is missing (mode 0700), takes its lock and listens on every opcode.  Sockets that a dead server
    // left behind are replaced; anything else found at their paths is left alone and refused.
    // Throws std::runtime_error with a text that names the path and what to do: the directory is not ours, another server holds the
    // lock (its process id is told), a path is too long.
    void listen(const std::string &directory, std::span<const uint32_t> opcodes);

    // Readable when dispatch() has something to do.
    int descriptor() const;

    // Waits at most this long (0: not at all, -1: without end) for something to do; accepts, receives and hands on what is there,
    // at most one request a connection, then returns.  Malformed datagrams are counted and their connection is closed.
    // A server that waits in here instead of in a poll set of its own saves one system call a request.
    void dispatch(int wait_ms = 0);

    // From now on dispatch() calls ready whenever the descriptor is readable or at its end, until unwatch().  For timers, signals
    // and control sockets beside the requests.   Throws std::runtime_error when the descriptor cannot be waited for.
    void watch(int descriptor, std::function<void()> ready);
    void unwatch(int descriptor);

    // Sends the reply with this token.  False when the peer is gone or does not take it: its connection is closed then, a client
    // that does not read never stops the server.
    bool reply(uint64_t peer, uint32_t token, std::span<const std::byte> payload);

    // Sends bytes as they are, header included: for servers that misbehave on purpose.
    bool send_raw(uint64_t peer, std::span<const std::byte> datagram);

    struct counters {
        uint64_t requests, replies, malformed, refused_peers, lost_replies;  // send_raw counts as a reply
        uint32_t connections;                                                // open now
    };
    counters count() const;

    // Closes every connection, removes the sockets and gives the lock back.  May be called from a handler; listen() may follow.
    void close();

  private:
    struct state;
    std::unique_ptr<state> state_;
};

#endif
