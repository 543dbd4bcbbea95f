// Runs the real nprmctl behind a pseudo-terminal.

#include "terminal.h"

#include <csignal>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

bool has_terminals() {
    int terminal = -1, other = -1;
    if (openpty(&terminal, &other, nullptr, nullptr, nullptr) != 0) return false;
    close(terminal);
    close(other);
    return true;
}

namespace {

// Fails when the process has ended.
ssize_t read_within_20_seconds(int terminal, char *into, size_t size) {
    pollfd ready = {terminal, POLLIN, 0};
    return poll(&ready, 1, 20000) == 1 ? read(terminal, into, size) : -1;
}

void await_editor(int terminal) {
    termios state = {};
    for (int tries = 0; tries < 20000 && tcgetattr(terminal, &state) == 0 && (state.c_lflag & ICANON) != 0; ++tries)
        usleep(1000);
}

}  // namespace

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
    for (ssize_t got; (got = read_within_20_seconds(terminal, part, sizeof part)) > 0;) {
        shown.append(part, static_cast<size_t>(got));
        while (next < typed.size() && shown.find(typed[next].awaited, from) != std::string::npos) {
            from = shown.size();
            if (typed[next].to_editor) await_editor(terminal);
            const std::string &keys = typed[next++].keys;
            if (write(terminal, keys.data(), keys.size()) < 0) break;
        }
    }
    kill(process, SIGKILL);  // one that waits for keys that are not to come
    close(terminal);
    int status = 0;
    waitpid(process, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), shown};
}
