// Starting nprmctl for one question, beside the least program that asks it.

#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/exchange_servers.h"
#include "support/pair.h"

namespace {

std::string beside_this_program(const char *name) {
    char path[4096];
    const ssize_t bytes = readlink("/proc/self/exe", path, sizeof path);
    const std::string own(path, bytes > 0 ? static_cast<size_t>(bytes) : 0);
    return own.substr(0, own.rfind('/') + 1) + name;
}

// Runs a program to its end with its output thrown away.
void run_program(const std::string &path, const char *argument) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    char *arguments[] = {const_cast<char *>(path.c_str()), const_cast<char *>(argument), nullptr};
    pid_t child = -1;
    int status = -1;
    const int failure = posix_spawn(&child, path.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failure == 0 && waitpid(child, &status, 0) == child && status == 0) return;
    std::fprintf(stderr, "%s does not do its work\n", path.c_str());
    std::exit(2);
}

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("start: a command for one question", argc, argv);
    exchange_servers servers(exchange_servers::answer::whole);
    const std::string command = beside_this_program("nprmctl"), minimal = beside_this_program("minimal_client");
    run.pair(
        "nprmctl status, beside a minimal C program", 1.5, [&] { run_program(command, "status"); },
        [&] { run_program(minimal, nullptr); });
    return run.finish();
}
