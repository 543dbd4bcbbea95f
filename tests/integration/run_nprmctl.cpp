// Runs the real nprmctl with its streams in files.

#include "run_nprmctl.h"

#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/scratch.h"

nprmctl_run run_nprmctl(const std::vector<std::string> &arguments, const std::string &input, const char *output_path) {
    const scratch_directory files;
    const std::string in = files / "in", out = output_path != nullptr ? output_path : files / "out", err = files / "err";
    std::ofstream(in) << input;

    std::vector<char *> words = {const_cast<char *>(NPRMCTL_PROGRAM)};
    for (const std::string &argument : arguments)
        words.push_back(const_cast<char *>(argument.c_str()));
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT, 0600);
    pid_t child = -1;
    const int error = posix_spawn(&child, NPRMCTL_PROGRAM, &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (error != 0 || waitpid(child, &status, 0) != child) throw std::runtime_error("nprmctl cannot be started");
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), output_path != nullptr ? "" : content_of(out),
            content_of(err)};
}
