// One of the project's programs as a process of its own, for tests that talk to it.  It ends with its object, or with the test's
// process.
#ifndef TESTS_CHILD_PROCESS_H
#define TESTS_CHILD_PROCESS_H

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

class child_process {
  public:
    ~child_process();
    child_process(const child_process &) = delete;
    child_process &operator=(const child_process &) = delete;

    // Whether it said that it is ready; otherwise it has ended, or said nothing for ten seconds.
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

  protected:
    // Starts the program with the options and "--ready-fd FD", and returns when it has written a byte there or has ended without.
    // in_child: called in the child before the program is executed
    child_process(const std::string &program, std::vector<std::string> options, const std::function<void()> &in_child = {});

  private:
    int output_ = -1;
    pid_t pid_ = -1;
    int end_status_ = -1;  // -1: it was not waited for
    bool is_listening_ = false;
};

#endif
