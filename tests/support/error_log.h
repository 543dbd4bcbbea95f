// The error-log daemon's socket, held by the test: what the library logs once its debug part is initialised.
#ifndef TESTS_ERROR_LOG_H
#define TESTS_ERROR_LOG_H

#include <string>
#include <vector>

#include "scratch.h"

// From construction on the process's log comes here; afterwards the debug library is as if it had never been initialised.
class error_log {
  public:
    error_log();
    ~error_log();
    error_log(const error_log &) = delete;
    error_log &operator=(const error_log &) = delete;

    // The texts that came since the last call.
    std::vector<std::string> texts();

  private:
    scratch_directory directory_;
    int socket_ = -1;
};

#endif
