// The real simulated card as a process of its own, for tests that talk to it.  It ends with its object, or with the test's process.
#ifndef TESTS_CARD_PROCESS_H
#define TESTS_CARD_PROCESS_H

#include <string>
#include <vector>

#include <sys/types.h>

#include <nlohmann/json.hpp>

class card_process {
  public:
    // Starts nprm-simcard on the directory and returns when it listens, or when it has ended without: see is_listening().
    // A test whose card makes a shared segment calls use_private_ipc() before.
    // errors: where its standard error goes instead of into output()
    explicit card_process(const std::string &directory, const std::vector<std::string> &options = {}, int errors = -1);
    ~card_process();
    card_process(const card_process &) = delete;
    card_process &operator=(const card_process &) = delete;

    bool is_listening() const { return is_listening_; }
    pid_t pid() const { return pid_; }
    // What it wrote to standard output and standard error until now.
    std::string output() const;

    // Sends the signal and waits as wait_for_end() does.
    int stop(int signal);
    int stop();  // by SIGTERM
    // Waits until the process has ended; one that does not end in ten seconds is killed.
    // Returns its exit status, or 128 + the signal that ended it.
    int wait_for_end();

    // One request on the control socket, on a connection of its own.  Throws std::runtime_error when there is no answer.
    nlohmann::json control(const nlohmann::json &request) const;

  private:
    std::string directory_;
    int output_ = -1;
    pid_t pid_ = -1;
    int end_status_ = -1;  // -1: it was not waited for
    bool is_listening_ = false;
};

#endif
