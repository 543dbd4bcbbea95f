// The real simulated card as a process of its own.

#include "card_process.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int limit_ms = 10'000;

std::vector<std::string> words_for(const std::string &directory, const std::vector<std::string> &options) {
    std::vector<std::string> words = {"--directory", directory};
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

struct closed_at_end {
    int descriptor;
    ~closed_at_end() { close(descriptor); }
};

}  // namespace

card_process::card_process(const std::string &directory, const std::vector<std::string> &options, int errors)
    : child_process(NPRM_SIMCARD_PROGRAM, words_for(directory, options),
                    [errors] {
                        if (errors >= 0) dup2(errors, STDERR_FILENO);
                    }),
      directory_(directory) {}

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
