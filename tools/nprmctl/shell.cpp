// The shell: a command a line, typed at a terminal or from a file.  Each runs as a process of its own, so that a key stops it and
// nothing of it stays.

#include "failure.h"
#include "input_file.h"
#include "invocation.h"
#include "line_editor.h"
#include "line_stream.h"
#include "shell_words.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class shell {
  public:
    // is_typed: by a person, who has the terminal and its keys
    shell(const invocation &call, bool is_typed) : is_typed_(is_typed) {
        if (call.json()) options_.emplace_back("--json");
        if (call.verbose()) options_.emplace_back("--verbose");
        posix_spawnattr_init(&attributes_);
        posix_spawn_file_actions_init(&actions_);
        if (!is_typed_) return;
        signal(SIGQUIT, SIG_IGN);  // as the editor does with SIGINT: a key is meant for the command that runs
        sigset_t keys;
        sigemptyset(&keys);
        sigaddset(&keys, SIGQUIT);
        posix_spawnattr_setsigdefault(&attributes_, &keys);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF);
    }
    ~shell() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    shell(const shell &) = delete;
    shell &operator=(const shell &) = delete;

    // Commands must not read the lines behind theirs.
    void keep_input_from_commands() { posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0); }

    // Runs the line and returns the command's exit status.
    int run(std::string_view line) {
        std::vector<std::string> words;
        if (!split_into_words(line, words)) {
            print_failure(usage_error("a quotation mark or a backslash at the end of the line has nothing that ends it", {}),
                          !options_.empty() && options_[0] == "--json");
            return exit_usage;
        }
        if (!words.empty() && words[0] == "nprmctl") words.erase(words.begin());
        if (words.empty()) return exit_done;
        has_ended_ = words.size() == 1 && (words[0] == "exit" || words[0] == "quit");
        return has_ended_ ? exit_done : run_command(std::move(words));
    }
    bool has_ended() const { return has_ended_; }

  private:
    int run_command(std::vector<std::string> words) {
        for (const std::string &option : options_)
            if (std::ranges::find(words, option) == words.end()) words.insert(words.begin(), option);
        std::string name = "nprmctl";
        std::vector<char *> arguments = {name.data()};
        for (std::string &word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        pid_t process = -1;
        const int error = posix_spawn(&process, "/proc/self/exe", &actions_, &attributes_, arguments.data(), environ);
        if (error != 0) throw refused(std::string("a command cannot be started: ") + std::strerror(error));
        int status = 0;
        while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
        }
        if (!WIFSIGNALED(status)) return WEXITSTATUS(status);
        if (is_typed_) std::fputc('\n', stderr);  // behind the key that the terminal showed
        return 128 + WTERMSIG(status);
    }

    const bool is_typed_;
    bool has_ended_ = false;
    std::vector<std::string> options_;
    posix_spawnattr_t attributes_;
    posix_spawn_file_actions_t actions_;
};

std::vector<std::string> words_of_shell(const std::vector<std::string> &said, const std::string &begun) {
    std::vector<std::string> words = words_behind(said, begun);
    if (said.empty()) words.emplace_back("exit");
    return words;
}

int run_typed(const invocation &call) {
    if (!call.json()) std::puts("A command a line, as behind nprmctl; \"help\" shows them, \"exit\" leaves.");
    shell commands(call, true);
    line_editor editor("nprm> ", words_of_shell);
    for (std::string line; !commands.has_ended() && editor.next(line);)
        commands.run(line);
    if (!commands.has_ended()) std::putchar('\n');
    return exit_done;
}

int run_script(const invocation &call, const std::string &path, bool keeps_going) {
    line_stream lines(path);
    shell commands(call, false);
    if (path == "-") commands.keep_input_from_commands();
    int result = exit_done;
    for (std::string_view line; !commands.has_ended() && lines.next(line);) {
        const std::string where = name_of_file(path) + ":" + std::to_string(lines.number()) + ": ";
        if (line.size() > line_stream::line_bytes_max) throw unusable(where + "the line is too long, nothing from it on was run");
        const int status = commands.run(line);
        if (status == exit_done) continue;
        const std::string what =
            where + in_quotes(line.substr(line.find_first_not_of(" \t"))) + " ended with status " + std::to_string(status);
        if (!keeps_going) {
            failure problem = refused(what + ", nothing behind it was run", "--keep-going runs the other lines all the same");
            problem.status = status;
            throw problem;
        }
        std::fprintf(stderr, "nprmctl: %s\n", what.c_str());
        if (result == exit_done) result = status;
    }
    return result;
}

}  // namespace

int run_shell(invocation &call) {
    std::string path = "-";
    bool keeps_going = false;
    call.text("[FILE]", path, "a file of commands, - for standard input; typed at the terminal when not given");
    call.flag("--keep-going", keeps_going, "run the lines behind one that fails, too; the exit status is that of the first");
    call.notes(
        "A line is a command with its arguments, as behind nprmctl.  \"Quotation marks\" hold blanks, # begins a comment.\n"
        "--json, --verbose and --directory hold for every command.\n"
        "Example: printf 'tcam create 100\\ntcam space\\n' | nprmctl shell\n");
    call.parse();
    const bool is_typed = !call.given("FILE") && isatty(STDIN_FILENO) == 1;
    return is_typed ? run_typed(call) : run_script(call, path, keeps_going);
}
