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

// Options may stand before the command and between its words; they are moved behind it.  The value of --directory goes with it.
void move_options_from(size_t place, std::vector<std::string> &words) {
    size_t end = place;
    while (end < words.size() && words[end].starts_with("-"))
        end += words[end] == "--directory" ? 2U : 1U;
    const auto at = [&words](size_t index) { return words.begin() + static_cast<ptrdiff_t>(std::min(index, words.size())); };
    std::rotate(at(place), at(end), words.end());
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

// Nothing but options: wrong, or no command.
failure no_command(const std::vector<std::string> &words) {
    for (const std::string &word : words)
        if (word.starts_with("-") && word != "--json" && word != "--verbose" && word != "--directory")
            return usage_error("there is no option " + in_quotes(word), "nprmctl help");
    return usage_error("no command is given", "nprmctl help");
}

bool asks_for_help(const std::vector<std::string> &words) {
    return contains(words, "--help") || contains(words, "-h");
}

int run(std::vector<std::string> words) {
    move_options_from(0, words);
    const bool has_options_only = words.empty() || words[0].starts_with("-");
    if (has_options_only && contains(words, "--version")) return print_version(contains(words, "--json"));
    if (has_options_only && asks_for_help(words)) {
        std::erase_if(words, [](const std::string &word) { return word == "--help" || word == "-h"; });
        words.insert(words.begin(), "help");
    } else if (has_options_only) {
        throw no_command(words);
    }
    if (find_command(words[0], "") == nullptr) move_options_from(1, words);
    const std::string second = words.size() > 1 ? words[1] : "";
    const command *row = find_command(words[0], second);
    if (row == nullptr) {
        const bool one_word = second.empty() || second.starts_with("-");
        if (const std::string family = help_of_family(words[0]); one_word && !family.empty() && asks_for_help(words))
            throw help_wanted{family};
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
