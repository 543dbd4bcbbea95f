// Reads access lists and policy entries from files.

#include "rule_file.h"

#include "failure.h"
#include "report.h"
#include "tcam_entries.h"

namespace {

void check_count(const std::string &path, size_t count) {
    const std::string name = name_of_file(path);
    if (count == 0) throw unusable(name + " holds no entries, nothing was sent");
    if (count > tcam_entries_max)
        throw unusable(name + " expands to " + grouped(count) + " entries, a list holds " + grouped(tcam_entries_max) +
                       "; nothing was sent");
}

}  // namespace

std::string line_of(const std::string &text, uint32_t number) {
    size_t begin = 0;
    for (uint32_t line = 1; line < number; ++line) {
        begin = text.find('\n', begin);
        if (begin == std::string::npos) return {};
        ++begin;
    }
    std::string line = text.substr(begin, text.find('\n', begin) - begin);
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

rule_file read_rules(const std::string &path) {
    access_list list = parse_access_list(read_text(path));
    if (!list.errors.empty()) throw text_errors(name_of_file(path), std::move(list.errors));
    rule_file file{list.rules.size(), {}};
    for (const acl_rule &rule : list.rules)
        expand_rule(rule, file.entries);
    check_count(path, file.entries.size());
    return file;
}

std::vector<policy_entry> read_policy(const std::string &path) {
    std::vector<text_error> errors;
    std::vector<policy_entry> entries = parse_policy_entries(read_text(path), errors);
    if (!errors.empty()) throw text_errors(name_of_file(path), std::move(errors));
    check_count(path, entries.size());
    return entries;
}
