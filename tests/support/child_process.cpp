// One of the project's programs as a process of its own.

#include "child_process.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int limit_ms = 10'000;

struct starting {
    int ready, output;
    pid_t parent;
};

[[noreturn]] void run_program(std::vector<std::string> words, const starting &how, const std::function<void()> &in_child) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != how.parent) _exit(127);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    fcntl(how.ready, F_SETFD, 0);
    dup2(how.output, STDOUT_FILENO);
    dup2(how.output, STDERR_FILENO);
    if (in_child) in_child();
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
}

// True when the byte came; false when the other end closed, or nothing came in time.
bool wait_for_byte(int descriptor) {
    pollfd waiting = {descriptor, POLLIN, 0};
    int came = 0;
    while ((came = poll(&waiting, 1, limit_ms)) < 0)
        if (errno != EINTR) return false;
    char byte;
    return came == 1 && read(descriptor, &byte, 1) == 1;
}

}  // namespace

child_process::child_process(const std::string &program, std::vector<std::string> options, const std::function<void()> &in_child) {
    output_ = memfd_create("output of a child", MFD_CLOEXEC);
    int ready[2];
    if (output_ < 0 || pipe2(ready, O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe for " + program);
    options.insert(options.begin(), {program, "--ready-fd", std::to_string(ready[1])});
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) run_program(std::move(options), {ready[1], output_, parent}, in_child);
    close(ready[1]);
    is_listening_ = pid_ > 0 && wait_for_byte(ready[0]);
    close(ready[0]);
    if (pid_ < 0) throw std::runtime_error("cannot start a process for " + program);
}

child_process::~child_process() {
    if (end_status_ < 0) stop(SIGKILL);
    close(output_);
}

std::string child_process::output() const {
    std::string text(static_cast<size_t>(lseek(output_, 0, SEEK_END)), '\0');
    const ssize_t bytes = pread(output_, text.data(), text.size(), 0);
    text.resize(bytes > 0 ? static_cast<size_t>(bytes) : 0);
    return text;
}

int child_process::stop(int signal) {
    if (end_status_ < 0) kill(pid_, signal);
    return wait_for_end();
}

int child_process::stop() {
    return stop(SIGTERM);
}

int child_process::wait_for_end() {
    if (end_status_ >= 0) return end_status_;
    int status = 0;
    for (int waited_ms = 0; waitpid(pid_, &status, WNOHANG) == 0; ++waited_ms) {
        if (waited_ms == limit_ms) kill(pid_, SIGKILL);
        usleep(1000);
    }
    end_status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return end_status_;
}
