// A server of one opcode that does what a test's script says, on bare sockets: what a broken or malicious server might send.
#ifndef TESTS_RAW_SERVER_H
#define TESTS_RAW_SERVER_H

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <cstring>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/local/ruv_local.h"
#include "tests/unit/platform/ruv_client.h"

inline int listen_on(const std::string &directory, uint32_t opcode, int backlog = 16) {
    sockaddr_un address;
    if (ruv_local_address(&address, directory.c_str(), std::to_string(opcode).c_str()) != 0) return -1;
    const int listening = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (bind(listening, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 || listen(listening, backlog) != 0) return -1;
    return listening;
}

inline int connect_raw(const std::string &directory, uint32_t opcode) {
    sockaddr_un address;
    if (ruv_local_address(&address, directory.c_str(), std::to_string(opcode).c_str()) != 0) return -1;
    const int socket = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (connect(socket, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0) return socket;
    close(socket);
    return -1;
}

// One message, the header's words as the test says.
inline byte_list message_of(uint32_t magic, uint32_t token, uint32_t size, uint32_t flags, const byte_list &payload = {}) {
    const uint32_t words[4] = {magic, token, size, flags};
    byte_list message(sizeof words + payload.size());
    std::memcpy(message.data(), words, sizeof words);
    if (!payload.empty()) std::memcpy(message.data() + sizeof words, payload.data(), payload.size());
    return message;
}

inline byte_list reply_of(uint32_t token, const byte_list &payload) {
    return message_of(0x31565552, token, static_cast<uint32_t>(payload.size()), 1, payload);
}

inline void send_bytes(int connection, const byte_list &message) {
    [[maybe_unused]] const ssize_t sent = send(connection, message.data(), message.size(), MSG_NOSIGNAL);
}

struct raw_request {
    uint32_t token = 0;
    byte_list payload;
    byte_list bytes;  // as they came
};

// False when the client is gone.
inline bool next_request(int connection, raw_request *request, int flags = 0) {
    byte_list bytes(sizeof(ruv_local_header) + RUV_LOCAL_PAYLOAD_MAX);
    const ssize_t received = recv(connection, bytes.data(), bytes.size(), flags);
    if (received < 16) return false;
    bytes.resize(static_cast<size_t>(received));
    std::memcpy(&request->token, bytes.data() + 4, 4);
    request->payload.assign(bytes.begin() + 16, bytes.end());
    request->bytes = std::move(bytes);
    return true;
}

inline void echo(int connection) {
    for (raw_request request; next_request(connection, &request);)
        send_bytes(connection, reply_of(request.token, request.payload));
}

// Serves each connection in a thread of its own until its client goes or the server ends.
class raw_server {
  public:
    using script = std::function<void(int connection)>;

    raw_server(const std::string &directory, uint32_t opcode, script serve)
        : path_(directory + "/" + std::to_string(opcode)), listening_(listen_on(directory, opcode)), serve_(std::move(serve)) {
        acceptor_ = std::thread([this] { accept_all(); });
    }

    ~raw_server() {
        shutdown(listening_, SHUT_RDWR);
        acceptor_.join();
        for (const int connection : connections_)
            shutdown(connection, SHUT_RDWR);
        for (std::thread &thread : threads_)
            thread.join();
        for (const int connection : connections_)
            close(connection);
        close(listening_);
        unlink(path_.c_str());
    }

    int accepted() const { return accepted_; }

  private:
    void accept_all() {
        for (int connection; (connection = accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
            connections_.push_back(connection);
            ++accepted_;
            threads_.emplace_back([this, connection] {
                serve_(connection);
                shutdown(connection, SHUT_RDWR);
            });
        }
    }

    std::string path_;
    int listening_;
    script serve_;
    std::atomic<int> accepted_ = 0;
    std::vector<int> connections_;
    std::vector<std::thread> threads_;
    std::thread acceptor_;
};

// The same in a process of its own, one connection after the other, to be stopped and killed.
class raw_process {
  public:
    raw_process(const std::string &directory, uint32_t opcode, const raw_server::script &serve)
        : path_(directory + "/" + std::to_string(opcode)) {
        const int listening = listen_on(directory, opcode);
        process_ = fork();
        if (process_ == 0) {
            for (int connection; (connection = accept(listening, nullptr, nullptr)) >= 0; close(connection))
                serve(connection);
            _exit(0);
        }
        close(listening);
    }
    ~raw_process() { end(); }

    void signal(int number) const { kill(process_, number); }

    void end() {
        if (process_ <= 0) return;
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        process_ = 0;
        unlink(path_.c_str());
    }

  private:
    std::string path_;
    pid_t process_ = 0;
};

#endif
