// Why a command did not do what it was asked, and how that is told.
#ifndef NPRMCTL_FAILURE_H
#define NPRMCTL_FAILURE_H

#include "text_input.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

enum exit_status { exit_done = 0, exit_refused = 1, exit_usage = 2 };

struct failure {
    int status;
    std::string what;              // one line: what failed, and why
    std::string next;              // one line: what to try, or the usage; may be empty
    std::optional<uint32_t> code;  // the result code, when there is one
    std::string detail;            // the library's own words; may be empty
    std::string file;              // a file with errors, and where they are
    std::vector<text_error> errors;
    std::vector<std::pair<const char *, uint64_t>> numbers = {};  // for programs
};

// Refused, in words of our own.
failure refused(std::string what, std::string next = {});
failure usage_error(std::string what, std::string next);
// A text of which nothing was sent, because it has errors.
failure text_errors(const std::string &file, std::vector<text_error> errors);
// A refusal of the library or the server: what was asked, and its code with what is known about it.
// meaning: what the code means here, when that is not its usual meaning
failure refusal(const std::string &what, uint32_t code, std::string detail = {}, const char *meaning = nullptr);

std::optional<std::string> result_name(uint32_t code);

// Text goes to standard error.  JSON, {"error": {...}}, goes to standard output: whoever asks for JSON finds one document there
// always.
void print_failure(const failure &problem, bool json);

#endif
