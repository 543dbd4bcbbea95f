// The real nprmctl on a terminal of its own: what it shows, and what one types.
#ifndef TESTS_TERMINAL_H
#define TESTS_TERMINAL_H

#include <string>
#include <vector>

struct typed_keys {
    std::string awaited;  // what the terminal shows first, behind what it showed before the last keys
    std::string keys;
    bool to_editor = false;  // once the program reads keys instead of lines
};

struct terminal_run {
    int status;         // as of nprmctl_run
    std::string shown;  // line ends are "\r\n", as on a terminal
};

// Whether this machine gives pseudo-terminals.
bool has_terminals();

// Runs it with RUV_DIR and the rest of the environment as this process has them.
terminal_run run_on_terminal(const std::vector<std::string> &arguments, const std::vector<typed_keys> &typed = {});

#endif
