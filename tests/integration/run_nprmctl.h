// The real nprmctl as a process: what it printed and how it ended.
#ifndef TESTS_RUN_NPRMCTL_H
#define TESTS_RUN_NPRMCTL_H

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

struct nprmctl_run {
    int status;  // the exit status, or 128 + the signal that ended it
    std::string output, errors;

    // The output as JSON; a discarded value when it is none.
    nlohmann::json json() const { return nlohmann::json::parse(output, nullptr, false); }
};

// Runs it with RUV_DIR as this process has it.   output_path: where standard output goes instead of into the result
nprmctl_run run_nprmctl(const std::vector<std::string> &arguments, const std::string &input = {},
                        const char *output_path = nullptr);

// The same by a user who is neither this process's nor root; only root may.
nprmctl_run run_nprmctl_as_another_user(const std::vector<std::string> &arguments);

#endif
