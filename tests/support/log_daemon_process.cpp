// The real log daemon as a process of its own.

#include "log_daemon_process.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int limit_ms = 10'000;

std::vector<std::string> words_for(const std::string &directory, const std::vector<std::string> &options) {
    std::vector<std::string> words = {"--socket", directory + "/log", "--special", directory + "/special"};
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

}  // namespace

log_daemon_process::log_daemon_process(const std::string &directory, const std::vector<std::string> &options,
                                       const std::function<void()> &in_child)
    : child_process(AD_LOGD_PROGRAM, words_for(directory, options), in_child), directory_(directory) {}

std::string log_daemon_process::socket_path() const {
    return base() + "." + std::to_string(getuid());
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
