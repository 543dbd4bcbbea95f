// The real log daemon as a process of its own, on sockets in a private directory.  It ends with its object.
#ifndef TESTS_LOG_DAEMON_PROCESS_H
#define TESTS_LOG_DAEMON_PROCESS_H

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

class log_daemon_process {
  public:
    // Starts ad_logd with its sockets at directory/log and directory/special, and returns when it listens or has ended without.
    // Its shared records are in this process's IPC namespace: call use_private_ipc() before.
    // in_child: called in the child before the daemon is executed
    explicit log_daemon_process(const std::string &directory, const std::vector<std::string> &options = {},
                                const std::function<void()> &in_child = {});
    ~log_daemon_process();
    log_daemon_process(const log_daemon_process &) = delete;
    log_daemon_process &operator=(const log_daemon_process &) = delete;

    bool is_listening() const { return is_listening_; }
    pid_t pid() const { return pid_; }
    std::string base() const { return directory_ + "/log"; }
    std::string socket_path() const;
    // What it wrote to standard output and standard error until now.
    std::string output() const;
    // Sends a signal and waits for the end.   Returns the exit status, or 128 + the signal that ended it.
    int stop(int signal);
    int stop();  // by SIGTERM
    int wait_for_end();

  private:
    std::string directory_;
    int output_ = -1;
    pid_t pid_ = -1;
    int end_status_ = -1;
    bool is_listening_ = false;
};

// Waits until the condition holds, ten seconds at most.   Returns whether it holds.
bool wait_until(const std::function<bool()> &condition);

// Sends bytes as they are to a socket, waiting for room.   Returns what sendto() returned.
ssize_t send_raw(const std::string &socket_path, const std::string &bytes);

// A datagram as the library sends it: the text, a zero byte, 1,700,000,000 seconds and 12 microseconds.
std::string datagram_of(const std::string &text);

#endif
