// Runs the real nprmctl with its streams in files.

#include "run_nprmctl.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/scratch.h"

namespace {

namespace fs = std::filesystem;

nprmctl_run run(std::vector<std::string> words, const std::string &input, const char *output_path) {
    const scratch_directory files;
    const std::string in = files / "in", out = output_path != nullptr ? output_path : files / "out", err = files / "err";
    std::ofstream(in) << input;

    std::vector<char *> pointers(words.size() + 1);  // the last one stays null
    std::ranges::transform(words, pointers.begin(), [](std::string &word) { return word.data(); });
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT, 0600);
    pid_t child = -1;
    const int error = posix_spawnp(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (error != 0 || waitpid(child, &status, 0) != child) throw std::runtime_error(words[0] + " cannot be started");
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), output_path != nullptr ? "" : content_of(out),
            content_of(err)};
}

}  // namespace

nprmctl_run run_nprmctl(const std::vector<std::string> &arguments, const std::string &input, const char *output_path) {
    std::vector<std::string> words = {NPRMCTL_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run(std::move(words), input, output_path);
}

nprmctl_run run_nprmctl_as_another_user(const std::vector<std::string> &arguments) {
    // What is built below a home directory is out of other users' reach: a copy with the platform libraries where it looks.
    const scratch_directory copy;
    const fs::path built = fs::path(NPRMCTL_PROGRAM).parent_path().parent_path(), root = copy.path();
    fs::permissions(root, fs::perms(0755));
    fs::create_directory(root / "bin");
    fs::create_directory(root / "lib");
    fs::copy(NPRMCTL_PROGRAM, root / "bin");
    for (const char *library : {"libruv.so.1", "libsyslog.so.1"})
        fs::copy(built / "lib" / library, root / "lib");
    std::vector<std::string> words = {"setpriv", "--reuid=12345", "--regid=12345", "--clear-groups", root / "bin" / "nprmctl"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run(std::move(words), {}, nullptr);
}
