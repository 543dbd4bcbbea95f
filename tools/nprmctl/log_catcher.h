// Catches what the library logs and prints during a call.
//
// Without the debug library, the library's log goes to standard error, a write a message and without newlines; the insert of ACL
// entries also traces on standard output, where it would end up between a command's own lines.
#ifndef NPRMCTL_LOG_CATCHER_H
#define NPRMCTL_LOG_CATCHER_H

#include <string>
#include <vector>

class log_catcher {
  public:
    // echo: messages also go to the real standard error, a line each
    explicit log_catcher(bool echo);
    ~log_catcher();  // standard error and output are as before
    log_catcher(const log_catcher &) = delete;
    log_catcher &operator=(const log_catcher &) = delete;

    // The messages that tell of failures, without the function and line in front.
    std::vector<std::string> failures() const;

  private:
    bool echo_;
};

#endif
