// Two servers that differ in nothing but the framing, in processes of their own: one speaks the local transport's messages on the
// TCAM's socket, the other is bare.
//
// A request is answered with its own bytes, or with its first 110 as a server that has written entries does.
#ifndef BENCH_EXCHANGE_SERVERS_H
#define BENCH_EXCHANGE_SERVERS_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <sys/types.h>

class exchange_servers {
  public:
    enum class answer { whole, head };  // of requests that are longer than a head

    // Makes a directory, points RUV_DIR at it, publishes a status word in an IPC namespace of its own where the machine allows one,
    // and starts both servers.  Ends the process with a message when that cannot be done.
    explicit exchange_servers(answer how);
    ~exchange_servers();
    exchange_servers(const exchange_servers &) = delete;
    exchange_servers &operator=(const exchange_servers &) = delete;

    // One bare exchange: sends the bytes, receives the answer.
    void exchange_bare(const void *request, size_t request_bytes);

    // Client and servers on one processor (the pure cost), or the servers on another one (as in use).
    void share_one_processor(bool share);

  private:
    std::string directory_;
    pid_t framed_ = -1, bare_ = -1;
    int bare_socket_ = -1;
};

#endif
