// Runs the real nprmctl behind a pseudo-terminal.

#include "terminal.h"

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

bool has_terminals() {
    int terminal = -1, other = -1;
    if (openpty(&terminal, &other, nullptr, nullptr, nullptr) != 0) return false;
    close(terminal);
    close(other);
    return true;
}

terminal_run run_on_terminal(const std::vector<std::string> &arguments, const std::vector<typed_keys> &typed) {
    int terminal = -1;
    const pid_t process = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (process == 0) {
        std::vector<char *> words = {const_cast<char *>(NPRMCTL_PROGRAM)};
        for (const std::string &argument : arguments)
            words.push_back(const_cast<char *>(argument.c_str()));
        words.push_back(nullptr);
        execv(NPRMCTL_PROGRAM, words.data());
        _exit(127);
    }
    if (process < 0) return {-1, {}};
    std::string shown;
    size_t from = 0, next = 0;
    char part[4096];
    for (ssize_t got; (got = read(terminal, part, sizeof part)) > 0;) {  // ends with an error when the process has ended
        shown.append(part, static_cast<size_t>(got));
        while (next < typed.size() && shown.find(typed[next].awaited, from) != std::string::npos) {
            from = shown.size();
            const std::string &keys = typed[next++].keys;
            if (write(terminal, keys.data(), keys.size()) < 0) break;
        }
    }
    close(terminal);
    int status = 0;
    waitpid(process, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), shown};
}
