// The client library as commands use it: registered, quiet, and with no failure hidden.
//
// The TCAM operations count a failed transport as success; what really happened is in the library's log.  Every call of the library
// is therefore made through ask(), which catches the log: a call that returns NPRM_OK and logs a failure has failed.
#ifndef NPRMCTL_SERVER_H
#define NPRMCTL_SERVER_H

#include "failure.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>

class invocation;

struct answer {
    uint32_t code;                  // NPRM_OK only when nothing failed
    bool is_uncertain;              // the request may have been carried out although the code says otherwise
    std::string words;              // the failures that the library logged; empty when there were none
    const char *meaning = nullptr;  // what the code means here, when that is not its usual meaning
};

// What a code means for one operation, and what to try then.
struct other_meaning {
    uint32_t code;
    const char *meaning, *next;  // next: null when there is nothing to try
};

// Registers this process with the server; throws a failure that says why the server cannot be asked.
// otherwise: what to try then, where a command has something of its own
void connect_to_server(const invocation &call, const char *otherwise = nullptr);

answer ask(const std::function<uint32_t()> &call);

// The failures that an answer other than NPRM_OK stands for: what could not be known, and what was not changed, as far as is known.
failure unknown_for(const std::string &what, const answer &given);
failure unchanged_for(const std::string &what, const answer &given);

// As ask(), and throw the failure unless the answer is NPRM_OK.
void learn(const std::string &what, const std::function<uint32_t()> &call);
void change(const std::string &what, const std::function<uint32_t()> &call, const other_meaning *other = nullptr);
// The same, where several codes mean something else than usual.
void change_with_meanings(const std::string &what, const std::function<uint32_t()> &call, std::span<const other_meaning> meanings);

#endif
