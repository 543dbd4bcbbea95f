// The socket "control": takes requests of the card's own user, one datagram each, and sends the answers.
#ifndef SIMCARD_CONTROL_SOCKET_H
#define SIMCARD_CONTROL_SOCKET_H

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/local/ruv_server.h"
#include "platform/local/server_directory.h"

class control_socket {
  public:
    using handler = std::function<std::string(std::string_view request)>;

    // loop: waits for the sockets beside its own; outlives this object
    control_socket(ruv_server &loop, handler answer) : loop_(loop), answer_(std::move(answer)) {}
    ~control_socket();  // closes, and removes the socket unless the name is another's by now
    control_socket(const control_socket &) = delete;
    control_socket &operator=(const control_socket &) = delete;

    // Requires: this process holds the directory's lock.   Throws as listening_socket does.
    void listen(const std::string &directory);

  private:
    void accept_connections();
    bool turn_one_away();
    void serve(int connection);
    void drop(int connection);

    ruv_server &loop_;
    handler answer_;
    std::optional<listening_socket> listener_;
    int spare_ = -1;
    std::vector<int> connections_;
};

#endif
