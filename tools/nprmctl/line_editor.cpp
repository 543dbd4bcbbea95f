// Loads libedit by its name when the program runs: on a card that has none the shell works as well, without editing.

#include "line_editor.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <dlfcn.h>

namespace {

using generator = char *(*)(const char *, int);
using completer = char **(*)(const char *begun, int start, int end);

// What libedit calls back knows no context.
struct {
    word_source words;
    const char *const *line;
    char **(*matches)(const char *begun, generator next);
    int *behind_match;  // the character that libedit puts there
    std::vector<std::string> found;
} completion;

volatile std::sig_atomic_t was_given_up;

void give_up(int /*signal*/) {
    was_given_up = 1;
}

template <class type>
bool find(void *library, const char *name, type *&symbol) {
    symbol = reinterpret_cast<type *>(dlsym(library, name));
    return symbol != nullptr;
}

char *next_match(const char * /*begun*/, int is_repeated) {
    static size_t at;
    if (is_repeated == 0) at = 0;
    return at < completion.found.size() ? strdup(completion.found[at++].c_str()) : nullptr;
}

char **complete(const char *begun, int start, int /*end*/) {
    std::istringstream before(std::string(*completion.line, static_cast<size_t>(start)));
    std::vector<std::string> said;
    for (std::string word; before >> word;)
        said.push_back(word);
    completion.found = completion.words(said, begun);
    std::erase_if(completion.found, [begun](const std::string &word) { return !word.starts_with(begun); });
    *completion.behind_match = completion.found.empty() ? int{'\0'} : int{' '};  // a path may go on
    return completion.found.empty() ? nullptr : completion.matches(begun, next_match);
}

}  // namespace

line_editor::line_editor(const char *prompt, word_source words) : prompt_(prompt) {
    struct sigaction action = {};
    action.sa_handler = give_up;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    void *library = dlopen("libedit.so.2", RTLD_NOW);
    completer *attempt = nullptr;
    char *(*read_line)(const char *) = nullptr;
    int (*remember)(const char *) = nullptr;
    if (library == nullptr || !find(library, "rl_attempted_completion_function", attempt) ||
        !find(library, "rl_line_buffer", completion.line) || !find(library, "rl_completion_matches", completion.matches) ||
        !find(library, "rl_completion_append_character", completion.behind_match) || !find(library, "add_history", remember) ||
        !find(library, "readline", read_line))
        return;
    completion.words = words;
    *attempt = complete;
    remember_ = remember;
    read_line_ = read_line;
}

// libedit returns from a signal as from the end.
char *line_editor::read_edited() {
    char *typed = nullptr;
    do {
        was_given_up = 0;
        typed = read_line_(prompt_);
        if (typed == nullptr && was_given_up != 0) std::putchar('\n');
    } while (typed == nullptr && was_given_up != 0);
    return typed;
}

bool line_editor::next(std::string &line) {
    if (read_line_ == nullptr) return next_plain(line);
    char *typed = read_edited();
    if (typed == nullptr) return false;
    line = typed;
    std::free(typed);
    if (line.find_first_not_of(" \t") != std::string::npos) remember_(line.c_str());
    return true;
}

bool line_editor::next_plain(std::string &line) {
    std::fputs(prompt_, stdout);
    std::fflush(stdout);
    line.clear();
    for (int c; (c = std::getchar()) != EOF;) {
        if (c == '\n') return true;
        line += static_cast<char>(c);
    }
    return !line.empty();
}
