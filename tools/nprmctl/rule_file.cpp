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

std::string name_of_file(const std::string &path) {
    return path == "-" ? "standard input" : path;
}

std::string read_bytes(const std::string &path) {
    struct closer {
        void operator()(FILE *file) const {
            if (file != stdin) std::fclose(file);
        }
    };
    const std::unique_ptr<FILE, closer> file(path == "-" ? stdin : std::fopen(path.c_str(), "re"));
    if (!file) throw unreadable(path, std::strerror(errno));
    std::string text;
    char part[65536];
    while (const size_t bytes = std::fread(part, 1, sizeof part, file.get())) {
        text.append(part, bytes);
        if (text.size() > file_bytes_max) throw unreadable(path, "it is larger than " + grouped(file_bytes_max) + " bytes");
    }
    if (std::ferror(file.get()) != 0) throw unreadable(path, std::strerror(errno));
    return text;
}

std::string read_text(const std::string &path) {
    std::string text = read_bytes(path);
    constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
    if (text.starts_with(byte_order_mark)) text.erase(0, byte_order_mark.size());
    return text;
}

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
