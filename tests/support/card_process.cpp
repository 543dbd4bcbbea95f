// The real simulated card as a process of its own.

#include "card_process.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int limit_ms = 10'000;

[[noreturn]] void run_card(const std::vector<std::string> &words, int ready, int output, int errors, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    fcntl(ready, F_SETFD, 0);
    dup2(output, STDOUT_FILENO);
    dup2(errors >= 0 ? errors : output, STDERR_FILENO);
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string &word : words)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
}

// True when the byte came; false when the other end closed, or nothing came in time.
bool wait_for_byte(int descriptor) {
    pollfd waiting = {descriptor, POLLIN, 0};
    while (poll(&waiting, 1, limit_ms) < 0)
        if (errno != EINTR) return false;
    char byte;
    return read(descriptor, &byte, 1) == 1;
}

struct closed_at_end {
    int descriptor;
    ~closed_at_end() { close(descriptor); }
};

}  // namespace

card_process::card_process(const std::string &directory, const std::vector<std::string> &options, int errors)
    : directory_(directory) {
    output_ = memfd_create("card output", MFD_CLOEXEC);
    int ready[2];
    if (output_ < 0 || pipe2(ready, O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe for the card");
    std::vector<std::string> words = {NPRM_SIMCARD_PROGRAM, "--directory", directory, "--ready-fd", std::to_string(ready[1])};
    words.insert(words.end(), options.begin(), options.end());
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) run_card(words, ready[1], output_, errors, parent);
    close(ready[1]);
    is_listening_ = pid_ > 0 && wait_for_byte(ready[0]);
    close(ready[0]);
    if (pid_ < 0) throw std::runtime_error("cannot start a process for the card");
}

card_process::~card_process() {
    if (end_status_ < 0) stop(SIGKILL);
    close(output_);
}

std::string card_process::output() const {
    std::string text(static_cast<size_t>(lseek(output_, 0, SEEK_END)), '\0');
    const ssize_t bytes = pread(output_, text.data(), text.size(), 0);
    text.resize(bytes > 0 ? static_cast<size_t>(bytes) : 0);
    return text;
}

int card_process::stop(int signal) {
    if (end_status_ < 0) kill(pid_, signal);
    return wait_for_end();
}

int card_process::stop() {
    return stop(SIGTERM);
}

int card_process::wait_for_end() {
    if (end_status_ >= 0) return end_status_;
    int status = 0;
    for (int waited_ms = 0; waitpid(pid_, &status, WNOHANG) == 0; ++waited_ms) {
        if (waited_ms == limit_ms) kill(pid_, SIGKILL);
        usleep(1000);
    }
    end_status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return end_status_;
}

nlohmann::json card_process::control(const nlohmann::json &request) const {
    const closed_at_end connection = {socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)};
    sockaddr_un address = {AF_UNIX, {}};
    std::strncpy(address.sun_path, (directory_ + "/control").c_str(), sizeof address.sun_path - 1);
    const timeval limit = {limit_ms / 1000, 0};
    setsockopt(connection.descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    if (connect(connection.descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
        throw std::runtime_error(std::string(address.sun_path) + ": " + std::strerror(errno));
    const std::string text = request.dump();
    if (send(connection.descriptor, text.data(), text.size(), MSG_NOSIGNAL) < 0)
        throw std::runtime_error("the card took no request");
    std::vector<char> answer(65536);
    const ssize_t bytes = recv(connection.descriptor, answer.data(), answer.size(), 0);
    if (bytes <= 0) throw std::runtime_error("the card gave no answer");
    return nlohmann::json::parse(answer.data(), answer.data() + bytes);
}
