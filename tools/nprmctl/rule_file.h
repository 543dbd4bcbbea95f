// Files that commands read: access lists and policy entries, checked as a whole before anything is sent.
#ifndef NPRMCTL_RULE_FILE_H
#define NPRMCTL_RULE_FILE_H

#include "access_list.h"
#include "input_file.h"
#include "policy_entries.h"

#include <cstddef>
#include <string>
#include <vector>

// All throw a failure of exit status 2 when the file cannot be read, has errors, or holds no entry or more than a list can.

struct rule_file {
    size_t rules;
    std::vector<acl_entry> entries;
};
rule_file read_rules(const std::string &path);
std::vector<policy_entry> read_policy(const std::string &path);

// Line `number` of a text, without its end; empty when there is none.
std::string line_of(const std::string &text, uint32_t number);

#endif
