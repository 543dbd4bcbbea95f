// The real log daemon as a process of its own.

#include "log_daemon_process.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int limit_ms = 10'000;

}  // namespace

log_daemon_process::log_daemon_process(const std::string &directory, const std::vector<std::string> &options,
                                       const std::function<void()> &in_child)
    : directory_(directory) {
    int ready[2];
    output_ = memfd_create("log daemon output", MFD_CLOEXEC);
    if (output_ < 0 || pipe2(ready, O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe for the log daemon");
    std::vector<std::string> words = {
        AD_LOGD_PROGRAM, "--socket", base(), "--special", directory + "/special", "--ready-fd", std::to_string(ready[1])};
    words.insert(words.end(), options.begin(), options.end());
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        fcntl(ready[1], F_SETFD, 0);
        dup2(output_, STDOUT_FILENO);
        dup2(output_, STDERR_FILENO);
        if (in_child) in_child();
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    close(ready[1]);
    pollfd waiting = {ready[0], POLLIN, 0};
    char byte = 0;
    is_listening_ = pid_ > 0 && poll(&waiting, 1, limit_ms) == 1 && read(ready[0], &byte, 1) == 1;
    close(ready[0]);
}

log_daemon_process::~log_daemon_process() {
    if (end_status_ < 0) stop(SIGKILL);
    close(output_);
}

std::string log_daemon_process::socket_path() const {
    return base() + "." + std::to_string(getuid());
}

std::string log_daemon_process::output() const {
    std::string text(static_cast<size_t>(lseek(output_, 0, SEEK_END)), '\0');
    const ssize_t bytes = pread(output_, text.data(), text.size(), 0);
    text.resize(bytes > 0 ? static_cast<size_t>(bytes) : 0);
    return text;
}

int log_daemon_process::stop(int signal) {
    if (end_status_ < 0) kill(pid_, signal);
    return wait_for_end();
}

int log_daemon_process::stop() {
    return stop(SIGTERM);
}

int log_daemon_process::wait_for_end() {
    if (end_status_ >= 0) return end_status_;
    int status = 0;
    for (int waited_ms = 0; waitpid(pid_, &status, WNOHANG) == 0; ++waited_ms) {
        if (waited_ms == limit_ms) kill(pid_, SIGKILL);
        usleep(1000);
    }
    end_status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return end_status_;
}

bool wait_until(const std::function<bool()> &condition) {
    for (int waited_ms = 0; waited_ms < limit_ms; ++waited_ms) {
        if (condition()) return true;
        usleep(1000);
    }
    return condition();
}

ssize_t send_raw(const std::string &socket_path, const std::string &bytes) {
    static const int sender = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {AF_UNIX, {}};
    socket_path.copy(address.sun_path, sizeof address.sun_path - 1);
    return sendto(sender, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>(&address), sizeof address);
}

std::string datagram_of(const std::string &text) {
    using namespace std::string_literals;
    return text + "\0\x00\xf1\x53\x65\x0c\x00\x00\x00"s;
}
