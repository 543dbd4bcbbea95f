// The real simulated card as a process of its own, for tests that talk to it.  It ends with its object, or with the test's process.
#ifndef TESTS_CARD_PROCESS_H
#define TESTS_CARD_PROCESS_H

#include "child_process.h"

#include <nlohmann/json.hpp>

class card_process : public child_process {
  public:
    // Starts nprm-simcard on the directory and returns when it listens, or when it has ended without: see is_listening().
    // A test whose card makes a shared segment calls use_private_ipc() before.
    // errors: where its standard error goes instead of into output()
    explicit card_process(const std::string &directory, const std::vector<std::string> &options = {}, int errors = -1);

    // One request on the control socket, on a connection of its own.  Throws std::runtime_error when there is no answer.
    nlohmann::json control(const nlohmann::json &request) const;

  private:
    std::string directory_;
};

#endif
