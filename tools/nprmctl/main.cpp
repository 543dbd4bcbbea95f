// nprmctl: finds the command's row, runs it, and turns what goes wrong into a message and an exit status.

#include "command.h"
#include "failure.h"
#include "invocation.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

namespace {

// Options may stand before the command; they are moved behind it.  The value of --directory goes with it.
void move_leading_options(std::vector<std::string> &words) {
    size_t count = 0;
    while (count < words.size() && words[count].starts_with("-"))
        count += words[count] == "--directory" ? 2U : 1U;
    std::rotate(words.begin(), words.begin() + static_cast<ptrdiff_t>(std::min(count, words.size())), words.end());
}

bool contains(const std::vector<std::string> &words, const char *word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

int print_version(bool json) {
    report version;
    version.sentence("nprmctl " NPRM_VERSION);
    version.fact("version", nullptr, std::string(NPRM_VERSION));
    version.print(json, stdout);
    return exit_done;
}

void print_help_text(const std::string &text, bool json) {
    report help;
    help.fact("help", nullptr, text);
    std::fputs(json ? help.json().c_str() : text.c_str(), stdout);
}

int run(std::vector<std::string> words) {
    if (!words.empty() && (words[0] == "--help" || words[0] == "-h")) words[0] = "help";
    move_leading_options(words);
    if (!words.empty() && words[0].starts_with("-") && contains(words, "--version"))
        return print_version(contains(words, "--json"));
    if (words.empty() || words[0].starts_with("-")) throw usage_error("no command is given", "nprmctl help");
    const std::string second = words.size() > 1 ? words[1] : "";
    const command *row = find_command(words[0], second);
    if (row == nullptr) {
        const bool one_word = second.empty() || second.starts_with("-");
        throw usage_error("there is no command " + in_quotes(one_word ? words[0] : words[0] + " " + second),
                          nearest_commands(words[0]));
    }
    const ptrdiff_t name_words = std::strchr(row->name, ' ') == nullptr ? 1 : 2;
    invocation call(*row, {words.begin() + name_words, words.end()});
    return row->run(call);
}

// What was printed must have arrived: a full disk is a failure.
int flushed(int status) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    std::fprintf(stderr, "nprmctl: standard output cannot be written: %s\n", std::strerror(errno));
    return exit_refused;
}

}  // namespace

int main(int count, char **arguments) {
    const std::vector<std::string> words(arguments + std::min(count, 1), arguments + count);
    const bool json = contains(words, "--json");
    int status = exit_refused;
    try {
        status = run(words);
    } catch (const help_wanted &help) {
        print_help_text(help.text, json);
        status = exit_done;
    } catch (const failure &problem) {
        print_failure(problem, json);
        status = problem.status;
    } catch (const std::exception &error) {
        print_failure(refused(error.what()), json);
    }
    return flushed(status);
}
