// The real log daemon as a process of its own, on sockets in a private directory.  It ends with its object.
#ifndef TESTS_LOG_DAEMON_PROCESS_H
#define TESTS_LOG_DAEMON_PROCESS_H

#include "child_process.h"

class log_daemon_process : public child_process {
  public:
    // Starts ad_logd with its sockets at directory/log and directory/special, and returns when it listens or has ended without.
    // Its shared records are in this process's IPC namespace: call use_private_ipc() before.
    // in_child: called in the child before the daemon is executed
    explicit log_daemon_process(const std::string &directory, const std::vector<std::string> &options = {},
                                const std::function<void()> &in_child = {});

    std::string base() const { return directory_ + "/log"; }
    std::string socket_path() const;

  private:
    std::string directory_;
};

// Waits until the condition holds, ten seconds at most.   Returns whether it holds.
bool wait_until(const std::function<bool()> &condition);

// Sends bytes as they are to a socket, waiting for room.   Returns what sendto() returned.
ssize_t send_raw(const std::string &socket_path, const std::string &bytes);

// A datagram as the library sends it: the text, a zero byte, 1,700,000,000 seconds and 12 microseconds.
std::string datagram_of(const std::string &text);

#endif
